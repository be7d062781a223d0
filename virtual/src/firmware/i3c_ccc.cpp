// I3C Common Command Codes (I3C_CCC).
//
// Answer payload: the address, code and defining byte echoed, the number of
// bytes read, then the bytes.
#include <algorithm>

#include "firmware/i3c_handlers.hpp"

namespace tarvix_virtual::detail {

namespace {

namespace ccc {
constexpr std::uint8_t ENEC = 0x00, DISEC = 0x01, ENTAS0 = 0x02, ENTAS3 = 0x05, RSTDAA = 0x06, ENTDAA = 0x07,
                       SETMWL = 0x09, SETMRL = 0x0A, SETBUSCON = 0x0C, SETXTIME = 0x28, SETAASA = 0x29, RSTACT = 0x2A,
                       RSTGRPA = 0x2C;
constexpr std::uint8_t ENEC_D = 0x80, DISEC_D = 0x81, ENTAS0_D = 0x82, ENTAS3_D = 0x85, SETDASA = 0x87, SETNEWDA = 0x88,
                       SETMWL_D = 0x89, SETMRL_D = 0x8A, GETMWL = 0x8B, GETMRL = 0x8C, GETPID = 0x8D, GETBCR = 0x8E,
                       GETDCR = 0x8F, GETSTATUS = 0x90, GETMXDS = 0x94, GETCAPS = 0x95, SETXTIME_D = 0x98,
                       GETXTIME = 0x99, RSTACT_D = 0x9A, SETGRPA = 0x9B, RSTGRPA_D = 0x9C;
constexpr std::uint8_t kFirstDirect = 0x80;
} // namespace ccc

// clang-format off
// Payload offsets.
constexpr std::size_t kAddress      = 0;  // 0x7E for a broadcast code
constexpr std::size_t kFlags        = 1;  // bit 0 read, bits 1-2 mode, bit 3 transfer flag, bit 4 defining byte sent
constexpr std::size_t kLength       = 2;  // bytes to read, or bytes written
constexpr std::size_t kCode         = 3;
constexpr std::size_t kDefiningByte = 4;
constexpr std::size_t kData         = 5;  // written data
// clang-format on

constexpr std::uint8_t kReadFlag = 0x01;
constexpr std::uint8_t kDefiningByteFlag = 0x10;
constexpr std::uint8_t kIbiPayloadBit = 0x04; // BCR bit 2: IBIs carry a payload

struct CccFrame {
    std::uint8_t address = 0;
    bool read = false;
    bool hasDefiningByte = false;
    std::uint8_t length = 0;
    std::uint8_t code = 0;
    std::uint8_t definingByte = 0;
    Bytes data;
};

// Status and read bytes of one CCC; SUCCESS with no bytes unless set.
struct CccResult {
    std::uint16_t status = static_cast<std::uint16_t>(DeviceStatus::SUCCESS);
    Bytes data;
};

CccResult fail(I3cStatus status)
{
    return {static_cast<std::uint16_t>(status), {}};
}
CccResult fail(DeviceStatus status)
{
    return {static_cast<std::uint16_t>(status), {}};
}
CccResult answer(Bytes data)
{
    return {static_cast<std::uint16_t>(DeviceStatus::SUCCESS), std::move(data)};
}

bool isGet(std::uint8_t code)
{
    switch (code) {
    case ccc::GETMWL:
    case ccc::GETMRL:
    case ccc::GETPID:
    case ccc::GETBCR:
    case ccc::GETDCR:
    case ccc::GETSTATUS:
    case ccc::GETMXDS:
    case ccc::GETCAPS:
    case ccc::GETXTIME: return true;
    default: return false;
    }
}

// ENEC/DISEC and RSTACT carry their argument in the defining byte (broadcast
// forms as the host encodes them) or in the first data byte (direct forms).
std::optional<std::uint8_t> argumentOf(const CccFrame& frame)
{
    if (frame.hasDefiningByte) return frame.definingByte;
    if (!frame.data.empty()) return frame.data[0];
    return std::nullopt;
}

// CCC payloads order their 16-bit values most significant byte first, as the
// I3C specification has them.
std::optional<std::uint16_t> bigEndianLength(const CccFrame& frame)
{
    if (frame.data.size() < 2) return std::nullopt;
    return static_cast<std::uint16_t>(frame.data[0] << 8 | frame.data[1]);
}

Bytes bigEndian(std::uint16_t value)
{
    return {static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value & 0xFF)};
}

// SETMRL's third byte reaches only targets whose IBIs carry a payload.
void setMaxReadLength(I3cTarget& target, std::uint16_t length, const Bytes& data)
{
    target.maxReadLength = length;
    if (data.size() >= 3 && ((target.config.bcr & kIbiPayloadBit) != 0 || target.maxIbiPayloadSize))
        target.maxIbiPayloadSize = data[2];
}

void changeEvents(I3cTarget& target, std::uint8_t code, std::uint8_t events)
{
    if (code == ccc::ENEC || code == ccc::ENEC_D)
        target.events = static_cast<std::uint8_t>(target.events | events);
    else
        target.events = static_cast<std::uint8_t>(target.events & ~events);
}

CccResult broadcast(I3cState& bus, const CccFrame& frame)
{
    switch (frame.code) {
    case ccc::ENEC:
    case ccc::DISEC: {
        const auto events = argumentOf(frame);
        if (!events) return fail(DeviceStatus::INVALID_PARAMETER);
        for (I3cTarget& target : bus.targets) changeEvents(target, frame.code, *events);
        // The controller answers hot-join requests as it has told the targets to make them.
        if ((*events & kEventHotJoin) != 0) bus.hotJoinAccepted = frame.code == ccc::ENEC;
        return {};
    }
    case ccc::RSTDAA: resetDynamicAddresses(bus); return {};
    case ccc::ENTDAA: assignDynamicAddresses(bus); return {};
    case ccc::SETMWL: {
        const auto length = bigEndianLength(frame);
        if (!length) return fail(DeviceStatus::INVALID_PARAMETER);
        for (I3cTarget& target : bus.targets) target.maxWriteLength = *length;
        return {};
    }
    case ccc::SETMRL: {
        const auto length = bigEndianLength(frame);
        if (!length) return fail(DeviceStatus::INVALID_PARAMETER);
        for (I3cTarget& target : bus.targets) setMaxReadLength(target, *length, frame.data);
        return {};
    }
    case ccc::SETAASA: {
        // Every target with a static address and no dynamic one takes its
        // static address as dynamic address; one that cannot is reported.
        CccResult result;
        for (I3cTarget& target : bus.targets) {
            if (target.dynamicAddress != 0 || !target.config.staticAddress) continue;
            if (isFreeDynamicAddress(bus, *target.config.staticAddress, &target))
                setDynamicAddress(bus, target, *target.config.staticAddress);
            else
                result = fail(I3cStatus::ADDRESS_REFUSED);
        }
        return result;
    }
    case ccc::RSTACT: {
        const auto action = argumentOf(frame);
        if (!action) return fail(DeviceStatus::INVALID_PARAMETER);
        for (I3cTarget& target : bus.targets) target.resetAction = *action;
        return {};
    }
    case ccc::SETBUSCON:
    case ccc::SETXTIME:
    case ccc::RSTGRPA: return {}; // acknowledged; bus context, timing and groups are not modelled
    default:
        if (frame.code >= ccc::ENTAS0 && frame.code <= ccc::ENTAS3) return {}; // activity states: no effect here
        return fail(I3cStatus::UNSUPPORTED_CCC);
    }
}

// SETDASA goes to a static address, and only a target still without a
// dynamic address answers it.
CccResult setDasa(I3cState& bus, const CccFrame& frame)
{
    const auto it = std::find_if(bus.targets.begin(), bus.targets.end(), [&](const I3cTarget& t) {
        return t.dynamicAddress == 0 && t.config.staticAddress == frame.address;
    });
    if (it == bus.targets.end()) return fail(I3cStatus::NACK);
    if (frame.data.empty()) return fail(DeviceStatus::INVALID_PARAMETER);
    const auto address = static_cast<std::uint8_t>(frame.data[0] >> 1);
    if (!isFreeDynamicAddress(bus, address, &*it)) return fail(I3cStatus::ADDRESS_REFUSED);
    setDynamicAddress(bus, *it, address);
    return {};
}

CccResult direct(I3cState& bus, const CccFrame& frame)
{
    if (frame.code == ccc::SETDASA) return setDasa(bus, frame);
    I3cTarget* target = findByDynamicAddress(bus, frame.address);
    if (!target) return fail(I3cStatus::NACK);
    const I3cTargetConfig& config = target->config;

    switch (frame.code) {
    case ccc::ENEC_D:
    case ccc::DISEC_D: {
        const auto events = argumentOf(frame);
        if (!events) return fail(DeviceStatus::INVALID_PARAMETER);
        changeEvents(*target, frame.code, *events);
        return {};
    }
    case ccc::SETNEWDA: {
        if (frame.data.empty()) return fail(DeviceStatus::INVALID_PARAMETER);
        const auto address = static_cast<std::uint8_t>(frame.data[0] >> 1);
        if (!isFreeDynamicAddress(bus, address, target)) return fail(I3cStatus::ADDRESS_REFUSED);
        setDynamicAddress(bus, *target, address);
        return {};
    }
    case ccc::SETMWL_D: {
        const auto length = bigEndianLength(frame);
        if (!length) return fail(DeviceStatus::INVALID_PARAMETER);
        target->maxWriteLength = *length;
        return {};
    }
    case ccc::SETMRL_D: {
        const auto length = bigEndianLength(frame);
        if (!length) return fail(DeviceStatus::INVALID_PARAMETER);
        setMaxReadLength(*target, *length, frame.data);
        return {};
    }
    case ccc::GETMWL: return answer(bigEndian(target->maxWriteLength));
    case ccc::GETMRL: {
        Bytes data = bigEndian(target->maxReadLength);
        if (target->maxIbiPayloadSize) data.push_back(*target->maxIbiPayloadSize);
        return answer(std::move(data));
    }
    case ccc::GETPID: {
        Bytes pid;
        for (std::size_t i = 0; i < 6; ++i) pid.push_back(pidByte(config.pid, i));
        return answer(std::move(pid));
    }
    case ccc::GETBCR: return answer({config.bcr});
    case ccc::GETDCR: return answer({config.dcr});
    case ccc::GETSTATUS:
        if (frame.hasDefiningByte && frame.definingByte != 0) return fail(I3cStatus::NACK);
        return answer(bigEndian(config.status));
    case ccc::GETCAPS:
        if (frame.hasDefiningByte && frame.definingByte != 0) return fail(I3cStatus::NACK);
        [[fallthrough]];
    case ccc::GETMXDS:
    case ccc::GETXTIME: {
        const Bytes& value = frame.code == ccc::GETCAPS   ? config.capabilities
                             : frame.code == ccc::GETMXDS ? config.maxDataSpeed
                                                          : config.extendedTiming;
        if (value.empty()) return fail(I3cStatus::NACK); // an optional CCC it does not support
        return answer(value);
    }
    case ccc::RSTACT_D: {
        const auto action = argumentOf(frame);
        if (!action) return fail(DeviceStatus::INVALID_PARAMETER);
        if (frame.read) return answer({config.resetTime});
        target->resetAction = *action;
        return {};
    }
    case ccc::SETXTIME_D:
    case ccc::SETGRPA:
    case ccc::RSTGRPA_D: return {}; // acknowledged; timing and groups are not modelled
    default:
        if (frame.code >= ccc::ENTAS0_D && frame.code <= ccc::ENTAS3_D) return {};
        return fail(I3cStatus::UNSUPPORTED_CCC);
    }
}

CccResult run(I3cState& bus, const CccFrame& frame)
{
    if (bus.inHdrMode) return fail(I3cStatus::HDR_MODE_ACTIVE);
    const bool isBroadcast = frame.code < ccc::kFirstDirect;
    if (isBroadcast != (frame.address == kI3cBroadcast)) return fail(DeviceStatus::INVALID_PARAMETER);
    // Only RSTACT goes either way; a GET must read and every other code write.
    if (frame.code != ccc::RSTACT_D && frame.read != isGet(frame.code)) return fail(DeviceStatus::INVALID_PARAMETER);
    return isBroadcast ? broadcast(bus, frame) : direct(bus, frame);
}

} // namespace

void handleI3cCcc(FirmwareState& state, const Request& request, Reply& reply)
{
    if (request.size() < kData) {
        reply.setStatus(DeviceStatus::INVALID_PARAMETER);
        reply.u8(0).u8(0).u8(0).u8(0);
        return;
    }
    const std::uint8_t flags = *request.u8(kFlags);
    CccFrame frame;
    frame.address = *request.u8(kAddress);
    frame.read = (flags & kReadFlag) != 0;
    frame.hasDefiningByte = (flags & kDefiningByteFlag) != 0;
    frame.length = *request.u8(kLength);
    frame.code = *request.u8(kCode);
    frame.definingByte = *request.u8(kDefiningByte);
    frame.data = request.bytes(kData);
    CccResult result = run(state.i3c, frame);
    // The controller stops reading after the bytes it was asked for.
    if (result.data.size() > frame.length) result.data.resize(frame.length);
    reply.setStatus(result.status);
    reply.u8(frame.address).u8(frame.code).u8(frame.definingByte).u8(static_cast<std::uint8_t>(result.data.size()));
    reply.bytes(result.data);
}

} // namespace tarvix_virtual::detail
