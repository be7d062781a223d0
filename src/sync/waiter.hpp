// Rendezvous between the caller of a blocking method and the reader thread.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

namespace tarvix_detail {

class ResponseWaiter {
public:
    enum class Outcome {
        ARRIVED,
        TIMED_OUT,
        DEVICE_GONE
    };

    // timeoutMs: -1 waits without limit; 0 or any other negative value does not wait.
    // matching: keep only the answer to the request being waited for (see expect()).
    ResponseWaiter(int timeoutMs, bool matching) noexcept : timeoutMs_(timeoutMs), matching_(matching) {}

    // Caller thread, just before the request is written. With matching, only a frame carrying
    // `transactionId` and `code` will be kept from now on; anything stored before is stale.
    void expect(std::uint16_t transactionId, std::uint16_t code);

    // Reader thread: keeps a copy of the frame as the last response and wakes the caller.
    // Without matching, a response that nobody waits for stays stored and completes the next
    // wait at once. With matching, a frame that does not answer the request waited for is
    // dropped and counted.
    void store(const std::vector<std::uint8_t>& frame);

    // Caller thread: waits for the response. On ARRIVED, `response` holds it (the stored copy is
    // handed over, so the reader may store the next one meanwhile without a race).
    Outcome wait(std::vector<std::uint8_t>& response);

    // Reader thread: the device has gone; a waiting call, and every later one, returns at once.
    void abandon();
    // Caller thread, at connect: the device is there again.
    void restore();

    std::uint64_t dropped() const noexcept { return dropped_.load(); }
    bool matching() const noexcept { return matching_; }
    // A matched answer that its decoder refused (a frame longer than it declares).
    void countDropped() noexcept { dropped_.fetch_add(1); }

private:
    const int timeoutMs_;
    const bool matching_;
    bool arrived_ = false;
    bool gone_ = false;
    bool expecting_ = false;         // matching: a request was written and not yet answered
    std::uint16_t expectedId_ = 0;   // matching: its transaction id
    std::uint16_t expectedCode_ = 0; // matching: its command code
    std::vector<std::uint8_t> stored_;
    std::mutex mutex_;
    std::condition_variable signal_;
    std::atomic<std::uint64_t> dropped_{0};
};

} // namespace tarvix_detail
