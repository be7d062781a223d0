// The open HID device and its reader thread, which reads every input report and calls the receive
// handler (reassembly and everything above it). With queueReports a second, drain thread reads
// the reports into a bounded queue as soon as the device has it, and the reader thread takes them
// from there. Nothing else in the library calls hidapi.
#pragma once

#include <tarvixsdk/types.hpp>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "catalogue.hpp"
#include "report_queue.hpp"

struct hid_device_;

namespace tarvix_detail {

struct ExclusiveClaim;

// Converts a serial number as hidapi reports it (UTF-32 on Linux and macOS, UTF-16 on Windows)
// to UTF-8. Throws std::range_error("bad conversion") for a code point above 0x10FFFF or an
// unpaired surrogate: a serial we cannot represent must not silently match another one.
std::string wideToUtf8(const wchar_t* text);

// One supported adapter as enumeration lists it; texts converted without failing (a code point
// that does not convert becomes U+FFFD).
struct ListedAdapter {
    std::string path;
    const DeviceKind* kind = nullptr;
    bool hasSerial = false;
    std::string serial;
    std::string manufacturer;
    std::string product;
};
// Every supported adapter attached now, in hidapi's order. Opens nothing.
std::vector<ListedAdapter> listSupportedAdapters();

// What the transport does beyond plain reading and writing; all off by default.
struct TransportOptions {
    // Read errors persisting for kRemovalWindow (no report in between) mean the device is gone:
    // the reader calls the removal handler and ends.
    bool detectRemoval = false;
    // Refuse to share the device with any other session (see ExclusiveClaim in the .cpp).
    bool exclusive = false;
    // Read on a thread of its own into a bounded queue, and run the handlers on the reader
    // (drainLoop + queuedLoop); off: one thread reads and delivers (directLoop).
    bool queueReports = false;
};

class HidTransport {
public:
    // Called on the reader thread with the whole report buffer (reportSize bytes) for every read.
    using ReceiveHandler = std::function<void(const std::uint8_t* report, std::size_t size)>;
    // Called on the reader thread once, when detectRemoval decides that the device has gone.
    using RemovalHandler = std::function<void()>;

    // How long read errors must persist, and how often the reader retries meanwhile.
    static constexpr int kRemovalWindowMs = 50;
    static constexpr int kRemovalRetryMs = 10;
    // Reports read but not yet handled, at most: 2 MiB and 256 ms of a high-speed adapter
    // streaming 8,000 reports per second; 2 s of a full-speed one.
    static constexpr std::size_t kQueuedReports = 2048;

    HidTransport();
    ~HidTransport();
    HidTransport(const HidTransport&) = delete;
    HidTransport& operator=(const HidTransport&) = delete;

    void setOptions(const TransportOptions& options) noexcept { options_ = options; }
    const TransportOptions& options() const noexcept { return options_; }

    // Opens the first listed supported device that passes the filters (an empty filter passes
    // everything) and starts the reader. True at once if already open. On false, lastError()
    // says why. Throws std::range_error for a serial that does not convert (lastError() is then
    // BAD_SERIAL) and std::system_error if the reader thread cannot start.
    bool open(const std::string& path, const std::string& serial);
    // Stops and joins the reader, closes the device. Throws resource_deadlock_would_occur when
    // called from the reader thread itself, and then changes nothing.
    void close();
    // Writes one segment as one output report (report ID 0, zero padded). False if closed or if
    // hid_write failed.
    bool write(const std::uint8_t* segment, std::size_t size);
    // Set once, before the first open.
    void setReceiveHandler(ReceiveHandler handler);
    void setRemovalHandler(RemovalHandler handler);
    bool isOpen() const noexcept { return open_; }
    // True once detectRemoval has decided that the device is gone; until the next close().
    bool gone() const noexcept { return gone_.load(std::memory_order_acquire); }
    std::size_t reportSize() const noexcept { return kind_ != nullptr ? kind_->reportSize : 0; }
    const std::string& path() const noexcept { return path_; }
    bool onReaderThread() const noexcept;

    // For a public session destroyed from one of its own handlers, on the reader thread: the
    // thread cannot join itself, so `destroy` (which deletes the session, this transport
    // included) runs on the reader once the handler has returned, after the thread has
    // detached itself. The session object stays alive until then.
    void releaseFromReader(std::function<void()> destroy)
    {
        destroyFromReader_ = std::move(destroy);
        released_.store(true);
    }

    // For a connect that fails before the transport is asked (e.g. a selector naming nothing).
    void reportConnectError(ConnectError error, std::string message) { fail(error, std::move(message)); }
    ConnectError lastError() const;
    std::string lastErrorMessage() const;
    std::uint64_t handlerExceptionCount() const noexcept { return handlerExceptions_.load(); }
    std::string lastHandlerException() const;

private:
    void directLoop(std::size_t reportSize);
    void drainLoop(std::size_t reportSize);
    void queuedLoop();
    // A handler destroyed the public session: finish the destruction on the reader thread.
    void destroyOnReader();
    // detectRemoval decided that the device is gone: tell the session.
    void reportRemoval();
    // Read errors since the last good read.
    struct ReadFailures {
        bool failing = false;
        std::chrono::steady_clock::time_point first;
    };
    // After a failed read: true once the failures have lasted long enough to mean that the
    // device has left (detectRemoval only); otherwise waits a little before the next read.
    bool deviceLeft(ReadFailures& failures);
    void deliver(const std::uint8_t* report, std::size_t size);
    // Waits up to `ms` or until close() asks the reader to stop.
    void pause(int ms);
    void fail(ConnectError error, std::string message);
    // Stops and joins whichever threads run, closes the device and forgets it: the end of
    // close(), and the way back out of an open() whose threads could not all start.
    void stopAndRelease();

    const DeviceKind* kind_ = nullptr;
    std::string path_;
    hid_device_* handle_ = nullptr;
    ReceiveHandler handler_;
    RemovalHandler removalHandler_;
    std::function<void()> destroyFromReader_; // reader thread only
    TransportOptions options_;
    bool open_ = false;
    std::atomic<bool> running_{false};
    std::atomic<bool> gone_{false};
    std::atomic<bool> released_{false};
    std::thread reader_;
    std::thread drain_;
    std::unique_ptr<ReportQueue> queue_; // between the two threads, while open
    std::atomic<bool> removed_{false};   // the drain thread decided that the device is gone
    // The claim on the device that keeps other sessions out (exclusive) or lets an exclusive
    // one see this one; released at close.
    std::unique_ptr<ExclusiveClaim> claim_;
    // Lets close() cut short the pause the reader takes after a failed read.
    std::mutex stopMutex_;
    std::condition_variable stopSignal_;
    std::vector<std::uint8_t> writeBuffer_; // one output report, reused: writes come from one thread

    mutable std::mutex errorMutex_; // the two texts below; read from any thread
    ConnectError lastError_ = ConnectError::NONE;
    std::string lastErrorMessage_;
    std::atomic<std::uint64_t> handlerExceptions_{0};
    std::string lastHandlerException_;
};

} // namespace tarvix_detail
