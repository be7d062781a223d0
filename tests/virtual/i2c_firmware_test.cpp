// I2C: port settings, the bench's EEPROM and sensor, NACKs and the scan.
#include "virtual_test_support.hpp"

namespace {

// Transfer head: bus, u16 count, address, register length, u32 register (folded MSB first, sent
// little-endian), flag.
vt::Bytes head(std::uint8_t bus, std::uint16_t count, std::uint8_t address, const vt::Bytes& reg)
{
    vt::Bytes bytes = concat(concat({bus}, u16(count)), {address, static_cast<std::uint8_t>(reg.size())});
    for (std::size_t i = 0; i < 4; ++i) bytes.push_back(i < reg.size() ? reg[reg.size() - 1 - i] : 0);
    return concat(bytes, {0});
}

class I2c : public BenchTest {
protected:
    void SetUp() override
    {
        BenchTest::SetUp();
        ASSERT_EQ(status(vt::codes::I2C_INIT, {0, 0xA0, 0x86, 0x01, 0x00, 0}), 0); // 100 kHz
    }
    std::uint16_t write(std::uint8_t address, vt::Bytes reg, const vt::Bytes& data, std::uint8_t bus = 0)
    {
        const auto count = static_cast<std::uint16_t>(data.size());
        return status(vt::codes::I2C_WRITE, concat(head(bus, count, address, reg), data));
    }
    vt::Bytes read(std::uint8_t address, vt::Bytes reg, std::uint16_t length, std::uint8_t bus = 0)
    {
        return call(vt::codes::I2C_READ, head(bus, length, address, reg));
    }
    // The data bytes of a read's answer.
    static vt::Bytes dataOf(const vt::Bytes& answer)
    {
        return answer.size() < 9 ? vt::Bytes{} : vt::Bytes(answer.begin() + 9, answer.end());
    }
};

TEST_F(I2c, EepromSequentialRead_WrapsAt256AndGoesOnFromWhereItStoppedUntilDetached)
{
    EXPECT_EQ(write(0x50, {0xF8}, {0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7}), 0);
    EXPECT_EQ(write(0x50, {0x00}, {0xB0}), 0);
    EXPECT_EQ(dataOf(read(0x50, {0xFE}, 3)), (vt::Bytes{0xA6, 0xA7, 0xB0}));
    // No register address: a current-address read continues.
    EXPECT_EQ(dataOf(read(0x50, {}, 1)), vt::Bytes{0xFF});
    EXPECT_EQ(dataOf(read(0x50, {0x00}, 258)).size(), 258u);
    vt::i2cDetach(*adapter, 0, 0x50);
    EXPECT_EQ(statusOf(read(0x50, {}, 1)), code(vt::DeviceStatus::I2C_NACK));
}

TEST_F(I2c, Sensor_AnswersItsRegistersMostSignificantByteFirst)
{
    ASSERT_TRUE(vt::i2cSetTemperature(*adapter, 0, 0x48, -40000));
    EXPECT_EQ(dataOf(read(0x48, {0x00}, 2)), (vt::Bytes{0xD8, 0x00}));
    EXPECT_EQ(write(0x48, {0x03}, {0x28, 0x00}), 0); // high limit 40 °C
    EXPECT_EQ(dataOf(read(0x48, {0x03}, 4)), (vt::Bytes{0x28, 0x00, 0x28, 0x00}));
    EXPECT_EQ(write(0x48, {0x00}, {0x00, 0x00}), 0); // temperature is read-only
    EXPECT_EQ(dataOf(read(0x48, {0x00}, 2)), (vt::Bytes{0xD8, 0x00}));
    EXPECT_FALSE(vt::i2cSetTemperature(*adapter, 0, 0x50, 0));
}

TEST_F(I2c, PortSettings_AreCheckedAndKept)
{
    const auto notInitialised = code(vt::DeviceStatus::I2C_BUS_NOT_INITIALISED);
    const auto unsupported = code(vt::DeviceStatus::UNSUPPORTED_SETTING);
    EXPECT_EQ(write(0x50, {0}, {1}, 1), notInitialised);
    EXPECT_EQ(status(vt::codes::I2C_SCAN, {1, 0}), notInitialised);
    EXPECT_EQ(status(vt::codes::I2C_SET_PARAMETERS, {1, 0x80, 0x1A, 0x06, 0x00, 0}), notInitialised);
    EXPECT_EQ(status(vt::codes::I2C_INIT, {2, 0x80, 0x1A, 0x06, 0x00, 0}), code(vt::DeviceStatus::INVALID_PARAMETER));
    EXPECT_EQ(status(vt::codes::I2C_SET_PARAMETERS, {0, 0x41, 0x42, 0x0F, 0x00, 0}), unsupported); // 1 MHz + 1
    EXPECT_EQ(status(vt::codes::I2C_SET_PARAMETERS, {0, 0x40, 0x42, 0x0F, 0x00, 9}), 0);
    EXPECT_EQ(status(vt::codes::I2C_SET_PULL_UPS, {0, 4}), unsupported);
    EXPECT_EQ(status(vt::codes::I2C_SET_PULL_UPS, {0, 2}), 0);
    const vt::I2cBusState bus = vt::i2cBusState(*adapter, 0);
    EXPECT_TRUE(bus.initialised);
    EXPECT_EQ(bus.frequency, 1000000u);
    EXPECT_EQ(bus.option, 9);
    EXPECT_EQ(bus.pullUp, 2);
}

} // namespace
