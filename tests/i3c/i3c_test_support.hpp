// Small helpers shared by the I3C tests.
#pragma once

#include "sdk_fixture.hpp"

#include <cstdint>

namespace tarvix_test {

constexpr std::uint16_t kI3cGetDeviceTable = 0x1906;
constexpr std::uint16_t kI3cPrivateTransfer = 0x1908;
constexpr std::uint16_t kI3cCcc = 0x1909;

// A request frame without its transaction id, for frames sent by blocking calls.
inline Bytes withoutTransactionId(const Bytes& frame)
{
    return frame.size() < 2 ? Bytes{} : Bytes(frame.begin() + 2, frame.end());
}

// The adapter keeps silent on `code`, so a blocking call runs into its timeout.
inline void silence(tarvix_virtual::VirtualAdapter& adapter, std::uint16_t code)
{
    adapter.setResponder(code, [](const Bytes&) { return std::vector<Bytes>{}; });
}

} // namespace tarvix_test
