#include "firmware/firmware.hpp"

namespace tarvix_virtual::detail {

void registerSpiCommands(CommandTable&) {}

}  // namespace tarvix_virtual::detail
