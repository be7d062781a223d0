#include "tool.hpp"

#include <atomic>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <mutex>

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

namespace tarvix_tool {

void usageError(const std::string& message)
{
    throw ToolError(kExitUsage, "USAGE", message);
}

// -- Context -------------------------------------------------------------------------------------

TarvixSDK& Context::sdk()
{
    if (sdk_) {
        return *sdk_;
    }
    // A tool must never take a stray answer for its own, must notice an unplug rather than
    // wait out every timeout, and must not share the adapter with another program mid-transfer.
    SessionOptions session{};
    session.matchResponses = true;
    session.detectRemoval = true;
    session.exclusive = true;
    session.queueReports = true; // monitors print while long answers may stream in
    auto sdk = std::make_unique<TarvixSDK>(options.timeoutMs, session);
    if (options.trace) {
        const auto start = std::chrono::duration_cast<std::chrono::nanoseconds>(start_.time_since_epoch()).count();
        sdk->onFrame([start](const TraceFrame& frame) {
            const double seconds = static_cast<double>(static_cast<std::int64_t>(frame.timestampNs) - start) / 1e9;
            // One fprintf per frame: the reader thread and the caller's thread both trace.
            std::fprintf(stderr, "[%10.6f] %s\n", seconds, describeFrame(frame).c_str());
        });
    }
    if (notificationHandler_) {
        sdk->onNotification(notificationHandler_);
    }
    std::string selector = options.adapter;
    if (!options.serial.empty()) {
        selector = "serial:" + options.serial;
    } else if (!options.path.empty()) {
        selector = "path:" + options.path;
    }
    // The reader thread starts in connect and inherits this thread's signal mask: with SIGINT
    // blocked there, Ctrl-C always reaches this thread and never interrupts a HID read.
    sigset_t interrupt;
    sigset_t previous;
    sigemptyset(&interrupt);
    sigaddset(&interrupt, SIGINT);
    pthread_sigmask(SIG_BLOCK, &interrupt, &previous);
    const bool connected = sdk->connectTo(selector);
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    if (!connected) {
        throw ToolError(kExitNoAdapter, connectErrorName(sdk->lastConnectError()), sdk->lastConnectErrorMessage());
    }
    sdk_ = std::move(sdk);
    return *sdk_;
}

void Context::onNotification(TarvixSDK::NotificationHandler handler)
{
    notificationHandler_ = std::move(handler);
    if (sdk_) {
        sdk_->onNotification(notificationHandler_);
    }
}

void Context::check(StatusCode status, const std::string& what) const
{
    if (status == StatusCode::SUCCESS) {
        return;
    }
    int code = kExitDeviceError;
    if (status == StatusCode::NOT_CONNECTED) {
        code = kExitNoAdapter; // also an adapter unplugged while we talked to it
    } else if (status == StatusCode::INVALID_ARGUMENT) {
        code = kExitUsage;
    }
    throw ToolError(code, statusCodeName(status), what + " failed: " + statusCodeMessage(status));
}

void Context::line(const std::string& text) const
{
    if (!options.json) {
        std::fputs(text.c_str(), stdout);
        std::fputc('\n', stdout);
        std::fflush(stdout);
    }
}

CLI::App& addGroup(CLI::App& app, const std::string& name, const std::string& description)
{
    CLI::App* group = app.add_subcommand(name, description);
    group->require_subcommand(1);
    return *group;
}

CLI::App* addAction(CLI::App& parent, Context& context, const std::string& name, const std::string& description,
                    std::function<void()> action)
{
    CLI::App* command = parent.add_subcommand(name, description);
    const std::string path = (parent.get_parent() ? parent.get_name() + " " : std::string()) + name;
    command->callback([&context, path, action = std::move(action)] {
        context.command = path;
        context.action = action;
    });
    return command;
}

CLI::App* addCommand(CLI::App& parent, Context& context, const std::string& name, const std::string& description,
                     void (*run)(Context&))
{
    return addAction(parent, context, name, description, [&context, run] { run(context); });
}

void StopOptions::declare(CLI::App& command, const std::string& items)
{
    command.add_option("-n,--count", count, "Stop after N " + items);
    command.add_option("-t,--timeout", timeout, "Stop after S seconds (0.5 allowed)");
}

std::optional<std::chrono::steady_clock::time_point> StopOptions::deadline() const
{
    if (timeout.empty()) {
        return std::nullopt;
    }
    return std::chrono::steady_clock::now() + parseSeconds(timeout, "--timeout");
}

// -- Parsing ---------------------------------------------------------------------------------------

std::uint32_t parseNumber(const std::string& text, std::uint32_t max, const std::string& what)
{
    if (text.empty() || text[0] == '-' || text[0] == '+') {
        usageError("invalid " + what + " \"" + text + "\"");
    }
    errno = 0;
    char* end = nullptr;
    const unsigned long long value = std::strtoull(text.c_str(), &end, 0);
    if (errno != 0 || end == text.c_str() || *end != '\0') {
        usageError("invalid " + what + " \"" + text + "\"");
    }
    if (value > max) {
        usageError(what + " " + text + " is out of range (0.." + std::to_string(max) + ")");
    }
    return static_cast<std::uint32_t>(value);
}

Bytes parseHexBytes(const std::vector<std::string>& words)
{
    Bytes bytes;
    for (const std::string& word : words) {
        std::string digits;
        std::size_t i = (word.size() > 2 && word[0] == '0' && (word[1] == 'x' || word[1] == 'X')) ? 2 : 0;
        for (; i < word.size(); ++i) {
            const char c = word[i];
            if (c == ':' || c == '_') {
                continue;
            }
            if (!std::isxdigit(static_cast<unsigned char>(c))) {
                usageError("invalid hex bytes \"" + word + "\"");
            }
            digits.push_back(c);
        }
        if (digits.empty()) {
            usageError("invalid hex bytes \"" + word + "\"");
        }
        if (digits.size() % 2 != 0) {
            digits.insert(digits.begin(), '0');
        }
        for (std::size_t j = 0; j < digits.size(); j += 2) {
            bytes.push_back(static_cast<std::uint8_t>(std::stoul(digits.substr(j, 2), nullptr, 16)));
        }
    }
    return bytes;
}

std::chrono::milliseconds parseSeconds(const std::string& text, const std::string& what)
{
    errno = 0;
    char* end = nullptr;
    const double seconds = std::strtod(text.c_str(), &end);
    if (text.empty() || errno != 0 || *end != '\0' || !(seconds >= 0) || seconds > 1e6) {
        usageError("invalid " + what + " \"" + text + "\" (seconds, e.g. 0.5)");
    }
    return std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000.0 + 0.5));
}

