// One virtual adapter made visible to the whole machine through the kernel's
// uhid driver: /dev/uhid creates a HID device, hid-generic binds it and
// hidraw gives it a /dev/hidrawN node, so any program (the SDK over the real
// libhidapi-hidraw, Python, a shell) reaches the same firmware model and
// default bench as the in-process virtual adapter.
//
// Two threads per adapter. The drain thread reads /dev/uhid without pause:
// uhid keeps only 32 output events per device and drops the ones after, while
// a real adapter NAKs instead, so host writes must never find that queue
// full. The send thread writes the input reports at the times the device core
// gives them; with pacing on (the default) that is one report per USB frame
// (1 ms at full speed, 125 us at high speed), which is what hidraw's bounded
// report list sees from real hardware.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "device_core.hpp"
#include "input_queue.hpp"

namespace tarvix_virtual::uhid {

using detail::Clock;

struct UhidOptions {
    AdapterConfig config;
    // One input report per USB frame (UsbTiming of the device core); off: as soon as ready.
    bool pacing = true;
    std::chrono::nanoseconds frame{0};        // 0: from the report size
    std::chrono::nanoseconds firmwareTime{0}; // per command
};

struct UhidCounters {
    std::size_t outputReports = 0; // output events taken from /dev/uhid
    std::size_t refused = 0;       // of those, not one whole report with ID 0
    std::size_t inputReports = 0;  // written as UHID_INPUT2
    std::size_t lost = 0;          // input reports not written (unplugged meanwhile, write error)
};

class UhidAdapter final : public detail::InputSink {
public:
    // Opens /dev/uhid (std::system_error when it cannot) and starts both
    // threads; the device appears with plug().
    explicit UhidAdapter(const UhidOptions& options);
    ~UhidAdapter();
    UhidAdapter(const UhidAdapter&) = delete;
    UhidAdapter& operator=(const UhidAdapter&) = delete;

    // Creates the kernel device (a replug power-cycles the firmware first, as
    // a real adapter that loses its supply). False with a message when the
    // kernel refuses.
    bool plug(std::string& error);
    // Destroys the kernel device: hidraw files opened on it fail from now on.
    void unplug();
    bool plugged() const;
    // Brings the adapter back once the restart that a reset command started is over.
    void service(Clock::time_point now);
    // When service() has something to do next, if anything.
    std::optional<Clock::time_point> nextService() const;

    // Every answer from now on is ready this much later (a slow command).
    void setResponseDelay(std::chrono::milliseconds delay) { core_.setResponseDelay(delay); }

    const std::string& serial() const { return serial_; }
    std::size_t reportSize() const { return core_.reportSize(); }
    UhidCounters counters() const;

private:
    void deliver(const std::uint8_t* report, std::size_t length, Clock::time_point ready) override;
    void leaveBus(bool comesBack) override;

    void drainLoop();
    void sendLoop();
    bool writeEvent(const void* event, std::size_t size);
    bool createLocked(std::string& error);
    void destroyLocked();

    const std::string serial_;
    const std::string product_;
    const std::uint16_t vendorId_;
    const std::uint16_t productId_;
    const std::chrono::milliseconds restartTime_;
    const std::vector<std::uint8_t> descriptor_;
    // With pacing, the time between two input reports: USB polls the IN endpoint once per
    // frame. A send thread that wakes late (timers on a loaded or emulated machine) catches up
    // with at most kCatchUp reports back to back, never with a burst that would overflow
    // hidraw's list before any reader is scheduled.
    const Clock::duration spacing_;
    static constexpr int kCatchUp = 4;
    int fd_ = -1;
    int wake_[2] = {-1, -1}; // a pipe that interrupts the drain thread's poll
    detail::DeviceCore core_;

    // Lock order: the device core, then mutex_, then deviceMutex_.
    mutable std::mutex mutex_;
    // Input reports waiting for their time to cross, as the hidapi front end keeps them for a
    // handle: ordered by ready time, at most 4,096. Replaced by an empty one at each unplug.
    detail::ReaderWatch senders_;
    const std::atomic<std::size_t> noHostBound_{0};
    std::atomic<std::size_t> neverDropped_{0};
    std::shared_ptr<detail::InputQueue> pending_;
    std::optional<bool> departure_; // set by the firmware: leave the bus (true: and come back)
    std::optional<Clock::time_point> returnAt_;
    UhidCounters counters_;
    bool stopping_ = false;

    mutable std::mutex deviceMutex_; // created_ and every write to /dev/uhid
    bool created_ = false;

    std::thread drainThread_;
    std::thread sendThread_;
};

// The vendor-defined report descriptor: no report IDs (so hidraw's writes
// start with report ID 0), one input and one output report of @p reportSize
// bytes each.
std::vector<std::uint8_t> reportDescriptor(std::size_t reportSize);

} // namespace tarvix_virtual::uhid
