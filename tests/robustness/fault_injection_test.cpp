// Faults a bench sees: the cable pulled in the middle of a long request or a long answer, a
// device that never stops talking, a dead handle left to the reader. Each must end without a
// crash, without a wait beyond the timeout, without a busy reader, and with a clean reconnect.
#include <sdk_fixture.hpp>

#include <time.h>

#include <cstdio>

#include <algorithm>
#include <atomic>
#include <future>
#include <thread>

namespace tarvix_test {
namespace {

double processCpuSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

// A rail read answers, so a working session can be told from a broken one.
void expectWorking(TarvixSDK& sdk)
{
    std::uint16_t voltage = 0;
    EXPECT_EQ(sdk.i2cGetBusVoltage(voltage), StatusCode::SUCCESS);
}

using Faults = VirtualAdapterTest;

TEST_F(Faults, UnplugInTheMiddleOfALongRequest)
{
    for (const bool detect : {true, false}) {
        SCOPED_TRACE(detect ? "detectRemoval" : "plain");
        TarvixSDK sdk(2000, detect ? optionsWith(true, true) : SessionOptions{});
        ASSERT_TRUE(sdk.connect());
        adapter().unplugAfterReports(50); // of about 490 reports
        const Bytes tx(30000, 0xA5);
        Bytes rx;
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(sdk.spiTransfer(tx, rx, 4), detect ? StatusCode::NOT_CONNECTED : StatusCode::NO_RESPONSE);
        EXPECT_LT(std::chrono::steady_clock::now() - start, 4s); // the 2 s timeout at most
        adapter().replug();
        sdk.disconnect();
        ASSERT_TRUE(sdk.connect());
        expectWorking(sdk);
    }
}

// A call waiting for the rest of its answer when the cable goes. Its session never times out:
// only removal detection can wake it. (Without the option it would time out like any call.)
TEST_F(Faults, UnplugInTheMiddleOfALongAnswer)
{
    TarvixSDK sdk(-1, optionsWith(true, true));
    ASSERT_TRUE(sdk.connect());
    // The first half of a 2,000-byte answer, then the cable goes.
    Bytes answer = tv::responseFrame(0, 0x0D04, 0, Bytes(2000, 0x5A));
    std::vector<Bytes> reports;
    for (std::size_t offset = 0; offset < answer.size() / 2; offset += 62) {
        Bytes report(64);
        report[0] = static_cast<std::uint8_t>(62 << 2 | (offset == 0 ? 1 : 0)); // 62 bytes, first?
        const auto from = answer.begin() + static_cast<std::ptrdiff_t>(offset);
        std::copy(from, from + 62, report.begin() + 2);
        reports.push_back(report);
    }
    adapter().answerNextRequestWithReports(reports);
    adapter().clearRecords();
    auto call = std::async(std::launch::async, [&] {
        Bytes rx;
        return sdk.spiTransfer({0x9F}, rx, 2000);
    });
    ASSERT_TRUE(adapter().waitForRequests(1, 5s));
    std::this_thread::sleep_for(20ms); // the reader takes in the half answer
    adapter().unplug();
    ASSERT_EQ(call.wait_for(5s), std::future_status::ready);
    EXPECT_EQ(call.get(), StatusCode::NOT_CONNECTED);
    adapter().replug();
    ASSERT_TRUE(sdk.connect());
    expectWorking(sdk); // the half frame left behind does not spoil the next answer
}

TEST_F(Faults, ADeviceThatNeverStopsTalkingStillLetsCallsAndDisconnectThrough)
{
    TarvixSDK sdk(2000, optionsWith(true, true));
    std::atomic<std::size_t> seen{0};
    sdk.onNotification([&seen](const Notification&) { seen.fetch_add(1); });
    ASSERT_TRUE(sdk.connect());
    std::atomic<bool> stop{false};
    std::thread flood([&] {
        // Ten thousand a second, for as long as the session lives: more than a handler of this
        // size needs, less than the reader takes in (a faster producer would queue answers
        // behind an ever longer line of notifications, which no timeout survives).
        while (!stop.load()) {
            for (int i = 0; i < 10; ++i) {
                adapter().injectNotification(0x1081, 0, Bytes(100, 0x41));
            }
            std::this_thread::sleep_for(1ms);
        }
    });
    EXPECT_TRUE(eventually([&] { return seen.load() > 0; })); // not ASSERT: the flood must be joined
    for (int i = 0; i < 20; ++i) {
        expectWorking(sdk);
    }
    auto disconnected = std::async(std::launch::async, [&] { sdk.disconnect(); });
    EXPECT_EQ(disconnected.wait_for(5s), std::future_status::ready);
    stop.store(true);
    flood.join();
}

TEST_F(Faults, AnUnpluggedAdapterDoesNotKeepTheReaderBusy)
{
    // Without removal detection the reader keeps polling the dead handle: once per poll
    // interval, not in a loop. With it, the reader ends.
    TarvixSDK plain(1000);
    TarvixSDK detecting(1000, optionsWith(true, true));
    ASSERT_TRUE(plain.connect());
    ASSERT_TRUE(detecting.connect());
    adapter().unplug();
    std::this_thread::sleep_for(200ms);
    const double cpuBefore = processCpuSeconds();
    const auto wallBefore = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(1s);
    const double cpu = processCpuSeconds() - cpuBefore;
    const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - wallBefore).count();
    std::printf("reader CPU while unplugged: %.4f s in %.2f s\n", cpu, wall);
    EXPECT_LT(cpu, 0.25 * wall); // a spinning reader would take a whole core
    EXPECT_FALSE(detecting.isConnected());
    EXPECT_TRUE(plain.isConnected()); // as specified without detectRemoval
}

} // namespace
} // namespace tarvix_test
