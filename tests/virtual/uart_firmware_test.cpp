// UART: the port's settings and the loopback that returns sent bytes as
// notifications of at most one report each.
#include "bench_test_support.hpp"

namespace {

const vt::Bytes k8N1{10, 0, 0, 8, 1};  // 115200 baud, no handshake, no parity, 8 data bits, 1 stop bit

class Uart : public BenchTest {
protected:
    std::uint16_t send(const vt::Bytes& message) {
        return statusOf(call(vt::codes::UART_SEND, concat(u16(static_cast<std::uint16_t>(message.size())), message)));
    }
};

TEST_F(Uart, LoopedBackMessage_ReturnsInNotificationsThatFitOneReportEach) {
    ASSERT_EQ(statusOf(call(vt::codes::UART_INIT, k8N1)), 0);
    const vt::Bytes message = patternBytes(120);
    ASSERT_EQ(send(message), 0);
    vt::Bytes echoed;
    for (const std::size_t expected : {54u, 54u, 12u}) {
        std::vector<vt::Bytes> reports;
        const vt::Bytes frame = readFrame(dev, 64, 1000, &reports).value_or(vt::Bytes{});
        ASSERT_EQ(reports.size(), 1u);
        ASSERT_EQ(frame.size(), 8 + expected);
        EXPECT_EQ(vt::commandCodeOf(frame), vt::codes::UART_RX);
        EXPECT_EQ(frame[6] | frame[7] << 8, static_cast<int>(expected));
        echoed.insert(echoed.end(), frame.begin() + 8, frame.end());
    }
    EXPECT_EQ(echoed, message);
    EXPECT_TRUE(nothingPending());
}

TEST_F(Uart, SevenDataBits_LoseTheTopBit) {
    ASSERT_EQ(statusOf(call(vt::codes::UART_INIT, {4, 0, 1, 7, 2})), 0);
    ASSERT_EQ(send({0xC1, 0x41}), 0);
    EXPECT_EQ(nextNotification(), vt::notificationFrame(vt::codes::UART_RX, 0, {2, 0, 0x41, 0x41}));
}

TEST_F(Uart, BytesFromTheFarEnd_ArriveWhileTheLoopbackIsOff) {
    ASSERT_EQ(statusOf(call(vt::codes::UART_INIT, k8N1)), 0);
    vt::uartSetLoopback(*adapter, false);
    ASSERT_EQ(send({1, 2, 3}), 0);
    EXPECT_TRUE(nothingPending());
    EXPECT_TRUE(vt::uartReceive(*adapter, {'o', 'k'}));
    EXPECT_EQ(nextNotification(), vt::notificationFrame(vt::codes::UART_RX, 0, {2, 0, 'o', 'k'}));
}

TEST_F(Uart, SettingsAndMalformedMessages_AreRefused) {
    const auto unsupported = code(vt::DeviceStatus::UNSUPPORTED_SETTING);
    EXPECT_EQ(statusOf(call(vt::codes::UART_INIT, {15, 0, 0, 8, 1})), unsupported);
    EXPECT_EQ(statusOf(call(vt::codes::UART_INIT, {10, 0, 3, 8, 1})), unsupported);
    EXPECT_EQ(statusOf(call(vt::codes::UART_INIT, {10, 0, 0, 9, 1})), unsupported);
    EXPECT_EQ(statusOf(call(vt::codes::UART_INIT, {10, 0, 0, 8, 0})), unsupported);
    EXPECT_FALSE(vt::uartOpen(*adapter));
    ASSERT_EQ(statusOf(call(vt::codes::UART_INIT, k8N1)), 0);
    EXPECT_EQ(statusOf(call(vt::codes::UART_SEND, {3, 0, 1, 2})), code(vt::DeviceStatus::INVALID_PARAMETER));
    EXPECT_TRUE(nothingPending());
}

class LargeReportUart : public BenchTest {
protected:
    vt::AdapterConfig config() const override {
        vt::AdapterConfig large;
        large.productId = 0x82FD;
        return large;
    }
};

TEST_F(LargeReportUart, NotificationsGrowWithTheReport) {
    ASSERT_EQ(statusOf(call(vt::codes::UART_INIT, k8N1)), 0);
    ASSERT_EQ(statusOf(call(vt::codes::UART_SEND, concat(u16(1100), patternBytes(1100)))), 0);
    EXPECT_EQ(nextNotification().size(), 8u + 1014u);
    EXPECT_EQ(nextNotification().size(), 8u + 86u);
}

}  // namespace
