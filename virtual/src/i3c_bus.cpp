// The I3C bus control API: everything runs on the firmware state under the
// adapter's lock, and a notification that an event raises goes out before the
// lock is let go, so no command can slip in between the decision and the frame.
#include "tarvix_virtual/i3c_bus.hpp"

#include <algorithm>
#include <stdexcept>

#include "firmware/i3c.hpp"
#include "registry.hpp"

namespace tarvix_virtual {

using detail::FirmwareState;
using detail::I3cEvent;
using detail::I3cState;
using detail::I3cTarget;

namespace {

I3cTarget* findByPid(I3cState& bus, std::uint64_t pid)
{
    const auto it = std::find_if(bus.targets.begin(), bus.targets.end(),
                                 [&](const I3cTarget& t) { return t.config.pid == (pid & 0xFFFF'FFFF'FFFFull); });
    return it == bus.targets.end() ? nullptr : &*it;
}

constexpr std::uint8_t kBcrIbiCapable = 0x02;
constexpr std::uint8_t kBcrIbiPayload = 0x04;

} // namespace

I3cBus::I3cBus(VirtualAdapter adapter) : adapter_(std::move(adapter)) {}

void I3cBus::attachTarget(const I3cTargetConfig& config)
{
    adapter_.impl().core.withFirmware([&](FirmwareState& state) {
        detail::checkI3cAttach(state.i3c, config);
        state.i3c.targets.push_back(detail::makeI3cTarget(config));
    });
}

void I3cBus::attachLegacyTarget(std::uint8_t address, Bytes memory)
{
    adapter_.impl().core.withFirmware([&](FirmwareState& state) {
        I3cState& bus = state.i3c;
        const bool taken = std::any_of(bus.targets.begin(), bus.targets.end(), [&](const I3cTarget& t) {
            return t.dynamicAddress == address || t.config.staticAddress == address;
        });
        if (address > 0x7F || taken || detail::findLegacy(bus, address))
            throw std::invalid_argument("the I2C address is taken or not a 7-bit address");
        bus.legacyTargets.push_back({address, 0, std::move(memory)});
    });
}

void I3cBus::clear()
{
    adapter_.impl().core.withFirmware([](FirmwareState& state) {
        auto settings = state.i3c.controllerSettings;
        state.i3c = I3cState{};
        state.i3c.controllerSettings = settings;
    });
}

std::optional<I3cTargetState> I3cBus::target(std::uint64_t pid) const
{
    return adapter_.impl().core.withFirmware([&](FirmwareState& state) -> std::optional<I3cTargetState> {
        const I3cTarget* t = findByPid(state.i3c, pid);
        if (!t) return std::nullopt;
        return I3cTargetState{t->dynamicAddress,
                              t->events,
                              t->maxWriteLength,
                              t->maxReadLength,
                              t->maxIbiPayloadSize,
                              t->resetAction,
                              static_cast<std::uint8_t>(t->registerPointer & 0xFF),
                              t->pendingIbis.size(),
                              t->memory};
    });
}

Bytes I3cBus::legacyMemory(std::uint8_t address) const
{
    return adapter_.impl().core.withFirmware([&](FirmwareState& state) {
        const detail::I2cLegacyTarget* legacy = detail::findLegacy(state.i3c, address);
        return legacy ? legacy->memory : Bytes{};
    });
}

std::optional<Bytes> I3cBus::controllerSettings() const
{
    return adapter_.impl().core.withFirmware([](FirmwareState& state) -> std::optional<Bytes> {
        const auto& settings = state.i3c.controllerSettings;
        if (!settings) return std::nullopt;
        return Bytes(settings->begin(), settings->end());
    });
}

bool I3cBus::inHdrMode() const
{
    return adapter_.impl().core.withFirmware([](FirmwareState& state) { return state.i3c.inHdrMode; });
}

I3cEventResult I3cBus::raiseIbi(std::uint64_t pid, const Bytes& payload)
{
    I3cEventResult result = I3cEventResult::REFUSED;
    adapter_.impl().core.withFirmwareRaising([&](FirmwareState& state, std::vector<Bytes>& raised) {
        I3cState& bus = state.i3c;
        I3cTarget* target = findByPid(bus, pid);
        // Without an address a target cannot win the IBI arbitration at all.
        if (!target || target->dynamicAddress == 0 || (target->config.bcr & kBcrIbiCapable) == 0 ||
            (!payload.empty() && (target->config.bcr & kBcrIbiPayload) == 0))
            return;
        // An interrupt held back keeps its place ahead of this one.
        if (!target->pendingIbis.empty() || !detail::ibiDeliverable(bus, *target)) {
            target->pendingIbis.push_back(payload);
            result = I3cEventResult::QUEUED;
            return;
        }
        raised.push_back(notificationFrame(codes::I3C_IBI, 0, detail::ibiPayload(*target, payload)));
        result = I3cEventResult::DELIVERED;
    });
    return result;
}

I3cEventResult I3cBus::hotJoin(const I3cTargetConfig& config, I3cHotJoinAddressing addressing)
{
    I3cEventResult result = I3cEventResult::QUEUED;
    adapter_.impl().core.withFirmwareRaising([&](FirmwareState& state, std::vector<Bytes>& raised) {
        I3cState& bus = state.i3c;
        detail::checkI3cAttach(bus, config);
        I3cTarget target = detail::makeI3cTarget(config);
        target.hotJoinPending = true;
        target.assignOnHotJoin = addressing == I3cHotJoinAddressing::ASSIGN_AT_ONCE;
        bus.targets.push_back(std::move(target));
        if (const auto event = detail::serviceHotJoin(bus, bus.targets.back())) {
            raised.push_back(notificationFrame(event->code, 0, event->payload));
            result = I3cEventResult::DELIVERED;
        }
    });
    return result;
}

} // namespace tarvix_virtual
