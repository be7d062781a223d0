// tarvix rail: the shared I2C/SPI/UART/GPIO supply rail and the I3C rail, in millivolts.
#include "commands.hpp"

namespace tarvix_tool {
namespace {

void get(Context& context)
{
    TarvixSDK& sdk = context.sdk();
    std::uint16_t shared = 0;
    std::uint16_t i3c1 = 0;
    std::uint16_t i3c2 = 0;
    context.check(sdk.i2cGetBusVoltage(shared), "reading the shared rail");
    context.check(sdk.i3cGetBusVoltage(i3c1, i3c2), "reading the I3C rail");
    context.line("shared: " + std::to_string(shared) + " mV");
    context.line("i3c:    " + std::to_string(i3c1) + " mV, " + std::to_string(i3c2) + " mV");
    context.result()["sharedMillivolts"] = shared;
    context.result()["i3cMillivolts"] = {i3c1, i3c2};
}

struct SetOptions {
    std::string rail;
    std::uint32_t millivolts = 0;

    void declare(CLI::App& command)
    {
        command.add_option("RAIL", rail, "shared or i3c")->required()->check(CLI::IsMember({"shared", "i3c"}));
        command.add_option("MILLIVOLTS", millivolts, "Voltage in mV")->required()->check(CLI::Range(0, 65535));
    }
};

void set(Context& context, const SetOptions& options)
{
    TarvixSDK& sdk = context.sdk();
    const auto value = static_cast<std::uint16_t>(options.millivolts);
    if (options.rail == "shared") {
        context.check(sdk.i2cSetBusVoltage(value, false), "setting the shared rail");
    } else {
        context.check(sdk.i3cSetBusVoltage(value), "setting the I3C rail");
    }
    context.result()["rail"] = options.rail;
    context.result()["millivolts"] = value;
}

} // namespace

void addRailCommands(CLI::App& app, Context& context)
{
    CLI::App& rail = addGroup(app, "rail", "Supply rails: get, set");
    addCommand(rail, context, "get", "Read back the shared rail and the two I3C rail readings, in mV", get);
    addCommand(rail, context, "set", "Set a rail: shared (I2C, SPI, UART, GPIO) or i3c", set);
}

} // namespace tarvix_tool
