// Small helpers shared by the I3C tests.
#pragma once

#include "sdk_fixture.hpp"

namespace tarvix_test {

// A request frame without its transaction id, for frames sent by blocking calls.
inline Bytes withoutTransactionId(const Bytes& frame)
{
    return frame.size() < 2 ? Bytes{} : Bytes(frame.begin() + 2, frame.end());
}

} // namespace tarvix_test
