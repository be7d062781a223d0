// I2C controller: port set-up, pull-ups, write, read and bus scan. Every command starts with the
// port index; only the blocking scan checks it, the adapter judges the rest.
#include "../protocol/codes.hpp"
#include "session.hpp"

#include <cstddef>

using namespace tarvix_detail;

namespace {

// Init and set-parameters carry the same fields; only the command code tells them apart.
StatusCode sendControllerSettings(AsyncSession& session, TransactionId transactionId, std::uint16_t code,
                                  std::uint8_t bus, std::uint32_t frequency, std::uint8_t option)
{
    return session.send(transactionId, code, true, [&](FrameBuilder& f) { f.u8(bus).u32(frequency).u8(option); });
}

// The register address is given most significant byte first and folded into one number, which
// then goes out little-endian like every other frame field: {0x12, 0x34} travels as
// 34 12 00 00. The I3C transfers send theirs in vector order instead; each keeps its own.
std::uint32_t foldRegisterAddress(const std::vector<std::uint8_t>& registerAddress) noexcept
{
    std::uint32_t value = 0;
    for (const std::uint8_t byte : registerAddress) {
        value = (value << 8) | byte;
    }
    return value;
}

// Shared head of write and read: bus, a 16-bit count (data bytes or bytes wanted), target,
// register address length and folded value, flag.
void transferHeader(FrameBuilder& f, std::uint8_t bus, std::uint16_t count, std::uint8_t targetAddress,
                    const std::vector<std::uint8_t>& registerAddress, bool flag)
{
    f.u8(bus)
        .u16(count)
        .u8(targetAddress)
        .u8(lowByte(registerAddress.size()))
        .u32(foldRegisterAddress(registerAddress))
        .flag(flag);
}

} // namespace

StatusCode TarvixAsyncSDK::i2cControllerInit(TransactionId transactionId, std::uint8_t bus, std::uint32_t frequency,
                                             std::uint8_t option)
{
    return sendControllerSettings(*session_, transactionId, cmd::kI2cControllerInit, bus, frequency, option);
}

StatusCode TarvixAsyncSDK::i2cSetParameters(TransactionId transactionId, std::uint8_t bus, std::uint32_t frequency,
                                            std::uint8_t option)
{
    return sendControllerSettings(*session_, transactionId, cmd::kI2cSetParameters, bus, frequency, option);
}

StatusCode TarvixAsyncSDK::i2cSetPullUpResistors(TransactionId transactionId, std::uint8_t bus, std::uint8_t pullUp)
{
    return session_->sendByteFields(transactionId, cmd::kI2cSetPullUpResistors, bus, pullUp);
}

// The count is data.size() cut to 16 bits while every byte is appended; what an oversized
// request means is for the adapter to answer, not for the library to guess.
StatusCode TarvixAsyncSDK::i2cWrite(TransactionId transactionId, std::uint8_t bus, std::uint8_t targetAddress,
                                    const std::vector<std::uint8_t>& registerAddress,
                                    const std::vector<std::uint8_t>& data, bool flag)
{
    return session_->send(transactionId, cmd::kI2cWrite, registerAddress.size() <= kMaxRegisterAddressBytes,
                          [&](FrameBuilder& f) {
                              transferHeader(f, bus, count16(data.size()), targetAddress, registerAddress, flag);
                              f.bytes(data);
                          });
}

StatusCode TarvixAsyncSDK::i2cRead(TransactionId transactionId, std::uint8_t bus, std::uint8_t targetAddress,
                                   const std::vector<std::uint8_t>& registerAddress, std::uint16_t length, bool flag)
{
    return session_->send(
        transactionId, cmd::kI2cRead, registerAddress.size() <= kMaxRegisterAddressBytes,
        [&](FrameBuilder& f) { transferHeader(f, bus, length, targetAddress, registerAddress, flag); });
}

StatusCode TarvixAsyncSDK::i2cScanBus(TransactionId transactionId, std::uint8_t bus, bool flag)
{
    return session_->send(transactionId, cmd::kI2cScanBus, true, [&](FrameBuilder& f) { f.u8(bus).flag(flag); });
}
