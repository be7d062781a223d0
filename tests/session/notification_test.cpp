// Unsolicited frames (transaction id 0) as Notification records and their typed views.
#include <sdk_fixture.hpp>

#include <atomic>
#include <thread>

namespace tarvix_test {
namespace {

// What a handler saw, copied out during the call (the record and its frame die with it).
struct Seen {
    NotificationKind kind = NotificationKind::UNKNOWN;
    Bytes frame;
    std::optional<std::uint8_t> gpioPin;
    std::optional<std::pair<std::uint8_t, Bytes>> ibi; // target address, payload
    std::optional<Bytes> hotJoin;                       // provisional id, bcr, dcr, dynamic address
    std::optional<Bytes> uart;
};

Seen copyOut(const Notification& n)
{
    Seen seen;
    seen.kind = n.kind;
    seen.frame.assign(n.data, n.data + n.length);
    if (const GpioInterruptNotification* gpio = n.gpio()) {
        seen.gpioPin = gpio->pinNumber;
    }
    if (const I3cIbiNotification* ibi = n.i3cIbi()) {
        seen.ibi.emplace(ibi->targetAddress, Bytes(ibi->payload, ibi->payload + ibi->payloadLength));
    }
    if (const I3cHotJoinNotification* join = n.i3cHotJoin()) {
        Bytes fields(join->provisionalId, join->provisionalId + 6);
        fields.insert(fields.end(), {join->bcr, join->dcr, join->dynamicAddress});
        seen.hotJoin = fields;
    }
    if (const UartRxNotification* uart = n.uartRx()) {
        seen.uart.emplace(uart->data, uart->data + uart->dataLength);
    }
    return seen;
}

class Notifications : public SyncSessionTest {
protected:
    void SetUp() override
    {
        SyncSessionTest::SetUp();
        sdk().onNotification([seen = seen_](const Notification& n) { seen->push(copyOut(n)); });
    }

    // Sends each frame as it stands and returns what the handler saw, in order.
    std::vector<Seen> deliver(const std::vector<Bytes>& frames)
    {
        for (const Bytes& frame : frames) {
            adapter().sendFrame(frame);
        }
        std::vector<Seen> all = seen_->waitFor(frames.size());
        EXPECT_EQ(all.size(), frames.size());
        all.resize(frames.size());
        return all;
    }

