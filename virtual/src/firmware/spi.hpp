// State the firmware model keeps for the spi family.
#pragma once

namespace tarvix_virtual::detail {

struct SpiState {};

}  // namespace tarvix_virtual::detail
