// The SDK through the real Linux HID stack: this program runs inside a small
// virtual machine (scripts/kernel-e2e.sh), starts tarvix-uhid with the adapters
// named on its command line and drives them through the production library,
// the real libhidapi-hidraw, hidraw, hid-generic and uhid.
//
//   kernel_guest --uhid PATH [--repeat N] [--measure] [--no-pacing] SERIAL@SIZE...
//
// One line per check, "ok - NAME: detail" or "FAIL - NAME: detail", and
// "info - ..." lines with figures; the exit status is the number of failures
// (at most 100).
#include <tarvixsdk/tarvixsdk.hpp>

#include <dirent.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <future>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using Bytes = std::vector<std::uint8_t>;

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
        return pid_ > 0 && readUntil("ready", std::chrono::seconds(10));
    }

    // Sends one command line; true when tarvix-uhid answered "ok".
    bool command(const std::string& line)
    {
        const std::string text = line + "\n";
        if (::write(in_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) return false;
        return readUntil("ok", std::chrono::seconds(10));
    }

    void stop()
    {
        if (pid_ <= 0) return;
        (void)command("quit");
        const auto deadline = Clock::now() + std::chrono::seconds(5);
        int status = 0;
        while (::waitpid(pid_, &status, WNOHANG) == 0) {
            if (Clock::now() > deadline) {
                ::kill(pid_, SIGKILL);
                ::waitpid(pid_, &status, 0);
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
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

// Polls enumeration until every wanted serial is listed (or the timeout passes).
std::vector<TarvixSDK::AdapterInfo> waitForAdapters(const std::vector<Wanted>& wanted,
                                                    std::chrono::milliseconds timeout)
{
    const auto deadline = Clock::now() + timeout;
    for (;;) {
        std::vector<TarvixSDK::AdapterInfo> found = TarvixSDK::listAdapters();
        const bool all = std::all_of(wanted.begin(), wanted.end(), [&](const Wanted& w) {
            return std::any_of(found.begin(), found.end(),
                               [&](const TarvixSDK::AdapterInfo& a) { return a.serialNumber == w.serial; });
        });
        if (all || Clock::now() > deadline) return found;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

// The path of @p w once it is listed again (empty if it is not within the timeout).
std::string waitForPath(const Wanted& w)
{
    const auto found = waitForAdapters({w}, std::chrono::seconds(10));
    const auto it = std::find_if(found.begin(), found.end(),
                                 [&](const TarvixSDK::AdapterInfo& a) { return a.serialNumber == w.serial; });
    return it != found.end() ? it->path : "";
}

bool waitGone(const std::string& serial, std::chrono::milliseconds timeout)
{
    const auto deadline = Clock::now() + timeout;
    while (Clock::now() < deadline) {
        const auto found = TarvixSDK::listAdapters();
        if (std::none_of(found.begin(), found.end(),
                         [&](const TarvixSDK::AdapterInfo& a) { return a.serialNumber == serial; }))
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

SessionOptions safeOptions()
{
    SessionOptions options{};
    options.matchResponses = true;
    options.detectRemoval = true;
    options.queueReports = true;
    return options;
}

StatusCode spiInit(TarvixSDK& sdk)
{
    return sdk.spiControllerInit(SpiBitOrder::MSB_FIRST, SpiMode::MODE_0, SpiDataWidth::BITS_8, SpiChipSelect::CS_0,
                                 SpiChipSelectPolarity::ACTIVE_LOW, 1000000);
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

// One read of @p length bytes from address 0: the answer frame carries length + 8 bytes.
enum class ReadOutcome {
    EXACT,
    FAILED,
    WRONG_BUT_SUCCESS
};
ReadOutcome readFlash(TarvixSDK& sdk, const Bytes& image, std::uint16_t length, StatusCode* statusOut = nullptr)
{
    Bytes miso;
    const StatusCode status = sdk.spiTransfer({0x03, 0, 0, 0}, miso, length);
    if (statusOut != nullptr) *statusOut = status;
    const bool exact =
        miso.size() == length && std::equal(miso.begin() + 4, miso.end(), image.begin(), image.begin() + (length - 4));
    if (status != StatusCode::SUCCESS) return ReadOutcome::FAILED;
    return exact ? ReadOutcome::EXACT : ReadOutcome::WRONG_BUT_SUCCESS;
}

// Bytes looped back over the UART, collected from notifications.
struct UartSink {
    std::mutex mutex;
    std::condition_variable changed;
    Bytes received;
    std::atomic<int> handlerMicros{0};

    void take(const Notification& n)
    {
        if (const UartRxNotification* rx = n.uartRx()) {
            {
                std::lock_guard<std::mutex> lock(mutex);
                received.insert(received.end(), rx->data, rx->data + rx->dataLength);
            }
            changed.notify_all();
            if (const int micros = handlerMicros.load(); micros > 0)
                std::this_thread::sleep_for(std::chrono::microseconds(micros));
        }
    }

    bool waitFor(std::size_t count, std::chrono::milliseconds timeout)
    {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, timeout, [&] { return received.size() >= count; });
    }

    void clear()
    {
        std::lock_guard<std::mutex> lock(mutex);
        received.clear();
    }
};

Bytes randomBytes(std::size_t count, std::mt19937& random)
{
    Bytes bytes(count);
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
    return bytes;
}

bool uartInit(TarvixSDK& sdk)
{
    return sdk.uartInit(UartBaudRate::BAUD_115200, UartHwHandshake::DISABLED, UartParity::NONE, UartDataSize::BITS_8,
                        UartStopBit::ONE) == StatusCode::SUCCESS;
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

// Times uhid refused an output report because its queue of 32 was full (dmesg).
int uhidOverflows()
{
    FILE* log = ::popen("dmesg", "r");
    if (log == nullptr) return -1;
    int count = 0;
    char line[512];
    while (std::fgets(line, sizeof line, log) != nullptr)
        count += std::strstr(line, "queue is full") != nullptr ? 1 : 0;
    ::pclose(log);
    return count;
}

struct Options {
    std::string uhid;
    int repeat = 100;
    bool measure = false;
    bool pacing = true;
    std::vector<Wanted> adapters;
};

void enumerationChecks(const std::vector<Wanted>& wanted, std::vector<std::string>& paths)
{
    const auto found = waitForAdapters(wanted, std::chrono::seconds(10));
    for (const Wanted& w : wanted) {
        const auto it = std::find_if(found.begin(), found.end(),
                                     [&](const TarvixSDK::AdapterInfo& a) { return a.serialNumber == w.serial; });
        const bool listed = it != found.end();
        check("enumerate " + w.serial, listed && it->reportSize == w.reportSize && it->hasSerialNumber,
              listed ? it->path + " report " + std::to_string(it->reportSize) + " product \"" + it->product +
                           "\" manufacturer \"" + it->manufacturer + "\""
                     : "not listed");
        paths.push_back(listed ? it->path : "");
    }
}

void connectChecks(const Wanted& w, const std::string& path)
{
    for (const std::string& selector : {"serial:" + w.serial, "path:" + path}) {
        TarvixSDK sdk(2000, safeOptions());
        TarvixSDK::DeviceInfo deviceInfo;
        const bool connected = sdk.connectTo(selector);
        const StatusCode status = connected ? sdk.getDeviceInfo(deviceInfo) : StatusCode::NOT_CONNECTED;
        check("connect " + selector, status == StatusCode::SUCCESS && deviceInfo.usbString3 == w.serial,
              connected ? std::string(statusCodeName(status)) + ", serial \"" + deviceInfo.usbString3 + "\""
                        : sdk.lastConnectErrorMessage());
    }
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
    const double median = micros[micros.size() / 2];
    const double p99 = micros[micros.size() * 99 / 100];
    check("round trips " + w.serial, failed == 0,
          std::to_string(count) + " calls, " + std::to_string(failed) + " failed, median " + fixed(median, 0) +
              " us, p99 " + fixed(p99, 0) + " us");
}

void longFrames(TarvixSDK& sdk, UartSink& uart, const Wanted& w, int repeat, std::mt19937& random)
{
    const Bytes image = randomBytes(65536, random);
    check("flash programmed " + w.serial, spiInit(sdk) == StatusCode::SUCCESS && programFlash(sdk, image), "256 pages");
    // Answers up to 64 KiB, device to host: a 64-byte adapter sends 1,057 segments for the largest.
    const std::uint16_t sizes[] = {3000, 20000, 65535};
    int exact = 0;
    int failed = 0;
    int wrong = 0;
    std::string failures;
    const auto start = Clock::now();
    for (int i = 0; i < repeat; ++i) {
        const std::uint16_t size = w.reportSize >= 1024 ? 65535 : sizes[i % 3];
        StatusCode status = StatusCode::SUCCESS;
        switch (readFlash(sdk, image, size, &status)) {
        case ReadOutcome::EXACT: ++exact; break;
        case ReadOutcome::FAILED:
            ++failed;
            failures += std::string(" ") + statusCodeName(status);
            break;
        case ReadOutcome::WRONG_BUT_SUCCESS: ++wrong; break;
        }
    }
    check("long answers " + w.serial, exact == repeat,
          std::to_string(exact) + "/" + std::to_string(repeat) + " byte-exact, " + std::to_string(failed) +
              " failed, " + std::to_string(wrong) + " wrong with SUCCESS, " + fixed(msSince(start) / 1000.0, 1) +
              " s, uhid overflows so far " + std::to_string(uhidOverflows()) +
              (failures.empty() ? "" : ";" + failures));
    check("no wrong SUCCESS " + w.serial, wrong == 0, std::to_string(wrong) + " wrong answers reported SUCCESS");

    // Requests up to 60,000 bytes, host to device, checked through the UART loopback.
    int looped = 0;
    const int uartRepeat = std::max(1, repeat / 10);
    bool initialised = uartInit(sdk);
    for (int i = 0; initialised && i < uartRepeat; ++i) {
        const Bytes message = randomBytes(i % 2 == 0 ? 60000 : 4000, random);
        uart.clear();
        const StatusCode status = sdk.uartSendMessage(message);
        const bool arrived = status == StatusCode::SUCCESS && uart.waitFor(message.size(), std::chrono::seconds(5));
        std::lock_guard<std::mutex> lock(uart.mutex);
        if (arrived && uart.received == message) ++looped;
    }
    check("long requests " + w.serial, looped == uartRepeat,
          std::to_string(looped) + "/" + std::to_string(uartRepeat) +
              " UART messages of 60,000/4,000 bytes back byte-exact, uhid overflows so far " +
              std::to_string(uhidOverflows()));
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
    const auto deadline = Clock::now() + std::chrono::seconds(2);
    while (interrupts.load() < kToggles && Clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    check("notifications during calls " + w.serial, ok && interrupts.load() == kToggles,
          std::to_string(interrupts.load()) + "/" + std::to_string(kToggles) + " GPIO interrupts between " +
              std::to_string(2 * kToggles) + " blocking calls");
}

// Unplug while a call waits, with and without detectRemoval; the reader while unplugged; replug.
void unplugChecks(UhidProcess& uhid, const Wanted& w, const std::string& path)
{
    // A call that will not be answered in time, then the cable goes.
    TarvixSDK plain(1500);
    if (!plain.connectTo("serial:" + w.serial) || !uhid.command("delay 5000 " + w.serial)) {
        check("unplug during wait " + w.serial, false, "cannot set up");
        return;
    }
    auto started = Clock::now();
    auto call = std::async(std::launch::async, [&] {
        TarvixSDK::DeviceInfo deviceInfo;
        return plain.getDeviceInfo(deviceInfo);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    uhid.command("unplug " + w.serial);
    StatusCode status = call.get();
    double elapsed = msSince(started);
    check("unplug during wait, timeout " + w.serial, status == StatusCode::NO_RESPONSE && elapsed < 2500,
          std::string(statusCodeName(status)) + " after " + fixed(elapsed, 0) + " ms (timeout 1500 ms)");

    // The reader of a session whose adapter has gone, left connected (no detectRemoval).
    const long before = otherThreadSwitches();
    std::this_thread::sleep_for(std::chrono::seconds(1));
    const long wakeups = otherThreadSwitches() - before;
    check("reader wake-ups while unplugged " + w.serial, wakeups >= 0 && wakeups <= 50,
          std::to_string(wakeups) + " per second");

    uhid.command("replug " + w.serial);
    const std::string newPath = waitForPath(w);
    // The old handle belongs to the device that left, even if the new one has its path.
    TarvixSDK::DeviceInfo stale;
    const StatusCode staleStatus = plain.getDeviceInfo(stale);
    check("stale session after replug " + w.serial, staleStatus != StatusCode::SUCCESS,
          std::string(statusCodeName(staleStatus)) + " on the handle opened before the unplug");

    // detectRemoval: the waiting call is woken soon after the unplug.
    TarvixSDK safe(10000, safeOptions());
    if (!safe.connectTo("serial:" + w.serial) || !uhid.command("delay 5000 " + w.serial)) {
        check("unplug during wait, detectRemoval " + w.serial, false, "cannot set up");
        return;
    }
    call = std::async(std::launch::async, [&] {
        TarvixSDK::DeviceInfo deviceInfo;
        return safe.getDeviceInfo(deviceInfo);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    started = Clock::now();
    uhid.command("unplug " + w.serial);
    status = call.get();
    elapsed = msSince(started);
    check("unplug during wait, detectRemoval " + w.serial, status == StatusCode::NOT_CONNECTED && elapsed < 500,
          std::string(statusCodeName(status)) + " " + fixed(elapsed, 0) + " ms after the unplug");
    check("gone from enumeration " + w.serial, waitGone(w.serial, std::chrono::seconds(5)), "after unplug");

    // Once every handle on the old device is closed, the kernel gives the new one its path.
    plain.disconnect();
    safe.disconnect();
    uhid.command("delay 0 " + w.serial);
    uhid.command("replug " + w.serial);
    const std::string replugPath = waitForPath(w);
    TarvixSDK::DeviceInfo deviceInfo;
    const bool reconnected = safe.connect(replugPath) && safe.getDeviceInfo(deviceInfo) == StatusCode::SUCCESS;
    check("replug and reconnect under a reused path " + w.serial,
          reconnected && deviceInfo.usbString3 == w.serial && replugPath == path,
          "paths " + path + " -> " + newPath + " (old handle open) -> " + replugPath + " (all closed)");
}

// The reader against hidraw's 64-report list: UART bytes looped back as
// notifications, then at once a 64-KiB answer, while the notification
// handler spends @p handlerMicros on each notification.
void measureLosses(TarvixSDK& sdk, UartSink& uart, const Wanted& w, std::mt19937& random)
{
    const Bytes image = randomBytes(65536, random);
    if (spiInit(sdk) != StatusCode::SUCCESS || !programFlash(sdk, image) || !uartInit(sdk)) {
        check("losses " + w.serial, false, "cannot set up");
        return;
    }
    int wrongSuccess = 0;
    for (const int micros : {0, 25, 50, 100, 250, 500, 1000, 2000}) {
        uart.handlerMicros = micros;
        int lostUart = 0;
        int failedSpi = 0;
        constexpr int kRounds = 5;
        for (int round = 0; round < kRounds; ++round) {
            const Bytes message = randomBytes(60000, random);
            uart.clear();
            StatusCode status = sdk.uartSendMessage(message);
            StatusCode spiStatus = StatusCode::SUCCESS;
            const ReadOutcome outcome = readFlash(sdk, image, 65535, &spiStatus);
            if (outcome != ReadOutcome::EXACT) ++failedSpi;
            if (outcome == ReadOutcome::WRONG_BUT_SUCCESS) ++wrongSuccess;
            const bool arrived = status == StatusCode::SUCCESS && uart.waitFor(message.size(), std::chrono::seconds(1));
            std::lock_guard<std::mutex> lock(uart.mutex);
            if (!arrived || uart.received != message) ++lostUart;
            // Let anything late drain before the next round.
            (void)spiStatus;
        }
        uart.handlerMicros = 0;
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
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

bool parse(int argc, char** argv, Options& options)
{
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--uhid" && i + 1 < argc) {
            options.uhid = argv[++i];
        } else if (arg == "--repeat" && i + 1 < argc) {
            options.repeat = std::max(1, std::atoi(argv[++i]));
        } else if (arg == "--measure") {
            options.measure = true;
        } else if (arg == "--no-pacing") {
            options.pacing = false;
        } else if (arg.find('@') != std::string::npos && arg[0] != '-') {
            const std::size_t at = arg.find('@');
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
        std::fprintf(
            stderr,
            "usage: kernel_guest --uhid PATH [--repeat N] [--measure] [--no-pacing] SERIAL@64|SERIAL@1024...\n");
        return 100;
    }
    std::vector<std::string> arguments;
    if (!options.pacing) arguments.push_back("--no-pacing");
    for (const Wanted& w : options.adapters) arguments.push_back(w.serial + "@" + std::to_string(w.reportSize));
    UhidProcess uhid;
    check("tarvix-uhid started", uhid.start(options.uhid, arguments), options.uhid);

    std::vector<std::string> paths;
    enumerationChecks(options.adapters, paths);
    std::mt19937 random(2024);
    for (std::size_t i = 0; i < options.adapters.size(); ++i) {
        const Wanted& w = options.adapters[i];
        connectChecks(w, paths[i]);
        UartSink uart;
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
        roundTrips(sdk, w, 1000);
        notificationsDuringCalls(sdk, interrupts, w);
        longFrames(sdk, uart, w, options.repeat, random);
        if (options.measure) measureLosses(sdk, uart, w, random);
    }
    // With several adapters, all of them at once: long answers in parallel.
    if (options.adapters.size() > 1) {
        std::vector<std::future<int>> runs;
        for (const Wanted& w : options.adapters) {
            runs.push_back(std::async(std::launch::async, [&w] {
                std::mt19937 local(7);
                const Bytes image = randomBytes(65536, local);
                TarvixSDK sdk(20000, safeOptions());
                if (!sdk.connectTo("serial:" + w.serial) || spiInit(sdk) != StatusCode::SUCCESS ||
                    !programFlash(sdk, image))
                    return -1;
                int exact = 0;
                for (int i = 0; i < 10; ++i) exact += readFlash(sdk, image, 65535) == ReadOutcome::EXACT ? 1 : 0;
                return exact;
            }));
        }
        std::string detail;
        bool all = true;
        for (std::size_t i = 0; i < runs.size(); ++i) {
            const int exact = runs[i].get();
            all = all && exact == 10;
            detail += options.adapters[i].serial + " " + std::to_string(exact) + "/10 ";
        }
        check("adapters in parallel", all, detail + "64-KiB answers byte-exact");
    }
    unplugChecks(uhid, options.adapters[0], paths[0]);
    uhid.stop();
    return std::min(failedChecks, 100);
}
