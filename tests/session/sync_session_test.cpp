// The blocking session: transaction numbering and the rendezvous of a call with its response.
// getUsbString serves as the probe because it shows which response completed the call.
#include <sdk_fixture.hpp>

#include <algorithm>
#include <string>

namespace tarvix_test {
namespace {

std::string text(const Bytes& bytes) { return std::string(bytes.begin(), bytes.end()); }

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

TEST_F(SyncSessionTest, TwoResponsesCloseTogetherLeaveTheLaterOneForTheNextCall)
{
    Fence fence(sdk());
    adapter().setResponder(0x0407, [](const Bytes& request) {
        const std::uint16_t id = tv::transactionIdOf(request);
        return std::vector<Bytes>{usbString(id, "first"), usbString(id, "second")};
    });
    for (int round = 0; round < 10; ++round) {
        Bytes out;
        ASSERT_EQ(sdk().getUsbString(out, 1), StatusCode::SUCCESS);
        ASSERT_TRUE(text(out) == "first" || text(out) == "second") << text(out);
        fence.cross(adapter());
        if (text(out) == "first") {
            // The second answer arrived after the call woke: it is stored and completes the
            // next call at once (and, answering the previous request, is rejected).
            adapter().dropNextResponses(1);
            EXPECT_EQ(sdk().getUsbString(out, 1), StatusCode::UNEXPECTED_RESPONSE);
        }
    }
}

TEST_F(SyncSessionTest, ANotificationDuringAWaitCompletesNothing)
{
    Inbox<NotificationKind> notified;
    sdk().onNotification([&notified](const Notification& n) { notified.push(n.kind); });
    adapter().setResponseDelay(50ms);
    adapter().setResponder(0x0407, [this](const Bytes& request) {
        adapter().injectNotification(0x1481, 0, {1}); // ready at once, before the answer
        return std::vector<Bytes>{usbString(tv::transactionIdOf(request), "answer")};
    });
    Bytes out;
    EXPECT_EQ(sdk().getUsbString(out, 1), StatusCode::SUCCESS);
    EXPECT_EQ(text(out), "answer");
    EXPECT_EQ(notified.waitFor(1), std::vector<NotificationKind>{NotificationKind::GPIO_INTERRUPT});
}

TEST_F(ShortTimeoutSyncSessionTest, AFailedWriteOrAnUnplugDuringAWaitEndsInNoResponse)
{
    Bytes out{9};
    adapter().setWriteFails(true);
    EXPECT_EQ(sdk().getUsbString(out, 1), StatusCode::NO_RESPONSE);
    adapter().setWriteFails(false);

    adapter().setResponder(0x0407, [this](const Bytes&) {
        adapter().unplug();
        return std::vector<Bytes>{};
    });
    EXPECT_EQ(sdk().getUsbString(out, 1), StatusCode::NO_RESPONSE);
    EXPECT_EQ(out, Bytes{9});
    EXPECT_TRUE(sdk().isConnected());
    sdk().disconnect();
    EXPECT_FALSE(sdk().isConnected());
    EXPECT_EQ(sdk().getUsbString(out, 1), StatusCode::NOT_CONNECTED);
    EXPECT_EQ(adapter().openHandles(), 0u);
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
