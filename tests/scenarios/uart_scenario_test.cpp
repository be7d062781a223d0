// The bench's UART loopback, end to end.
#include <sdk_fixture.hpp>
#include <tarvix_virtual/targets.hpp>

namespace tarvix_test {
namespace {

class UartScenario : public SyncSessionTest {
protected:
    void SetUp() override
    {
        SyncSessionTest::SetUp();
        sdk().onNotification([this](const Notification& n) {
            if (const UartRxNotification* rx = n.uartRx()) {
                chunks_.push(Bytes(rx->data, rx->data + rx->dataLength));
            }
        });
    }
    std::uint16_t open()
    {
        return static_cast<std::uint16_t>(sdk().uartInit(UartBaudRate::BAUD_115200, UartHwHandshake::DISABLED,
                                                         UartParity::NONE, UartDataSize::BITS_8, UartStopBit::ONE));
    }
    // The bytes of the first `count` notifications, joined.
    Bytes received(std::size_t count)
    {
        Bytes all;
        const std::vector<Bytes> chunks = chunks_.waitFor(count);
        EXPECT_EQ(chunks.size(), count);
        for (const Bytes& chunk : chunks) {
            all.insert(all.end(), chunk.begin(), chunk.end());
        }
        return all;
    }

private:
    Inbox<Bytes> chunks_;
};

TEST_F(UartScenario, MessageComesBackOverTheLoopback)
{
    ASSERT_EQ(open(), 0);
    const Bytes message{'h', 'e', 'l', 'l', 'o'};
    EXPECT_EQ(sdk().uartSendMessage(message), StatusCode::SUCCESS);
    EXPECT_EQ(received(1), message);
}

TEST_F(UartScenario, MessageLongerThanOneReportComesBackInPieces)
{
    ASSERT_EQ(open(), 0);
    Bytes message(200);
    for (std::size_t i = 0; i < message.size(); ++i) {
        message[i] = static_cast<std::uint8_t>(i * 7);
    }
    EXPECT_EQ(sdk().uartSendMessage(message), StatusCode::SUCCESS);
    EXPECT_EQ(received(4), message); // 54 + 54 + 54 + 38 bytes on a 64-byte adapter
}

TEST_F(UartScenario, ClosedPortRefusesToSend)
{
    EXPECT_EQ(sdk().uartSendMessage({1, 2, 3}), StatusCode(tv::DeviceStatus::UART_NOT_INITIALISED));
    ASSERT_EQ(open(), 0);
    EXPECT_EQ(sdk().uartDeinit(), StatusCode::SUCCESS);
    EXPECT_EQ(sdk().uartSendMessage({1, 2, 3}), StatusCode(tv::DeviceStatus::UART_NOT_INITIALISED));
}

} // namespace
} // namespace tarvix_test
