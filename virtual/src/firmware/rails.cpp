// Supply rails: the shared I2C/SPI/UART/GPIO rail, the I3C rail and the
// analog read-back of both.
#include "firmware/firmware.hpp"
#include "tarvix_virtual/virtual_adapter.hpp"

namespace tarvix_virtual::detail {

void RailsState::restart() {
    shared.millivolts = 3300;
    shared.external = false;
    i3c.millivolts = 1800;
    i3c.external = false;
    sharedFlag = 0;
}

namespace {


// Payload: u16 LE millivolts. Setting a voltage switches the rail back to
// its own regulator.
bool setRail(Rail& rail, const Request& request, Reply& reply) {
    const auto low = request.payloadU8(0);
    const auto high = request.payloadU8(1);
    if (!low || !high) {
        reply.setStatus(DeviceStatus::INVALID_PARAMETER);
        return false;
    }
    const auto millivolts = static_cast<std::uint16_t>(*low | *high << 8);
    if (millivolts < RailsState::kMinMillivolts || millivolts > RailsState::kMaxMillivolts) {
        reply.setStatus(DeviceStatus::VOLTAGE_OUT_OF_RANGE);
        return false;
    }
    rail.millivolts = millivolts;
    rail.external = false;
    return true;
}

// Payload: one flag byte, 1 = take the supply from outside, 0 = regulator.
void useExternal(Rail& rail, const Request& request, Reply& reply) {
    const auto flag = request.payloadU8(0);
    if (!flag || *flag > 1) {
        reply.setStatus(DeviceStatus::INVALID_PARAMETER);
        return;
    }
    rail.external = *flag == 1;
}

void setSharedRail(FirmwareState& state, const Request& request, Reply& reply) {
    // The third byte has no effect on the model's regulator; it is kept as sent.
    if (setRail(state.rails.shared, request, reply)) state.rails.sharedFlag = request.payloadU8(2).value_or(0);
}

void setI3cRail(FirmwareState& state, const Request& request, Reply& reply) {
    setRail(state.rails.i3c, request, reply);
}

void sharedExternal(FirmwareState& state, const Request& request, Reply& reply) {
    useExternal(state.rails.shared, request, reply);
}

void i3cExternal(FirmwareState& state, const Request& request, Reply& reply) {
    useExternal(state.rails.i3c, request, reply);
}

void appendU16(Reply& reply, std::uint16_t value) {
    reply.appendU8(static_cast<std::uint8_t>(value & 0xFFu));
    reply.appendU8(static_cast<std::uint8_t>(value >> 8));
}

// Answer: shared rail, then the I3C rail measured twice (at the regulator and
// at the connector; the model has no drop between them), u16 LE millivolts.
void analogMeasurements(FirmwareState& state, const Request&, Reply& reply) {
    appendU16(reply, state.rails.shared.measured());
    appendU16(reply, state.rails.i3c.measured());
    appendU16(reply, state.rails.i3c.measured());
}

}  // namespace

void registerRailsCommands(CommandTable& table) {
    table[codes::SET_I3C_RAIL] = setI3cRail;
    table[codes::SET_SHARED_RAIL] = setSharedRail;
    table[codes::GET_ANALOG_MEASUREMENTS] = analogMeasurements;
    table[codes::I3C_RAIL_EXTERNAL] = i3cExternal;
    table[codes::SHARED_RAIL_EXTERNAL] = sharedExternal;
}

}  // namespace tarvix_virtual::detail
