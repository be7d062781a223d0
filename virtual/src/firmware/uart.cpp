#include "firmware/firmware.hpp"

namespace tarvix_virtual::detail {

void registerUartCommands(CommandTable&) {}

}  // namespace tarvix_virtual::detail
