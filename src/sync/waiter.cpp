#include "waiter.hpp"

#include <chrono>

#include "../protocol/layout.hpp"

namespace tarvix_detail {

void ResponseWaiter::expect(std::uint16_t transactionId, std::uint16_t code)
{
    if (!matching_) {
        return;
    }
    std::lock_guard<std::mutex> lock(mutex_);
    if (arrived_) {
        dropped_.fetch_add(1);
        arrived_ = false;
    }
    expecting_ = true;
    expectedId_ = transactionId;
    expectedCode_ = code;
}

void ResponseWaiter::store(const std::vector<std::uint8_t>& frame)
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (matching_ && (!expecting_ || arrived_ || u16At(frame, kTransactionIdOffset) != expectedId_ ||
                          u16At(frame, kCodeOffset) != expectedCode_)) {
            // Late, duplicated, foreign, or a second answer to the same request: never decoded.
            dropped_.fetch_add(1);
            return;
        }
        // assign() reuses the stored vector's capacity: no allocation per response once warm.
        stored_.assign(frame.begin(), frame.end());
        arrived_ = true;
    }
    signal_.notify_one();
}

ResponseWaiter::Outcome ResponseWaiter::wait(std::vector<std::uint8_t>& response)
{
    std::unique_lock<std::mutex> lock(mutex_);
    const auto ready = [this] { return arrived_ || gone_; };
    // A response that arrived before this point (without matching, even one meant for an
    // earlier request that timed out) is already flagged and completes the wait at once.
    if (timeoutMs_ == -1) {
        signal_.wait(lock, ready);
    } else if (!ready()) {
        const auto deadline =
            std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs_ > 0 ? timeoutMs_ : 0);
        signal_.wait_until(lock, deadline, ready);
    }
    expecting_ = false;
    if (arrived_) {
        arrived_ = false;
        response.swap(stored_);
        return Outcome::ARRIVED;
    }
    return gone_ ? Outcome::DEVICE_GONE : Outcome::TIMED_OUT;
}

void ResponseWaiter::abandon()
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        gone_ = true;
    }
    signal_.notify_all();
}

void ResponseWaiter::restore()
{
    std::lock_guard<std::mutex> lock(mutex_);
    gone_ = false;
}

} // namespace tarvix_detail
