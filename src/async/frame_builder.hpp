// Appends request-frame fields to a byte vector. Frame fields are little-endian; the few
// big-endian values (I3C CCC lengths) say so at the call site.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

namespace tarvix_detail {

class FrameBuilder {
public:
    explicit FrameBuilder(std::vector<std::uint8_t>& out) noexcept : out_(out) {}

    FrameBuilder& u8(std::uint8_t v)
    {
        out_.push_back(v);
        return *this;
    }
    FrameBuilder& u16(std::uint16_t v)
    {
        out_.push_back(static_cast<std::uint8_t>(v & 0xFF));
        out_.push_back(static_cast<std::uint8_t>(v >> 8));
        return *this;
    }
    FrameBuilder& u16be(std::uint16_t v)
    {
        out_.push_back(static_cast<std::uint8_t>(v >> 8));
        out_.push_back(static_cast<std::uint8_t>(v & 0xFF));
        return *this;
    }
    FrameBuilder& u32(std::uint32_t v)
    {
        for (int shift = 0; shift < 32; shift += 8) {
            out_.push_back(static_cast<std::uint8_t>((v >> shift) & 0xFF));
        }
        return *this;
    }
    // Every enumeration travels as its value's low byte, unchecked.
    template <class Enum, class = std::enable_if_t<std::is_enum<Enum>::value>>
    FrameBuilder& e8(Enum v)
    {
        return u8(static_cast<std::uint8_t>(static_cast<std::underlying_type_t<Enum>>(v) & 0xFF));
    }
    FrameBuilder& flag(bool v) { return u8(v ? 1 : 0); }
    FrameBuilder& bytes(const std::uint8_t* data, std::size_t size)
    {
        out_.insert(out_.end(), data, data + size);
        return *this;
    }
    FrameBuilder& bytes(const std::vector<std::uint8_t>& data) { return bytes(data.data(), data.size()); }
    FrameBuilder& zeros(std::size_t count)
    {
        out_.insert(out_.end(), count, std::uint8_t{0});
        return *this;
    }

private:
    std::vector<std::uint8_t>& out_;
};

// A vector's size as a 16-bit count field: cut to 16 bits without complaint, while every byte
// is still sent. The adapter's answer decides what such an oversized request means.
inline std::uint16_t count16(std::size_t size) noexcept { return static_cast<std::uint16_t>(size & 0xFFFF); }

} // namespace tarvix_detail
