// Small helpers shared by the family tests.
#pragma once

#include "sdk_fixture.hpp"

#include <cstddef>

namespace tarvix_test {

// A request frame without its transaction id, for comparing frames sent by blocking calls.
inline Bytes withoutTransactionId(const Bytes& frame)
{
    return frame.size() < 2 ? Bytes{} : Bytes(frame.begin() + 2, frame.end());
}

// `count` distinct-ish bytes, so that a misplaced byte shows.
inline Bytes pattern(std::size_t count)
{
    Bytes bytes(count);
    for (std::size_t i = 0; i < count; ++i) {
        bytes[i] = static_cast<std::uint8_t>(i * 13 + 5);
    }
    return bytes;
}

} // namespace tarvix_test
