// The shared part of the tarvix command: the session every command talks through, how results
// reach stdout (text or one JSON document), the exit codes, and the parsers for the numbers and
// hex bytes users type.
#ifndef TARVIX_TOOL_TOOL_HPP
#define TARVIX_TOOL_TOOL_HPP

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>
#include <tarvixsdk/tarvixsdk.hpp>

namespace tarvix_tool {

using Json = nlohmann::ordered_json;
using Bytes = std::vector<std::uint8_t>;

/** What the process exit status tells a script. */
enum ExitCode : int {
    kExitOk = 0,
    kExitDeviceError = 1, // the adapter (or the library on its behalf) reported a failure
    kExitUsage = 2,       // the command line asks for something that cannot be done
    kExitNoAdapter = 3    // no adapter to talk to, or it went away
};

/** A failure that ends the command: its exit code, a short upper-case name and a sentence. */
struct ToolError : std::runtime_error {
    ToolError(int code, std::string shortName, const std::string& message)
        : std::runtime_error(message), exitCode(code), name(std::move(shortName))
    {}
    int exitCode;
    std::string name;
};

/** Ends the command with exit code 2 (a usage error found after parsing). */
[[noreturn]] void usageError(const std::string& message);

/** The options every sub-command takes. */
struct GlobalOptions {
    std::string serial;
    std::string path;
    std::string adapter;
    int timeoutMs = 1000;
    bool json = false;
    bool trace = false;
    bool useVirtual = false;
};

/**
 * One run of the tool: the global options, the session (opened on first use), and the result
 * document. Text goes to stdout as the command runs; with --json the command fills result()
 * instead and main prints it once at the end.
 */
class Context {
public:
    GlobalOptions options;

    /** The connected session; connects on first use (exit 3 when that fails). */
    TarvixSDK& sdk();
    /**
     * Receives the adapter's unsolicited frames (on the reader thread). Must be set before the
     * first sdk() call, so no notification is missed between connecting and listening.
     */
    void onNotification(TarvixSDK::NotificationHandler handler);
    /** Ends the command unless `status` is SUCCESS; `what` names the operation in the message. */
    void check(StatusCode status, const std::string& what) const;

    bool json() const { return options.json; }
    Json& result() { return result_; }
    /** Writes a line to stdout in text mode; nothing with --json. */
    void line(const std::string& text) const;

    /** Name of the command that runs ("i2c get"), for messages. */
    std::string command;
    /** The action of the chosen command, run after parsing. */
    std::function<void()> action;

private:
    std::unique_ptr<TarvixSDK> sdk_;
    TarvixSDK::NotificationHandler notificationHandler_;
    Json result_ = Json::object();
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

// -- Registering commands ------------------------------------------------------------------------
//
// Every command group is one row per leaf command: addCommand(group, context, "get", "help", get).
// A leaf's options are a struct whose declare() adds them to the command, in help order; CLI11
// fills it while parsing, and the leaf's function gets it once the whole command line has parsed.

/** Adds a group of commands ("i2c"); the user must pick exactly one of them. */
CLI::App& addGroup(CLI::App& app, const std::string& name, const std::string& description);

/**
 * Adds a leaf command: `action` becomes the run's action when the user picks it. Help texts
 * follow CLI11's conventions.
 */
CLI::App* addAction(CLI::App& parent, Context& context, const std::string& name, const std::string& description,
                    std::function<void()> action);

/** Adds a leaf command without options that runs `run`. */
CLI::App* addCommand(CLI::App& parent, Context& context, const std::string& name, const std::string& description,
                     void (*run)(Context&));

/**
 * Adds a leaf command that runs `run` with its Options, which Options::declare(CLI::App&) puts
 * on the command line. The options live as long as the command does.
 */
template <typename Options>
CLI::App* addCommand(CLI::App& parent, Context& context, const std::string& name, const std::string& description,
                     void (*run)(Context&, const Options&))
{
    auto options = std::make_shared<Options>();
    CLI::App* command =
        addAction(parent, context, name, description, [&context, run, options] { run(context, *options); });
    options->declare(*command);
    return command;
}

/**
 * When a monitor stops: after --count items, after --timeout seconds, or on Ctrl-C (whichever
 * comes first; neither option means Ctrl-C only).
 */
struct StopOptions {
    std::uint32_t count = 0; // 0: no limit
    std::string timeout;     // seconds as typed; parsed when the command runs

    /** Adds -n,--count ("Stop after N `items`") and -t,--timeout. */
    void declare(CLI::App& command, const std::string& items);
    /** Now plus --timeout; none without it. Usage error for malformed seconds. */
    std::optional<std::chrono::steady_clock::time_point> deadline() const;
};

// -- Parsing what users type -------------------------------------------------------------------

/** A number as i2c-tools take it: decimal, 0x hex or 0 octal; usage error outside 0..max. */
std::uint32_t parseNumber(const std::string& text, std::uint32_t max, const std::string& what);
/**
 * Bytes written as hex: each word holds one or more bytes ("9f", "0x9F", "9f0000", "de:ad");
 * an odd digit count takes the first digit as a byte of its own.
 */
Bytes parseHexBytes(const std::vector<std::string>& words);
/** Seconds with a fraction ("0.5") as a duration; usage error for negative or malformed text. */
std::chrono::milliseconds parseSeconds(const std::string& text, const std::string& what);

// -- Formatting --------------------------------------------------------------------------------

/** "0x50". */
std::string hex2(std::uint32_t value);
/** The bytes as "9f 00 10" (or with `prefix`, "0x9f 0x00 0x10"). */
std::string hexList(const Bytes& bytes, bool prefix = false);
/** The bytes as one lower-case hex string without separators, for JSON. */
std::string hexString(const Bytes& bytes);
/** A hexdump in spidev_test's shape: "TX | 9F 00 00 __ ... | ...." lines of 16 bytes. */
std::vector<std::string> hexDump(const std::string& prefix, const Bytes& bytes);

// -- Waiting for notifications -----------------------------------------------------------------

/**
 * Carries the adapter's notifications from the reader thread to the command's thread, and wakes
 * it on SIGINT as well. While a Listener exists SIGINT ends the wait instead of the process.
 */
class Listener {
public:
    struct Event {
        NotificationKind kind = NotificationKind::UNKNOWN;
        std::uint8_t pin = 0; // GPIO interrupt
        Bytes data;           // UART bytes
        std::chrono::system_clock::time_point at;
    };
    /** Installs itself as the context's notification handler (before connecting). */
    explicit Listener(Context& context);
    ~Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    /**
     * The next event; empty when `deadline` passed (no deadline: waits without limit) or
     * SIGINT arrived. Sleeps in poll(); no busy loop. Exit 3 if the adapter goes away.
     */
    std::optional<Event> next(std::optional<std::chrono::steady_clock::time_point> deadline);
    /** True once SIGINT ended a wait. */
    bool interrupted() const;

private:
    struct State;
    Context& context_;
    std::shared_ptr<State> state_;
};

} // namespace tarvix_tool

#endif // TARVIX_TOOL_TOOL_HPP
