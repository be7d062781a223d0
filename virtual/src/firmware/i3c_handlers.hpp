// The I3C handlers that live in files of their own; i3c.cpp registers them.
#pragma once

#include "firmware/firmware.hpp"
#include "firmware/i3c.hpp"

namespace tarvix_virtual::detail {

void handleI3cCcc(FirmwareState& state, const Request& request, Reply& reply);             // I3C_CCC
void handleI3cPrivateTransfer(FirmwareState& state, const Request& request, Reply& reply); // I3C_PRIVATE_TRANSFER

} // namespace tarvix_virtual::detail
