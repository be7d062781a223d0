// The blocking session: transaction numbering and the rendezvous of a call with its response.
// getUsbString serves as the probe because it shows which response completed the call.
#include <sdk_fixture.hpp>

#include <algorithm>
#include <string>

namespace tarvix_test {
namespace {

std::string text(const Bytes& bytes)
{
    return std::string(bytes.begin(), bytes.end());
}

// A USB string response for `transactionId` carrying `value`.
Bytes usbString(std::uint16_t transactionId, const std::string& value)
{
    Bytes payload(value.size() + 1);
    payload[0] = static_cast<std::uint8_t>(value.size() + 1);
    std::copy(value.begin(), value.end(), payload.begin() + 1);
    return tv::responseFrame(transactionId, 0x0407, 0, payload);
}

// The reader thread handles frames in order: once a notification sent after some response has
// reached the handler, that response is stored.
class Fence {
public:
    explicit Fence(TarvixSDK& sdk)
    {
        // Shared with the handler, which may outlive this object until the session disconnects.
        sdk.onNotification([passed = passed_](const Notification&) { passed->push(0); });
    }
    void cross(tv::VirtualAdapter& adapter)
    {
        adapter.injectNotification(0x1481, 0, {0});
        ++count_;
        ASSERT_EQ(passed_->waitFor(count_).size(), count_);
    }

private:
    std::shared_ptr<Inbox<int>> passed_ = std::make_shared<Inbox<int>>();
    std::size_t count_ = 0;
};

TEST_F(SyncSessionTest, TransactionIds_StartAtOneAndWrapPast65535ToOne)
{
    Bytes out;
    ASSERT_EQ(sdk().getUsbString(out, 1), StatusCode::SUCCESS);
    ASSERT_EQ(sdk().getUsbString(out, 1), StatusCode::SUCCESS);

    // Disconnected calls send nothing and wait for nothing, but still take an id.
    sdk().disconnect();
    for (int i = 0; i < 65532; ++i) {
        ASSERT_EQ(sdk().getUsbString(out, 1), StatusCode::NOT_CONNECTED);
    }
    ASSERT_TRUE(sdk().connect());
    ASSERT_EQ(sdk().getUsbString(out, 1), StatusCode::SUCCESS);
    ASSERT_EQ(sdk().getUsbString(out, 1), StatusCode::SUCCESS);

    std::vector<std::uint16_t> ids;
    for (const Bytes& request : adapter().requests()) {
        ids.push_back(tv::transactionIdOf(request));
    }
    EXPECT_EQ(ids, (std::vector<std::uint16_t>{1, 2, 65535, 1}));
}

using ResponseWait = VirtualAdapterTest;

TEST_F(ResponseWait, WithoutATimeoutOnlyAnAlreadyStoredResponseCounts)
{
    for (const int timeout : {0, -5}) {
        SCOPED_TRACE(timeout);
        TarvixSDK sdk(timeout);
        Fence fence(sdk);
        ASSERT_TRUE(sdk.connect());

        adapter().dropNextResponses(1);
        Bytes out{9};
        EXPECT_EQ(sdk.getUsbString(out, 1), StatusCode::NO_RESPONSE);
        EXPECT_EQ(out, Bytes{9});

        adapter().sendFrame(usbString(2, "early"));
        fence.cross(adapter());
        adapter().dropNextResponses(1);
        EXPECT_EQ(sdk.getUsbString(out, 1), StatusCode::SUCCESS);
        EXPECT_EQ(text(out), "early");
    }
}

TEST_F(ShortTimeoutSyncSessionTest, ALateResponseCompletesTheNextCall)
{
    Fence fence(sdk());
    adapter().dropNextResponses(1);
    Bytes out{9};
    ASSERT_EQ(sdk().getUsbString(out, 1), StatusCode::NO_RESPONSE);

    adapter().sendFrame(usbString(1, "late"));
    fence.cross(adapter());
    adapter().dropNextResponses(1);
    // Request 2 is completed at once by the answer to request 1, which getUsbString rejects.
    EXPECT_EQ(sdk().getUsbString(out, 1), StatusCode::UNEXPECTED_RESPONSE);
    EXPECT_EQ(out, Bytes{9});
}

// Every decoder writes its outputs only once an answer has come: with none, each kind of output
// (level, bytes, length, optional byte, table) keeps what it held.
TEST_F(ShortTimeoutSyncSessionTest, AMissedAnswerLeavesEveryKindOfOutputAlone)
{
    for (const std::uint16_t code : std::initializer_list<std::uint16_t>{0x1403, 0x0905, 0x1906, 0x1908, 0x1909}) {
        adapter().setResponder(code, [](const Bytes&) { return std::vector<Bytes>{}; });
    }
    GpioLogicLevel level = GpioLogicLevel::HIGH;
    Bytes pid{1, 2, 3}, data{9, 9}, i2c{7};
    std::uint16_t length = 0x1234;
    std::optional<std::uint8_t> ibi = 0x55;
    std::vector<I3cTargetInfo> table(2);
    EXPECT_EQ(sdk().gpioDigitalRead(GpioPinNumber::GPIO_0, level), StatusCode::NO_RESPONSE);
    EXPECT_EQ(sdk().i2cRead(0, 0x50, {}, 1, i2c, false), StatusCode::NO_RESPONSE);
    EXPECT_EQ(sdk().i3cCccGETPID(0x30, pid), StatusCode::NO_RESPONSE);
    EXPECT_EQ(sdk().i3cCccGETMRL(0x30, length, ibi), StatusCode::NO_RESPONSE);
    EXPECT_EQ(sdk().i3cSdrRead(8, {}, 4, data, I3cTransferFlags::NONE), StatusCode::NO_RESPONSE);
    EXPECT_EQ(sdk().i3cGetDeviceTable(table), StatusCode::NO_RESPONSE);
    EXPECT_EQ(level, GpioLogicLevel::HIGH);
    EXPECT_EQ(i2c, Bytes{7});
    EXPECT_EQ(pid, (Bytes{1, 2, 3}));
    EXPECT_EQ(length, 0x1234);
    EXPECT_EQ(ibi, std::optional<std::uint8_t>(0x55));
    EXPECT_EQ(data, (Bytes{9, 9}));
    EXPECT_EQ(table.size(), 2u);
    adapter().setWriteFails(true); // nor when the request, one the adapter answers, never went out
    EXPECT_EQ(sdk().getUsbString(pid, 1), StatusCode::NO_RESPONSE);
    EXPECT_EQ(pid, (Bytes{1, 2, 3}));
}

TEST(StatusText, NamesTheLibraryCodesAndShowsDeviceStatusesInHex)
{
    EXPECT_STREQ(statusCodeName(StatusCode::NO_RESPONSE), "NO_RESPONSE");
    EXPECT_STREQ(statusCodeName(StatusCode::RESPONSE_TOO_SHORT), "RESPONSE_TOO_SHORT");
    EXPECT_FALSE(statusCodeMessage(StatusCode::INVALID_ARGUMENT).empty());
    EXPECT_STREQ(statusCodeName(static_cast<StatusCode>(0x0102)), "DEVICE_STATUS");
    EXPECT_EQ(statusCodeMessage(static_cast<StatusCode>(0x0102)), "device status 0x0102");
    EXPECT_EQ(statusCodeMessage(static_cast<StatusCode>(0xA001)), "device status 0xA001");
}

} // namespace
} // namespace tarvix_test
