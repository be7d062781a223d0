// Reset and boot mode: the adapter leaves the bus without answering; after a
// reset it comes back on its own with its settings restarted and its bench
// untouched.
#include "bench_test_support.hpp"

namespace {

class Restart : public BenchTest {
protected:
    vt::AdapterConfig config() const override {
        vt::AdapterConfig quick;
        quick.restartTime = 50ms;
        return quick;
    }
};

TEST_F(Restart, Reset_RestartsTheSettingsButKeepsWhatIsAttached) {
    ASSERT_EQ(statusOf(call(vt::codes::SET_SHARED_RAIL, concat(u16(1800), {0}))), 0);
    ASSERT_EQ(statusOf(call(vt::codes::UART_INIT, {10, 0, 0, 8, 1})), 0);
    ASSERT_EQ(statusOf(call(vt::codes::I2C_INIT, {0, 0xA0, 0x86, 0x01, 0x00, 0})), 0);
    ASSERT_EQ(statusOf(call(vt::codes::I2C_WRITE, {0, 1, 0, 0x50, 1, 0x10, 0, 0, 0, 0, 0x5A})), 0);

    ASSERT_TRUE(writeFrame(dev, requestFrame(1, vt::codes::RESET_DEVICE), 64));
    EXPECT_EQ(vt::railState(*adapter, vt::Rail::SHARED).setMillivolts, 3300);
    EXPECT_FALSE(vt::uartOpen(*adapter));
    EXPECT_FALSE(vt::i2cBusState(*adapter, 0).initialised);
    EXPECT_EQ((*vt::i2cEepromContents(*adapter, 0, 0x50))[0x10], 0x5A);
    EXPECT_TRUE(vt::gpioLevel(*adapter, 1) == vt::gpioLevel(*adapter, 0));
}

TEST_F(Restart, BootMode_StaysOffTheBusUntilReplugged) {
    ASSERT_TRUE(writeFrame(dev, requestFrame(1, vt::codes::ENTER_BOOT_MODE), 64));
    EXPECT_FALSE(adapter->plugged());
    EXPECT_FALSE(adapter->waitForPlugged(100ms));  // twice the restart time
    adapter->replug();
    EXPECT_TRUE(adapter->waitForPlugged(0ms));
    EXPECT_NE(open(*adapter), nullptr);
}

TEST_F(Restart, RegistryReset_ForgetsARestartingAdapter) {
    ASSERT_TRUE(writeFrame(dev, requestFrame(1, vt::codes::RESET_DEVICE), 64));
    vt::reset();
    EXPECT_FALSE(adapter->waitForPlugged(100ms));
    EXPECT_EQ(hid_enumerate(0, 0), nullptr);
}

}  // namespace
