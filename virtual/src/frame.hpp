// Little-endian field access and the report segment header, shared by the
// device core and the firmware.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarvix_virtual::detail {

inline std::uint16_t loadU16(const std::uint8_t* p) {
    return static_cast<std::uint16_t>(p[0] | (p[1] << 8));
}

inline void storeU16(std::uint8_t* p, std::uint16_t value) {
    p[0] = static_cast<std::uint8_t>(value & 0xFFu);
    p[1] = static_cast<std::uint8_t>(value >> 8);
}

inline void appendU16(std::vector<std::uint8_t>& out, std::uint16_t value) {
    out.push_back(static_cast<std::uint8_t>(value & 0xFFu));
    out.push_back(static_cast<std::uint8_t>(value >> 8));
}

// Every report carries one segment: a 2-byte header, then up to 1023 frame
// bytes. Header bit 0 opens a frame, bit 1 closes it, bits 2..11 count the
// bytes that follow; bits 12..15 are sent as 0 and ignored on receipt.
inline constexpr std::uint16_t kFirstSegment = 0x0001;
inline constexpr std::uint16_t kLastSegment = 0x0002;
inline constexpr std::size_t kSegmentHeaderSize = 2;
inline constexpr std::size_t kMaxSegmentBytes = 0x3FF;

inline std::size_t segmentByteCount(std::uint16_t header) {
    return static_cast<std::size_t>((header >> 2) & kMaxSegmentBytes);
}

inline std::uint16_t segmentHeader(std::size_t count, bool first, bool last) {
    return static_cast<std::uint16_t>((count & kMaxSegmentBytes) << 2 |
                                      (first ? kFirstSegment : 0u) | (last ? kLastSegment : 0u));
}

// Frame layout: tid u16, code u16, then (responses only) status u16, payload.
inline constexpr std::size_t kRequestHeaderSize = 4;
inline constexpr std::size_t kResponseHeaderSize = 6;

}  // namespace tarvix_virtual::detail
