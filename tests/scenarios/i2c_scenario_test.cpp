// The bench's I2C bus 0 (sensor at 0x48, EEPROM at 0x50), end to end.
#include <sdk_fixture.hpp>
#include <tarvix_virtual/targets.hpp>

namespace tarvix_test {
namespace {

class I2cScenario : public SyncSessionTest {
protected:
    void SetUp() override
    {
        SyncSessionTest::SetUp();
        ASSERT_EQ(sdk().i2cControllerInit(0, 400000, 0), StatusCode::SUCCESS);
    }
};

TEST_F(I2cScenario, EepromWriteReadsBackAndWrapsAtThePageEnd)
{
    EXPECT_EQ(sdk().i2cWrite(0, 0x50, {0x20}, {'t', 'a', 'r', 'v'}, false), StatusCode::SUCCESS);
    Bytes data;
    EXPECT_EQ(sdk().i2cRead(0, 0x50, {0x20}, 4, data, false), StatusCode::SUCCESS);
    EXPECT_EQ(data, (Bytes{'t', 'a', 'r', 'v'}));

    // Six bytes from 0x3D: three fill the page up to 0x3F, three wrap to 0x38.
    EXPECT_EQ(sdk().i2cWrite(0, 0x50, {0x3D}, {1, 2, 3, 4, 5, 6}, false), StatusCode::SUCCESS);
    EXPECT_EQ(sdk().i2cRead(0, 0x50, {0x38}, 9, data, false), StatusCode::SUCCESS);
    EXPECT_EQ(data, (Bytes{4, 5, 6, 0xFF, 0xFF, 1, 2, 3, 0xFF}));
}

TEST_F(I2cScenario, ScanFindsTheAttachedTargets)
{
    Bytes addresses;
    std::uint8_t one = 0, two = 0;
    EXPECT_EQ(sdk().i2cScanBus(addresses, &one, &two, 0, false), StatusCode::SUCCESS);
    EXPECT_EQ(one, 2);
    EXPECT_EQ(two, 0);
    EXPECT_EQ(addresses, (Bytes{0x48, 0x50}));
    ASSERT_EQ(sdk().i2cControllerInit(1, 100000, 0), StatusCode::SUCCESS);
    EXPECT_EQ(sdk().i2cScanBus(addresses, &one, &two, 1, false), StatusCode::SUCCESS);
    EXPECT_TRUE(addresses.empty());
}

TEST_F(I2cScenario, AbsentAddressIsNacked)
{
    const auto nack = StatusCode(tv::DeviceStatus::I2C_NACK);
    Bytes data{9};
    EXPECT_EQ(sdk().i2cRead(0, 0x51, {}, 2, data, false), nack);
    EXPECT_TRUE(data.empty());
    EXPECT_EQ(sdk().i2cWrite(0, 0x51, {0}, {1}, false), nack);
}

TEST_F(I2cScenario, SensorReadsTheTemperatureTheBenchSets)
{
    ASSERT_TRUE(tv::i2cSetTemperature(adapter(), 0, 0x48, 31250)); // 31.25 °C = 500 steps of 1/16
    Bytes raw;
    EXPECT_EQ(sdk().i2cRead(0, 0x48, {0x00}, 2, raw, false), StatusCode::SUCCESS);
    ASSERT_EQ(raw.size(), 2u);
    EXPECT_EQ((raw[0] << 8 | raw[1]) >> 4, 500);
}

} // namespace
} // namespace tarvix_test
