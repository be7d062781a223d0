// The input reports waiting for one open hidapi handle, as the kernel keeps
// one report list per open hidraw file. Each report carries the time it
// becomes ready, so a slow device is modelled without timer threads: a reader
// sleeps until the earliest ready time or its own timeout.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <vector>

#include "device_core.hpp"

namespace tarvix_virtual::detail {

// Counts the threads blocked in a read on any handle of one adapter, so a test
// can wait until a reader really sleeps before it closes or unplugs.
class ReaderWatch {
public:
    void enter();
    void leave();
    bool waitFor(std::size_t count, std::chrono::milliseconds timeout);

private:
    std::atomic<std::size_t> blocked_{0};
    std::mutex mutex_;
    std::condition_variable cv_;
};

class InputQueue {
public:
    // @p bound and @p dropped belong to the adapter: hidraw's limit on the reports waiting to
    // be read (0: none), and the count of reports dropped because of it.
    InputQueue(ReaderWatch& watch, const std::atomic<std::size_t>& bound, std::atomic<std::size_t>& dropped)
        : watch_(watch), bound_(bound), dropped_(dropped)
    {}

    void push(const std::uint8_t* report, std::size_t length, Clock::time_point ready);
    // hid_read_timeout: bytes copied, 0 on timeout, -1 once gone or closed.
    // A negative timeout waits without limit.
    int read(std::uint8_t* out, std::size_t length, int milliseconds);
    // The device went away: pending reports are lost and every read fails.
    void markGone();
    // The handle is being closed: wakes the readers and waits until they left.
    void close();
    bool usable() const;

    // hid_error text of the handle (string literals only). It lives here, not
    // in the handle, because a reader woken by hid_close still holds the
    // queue after the handle is freed.
    std::atomic<const wchar_t*> error{nullptr};

private:
    struct Entry {
        Clock::time_point ready;
        std::vector<std::uint8_t> bytes;
    };

    int pop(std::uint8_t* out, std::size_t length);
    // Applies hidraw's bound at @p now: of the reports that have arrived, those that found
    // the list full are dropped. Nothing is read between two calls (every read calls it), so
    // the first `bound` arrived reports are the ones the kernel kept.
    void settle(Clock::time_point now);

    // hidraw drops reports that arrive while its list is full; so do we, with
    // a list long enough that only a handle nobody reads ever fills it.
    static constexpr std::size_t kCapacity = 4096;

    ReaderWatch& watch_;
    const std::atomic<std::size_t>& bound_;
    std::atomic<std::size_t>& dropped_;
    mutable std::mutex mutex_;
    std::condition_variable cv_;
    std::deque<Entry> entries_;                    // ordered by ready time, arrival order within one time
    std::vector<std::vector<std::uint8_t>> spare_; // buffers of popped reports, reused
    bool gone_ = false;
    bool closed_ = false;
    std::size_t readersInside_ = 0;
};

} // namespace tarvix_virtual::detail
