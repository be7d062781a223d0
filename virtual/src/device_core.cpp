#include "device_core.hpp"

#include <algorithm>
#include <cstring>
#include <utility>

#include "frame.hpp"

namespace tarvix_virtual::detail {

Clock::duration usbFrameTime(std::size_t reportSize, std::chrono::nanoseconds frame)
{
    if (frame.count() > 0) return frame;
    if (reportSize <= 64) return std::chrono::milliseconds(1);
    return std::chrono::microseconds(125);
}

DeviceCore::DeviceCore(std::size_t reportSize, FirmwareState firmware, InputSink& sink)
    : reportSize_(reportSize), sink_(sink), firmware_(std::move(firmware)), report_(reportSize)
{}

bool DeviceCore::receiveOutputReport(const std::uint8_t* data, std::size_t length, Clock::time_point* crossed)
{
    std::unique_lock<std::mutex> lock(mutex_);
    const bool valid = length == reportSize_ + 1 && data[0] == 0;
    if (recording_) written_.push_back({Bytes(data, data + length), valid});
    if (crossed != nullptr) *crossed = Clock::now();
    if (!valid) return false;

    // The header's count is bounded by what one report can carry, so a lying
    // header never reads past the report.
    const std::uint16_t header = loadU16(data + 1);
    if (timing_.enabled) {
        arrival_ = outputSlot((header & kFirstSegment) != 0);
        if (crossed != nullptr) *crossed = arrival_;
    }
    const std::size_t count = std::min(segmentByteCount(header), reportSize_ - kSegmentHeaderSize);
    if ((header & kFirstSegment) != 0 || reassembly_.size() + count > kMaxRequestFrame) reassembly_.clear();
    const std::uint8_t* bytes = data + 1 + kSegmentHeaderSize;
    reassembly_.insert(reassembly_.end(), bytes, bytes + count);
    if ((header & kLastSegment) != 0) handleRequest(lock);
    return true;
}

void DeviceCore::recordRejected(const std::uint8_t* data, std::size_t length)
{
    std::lock_guard<std::mutex> lock(mutex_);
    if (recording_) written_.push_back({Bytes(data, data + length), false});
}

void DeviceCore::powerCycle()
{
    std::lock_guard<std::mutex> lock(mutex_);
    reassembly_.clear();
    restartFirmware(firmware_.state());
}

// Like the device, the buffer is emptied only by the next first segment, so a
// stray continuation after a complete frame is appended to it.
void DeviceCore::handleRequest(std::unique_lock<std::mutex>& lock)
{
    const Clock::time_point arrived = arrival_;
    ++requestCount_;
    if (recording_) requests_.push_back(reassembly_);
    requestsCv_.notify_all();
    if (reassembly_.size() < kRequestHeaderSize) return; // no command code to answer

    if (!scripts_.empty()) {
        const Script script = std::move(scripts_.front());
        scripts_.pop_front();
        if (script.items.empty() || takeDrop()) return;
        const auto ready = answerReadyTime(reassembly_);
        for (const Bytes& item : script.items) {
            if (script.raw)
                deliverReport(item.data(), item.size(), ready);
            else
                emitFrame(item, ready);
        }
        return;
    }

    const std::uint16_t code = loadU16(reassembly_.data() + 2);
    if (const auto it = responders_.find(code); it != responders_.end()) {
        // The responder is user code: run it unlocked, so it may use this
        // adapter's control API, on a copy of the frame, which the next
        // report may overwrite meanwhile.
        const std::shared_ptr<const Responder> responder = it->second;
        const Bytes request = reassembly_;
        lock.unlock();
        const std::vector<Bytes> frames = (*responder)(request);
        lock.lock();
        arrival_ = arrived; // another writer may have sent a report meanwhile
        if (frames.empty() || takeDrop()) return;
        const auto ready = answerReadyTime(request);
        for (const Bytes& frame : frames) emitFrame(frame, ready);
        return;
    }

    const bool answered = firmware_.answer(reassembly_.data(), reassembly_.size(), response_, notifications_);
    const auto ready = answerReadyTime(reassembly_);
    if (answered && !takeDrop()) emitFrame(response_, ready);
    // What the command set off on the bus (an interrupt, looped-back bytes)
    // follows its answer.
    for (const Bytes& notification : notifications_) emitFrame(notification, ready);
    // A reset or boot-mode command takes the device off the bus once handled.
    const Departure departure = firmware_.takeDeparture();
    if (departure != Departure::STAY) sink_.leaveBus(departure == Departure::RESTART);
}

bool DeviceCore::takeDrop()
{
    if (dropCount_ == 0) return false;
    --dropCount_;
    return true;
}

// Cuts a frame into segments of at most reportSize - 2 bytes; all of them
// share one ready time, so the reader gets them back to back and in order.
void DeviceCore::emitFrame(const Bytes& frame, Clock::time_point ready)
{
    const std::size_t capacity = reportSize_ - kSegmentHeaderSize;
    for (std::size_t offset = 0; offset < frame.size(); offset += capacity) {
        const std::size_t count = std::min(capacity, frame.size() - offset);
        std::fill(report_.begin(), report_.end(), std::uint8_t{0});
        storeU16(report_.data(), segmentHeader(count, offset == 0, offset + count == frame.size()));
        std::memcpy(report_.data() + kSegmentHeaderSize, frame.data() + offset, count);
        deliverReport(report_.data(), report_.size(), ready);
    }
}

void DeviceCore::deliverReport(const std::uint8_t* report, std::size_t length, Clock::time_point ready)
{
    if (timing_.enabled) {
        ready = std::max(frameAfter(ready), inFree_);
        inFree_ = ready + frame_;
    }
    sink_.deliver(report, length, ready);
}

Clock::time_point DeviceCore::frameAfter(Clock::time_point t) const
{
    if (t < epoch_) return epoch_;
    return epoch_ + ((t - epoch_) / frame_ + 1) * frame_;
}

// A request's first report waits while the adapter's request buffer is full
// (it NAKs the OUT token): until the firmware takes the oldest request held.
Clock::time_point DeviceCore::outputSlot(bool firstSegment)
{
    Clock::time_point slot = std::max(frameAfter(Clock::now()), outFree_);
    if (firstSegment && starts_.size() >= timing_.requestBuffer)
        slot = std::max(slot, frameAfter(starts_[starts_.size() - timing_.requestBuffer]));
    outFree_ = slot + frame_;
    return slot;
}

void DeviceCore::setUsbTiming(const UsbTiming& timing)
{
    std::lock_guard<std::mutex> lock(mutex_);
    timing_ = timing;
    timing_.requestBuffer = std::max<std::size_t>(timing_.requestBuffer, 1);
    frame_ = usbFrameTime(reportSize_, timing.frame);
    epoch_ = Clock::now();
    outFree_ = inFree_ = firmwareFree_ = epoch_;
    starts_.clear();
}

void DeviceCore::setRecording(bool on)
{
    std::lock_guard<std::mutex> lock(mutex_);
    recording_ = on;
}

std::vector<WrittenReport> DeviceCore::writtenReports() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return written_;
}

