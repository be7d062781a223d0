// GPIO: pin functions, digital write and read, and interrupts raised by the
// level changes a write (or the bench) makes on a pin.
#include "firmware/firmware.hpp"
#include "tarvix_virtual/virtual_adapter.hpp"

namespace tarvix_virtual::detail {

std::array<bool, GpioState::kPins> GpioState::levels() const
{
    std::array<bool, kPins> result{};
    for (std::size_t i = 0; i < kPins; ++i) {
        const GpioPin& pin = pins[i];
        if (pin.function == PinFunction::OUTPUT) {
            result[i] = pin.output;
        } else if (wiredTo[i] && pins[*wiredTo[i]].function == PinFunction::OUTPUT) {
            result[i] = pins[*wiredTo[i]].output;
        } else {
            result[i] = pin.driven;
        }
    }
    return result;
}

std::vector<std::uint8_t> GpioState::fired(const std::array<bool, kPins>& before) const
{
    const std::array<bool, kPins> now = levels();
    std::vector<std::uint8_t> result;
    for (std::size_t i = 0; i < kPins; ++i) {
        if (pins[i].function != PinFunction::INTERRUPT || before[i] == now[i]) continue;
        const Trigger wanted = now[i] ? Trigger::RISING : Trigger::FALLING;
        if (pins[i].trigger == wanted || pins[i].trigger == Trigger::BOTH)
            result.push_back(static_cast<std::uint8_t>(i));
    }
    return result;
}

void GpioState::wire(std::uint8_t a, std::uint8_t b)
{
    unwire(a);
    unwire(b);
    if (a == b) return;
    wiredTo[a] = b;
    wiredTo[b] = a;
}

void GpioState::unwire(std::uint8_t pin)
{
    if (const auto other = wiredTo[pin]) wiredTo[*other].reset();
    wiredTo[pin].reset();
}

void GpioState::restart()
{
    for (GpioPin& pin : pins) {
        pin.function = PinFunction::INPUT;
        pin.output = false;
        pin.trigger = Trigger::NONE;
    }
}

namespace {

// Payload offsets. Every GPIO command starts with the pin number.
constexpr std::size_t kPin = 0;
constexpr std::size_t kFunction = 1;     // configure
constexpr std::size_t kInitialLevel = 2; // configure: level an output starts at
constexpr std::size_t kLevel = 1;        // write
constexpr std::size_t kTrigger = 1;      // arm

// The adapter has pins 0..7.
std::optional<std::uint8_t> pinOf(const Request& request, Reply& reply)
{
    const auto pin = request.u8(kPin);
    if (!pin || *pin >= GpioState::kPins) {
        reply.setStatus(DeviceStatus::INVALID_PARAMETER);
        return std::nullopt;
    }
    return pin;
}

// A change to the pins may fire interrupts; they follow the command's answer.
template <class Change>
void changePins(GpioState& gpio, Reply& reply, Change&& change)
{
    const auto before = gpio.levels();
    change();
    for (const std::uint8_t pin : gpio.fired(before)) reply.notify(codes::GPIO_INTERRUPT, {pin});
}

// Leaving the interrupt function disarms the pin.
void configurePin(FirmwareState& state, const Request& request, Reply& reply)
{
    const auto pin = pinOf(request, reply);
    if (!pin) return;
    const auto function = settingAt(request, kFunction, 0, static_cast<std::uint8_t>(PinFunction::DISABLED), reply);
    if (!function) return;
    const auto level = flagAt(request, kInitialLevel, reply);
    if (!level) return;
    changePins(state.gpio, reply, [&] {
        GpioPin& target = state.gpio.pins[*pin];
        target.function = static_cast<PinFunction>(*function);
        target.output = *level;
        if (target.function != PinFunction::INTERRUPT) target.trigger = Trigger::NONE;
    });
}

// Only an output can be written.
void digitalWrite(FirmwareState& state, const Request& request, Reply& reply)
{
    const auto pin = pinOf(request, reply);
    if (!pin) return;
    const auto level = flagAt(request, kLevel, reply);
    if (!level) return;
    GpioPin& target = state.gpio.pins[*pin];
    if (target.function != PinFunction::OUTPUT) return reply.setStatus(DeviceStatus::PIN_FUNCTION_MISMATCH);
    changePins(state.gpio, reply, [&] { target.output = *level; });
}

// Answer: one level byte, also on failure (then 0), so the
// answer always has the shape the host decodes.
void digitalRead(FirmwareState& state, const Request& request, Reply& reply)
{
    const auto pin = pinOf(request, reply);
    bool level = false;
    if (pin && state.gpio.pins[*pin].function == PinFunction::DISABLED)
        reply.setStatus(DeviceStatus::PIN_FUNCTION_MISMATCH);
    else if (pin)
        level = state.gpio.levels()[*pin];
    reply.u8(level ? 1 : 0);
}

// Triggers 1..3 are accepted; the pin must be configured as DIGITAL_INTERRUPT.
void armInterrupt(FirmwareState& state, const Request& request, Reply& reply)
{
    const auto pin = pinOf(request, reply);
    if (!pin) return;
    const auto trigger = settingAt(request, kTrigger, static_cast<std::uint8_t>(Trigger::RISING),
                                   static_cast<std::uint8_t>(Trigger::BOTH), reply);
    if (!trigger) return;
    GpioPin& target = state.gpio.pins[*pin];
    if (target.function != PinFunction::INTERRUPT) return reply.setStatus(DeviceStatus::PIN_FUNCTION_MISMATCH);
    target.trigger = static_cast<Trigger>(*trigger);
}

void disarmInterrupt(FirmwareState& state, const Request& request, Reply& reply)
{
    if (const auto pin = pinOf(request, reply)) state.gpio.pins[*pin].trigger = Trigger::NONE;
}

} // namespace

constexpr CommandRows kGpioCommands{
    {codes::GPIO_CONFIGURE_PIN, configurePin},
    {codes::GPIO_WRITE, digitalWrite},
    {codes::GPIO_READ, digitalRead},
    {codes::GPIO_ARM_INTERRUPT, armInterrupt},
    {codes::GPIO_DISARM_INTERRUPT, disarmInterrupt},
};

} // namespace tarvix_virtual::detail
