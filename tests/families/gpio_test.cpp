#include "family_test_support.hpp"

using namespace tarvix_test;

using GpioAsync = AsyncSessionTest;
using GpioSync = SyncSessionTest;
using GpioSyncShortTimeout = ShortTimeoutSyncSessionTest;

TEST_F(GpioAsync, Frames_CarryEachEnumeratorAsItsLowByte)
{
    const auto pin = GpioPinNumber(0x105);
    EXPECT_EQ(requestOf([&](TarvixAsyncSDK& a) {
                  return a.gpioConfigurePin(0x0A0B, pin, GpioFunctionality(0x201), GpioLogicLevel(0x1FF));
              }),
              (Bytes{0x0B, 0x0A, 0x01, 0x14, 0x05, 0x01, 0xFF}));
    EXPECT_EQ(requestOf([&](TarvixAsyncSDK& a) { return a.gpioDigitalWrite(1, pin, GpioLogicLevel::HIGH); }),
              (Bytes{0x01, 0x00, 0x02, 0x14, 0x05, 0x01}));
    EXPECT_EQ(requestOf([&](TarvixAsyncSDK& a) { return a.gpioDigitalRead(1, pin); }),
              (Bytes{0x01, 0x00, 0x03, 0x14, 0x05}));
    EXPECT_EQ(requestOf([&](TarvixAsyncSDK& a) { return a.gpioConfigureInterrupt(1, pin, GpioTriggerType::BOTH_EDGES); }),
              (Bytes{0x01, 0x00, 0x04, 0x14, 0x05, 0x03}));
    EXPECT_EQ(requestOf([&](TarvixAsyncSDK& a) { return a.gpioDisableInterrupt(1, pin); }),
              (Bytes{0x01, 0x00, 0x05, 0x14, 0x05}));
}

TEST_F(GpioSync, DigitalRead_ZeroExtendsTheLevelEvenOnDeviceError)
{
    answer(0x1403, 0x0009, {0xFE});
    GpioLogicLevel level = GpioLogicLevel::LOW;
    EXPECT_EQ(sdk().gpioDigitalRead(GpioPinNumber::GPIO_3, level), StatusCode(0x0009));
    EXPECT_EQ(level, GpioLogicLevel(0xFE));
}

TEST_F(GpioSyncShortTimeout, DigitalRead_LeavesLevelUntouchedWhenNothingArrives)
{
    adapter().dropNextResponses(1);
    GpioLogicLevel level = GpioLogicLevel::HIGH;
    EXPECT_EQ(sdk().gpioDigitalRead(GpioPinNumber::GPIO_0, level), StatusCode::NO_RESPONSE);
    EXPECT_EQ(level, GpioLogicLevel::HIGH);
}
