// Supply rails: the shared I2C/SPI/UART/GPIO rail, the I3C rail and the
// analog read-back of both.
#include "firmware/firmware.hpp"
#include "tarvix_virtual/virtual_adapter.hpp"

namespace tarvix_virtual::detail {

void RailsState::restart()
{
    shared.millivolts = 3300;
    shared.external = false;
    i3c.millivolts = 1800;
    i3c.external = false;
    sharedFlag = 0;
}

namespace {

// Payloads of the set and external commands.
constexpr std::size_t kMillivolts = 0; // set: u16
constexpr std::size_t kSharedFlag = 2; // set shared rail: the extra byte
constexpr std::size_t kExternal = 0;   // external: 1 = take the supply from outside, 0 = regulator

// Setting a voltage switches the rail back to its own regulator.
bool setRail(Rail& rail, const Request& request, Reply& reply)
{
    const auto millivolts = request.u16(kMillivolts);
    if (!millivolts) {
        reply.setStatus(DeviceStatus::INVALID_PARAMETER);
        return false;
    }
    if (*millivolts < RailsState::kMinMillivolts || *millivolts > RailsState::kMaxMillivolts) {
        reply.setStatus(DeviceStatus::VOLTAGE_OUT_OF_RANGE);
        return false;
    }
    rail.millivolts = *millivolts;
    rail.external = false;
    return true;
}

void useExternal(Rail& rail, const Request& request, Reply& reply)
{
    const auto flag = request.u8(kExternal);
    if (!flag || *flag > 1) {
        reply.setStatus(DeviceStatus::INVALID_PARAMETER);
        return;
    }
    rail.external = *flag == 1;
}

void setSharedRail(FirmwareState& state, const Request& request, Reply& reply)
{
    // The third byte has no effect on the model's regulator; it is kept as sent.
    if (setRail(state.rails.shared, request, reply)) state.rails.sharedFlag = request.u8(kSharedFlag).value_or(0);
}

void setI3cRail(FirmwareState& state, const Request& request, Reply& reply)
{
    setRail(state.rails.i3c, request, reply);
}

void sharedExternal(FirmwareState& state, const Request& request, Reply& reply)
{
    useExternal(state.rails.shared, request, reply);
}

void i3cExternal(FirmwareState& state, const Request& request, Reply& reply)
{
    useExternal(state.rails.i3c, request, reply);
}

// Answer: shared rail, then the I3C rail measured twice (at the regulator and
// at the connector; the model has no drop between them), u16 LE millivolts.
void analogMeasurements(FirmwareState& state, const Request&, Reply& reply)
{
    reply.u16(state.rails.shared.measured()).u16(state.rails.i3c.measured()).u16(state.rails.i3c.measured());
}

} // namespace

void registerRailsCommands(CommandTable& table)
{
    table[codes::SET_I3C_RAIL] = setI3cRail;
    table[codes::SET_SHARED_RAIL] = setSharedRail;
    table[codes::GET_ANALOG_MEASUREMENTS] = analogMeasurements;
    table[codes::I3C_RAIL_EXTERNAL] = i3cExternal;
    table[codes::SHARED_RAIL_EXTERNAL] = sharedExternal;
}

} // namespace tarvix_virtual::detail
