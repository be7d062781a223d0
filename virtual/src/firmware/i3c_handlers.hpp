// What the three I3C handler files share: frame access and the handlers that
// i3c.cpp registers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "firmware/firmware.hpp"
#include "firmware/i3c.hpp"

namespace tarvix_virtual::detail {

// Frame byte N of a request is payload byte N - 4.
inline constexpr std::size_t kPayloadStart = 4;

// Request bytes from frame offset @p offset, at most @p count, as far as they arrived.
Bytes frameBytes(const Request& request, std::size_t offset, std::size_t count);
// Unsigned 16-bit little-endian at frame offset @p offset, if both bytes arrived.
std::optional<std::uint16_t> frameU16(const Request& request, std::size_t offset);
inline std::optional<std::uint8_t> frameU8(const Request& request, std::size_t offset) {
    return request.payloadU8(offset - kPayloadStart);
}

void setStatus(Reply& reply, I3cStatus status);
void setStatus(Reply& reply, DeviceStatus status);

void handleI3cCcc(FirmwareState& state, const Request& request, Reply& reply);              // 0x1909
void handleI3cPrivateTransfer(FirmwareState& state, const Request& request, Reply& reply);  // 0x1908

}  // namespace tarvix_virtual::detail
