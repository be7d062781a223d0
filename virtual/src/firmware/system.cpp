// System commands: reset, boot mode, USB string descriptors.
#include <algorithm>

#include "firmware/firmware.hpp"
#include "tarvix_virtual/virtual_adapter.hpp"

namespace tarvix_virtual::detail {

namespace {

// GET_USB_STRING payload.
constexpr std::size_t kStringIndex = 0; // descriptor index 1..5
// The answer's length byte counts itself, like a USB descriptor's bLength.
constexpr std::size_t kMaxStringBytes = 254;

// Neither command is answered; the departure they record takes the adapter
// off the bus once the device core has handled them.
void reset(FirmwareState& state, const Request&, Reply& reply)
{
    restartFirmware(state);
    state.departure = Departure::RESTART;
    reply.suppress();
}

void enterBootMode(FirmwareState& state, const Request&, Reply& reply)
{
    state.departure = Departure::BOOT_LOADER;
    reply.suppress();
}

// Answer payload: one length byte N + 1, then the N bytes of the string
// (8-bit characters, no terminator). Unknown indices answer INVALID_PARAMETER
// with an empty string.
void getUsbString(FirmwareState& state, const Request& request, Reply& reply)
{
    const auto index = request.u8(kStringIndex);
    if (!index || *index < 1 || *index > state.usbStrings.size()) {
        reply.setStatus(DeviceStatus::INVALID_PARAMETER);
        reply.u8(1);
        return;
    }
    const std::string& text = state.usbStrings[*index - 1u];
    const std::size_t length = std::min(text.size(), kMaxStringBytes);
    reply.u8(static_cast<std::uint8_t>(length + 1));
    reply.bytes(reinterpret_cast<const std::uint8_t*>(text.data()), length);
}

} // namespace

constexpr CommandRows kSystemCommands{
    {codes::RESET_DEVICE, reset},
    {codes::ENTER_BOOT_MODE, enterBootMode},
    {codes::GET_USB_STRING, getUsbString},
};

} // namespace tarvix_virtual::detail
