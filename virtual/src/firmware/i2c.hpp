// State the firmware model keeps for the i2c family.
#pragma once

namespace tarvix_virtual::detail {

struct I2cState {};

}  // namespace tarvix_virtual::detail
