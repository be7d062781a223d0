// Report segmentation: one frame travels as one or more HID reports, each carrying a 2-byte
// little-endian segment header (bit 0 first, bit 1 last, bits 2..11 number of frame bytes)
// followed by those bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <tarvixsdk/records.h>

#include "hid_transport.hpp"

namespace tarvix_detail {

constexpr std::size_t kSegmentHeaderSize = 2;
constexpr std::uint16_t kSegmentFirst = 0x0001;
constexpr std::uint16_t kSegmentLast = 0x0002;

class ReportSegmenter {
public:
    explicit ReportSegmenter(std::size_t reportSize) noexcept
        : reportSize_(reportSize), capacity_(reportSize - kSegmentHeaderSize)
    {}

    std::size_t reportSize() const noexcept { return reportSize_; }
    std::size_t capacity() const noexcept { return capacity_; }

    // Cuts `frame` into segments of at most capacity() bytes, replacing the contents of `out`
    // (the inner vectors keep their storage from send to send). An empty frame gives none.
    void segment(const std::uint8_t* frame, std::size_t size, std::vector<std::vector<std::uint8_t>>& out) const;

private:
    std::size_t reportSize_;
    std::size_t capacity_;
};

// Joins received segments into frames. Works for any report size: the byte count of a segment
// is bounded by the report it came in, so a lying header never reads past it.
class Reassembler {
public:
    // Largest frame kept; a stream of continuation segments that never ends is dropped rather
    // than allowed to grow without bound. Responses are at most a few tens of KiB.
    static constexpr std::size_t kMaxFrameSize = 1u << 20;

    // Takes one input report; returns true when it completed a frame, which frame() then holds
    // until the next first segment.
    bool accept(const std::uint8_t* report, std::size_t size);
    const std::vector<std::uint8_t>& frame() const noexcept { return buffer_; }

private:
    std::vector<std::uint8_t> buffer_;
    bool overflowed_ = false;
};

// One request path to the device and one frame path back: segmentation over the transport.
class FrameLink {
public:
    using FrameHandler = std::function<void(const std::vector<std::uint8_t>&)>;
    using FrameTap = std::function<void(const TraceFrame&)>;

    FrameLink();
    ~FrameLink();
    FrameLink(const FrameLink&) = delete;
    FrameLink& operator=(const FrameLink&) = delete;

    // Connects; a device that detectRemoval found gone is closed first and opened afresh.
    bool connect(const std::string& path, const std::string& serial);
    void disconnect();
    // Segments and writes one frame; write failures are not reported (they show as a missing
    // response). Sends must come from one thread at a time.
    void send(const std::vector<std::uint8_t>& frame);
    // May be called while frames arrive: the frame being delivered finishes with the old one.
    void setResponseHandler(FrameHandler handler);
    // Sees every frame sent (caller's thread) and reassembled (reader thread); may be replaced
    // at any time.
    void setFrameTap(FrameTap tap);

    HidTransport& transport() noexcept { return transport_; }
    const HidTransport& transport() const noexcept { return transport_; }

private:
    void onReport(const std::uint8_t* report, std::size_t size);

    Reassembler reassembler_;
    std::vector<std::vector<std::uint8_t>> segments_;
    std::optional<ReportSegmenter> segmenter_;
    HidTransport transport_;
    // Swapped atomically so that it may be replaced while the reader runs it.
    std::shared_ptr<const FrameHandler> handler_;
    std::shared_ptr<const FrameTap> tap_;
};

} // namespace tarvix_detail
