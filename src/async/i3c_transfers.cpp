// I3C private transfers: SDR, HDR-DDR and legacy I2C reads and writes, all under one command.
// Byte 5 of every frame, the mode byte, tells them apart:
//
//     bit 0       direction (0 write, 1 read)
//     bits 1..2   mode (0 SDR, 1 HDR-DDR, 2 legacy I2C)
//     bits 3..7   transfer flags (SDR and legacy I2C only; bit 3 is the CCC frame's transfer flag)
//
// SDR and legacy I2C frames address a register of up to four bytes; HDR-DDR frames carry an HDR
// command byte instead and have no register field at all, so their length sits four bytes
// earlier. The two layouts are kept in two encoders on purpose.
#include "../protocol/codes.hpp"
#include "session.hpp"

#include <cstddef>

using namespace tarvix_detail;

namespace {

std::uint8_t modeByte(I3cTransferFlags flags, I3cTransferMode mode, I3cTransferDirection direction) noexcept
{
    // Flags above 31 lose their upper bits: the byte has five bits for them.
    const auto value = static_cast<std::uint32_t>(flags) * 8u | static_cast<std::uint32_t>(mode) * 2u |
                       static_cast<std::uint32_t>(direction);
    return lowByte(value);
}

// SDR and legacy I2C. The register bytes go in vector order, padded with zeros to the four-byte
// field (the I2C controller instead folds them into a little-endian number; each keeps its own
// convention). `lengthField` is the number of bytes to read, or of `data` to write (cut to 16
// bits while every byte is sent); a read passes no data.
StatusCode sendRegisterTransfer(AsyncSession& session, TransactionId transactionId, std::uint8_t targetAddress,
                                I3cTransferMode mode, I3cTransferDirection direction, I3cTransferFlags flags,
                                const std::vector<std::uint8_t>& registerAddress, std::uint16_t lengthField,
                                const std::vector<std::uint8_t>& data)
{
    return session.send(transactionId, cmd::kI3cPrivateTransfer, registerAddress.size() <= kMaxRegisterAddressBytes,
                        [&](FrameBuilder& f) {
                            f.u8(targetAddress)
                                .u8(modeByte(flags, mode, direction))
                                .u8(0x00) // no HDR command in SDR or legacy I2C
                                .u8(lowByte(registerAddress.size()))
                                .bytes(registerAddress)
                                .zeros(kMaxRegisterAddressBytes - registerAddress.size())
                                .u16(lengthField)
                                .bytes(data);
                        });
}

// HDR-DDR: no flags, no register field; the HDR command byte takes the place the SDR frame
// keeps zero, and the register length byte is always zero.
StatusCode sendHdrDdrTransfer(AsyncSession& session, TransactionId transactionId, std::uint8_t targetAddress,
                              I3cTransferDirection direction, std::uint8_t command, std::uint16_t lengthField,
                              const std::vector<std::uint8_t>& data)
{
    return session.send(transactionId, cmd::kI3cPrivateTransfer, true, [&](FrameBuilder& f) {
        f.u8(targetAddress)
            .u8(modeByte(I3cTransferFlags::NONE, I3cTransferMode::HDR_DDR, direction))
            .u8(command)
            .u8(0x00)
            .u16(lengthField)
            .bytes(data);
    });
}

} // namespace

// Reads: the length field asks for `length` bytes, and no data follows.
StatusCode TarvixAsyncSDK::i3cSdrRead(TransactionId transactionId, std::uint8_t targetAddress,
                                      const std::vector<std::uint8_t>& registerAddress, std::uint16_t length,
                                      I3cTransferFlags flags)
{
    return sendRegisterTransfer(*session_, transactionId, targetAddress, I3cTransferMode::SDR,
                                I3cTransferDirection::READ, flags, registerAddress, length, {});
}

StatusCode TarvixAsyncSDK::i3cLegacyI2cRead(TransactionId transactionId, std::uint8_t targetAddress,
                                            const std::vector<std::uint8_t>& registerAddress, std::uint16_t length,
                                            I3cTransferFlags flags)
{
    return sendRegisterTransfer(*session_, transactionId, targetAddress, I3cTransferMode::LEGACY_I2C,
                                I3cTransferDirection::READ, flags, registerAddress, length, {});
}

StatusCode TarvixAsyncSDK::i3cHdrDdrRead(TransactionId transactionId, std::uint8_t targetAddress, std::uint8_t command,
                                         std::uint16_t length)
{
    return sendHdrDdrTransfer(*session_, transactionId, targetAddress, I3cTransferDirection::READ, command, length, {});
}

// Writes: the length field is the data's size.
StatusCode TarvixAsyncSDK::i3cSdrWrite(TransactionId transactionId, std::uint8_t targetAddress,
                                       const std::vector<std::uint8_t>& registerAddress,
                                       const std::vector<std::uint8_t>& data, I3cTransferFlags flags)
{
    return sendRegisterTransfer(*session_, transactionId, targetAddress, I3cTransferMode::SDR,
                                I3cTransferDirection::WRITE, flags, registerAddress, count16(data.size()), data);
}

StatusCode TarvixAsyncSDK::i3cLegacyI2cWrite(TransactionId transactionId, std::uint8_t targetAddress,
                                             const std::vector<std::uint8_t>& registerAddress,
                                             const std::vector<std::uint8_t>& data, I3cTransferFlags flags)
{
    return sendRegisterTransfer(*session_, transactionId, targetAddress, I3cTransferMode::LEGACY_I2C,
                                I3cTransferDirection::WRITE, flags, registerAddress, count16(data.size()), data);
}

StatusCode TarvixAsyncSDK::i3cHdrDdrWrite(TransactionId transactionId, std::uint8_t targetAddress, std::uint8_t command,
                                          const std::vector<std::uint8_t>& data)
{
    return sendHdrDdrTransfer(*session_, transactionId, targetAddress, I3cTransferDirection::WRITE, command,
                              count16(data.size()), data);
}
