#include "firmware/firmware.hpp"

namespace tarvix_virtual::detail {

void registerI3cCommands(CommandTable&) {}

}  // namespace tarvix_virtual::detail
