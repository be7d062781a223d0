// UART: opening and closing the port, sending, and the bytes that come back
// on RX as notifications.
#include <algorithm>

#include "firmware/firmware.hpp"
#include "tarvix_virtual/virtual_adapter.hpp"

namespace tarvix_virtual::detail {

std::vector<std::vector<std::uint8_t>> UartState::received(const std::vector<std::uint8_t>& bytes) const {
    std::vector<std::vector<std::uint8_t>> payloads;
    if (!open) return payloads;
    // With seven data bits the top bit never makes it onto the line.
    const std::uint8_t mask = dataBits == 7 ? 0x7F : 0xFF;
    for (std::size_t offset = 0; offset < bytes.size(); offset += chunk) {
        const std::size_t count = std::min(chunk, bytes.size() - offset);
        std::vector<std::uint8_t> payload{static_cast<std::uint8_t>(count & 0xFFu),
                                          static_cast<std::uint8_t>(count >> 8)};
        for (std::size_t i = 0; i < count; ++i) payload.push_back(bytes[offset + i] & mask);
        payloads.push_back(std::move(payload));
    }
    return payloads;
}

void UartState::restart() {
    open = false;
    baudIndex = 0;
    handshake = false;
    parity = 0;
    dataBits = 8;
    stopBits = 1;
}

namespace {


// Baud indices 0..14 select 600 to 1000000 baud.
constexpr std::uint8_t kMaxBaudIndex = 14;

// Payload: baud index, handshake, parity, data bits, stop bits. Set-parameters
// needs an open port.
void configure(FirmwareState& state, const Request& request, Reply& reply, bool init) {
    UartState& uart = state.uart;
    std::uint8_t fields[5];
    for (std::size_t i = 0; i < 5; ++i) {
        const auto byte = request.payloadU8(i);
        if (!byte) {
            reply.setStatus(DeviceStatus::INVALID_PARAMETER);
            return;
        }
        fields[i] = *byte;
    }
    if (!init && !uart.open) {
        reply.setStatus(DeviceStatus::UART_NOT_INITIALISED);
        return;
    }
    if (fields[0] > kMaxBaudIndex || fields[1] > 1 || fields[2] > 2 || (fields[3] != 7 && fields[3] != 8) ||
        (fields[4] != 1 && fields[4] != 2)) {
        reply.setStatus(DeviceStatus::UNSUPPORTED_SETTING);
        return;
    }
    uart.open = true;
    uart.baudIndex = fields[0];
    uart.handshake = fields[1] == 1;
    uart.parity = fields[2];
    uart.dataBits = fields[3];
    uart.stopBits = fields[4];
}

void init(FirmwareState& state, const Request& request, Reply& reply) { configure(state, request, reply, true); }
void setParameters(FirmwareState& state, const Request& request, Reply& reply) {
    configure(state, request, reply, false);
}

void deinit(FirmwareState& state, const Request&, Reply&) { state.uart.open = false; }

// Payload: u16 count, then exactly that many bytes. With TX looped back to
// RX, the bytes return as notifications after the answer.
void send(FirmwareState& state, const Request& request, Reply& reply) {
    const auto low = request.payloadU8(0);
    const auto high = request.payloadU8(1);
    if (!low || !high || static_cast<std::size_t>(*low | *high << 8) != request.payloadSize() - 2) {
        reply.setStatus(DeviceStatus::INVALID_PARAMETER);
        return;
    }
    if (!state.uart.open) {
        reply.setStatus(DeviceStatus::UART_NOT_INITIALISED);
        return;
    }
    if (!state.uart.loopback) return;
    std::vector<std::uint8_t> bytes(request.payloadSize() - 2);
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = *request.payloadU8(i + 2);
    for (const auto& payload : state.uart.received(bytes)) reply.notify(codes::UART_RX, payload);
}

}  // namespace

void registerUartCommands(CommandTable& table) {
    table[codes::UART_DEINIT] = deinit;
    table[codes::UART_INIT] = init;
    table[codes::UART_SET_PARAMETERS] = setParameters;
    table[codes::UART_SEND] = send;
}

}  // namespace tarvix_virtual::detail
