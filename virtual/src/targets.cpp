// The bench's control API: every change goes through the device core's lock,
// so it is ordered with the commands the firmware is handling.
#include "tarvix_virtual/targets.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "registry.hpp"

namespace tarvix_virtual {

namespace {

using detail::FirmwareState;

template <class F>
decltype(auto) withFirmware(const VirtualAdapter& adapter, F&& f)
{
    return adapter.impl().core.withFirmware(std::forward<F>(f));
}

detail::Rail& railOf(FirmwareState& state, Rail rail)
{
    return rail == Rail::SHARED ? state.rails.shared : state.rails.i3c;
}

void checkPin(std::uint8_t pin)
{
    if (pin >= detail::GpioState::kPins) throw std::invalid_argument("GPIO pin must be 0..7");
}

detail::I2cBus& busOf(FirmwareState& state, std::uint8_t bus, std::uint8_t address)
{
    if (bus >= detail::I2cState::kBuses) throw std::invalid_argument("I2C bus must be 0 or 1");
    if (address > 0x7F) throw std::invalid_argument("I2C address must be 7 bits");
    return state.i2c.buses[bus];
}

std::optional<detail::SpiFlash>& flashOf(FirmwareState& state, std::uint8_t chipSelect)
{
    if (chipSelect >= detail::SpiState::kChipSelects) throw std::invalid_argument("SPI chip select must be 0..3");
    return state.spi.flashes[chipSelect];
}

// The I2C part of type Part at @p address, or null when none (or another kind) is there.
template <class Part>
Part* partAt(FirmwareState& state, std::uint8_t bus, std::uint8_t address)
{
    auto& targets = busOf(state, bus, address).targets;
    const auto it = targets.find(address);
    return it == targets.end() ? nullptr : std::get_if<Part>(&it->second);
}

// Applies @p change to the pins; an input whose level it changes raises its interrupt as the
// firmware would.
template <class F>
void changePins(const VirtualAdapter& adapter, F change)
{
    adapter.impl().core.withFirmwareRaising([&](FirmwareState& state, std::vector<Bytes>& raised) {
        const auto before = state.gpio.levels();
        change(state.gpio);
        for (const std::uint8_t pin : state.gpio.fired(before))
            raised.push_back(notificationFrame(codes::GPIO_INTERRUPT, 0, {pin}));
    });
}

} // namespace

RailState railState(const VirtualAdapter& adapter, Rail rail)
{
    return withFirmware(adapter, [&](FirmwareState& state) {
        const detail::Rail& r = railOf(state, rail);
        return RailState{r.millivolts, r.external, r.externalMillivolts, r.measured()};
    });
}

void setExternalSupply(const VirtualAdapter& adapter, Rail rail, std::uint16_t millivolts)
{
    withFirmware(adapter, [&](FirmwareState& state) { railOf(state, rail).externalMillivolts = millivolts; });
}

void gpioWire(const VirtualAdapter& adapter, std::uint8_t a, std::uint8_t b)
{
    checkPin(a);
    checkPin(b);
    changePins(adapter, [&](detail::GpioState& gpio) { gpio.wire(a, b); });
}

void gpioUnwire(const VirtualAdapter& adapter, std::uint8_t pin)
{
    checkPin(pin);
    changePins(adapter, [&](detail::GpioState& gpio) { gpio.unwire(pin); });
}

void gpioDrive(const VirtualAdapter& adapter, std::uint8_t pin, bool high)
{
    checkPin(pin);
    changePins(adapter, [&](detail::GpioState& gpio) { gpio.pins[pin].driven = high; });
}

bool gpioLevel(const VirtualAdapter& adapter, std::uint8_t pin)
{
    checkPin(pin);
    return withFirmware(adapter, [&](FirmwareState& state) { return state.gpio.levels()[pin]; });
}

I2cBusState i2cBusState(const VirtualAdapter& adapter, std::uint8_t bus)
{
    return withFirmware(adapter, [&](FirmwareState& state) {
        const detail::I2cBus& b = busOf(state, bus, 0);
        return I2cBusState{b.initialised, b.frequency, b.option, b.pullUp};
    });
}

void i2cAttachEeprom(const VirtualAdapter& adapter, std::uint8_t bus, std::uint8_t address)
{
    withFirmware(adapter, [&](FirmwareState& state) {
        busOf(state, bus, address).targets.insert_or_assign(address, detail::I2cEeprom{});
    });
}

void i2cAttachTemperatureSensor(const VirtualAdapter& adapter, std::uint8_t bus, std::uint8_t address)
{
    withFirmware(adapter, [&](FirmwareState& state) {
        busOf(state, bus, address).targets.insert_or_assign(address, detail::I2cTemperatureSensor{});
    });
}

void i2cDetach(const VirtualAdapter& adapter, std::uint8_t bus, std::uint8_t address)
{
    withFirmware(adapter, [&](FirmwareState& state) { busOf(state, bus, address).targets.erase(address); });
}

std::optional<Bytes> i2cEepromContents(const VirtualAdapter& adapter, std::uint8_t bus, std::uint8_t address)
{
    return withFirmware(adapter, [&](FirmwareState& state) -> std::optional<Bytes> {
        const auto* eeprom = partAt<detail::I2cEeprom>(state, bus, address);
        if (!eeprom) return std::nullopt;
        return Bytes(eeprom->memory.begin(), eeprom->memory.end());
    });
}

bool i2cSetTemperature(const VirtualAdapter& adapter, std::uint8_t bus, std::uint8_t address, std::int32_t milliCelsius)
{
    // 12 bits of 1/16 °C, left-justified in the 16-bit register.
    const std::int32_t steps =
        std::clamp<std::int32_t>(milliCelsius / 1000 * 16 + milliCelsius % 1000 * 16 / 1000, -2048, 2047);
    return withFirmware(adapter, [&](FirmwareState& state) {
        auto* sensor = partAt<detail::I2cTemperatureSensor>(state, bus, address);
        if (sensor) sensor->registers[0] = static_cast<std::uint16_t>(steps * 16);
        return sensor != nullptr;
    });
}

void spiAttachFlash(const VirtualAdapter& adapter, std::uint8_t chipSelect)
{
    withFirmware(adapter, [&](FirmwareState& state) { flashOf(state, chipSelect).emplace(); });
}

void spiDetach(const VirtualAdapter& adapter, std::uint8_t chipSelect)
{
    withFirmware(adapter, [&](FirmwareState& state) { flashOf(state, chipSelect).reset(); });
}

std::optional<Bytes> spiFlashContents(const VirtualAdapter& adapter, std::uint8_t chipSelect)
{
    return withFirmware(adapter, [&](FirmwareState& state) -> std::optional<Bytes> {
        const auto& flash = flashOf(state, chipSelect);
        if (!flash) return std::nullopt;
        return flash->memory;
    });
}

void uartSetLoopback(const VirtualAdapter& adapter, bool on)
{
    withFirmware(adapter, [&](FirmwareState& state) { state.uart.loopback = on; });
}

bool uartReceive(const VirtualAdapter& adapter, const Bytes& bytes)
{
    bool open = false;
    adapter.impl().core.withFirmwareRaising([&](FirmwareState& state, std::vector<Bytes>& raised) {
        open = state.uart.open;
        for (const Bytes& payload : state.uart.received(bytes))
            raised.push_back(notificationFrame(codes::UART_RX, 0, payload));
    });
    return open;
}

bool uartOpen(const VirtualAdapter& adapter)
{
    return withFirmware(adapter, [](FirmwareState& state) { return state.uart.open; });
}

} // namespace tarvix_virtual
