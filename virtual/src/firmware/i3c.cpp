// I3C: the controller settings, the target table, the bus patterns, and the
// bus model the CCC and transfer handlers share (dynamic addresses, target
// resets, IBI and hot-join delivery).
#include <algorithm>
#include <stdexcept>

#include "firmware/i3c_handlers.hpp"

namespace tarvix_virtual::detail {

namespace {

constexpr std::uint64_t kPidMask = 0xFFFF'FFFF'FFFFull;
constexpr std::uint8_t kFirstPoolAddress = 0x08;
constexpr std::uint8_t kLastPoolAddress = 0x7D;

constexpr std::size_t kRecordSize = 16;
constexpr std::size_t kRecordStatic = 0;
constexpr std::size_t kRecordDynamic = 1;
constexpr std::size_t kRecordPid = 2;
constexpr std::size_t kRecordBcr = 8;
constexpr std::size_t kRecordDcr = 9;
// Where I3C_SET_TARGET_CONFIGURATION keeps a target's configuration byte (extraByte1).
constexpr std::size_t kRecordConfiguration = 14;

// clang-format off
// Payload offsets.
constexpr std::size_t kSettings      = 0;  // init, set parameters: push-pull rate, open-drain rate,
constexpr std::size_t kSettingsSize  = 4;  //   I2C rate, drive strength
constexpr std::size_t kRecordCount   = 0;  // init bus: number of records
constexpr std::size_t kRecords       = 1;  // init bus: the records
constexpr std::size_t kTarget        = 0;  // set target configuration: dynamic, else static address
constexpr std::size_t kConfiguration = 1;  // set target configuration: the byte
constexpr std::size_t kPattern       = 0;  // bus pattern: 1 HDR exit, 0 target reset
// clang-format on

// The broadcast address and the addresses a single bit error turns into it:
// a target must never answer to one of them.
bool isReservedAddress(std::uint8_t address)
{
    const unsigned diff = static_cast<unsigned>(address ^ kI3cBroadcast);
    return diff == 0 || (diff & (diff - 1)) == 0;
}

bool recordHasPid(const I3cRecord& record, std::uint64_t pid)
{
    for (std::size_t i = 0; i < 6; ++i)
        if (record[kRecordPid + i] != pidByte(pid, i)) return false;
    return true;
}

// The record describing @p target: by PID, else by static address.
I3cRecord* recordOf(I3cState& state, const I3cTarget& target)
{
    for (I3cRecord& record : state.table)
        if (recordHasPid(record, target.config.pid)) return &record;
    if (target.config.staticAddress) {
        for (I3cRecord& record : state.table)
            if (record[kRecordStatic] == *target.config.staticAddress) return &record;
    }
    return nullptr;
}

// The address the host's records ask ENTDAA to give @p target, or 0.
std::uint8_t requestedAddress(const I3cState& state, const I3cTarget& target)
{
    for (const I3cRecord& record : state.requested)
        if (recordHasPid(record, target.config.pid)) return record[kRecordDynamic];
    return 0;
}

bool requestedByAnother(const I3cState& state, std::uint8_t address, const I3cTarget& target)
{
    return std::any_of(state.requested.begin(), state.requested.end(), [&](const I3cRecord& record) {
        return record[kRecordDynamic] == address && !recordHasPid(record, target.config.pid);
    });
}

bool addressInUse(const I3cState& state, std::uint8_t address, const I3cTarget* self)
{
    for (const I3cTarget& other : state.targets) {
        if (&other == self) continue;
        if (other.dynamicAddress == address) return true;
        if (other.dynamicAddress == 0 && other.config.staticAddress == address) return true;
    }
    return std::any_of(state.legacyTargets.begin(), state.legacyTargets.end(),
                       [&](const I2cLegacyTarget& legacy) { return legacy.address == address; });
}

bool isFreeFor(const I3cState& state, std::uint8_t address, const I3cTarget* self)
{
    return address != 0 && address <= 0x7F && !isReservedAddress(address) && !addressInUse(state, address, self);
}

// One round of ENTDAA for @p target: the address the host asked for if it is
// free, else the lowest free pool address; none when the bus is full.
void assignDynamicAddress(I3cState& state, I3cTarget& target)
{
    const std::uint8_t wanted = requestedAddress(state, target);
    if (wanted != 0 && isFreeFor(state, wanted, &target)) {
        setDynamicAddress(state, target, wanted);
        return;
    }
    for (unsigned a = kFirstPoolAddress; a <= kLastPoolAddress; ++a) {
        const auto address = static_cast<std::uint8_t>(a);
        if (isFreeFor(state, address, &target) && !requestedByAnother(state, address, target)) {
            setDynamicAddress(state, target, address);
            return;
        }
    }
}

// The record of one of the host's table entries, from payload offset @p offset.
I3cRecord recordAt(const Request& request, std::size_t offset)
{
    I3cRecord record{};
    const std::vector<std::uint8_t> bytes = request.bytes(offset, kRecordSize);
    std::copy(bytes.begin(), bytes.end(), record.begin());
    return record;
}

// The model keeps the controller's settings for the test to look at; they set
// no clock.
void controllerSettings(FirmwareState& state, const Request& request, Reply& reply)
{
    const std::vector<std::uint8_t> bytes = request.bytes(kSettings, kSettingsSize);
    if (bytes.size() < kSettingsSize) return reply.setStatus(DeviceStatus::INVALID_PARAMETER);
    state.i3c.controllerSettings = std::array<std::uint8_t, 4>{bytes[0], bytes[1], bytes[2], bytes[3]};
}

// The list is the controller's table from now on; addressing the targets is
// left to the CCCs that follow.
void initBus(FirmwareState& state, const Request& request, Reply& reply)
{
    const auto count = request.u8(kRecordCount);
    if (!count || request.size() < kRecords + std::size_t{*count} * kRecordSize)
        return reply.setStatus(DeviceStatus::INVALID_PARAMETER);
    std::vector<I3cRecord> table;
    for (std::size_t i = 0; i < *count; ++i) table.push_back(recordAt(request, kRecords + i * kRecordSize));
    state.i3c.table = table;
    state.i3c.requested = std::move(table);
}

// The controller leaves HDR mode, broadcasts RSTDAA and forgets its table.
void resetBus(FirmwareState& state, const Request&, Reply&)
{
    I3cState& bus = state.i3c;
    bus.inHdrMode = false;
    resetDynamicAddresses(bus);
    bus.table.clear();
    bus.requested.clear();
}

// Answer: the number of records, then the records.
void getDeviceTable(FirmwareState& state, const Request&, Reply& reply)
{
    const std::size_t count = std::min<std::size_t>(state.i3c.table.size(), 255);
    reply.u8(static_cast<std::uint8_t>(count));
    for (std::size_t i = 0; i < count; ++i) reply.bytes(state.i3c.table[i].data(), kRecordSize);
}

void setTargetConfiguration(FirmwareState& state, const Request& request, Reply& reply)
{
    const auto address = request.u8(kTarget);
    const auto configuration = request.u8(kConfiguration);
    if (!address || !configuration) return reply.setStatus(DeviceStatus::INVALID_PARAMETER);
    auto& table = state.i3c.table;
    auto it = std::find_if(table.begin(), table.end(),
                           [&](const I3cRecord& r) { return *address != 0 && r[kRecordDynamic] == *address; });
    if (it == table.end())
        it = std::find_if(table.begin(), table.end(),
                          [&](const I3cRecord& r) { return *address != 0 && r[kRecordStatic] == *address; });
    if (it == table.end()) return reply.setStatus(I3cStatus::NACK);
    (*it)[kRecordConfiguration] = *configuration;
}

// The target reset pattern is seen by targets in HDR mode too, so it also
// ends HDR mode.
void busPattern(FirmwareState& state, const Request& request, Reply& reply)
{
    const auto selector = request.u8(kPattern);
    if (!selector || *selector > 1) return reply.setStatus(DeviceStatus::INVALID_PARAMETER);
    I3cState& bus = state.i3c;
    bus.inHdrMode = false;
    if (*selector == 0) {
        for (I3cTarget& target : bus.targets) resetTarget(bus, target);
    }
}

// Queued IBIs and hot-joins that a command let through follow its answer.
template <CommandHandler Handler>
void thenEvents(FirmwareState& state, const Request& request, Reply& reply)
{
    Handler(state, request, reply);
    for (I3cEvent& event : takeDeliverableEvents(state.i3c)) reply.notify(event.code, event.payload);
}

} // namespace

std::uint8_t pidByte(std::uint64_t pid, std::size_t index)
{
    return static_cast<std::uint8_t>((pid >> (8 * (5 - index))) & 0xFF);
}

void I3cState::restart()
{
    controllerSettings.reset();
    table.clear();
    requested.clear();
    inHdrMode = false;
    hotJoinAccepted = true;
}

I3cTarget makeI3cTarget(const I3cTargetConfig& config)
{
    I3cTarget target;
    target.config = config;
    target.config.pid &= kPidMask;
    target.maxWriteLength = config.maxWriteLength;
    target.maxReadLength = config.maxReadLength;
    target.maxIbiPayloadSize = config.maxIbiPayloadSize;
    target.memory = config.memory;
    return target;
}

void checkI3cAttach(const I3cState& state, const I3cTargetConfig& config)
{
    const std::uint64_t pid = config.pid & kPidMask;
    for (const I3cTarget& other : state.targets) {
        if (other.config.pid == pid) throw std::invalid_argument("an I3C target with this PID is attached");
    }
    if (config.staticAddress && (*config.staticAddress > 0x7F || addressInUse(state, *config.staticAddress, nullptr)))
        throw std::invalid_argument("the static address is taken or not a 7-bit address");
}

I3cTarget* findByDynamicAddress(I3cState& state, std::uint8_t address)
{
    if (address == 0) return nullptr;
    for (I3cTarget& target : state.targets)
        if (target.dynamicAddress == address) return &target;
    return nullptr;
}

I2cLegacyTarget* findLegacy(I3cState& state, std::uint8_t address)
{
    for (I2cLegacyTarget& legacy : state.legacyTargets)
        if (legacy.address == address) return &legacy;
    return nullptr;
}

bool isFreeDynamicAddress(const I3cState& state, std::uint8_t address, const I3cTarget* self)
{
    return isFreeFor(state, address, self);
}

void setDynamicAddress(I3cState& state, I3cTarget& target, std::uint8_t address)
{
    target.dynamicAddress = address;
    I3cRecord* record = recordOf(state, target);
    if (!record) {
        if (address == 0) return;
        state.table.push_back(I3cRecord{});
        record = &state.table.back();
        record->at(kRecordStatic) = target.config.staticAddress.value_or(0);
    }
    (*record)[kRecordDynamic] = address;
    for (std::size_t i = 0; i < 6; ++i) (*record)[kRecordPid + i] = pidByte(target.config.pid, i);
    (*record)[kRecordBcr] = target.config.bcr;
    (*record)[kRecordDcr] = target.config.dcr;
}

void assignDynamicAddresses(I3cState& state)
{
    // Arbitration on the PID, BCR and DCR lets the lowest PID win each round.
    std::vector<I3cTarget*> waiting;
    for (I3cTarget& target : state.targets)
        if (target.dynamicAddress == 0) waiting.push_back(&target);
    std::sort(waiting.begin(), waiting.end(),
              [](const I3cTarget* a, const I3cTarget* b) { return a->config.pid < b->config.pid; });
    for (I3cTarget* target : waiting) assignDynamicAddress(state, *target);
}

void resetDynamicAddresses(I3cState& state)
{
    for (I3cTarget& target : state.targets) target.dynamicAddress = 0;
    for (I3cRecord& record : state.table) record[kRecordDynamic] = 0;
}

void resetTarget(I3cState& state, I3cTarget& target)
{
    const std::uint8_t action = target.resetAction;
    target.resetAction = kResetPeripheral;
    if (action != kResetPeripheral && action != kResetWholeTarget) return;
    target.events = kAllEvents;
    target.maxWriteLength = target.config.maxWriteLength;
    target.maxReadLength = target.config.maxReadLength;
    target.maxIbiPayloadSize = target.config.maxIbiPayloadSize;
    target.registerPointer = 0;
    target.pendingIbis.clear();
    if (action == kResetWholeTarget) setDynamicAddress(state, target, 0);
}

Bytes ibiPayload(const I3cTarget& target, const Bytes& payload)
{
    std::size_t size = std::min<std::size_t>(payload.size(), 255);
    if (target.maxIbiPayloadSize) size = std::min<std::size_t>(size, *target.maxIbiPayloadSize);
    Bytes out;
    out.reserve(2 + size);
    out.push_back(target.dynamicAddress);
    out.push_back(static_cast<std::uint8_t>(size));
    for (std::size_t i = 0; i < size; ++i) out.push_back(payload[i]);
    return out;
}

Bytes hotJoinPayload(const I3cTarget& target)
{
    Bytes out;
    for (std::size_t i = 0; i < 6; ++i) out.push_back(pidByte(target.config.pid, i));
    out.push_back(target.config.bcr);
    out.push_back(target.config.dcr);
    out.push_back(target.dynamicAddress);
    return out;
}

bool ibiDeliverable(const I3cState& state, const I3cTarget& target)
{
    return !state.inHdrMode && target.dynamicAddress != 0 && (target.events & kEventInterrupts) != 0;
}

bool hotJoinDeliverable(const I3cState& state, const I3cTarget& target)
{
    return !state.inHdrMode && state.hotJoinAccepted && (target.events & kEventHotJoin) != 0;
}

std::optional<I3cEvent> serviceHotJoin(I3cState& state, I3cTarget& target)
{
    if (!target.hotJoinPending) return std::nullopt;
    if (target.dynamicAddress != 0) {
        // Addressed by an ENTDAA meanwhile: it has nothing left to ask for.
        target.hotJoinPending = false;
        return std::nullopt;
    }
    if (!hotJoinDeliverable(state, target)) return std::nullopt;
    target.hotJoinPending = false;
    if (target.assignOnHotJoin) assignDynamicAddress(state, target);
    return I3cEvent{codes::I3C_HOT_JOIN, hotJoinPayload(target)};
}

std::vector<I3cEvent> takeDeliverableEvents(I3cState& state)
{
    std::vector<I3cEvent> events;
    for (I3cTarget& target : state.targets) {
        if (auto hotJoin = serviceHotJoin(state, target)) events.push_back(std::move(*hotJoin));
        while (!target.pendingIbis.empty() && ibiDeliverable(state, target)) {
            events.push_back({codes::I3C_IBI, ibiPayload(target, target.pendingIbis.front())});
            target.pendingIbis.pop_front();
        }
    }
    return events;
}

constexpr CommandRows kI3cCommands{
    {codes::I3C_INIT, controllerSettings},
    {codes::I3C_SET_PARAMETERS, controllerSettings},
    {codes::I3C_INIT_BUS, initBus},
    {codes::I3C_RESET_BUS, thenEvents<resetBus>},
    {codes::I3C_GET_DEVICE_TABLE, getDeviceTable},
    {codes::I3C_SET_TARGET_CONFIGURATION, setTargetConfiguration},
    {codes::I3C_PRIVATE_TRANSFER, thenEvents<handleI3cPrivateTransfer>},
    {codes::I3C_CCC, thenEvents<handleI3cCcc>},
    {codes::I3C_BUS_PATTERN, thenEvents<busPattern>},
};

} // namespace tarvix_virtual::detail
