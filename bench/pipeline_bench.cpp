// Blocking against pipelined calls on the virtual adapter's USB timing model, as ratios to what
// the link allows, all measured in one run:
//   1. full speed, one-report commands: blocking time / (commands x modelled round trip of two
//      1 ms frames), pipelined time / (commands x one frame), and blocking / pipelined rate;
//   2. high speed: pipelined time / (commands x one 125 us microframe);
//   3. a 1 MiB SPI flash read in transfers of 65535 clocks (the most one request carries) on the
//      high-speed model: bytes per second / the link's payload bandwidth (1022 bytes, one report
//      less its segment header, per microframe);
//   4. the library's CPU time per blocking call, without the timing model: process CPU time of
//      N calls through TarvixSDK less that of N round trips over the same virtual adapter by the
//      least a host program can do (write the request report, a reader thread that waits for
//      the answer report). The adapter's own work (its firmware runs inside hid_write) and the
//      hidapi reads are in both, so the difference is what the library adds.
// The timing model sleeps on real clocks, so a loaded machine shows in the ratios: run it idle.
// Usage: pipeline_bench [--commands N] [--spi-bytes N] [--cpu-calls N]
#include <hidapi.h>
#include <sys/prctl.h>
#include <tarvix_virtual/virtual_adapter.hpp>
#include <tarvixsdk/tarvixsdk.hpp>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
namespace tv = tarvix_virtual;

constexpr std::uint16_t kHighSpeedProduct = 0x82FD;
constexpr double kFullSpeedFrame = 1e-3;
constexpr double kHighSpeedFrame = 125e-6;
constexpr std::uint16_t kMaxSpiClocks = 65535;
constexpr std::size_t kSpiCommandBytes = 4; // READ (0x03) and a 24-bit address

bool failed = false;

void check(bool ok, const char* what)
{
    if (!ok) {
        std::fprintf(stderr, "pipeline_bench: %s\n", what);
        failed = true;
    }
}

double seconds(Clock::duration d)
{
    return std::chrono::duration<double>(d).count();
}

