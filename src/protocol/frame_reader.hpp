// Bounds-checked reading of a response frame: bytes 0..1 transaction id, 2..3 code, 4..5 device
// status, payload from 6. Nothing is ever read outside the frame, whatever the device claims.
#pragma once

#include <tarvixsdk/types.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "layout.hpp"

namespace tarvix_detail {

class FrameReader {
public:
    explicit FrameReader(const std::vector<std::uint8_t>& frame) noexcept : frame_(frame) {}

    std::size_t size() const noexcept { return frame_.size(); }
    bool has(std::size_t bytes) const noexcept { return frame_.size() >= bytes; }

    // Fixed fields. A field that did not arrive reads as 0 and marks the frame short, so that a
    // status of 0 is not reported for a response that lacks what the method decodes.
    std::uint8_t u8(std::size_t offset) const noexcept
    {
        if (offset >= frame_.size()) {
            short_ = true;
            return 0;
        }
        return frame_[offset];
    }
    std::uint16_t u16(std::size_t offset) const noexcept
    {
        return static_cast<std::uint16_t>(u8(offset) | (u8(offset + 1) << 8));
    }
    std::uint16_t u16be(std::size_t offset) const noexcept
    {
        return static_cast<std::uint16_t>((u8(offset) << 8) | u8(offset + 1));
    }

    // Variable data: replaces `out` with `count` bytes from `offset`, cut to what arrived.
    void bytes(std::size_t offset, std::size_t count, std::vector<std::uint8_t>& out) const
    {
        const std::size_t begin = std::min(offset, frame_.size());
        const std::size_t n = std::min(count, frame_.size() - begin);
        out.assign(frame_.begin() + static_cast<std::ptrdiff_t>(begin),
                   frame_.begin() + static_cast<std::ptrdiff_t>(begin + n));
    }

    // Variable data whose size the answer declares (a count field, or the length the request
    // asked for): taken like bytes(), and a frame holding less than it declares is short, so
    // that a status of 0 never comes with fewer bytes than promised.
    void declared(std::size_t offset, std::size_t count, std::vector<std::uint8_t>& out) const
    {
        bytes(offset, declaredUnits(offset, count, 1), out);
    }

    // The same for `count` records of `unitSize` bytes from `offset`: the number of whole records
    // that arrived (at most `count`); the frame is short when that is fewer than `count`.
    std::size_t declaredUnits(std::size_t offset, std::size_t count, std::size_t unitSize) const noexcept
    {
        const std::size_t present = frame_.size() > offset ? (frame_.size() - offset) / unitSize : 0;
        if (present < count) {
            short_ = true;
            return present;
        }
        return count;
    }

    // A decoder's own verdict (e.g. a scan answer that promises more entries than it holds).
    void fail(StatusCode status) noexcept
    {
        verdict_ = status;
        failed_ = true;
    }

    // What the blocking method returns: the decoder's verdict, else RESPONSE_TOO_SHORT for a
    // frame without a status or for a status 0 whose fields were missing, else the device status.
    StatusCode result() const noexcept
    {
        if (failed_) {
            return verdict_;
        }
        if (!has(kResponsePayloadOffset)) {
            return StatusCode::RESPONSE_TOO_SHORT;
        }
        const auto status = static_cast<StatusCode>(u16At(frame_, kStatusOffset));
        if (status == StatusCode::SUCCESS && short_) {
            return StatusCode::RESPONSE_TOO_SHORT;
        }
        return status;
    }

private:
    const std::vector<std::uint8_t>& frame_;
    mutable bool short_ = false;
    bool failed_ = false;
    StatusCode verdict_ = StatusCode::SUCCESS;
};

} // namespace tarvix_detail
