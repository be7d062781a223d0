// The bench's buses end to end: I2C bus 0 (sensor at 0x48, EEPROM at 0x50), the SPI flash on
// chip select 0, the UART loopback and a GPIO interrupt.
#include <sdk_fixture.hpp>
#include <tarvix_virtual/targets.hpp>

#include <algorithm>
#include <thread>

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

TEST_F(GpioScenario, InterruptArrivesWhileABlockingCallWaits)
{
    auto interrupts = std::make_shared<Inbox<std::uint8_t>>(); // shared: the handler outlives this body
    sdk().onNotification([interrupts](const Notification& n) {
        if (const GpioInterruptNotification* gpio = n.gpio()) {
            interrupts->push(gpio->pinNumber);
        }
    });
    ASSERT_EQ(sdk().gpioConfigurePin(GpioPinNumber::GPIO_6, GpioFunctionality::DIGITAL_INTERRUPT, GpioLogicLevel::LOW),
              StatusCode::SUCCESS);
    ASSERT_EQ(sdk().gpioConfigureInterrupt(GpioPinNumber::GPIO_6, GpioTriggerType::BOTH_EDGES), StatusCode::SUCCESS);
    adapter().clearRecords();
    // The read's answer is held back; the pin changes while the call waits for it.
    adapter().setResponseDelay(300ms);
    std::thread outside([this] {
        ASSERT_TRUE(adapter().waitForRequests(1, 5s));
        tv::gpioDrive(adapter(), 6, true);
    });
    GpioLogicLevel level = GpioLogicLevel::LOW;
    EXPECT_EQ(sdk().gpioDigitalRead(GpioPinNumber::GPIO_6, level), StatusCode::SUCCESS);
    outside.join();
    EXPECT_EQ(interrupts->waitFor(1), std::vector<std::uint8_t>{6});
    EXPECT_EQ(level, GpioLogicLevel::LOW); // the answer carries the level from before
}

} // namespace
} // namespace tarvix_test
