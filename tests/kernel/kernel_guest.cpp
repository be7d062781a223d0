// The SDK through the real Linux HID stack: this program runs inside a small virtual machine
// (scripts/kernel-e2e.sh), starts tarvix-uhid with the adapters named on its command line and
// drives them through the production library, the real libhidapi-hidraw, hidraw, hid-generic
// and uhid. It checks what that path can break and the in-process suites cannot see: report
// sizes from enumeration, segmentation and reassembly through the real driver, notifications
// between answers, hidraw's 64-report list under slow handlers, unplug and replug.
//
//   kernel_guest --uhid PATH [--repeat N] [--measure] SERIAL@SIZE...
//
// One line per check, "ok - NAME: detail" or "FAIL - NAME: detail", and "info - ..." lines
// with figures; the exit status is the number of failures (at most 100).
#include <tarvixsdk/tarvixsdk.hpp>

#include <dirent.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <future>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "loss_round.hpp"

namespace {

using Clock = std::chrono::steady_clock;
using loss::Bytes;
using loss::Read;
using namespace std::chrono_literals;

int failedChecks = 0;

void check(const std::string& name, bool passed, const std::string& detail)
{
    std::printf("%s - %s: %s\n", passed ? "ok" : "FAIL", name.c_str(), detail.c_str());
    std::fflush(stdout);
    if (!passed) ++failedChecks;
}

void info(const std::string& text)
{
    std::printf("info - %s\n", text.c_str());
    std::fflush(stdout);
}

double msSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

std::string fixed(double value, int decimals = 1)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

// Polls @p done every 20 ms: true once it holds, false when @p timeout passed first.
bool waitUntil(const std::function<bool()>& done, Clock::duration timeout)
{
    const auto deadline = Clock::now() + timeout;
    while (!done()) {
        if (Clock::now() > deadline) return false;
        std::this_thread::sleep_for(20ms);
    }
    return true;
}

struct Wanted {
    std::string serial;
    std::size_t reportSize;
};

// tarvix-uhid as a child process, commanded through its standard input.
class UhidProcess {
public:
    bool start(const std::string& program, const std::vector<std::string>& arguments)
    {
        int toChild[2];
        int fromChild[2];
        if (::pipe(toChild) != 0 || ::pipe(fromChild) != 0) return false;
        pid_ = ::fork();
        if (pid_ == 0) {
            ::dup2(toChild[0], STDIN_FILENO);
            ::dup2(fromChild[1], STDOUT_FILENO);
            ::close(toChild[1]);
            ::close(fromChild[0]);
            std::vector<char*> argv{const_cast<char*>(program.c_str())};
            for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
            argv.push_back(nullptr);
            ::execv(program.c_str(), argv.data());
            ::_exit(127);
        }
        ::close(toChild[0]);
        ::close(fromChild[1]);
        in_ = toChild[1];
        out_ = fromChild[0];
        return pid_ > 0 && readUntil("ready", 10s);
    }

