// Rendezvous between the caller of a blocking method and the reader thread.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

namespace tarvix_detail {

class ResponseWaiter {
public:
    // timeoutMs: -1 waits without limit; 0 or any other negative value does not wait.
    explicit ResponseWaiter(int timeoutMs) noexcept : timeoutMs_(timeoutMs) {}

    // Reader thread: keeps a copy of the frame as the last response and wakes the caller. A
    // response that nobody waits for stays stored, and completes the next wait at once.
    void store(const std::vector<std::uint8_t>& frame);

    // Caller thread: waits for a stored response. On true, `response` holds it (the stored
    // copy is handed over, so the reader may store the next one meanwhile without a race).
    bool wait(std::vector<std::uint8_t>& response);

private:
    const int timeoutMs_;
    bool arrived_ = false;
    std::vector<std::uint8_t> stored_;
    std::mutex mutex_;
    std::condition_variable signal_;
};

} // namespace tarvix_detail
