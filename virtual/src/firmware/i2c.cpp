#include "firmware/firmware.hpp"

namespace tarvix_virtual::detail {

void registerI2cCommands(CommandTable&) {}

}  // namespace tarvix_virtual::detail
