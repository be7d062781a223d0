// The bench's buses end to end: I2C bus 0 (sensor at 0x48, EEPROM at 0x50), the SPI flash on
// chip select 0, the UART loopback and a GPIO interrupt.
#include <sdk_fixture.hpp>
#include <tarvix_virtual/targets.hpp>

#include <algorithm>
#include <atomic>

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

using SpiScenario = SyncSessionTest;

TEST_F(SpiScenario, PageProgramReadsBackAcrossSeveralReports)
{
    ASSERT_EQ(sdk().spiControllerInit(SpiBitOrder::MSB_FIRST, SpiMode::MODE_0, SpiDataWidth::BITS_8,
                                      SpiChipSelect::CS_0, SpiChipSelectPolarity::ACTIVE_LOW, 1000000),
              StatusCode::SUCCESS);
    Bytes program{0x02, 0x00, 0x03, 0x00}, read;
    for (int i = 0; i < 256; ++i) {
        program.push_back(static_cast<std::uint8_t>(i ^ 0x5A));
    }
    ASSERT_EQ(sdk().spiTransfer({0x06}, read, 1), StatusCode::SUCCESS); // write enable
    ASSERT_EQ(sdk().spiTransfer(program, read, static_cast<std::uint16_t>(program.size())), StatusCode::SUCCESS);
    ASSERT_EQ(sdk().spiTransfer({0x03, 0x00, 0x03, 0x00}, read, 4 + 256), StatusCode::SUCCESS);
    ASSERT_EQ(read.size(), 260u);
    EXPECT_TRUE(std::equal(read.begin() + 4, read.end(), program.begin() + 4));
}

using UartScenario = SyncSessionTest;

TEST_F(UartScenario, MessageLongerThanOneReportComesBackInPieces)
{
    auto chunks = std::make_shared<Inbox<Bytes>>(); // shared: the handler outlives this body
    sdk().onNotification([chunks](const Notification& n) {
        if (const UartRxNotification* rx = n.uartRx()) {
            chunks->push(Bytes(rx->data, rx->data + rx->dataLength));
        }
    });
    ASSERT_EQ(sdk().uartInit(UartBaudRate::BAUD_115200, UartHwHandshake::DISABLED, UartParity::NONE,
                             UartDataSize::BITS_8, UartStopBit::ONE),
              StatusCode::SUCCESS);
    Bytes message(200);
    for (std::size_t i = 0; i < message.size(); ++i) {
        message[i] = static_cast<std::uint8_t>(i * 7);
    }
    EXPECT_EQ(sdk().uartSendMessage(message), StatusCode::SUCCESS);
    Bytes echoed;
    for (const Bytes& chunk : chunks->waitFor(4)) { // 54 + 54 + 54 + 38 bytes on a 64-byte adapter
        echoed.insert(echoed.end(), chunk.begin(), chunk.end());
    }
    EXPECT_EQ(echoed, message);
}

using GpioScenario = SyncSessionTest;

// The pin changes inside the read, between the request and its answer: the adapter's responder
// drives it, so the interrupt is queued ahead of the answer. The reader hands frames over in
// order, so the handler must run before the read returns, and the read must still get its own
// answer (had the notification completed it, the level would be the pin number, 6).
TEST_F(GpioScenario, InterruptArrivesWhileABlockingCallWaits)
{
    auto returned = std::make_shared<std::atomic<bool>>(false);           // shared: the handler outlives this body
    auto seen = std::make_shared<Inbox<std::pair<std::uint8_t, bool>>>(); // pin, read already returned
    sdk().onNotification([seen, returned](const Notification& n) {
        if (const GpioInterruptNotification* gpio = n.gpio()) {
            seen->push({gpio->pinNumber, returned->load()});
        }
    });
    ASSERT_EQ(sdk().gpioConfigurePin(GpioPinNumber::GPIO_6, GpioFunctionality::DIGITAL_INTERRUPT, GpioLogicLevel::LOW),
              StatusCode::SUCCESS);
    ASSERT_EQ(sdk().gpioConfigureInterrupt(GpioPinNumber::GPIO_6, GpioTriggerType::BOTH_EDGES), StatusCode::SUCCESS);
    adapter().setResponder(0x1403, [this](const Bytes& request) {
        tv::gpioDrive(adapter(), 6, true);
        return std::vector<Bytes>{tv::responseFrame(tv::transactionIdOf(request), 0x1403, 0, {0})};
    });
    GpioLogicLevel level = GpioLogicLevel::HIGH;
    EXPECT_EQ(sdk().gpioDigitalRead(GpioPinNumber::GPIO_6, level), StatusCode::SUCCESS);
    returned->store(true);
    EXPECT_EQ(level, GpioLogicLevel::LOW);
    const std::vector<std::pair<std::uint8_t, bool>> interrupts = seen->waitFor(1);
    ASSERT_EQ(interrupts.size(), 1u);
    EXPECT_EQ(interrupts[0].first, 6);
    EXPECT_FALSE(interrupts[0].second) << "the interrupt reached the handler only after the read returned";
}

} // namespace
} // namespace tarvix_test
