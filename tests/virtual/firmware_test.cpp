// The firmware model's own answers: requests it refuses for a missing field,
// commands it does not model, and reset: the adapter leaves the bus without
// answering and comes back with its settings restarted, its bench untouched.
#include "virtual_test_support.hpp"

namespace {

class Firmware : public BenchTest {
protected:
    vt::AdapterConfig config() const override
    {
        vt::AdapterConfig quick;
        quick.restartTime = 50ms;
        return quick;
    }
};

// Without the bench nothing answers back on its own (no UART loopback, no
// jumper), so every call reads its own answer.
class RequestFields : public BenchTest {
protected:
    vt::AdapterConfig config() const override
    {
        vt::AdapterConfig bare;
        bare.bench = false;
        return bare;
    }
};

// One request per modelled command that carries every field it reads, in an
// order where each finds the state it needs. Cut short by any number of
// bytes it lacks a field and is refused as an invalid parameter; whole it is
// not (it may still fail for another reason, e.g. a NACK from an empty bus).
TEST_F(RequestFields, EveryRequestCutShort_IsRefusedAsAnInvalidParameter)
{
    const vt::Bytes i2cHead{0, 1, 0, 0x50, 1, 0x10, 0, 0, 0, 0}; // bus 0, 1 byte, 0x50, register 0x10
    const vt::Bytes spiSettings{0, 0, 8, 0, 0, 0x40, 0x42, 0x0F, 0x00};
    const vt::Bytes uartSettings{10, 0, 0, 8, 1};
    const std::pair<std::uint16_t, vt::Bytes> requests[] = {
        {vt::codes::GET_USB_STRING, {1}},
        {vt::codes::SET_SHARED_RAIL, u16(1800)},
        {vt::codes::SET_I3C_RAIL, u16(1200)},
        {vt::codes::SHARED_RAIL_EXTERNAL, {0}},
        {vt::codes::I3C_RAIL_EXTERNAL, {0}},
        {vt::codes::GPIO_CONFIGURE_PIN, {3, 2, 0}}, // interrupt
        {vt::codes::GPIO_ARM_INTERRUPT, {3, 3}},
        {vt::codes::GPIO_DISARM_INTERRUPT, {3}},
        {vt::codes::GPIO_CONFIGURE_PIN, {5, 1, 0}}, // output
        {vt::codes::GPIO_WRITE, {5, 1}},
        {vt::codes::GPIO_READ, {5}},
        {vt::codes::I2C_INIT, {0, 0xA0, 0x86, 0x01, 0x00, 0}},
        {vt::codes::I2C_SET_PARAMETERS, {0, 0xA0, 0x86, 0x01, 0x00, 0}},
        {vt::codes::I2C_SET_PULL_UPS, {0, 1}},
        {vt::codes::I2C_WRITE, concat(i2cHead, {0x5A})},
        {vt::codes::I2C_READ, i2cHead},
        {vt::codes::I2C_SCAN, {0}},
        {vt::codes::SPI_INIT, spiSettings},
        {vt::codes::SPI_SET_PARAMETERS, spiSettings},
        {vt::codes::SPI_TRANSFER, {1, 0, 1, 0, 0x9F}},
        {vt::codes::UART_INIT, uartSettings},
        {vt::codes::UART_SET_PARAMETERS, uartSettings},
        {vt::codes::UART_SEND, {1, 0, 'a'}},
        {vt::codes::I3C_INIT, {1, 2, 3, 4}},
        {vt::codes::I3C_SET_PARAMETERS, {1, 2, 3, 4}},
        {vt::codes::I3C_INIT_BUS, concat({1}, vt::Bytes(16, 0x08))},
        {vt::codes::I3C_SET_TARGET_CONFIGURATION, {0x08, 0x01}},
        {vt::codes::I3C_CCC, {0x7E, 0x00, 0, 0x07, 0}},                          // ENTDAA
        {vt::codes::I3C_PRIVATE_TRANSFER, {0x08, 0x01, 0, 1, 0, 0, 0, 0, 1, 0}}, // SDR read
        {vt::codes::I3C_PRIVATE_TRANSFER, {0x08, 0x02, 0x10, 0, 1, 0, 0xAA}},    // HDR-DDR write
        {vt::codes::I3C_BUS_PATTERN, {1}},
    };
    const auto invalid = code(vt::DeviceStatus::INVALID_PARAMETER);
    for (const auto& [command, payload] : requests) {
        SCOPED_TRACE(command);
        for (std::size_t size = 0; size < payload.size(); ++size) {
            const vt::Bytes cut(payload.begin(), payload.begin() + static_cast<std::ptrdiff_t>(size));
            EXPECT_EQ(status(command, cut), invalid) << size << " bytes";
        }
        EXPECT_NE(status(command, payload), invalid);
    }
}

// The five strings themselves reach the SDK's device-info tests; here the indexes around them.
TEST_F(Firmware, UnknownStringIndexesAreInvalidUnmodelledCommandsSucceedAndFramesWithoutCodeGetNoAnswer)
{
    const vt::Bytes invalid = vt::responseFrame(3, vt::codes::GET_USB_STRING, 0x0001, {1});
    for (const vt::Bytes& payload : {vt::Bytes{0}, vt::Bytes{6}}) {
        EXPECT_EQ(roundTrip(dev, requestFrame(3, vt::codes::GET_USB_STRING, payload)), invalid);
    }
    EXPECT_EQ(roundTrip(dev, requestFrame(0xBEEF, 0x2001, {1, 2, 3})), vt::responseFrame(0xBEEF, 0x2001, 0));
    EXPECT_EQ(roundTrip(dev, requestFrame(7, 0xFFFF)), vt::responseFrame(7, 0xFFFF, 0));
    ASSERT_TRUE(writeFrame(dev, vt::Bytes{1, 0, 7}, 64));
    EXPECT_TRUE(nothingPending());
    EXPECT_EQ(adapter->requests().back(), vt::Bytes({1, 0, 7}));
}

TEST_F(Firmware, Reset_RestartsTheSettingsButKeepsWhatIsAttached)
{
    ASSERT_EQ(status(vt::codes::SET_SHARED_RAIL, concat(u16(1800), {0})), 0);
    ASSERT_EQ(status(vt::codes::I2C_INIT, {0, 0xA0, 0x86, 0x01, 0x00, 0}), 0);
    ASSERT_EQ(status(vt::codes::I2C_WRITE, {0, 1, 0, 0x50, 1, 0x10, 0, 0, 0, 0, 0x5A}), 0);

    const auto sent = std::chrono::steady_clock::now();
    ASSERT_TRUE(writeFrame(dev, requestFrame(1, vt::codes::RESET_DEVICE), 64));
    EXPECT_FALSE(adapter->plugged());
    EXPECT_EQ(vt::railState(*adapter, vt::Rail::SHARED).setMillivolts, 3300);
    EXPECT_FALSE(vt::i2cBusState(*adapter, 0).initialised);
    EXPECT_EQ((*vt::i2cEepromContents(*adapter, 0, 0x50))[0x10], 0x5A);
    ASSERT_TRUE(adapter->waitForPlugged(5s));
    EXPECT_GE(std::chrono::steady_clock::now() - sent, 50ms); // the restart time
}

TEST_F(Firmware, BootMode_StaysOffTheBusUntilReplugged)
{
    ASSERT_TRUE(writeFrame(dev, requestFrame(1, vt::codes::ENTER_BOOT_MODE), 64));
    EXPECT_FALSE(adapter->plugged());
    EXPECT_FALSE(adapter->waitForPlugged(100ms)); // twice the restart time
    adapter->replug();
    EXPECT_TRUE(adapter->waitForPlugged(0ms));
    EXPECT_NE(open(*adapter), nullptr);
}

TEST_F(Firmware, RegistryReset_ForgetsAdaptersForGoodEvenWhileRestartingAndZeroesTheCounters)
{
    auto idle = vt::attach();
    hid_init();
    hid_exit();
    ASSERT_TRUE(writeFrame(dev, requestFrame(1, vt::codes::RESET_DEVICE), 64));
    vt::reset();
    EXPECT_EQ(vt::counters().initCalls + vt::counters().exitCalls, 0u);
    EXPECT_FALSE(adapter->waitForPlugged(100ms)); // twice the restart time
    EXPECT_EQ(hid_enumerate(0, 0), nullptr);
    idle.replug();
    EXPECT_FALSE(idle.plugged());
    vt::AdapterConfig same;
    same.path = idle.path();
    EXPECT_NO_THROW(vt::attach(same)); // the path is free again
}

} // namespace
