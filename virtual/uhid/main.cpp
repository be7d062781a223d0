// tarvix-uhid: virtual Tarvix adapters on the machine's real HID stack.
//
//   tarvix-uhid [--no-pacing] [--frame-us N] [--firmware-us N] [SERIAL[@64|@1024] ...]
//
// Each argument plugs one adapter (default: one 64-byte adapter TVX-0001;
// "-" is an adapter without serial number). They stay until SIGINT or
// SIGTERM. SIGUSR1 unplugs all of them, SIGUSR2 plugs them back; lines on
// standard input do the same per adapter ("unplug [SERIAL]", "replug
// [SERIAL]", "delay MS [SERIAL]" to make answers slow, "list", "quit"), each
// answered by one line on standard output.
// Needs write access to /dev/uhid (root, or a udev rule for the uhid group),
// and real-time priority for its /dev/uhid reader under load (see uhid_adapter.cpp).
#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "uhid_adapter.hpp"

namespace {

using tarvix_virtual::uhid::Clock;
using tarvix_virtual::uhid::UhidAdapter;
using tarvix_virtual::uhid::UhidOptions;

constexpr const char* kUsage =
    "usage: tarvix-uhid [--no-pacing] [--frame-us N] [--firmware-us N] [SERIAL[@64|@1024] ...]\n"
    "  Plugs virtual Tarvix adapters into the kernel through /dev/uhid (default: TVX-0001@64).\n"
    "  SERIAL '-' has no serial number; @1024 is the high-speed adapter (1024-byte reports).\n"
    "  --no-pacing      send input reports as soon as they are ready, not one per USB frame\n"
    "  --frame-us N     USB frame time in microseconds (default 1000 at 64 bytes, 125 at 1024)\n"
    "  --firmware-us N  time the firmware spends on each command\n"
    "  Standard input: unplug [SERIAL] | replug [SERIAL] | delay MS [SERIAL] | list | quit.\n"
    "  Signals: SIGUSR1 unplugs every adapter, SIGUSR2 plugs them back, SIGINT/SIGTERM quit.\n";

bool parseMicros(const char* text, std::chrono::nanoseconds& out)
{
    char* end = nullptr;
    errno = 0;
    const unsigned long long value = std::strtoull(text, &end, 10);
    if (*text == '\0' || *end != '\0' || errno != 0 || value > 10'000'000) return false;
    out = std::chrono::microseconds(value);
    return true;
}

bool parseAdapter(const std::string& entry, UhidOptions& options)
{
    std::string serial = entry;
    const std::size_t at = entry.find('@');
    if (at != std::string::npos) {
        serial = entry.substr(0, at);
        const std::string size = entry.substr(at + 1);
        if (size == "1024") {
            options.config.productId = 0x82FD;
        } else if (size != "64") {
            return false;
        }
    }
    options.config.reportSize =
        tarvix_virtual::catalogueReportSize(options.config.vendorId, options.config.productId).value_or(64);
    if (serial.empty()) return false;
    if (serial != "-") options.config.serialNumber = std::wstring(serial.begin(), serial.end());
    return true;
}

void say(const std::string& line)
{
    std::fputs((line + "\n").c_str(), stdout);
    std::fflush(stdout);
}

std::string describe(const UhidAdapter& adapter)
{
    const auto counters = adapter.counters();
    return (adapter.serial().empty() ? std::string("-") : adapter.serial()) + " " +
           std::to_string(adapter.reportSize()) + " " + (adapter.plugged() ? "plugged" : "unplugged") +
           " out=" + std::to_string(counters.outputReports) + " refused=" + std::to_string(counters.refused) +
           " in=" + std::to_string(counters.inputReports) + " lost=" + std::to_string(counters.lost);
}

class Bench {
public:
    std::vector<std::unique_ptr<UhidAdapter>> adapters;

    // Runs one command line; false when it asks to quit.
    bool command(const std::string& line)
    {
        const std::size_t space = line.find(' ');
        const std::string verb = line.substr(0, space);
        std::string serial = space == std::string::npos ? "" : line.substr(space + 1);
        if (verb == "quit") return false;
        std::chrono::milliseconds delay{0};
        if (verb == "delay") {
            const std::size_t end = serial.find(' ');
            std::chrono::nanoseconds micros{0};
            if (!parseMicros((serial.substr(0, end) + "000").c_str(), micros)) {
                say("error: delay wants milliseconds (0..10000)");
                return true;
            }
            delay = std::chrono::duration_cast<std::chrono::milliseconds>(micros);
            serial = end == std::string::npos ? "" : serial.substr(end + 1);
        }
        if (verb == "list") {
            for (const auto& adapter : adapters) say(describe(*adapter));
            say("ok");
            return true;
        }
        if (verb != "unplug" && verb != "replug" && verb != "delay") {
            say("error: unknown command '" + verb + "' (unplug, replug, delay, list, quit)");
            return true;
        }
        bool found = false;
        std::string error;
        for (const auto& adapter : adapters) {
            if (!serial.empty() && adapter->serial() != serial) continue;
            found = true;
            if (verb == "delay")
                adapter->setResponseDelay(delay);
            else if (verb == "unplug")
                adapter->unplug();
            else if (!adapter->plug(error))
                break;
        }
        say(!found ? "error: no adapter " + serial : error.empty() ? "ok" : "error: " + error);
        return true;
    }

