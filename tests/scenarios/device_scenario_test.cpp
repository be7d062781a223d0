// Supply rails end to end.
#include <sdk_fixture.hpp>
#include <tarvix_virtual/targets.hpp>

namespace tarvix_test {
namespace {

using DeviceScenario = SyncSessionTest;

TEST_F(DeviceScenario, RailsAreSetAndReadBackThroughEveryNameAndRefusedOutsideTheirRange)
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
