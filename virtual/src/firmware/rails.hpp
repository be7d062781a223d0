// State of the supply-rail commands (high byte 0x04): the two programmable
// rails and what is connected to them from outside.
#pragma once

#include <cstdint>

namespace tarvix_virtual::detail {

// One programmable rail. The regulator makes `millivolts` unless `external` is
// set; then the rail carries whatever is connected from outside, which the
// bench sets (0 mV: nothing connected).
struct Rail {
    std::uint16_t millivolts;
    bool external = false;
    std::uint16_t externalMillivolts = 0;

    std::uint16_t measured() const { return external ? externalMillivolts : millivolts; }
};

struct RailsState {
    // Range the regulators can make; outside it a set command is refused.
    static constexpr std::uint16_t kMinMillivolts = 1200;
    static constexpr std::uint16_t kMaxMillivolts = 3300;

    Rail shared{3300}; // I2C, SPI, UART and GPIO pins
    Rail i3c{1800};
    std::uint8_t sharedFlag = 0; // the extra byte of 0x0405, kept as sent

    // Power-on values of the regulators; what is connected outside stays.
    void restart();
};

} // namespace tarvix_virtual::detail
