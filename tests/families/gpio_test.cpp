// GPIO: how a pin read is decoded. The request frames are in frame_rules_test.cpp, where every
// GPIO command shows that its enumerations travel as their low byte.
#include <sdk_fixture.hpp>

using namespace tarvix_test;

namespace {

using GpioSync = SyncSessionTest;

TEST_F(GpioSync, DigitalRead_ZeroExtendsTheLevelEvenOnDeviceError)
{
    answer(0x1403, 0x0009, {0xFE});
    GpioLogicLevel level = GpioLogicLevel::LOW;
    EXPECT_EQ(sdk().gpioDigitalRead(GpioPinNumber::GPIO_3, level), StatusCode(0x0009));
    EXPECT_EQ(level, GpioLogicLevel(0xFE));
}

} // namespace
