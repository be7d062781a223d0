#include "firmware/firmware.hpp"

namespace tarvix_virtual::detail {

void registerGpioCommands(CommandTable&) {}

}  // namespace tarvix_virtual::detail