    int pollTimeout() const
    {
        int timeout = -1;
        for (const auto& adapter : adapters) {
            if (const auto at = adapter->nextService()) {
                const auto left = std::chrono::ceil<std::chrono::milliseconds>(*at - Clock::now()).count();
                const int ms = static_cast<int>(std::max<long long>(0, std::min<long long>(left, 60'000)));
                timeout = timeout < 0 ? ms : std::min(timeout, ms);
            }
        }
        return timeout;
    }
};

} // namespace

int main(int argc, char** argv)
{
    std::vector<UhidOptions> wanted;
    bool pacing = true;
    std::chrono::nanoseconds frame{0};
    std::chrono::nanoseconds firmwareTime{0};
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        }
        if (arg == "--no-pacing") {
            pacing = false;
        } else if ((arg == "--frame-us" || arg == "--firmware-us") && i + 1 < argc) {
            if (!parseMicros(argv[++i], arg == "--frame-us" ? frame : firmwareTime)) {
                std::fprintf(stderr, "tarvix-uhid: %s wants microseconds (0..10000000), not '%s'\n", arg.c_str(),
                             argv[i]);
                return 2;
            }
        } else {
            UhidOptions options;
            if (arg.rfind("--", 0) == 0 || !parseAdapter(arg, options)) {
                std::fprintf(stderr, "tarvix-uhid: bad argument '%s'\n%s", arg.c_str(), kUsage);
                return 2;
            }
            wanted.push_back(options);
        }
    }
    if (wanted.empty()) {
        UhidOptions options;
        parseAdapter("TVX-0001", options);
        wanted.push_back(options);
    }

    // Signals arrive through a descriptor, read by the main loop with standard input.
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGUSR1, SIGUSR2, SIGHUP}) sigaddset(&signals, number);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr); // before any thread starts, so all inherit it
    const int signalFd = signalfd(-1, &signals, SFD_CLOEXEC);

    Bench bench;
    try {
        for (UhidOptions& options : wanted) {
            options.pacing = pacing;
            options.frame = frame;
            options.firmwareTime = firmwareTime;
            bench.adapters.push_back(std::make_unique<UhidAdapter>(options));
            std::string error;
            if (!bench.adapters.back()->plug(error)) {
                std::fprintf(stderr, "tarvix-uhid: %s\n", error.c_str());
                return 1;
            }
            say("plugged " + describe(*bench.adapters.back()));
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "tarvix-uhid: %s (is the uhid module loaded, and /dev/uhid writable?)\n", error.what());
        return 1;
    }
    say("ready");

    std::string line;
    bool input = true;
    for (;;) {
        pollfd fds[2] = {{signalFd, POLLIN, 0}, {input ? STDIN_FILENO : -1, POLLIN, 0}};
        const int ready = ::poll(fds, 2, bench.pollTimeout());
        if (ready < 0 && errno != EINTR) break;
        for (const auto& adapter : bench.adapters) adapter->service(Clock::now());
        if (ready <= 0) continue;
        if (fds[0].revents != 0) {
            signalfd_siginfo info{};
            if (::read(signalFd, &info, sizeof info) != static_cast<ssize_t>(sizeof info)) continue;
            if (info.ssi_signo == SIGUSR1) {
                bench.command("unplug");
            } else if (info.ssi_signo == SIGUSR2) {
                bench.command("replug");
            } else {
                break;
            }
        }
        if (fds[1].revents != 0) {
            char buffer[256];
            const ssize_t count = ::read(STDIN_FILENO, buffer, sizeof buffer);
            if (count <= 0) {
                input = false; // end of input: keep running until a signal
                continue;
            }
            line.append(buffer, static_cast<std::size_t>(count));
            bool quit = false;
            for (std::size_t end; !quit && (end = line.find('\n')) != std::string::npos;) {
                std::string text = line.substr(0, end);
                line.erase(0, end + 1);
                if (!text.empty() && text.back() == '\r') text.pop_back();
                if (!text.empty()) quit = !bench.command(text);
            }
            if (line.size() > 4096) line.clear(); // no line is that long
            if (quit) break;
        }
    }
    for (const auto& adapter : bench.adapters) std::fprintf(stderr, "tarvix-uhid: %s\n", describe(*adapter).c_str());
    return 0;
}
