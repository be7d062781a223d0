// Round trip of a command without payload, answered at once by the virtual adapter:
//  - Sdk: through TarvixSDK (frame building, segmentation, reader thread, reassembly, waiter).
//  - Floor: the least a host program can do over the same hid_* functions: write the same
//    request report, and wait for the answer read by its own reader thread.
// The difference is what the library costs per blocking call.
#include <benchmark/benchmark.h>
#include <hidapi.h>
#include <tarvix_virtual/virtual_adapter.hpp>
#include <tarvixsdk/tarvixsdk.hpp>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

namespace {

tarvix_virtual::VirtualAdapter attachQuietAdapter()
{
    tarvix_virtual::reset();
    tarvix_virtual::VirtualAdapter adapter = tarvix_virtual::attach();
    adapter.setRecording(false);
    return adapter;
}

void BM_SdkRoundTrip(benchmark::State& state)
{
    attachQuietAdapter();
    TarvixSDK sdk(1000);
    if (!sdk.connect()) {
        state.SkipWithError("no virtual adapter");
        return;
    }
    for (auto _ : state) {
        const StatusCode status = sdk.uartDeinit();
        if (status != StatusCode::SUCCESS) {
            state.SkipWithError("command failed");
            break;
        }
    }
}

void BM_FloorRoundTrip(benchmark::State& state)
{
    tarvix_virtual::VirtualAdapter adapter = attachQuietAdapter();
    hid_init();
    hid_device* device = hid_open_path(adapter.path().c_str());
    if (device == nullptr) {
        state.SkipWithError("no virtual adapter");
        hid_exit();
        return;
    }
    const std::size_t reportSize = adapter.reportSize();
    std::mutex mutex;
    std::condition_variable answered;
    bool arrived = false;
    std::atomic<bool> running{true};
    std::thread reader([&] {
        std::vector<unsigned char> buffer(reportSize);
        while (running.load()) {
            if (hid_read_timeout(device, buffer.data(), buffer.size(), 100) > 0) {
                {
                    std::lock_guard<std::mutex> lock(mutex);
                    arrived = true;
                }
                answered.notify_one();
            }
        }
    });
    // Report ID 0, segment header 0x13 (4 bytes, first and last), tid 1, code 0x1001.
    std::vector<unsigned char> report(reportSize + 1, 0);
    const unsigned char request[] = {0x00, 0x13, 0x00, 0x01, 0x00, 0x01, 0x10};
    std::copy(std::begin(request), std::end(request), report.begin());
    for (auto _ : state) {
        hid_write(device, report.data(), report.size());
        std::unique_lock<std::mutex> lock(mutex);
        answered.wait(lock, [&] { return arrived; });
        arrived = false;
    }
    running.store(false);
    reader.join();
    hid_close(device);
    hid_exit();
}

} // namespace

BENCHMARK(BM_FloorRoundTrip)->UseRealTime()->Repetitions(9)->ReportAggregatesOnly(true);
BENCHMARK(BM_SdkRoundTrip)->UseRealTime()->Repetitions(9)->ReportAggregatesOnly(true);
BENCHMARK_MAIN();
