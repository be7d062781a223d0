// State the firmware model keeps for the gpio family.
#pragma once

namespace tarvix_virtual::detail {

struct GpioState {};

}  // namespace tarvix_virtual::detail
