#include "firmware/firmware.hpp"

namespace tarvix_virtual::detail {

void registerRailsCommands(CommandTable&) {}

}  // namespace tarvix_virtual::detail
