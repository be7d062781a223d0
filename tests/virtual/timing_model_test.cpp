// The USB timing model: one report per direction per frame, requests handled in order, a finite
// request buffer. Only lower bounds of time are asserted (a loaded machine may be slower, never
// faster); the benchmarks measure the rates.
#include <chrono>

#include "virtual_test_support.hpp"

namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kFrame = std::chrono::milliseconds(5);
constexpr std::uint16_t kGetUsbString = 0x0407;

class TimingModelTest : public BenchTest {
protected:
    void enableTiming(std::chrono::nanoseconds firmwareTime = {}, std::size_t requestBuffer = 8)
    {
        vt::UsbTiming timing;
        timing.enabled = true;
        timing.frame = kFrame;
        timing.firmwareTime = firmwareTime;
        timing.requestBuffer = requestBuffer;
        adapter->setUsbTiming(timing);
    }
};

TEST_F(TimingModelTest, RequestsSentBackToBackAreAnsweredInOrderOnePerFrame)
{
    enableTiming();
    const auto start = Clock::now();
    for (std::uint16_t tid = 1; tid <= 6; ++tid)
        ASSERT_TRUE(writeFrame(dev, requestFrame(tid, kGetUsbString, {2}), 64));
    for (std::uint16_t tid = 1; tid <= 6; ++tid) {
        const std::optional<vt::Bytes> answer = readFrame(dev, 64, 2000);
        ASSERT_TRUE(answer);
        EXPECT_EQ(vt::transactionIdOf(*answer), tid);
        EXPECT_EQ(statusOf(*answer), 0);
    }
    // Six requests out, one frame each, and the last answer one frame after its request.
    EXPECT_GE(Clock::now() - start, 6 * kFrame);
}

TEST_F(TimingModelTest, AnAnswerOfSeveralReportsTakesAFramePerReport)
{
    enableTiming();
    // 150 bytes of payload: a 156-byte frame, three 64-byte reports.
    adapter->setResponder(0x0D04, [](const vt::Bytes& request) {
        return std::vector<vt::Bytes>{vt::responseFrame(vt::transactionIdOf(request), 0x0D04, 0, patternBytes(150))};
    });
    const auto start = Clock::now();
    std::vector<vt::Bytes> reports;
    ASSERT_TRUE(writeFrame(dev, requestFrame(2, 0x0D04), 64));
    const std::optional<vt::Bytes> answer = readFrame(dev, 64, 2000, &reports);
    ASSERT_TRUE(answer);
    EXPECT_EQ(payloadOf(*answer), patternBytes(150));
    ASSERT_EQ(reports.size(), 3u);
    for (const vt::Bytes& report : reports) EXPECT_EQ(report.size(), 64u);
    EXPECT_EQ(headerOf(reports[2]), 32 << 2 | 2);
    EXPECT_EQ(reports[2].back(), 0); // zero padded
    // One frame out, then three back.
    EXPECT_GE(Clock::now() - start, 4 * kFrame);
}

TEST_F(TimingModelTest, AFullRequestBufferHoldsTheHostsWriteBack)
{
    // The firmware works three frames on each request and holds one more.
    enableTiming(3 * kFrame, 1);
    const auto start = Clock::now();
    for (std::uint16_t tid = 1; tid <= 3; ++tid)
        ASSERT_TRUE(writeFrame(dev, requestFrame(tid, kGetUsbString, {1}), 64));
    // Request 2 waits in the buffer until the firmware takes it (three frames after request 1
    // crossed), so request 3 crosses only in the frame after that.
    EXPECT_GE(Clock::now() - start, 4 * kFrame);
    for (std::uint16_t tid = 1; tid <= 3; ++tid) {
        const std::optional<vt::Bytes> answer = readFrame(dev, 64, 2000);
        ASSERT_TRUE(answer);
        EXPECT_EQ(vt::transactionIdOf(*answer), tid);
    }
    EXPECT_GE(Clock::now() - start, 10 * kFrame);
}

TEST_F(TimingModelTest, NotificationsShareTheInDirectionWithAnswers)
{
    enableTiming();
    adapter->injectNotification(vt::codes::GPIO_INTERRUPT, 0, {1});
    const std::optional<vt::Bytes> answer = roundTrip(dev, requestFrame(7, kGetUsbString, {1}), 64, 2000);
    ASSERT_TRUE(answer);
    EXPECT_EQ(vt::transactionIdOf(*answer), 0) << "the notification, raised first, leaves first";
    const std::optional<vt::Bytes> next = readFrame(dev, 64, 2000);
    ASSERT_TRUE(next);
    EXPECT_EQ(vt::transactionIdOf(*next), 7);
}

} // namespace
