// State the firmware model keeps for the uart family.
#pragma once

namespace tarvix_virtual::detail {

struct UartState {};

}  // namespace tarvix_virtual::detail
