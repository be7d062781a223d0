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

void raiseInterrupts(const detail::GpioState& gpio, const std::array<bool, detail::GpioState::kPins>& before,
                     std::vector<Bytes>& raised)
{
    for (const std::uint8_t pin : gpio.fired(before))
        raised.push_back(notificationFrame(codes::GPIO_INTERRUPT, 0, {pin}));
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
    adapter.impl().core.withFirmwareRaising([&](FirmwareState& state, std::vector<Bytes>& raised) {
        const auto before = state.gpio.levels();
        state.gpio.wire(a, b);
        raiseInterrupts(state.gpio, before, raised);
    });
}

void gpioUnwire(const VirtualAdapter& adapter, std::uint8_t pin)
{
    checkPin(pin);
    adapter.impl().core.withFirmwareRaising([&](FirmwareState& state, std::vector<Bytes>& raised) {
        const auto before = state.gpio.levels();
        state.gpio.unwire(pin);
        raiseInterrupts(state.gpio, before, raised);
    });
}

void gpioDrive(const VirtualAdapter& adapter, std::uint8_t pin, bool high)
{
    checkPin(pin);
    adapter.impl().core.withFirmwareRaising([&](FirmwareState& state, std::vector<Bytes>& raised) {
        const auto before = state.gpio.levels();
        state.gpio.pins[pin].driven = high;
        raiseInterrupts(state.gpio, before, raised);
    });
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
        auto& targets = busOf(state, bus, address).targets;
        const auto it = targets.find(address);
        if (it == targets.end()) return std::nullopt;
        const auto* eeprom = std::get_if<detail::I2cEeprom>(&it->second);
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
        auto& targets = busOf(state, bus, address).targets;
        const auto it = targets.find(address);
        auto* sensor = it == targets.end() ? nullptr : std::get_if<detail::I2cTemperatureSensor>(&it->second);
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
