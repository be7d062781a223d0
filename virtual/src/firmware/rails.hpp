// State of the device-management commands (high byte 0x04): the two supply
// rails and what a reset or boot-mode command asked of the USB connection.
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

// What the adapter does to its USB connection once the current command is
// handled. The device core reads and clears it after every firmware answer.
enum class Departure : std::uint8_t {
    STAY,         // nothing: the usual case
    RESTART,      // leaves the bus and comes back after its restart time
    BOOT_LOADER,  // leaves the bus for the ROM boot loader, which this model does not emulate
};

struct RailsState {
    // Range the regulators can make; outside it a set command is refused.
    static constexpr std::uint16_t kMinMillivolts = 1200;
    static constexpr std::uint16_t kMaxMillivolts = 3300;

    Rail shared{3300};  // I2C, SPI, UART and GPIO pins
    Rail i3c{1800};
    std::uint8_t sharedFlag = 0;  // the extra byte of 0x0405, kept as sent
    Departure departure = Departure::STAY;

    // Power-on values of the regulators; what is connected outside stays.
    void restart();
};

struct FirmwareState;

// What a reset does to the adapter's own state: every family's controller
// settings go back to their power-on values, while what is attached to the
// pins (targets, wires, memory contents) stays as it is.
void restartFirmware(FirmwareState& state);

}  // namespace tarvix_virtual::detail
