// State the firmware model keeps for the i3c family.
#pragma once

namespace tarvix_virtual::detail {

struct I3cState {};

}  // namespace tarvix_virtual::detail
