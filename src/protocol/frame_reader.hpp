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
    // rejectOverlong: a frame that holds more than its own count fields declare is not taken
    // (see declaredUnits); sessions that match answers to requests ask for it.
    explicit FrameReader(const std::vector<std::uint8_t>& frame, bool rejectOverlong = false) noexcept
        : frame_(frame), rejectOverlong_(rejectOverlong)
    {}

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

    // Variable data of the length the request asked for: taken like bytes(), and a frame holding
    // less is short, so that a status of 0 never comes with fewer bytes than asked.
    void requested(std::size_t offset, std::size_t count, std::vector<std::uint8_t>& out) const
    {
        const std::size_t present = frame_.size() > offset ? frame_.size() - offset : 0;
        if (present < count) {
            short_ = true;
        }
        bytes(offset, count, out);
    }

    // Variable data whose size the answer's own count field declares: as requested(), and with
    // rejectOverlong a frame longer than declared leaves `out` alone (see declaredUnits).
    void declared(std::size_t offset, std::size_t count, std::vector<std::uint8_t>& out) const
    {
        const std::size_t n = declaredUnits(offset, count, 1);
        if (!overlong_) {
            bytes(offset, n, out);
        }
    }

    // The same for `count` records of `unitSize` bytes from `offset`: the number of whole records
    // that arrived (at most `count`); the frame is short when that is fewer than `count`.
    // With rejectOverlong, a frame that goes on past the records it declares is overlong and 0 is
    // returned: the answer ends with its last segment, so more bytes than declared mean that
    // segments were lost and the rest of another answer was joined on (the kernel drops input
    // reports silently when its queue is full). Such a frame is not an answer at all.
    std::size_t declaredUnits(std::size_t offset, std::size_t count, std::size_t unitSize) const noexcept
    {
        if (rejectOverlong_ && frame_.size() > offset + count * unitSize) {
            overlong_ = true;
            return 0;
        }
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

    // A frame longer than it declares (rejectOverlong only): outputs of variable data untouched.
    bool overlong() const noexcept { return overlong_; }

    // What the blocking method returns: NO_RESPONSE for an overlong frame, the decoder's verdict,
    // else RESPONSE_TOO_SHORT for a frame without a status or for a status 0 whose fields were
    // missing, else the device status.
    StatusCode result() const noexcept
    {
        if (overlong_) {
            return StatusCode::NO_RESPONSE; // as if the answer never came: it did not, whole
        }
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
    const bool rejectOverlong_;
    mutable bool short_ = false;
    mutable bool overlong_ = false;
    bool failed_ = false;
    StatusCode verdict_ = StatusCode::SUCCESS;
};

} // namespace tarvix_detail
