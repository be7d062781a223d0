// Where the fields of a frame sit, the adapter's limits, and how a value is cut to a wire field.
//
// A request frame is transaction id (bytes 0..1), command code (2..3), then the command's
// payload from byte 4. A response or notification frame is transaction id (0 for a
// notification), code, the device status (4..5), then the payload from byte 6. Every field is
// little-endian; the report-ID byte and the segment header travel below the frame and are the
// transport's.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

namespace tarvix_detail {

constexpr std::size_t kTransactionIdOffset = 0;
constexpr std::size_t kCodeOffset = 2;
constexpr std::size_t kStatusOffset = 4;
constexpr std::size_t kRequestPayloadOffset = 4;
constexpr std::size_t kResponsePayloadOffset = 6;

// A register address (I2C and the I3C private transfers) fills a four-byte field.
constexpr std::size_t kMaxRegisterAddressBytes = 4;
// The adapter has two I2C ports, 0 and 1.
constexpr std::uint8_t kI2cPortCount = 2;

// The one rule for a value that goes out in a narrower field: its low byte, unchecked. An
// enumeration goes out as its value's low byte; the adapter judges what the value means.
template <class T>
constexpr std::uint8_t lowByte(T value) noexcept
{
    if constexpr (std::is_enum<T>::value) {
        return lowByte(static_cast<std::underlying_type_t<T>>(value));
    } else {
        static_assert(std::is_integral<T>::value, "lowByte takes an integer or an enumeration");
        return static_cast<std::uint8_t>(static_cast<std::uintmax_t>(value) & 0xFFu);
    }
}

// A vector's size as a 16-bit count field: cut to 16 bits without complaint, while every byte
// is still sent. The adapter's answer decides what such an oversized request means.
constexpr std::uint16_t count16(std::size_t size) noexcept
{
    return static_cast<std::uint16_t>(size & 0xFFFF);
}

// The little-endian 16-bit field at `offset`, or 0 when the frame ends before it.
inline std::uint16_t u16At(const std::uint8_t* frame, std::size_t length, std::size_t offset) noexcept
{
    if (frame == nullptr || length < 2 || offset > length - 2) {
        return 0;
    }
    return static_cast<std::uint16_t>(frame[offset] | (frame[offset + 1] << 8));
}

inline std::uint16_t u16At(const std::vector<std::uint8_t>& frame, std::size_t offset) noexcept
{
    return u16At(frame.data(), frame.size(), offset);
}

} // namespace tarvix_detail
