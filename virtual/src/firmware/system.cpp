// System commands: reset, boot mode, USB string descriptors.
#include <algorithm>

#include "firmware/firmware.hpp"
#include "tarvix_virtual/virtual_adapter.hpp"

namespace tarvix_virtual::detail {

namespace {

// The real adapter restarts, or drops into its ROM boot loader, instead of
// answering; the host must not wait for a response to either.
void noAnswer(FirmwareState&, const Request&, Reply& reply) { reply.suppress(); }

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
    table[codes::RESET_DEVICE] = noAnswer;
    table[codes::ENTER_BOOT_MODE] = noAnswer;
    table[codes::GET_USB_STRING] = getUsbString;
}

}  // namespace tarvix_virtual::detail