double processCpuSeconds()
{
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

// A fresh adapter (timing model on unless `timed` is false) and a session connected to it.
struct Bench {
    explicit Bench(bool highSpeed, bool timed = true) : sdk(2000)
    {
        tv::reset();
        tv::AdapterConfig config;
        if (highSpeed) {
            config.productId = kHighSpeedProduct;
        }
        config.usbTiming.enabled = timed;
        adapter.emplace(tv::attach(config));
        adapter->setRecording(false);
        check(sdk.connect(), "no virtual adapter");
    }
    std::optional<tv::VirtualAdapter> adapter;
    TarvixSDK sdk;
};

// Seconds for `commands` blocking reads of the supply rail (one report each way).
double blockingReads(TarvixSDK& sdk, std::size_t commands)
{
    std::uint16_t voltage = 0;
    const auto start = Clock::now();
    for (std::size_t i = 0; i < commands; ++i) {
        if (sdk.i2cGetBusVoltage(voltage) != StatusCode::SUCCESS) {
            check(false, "a blocking read failed");
            break;
        }
    }
    return seconds(Clock::now() - start);
}

// The same reads, pipelined.
double pipelinedReads(TarvixSDK& sdk, std::size_t commands)
{
    std::vector<std::uint16_t> voltages(commands);
    TarvixSDK::Pipeline pipeline;
    for (std::size_t i = 0; i < commands; ++i) {
        pipeline.add([i, &voltages](TarvixSDK& s) { return s.i2cGetBusVoltage(voltages[i]); });
    }
    const auto start = Clock::now();
    const std::vector<StatusCode> statuses = sdk.runPipeline(pipeline);
    const double elapsed = seconds(Clock::now() - start);
    for (const StatusCode status : statuses) {
        if (status != StatusCode::SUCCESS) {
            check(false, "a pipelined read failed");
            break;
        }
    }
    return elapsed;
}

// Reads `total` bytes of the SPI flash in transfers of at most 65535 clocks; seconds taken.
double spiRead(TarvixSDK& sdk, std::size_t total, bool pipelined)
{
    check(sdk.spiControllerInit(SpiBitOrder::MSB_FIRST, SpiMode::MODE_0, SpiDataWidth::BITS_8, SpiChipSelect::CS_0,
                                SpiChipSelectPolarity::ACTIVE_LOW, 1000000) == StatusCode::SUCCESS,
          "SPI init failed");
    const std::size_t perTransfer = kMaxSpiClocks - kSpiCommandBytes;
    const std::size_t transfers = (total + perTransfer - 1) / perTransfer;
    std::vector<std::vector<std::uint8_t>> received(transfers);
    std::vector<TarvixSDK::Pipeline::Step> steps;
    for (std::size_t i = 0; i < transfers; ++i) {
        const std::size_t address = i * perTransfer;
        const std::size_t bytes = std::min(perTransfer, total - address);
        const std::vector<std::uint8_t> command{0x03, static_cast<std::uint8_t>(address >> 16),
                                                static_cast<std::uint8_t>(address >> 8),
                                                static_cast<std::uint8_t>(address)};
        const auto clocks = static_cast<std::uint16_t>(bytes + kSpiCommandBytes);
        steps.push_back(
            [command, clocks, i, &received](TarvixSDK& s) { return s.spiTransfer(command, received[i], clocks); });
    }
    TarvixSDK::Pipeline pipeline;
    for (const TarvixSDK::Pipeline::Step& step : steps) {
        pipeline.add(step);
    }
    const auto start = Clock::now();
    std::vector<StatusCode> statuses;
    if (pipelined) {
        statuses = sdk.runPipeline(pipeline);
    } else {
        for (const TarvixSDK::Pipeline::Step& step : steps) {
            statuses.push_back(step(sdk)); // outside a pipeline: one blocking call
        }
    }
    const double elapsed = seconds(Clock::now() - start);
    std::size_t bytes = 0;
    for (std::size_t i = 0; i < transfers; ++i) {
        check(statuses[i] == StatusCode::SUCCESS, "an SPI transfer failed");
        bytes += received[i].size() > kSpiCommandBytes ? received[i].size() - kSpiCommandBytes : 0;
    }
    check(bytes == total, "the SPI read came back short");
    return elapsed;
}

// The least a host program does per round trip: write the request report, and wait until its
// own reader thread has read the answer report. Process CPU seconds for `calls` round trips.
double floorCpu(std::size_t calls)
{
    tv::reset();
    tv::VirtualAdapter adapter = tv::attach();
    adapter.setRecording(false);
    hid_init();
    hid_device* device = hid_open_path(adapter.path().c_str());
    check(device != nullptr, "no virtual adapter for the floor");
    if (device == nullptr) {
        return 0;
    }
    // GET_ANALOG_MEASUREMENTS, transaction id 1, in one report: what i2cGetBusVoltage sends.
    std::vector<std::uint8_t> request(adapter.reportSize() + 1, 0);
    const std::uint8_t frame[] = {0x01, 0x00, 0x09, 0x04};
    request[1] = static_cast<std::uint8_t>(sizeof frame << 2 | 3); // first and last segment
    std::memcpy(request.data() + 3, frame, sizeof frame);
    std::mutex mutex;
    std::condition_variable answered;
    std::size_t answers = 0;
    std::atomic<bool> running{true};
    std::thread reader([&] {
        std::vector<std::uint8_t> report(adapter.reportSize());
        while (running.load()) {
            if (hid_read_timeout(device, report.data(), report.size(), 100) > 0) {
                std::lock_guard<std::mutex> lock(mutex);
                ++answers;
                answered.notify_one();
            }
        }
    });
    const double start = processCpuSeconds();
    for (std::size_t i = 0; i < calls; ++i) {
        hid_write(device, request.data(), request.size());
        std::unique_lock<std::mutex> lock(mutex);
        answered.wait(lock, [&] { return answers > i; });
    }
    const double cpu = processCpuSeconds() - start;
    running = false;
    reader.join();
    hid_close(device);
    hid_exit();
    return cpu;
}

double sdkCpu(std::size_t calls)
{
    Bench bench(false, false);
    const double start = processCpuSeconds();
    blockingReads(bench.sdk, calls);
    return processCpuSeconds() - start;
}

// Blocking and pipelined one-report commands: against two frames per call, and one.
void commandRates(const char* speed, bool highSpeed, double frame, std::size_t commands)
{
    Bench bench(highSpeed);
    const double blocking = blockingReads(bench.sdk, commands);
    const double pipelined = pipelinedReads(bench.sdk, commands);
    const double n = static_cast<double>(commands);
    std::printf("%s, %zu one-report commands\n", speed, commands);
    std::printf("  blocking   %8.3f s  %6.3f x modelled round trips (two frames; target at full speed <= 1.05)\n",
                blocking, blocking / (n * 2 * frame));
    std::printf("  pipelined  %8.3f s  %6.3f x link limit (one frame each; target <= 1.1)\n", pipelined,
                pipelined / (n * frame));
    std::printf("  pipelined rate / blocking rate %6.2f (target at full speed >= 1.8)\n", blocking / pipelined);
}

struct Settings {
    std::size_t commands = 1000;
    std::size_t spiBytes = 1u << 20;
    std::size_t cpuCalls = 20000;
};

// Reads the options, and ends the program (status 2, after a message) on anything it does not
// understand, so that a mistyped option does not start a run of minutes with the defaults.
Settings parse(int argc, char** argv)
{
    Settings settings;
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (option == "--help" || option == "-h") {
            std::puts("usage: pipeline_bench [--commands N] [--spi-bytes N] [--cpu-calls N]");
            std::exit(0);
        }
        std::size_t* target = option == "--commands"    ? &settings.commands
                              : option == "--spi-bytes" ? &settings.spiBytes
                              : option == "--cpu-calls" ? &settings.cpuCalls
                                                        : nullptr;
        if (target == nullptr) {
            std::fprintf(stderr, "pipeline_bench: unknown option %s (see --help)\n", option.c_str());
            std::exit(2);
        }
        char* end = nullptr;
        const char* value = i + 1 < argc ? argv[++i] : "";
        *target = static_cast<std::size_t>(std::strtoull(value, &end, 10));
        if (*value == '\0' || *end != '\0' || *target == 0) {
            std::fprintf(stderr, "pipeline_bench: %s needs a positive number\n", option.c_str());
            std::exit(2);
        }
    }
    return settings;
}

} // namespace

