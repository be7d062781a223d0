// State the firmware model keeps for the i3c family: the controller's
// settings and target table, and the modelled bus with its targets. The
// handlers live in i3c.cpp (controller, table, patterns), i3c_ccc.cpp and
// i3c_transfers.cpp; the helpers below are shared by them and by the control
// API in src/i3c_bus.cpp.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "tarvix_virtual/i3c_bus.hpp"

namespace tarvix_virtual::detail {

using I3cRecord = std::array<std::uint8_t, 16>;

inline constexpr std::uint8_t kI3cBroadcast = 0x7E;
inline constexpr std::uint8_t kEventInterrupts = 0x01;
inline constexpr std::uint8_t kEventHotJoin = 0x08;
inline constexpr std::uint8_t kAllEvents = 0x0B; // IBI, controller role, hot-join
inline constexpr std::uint8_t kResetPeripheral = 0x01;
inline constexpr std::uint8_t kResetWholeTarget = 0x02;

struct I3cTarget {
    I3cTargetConfig config; // as attached; a peripheral reset returns to it
    std::uint8_t dynamicAddress = 0;
    std::uint8_t events = kAllEvents;
    std::uint16_t maxWriteLength = 0;
    std::uint16_t maxReadLength = 0;
    std::optional<std::uint8_t> maxIbiPayloadSize;
    std::uint8_t resetAction = kResetPeripheral;
    std::size_t registerPointer = 0;
    Bytes memory;
    std::deque<Bytes> pendingIbis;
    bool hotJoinPending = false;
    bool assignOnHotJoin = false;
};

struct I2cLegacyTarget {
    std::uint8_t address = 0;
    std::size_t registerPointer = 0;
    Bytes memory;
};

struct I3cState {
    std::optional<std::array<std::uint8_t, 4>> controllerSettings;
    std::vector<I3cRecord> table;     // as the host sent it, kept up to date
    std::vector<I3cRecord> requested; // as the host sent it: addresses it asks ENTDAA for
    std::vector<I3cTarget> targets;
    std::vector<I2cLegacyTarget> legacyTargets;
    bool inHdrMode = false;
    bool hotJoinAccepted = true;

    // The adapter restarts (reset command, power cycle): the controller
    // forgets its settings, its table and the bus mode; the targets, which
    // the adapter does not power down, keep their addresses and state.
    void restart();
};

// A target in the state of a fresh attach.
I3cTarget makeI3cTarget(const I3cTargetConfig& config);
// Throws std::invalid_argument when @p config clashes with an attached target.
void checkI3cAttach(const I3cState& state, const I3cTargetConfig& config);

I3cTarget* findByDynamicAddress(I3cState& state, std::uint8_t address);
I2cLegacyTarget* findLegacy(I3cState& state, std::uint8_t address);

// Whether @p address may become @p self's dynamic address now (not 0, not
// reserved, not used by another target or a legacy I2C target).
bool isFreeDynamicAddress(const I3cState& state, std::uint8_t address, const I3cTarget* self);
// Gives @p target @p address (0 drops it) and updates the table.
void setDynamicAddress(I3cState& state, I3cTarget& target, std::uint8_t address);
// ENTDAA: addresses every target without a dynamic address.
void assignDynamicAddresses(I3cState& state);
// Drops every dynamic address (RSTDAA).
void resetDynamicAddresses(I3cState& state);
// The target reset pattern's effect on @p target: its RSTACT action.
void resetTarget(I3cState& state, I3cTarget& target);

// Notification payloads.
Bytes ibiPayload(const I3cTarget& target, const Bytes& payload);
Bytes hotJoinPayload(const I3cTarget& target);
// Whether the bus lets @p target's IBIs or hot-join through now.
bool ibiDeliverable(const I3cState& state, const I3cTarget& target);
bool hotJoinDeliverable(const I3cState& state, const I3cTarget& target);

// A notification to send: code and payload.
struct I3cEvent {
    std::uint16_t code;
    Bytes payload;
};
// Completes @p target's hot-join if the bus lets it through now (assigning an
// address first when asked to); drops it once the target has an address.
std::optional<I3cEvent> serviceHotJoin(I3cState& state, I3cTarget& target);
// Takes every queued IBI and hot-join that the bus now lets through, in target order.
std::vector<I3cEvent> takeDeliverableEvents(I3cState& state);

std::uint8_t pidByte(std::uint64_t pid, std::size_t index); // index 0 = most significant

} // namespace tarvix_virtual::detail
