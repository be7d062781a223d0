// State the firmware model keeps for the rails family.
#pragma once

namespace tarvix_virtual::detail {

struct RailsState {};

}  // namespace tarvix_virtual::detail
