#include "input_queue.hpp"

#include <algorithm>
#include <cstring>

namespace tarvix_virtual::detail {

void ReaderWatch::enter()
{
    blocked_.fetch_add(1);
    // Taking the mutex orders this increment before a waiter's predicate
    // check, so the notification cannot be lost.
    {
        std::lock_guard<std::mutex> lock(mutex_);
    }
    cv_.notify_all();
}

void ReaderWatch::leave()
{
    blocked_.fetch_sub(1);
}

bool ReaderWatch::waitFor(std::size_t count, std::chrono::milliseconds timeout)
{
    std::unique_lock<std::mutex> lock(mutex_);
    return cv_.wait_for(lock, timeout, [&] { return blocked_.load() >= count; });
}

void InputQueue::push(const std::uint8_t* report, std::size_t length, Clock::time_point ready)
{
    std::lock_guard<std::mutex> lock(mutex_);
    if (gone_ || closed_ || entries_.size() >= kCapacity) return;
    std::vector<std::uint8_t> bytes;
    if (!spare_.empty()) {
        bytes = std::move(spare_.back());
        spare_.pop_back();
    }
    bytes.assign(report, report + length);
    // Usually the newest report is also the latest; scan back from the end.
    auto position = entries_.end();
    while (position != entries_.begin() && std::prev(position)->ready > ready) --position;
    entries_.insert(position, Entry{ready, std::move(bytes)});
    settle(Clock::now());
    cv_.notify_all();
}

void InputQueue::settle(Clock::time_point now)
{
    const std::size_t bound = bound_.load();
    if (bound == 0) return;
    std::size_t arrived = 0;
    for (auto it = entries_.begin(); it != entries_.end() && it->ready <= now;) {
        if (arrived < bound) {
            ++arrived;
            ++it;
            continue;
        }
        spare_.push_back(std::move(it->bytes));
        it = entries_.erase(it);
        dropped_.fetch_add(1);
    }
}

int InputQueue::pop(std::uint8_t* out, std::size_t length)
{
    Entry& entry = entries_.front();
    const std::size_t count = std::min(length, entry.bytes.size());
    if (count > 0) std::memcpy(out, entry.bytes.data(), count);
    spare_.push_back(std::move(entry.bytes));
    entries_.pop_front();
    return static_cast<int>(count);
}

int InputQueue::read(std::uint8_t* out, std::size_t length, int milliseconds)
{
    std::unique_lock<std::mutex> lock(mutex_);
    if (gone_ || closed_) return -1;
    ++readersInside_;
    const bool forever = milliseconds < 0;
    const auto deadline = Clock::now() + std::chrono::milliseconds(forever ? 0 : milliseconds);
    int result = 0;
    for (;;) {
        if (gone_ || closed_) {
            result = -1;
            break;
        }
        const auto now = Clock::now();
        settle(now);
        if (!entries_.empty() && entries_.front().ready <= now) {
            result = pop(out, length);
            break;
        }
        if (!forever && now >= deadline) break;
        watch_.enter();
        if (entries_.empty() && forever) {
            cv_.wait(lock);
        } else {
            auto wake = forever ? entries_.front().ready : deadline;
            if (!entries_.empty()) wake = std::min(wake, entries_.front().ready);
            cv_.wait_until(lock, wake);
        }
        watch_.leave();
    }
    --readersInside_;
    if (closed_ && readersInside_ == 0) cv_.notify_all();
    return result;
}

void InputQueue::markGone()
{
    std::lock_guard<std::mutex> lock(mutex_);
    gone_ = true;
    entries_.clear();
    cv_.notify_all();
}

void InputQueue::close()
{
    std::unique_lock<std::mutex> lock(mutex_);
    closed_ = true;
    cv_.notify_all();
    cv_.wait(lock, [&] { return readersInside_ == 0; });
}

bool InputQueue::usable() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return !gone_ && !closed_;
}

} // namespace tarvix_virtual::detail
