// UART: the port's settings and what arrives as notifications.
#include "virtual_test_support.hpp"

namespace {

const vt::Bytes k8N1{10, 0, 0, 8, 1}; // 115200 baud, no handshake, no parity, 8 data bits, 1 stop bit

class Uart : public BenchTest {
protected:
    std::uint16_t send(const vt::Bytes& message)
    {
        return status(vt::codes::UART_SEND, concat(u16(static_cast<std::uint16_t>(message.size())), message));
    }
};

TEST_F(Uart, SevenDataBits_LoseTheTopBit)
{
    ASSERT_EQ(status(vt::codes::UART_INIT, {4, 0, 1, 7, 2}), 0);
    ASSERT_EQ(send({0xC1, 0x41}), 0);
    EXPECT_EQ(nextNotification(), vt::notificationFrame(vt::codes::UART_RX, 0, {2, 0, 0x41, 0x41}));
}

TEST_F(Uart, BytesFromTheFarEnd_ArriveWhileTheLoopbackIsOff)
{
    ASSERT_EQ(status(vt::codes::UART_INIT, k8N1), 0);
    vt::uartSetLoopback(*adapter, false);
    ASSERT_EQ(send({1, 2, 3}), 0);
    EXPECT_TRUE(nothingPending());
    EXPECT_TRUE(vt::uartReceive(*adapter, {'o', 'k'}));
    EXPECT_EQ(nextNotification(), vt::notificationFrame(vt::codes::UART_RX, 0, {2, 0, 'o', 'k'}));
}

TEST_F(Uart, ClosedPortAndBadSettings_AreRefused)
{
    EXPECT_EQ(send({1}), code(vt::DeviceStatus::UART_NOT_INITIALISED));
    for (const vt::Bytes& settings :
         {vt::Bytes{15, 0, 0, 8, 1}, vt::Bytes{10, 0, 3, 8, 1}, vt::Bytes{10, 0, 0, 9, 1}, vt::Bytes{10, 0, 0, 8, 0}}) {
        EXPECT_EQ(status(vt::codes::UART_INIT, settings), code(vt::DeviceStatus::UNSUPPORTED_SETTING));
    }
    EXPECT_FALSE(vt::uartOpen(*adapter));
}

class LargeReportUart : public BenchTest {
protected:
    vt::AdapterConfig config() const override
    {
        vt::AdapterConfig large;
        large.productId = 0x82FD;
        return large;
    }
};

TEST_F(LargeReportUart, NotificationsGrowWithTheReport)
{
    ASSERT_EQ(status(vt::codes::UART_INIT, k8N1), 0);
    ASSERT_EQ(status(vt::codes::UART_SEND, concat(u16(1100), patternBytes(1100))), 0);
    EXPECT_EQ(nextNotification().size(), 8u + 1014u);
    EXPECT_EQ(nextNotification().size(), 8u + 86u);
}

} // namespace
