// A short tour of the adapter's buses: supply rail, GPIO with an interrupt, an I2C EEPROM and
// temperature sensor, a SPI flash and the UART. It expects a bench wired like this:
//   GPIO 0 -> GPIO 1, I2C bus 0: EEPROM at 0x50 and temperature sensor at 0x48,
//   SPI chip select 0: a NOR flash, UART TX looped back to RX.
//
//   tour [SELECTOR]    SELECTOR: serial:SERIAL, path:PATH or an index from `list`
#include "example.hpp"

#include <tarvixsdk/tarvixsdk.hpp>

#include <chrono>
#include <cstdio>
#include <string>

// What the notification handler saw, handed from the reader thread to main.
struct Events {
    int interrupts = 0;
    std::string uart;
};

int main(int argc, char** argv)
{
    example::Handover<Events> events;
    TarvixSDK sdk(example::kTimeoutMs, example::options());
    sdk.onNotification([&events](const Notification& n) {
        events.update([&n](Events& seen) {
            if (n.gpio() != nullptr) {
                ++seen.interrupts;
            } else if (const UartRxNotification* rx = n.uartRx()) {
                seen.uart.append(reinterpret_cast<const char*>(rx->data), rx->dataLength);
            }
        });
    });
    if (!example::connect(sdk, example::selector(argc, argv, "tour"))) {
        return 1;
    }

    // Supply rail shared by I2C, SPI, UART and GPIO.
    std::uint16_t millivolts = 0;
    if (!example::succeeded("set rail", sdk.i2cSetBusVoltage(3300, false)) ||
        !example::succeeded("read rail", sdk.i2cGetBusVoltage(millivolts))) {
        return 1;
    }
    std::printf("rail:        %u mV\n", static_cast<unsigned>(millivolts));

    // GPIO: drive pin 0, read it on pin 1, and count the rising-edge interrupt.
    GpioLogicLevel level = GpioLogicLevel::LOW;
    if (!example::succeeded(
            "configure GPIO 0",
            sdk.gpioConfigurePin(GpioPinNumber::GPIO_0, GpioFunctionality::DIGITAL_OUTPUT, GpioLogicLevel::LOW)) ||
        !example::succeeded(
            "configure GPIO 1",
            sdk.gpioConfigurePin(GpioPinNumber::GPIO_1, GpioFunctionality::DIGITAL_INTERRUPT, GpioLogicLevel::LOW)) ||
        !example::succeeded("arm GPIO 1",
                            sdk.gpioConfigureInterrupt(GpioPinNumber::GPIO_1, GpioTriggerType::RISING_EDGE)) ||
        !example::succeeded("write GPIO 0", sdk.gpioDigitalWrite(GpioPinNumber::GPIO_0, GpioLogicLevel::HIGH)) ||
        !example::succeeded("read GPIO 1", sdk.gpioDigitalRead(GpioPinNumber::GPIO_1, level))) {
        return 1;
    }
    Events seen = events.waitFor(std::chrono::seconds(1), [](const Events& now) { return now.interrupts > 0; });
    std::printf("gpio:        GPIO 1 reads %s, %d interrupt(s)\n", level == GpioLogicLevel::HIGH ? "high" : "low",
                seen.interrupts);

    // I2C: store a word in the EEPROM, read it back, then read the temperature.
    std::vector<std::uint8_t> data;
    std::vector<std::uint8_t> addresses;
    std::uint8_t oneByte = 0;
    std::uint8_t twoByte = 0;
    if (!example::succeeded("I2C init", sdk.i2cControllerInit(0, 400000, 0)) ||
        !example::succeeded("I2C scan", sdk.i2cScanBus(addresses, &oneByte, &twoByte, 0, false))) {
        return 1;
    }
    std::printf("i2c scan:   ");
    for (const std::uint8_t address : addresses) {
        std::printf(" 0x%02X", address);
    }
    std::printf("\n");
    if (!example::succeeded("EEPROM write", sdk.i2cWrite(0, 0x50, {0x00}, {'t', 'o', 'u', 'r'}, false)) ||
        !example::succeeded("EEPROM read", sdk.i2cRead(0, 0x50, {0x00}, 4, data, false))) {
        return 1;
    }
    std::printf("eeprom:      \"%s\"\n", std::string(data.begin(), data.end()).c_str());
    if (!example::succeeded("sensor read", sdk.i2cRead(0, 0x48, {0x00}, 2, data, false)) || data.size() < 2) {
        return 1;
    }
    const int sixteenths = static_cast<std::int16_t>(data[0] << 8 | data[1]) / 16;
    std::printf("temperature: %.2f C\n", sixteenths / 16.0);

    // SPI: the flash's JEDEC ID.
    if (!example::succeeded("SPI init",
                            sdk.spiControllerInit(SpiBitOrder::MSB_FIRST, SpiMode::MODE_0, SpiDataWidth::BITS_8,
                                                  SpiChipSelect::CS_0, SpiChipSelectPolarity::ACTIVE_LOW, 1000000)) ||
        !example::succeeded("JEDEC ID", sdk.spiTransfer({0x9F}, data, 4)) || data.size() < 4) {
        return 1;
    }
    std::printf("spi flash:   JEDEC ID %02X %02X %02X\n", data[1], data[2], data[3]);

    // UART: what is sent comes back over the loopback.
    const std::string greeting = "hello, bench";
    if (!example::succeeded("UART init", sdk.uartInit(UartBaudRate::BAUD_115200, UartHwHandshake::DISABLED,
                                                      UartParity::NONE, UartDataSize::BITS_8, UartStopBit::ONE)) ||
        !example::succeeded("UART send",
                            sdk.uartSendMessage(std::vector<std::uint8_t>(greeting.begin(), greeting.end())))) {
        return 1;
    }
    seen = events.waitFor(std::chrono::seconds(1),
                          [&greeting](const Events& now) { return now.uart.size() >= greeting.size(); });
    std::printf("uart:        \"%s\"\n", seen.uart.c_str());
    sdk.disconnect();
    return 0;
}
