// The bench end to end: the EEPROM at 0x50 on I2C bus 0, and the supply rails.
#include <sdk_fixture.hpp>
#include <tarvix_virtual/targets.hpp>

namespace tarvix_test {
namespace {

using BenchScenario = SyncSessionTest;

TEST_F(BenchScenario, EepromWriteWrapsAtThePageEnd)
{
    ASSERT_EQ(sdk().i2cControllerInit(0, 400000, 0), StatusCode::SUCCESS);
    // Six bytes from 0x3D: three fill the page up to 0x3F, three wrap to 0x38.
    EXPECT_EQ(sdk().i2cWrite(0, 0x50, {0x3D}, {1, 2, 3, 4, 5, 6}, false), StatusCode::SUCCESS);
    Bytes data;
    EXPECT_EQ(sdk().i2cRead(0, 0x50, {0x38}, 9, data, false), StatusCode::SUCCESS);
    EXPECT_EQ(data, (Bytes{4, 5, 6, 0xFF, 0xFF, 1, 2, 3, 0xFF}));
}

TEST_F(BenchScenario, RailsAreSetAndReadBackThroughEveryNameAndRefusedOutsideTheirRange)
{
    EXPECT_EQ(sdk().i2cSetBusVoltage(1800, false), StatusCode::SUCCESS);
    EXPECT_EQ(sdk().i3cSetBusVoltage(1200), StatusCode::SUCCESS);
    // Out of range: refused, and the rails keep their voltages.
    const auto refused = StatusCode(tv::DeviceStatus::VOLTAGE_OUT_OF_RANGE);
    EXPECT_EQ(sdk().gpioSetVoltage(5000, false), refused);
    EXPECT_EQ(sdk().i3cSetBusVoltage(900), refused);
    std::uint16_t shared = 0, first = 0, second = 0;
    EXPECT_EQ(sdk().uartGetBusVoltage(shared), StatusCode::SUCCESS);
    EXPECT_EQ(shared, 1800);
    EXPECT_EQ(sdk().i3cGetBusVoltage(first, second), StatusCode::SUCCESS);
    EXPECT_EQ(first, 1200);
    EXPECT_EQ(second, 1200);

    tv::setExternalSupply(adapter(), tv::Rail::SHARED, 2700);
    EXPECT_EQ(sdk().spiUseExternalVoltage(true), StatusCode::SUCCESS);
    EXPECT_EQ(sdk().gpioGetVoltage(shared), StatusCode::SUCCESS);
    EXPECT_EQ(shared, 2700);
}

} // namespace
} // namespace tarvix_test
