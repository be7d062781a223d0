// Unsolicited frames (transaction id 0) as Notification records and their typed views.
#include <sdk_fixture.hpp>
#include <tarvix_virtual/targets.hpp>

#include <atomic>
#include <cstdio>
#include <memory>
#include <string>
#include <tuple>

namespace tarvix_test {
namespace {

std::string hex(const std::uint8_t* bytes, std::size_t count)
{
    std::string out;
    char digits[3];
    for (std::size_t i = 0; i < count; ++i) {
        std::snprintf(digits, sizeof digits, "%02X", bytes[i]);
        out += digits;
    }
    return out;
}

// What a handler saw, copied out during the call (the record and its frame die with it): the
// kind, the frame, and every view the record offered, written out.
struct Seen {
    NotificationKind kind = NotificationKind::UNKNOWN;
    Bytes frame;
    std::string views;
};

Seen copyOut(const Notification& n)
{
    Seen seen{n.kind, Bytes(n.data, n.data + n.length), ""};
    if (const GpioInterruptNotification* gpio = n.gpio()) {
        seen.views += "gpio " + std::to_string(gpio->pinNumber) + ";";
    }
    if (const I3cIbiNotification* ibi = n.i3cIbi()) {
        seen.views += "ibi " + hex(&ibi->targetAddress, 1) + ":" + hex(ibi->payload, ibi->payloadLength) + ";";
    }
    if (const I3cHotJoinNotification* join = n.i3cHotJoin()) {
        const std::uint8_t rest[] = {join->bcr, join->dcr, join->dynamicAddress};
        seen.views += "join " + hex(join->provisionalId, 6) + ":" + hex(rest, 3) + ";";
    }
    if (const UartRxNotification* uart = n.uartRx()) {
        seen.views += "uart " + hex(uart->data, uart->dataLength) + ";";
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

    std::shared_ptr<Inbox<Seen>> seen_ = std::make_shared<Inbox<Seen>>();
};

TEST_F(Notifications, ViewsNeedTheirKindAndTheirFixedFieldsAndAreCutToTheBytesThatArrived)
{
    using K = NotificationKind;
    const std::vector<std::tuple<Bytes, K, std::string>> cases = {
        {{0x00, 0x00, 0x81, 0x14, 0x00, 0x00, 0x05}, K::GPIO_INTERRUPT, "gpio 5;"},
        {{0x00, 0x00, 0x81, 0x14, 0x00, 0x00}, K::GPIO_INTERRUPT, ""},
        {{0x00, 0x00, 0x81, 0x10, 0x00, 0x00, 0x03, 0x00, 0x41, 0x42, 0x43}, K::UART_RX, "uart 414243;"},
        {{0x00, 0x00, 0x81, 0x10, 0x00, 0x00, 0x03}, K::UART_RX, ""},
        {{0x00, 0x00, 0x81, 0x19, 0x00, 0x00, 0x2A, 0x02, 0xDE, 0xAD}, K::I3C_IBI, "ibi 2A:DEAD;"},
        {{0x00, 0x00, 0x81, 0x19, 0x00, 0x00, 0x2A}, K::I3C_IBI, ""},
        {{0x00, 0x00, 0x82, 0x19, 0x00, 0x00, 1, 2, 3, 4, 5, 6, 0x07, 0xC6, 0x09},
         K::I3C_HOT_JOIN,
         "join 010203040506:07C609;"},
        {{0x00, 0x00, 0x82, 0x19, 0x00, 0x00, 1, 2, 3, 4, 5, 6, 0x07, 0xC6}, K::I3C_HOT_JOIN, ""},
        // An unknown code still reaches the handler, whole, with no view.
        {{0x00, 0x00, 0x83, 0x19, 0x00, 0x00, 0x05, 0x00, 0x41, 0x42, 0x43, 0x44, 0x45}, K::UNKNOWN, ""},
        // Declared lengths beyond the frame are cut to what arrived; shorter ones are taken as declared.
        {{0x00, 0x00, 0x81, 0x10, 0x00, 0x00, 0x0A, 0x00, 0x41, 0x42, 0x43}, K::UART_RX, "uart 414243;"},
        {{0x00, 0x00, 0x81, 0x10, 0x00, 0x00, 0xFF, 0xFF}, K::UART_RX, "uart ;"},
        {{0x00, 0x00, 0x81, 0x19, 0x00, 0x00, 0x2A, 0xC8, 0x01}, K::I3C_IBI, "ibi 2A:01;"},
        {{0x00, 0x00, 0x81, 0x19, 0x00, 0x00, 0x2A, 0x01, 0x01, 0x02, 0x03}, K::I3C_IBI, "ibi 2A:01;"},
    };
    for (const auto& c : cases) {
        adapter().sendFrame(std::get<0>(c));
    }
    const std::vector<Seen> seen = seen_->waitFor(cases.size());
    ASSERT_EQ(seen.size(), cases.size());
    for (std::size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(seen[i].frame, std::get<0>(cases[i]));
        EXPECT_EQ(seen[i].kind, std::get<1>(cases[i]));
        EXPECT_EQ(seen[i].views, std::get<2>(cases[i]));
    }
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
    EXPECT_EQ(seen[0].views, "gpio 1;");
    EXPECT_EQ(seen[1].views, "gpio 3;");
}

using NotificationDuringACall = SyncSessionTest;

// The pin changes inside the read, between the request and its answer: the adapter's responder
// drives it, so the interrupt is queued ahead of the answer. The reader hands frames over in
// order, so the handler must run before the read returns, and the read must still get its own
// answer (had the notification completed it, the level would be the pin number, 6).
TEST_F(NotificationDuringACall, InterruptArrivesWhileABlockingCallWaits)
{
    auto returned = std::make_shared<std::atomic<bool>>(false);           // shared: the handler outlives this body
    auto seen = std::make_shared<Inbox<std::pair<std::uint8_t, bool>>>(); // pin, read already returned
    sdk().onNotification([seen, returned](const Notification& n) {
        if (const GpioInterruptNotification* gpio = n.gpio()) {
            seen->push({gpio->pinNumber, returned->load()});
        }
    });
    ASSERT_EQ(sdk().gpioConfigurePin(GpioPinNumber::GPIO_6, GpioFunctionality::DIGITAL_INTERRUPT, GpioLogicLevel::LOW),
              StatusCode::SUCCESS);
    ASSERT_EQ(sdk().gpioConfigureInterrupt(GpioPinNumber::GPIO_6, GpioTriggerType::BOTH_EDGES), StatusCode::SUCCESS);
    adapter().setResponder(0x1403, [this](const Bytes& request) {
        tv::gpioDrive(adapter(), 6, true);
        return std::vector<Bytes>{tv::responseFrame(tv::transactionIdOf(request), 0x1403, 0, {0})};
    });
    GpioLogicLevel level = GpioLogicLevel::HIGH;
    EXPECT_EQ(sdk().gpioDigitalRead(GpioPinNumber::GPIO_6, level), StatusCode::SUCCESS);
    returned->store(true);
    EXPECT_EQ(level, GpioLogicLevel::LOW);
    const std::vector<std::pair<std::uint8_t, bool>> interrupts = seen->waitFor(1);
    ASSERT_EQ(interrupts.size(), 1u);
    EXPECT_EQ(interrupts[0].first, 6);
    EXPECT_FALSE(interrupts[0].second) << "the interrupt reached the handler only after the read returned";
}

} // namespace
} // namespace tarvix_test
