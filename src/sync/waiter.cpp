#include "waiter.hpp"

#include <chrono>

namespace tarvix_detail {

void ResponseWaiter::store(const std::vector<std::uint8_t>& frame)
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        // assign() reuses the stored vector's capacity: no allocation per response once warm.
        stored_.assign(frame.begin(), frame.end());
        arrived_ = true;
    }
    signal_.notify_one();
}

bool ResponseWaiter::wait(std::vector<std::uint8_t>& response)
{
    std::unique_lock<std::mutex> lock(mutex_);
    // A response that arrived before this point (even one meant for an earlier request that
    // timed out) is already flagged and completes the wait at once.
    if (timeoutMs_ == -1) {
        signal_.wait(lock, [this] { return arrived_; });
    } else if (!arrived_) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs_ > 0 ? timeoutMs_ : 0);
        signal_.wait_until(lock, deadline, [this] { return arrived_; });
    }
    const bool arrived = arrived_;
    arrived_ = false;
    if (arrived) {
        response.swap(stored_);
    }
    return arrived;
}

} // namespace tarvix_detail
