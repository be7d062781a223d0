// System commands: reset, boot mode, USB string descriptors.
#include <algorithm>

#include "firmware/firmware.hpp"
#include "tarvix_virtual/virtual_adapter.hpp"

namespace tarvix_virtual::detail {

void restartFirmware(FirmwareState& state) {
    state.rails.restart();
    state.gpio.restart();
    state.i2c.restart();
    state.spi.restart();
    state.uart.restart();
    state.i3c.restart();
}

namespace {

// The real adapter restarts, or drops into its ROM boot loader, instead of
// answering; the host must not wait for a response to either. Both take the
// adapter off the bus; the device core carries that out after this returns.
void reset(FirmwareState& state, const Request&, Reply& reply) {
    restartFirmware(state);
    state.rails.departure = Departure::RESTART;
    reply.suppress();
}

void enterBootMode(FirmwareState& state, const Request&, Reply& reply) {
    state.rails.departure = Departure::BOOT_LOADER;
    reply.suppress();
}

// Payload byte 0 = descriptor index. Answer payload: one length byte N + 1,
// then the N bytes of the string (8-bit characters, no terminator). The
// length byte counts itself, like a USB descriptor's bLength, so at most 254
// string bytes fit. Unknown indices answer INVALID_PARAMETER with an empty string.
void getUsbString(FirmwareState& state, const Request& request, Reply& reply) {
    const auto index = request.payloadU8(0);
    if (!index || *index < 1 || *index > state.usbStrings.size()) {
        reply.setStatus(static_cast<std::uint16_t>(DeviceStatus::INVALID_PARAMETER));
        reply.appendU8(1);
        return;
    }
    const std::string& text = state.usbStrings[*index - 1u];
    const std::size_t length = std::min<std::size_t>(text.size(), 254);
    reply.appendU8(static_cast<std::uint8_t>(length + 1));
    reply.appendBytes(reinterpret_cast<const std::uint8_t*>(text.data()), length);
}

}  // namespace

void registerSystemCommands(CommandTable& table) {
    table[codes::RESET_DEVICE] = reset;
    table[codes::ENTER_BOOT_MODE] = enterBootMode;
    table[codes::GET_USB_STRING] = getUsbString;
}

}  // namespace tarvix_virtual::detail
