// The command groups of tarvix, one file each.
#ifndef TARVIX_TOOL_COMMANDS_HPP
#define TARVIX_TOOL_COMMANDS_HPP

#include "tool.hpp"

namespace tarvix_tool {

void addAdapterCommands(CLI::App& app, Context& context); // list, info
void addI2cCommands(CLI::App& app, Context& context);
void addSpiCommands(CLI::App& app, Context& context);
void addUartCommands(CLI::App& app, Context& context);
void addGpioCommands(CLI::App& app, Context& context);
void addRailCommands(CLI::App& app, Context& context);
void addI3cCommands(CLI::App& app, Context& context);

} // namespace tarvix_tool

#endif // TARVIX_TOOL_COMMANDS_HPP
