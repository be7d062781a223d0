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

// Setting a voltage switches the rail back to its own regulator. The shared
// rail's command carries a third byte, which has no effect on the model's
// regulator; it is kept as sent.
template <Rail RailsState::*Member>
void setVoltage(FirmwareState& state, const Request& request, Reply& reply)
{
    const auto millivolts = request.u16(kMillivolts);
    if (!millivolts) return reply.setStatus(DeviceStatus::INVALID_PARAMETER);
    if (*millivolts < RailsState::kMinMillivolts || *millivolts > RailsState::kMaxMillivolts)
        return reply.setStatus(DeviceStatus::VOLTAGE_OUT_OF_RANGE);
    Rail& rail = state.rails.*Member;
    rail.millivolts = *millivolts;
    rail.external = false;
    if constexpr (Member == &RailsState::shared) state.rails.sharedFlag = request.u8(kSharedFlag).value_or(0);
}

template <Rail RailsState::*Member>
void useExternal(FirmwareState& state, const Request& request, Reply& reply)
{
    if (const auto external = flagAt(request, kExternal, reply)) (state.rails.*Member).external = *external;
}

// Answer: shared rail, then the I3C rail measured twice (at the regulator and
// at the connector; the model has no drop between them), u16 LE millivolts.
void analogMeasurements(FirmwareState& state, const Request&, Reply& reply)
{
    reply.u16(state.rails.shared.measured()).u16(state.rails.i3c.measured()).u16(state.rails.i3c.measured());
}

} // namespace

constexpr CommandRows kRailsCommands{
    {codes::SET_I3C_RAIL, setVoltage<&RailsState::i3c>},
    {codes::SET_SHARED_RAIL, setVoltage<&RailsState::shared>},
    {codes::GET_ANALOG_MEASUREMENTS, analogMeasurements},
    {codes::I3C_RAIL_EXTERNAL, useExternal<&RailsState::i3c>},
    {codes::SHARED_RAIL_EXTERNAL, useExternal<&RailsState::shared>},
};

} // namespace tarvix_virtual::detail
