// UART: opening and closing the port, sending, and the bytes that come back
// on RX as notifications.
#include <algorithm>

#include "firmware/firmware.hpp"
#include "tarvix_virtual/virtual_adapter.hpp"

namespace tarvix_virtual::detail {

std::vector<std::vector<std::uint8_t>> UartState::received(const std::vector<std::uint8_t>& bytes) const
{
    std::vector<std::vector<std::uint8_t>> payloads;
    if (!open) return payloads;
    // With seven data bits the top bit never makes it onto the line.
    const std::uint8_t mask = dataBits == 7 ? 0x7F : 0xFF;
    for (std::size_t offset = 0; offset < bytes.size(); offset += chunk) {
        const std::size_t count = std::min(chunk, bytes.size() - offset);
        std::vector<std::uint8_t> payload;
        FieldWriter(payload).u16(static_cast<std::uint16_t>(count));
        for (std::size_t i = 0; i < count; ++i) payload.push_back(bytes[offset + i] & mask);
        payloads.push_back(std::move(payload));
    }
    return payloads;
}

void UartState::restart()
{
    open = false;
    baudIndex = 0;
    handshake = false;
    parity = 0;
    dataBits = 8;
    stopBits = 1;
}

namespace {

// clang-format off
// Payload offsets of init and set parameters.
constexpr std::size_t kBaudIndex = 0;  // 0..14 select 600 to 1000000 baud
constexpr std::size_t kHandshake = 1;  // 0 off, 1 on
constexpr std::size_t kParity    = 2;  // 0..2, 0 = none
constexpr std::size_t kDataBits  = 3;  // 7 or 8
constexpr std::size_t kStopBits  = 4;  // 1 or 2
constexpr std::size_t kSettingsSize = 5;
// Payload offsets of send.
constexpr std::size_t kCount     = 0;  // u16: bytes that follow
constexpr std::size_t kData      = 2;
// clang-format on

constexpr std::uint8_t kMaxBaudIndex = 14;

// Set-parameters needs an open port.
template <bool Init>
void configure(FirmwareState& state, const Request& request, Reply& reply)
{
    UartState& uart = state.uart;
    if (!settingsAccepted(request, kSettingsSize, Init || uart.open, DeviceStatus::UART_NOT_INITIALISED, reply)) return;
    const std::vector<std::uint8_t> settings = request.bytes(0, kSettingsSize);
    if (settings[kBaudIndex] > kMaxBaudIndex || settings[kHandshake] > 1 || settings[kParity] > 2 ||
        (settings[kDataBits] != 7 && settings[kDataBits] != 8) ||
        (settings[kStopBits] != 1 && settings[kStopBits] != 2))
        return reply.setStatus(DeviceStatus::UNSUPPORTED_SETTING);
    uart.open = true;
    uart.baudIndex = settings[kBaudIndex];
    uart.handshake = settings[kHandshake] == 1;
    uart.parity = settings[kParity];
    uart.dataBits = settings[kDataBits];
    uart.stopBits = settings[kStopBits];
}

void deinit(FirmwareState& state, const Request&, Reply&)
{
    state.uart.open = false;
}

// The count must match the bytes that follow. With TX looped back to RX, the
// bytes return as notifications after the answer.
void send(FirmwareState& state, const Request& request, Reply& reply)
{
    const auto count = request.u16(kCount);
    if (!count || *count != request.size() - kData) return reply.setStatus(DeviceStatus::INVALID_PARAMETER);
    if (!state.uart.open) return reply.setStatus(DeviceStatus::UART_NOT_INITIALISED);
    if (!state.uart.loopback) return;
    for (const auto& payload : state.uart.received(request.bytes(kData))) reply.notify(codes::UART_RX, payload);
}

} // namespace

constexpr CommandRows kUartCommands{
    {codes::UART_INIT, configure<true>},
    {codes::UART_SET_PARAMETERS, configure<false>},
    {codes::UART_SEND, send},
    {codes::UART_DEINIT, deinit},
};

} // namespace tarvix_virtual::detail