// -- Formatting -----------------------------------------------------------------------------------

std::string hex2(std::uint32_t value)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%02" PRIx32, value);
    return text;
}

std::string hexList(const Bytes& bytes, bool prefix)
{
    std::string text;
    char cell[8];
    for (const std::uint8_t byte : bytes) {
        std::snprintf(cell, sizeof cell, prefix ? "%s0x%02x" : "%s%02x", text.empty() ? "" : " ", byte);
        text += cell;
    }
    return text;
}

std::string hexString(const Bytes& bytes)
{
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text.push_back(digits[byte >> 4]);
        text.push_back(digits[byte & 0x0F]);
    }
    return text;
}

std::vector<std::string> hexDump(const std::string& prefix, const Bytes& bytes)
{
    constexpr std::size_t kLine = 16;
    std::vector<std::string> lines;
    for (std::size_t offset = 0; offset < bytes.size() || (offset == 0 && bytes.empty()); offset += kLine) {
        std::string text = prefix + " | ";
        std::string ascii;
        char cell[8];
        for (std::size_t i = 0; i < kLine; ++i) {
            if (offset + i < bytes.size()) {
                const std::uint8_t byte = bytes[offset + i];
                std::snprintf(cell, sizeof cell, "%02X ", byte);
                text += cell;
                ascii.push_back(byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : '.');
            } else {
                text += "__ ";
            }
        }
        lines.push_back(text + "| " + ascii);
        if (bytes.empty()) {
            break;
        }
    }
    return lines;
}

