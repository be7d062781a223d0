// The adapter's side of the wire format: little-endian fields, the frame
// headers and the report segment header, shared by the device core and the
// firmware. Written apart from the SDK's own frame code on purpose: a test
// that sends a request through the SDK and has it parsed here catches an
// encoding error on either side instead of agreeing with it.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace tarvix_virtual::detail {

inline std::uint16_t loadU16(const std::uint8_t* p)
{
    return static_cast<std::uint16_t>(p[0] | (p[1] << 8));
}

inline void storeU16(std::uint8_t* p, std::uint16_t value)
{
    p[0] = static_cast<std::uint8_t>(value & 0xFFu);
    p[1] = static_cast<std::uint8_t>(value >> 8);
}

// Every report carries one segment: a 2-byte header, then up to 1023 frame
// bytes. Header bit 0 opens a frame, bit 1 closes it, bits 2..11 count the
// bytes that follow; bits 12..15 are sent as 0 and ignored on receipt.
inline constexpr std::uint16_t kFirstSegment = 0x0001;
inline constexpr std::uint16_t kLastSegment = 0x0002;
inline constexpr std::size_t kSegmentHeaderSize = 2;
inline constexpr std::size_t kMaxSegmentBytes = 0x3FF;

inline std::size_t segmentByteCount(std::uint16_t header)
{
    return static_cast<std::size_t>((header >> 2) & kMaxSegmentBytes);
}

inline std::uint16_t segmentHeader(std::size_t count, bool first, bool last)
{
    return static_cast<std::uint16_t>((count & kMaxSegmentBytes) << 2 | (first ? kFirstSegment : 0u) |
                                      (last ? kLastSegment : 0u));
}

// Frame layout: tid u16, code u16, then (responses only) status u16, payload.
inline constexpr std::size_t kRequestHeaderSize = 4;
inline constexpr std::size_t kStatusOffset = 4;
inline constexpr std::size_t kResponseHeaderSize = 6;

// Reads fields out of received bytes without ever leaving them: a field the
// host did not send whole is std::nullopt, a byte range is cut to what
// arrived. Offsets count from the first byte given to the constructor.
class FieldReader {
public:
    FieldReader(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

    std::size_t size() const { return size_; }

    std::optional<std::uint8_t> u8(std::size_t offset) const
    {
        if (offset >= size_) return std::nullopt;
        return data_[offset];
    }
    std::optional<std::uint16_t> u16(std::size_t offset) const
    {
        if (!holds(offset, 2)) return std::nullopt;
        return loadU16(data_ + offset);
    }
    std::optional<std::uint32_t> u32(std::size_t offset) const
    {
        if (!holds(offset, 4)) return std::nullopt;
        return static_cast<std::uint32_t>(loadU16(data_ + offset)) |
               static_cast<std::uint32_t>(loadU16(data_ + offset + 2)) << 16;
    }

    // At most @p count bytes from @p offset, as far as they arrived (all that
    // follow @p offset by default).
    std::vector<std::uint8_t> bytes(std::size_t offset, std::size_t count = SIZE_MAX) const
    {
        const std::size_t begin = std::min(offset, size_);
        const std::size_t n = std::min(count, size_ - begin);
        return std::vector<std::uint8_t>(data_ + begin, data_ + begin + n);
    }

private:
    bool holds(std::size_t offset, std::size_t width) const { return offset <= size_ && size_ - offset >= width; }

    const std::uint8_t* data_;
    std::size_t size_;
};

// Appends fields to a frame or a payload, little-endian as the wire has them.
class FieldWriter {
public:
    explicit FieldWriter(std::vector<std::uint8_t>& out) : out_(out) {}

    FieldWriter& u8(std::uint8_t value)
    {
        out_.push_back(value);
        return *this;
    }
    FieldWriter& u16(std::uint16_t value)
    {
        out_.push_back(static_cast<std::uint8_t>(value & 0xFFu));
        out_.push_back(static_cast<std::uint8_t>(value >> 8));
        return *this;
    }
    FieldWriter& bytes(const std::uint8_t* data, std::size_t size)
    {
        out_.insert(out_.end(), data, data + size);
        return *this;
    }
    FieldWriter& bytes(const std::vector<std::uint8_t>& data) { return bytes(data.data(), data.size()); }

private:
    std::vector<std::uint8_t>& out_;
};

} // namespace tarvix_virtual::detail
