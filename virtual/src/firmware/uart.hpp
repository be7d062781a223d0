// State of the UART port and of what its TX and RX lines are connected to.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarvix_virtual::detail {

struct UartState {
    bool open = false;
    std::uint8_t baudIndex = 0;
    bool handshake = false;
    std::uint8_t parity = 0;
    std::uint8_t dataBits = 8;
    std::uint8_t stopBits = 1;
    bool loopback = false; // TX wired back to RX
    // Received bytes one notification carries: what one report leaves after
    // the segment header, the frame header and the u16 count. Set at attach.
    std::size_t chunk = 54;

    // Payloads of the notifications announcing @p bytes arriving on RX, cut so
    // that each notification fits one report. None while the port is closed.
    std::vector<std::vector<std::uint8_t>> received(const std::vector<std::uint8_t>& bytes) const;

    // Power-on: the port is closed; the wiring stays.
    void restart();
};

} // namespace tarvix_virtual::detail
