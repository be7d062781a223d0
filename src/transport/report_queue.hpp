// Input reports between the thread that reads them from the device and the reader thread that
// reassembles them and runs the handlers.
//
// Why: the kernel keeps a short list of input reports per open hidraw file (64) and drops
// newer ones, silently, while it is full. A high-speed adapter fills it in 8 ms, so a handler
// that takes a millisecond per notification while a long answer streams in would lose
// segments if reading waited for the handlers. Reading on its own thread into this much
// longer list moves the wait to where nothing is dropped. The list is bounded: when it is
// full the reading thread waits for room (and the kernel's list fills behind it, as before).
//
// One producer and one consumer. Slots are fixed-size buffers allocated once: the producer
// reads straight into the free slot it was given and the consumer uses the oldest slot in
// place, each without holding the lock, since a slot belongs to exactly one side until it is
// committed or released.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

namespace tarvix_detail {

class ReportQueue {
public:
    ReportQueue(std::size_t capacity, std::size_t reportSize);

    // Producer. A free slot of reportSize bytes, waiting while the queue is full; null once
    // stop() was called.
    std::uint8_t* slot();
    // Makes the slot given by slot() visible to the consumer.
    void commit();
    // No more reports will come (the device is gone or the transport is closing). The consumer
    // still gets the reports already committed.
    void finish();

    // Consumer. The oldest committed report (reportSize bytes), waiting while the queue is
    // empty; null once the queue is finished and empty, or stopped.
    const std::uint8_t* front();
    // Frees the slot returned by front().
    void pop();

    // Both sides: every wait ends, and slot() and front() return null from now on.
    void stop();

    std::size_t reportSize() const noexcept { return reportSize_; }
    std::size_t capacity() const noexcept { return capacity_; }

private:
    const std::size_t capacity_;
    const std::size_t reportSize_;
    std::vector<std::uint8_t> storage_; // capacity_ slots of reportSize_ bytes

    std::mutex mutex_;
    std::condition_variable notEmpty_;
    std::condition_variable notFull_;
    std::size_t head_ = 0;  // oldest committed slot
    std::size_t count_ = 0; // committed slots
    bool finished_ = false;
    bool stopped_ = false;
};

} // namespace tarvix_detail