    // Sends one command line; true when tarvix-uhid answered "ok".
    bool command(const std::string& line)
    {
        const std::string text = line + "\n";
        if (::write(in_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) return false;
        return readUntil("ok", 10s);
    }

    void stop()
    {
        if (pid_ <= 0) return;
        (void)command("quit");
        if (!waitUntil([&] { return ::waitpid(pid_, nullptr, WNOHANG) != 0; }, 5s)) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
        ::close(in_);
        ::close(out_);
        pid_ = -1;
    }

    ~UhidProcess() { stop(); }

private:
    // Reads lines until one is @p wanted (true) or starts with "error" (false).
    bool readUntil(const std::string& wanted, std::chrono::seconds timeout)
    {
        const auto deadline = Clock::now() + timeout;
        for (;;) {
            const std::size_t end = buffer_.find('\n');
            if (end != std::string::npos) {
                const std::string line = buffer_.substr(0, end);
                buffer_.erase(0, end + 1);
                if (line == wanted) return true;
                if (line.rfind("error", 0) == 0) {
                    info("tarvix-uhid: " + line);
                    return false;
                }
                continue;
            }
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
            if (left <= 0) return false;
            pollfd fd{out_, POLLIN, 0};
            if (::poll(&fd, 1, static_cast<int>(left)) <= 0) return false;
            char chunk[512];
            const ssize_t count = ::read(out_, chunk, sizeof chunk);
            if (count <= 0) return false;
            buffer_.append(chunk, static_cast<std::size_t>(count));
        }
    }

    pid_t pid_ = -1;
    int in_ = -1;
    int out_ = -1;
    std::string buffer_;
};

// The enumeration entry of @p serial, if it is listed now.
std::optional<TarvixSDK::AdapterInfo> listed(const std::string& serial)
{
    for (const TarvixSDK::AdapterInfo& a : TarvixSDK::listAdapters())
        if (a.serialNumber == serial) return a;
    return std::nullopt;
}

// The same once it is listed, within 10 s.
std::optional<TarvixSDK::AdapterInfo> waitListed(const std::string& serial)
{
    std::optional<TarvixSDK::AdapterInfo> found;
    waitUntil([&] { return (found = listed(serial)).has_value(); }, 10s);
    return found;
}

SessionOptions safeOptions()
{
    SessionOptions options{};
    options.matchResponses = true;
    options.detectRemoval = true;
    options.queueReports = true;
    return options;
}

// Fills the bench's 64-KiB flash with @p image, one 256-byte page at a time.
bool programFlash(TarvixSDK& sdk, const Bytes& image)
{
    Bytes miso;
    if (sdk.spiTransfer({0x06}, miso, 1) != StatusCode::SUCCESS) return false;
    if (sdk.spiTransfer({0xC7}, miso, 1) != StatusCode::SUCCESS) return false;
    for (std::size_t page = 0; page < image.size(); page += 256) {
        Bytes mosi(4 + 256);
        mosi[0] = 0x02;
        mosi[1] = static_cast<std::uint8_t>(page >> 16);
        mosi[2] = static_cast<std::uint8_t>(page >> 8);
        mosi[3] = static_cast<std::uint8_t>(page);
        std::copy_n(image.begin() + static_cast<std::ptrdiff_t>(page), 256, mosi.begin() + 4);
        if (sdk.spiTransfer({0x06}, miso, 1) != StatusCode::SUCCESS) return false;
        if (sdk.spiTransfer(mosi, miso, static_cast<std::uint16_t>(mosi.size())) != StatusCode::SUCCESS) return false;
    }
    return true;
}

Bytes randomBytes(std::size_t count, std::mt19937& random)
{
    Bytes bytes(count);
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
    return bytes;
}

// Voluntary and involuntary context switches of every thread of this process but the main one.
long otherThreadSwitches()
{
    long total = 0;
    DIR* tasks = ::opendir("/proc/self/task");
    if (tasks == nullptr) return -1;
    const std::string self = std::to_string(::getpid());
    while (const dirent* entry = ::readdir(tasks)) {
        if (entry->d_name[0] == '.' || self == entry->d_name) continue;
        std::ifstream status(std::string("/proc/self/task/") + entry->d_name + "/status");
        std::string line;
        while (std::getline(status, line)) {
            if (line.find("ctxt_switches:") != std::string::npos) total += std::atol(line.c_str() + line.find(':') + 1);
        }
    }
    ::closedir(tasks);
    return total;
}

// Every adapter listed, with its serial and the report size its descriptor declares.
std::vector<std::string> enumerationChecks(const std::vector<Wanted>& wanted)
{
    std::vector<std::string> paths;
    for (const Wanted& w : wanted) {
        const auto it = waitListed(w.serial);
        check("enumerate " + w.serial, it && it->reportSize == w.reportSize && it->hasSerialNumber,
              it ? it->path + " report " + std::to_string(it->reportSize) + " product \"" + it->product +
                       "\" manufacturer \"" + it->manufacturer + "\""
                 : "not listed");
        paths.push_back(it ? it->path : "");
    }
    return paths;
}

void roundTrips(TarvixSDK& sdk, const Wanted& w, int count)
{
    std::vector<double> micros;
    int failed = 0;
    Bytes text;
    for (int i = 0; i < count; ++i) {
        const auto start = Clock::now();
        if (sdk.getUsbString(text, 2) != StatusCode::SUCCESS) ++failed;
        micros.push_back(msSince(start) * 1000.0);
    }
    std::sort(micros.begin(), micros.end());
    check("round trips " + w.serial, failed == 0,
          std::to_string(count) + " calls, " + std::to_string(failed) + " failed, median " +
              fixed(micros[micros.size() / 2], 0) + " us, p99 " + fixed(micros[micros.size() * 99 / 100], 0) + " us");
}

void notificationsDuringCalls(TarvixSDK& sdk, const std::atomic<int>& interrupts, const Wanted& w)
{
    bool ok = sdk.gpioConfigurePin(GpioPinNumber::GPIO_0, GpioFunctionality::DIGITAL_OUTPUT, GpioLogicLevel::LOW) ==
                  StatusCode::SUCCESS &&
              sdk.gpioConfigurePin(GpioPinNumber::GPIO_1, GpioFunctionality::DIGITAL_INTERRUPT, GpioLogicLevel::LOW) ==
                  StatusCode::SUCCESS &&
              sdk.gpioConfigureInterrupt(GpioPinNumber::GPIO_1, GpioTriggerType::BOTH_EDGES) == StatusCode::SUCCESS;
    constexpr int kToggles = 200;
    GpioLogicLevel level = GpioLogicLevel::LOW;
    for (int i = 0; ok && i < kToggles; ++i) {
        ok = sdk.gpioDigitalWrite(GpioPinNumber::GPIO_0, i % 2 == 0 ? GpioLogicLevel::HIGH : GpioLogicLevel::LOW) ==
                 StatusCode::SUCCESS &&
             sdk.gpioDigitalRead(GpioPinNumber::GPIO_1, level) == StatusCode::SUCCESS;
    }
    waitUntil([&] { return interrupts.load() >= kToggles; }, 2s);
    check("notifications during calls " + w.serial, ok && interrupts.load() == kToggles,
          std::to_string(interrupts.load()) + "/" + std::to_string(kToggles) + " GPIO interrupts between " +
              std::to_string(2 * kToggles) + " blocking calls");
}

// Answers up to 64 KiB device to host, requests up to 60,000 bytes host to device (back through
// the UART loopback), byte for byte.
void longFrames(TarvixSDK& sdk, loss::UartSink& uart, const Wanted& w, const Bytes& image, int repeat,
                std::mt19937& random)
{
    check("flash programmed " + w.serial, loss::initSpiAndUart(sdk) && programFlash(sdk, image), "256 pages");
    // A 64-byte adapter sends 1,057 segments for the largest answer.
    const std::uint16_t sizes[] = {3000, 20000, 65535};
    int exact = 0;
    int wrong = 0;
    std::string failures;
    const auto start = Clock::now();
    for (int i = 0; i < repeat; ++i) {
        StatusCode status = StatusCode::SUCCESS;
        const Read read = loss::readFlash(sdk, w.reportSize >= 1024 ? 65535 : sizes[i % 3], image, &status);
        exact += read == Read::WHOLE ? 1 : 0;
        wrong += read == Read::WRONG_BUT_SUCCESS ? 1 : 0;
        if (read == Read::FAILED) failures += std::string(" ") + statusCodeName(status);
    }
    check("long answers " + w.serial, exact == repeat,
          std::to_string(exact) + "/" + std::to_string(repeat) + " byte-exact, " + std::to_string(wrong) +
              " wrong with SUCCESS, " + fixed(msSince(start) / 1000.0) + " s" +
              (failures.empty() ? "" : "; failed:" + failures));

    int looped = 0;
    const int uartRepeat = std::max(1, repeat / 10);
    for (int i = 0; i < uartRepeat; ++i) {
        const Bytes message = randomBytes(i % 2 == 0 ? 60000 : 4000, random);
        uart.clear();
        looped += sdk.uartSendMessage(message) == StatusCode::SUCCESS && uart.receives(message, 5s) ? 1 : 0;
    }
    check("long requests " + w.serial, looped == uartRepeat,
          std::to_string(looped) + "/" + std::to_string(uartRepeat) +
              " UART messages of 60,000/4,000 bytes back byte-exact");
}

// The reader against hidraw's 64-report list: UART bytes looped back as notifications, then at
// once a 64-KiB answer, while the notification handler spends a growing time on each.
void measureLosses(TarvixSDK& sdk, loss::UartSink& uart, const Wanted& w, const Bytes& image, std::mt19937& random)
{
    int wrongSuccess = 0;
    for (const int micros : {0, 25, 50, 100, 250, 500, 1000, 2000}) {
        constexpr int kRounds = 5;
        int lostUart = 0;
        int failedSpi = 0;
        uart.handlerMicros = micros;
        for (int round = 0; round < kRounds; ++round) {
            const loss::Round r = loss::streamRound(sdk, uart, randomBytes(60000, random), image, 1s);
            lostUart += r.uartWhole ? 0 : 1;
            failedSpi += r.spi == Read::WHOLE ? 0 : 1;
            wrongSuccess += r.spi == Read::WRONG_BUT_SUCCESS ? 1 : 0;
        }
        uart.handlerMicros = 0;
        std::this_thread::sleep_for(200ms); // anything late drains before the next handler time
        info("losses " + w.serial + " handler " + std::to_string(micros) + " us per notification: " +
             std::to_string(lostUart) + "/" + std::to_string(kRounds) + " UART streams incomplete, " +
             std::to_string(failedSpi) + "/" + std::to_string(kRounds) + " 64-KiB answers failed");
        if (micros == 1000)
            check("no loss at 1 ms handler " + w.serial, lostUart == 0 && failedSpi == 0,
                  std::to_string(lostUart + failedSpi) + " of " + std::to_string(2 * kRounds) + " streams lost data");
    }
    check("lost data never SUCCESS " + w.serial, wrongSuccess == 0,
          std::to_string(wrongSuccess) + " wrong answers reported SUCCESS");
}

// Every adapter at once, each with its own session: 64-KiB answers in parallel.
void parallelChecks(const std::vector<Wanted>& adapters)
{
    std::vector<std::future<int>> runs;
    for (const Wanted& w : adapters) {
        runs.push_back(std::async(std::launch::async, [&w] {
            std::mt19937 local(7);
            const Bytes image = randomBytes(65536, local);
            TarvixSDK sdk(20000, safeOptions());
            if (!sdk.connectTo("serial:" + w.serial) || !loss::initSpiAndUart(sdk) || !programFlash(sdk, image))
                return -1;
            int exact = 0;
            for (int i = 0; i < 10; ++i) exact += loss::readFlash(sdk, 65535, image) == Read::WHOLE ? 1 : 0;
            return exact;
        }));
    }
    std::string detail;
    bool all = true;
    for (std::size_t i = 0; i < runs.size(); ++i) {
        const int exact = runs[i].get();
        all = all && exact == 10;
        detail += adapters[i].serial + " " + std::to_string(exact) + "/10 ";
    }
    check("adapters in parallel", all, detail + "64-KiB answers byte-exact");
}

// Connects @p sdk, has tarvix-uhid hold back its answers and pulls the cable 300 ms into a call:
// the call's status and the milliseconds from its start and from the unplug to its return.
struct Unplugged {
    bool setUp = false;
    StatusCode status = StatusCode::SUCCESS;
    double sinceCall = 0;
    double sinceUnplug = 0;

