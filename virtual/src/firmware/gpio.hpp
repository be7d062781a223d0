// State of the eight GPIO pins and of the jumpers the bench puts between them.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace tarvix_virtual::detail {

// Pin functions and interrupt triggers as the host sends them.
// clang-format off
enum class PinFunction : std::uint8_t { INPUT = 0, OUTPUT = 1, INTERRUPT = 2, DISABLED = 3 };
enum class Trigger : std::uint8_t { NONE = 0, RISING = 1, FALLING = 2, BOTH = 3 };
// clang-format on

struct GpioPin {
    PinFunction function = PinFunction::INPUT;
    bool output = false; // level driven while the function is OUTPUT
    bool driven = false; // level the outside world puts on the pin (bench hook); default pulled low
    Trigger trigger = Trigger::NONE;
};

struct GpioState {
    static constexpr std::size_t kPins = 8;

    std::array<GpioPin, kPins> pins{};
    // A jumper joins two pins: each sees the other's output. Kept symmetric.
    std::array<std::optional<std::uint8_t>, kPins> wiredTo{};

    // Level on every pin: its own output, else the output of the pin wired
    // to it, else what the outside drives.
    std::array<bool, kPins> levels() const;
    // Pins whose armed trigger matches the change from @p before to now, in
    // pin order; each raises one interrupt notification.
    std::vector<std::uint8_t> fired(const std::array<bool, kPins>& before) const;

    void wire(std::uint8_t a, std::uint8_t b);
    void unwire(std::uint8_t pin);
    // Power-on: every pin an input, no interrupt armed; jumpers stay.
    void restart();
};

} // namespace tarvix_virtual::detail
