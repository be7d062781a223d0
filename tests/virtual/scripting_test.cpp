// Controlling the answers: responders, scripts, delays, drops, notifications, faults.
#include <thread>

#include "virtual_test_support.hpp"

namespace {

using Scripting = BenchTest;

// A responder stands in for the firmware on its own code only, until it is cleared.
TEST_F(Scripting, Responder_ReplacesTheFirmwareForItsCodeUntilClearedAndMayThrowSafely)
{
    adapter->setResponder(0x7003, [](const vt::Bytes& request) {
        return std::vector<vt::Bytes>{vt::responseFrame(vt::transactionIdOf(request), 0x7003, 0x0042, {1, 0}),
                                      vt::notificationFrame(vt::codes::GPIO_INTERRUPT, 0, {7})};
    });
    EXPECT_EQ(roundTrip(dev, requestFrame(8, 0x7003, {3})), vt::responseFrame(8, 0x7003, 0x42, {1, 0}));
    EXPECT_EQ(readFrame(dev, 64, 0), vt::notificationFrame(vt::codes::GPIO_INTERRUPT, 0, {7}));
    EXPECT_EQ(roundTrip(dev, requestFrame(9, 0x7004)), vt::responseFrame(9, 0x7004, 0));
    adapter->clearResponder(0x7003);
    EXPECT_EQ(roundTrip(dev, requestFrame(11, 0x7003)), vt::responseFrame(11, 0x7003, 0));

    // A throwing responder fails the write that carried its request, and nothing else.
    adapter->setResponder(vt::codes::UART_INIT,
                          [](const vt::Bytes&) -> std::vector<vt::Bytes> { throw std::runtime_error("x"); });
    EXPECT_FALSE(writeFrame(dev, requestFrame(2, vt::codes::UART_INIT), 64));
    EXPECT_EQ(roundTrip(dev, requestFrame(3, vt::codes::GET_USB_STRING, {5})),
              vt::responseFrame(3, vt::codes::GET_USB_STRING, 0, {3, 'A', '1'}));
}

TEST_F(Scripting, Scripts_AnswerOnlyTheNextRequestWithFramesSegmentedAndReportsVerbatim)
{
    const vt::Bytes wrong = vt::responseFrame(99, vt::codes::GET_USB_STRING, 0, {4, 'a', 'b', 'c'});
    adapter->answerNextRequestWithFrames({wrong, patternBytes(70)});
    EXPECT_EQ(roundTrip(dev, requestFrame(1, vt::codes::GET_USB_STRING, {1})), wrong);
    EXPECT_EQ(readFrame(dev, 64, 0), patternBytes(70));
    EXPECT_EQ(roundTrip(dev, requestFrame(2, vt::codes::GET_USB_STRING, {5})),
              vt::responseFrame(2, vt::codes::GET_USB_STRING, 0, {3, 'A', '1'}));

    vt::Bytes lying(64, 0x55);
    lying[0] = 0xFF; // claims 1023 bytes, first and last
    lying[1] = 0x0F;
    const vt::Bytes shortReport{0x0B, 0x00, 1, 2};
    adapter->answerNextRequestWithReports({lying, shortReport});
    ASSERT_TRUE(writeFrame(dev, requestFrame(3, vt::codes::GPIO_CONFIGURE_PIN), 64));
    EXPECT_EQ(readReport(dev, 64, 0), lying);
    EXPECT_EQ(readReport(dev, 64, 0), shortReport);
    adapter->sendFrame(vt::Bytes{}); // an empty frame sends nothing
    EXPECT_TRUE(nothingPending());
}

TEST_F(Scripting, Delay_HoldsTheAnswerButNotLaterNotifications)
{
    // Long enough that a loaded machine cannot reach the checks below after the answer is due.
    adapter->setResponseDelay(1000ms);
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(writeFrame(dev, requestFrame(1, vt::codes::GET_USB_STRING, {4}), 64));
    EXPECT_TRUE(nothingPending());
    adapter->injectNotification(vt::codes::I3C_HOT_JOIN, 0, {});
    EXPECT_EQ(readFrame(dev, 64, 1000), vt::notificationFrame(vt::codes::I3C_HOT_JOIN, 0)); // overtakes the answer
    EXPECT_EQ(readFrame(dev, 64, -1), vt::responseFrame(1, vt::codes::GET_USB_STRING, 0, {6, '1', '.', '0', '.', '0'}));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 1000ms);

    adapter->setResponseDelay(0ms);
    EXPECT_TRUE(roundTrip(dev, requestFrame(2, vt::codes::GET_USB_STRING, {4}), 64, 0));
}

TEST_F(Scripting, Drop_SwallowsTheNextAnswersOnly)
{
    adapter->setResponder(0x7005, [](const vt::Bytes&) { return std::vector<vt::Bytes>{}; });
    adapter->dropNextResponses(2);
    ASSERT_TRUE(writeFrame(dev, requestFrame(1, 0x7005), 64)); // unanswered anyway: not counted
    ASSERT_TRUE(writeFrame(dev, requestFrame(2, 0x7001), 64));
    ASSERT_TRUE(writeFrame(dev, requestFrame(3, 0x7001), 64));
    EXPECT_TRUE(nothingPending());
    EXPECT_EQ(roundTrip(dev, requestFrame(4, 0x7001)), vt::responseFrame(4, 0x7001, 0));
}

TEST_F(Scripting, WriteFailure_ReturnsMinusOneAndReachesNoFirmware)
{
    adapter->setWriteFails(true);
    const vt::Bytes report = outputReports(requestFrame(1, vt::codes::GET_USB_STRING, {1}), 64)[0];
    EXPECT_EQ(hid_write(dev, report.data(), report.size()), -1);
    ASSERT_EQ(adapter->writtenReports().size(), 1u);
    EXPECT_FALSE(adapter->writtenReports()[0].accepted);
    EXPECT_FALSE(adapter->waitForRequests(1, 0ms));
    adapter->setWriteFails(false);
    EXPECT_EQ(hid_write(dev, report.data(), report.size()), 65);
}

TEST_F(Scripting, Records_ClearAndStopWhileRequestsAreStillCounted)
{
    ASSERT_TRUE(writeFrame(dev, requestFrame(1, 0x7001), 64));
    adapter->clearRecords();
    EXPECT_TRUE(adapter->writtenReports().empty());
    EXPECT_FALSE(adapter->waitForRequests(1, 10ms));
    adapter->setRecording(false);
    std::thread writer([this] { writeFrame(dev, requestFrame(2, 0x7001), 64); });
    EXPECT_TRUE(adapter->waitForRequests(1, 5s));
    writer.join();
    EXPECT_TRUE(adapter->requests().empty());
    EXPECT_TRUE(adapter->writtenReports().empty());
}

} // namespace
