// I3C private transfers (I3C_PRIVATE_TRANSFER): SDR and legacy I2C with a
// register address, HDR-DDR with a command byte, all reaching the targets'
// memories.
//
// Answer payload: the target address and the mode byte echoed, the count u16
// (bytes read, or written), then the bytes read.
#include <algorithm>

#include "firmware/i3c_handlers.hpp"

namespace tarvix_virtual::detail {

namespace {

// clang-format off
// Payload offsets.
constexpr std::size_t kAddress        = 0;
constexpr std::size_t kModeByte       = 1;   // bit 0 read, bits 1-2 mode, bits 3-7 flags
constexpr std::size_t kHdrCommand     = 2;
constexpr std::size_t kRegisterSize   = 3;   // register address bytes, 0..4
constexpr std::size_t kRegister       = 4;   // SDR, legacy I2C: up to 4 bytes, most significant first
constexpr std::size_t kSdrLength      = 8;   // u16
constexpr std::size_t kSdrData        = 10;
constexpr std::size_t kHdrLength      = 4;   // u16
constexpr std::size_t kHdrData        = 6;
// clang-format on

constexpr std::uint8_t kReadBit = 0x01;
constexpr std::uint8_t kModeSdr = 0;
constexpr std::uint8_t kModeHdrDdr = 1;
constexpr std::uint8_t kModeLegacyI2c = 2;
constexpr std::uint8_t kHdrReadCommand = 0x80; // HDR-DDR commands 0x80..0xFF read

struct TransferResult {
    std::uint16_t status = static_cast<std::uint16_t>(DeviceStatus::SUCCESS);
    std::uint16_t count = 0;
    Bytes data;
};

TransferResult fail(I3cStatus status)
{
    return {static_cast<std::uint16_t>(status), 0, {}};
}
TransferResult fail(DeviceStatus status)
{
    return {static_cast<std::uint16_t>(status), 0, {}};
}

// The pointer moves on with every byte and wraps at the end of the memory.
void writeMemory(Bytes& memory, std::size_t& pointer, const Bytes& data)
{
    if (memory.empty()) return;
    for (const std::uint8_t byte : data) {
        pointer %= memory.size();
        memory[pointer++] = byte;
    }
    pointer %= memory.size();
}

Bytes readMemory(const Bytes& memory, std::size_t& pointer, std::size_t count)
{
    Bytes data;
    if (memory.empty()) return data;
    for (std::size_t i = 0; i < count; ++i) {
        pointer %= memory.size();
        data.push_back(memory[pointer++]);
    }
    pointer %= memory.size();
    return data;
}

// A memory-backed target seen through SDR or legacy I2C: the register bytes,
// most significant first, move its pointer before the data.
TransferResult registerTransfer(Bytes& memory, std::size_t& pointer, const Bytes& registerAddress, bool read,
                                std::size_t length, const Bytes& written)
{
    if (!registerAddress.empty() && !memory.empty()) {
        std::size_t value = 0;
        for (const std::uint8_t byte : registerAddress) value = value << 8 | byte;
        pointer = value % memory.size();
    }
    TransferResult result;
    if (read) {
        result.data = readMemory(memory, pointer, length);
        result.count = static_cast<std::uint16_t>(result.data.size());
    } else {
        writeMemory(memory, pointer, written);
        result.count = static_cast<std::uint16_t>(written.size());
    }
    return result;
}

TransferResult sdrOrLegacy(I3cState& bus, const Request& request, std::uint8_t address, std::uint8_t mode, bool read)
{
    const auto registerLength = request.u8(kRegisterSize);
    const auto length = request.u16(kSdrLength);
    if (!registerLength || *registerLength > kMaxRegisterBytes || !length) return fail(DeviceStatus::INVALID_PARAMETER);
    const Bytes registerAddress = request.bytes(kRegister, *registerLength);
    const Bytes written = read ? Bytes{} : request.bytes(kSdrData, *length);
    if (written.size() < (read ? 0u : *length)) return fail(DeviceStatus::INVALID_PARAMETER);
    if (bus.inHdrMode) return fail(I3cStatus::HDR_MODE_ACTIVE);

    if (mode == kModeLegacyI2c) {
        I2cLegacyTarget* legacy = findLegacy(bus, address);
        if (!legacy) return fail(I3cStatus::NACK);
        return registerTransfer(legacy->memory, legacy->registerPointer, registerAddress, read, *length, written);
    }
    I3cTarget* target = findByDynamicAddress(bus, address);
    if (!target) return fail(I3cStatus::NACK);
    if (!read && *length > target->maxWriteLength) return fail(I3cStatus::WRITE_TOO_LONG);
    // The target ends a read at its maximum read length.
    const std::size_t readLength = std::min<std::size_t>(*length, target->maxReadLength);
    return registerTransfer(target->memory, target->registerPointer, registerAddress, read, readLength, written);
}

TransferResult hdrDdr(I3cState& bus, const Request& request, std::uint8_t address, bool read)
{
    const auto command = request.u8(kHdrCommand);
    const auto length = request.u16(kHdrLength);
    if (!command || !length || read != (*command >= kHdrReadCommand)) return fail(DeviceStatus::INVALID_PARAMETER);
    const Bytes written = read ? Bytes{} : request.bytes(kHdrData, *length);
    if (written.size() < (read ? 0u : *length)) return fail(DeviceStatus::INVALID_PARAMETER);

    // ENTHDR0 puts every target in HDR-DDR mode, whoever answers afterwards;
    // only the HDR exit or target reset pattern brings them back.
    bus.inHdrMode = true;
    I3cTarget* target = findByDynamicAddress(bus, address);
    if (!target || !target->config.hdrDdr) return fail(I3cStatus::NACK);
    // The command's low seven bits select the register; SDR's pointer stays put.
    std::size_t pointer = *command & 0x7Fu;
    TransferResult result;
    if (read) {
        result.data = readMemory(target->memory, pointer, *length);
        result.count = static_cast<std::uint16_t>(result.data.size());
    } else {
        writeMemory(target->memory, pointer, written);
        result.count = *length;
    }
    return result;
}

} // namespace

void handleI3cPrivateTransfer(FirmwareState& state, const Request& request, Reply& reply)
{
    const auto address = request.u8(kAddress);
    const auto modeByte = request.u8(kModeByte);
    TransferResult result = fail(DeviceStatus::INVALID_PARAMETER);
    if (address && modeByte) {
        const bool read = (*modeByte & kReadBit) != 0;
        const auto mode = static_cast<std::uint8_t>((*modeByte >> 1) & 0x03);
        if (mode == kModeSdr || mode == kModeLegacyI2c)
            result = sdrOrLegacy(state.i3c, request, *address, mode, read);
        else if (mode == kModeHdrDdr)
            result = hdrDdr(state.i3c, request, *address, read);
    }
    reply.setStatus(result.status);
    reply.u8(address.value_or(0)).u8(modeByte.value_or(0)).u16(result.count).bytes(result.data);
}

} // namespace tarvix_virtual::detail