std::vector<Bytes> DeviceCore::requests() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return requests_;
}

void DeviceCore::clearRecords()
{
    std::lock_guard<std::mutex> lock(mutex_);
    written_.clear();
    requests_.clear();
    requestCount_ = 0;
}

bool DeviceCore::waitForRequests(std::size_t count, std::chrono::milliseconds timeout) const
{
    std::unique_lock<std::mutex> lock(mutex_);
    return requestsCv_.wait_for(lock, timeout, [&] { return requestCount_ >= count; });
}

void DeviceCore::setResponder(std::uint16_t code, Responder responder)
{
    auto shared = std::make_shared<const Responder>(std::move(responder));
    std::lock_guard<std::mutex> lock(mutex_);
    responders_[code] = std::move(shared);
}

void DeviceCore::clearResponder(std::uint16_t code)
{
    std::lock_guard<std::mutex> lock(mutex_);
    responders_.erase(code);
}

void DeviceCore::scriptAnswer(std::vector<Bytes> items, bool raw)
{
    std::lock_guard<std::mutex> lock(mutex_);
    scripts_.push_back({std::move(items), raw});
}

void DeviceCore::sendFrame(const Bytes& frame)
{
    std::lock_guard<std::mutex> lock(mutex_);
    emitFrame(frame, Clock::now());
}

void DeviceCore::sendReport(const Bytes& report)
{
    std::lock_guard<std::mutex> lock(mutex_);
    sink_.deliver(report.data(), report.size(), Clock::now());
}

void DeviceCore::setResponseDelay(std::chrono::milliseconds delay)
{
    std::lock_guard<std::mutex> lock(mutex_);
    delay_ = std::max(delay, std::chrono::milliseconds(0));
}

void DeviceCore::setResponseLatency(LatencyFunction latency)
{
    std::lock_guard<std::mutex> lock(mutex_);
    latency_ = std::move(latency);
}

Clock::time_point DeviceCore::answerReadyTime(const Bytes& request)
{
    if (timing_.enabled) {
        // One request at a time, in order: the firmware takes this one once it
        // has crossed and the ones before it are done.
        const Clock::time_point start = std::max(arrival_, firmwareFree_);
        starts_.push_back(start);
        if (starts_.size() > timing_.requestBuffer) starts_.pop_front();
        firmwareFree_ = start + timing_.firmwareTime + (latency_ ? Clock::duration(latency_(request)) : delay_);
        return firmwareFree_;
    }
    if (!latency_) return Clock::now() + delay_;
    const Clock::time_point ready = std::max(Clock::now() + latency_(request), lastReady_);
    lastReady_ = ready;
    return ready;
}

void DeviceCore::dropNextResponses(std::size_t count)
{
    std::lock_guard<std::mutex> lock(mutex_);
    dropCount_ = count;
}

} // namespace tarvix_virtual::detail