// -- Listener --------------------------------------------------------------------------------------

namespace {

// The write end of the pipe the signal handler wakes the waiting thread through.
volatile sig_atomic_t g_interrupted = 0;
std::atomic<int> g_signalFd{-1};

extern "C" void onInterrupt(int)
{
    g_interrupted = 1;
    const int fd = g_signalFd.load();
    if (fd >= 0) {
        const int saved = errno;
        const char byte = 's';
        (void)!write(fd, &byte, 1);
        errno = saved;
    }
}

} // namespace

struct Listener::State {
    std::mutex mutex;
    std::deque<Event> events;
    int fds[2] = {-1, -1};
    struct sigaction previous {};

    // The pipe lives as long as the state: a notification handler still running on the reader
    // thread holds the state and may write to it after the Listener is gone.
    ~State()
    {
        for (const int fd : fds) {
            if (fd >= 0) {
                close(fd);
            }
        }
    }

    void wake() const
    {
        const char byte = 'n';
        (void)!write(fds[1], &byte, 1);
    }
};

Listener::Listener(Context& context) : context_(context), state_(std::make_shared<State>())
{
    if (pipe2(state_->fds, O_CLOEXEC | O_NONBLOCK) != 0) {
        throw ToolError(kExitDeviceError, "SYSTEM_ERROR", "cannot create a pipe");
    }
    g_interrupted = 0;
    g_signalFd = state_->fds[1];
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, &state_->previous);

    std::weak_ptr<State> weak = state_;
    context.onNotification([weak](const Notification& notification) {
        const std::shared_ptr<State> state = weak.lock();
        if (!state) {
            return;
        }
        Event event;
        event.kind = notification.kind;
        event.at = std::chrono::system_clock::now();
        if (const GpioInterruptNotification* gpio = notification.gpio()) {
            event.pin = gpio->pinNumber;
        } else if (const UartRxNotification* rx = notification.uartRx()) {
            event.data.assign(rx->data, rx->data + rx->dataLength);
        }
        {
            std::lock_guard<std::mutex> lock(state->mutex);
            state->events.push_back(std::move(event));
        }
        state->wake();
    });
}

Listener::~Listener()
{
    sigaction(SIGINT, &state_->previous, nullptr);
    g_signalFd = -1;
}

bool Listener::interrupted() const
{
    return g_interrupted != 0;
}

std::optional<Listener::Event> Listener::next(std::optional<std::chrono::steady_clock::time_point> deadline)
{
    for (;;) {
        {
            std::lock_guard<std::mutex> lock(state_->mutex);
            if (g_interrupted) {
                return std::nullopt;
            }
            if (!state_->events.empty()) {
                Event event = std::move(state_->events.front());
                state_->events.pop_front();
                return event;
            }
        }
        // The adapter's removal wakes nobody here, so look at the session a few times a second.
        if (!context_.sdk().isConnected()) {
            throw ToolError(kExitNoAdapter, "NOT_CONNECTED", "the adapter went away");
        }
        int waitMs = 250;
        if (deadline) {
            const auto left =
                std::chrono::ceil<std::chrono::milliseconds>(*deadline - std::chrono::steady_clock::now());
            if (left.count() <= 0) {
                return std::nullopt;
            }
            waitMs = static_cast<int>(std::min<std::int64_t>(left.count(), waitMs));
        }
        pollfd wait{state_->fds[0], POLLIN, 0};
        if (poll(&wait, 1, waitMs) > 0) {
            char drain[64];
            while (read(state_->fds[0], drain, sizeof drain) > 0) {}
        }
    }
}

} // namespace tarvix_tool
