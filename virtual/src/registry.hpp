// The hidapi front-end's view of the virtual adapters: each attached adapter
// (its USB identity, plug state and open handles around a DeviceCore) and the
// process-wide registry that enumeration and hid_open_path search.
//
// Lock order: registry, then DeviceCore, then adapter, then input queue,
// then reader watch. Nothing takes an earlier lock while holding a later one.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "device_core.hpp"
#include "input_queue.hpp"
#include "tarvix_virtual/virtual_adapter.hpp"

namespace tarvix_virtual {

namespace detail {
class Registry;
}

// Internal despite being nested in an exported class.
struct __attribute__((visibility("hidden"))) VirtualAdapter::Impl final : detail::InputSink {
    Impl(const AdapterConfig& config, std::string adapterPath, std::size_t reportSize);

    // Immutable after attach.
    const std::string path;
    const std::uint16_t vendorId;
    const std::uint16_t productId;
    const std::optional<std::wstring> serialNumber;
    const std::wstring manufacturer;
    const std::wstring product;
    const std::chrono::milliseconds restartTime;

    detail::DeviceCore core;
    detail::ReaderWatch readers;
    std::atomic<bool> writeFails{false};
    std::atomic<bool> openFails{false};
    std::atomic<int> openError{0};           // errno of a failing open, 0 for none
    std::atomic<std::size_t> unplugAfter{0}; // output reports until the cable goes; 0: never

    // Counts one output report down to an unplug set by unplugAfterReports(); true at the last.
    bool unplugDue()
    {
        std::size_t left = unplugAfter.load();
        while (left != 0 && !unplugAfter.compare_exchange_weak(left, left - 1)) {}
        return left == 1;
    }
    std::atomic<std::size_t> openHandles{0};
    // hidraw's bound on each handle's list of input reports (0: none), and what it dropped.
    std::atomic<std::size_t> hostQueue{0};
    std::atomic<std::size_t> droppedInput{0};
    // VirtualAdapter::setUsbTiming: the device core's timing, and the host queue's bound with it.
    void setUsbTiming(const UsbTiming& timing);

    // A new input queue for a handle, or null when unplugged or failing on purpose.
    std::shared_ptr<detail::InputQueue> open();
    void close(const std::shared_ptr<detail::InputQueue>& queue);
    void unplug();
    void replug();
    // Plugged now; an adapter back from its restart counts as plugged from
    // its return time on, without any timer: whoever asks first notices.
    bool plugged();
    bool waitForPlugged(std::chrono::milliseconds timeout);

    // Every open handle gets every input report, as every open hidraw file does.
    void deliver(const std::uint8_t* report, std::size_t length, detail::Clock::time_point ready) override;
    void leaveBus(bool comesBack) override;

private:
    bool pluggedLocked();
    void unplugLocked();

    mutable std::mutex mutex_;
    std::condition_variable replugged_;
    bool plugged_ = true;
    bool removed_ = false;
    std::optional<detail::Clock::time_point> returnAt_; // set while restarting
    std::vector<std::shared_ptr<detail::InputQueue>> queues_;

    friend class detail::Registry;
};

namespace detail {

using Adapter = VirtualAdapter::Impl;

// The firmware's state at attach: USB strings from @p config and, unless it
// asks for none, the default bench. Shared by every front end of the core.
FirmwareState firmwareState(const AdapterConfig& config, std::size_t reportSize);

class Registry {
public:
    static Registry& instance();

    std::shared_ptr<Adapter> attach(const AdapterConfig& config);
    void reset();
    // Plugged adapters matching the IDs (0 matches any), in attach order.
    std::vector<std::shared_ptr<Adapter>> plugged(std::uint16_t vendorId, std::uint16_t productId);

    std::atomic<std::size_t> initCalls{0};
    std::atomic<std::size_t> exitCalls{0};
    std::atomic<std::size_t> openHandles{0};

private:
    std::mutex mutex_;
    std::vector<std::shared_ptr<Adapter>> adapters_;
    std::size_t nextPath_ = 0;
};

} // namespace detail
} // namespace tarvix_virtual
