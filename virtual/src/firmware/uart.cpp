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
void configure(FirmwareState& state, const Request& request, Reply& reply, bool init)
{
    if (request.size() < kSettingsSize) {
        reply.setStatus(DeviceStatus::INVALID_PARAMETER);
        return;
    }
    UartState& uart = state.uart;
    if (!init && !uart.open) {
        reply.setStatus(DeviceStatus::UART_NOT_INITIALISED);
        return;
    }
    const std::uint8_t baudIndex = *request.u8(kBaudIndex);
    const std::uint8_t handshake = *request.u8(kHandshake);
    const std::uint8_t parity = *request.u8(kParity);
    const std::uint8_t dataBits = *request.u8(kDataBits);
    const std::uint8_t stopBits = *request.u8(kStopBits);
    if (baudIndex > kMaxBaudIndex || handshake > 1 || parity > 2 || (dataBits != 7 && dataBits != 8) ||
        (stopBits != 1 && stopBits != 2)) {
        reply.setStatus(DeviceStatus::UNSUPPORTED_SETTING);
        return;
    }
    uart.open = true;
    uart.baudIndex = baudIndex;
    uart.handshake = handshake == 1;
    uart.parity = parity;
    uart.dataBits = dataBits;
    uart.stopBits = stopBits;
}

void init(FirmwareState& state, const Request& request, Reply& reply)
{
    configure(state, request, reply, true);
}
void setParameters(FirmwareState& state, const Request& request, Reply& reply)
{
    configure(state, request, reply, false);
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
    if (!count || *count != request.size() - kData) {
        reply.setStatus(DeviceStatus::INVALID_PARAMETER);
        return;
    }
    if (!state.uart.open) {
        reply.setStatus(DeviceStatus::UART_NOT_INITIALISED);
        return;
    }
    if (!state.uart.loopback) return;
    for (const auto& payload : state.uart.received(request.bytes(kData))) reply.notify(codes::UART_RX, payload);
}

} // namespace

void registerUartCommands(CommandTable& table)
{
    table[codes::UART_DEINIT] = deinit;
    table[codes::UART_INIT] = init;
    table[codes::UART_SET_PARAMETERS] = setParameters;
    table[codes::UART_SEND] = send;
}

} // namespace tarvix_virtual::detail