    std::string text() const
    {
        return setUp ? std::string(statusCodeName(status)) + " after " + fixed(sinceCall, 0) + " ms, " +
                           fixed(sinceUnplug, 0) + " ms after the unplug"
                     : "cannot set up";
    }
};
Unplugged unplugDuringCall(UhidProcess& uhid, TarvixSDK& sdk, const std::string& serial)
{
    Unplugged result;
    if (!sdk.connectTo("serial:" + serial) || !uhid.command("delay 5000 " + serial)) return result;
    const auto called = Clock::now();
    auto call = std::async(std::launch::async, [&] {
        TarvixSDK::DeviceInfo deviceInfo;
        return sdk.getDeviceInfo(deviceInfo);
    });
    std::this_thread::sleep_for(300ms);
    const auto unplugged = Clock::now();
    uhid.command("unplug " + serial);
    result.status = call.get();
    result.sinceUnplug = msSince(unplugged);
    result.sinceCall = msSince(called);
    result.setUp = true;
    return result;
}

// Unplug while a call waits, with and without detectRemoval; the reader while unplugged; replug.
void unplugChecks(UhidProcess& uhid, const Wanted& w, const std::string& path)
{
    // Without detectRemoval the call ends at its timeout.
    TarvixSDK plain(1500);
    const Unplugged timedOut = unplugDuringCall(uhid, plain, w.serial);
    check("unplug during wait, timeout " + w.serial,
          timedOut.setUp && timedOut.status == StatusCode::NO_RESPONSE && timedOut.sinceCall < 2500,
          timedOut.text() + " (timeout 1500 ms)");
    if (!timedOut.setUp) return;

    // The reader of a session whose adapter has gone, left connected (no detectRemoval).
    const long before = otherThreadSwitches();
    std::this_thread::sleep_for(1s);
    const long wakeups = otherThreadSwitches() - before;
    check("reader wake-ups while unplugged " + w.serial, wakeups >= 0 && wakeups <= 50,
          std::to_string(wakeups) + " per second");

    uhid.command("replug " + w.serial);
    const std::string newPath = waitListed(w.serial).value_or(TarvixSDK::AdapterInfo{}).path;
    // The old handle belongs to the device that left, even if the new one has its path.
    TarvixSDK::DeviceInfo deviceInfo;
    const StatusCode staleStatus = plain.getDeviceInfo(deviceInfo);
    check("stale session after replug " + w.serial, staleStatus != StatusCode::SUCCESS,
          std::string(statusCodeName(staleStatus)) + " on the handle opened before the unplug");

    // With detectRemoval the waiting call is woken soon after the unplug.
    TarvixSDK safe(10000, safeOptions());
    const Unplugged woken = unplugDuringCall(uhid, safe, w.serial);
    check("unplug during wait, detectRemoval " + w.serial,
          woken.setUp && woken.status == StatusCode::NOT_CONNECTED && woken.sinceUnplug < 500, woken.text());
    check("gone from enumeration " + w.serial, waitUntil([&] { return !listed(w.serial); }, 5s), "after unplug");

    // Once every handle on the old device is closed, the kernel gives the new one its path.
    plain.disconnect();
    safe.disconnect();
    uhid.command("delay 0 " + w.serial);
    uhid.command("replug " + w.serial);
    const std::string replugPath = waitListed(w.serial).value_or(TarvixSDK::AdapterInfo{}).path;
    const bool reconnected = safe.connect(replugPath) && safe.getDeviceInfo(deviceInfo) == StatusCode::SUCCESS;
    check("replug and reconnect under a reused path " + w.serial,
          reconnected && deviceInfo.usbString3 == w.serial && replugPath == path,
          "paths " + path + " -> " + newPath + " (old handle open) -> " + replugPath + " (all closed)");
}

struct Options {
    std::string uhid;
    int repeat = 100;
    bool measure = false;
    std::vector<Wanted> adapters;
};

bool parse(int argc, char** argv, Options& options)
{
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const std::size_t at = arg.find('@');
        if (arg == "--uhid" && i + 1 < argc) {
            options.uhid = argv[++i];
        } else if (arg == "--repeat" && i + 1 < argc) {
            options.repeat = std::max(1, std::atoi(argv[++i]));
        } else if (arg == "--measure") {
            options.measure = true;
        } else if (at != std::string::npos && arg[0] != '-') {
            options.adapters.push_back({arg.substr(0, at), arg.substr(at + 1) == "1024" ? 1024u : 64u});
        } else {
            return false;
        }
    }
    return !options.uhid.empty() && !options.adapters.empty();
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    if (!parse(argc, argv, options)) {
        std::fprintf(stderr, "usage: kernel_guest --uhid PATH [--repeat N] [--measure] SERIAL@64|SERIAL@1024...\n");
        return 100;
    }
    std::vector<std::string> arguments;
    for (const Wanted& w : options.adapters) arguments.push_back(w.serial + "@" + std::to_string(w.reportSize));
    UhidProcess uhid;
    check("tarvix-uhid started", uhid.start(options.uhid, arguments), options.uhid);

    const std::vector<std::string> paths = enumerationChecks(options.adapters);
    std::mt19937 random(2024);
    for (const Wanted& w : options.adapters) {
        loss::UartSink uart;
        std::atomic<int> interrupts{0};
        TarvixSDK sdk(5000, safeOptions());
        sdk.onNotification([&uart, &interrupts](const Notification& n) {
            if (n.gpio() != nullptr) ++interrupts;
            uart.take(n);
        });
        if (!sdk.connectTo("serial:" + w.serial)) {
            check("session " + w.serial, false, sdk.lastConnectErrorMessage());
            continue;
        }
        const Bytes image = randomBytes(65536, random);
        roundTrips(sdk, w, 1000);
        notificationsDuringCalls(sdk, interrupts, w);
        longFrames(sdk, uart, w, image, options.repeat, random);
        if (options.measure) measureLosses(sdk, uart, w, image, random);
    }
    if (options.adapters.size() > 1) parallelChecks(options.adapters);
    unplugChecks(uhid, options.adapters[0], paths[0]);
    uhid.stop();
    return std::min(failedChecks, 100);
}