    std::shared_ptr<Inbox<Seen>> seen_ = std::make_shared<Inbox<Seen>>();
};

TEST_F(Notifications, ViewsNeedTheirKindAndTheirFixedFields)
{
    const std::vector<Seen> seen = deliver({
        {0x00, 0x00, 0x81, 0x14, 0x00, 0x00, 0x05},
        {0x00, 0x00, 0x81, 0x14, 0x00, 0x00},
        {0x00, 0x00, 0x81, 0x10, 0x00, 0x00, 0x03, 0x00, 0x41, 0x42, 0x43},
        {0x00, 0x00, 0x81, 0x10, 0x00, 0x00, 0x03},
        {0x00, 0x00, 0x81, 0x19, 0x00, 0x00, 0x2A, 0x02, 0xDE, 0xAD},
        {0x00, 0x00, 0x81, 0x19, 0x00, 0x00, 0x2A},
        {0x00, 0x00, 0x82, 0x19, 0x00, 0x00, 1, 2, 3, 4, 5, 6, 0x07, 0xC6, 0x09},
        {0x00, 0x00, 0x82, 0x19, 0x00, 0x00, 1, 2, 3, 4, 5, 6, 0x07, 0xC6},
        {0x00, 0x00, 0x83, 0x19, 0x00, 0x00, 0x05, 0x00, 0x41, 0x42, 0x43, 0x44, 0x45, 0x46, 0x47},
    });
    ASSERT_EQ(seen.size(), 9u);

    EXPECT_EQ(seen[0].kind, NotificationKind::GPIO_INTERRUPT);
    EXPECT_EQ(seen[0].gpioPin, 5);
    EXPECT_FALSE(seen[0].uart || seen[0].ibi || seen[0].hotJoin);
    EXPECT_EQ(seen[1].kind, NotificationKind::GPIO_INTERRUPT);
    EXPECT_FALSE(seen[1].gpioPin);

    EXPECT_EQ(seen[2].kind, NotificationKind::UART_RX);
    EXPECT_EQ(seen[2].uart, (Bytes{0x41, 0x42, 0x43}));
    EXPECT_EQ(seen[2].frame.size(), 11u);
    EXPECT_EQ(seen[3].kind, NotificationKind::UART_RX);
    EXPECT_FALSE(seen[3].uart);

    EXPECT_EQ(seen[4].kind, NotificationKind::I3C_IBI);
    ASSERT_TRUE(seen[4].ibi);
    EXPECT_EQ(seen[4].ibi->first, 0x2A);
    EXPECT_EQ(seen[4].ibi->second, (Bytes{0xDE, 0xAD}));
    EXPECT_FALSE(seen[5].ibi);

    EXPECT_EQ(seen[6].kind, NotificationKind::I3C_HOT_JOIN);
    EXPECT_EQ(seen[6].hotJoin, (Bytes{1, 2, 3, 4, 5, 6, 0x07, 0xC6, 0x09}));
    EXPECT_EQ(seen[7].kind, NotificationKind::I3C_HOT_JOIN);
    EXPECT_FALSE(seen[7].hotJoin);

    // An unknown code still reaches the handler, whole, with no view.
    EXPECT_EQ(seen[8].kind, NotificationKind::UNKNOWN);
    EXPECT_EQ(seen[8].frame.size(), 15u);
    EXPECT_FALSE(seen[8].gpioPin || seen[8].ibi || seen[8].hotJoin || seen[8].uart);
}

TEST_F(Notifications, DeclaredLengthsAreCutToTheBytesThatArrived)
{
    const std::vector<Seen> seen = deliver({
        {0x00, 0x00, 0x81, 0x10, 0x00, 0x00, 0x0A, 0x00, 0x41, 0x42, 0x43},
        {0x00, 0x00, 0x81, 0x10, 0x00, 0x00, 0xFF, 0xFF},
        {0x00, 0x00, 0x81, 0x19, 0x00, 0x00, 0x2A, 0xC8, 0x01},
        {0x00, 0x00, 0x81, 0x19, 0x00, 0x00, 0x2A, 0x01, 0x01, 0x02, 0x03},
    });
    ASSERT_EQ(seen.size(), 4u);
    EXPECT_EQ(seen[0].uart, (Bytes{0x41, 0x42, 0x43}));
    EXPECT_EQ(seen[1].uart, Bytes{});
    ASSERT_TRUE(seen[2].ibi && seen[3].ibi);
    EXPECT_EQ(seen[2].ibi->second, Bytes{0x01});
    // A declared length below what arrived is taken as declared.
    EXPECT_EQ(seen[3].ibi->second, Bytes{0x01});
}

TEST_F(Notifications, ArriveOnlyWhileAHandlerIsSet)
{
    adapter().injectNotification(0x1481, 0, {1});
    ASSERT_EQ(seen_->waitFor(1).size(), 1u);
    sdk().onNotification(nullptr);
    adapter().injectNotification(0x1481, 0, {2});
    // The answer follows the second notification: once it is in, that one has been dropped.
    Bytes out;
    ASSERT_EQ(sdk().getUsbString(out, 1), StatusCode::SUCCESS);
    sdk().onNotification([seen = seen_](const Notification& n) { seen->push(copyOut(n)); });
    adapter().injectNotification(0x1481, 0, {3});

    const std::vector<Seen> seen = seen_->waitFor(2);
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[0].gpioPin, 1);
    EXPECT_EQ(seen[1].gpioPin, 3);
}

TEST_F(Notifications, HandlerMayBeReplacedWhileNotificationsArrive)
{
    constexpr std::size_t kCount = 300;
    auto handled = std::make_shared<Inbox<int>>();
    sdk().onNotification([handled](const Notification&) { handled->push(-1); });
    std::atomic<bool> stop{false};
    std::thread replacer([&] {
        for (int generation = 0; !stop.load(); ++generation) {
            sdk().onNotification([handled, generation](const Notification&) { handled->push(generation); });
        }
    });
    for (std::size_t i = 0; i < kCount; ++i) {
        adapter().injectNotification(0x1981, 0, {0x30, 0x00});
    }
    const std::size_t count = handled->waitFor(kCount).size();
    stop.store(true);
    replacer.join();
    EXPECT_EQ(count, kCount); // every notification met exactly one handler
}

} // namespace
} // namespace tarvix_test
