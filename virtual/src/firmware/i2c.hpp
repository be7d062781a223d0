// State of the two I2C controller ports and of the targets on their buses.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <variant>

namespace tarvix_virtual::detail {

// A 24C02: 256 bytes behind an 8-bit word address, written in 8-byte pages.
struct I2cEeprom {
    static constexpr std::size_t kSize = 256;
    static constexpr std::size_t kPage = 8;

    std::array<std::uint8_t, kSize> memory; // erased: all 0xFF
    std::uint8_t pointer = 0;

    I2cEeprom() { memory.fill(0xFF); }
    // A write transaction: the word address, then bytes to store. Bytes past
    // the end of the page wrap to its start, as the part's page buffer does.
    void write(const std::uint8_t* data, std::size_t size);
    // A read transaction: sequential from the word address, wrapping at 256.
    void read(std::uint8_t* out, std::size_t size);
};

// A TMP102-like temperature sensor: a pointer byte selects one of four
// 16-bit registers (temperature, configuration, low and high limits), sent
// most significant byte first. Temperature is read-only, in 1/16 °C steps
// left-justified by four bits.
struct I2cTemperatureSensor {
    std::array<std::uint16_t, 4> registers{0x1900, 0x60A0, 0x4B00, 0x5000}; // 25 °C, 75 °C, 80 °C
    std::uint8_t pointer = 0;
    bool lowByteNext = false;

    void write(const std::uint8_t* data, std::size_t size);
    void read(std::uint8_t* out, std::size_t size);
};

using I2cTarget = std::variant<I2cEeprom, I2cTemperatureSensor>;

struct I2cBus {
    bool initialised = false;
    std::uint32_t frequency = 0;               // Hz
    std::uint8_t option = 0;                   // third byte of init, kept as sent
    std::uint8_t pullUp = 0;                   // pull-up selection, 0 = none
    std::map<std::uint8_t, I2cTarget> targets; // by 7-bit address
};

struct I2cState {
    static constexpr std::size_t kBuses = 2;
    static constexpr std::uint32_t kMinFrequency = 1000;
    static constexpr std::uint32_t kMaxFrequency = 1000000;
    static constexpr std::uint8_t kMaxPullUp = 3;

    std::array<I2cBus, kBuses> buses;

    // Power-on: both ports uninitialised, pull-ups off; targets stay.
    void restart();
};

} // namespace tarvix_virtual::detail
