#include "hid_transport.hpp"

#include <hidapi.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <system_error>

namespace tarvix_detail {
namespace {

// hidraw reads are polled with this timeout so that close() never waits longer than one poll;
// it is also the pause after a failed read, so an unplugged device does not make the reader spin.
constexpr int kPollMilliseconds = 100;

void appendUtf8(std::string& out, std::uint32_t cp)
{
    if (cp < 0x80) {
        out.push_back(static_cast<char>(cp));
    } else if (cp < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    }
}

// Frees hidapi's device list on every way out of open(), including a conversion error.
struct EnumerationGuard {
    hid_device_info* list;
    ~EnumerationGuard() { hid_free_enumeration(list); }
};

} // namespace

std::string wideToUtf8(const wchar_t* text)
{
    std::string out;
    for (const wchar_t* p = text; *p != L'\0'; ++p) {
        std::uint32_t cp = static_cast<std::uint32_t>(*p);
        if (sizeof(wchar_t) == 2 && cp >= 0xD800 && cp <= 0xDBFF) {
            const std::uint32_t low = static_cast<std::uint32_t>(p[1]);
            if (low < 0xDC00 || low > 0xDFFF) {
                throw std::range_error("bad conversion");
            }
            cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
            ++p;
        } else if (cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
            throw std::range_error("bad conversion");
        }
        appendUtf8(out, cp);
    }
    return out;
}

HidTransport::HidTransport()
{
    // Every transport initialises hidapi and every destructor calls hid_exit; hidapi's own
    // init is idempotent, so the result is not looked at.
    hid_init();
}

HidTransport::~HidTransport()
{
    if (open_) {
        close();
    }
    hid_exit();
}

bool HidTransport::open(const std::string& path, const std::string& serial)
{
    if (open_) {
        return true;
    }
    std::string chosenPath;
    const DeviceKind* chosenKind = nullptr;
    {
        EnumerationGuard devices{hid_enumerate(0, 0)};
        for (hid_device_info* entry = devices.list; entry != nullptr; entry = entry->next) {
            if (!serial.empty()) {
                if (entry->serial_number == nullptr || wideToUtf8(entry->serial_number) != serial) {
                    continue;
                }
            }
            const DeviceKind* kind = findDeviceKind(entry->vendor_id, entry->product_id);
            if (kind == nullptr) {
                continue;
            }
            if (!path.empty() && (entry->path == nullptr || path != entry->path)) {
                continue;
            }
            chosenKind = kind;
            chosenPath = entry->path != nullptr ? entry->path : "";
            break;
        }
    }
    if (chosenKind == nullptr) {
        return false;
    }
    hid_device* handle = hid_open_path(chosenPath.c_str());
    if (handle == nullptr) {
        return false;
    }
    handle_ = handle;
    kind_ = chosenKind;
    path_ = std::move(chosenPath);
    writeBuffer_.assign(kind_->reportSize + 1, 0);
    open_ = true;
    running_.store(true);
    try {
        reader_ = std::thread(&HidTransport::readerLoop, this, kind_->reportSize);
    } catch (const std::system_error&) {
        running_.store(false);
        hid_close(handle_);
        handle_ = nullptr;
        kind_ = nullptr;
        path_.clear();
        open_ = false;
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again),
                                "cannot start the HID reader thread");
    }
    return true;
}

void HidTransport::close()
{
    if (!open_) {
        return;
    }
    {
        std::lock_guard<std::mutex> lock(stopMutex_);
        running_.store(false);
    }
    stopSignal_.notify_all();
    if (reader_.joinable()) {
        if (reader_.get_id() == std::this_thread::get_id()) {
            throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur),
                                    "disconnect called from the HID reader thread");
        }
        reader_.join();
    }
    hid_close(handle_);
    handle_ = nullptr;
    open_ = false;
    kind_ = nullptr;
    path_.clear();
}

bool HidTransport::write(const std::uint8_t* segment, std::size_t size)
{
    if (!open_ || handle_ == nullptr) {
        return false;
    }
    // Byte 0 is the report ID (0: the adapter has one unnumbered report); a segment longer
    // than the report is cut, never overflows.
    const std::size_t reportSize = kind_->reportSize;
    const std::size_t n = std::min(size, reportSize);
    std::memcpy(writeBuffer_.data() + 1, segment, n);
    std::fill(writeBuffer_.begin() + 1 + static_cast<std::ptrdiff_t>(n), writeBuffer_.end(), std::uint8_t{0});
    writeBuffer_[0] = 0;
    return hid_write(handle_, writeBuffer_.data(), writeBuffer_.size()) >= 0;
}

void HidTransport::setReceiveHandler(ReceiveHandler handler) { handler_ = std::move(handler); }

void HidTransport::readerLoop(std::size_t reportSize)
{
    // One buffer for the life of the thread. It is not cleared between reads: after a short
    // report the tail keeps older bytes, which is harmless because the segment header says
    // how many bytes count.
    std::vector<std::uint8_t> buffer(reportSize, 0);
    while (running_.load()) {
        const int result = hid_read_timeout(handle_, buffer.data(), buffer.size(), kPollMilliseconds);
        if (result > 0) {
            if (handler_) {
                try {
                    handler_(buffer.data(), buffer.size());
                } catch (...) {
                    // An exception from an application handler must not end the process from
                    // a thread the application does not own; the frame is dropped.
                }
            }
        } else if (result < 0) {
            // The device is gone (or failing). hidraw answers at once from now on, so wait
            // out one poll interval, or less if close() wants the thread back.
            std::unique_lock<std::mutex> lock(stopMutex_);
            stopSignal_.wait_for(lock, std::chrono::milliseconds(kPollMilliseconds),
                                 [this] { return !running_.load(); });
        }
    }
}

} // namespace tarvix_detail
