// The open HID device and its reader thread. Nothing else in the library calls hidapi.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "catalogue.hpp"

struct hid_device_;

namespace tarvix_detail {

// Converts a serial number as hidapi reports it (UTF-32 on Linux and macOS, UTF-16 on Windows)
// to UTF-8. Throws std::range_error("bad conversion") for a code point above 0x10FFFF or an
// unpaired surrogate: a serial we cannot represent must not silently match another one.
std::string wideToUtf8(const wchar_t* text);

class HidTransport {
public:
    // Called on the reader thread with the whole report buffer (reportSize bytes) for every read.
    using ReceiveHandler = std::function<void(const std::uint8_t* report, std::size_t size)>;

    HidTransport();
    ~HidTransport();
    HidTransport(const HidTransport&) = delete;
    HidTransport& operator=(const HidTransport&) = delete;

    // Opens the first listed supported device that passes the filters (an empty filter passes
    // everything) and starts the reader. True at once if already open.
    bool open(const std::string& path, const std::string& serial);
    // Stops and joins the reader, closes the device. Throws resource_deadlock_would_occur when
    // called from the reader thread itself.
    void close();
    // Writes one segment as one output report (report ID 0, zero padded). False if closed or if
    // hid_write failed.
    bool write(const std::uint8_t* segment, std::size_t size);
    void setReceiveHandler(ReceiveHandler handler);
    bool isOpen() const noexcept { return open_; }
    std::size_t reportSize() const noexcept { return kind_ != nullptr ? kind_->reportSize : 0; }
    const std::string& path() const noexcept { return path_; }

private:
    void readerLoop(std::size_t reportSize);

    const DeviceKind* kind_ = nullptr;
    std::string path_;
    hid_device_* handle_ = nullptr;
    ReceiveHandler handler_;
    bool open_ = false;
    std::atomic<bool> running_{false};
    std::thread reader_;
    // Lets close() cut short the pause the reader takes after a failed read.
    std::mutex stopMutex_;
    std::condition_variable stopSignal_;
    std::vector<std::uint8_t> writeBuffer_; // one output report, reused: writes come from one thread
};

} // namespace tarvix_detail