int main(int argc, char** argv)
{
    const Settings settings = parse(argc, argv);
    const std::size_t commands = settings.commands;
    const std::size_t spiBytes = settings.spiBytes;
    const std::size_t cpuCalls = settings.cpuCalls;
    // Linux lets a sleeping thread wake up to 50 us late (timer slack) to save power; against
    // 125 us microframes that is the OS's cost, not the link's. Threads started from here (the
    // sessions' readers) inherit the setting.
    prctl(PR_SET_TIMERSLACK, 1000UL, 0UL, 0UL, 0UL);

    commandRates("full speed", false, kFullSpeedFrame, commands);
    commandRates("high speed", true, kHighSpeedFrame, commands);
    {
        const double linkBandwidth = 1022 / kHighSpeedFrame;
        const auto b = static_cast<double>(spiBytes);
        Bench blockingBench(true);
        const double blocking = spiRead(blockingBench.sdk, spiBytes, false);
        Bench pipelinedBench(true);
        const double pipelined = spiRead(pipelinedBench.sdk, spiBytes, true);
        std::printf("SPI read of %zu bytes, high speed (link payload %.2f MB/s)\n", spiBytes, linkBandwidth / 1e6);
        std::printf("  blocking   %8.3f s  %6.1f %% of the link's payload bandwidth\n", blocking,
                    100 * b / blocking / linkBandwidth);
        std::printf("  pipelined  %8.3f s  %6.1f %% of the link's payload bandwidth (target >= 90 %%)\n", pipelined,
                    100 * b / pipelined / linkBandwidth);
    }
    {
        const double withLibrary = sdkCpu(cpuCalls);
        const double floor = floorCpu(cpuCalls);
        const double calls = static_cast<double>(cpuCalls);
        std::printf("CPU time per blocking call, no timing model, %zu calls\n", cpuCalls);
        std::printf("  through TarvixSDK %6.2f us, bare hidapi floor %6.2f us, library %6.2f us (target <= 3)\n",
                    1e6 * withLibrary / calls, 1e6 * floor / calls, 1e6 * (withLibrary - floor) / calls);
    }
    tv::reset();
    return failed ? 1 : 0;
}
