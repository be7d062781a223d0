#include "segmentation.hpp"

#include "../protocol/layout.hpp"

#include <algorithm>
#include <chrono>

namespace tarvix_detail {
namespace {

void trace(const std::shared_ptr<const FrameLink::FrameTap>& tap, TraceDirection direction,
           const std::vector<std::uint8_t>& frame)
{
    TraceFrame record{};
    record.direction = direction;
    record.timestampNs = static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
            .count());
    record.data = frame.data();
    record.length = frame.size();
    (*tap)(record);
}

} // namespace

void ReportSegmenter::segment(const std::uint8_t* frame, std::size_t size,
                              std::vector<std::vector<std::uint8_t>>& out) const
{
    const std::size_t count = (size + capacity_ - 1) / capacity_;
    out.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t offset = i * capacity_;
        const std::size_t n = std::min(size - offset, capacity_);
        std::uint16_t header = static_cast<std::uint16_t>(n << 2);
        if (i == 0) {
            header |= kSegmentFirst;
        }
        if (i + 1 == count) {
            header |= kSegmentLast;
        }
        std::vector<std::uint8_t>& segment = out[i];
        segment.resize(kSegmentHeaderSize + n);
        segment[0] = lowByte(header);
        segment[1] = lowByte(header >> 8);
        std::copy(frame + offset, frame + offset + n, segment.begin() + kSegmentHeaderSize);
    }
}

bool Reassembler::accept(const std::uint8_t* report, std::size_t size)
{
    if (size < kSegmentHeaderSize) {
        return false;
    }
    const std::uint16_t header = u16At(report, size, 0);
    if ((header & kSegmentFirst) != 0) {
        buffer_.clear();
        overflowed_ = false;
    }
    // The count field can claim up to 1023 bytes; a report carries at most size - 2.
    const std::size_t n = std::min<std::size_t>((header >> 2) & 0x3FF, size - kSegmentHeaderSize);
    if (overflowed_ || buffer_.size() + n > kMaxFrameSize) {
        buffer_.clear();
        overflowed_ = true;
        return false;
    }
    // A continuation without a first segment joins whatever the buffer holds.
    buffer_.insert(buffer_.end(), report + kSegmentHeaderSize, report + kSegmentHeaderSize + n);
    // The buffer is not emptied after delivery, only by the next first segment.
    return (header & kSegmentLast) != 0;
}

FrameLink::FrameLink()
{
    transport_.setReceiveHandler([this](const std::uint8_t* report, std::size_t size) { onReport(report, size); });
}

FrameLink::~FrameLink()
{
    // Stop the reader before any member it uses (handler, reassembly buffer) goes away.
    transport_.close();
}

bool FrameLink::connect(const std::string& path, const std::string& serial)
{
    if (transport_.gone()) {
        // The reader has ended on its own; this joins it and closes the dead handle.
        transport_.close();
    }
    if (!transport_.open(path, serial)) {
        return false;
    }
    segmenter_.emplace(transport_.reportSize());
    return true;
}

void FrameLink::disconnect()
{
    transport_.close();
}

void FrameLink::send(const std::vector<std::uint8_t>& frame)
{
    if (!segmenter_) {
        return;
    }
    if (const std::shared_ptr<const FrameTap> tap = std::atomic_load(&tap_)) {
        trace(tap, TraceDirection::OUT, frame);
    }
    segmenter_->segment(frame.data(), frame.size(), segments_);
    for (const std::vector<std::uint8_t>& segment : segments_) {
        transport_.write(segment.data(), segment.size());
    }
}

void FrameLink::setResponseHandler(FrameHandler handler)
{
    std::shared_ptr<const FrameHandler> next;
    if (handler) {
        next = std::make_shared<const FrameHandler>(std::move(handler));
    }
    std::atomic_store(&handler_, std::move(next));
}

void FrameLink::setFrameTap(FrameTap tap)
{
    std::shared_ptr<const FrameTap> next;
    if (tap) {
        next = std::make_shared<const FrameTap>(std::move(tap));
    }
    std::atomic_store(&tap_, std::move(next));
}

void FrameLink::onReport(const std::uint8_t* report, std::size_t size)
{
    if (!reassembler_.accept(report, size)) {
        return;
    }
    if (const std::shared_ptr<const FrameTap> tap = std::atomic_load(&tap_)) {
        trace(tap, TraceDirection::IN, reassembler_.frame());
    }
    // A local hold: the handler may replace itself while it runs.
    const std::shared_ptr<const FrameHandler> handler = std::atomic_load(&handler_);
    if (handler && *handler) {
        (*handler)(reassembler_.frame());
    }
}

} // namespace tarvix_detail
