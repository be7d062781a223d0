// System commands: reset, boot mode, USB strings and the device information built from them.
#include <sdk_fixture.hpp>

#include <string>

namespace tarvix_test {
namespace {

std::string text(const Bytes& bytes) { return std::string(bytes.begin(), bytes.end()); }

// Answers every USB string request with `make(transaction id of the request)`.
template <class Make>
void answerUsbStrings(tv::VirtualAdapter& adapter, Make make)
{
    adapter.setResponder(0x0407, [make](const Bytes& request) {
        return std::vector<Bytes>{make(tv::transactionIdOf(request))};
    });
}

TEST_F(SyncSessionTest, GetUsbString_TakesTheStringOfTheResponseToThisRequest)
{
    Bytes out{9, 9, 9, 9, 9};
    answerUsbStrings(adapter(), [](std::uint16_t id) { return tv::responseFrame(id, 0x0407, 0, {4, 'A', 'B', 'C'}); });
    EXPECT_EQ(sdk().getUsbString(out, 3), StatusCode::SUCCESS);
    EXPECT_EQ(text(out), "ABC");
    EXPECT_EQ(lastRequest(), (Bytes{0x01, 0x00, 0x07, 0x04, 0x03}));

    // The device status of a matching answer is not read.
    answerUsbStrings(adapter(), [](std::uint16_t id) { return tv::responseFrame(id, 0x0407, 0x0001, {2, 'Z'}); });
    EXPECT_EQ(sdk().getUsbString(out, 3), StatusCode::SUCCESS);
    EXPECT_EQ(text(out), "Z");

    // A length byte of 0 reads as an empty string; one beyond the frame takes what arrived.
    answerUsbStrings(adapter(), [](std::uint16_t id) { return tv::responseFrame(id, 0x0407, 0, {0, 'X'}); });
    EXPECT_EQ(sdk().getUsbString(out, 3), StatusCode::SUCCESS);
    EXPECT_EQ(out, Bytes{});
    answerUsbStrings(adapter(), [](std::uint16_t id) { return tv::responseFrame(id, 0x0407, 0, {200, 'o', 'k'}); });
    EXPECT_EQ(sdk().getUsbString(out, 3), StatusCode::SUCCESS);
    EXPECT_EQ(text(out), "ok");
}

TEST_F(SyncSessionTest, GetUsbString_RejectsAnAnswerToAnotherRequest)
{
    Bytes out{9};
    const std::vector<Bytes> strangers = {
        tv::responseFrame(2, 0x0407, 0, {2, 'X'}), // the transaction id of the next request, not this one
        tv::responseFrame(2, 0x0408, 0, {2, 'X'}), // this request's id, another code
        {0x03, 0x00, 0x07},                        // too short to tell
    };
    for (const Bytes& stranger : strangers) {
        answerNextWith(stranger);
        EXPECT_EQ(sdk().getUsbString(out, 1), StatusCode::UNEXPECTED_RESPONSE);
        EXPECT_EQ(out, Bytes{9});
    }
}

TEST_F(SyncSessionTest, GetUsbString_GivesResponseTooShortForAMatchingAnswerWithoutItsLength)
{
    Bytes out{9};
    answerNextWith(tv::responseFrame(1, 0x0407, 0));
    EXPECT_EQ(sdk().getUsbString(out, 1), StatusCode::RESPONSE_TOO_SHORT);
    EXPECT_EQ(out, Bytes{9});
}

TEST_F(SyncSessionTest, GetDeviceInfo_ReadsTheFiveStringsInIndexOrder)
{
    TarvixSDK::DeviceInfo info;
    ASSERT_EQ(sdk().getDeviceInfo(info), StatusCode::SUCCESS);
    EXPECT_EQ(info.usbString1, "Tarvix Instruments");
    EXPECT_EQ(info.usbString2, "Tarvix USB Protocol Adapter");
    EXPECT_EQ(info.usbString4, "1.0.0");
    EXPECT_EQ(info.usbString5, "A1");
    std::vector<std::uint8_t> indices;
    for (const Bytes& request : adapter().requests()) {
        indices.push_back(request.at(4));
    }
    EXPECT_EQ(indices, (std::vector<std::uint8_t>{1, 2, 3, 4, 5}));
}

TEST_F(ShortTimeoutSyncSessionTest, GetDeviceInfo_KeepsTheStringsReadBeforeTheDeviceFellSilent)
{
    adapter().setResponder(0x0407, [](const Bytes& request) {
        const std::uint8_t index = request.at(4);
        return index <= 2 ? std::vector<Bytes>{tv::responseFrame(tv::transactionIdOf(request), 0x0407, 0,
                                                                  {2, static_cast<std::uint8_t>('0' + index)})}
                          : std::vector<Bytes>{};
    });
    TarvixSDK::DeviceInfo info{"old1", "old2", "old3", "old4", "old5"};
    EXPECT_EQ(sdk().getDeviceInfo(info), StatusCode::NO_RESPONSE);
    EXPECT_EQ(info.usbString1, "1");
    EXPECT_EQ(info.usbString2, "2");
    EXPECT_EQ(info.usbString3, "old3");
    EXPECT_EQ(info.usbString5, "old5");
    EXPECT_EQ(adapter().requests().size(), 3u);
}

TEST_F(SyncSessionTest, GetDeviceInfo_SendsNothingWhenDisconnected)
{
    sdk().disconnect();
    TarvixSDK::DeviceInfo info{"a", "b", "c", "d", "e"};
    EXPECT_EQ(sdk().getDeviceInfo(info), StatusCode::NOT_CONNECTED);
    EXPECT_EQ(info.usbString1, "a");
    EXPECT_TRUE(adapter().requests().empty());
}

using RestartCommands = VirtualAdapterTest;

TEST_F(RestartCommands, ReturnAtOnceWithoutAwaitingAnAnswer)
{
    TarvixSDK sdk(-1); // waiting for the answer that never comes would hang here
    EXPECT_EQ(sdk.resetDevice(), StatusCode::NOT_CONNECTED);
    ASSERT_TRUE(sdk.connect());
    EXPECT_EQ(sdk.resetDevice(), StatusCode::SUCCESS);
    ASSERT_TRUE(adapter().waitForRequests(1, 5s));
    // The adapter restarts instead of answering and is back on the bus after a moment.
    ASSERT_TRUE(adapter().waitForPlugged(5s));
    sdk.disconnect();
    ASSERT_TRUE(sdk.connect());
    EXPECT_EQ(sdk.enterBootMode(), StatusCode::SUCCESS);
    ASSERT_TRUE(adapter().waitForRequests(2, 5s));
    const std::vector<Bytes> requests = adapter().requests();
    EXPECT_EQ(requests[0], (Bytes{0x02, 0x00, 0x01, 0x04}));
    EXPECT_EQ(requests[1], (Bytes{0x03, 0x00, 0x02, 0x04}));
}

} // namespace
} // namespace tarvix_test
