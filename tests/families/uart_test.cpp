#include "family_test_support.hpp"

using namespace tarvix_test;

using UartAsync = AsyncSessionTest;
using UartSync = SyncSessionTest;

TEST_F(UartAsync, PortSettings_InitAndSetParametersDifferOnlyInByteTwo)
{
    const Bytes init{0x01, 0x00, 0x02, 0x10, 0x0A, 0x01, 0x02, 0x07, 0x02};
    Bytes set = init;
    set[2] = 0x03;
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) {
                  return a.uartInit(1, UartBaudRate(0x10A), UartHwHandshake::ENABLED, UartParity::ODD,
                                    UartDataSize::BITS_7, UartStopBit::TWO);
              }),
              init);
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) {
                  return a.uartSetParameters(1, UartBaudRate(0x10A), UartHwHandshake::ENABLED, UartParity::ODD,
                                             UartDataSize::BITS_7, UartStopBit::TWO);
              }),
              set);
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) { return a.uartDeinit(1); }), (Bytes{0x01, 0x00, 0x01, 0x10}));
}

TEST_F(UartAsync, SendMessage_CountIsCutTo16BitsWhileAllBytesFollow)
{
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) { return a.uartSendMessage(1, {}); }),
              (Bytes{0x01, 0x00, 0x05, 0x10, 0x00, 0x00}));
    const Bytes message = pattern(0x10000);
    const Bytes frame = requestOf([&](TarvixAsyncSDK& a) { return a.uartSendMessage(1, message); });
    ASSERT_EQ(frame.size(), 6 + message.size());
    EXPECT_EQ(frame[4], 0x00);
    EXPECT_EQ(frame[5], 0x00);
    EXPECT_TRUE(std::equal(message.begin(), message.end(), frame.begin() + 6));
}

TEST_F(UartSync, SendMessage_ReturnsTheDeviceStatus)
{
    answer(0x1005, 0x0012);
    EXPECT_EQ(sdk().uartSendMessage({'h', 'i'}), StatusCode(0x0012));
    EXPECT_EQ(withoutTransactionId(lastRequest()), (Bytes{0x05, 0x10, 0x02, 0x00, 'h', 'i'}));
}
