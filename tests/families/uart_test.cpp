// UART: the frames without settings. The port settings are in frame_rules_test.cpp (init and
// set-parameters, enumerations as low bytes), the long message in its 16-bit count test, and the
// received data in the notification tests.
#include <sdk_fixture.hpp>

using namespace tarvix_test;

namespace {

using UartAsync = AsyncSessionTest;

TEST_F(UartAsync, DeinitAndAnEmptyMessage_HaveTheirFixedFrames)
{
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) { return a.uartDeinit(1); }), (Bytes{0x01, 0x00, 0x01, 0x10}));
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) { return a.uartSendMessage(1, {}); }),
              (Bytes{0x01, 0x00, 0x05, 0x10, 0x00, 0x00}));
}

} // namespace
