// Appends request-frame fields to a byte vector. Frame fields are little-endian; the few
// big-endian values (I3C CCC lengths) say so at the call site.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "layout.hpp"

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
        out_.push_back(lowByte(v));
        out_.push_back(lowByte(v >> 8));
        return *this;
    }
    FrameBuilder& u16be(std::uint16_t v)
    {
        out_.push_back(lowByte(v >> 8));
        out_.push_back(lowByte(v));
        return *this;
    }
    FrameBuilder& u32(std::uint32_t v)
    {
        for (int shift = 0; shift < 32; shift += 8) {
            out_.push_back(lowByte(v >> shift));
        }
        return *this;
    }
    // Every enumeration travels as its value's low byte, unchecked.
    template <class Enum, class = std::enable_if_t<std::is_enum<Enum>::value>>
    FrameBuilder& e8(Enum v)
    {
        return u8(lowByte(v));
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

} // namespace tarvix_detail
