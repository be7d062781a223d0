#include "hid_transport.hpp"

#include <hidapi.h>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <map>
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

// Sessions of this process that have a device open, by path: what keeps an exclusive session
// and any other apart when both live in one process (also for paths that are not files, like
// the virtual adapter's).
struct Holders {
    int sessions = 0;
    bool exclusive = false;
};
std::mutex claimsMutex;
std::map<std::string, Holders> claims;

bool isDeviceNode(const std::string& path)
{
    return !path.empty() && path[0] == '/';
}

// hid_error's text, for messages; never throws.
std::string hidErrorText()
{
    const wchar_t* text = hid_error(nullptr);
    if (text == nullptr) {
        return std::string();
    }
    try {
        return wideToUtf8(text);
    } catch (...) {
        return std::string();
    }
}

} // namespace

// A session's hold on its device. Within the process it is an entry of `claims`. Across
// processes it is an advisory lock on the device node: an exclusive session keeps the node
// open with LOCK_EX for as long as it is connected; any other session probes with LOCK_SH, so
// it sees an exclusive holder in another process (but an exclusive session cannot see plain
// sessions of other processes, which hold no lock). flock binds only programs that ask for it.
struct ExclusiveClaim {
    std::string path;
    bool exclusive = false;
    int nodeFd = -1;

    ~ExclusiveClaim()
    {
        if (nodeFd >= 0) {
            ::close(nodeFd); // releases the lock
        }
        std::lock_guard<std::mutex> lock(claimsMutex);
        const auto it = claims.find(path);
        if (it != claims.end()) {
            if (exclusive) {
                it->second.exclusive = false;
            }
            if (--it->second.sessions <= 0) {
                claims.erase(it);
            }
        }
    }

    // Null when the device is held in a way that excludes this session.
    static std::unique_ptr<ExclusiveClaim> take(const std::string& path, bool exclusive)
    {
        std::lock_guard<std::mutex> lock(claimsMutex);
        const auto held = claims.find(path);
        if (held != claims.end() && (held->second.exclusive || (exclusive && held->second.sessions > 0))) {
            return nullptr;
        }
        int nodeFd = -1;
        if (isDeviceNode(path)) {
            // A node this user cannot open is left to hid_open_path, which reports why.
            const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
            if (fd >= 0) {
                if (::flock(fd, (exclusive ? LOCK_EX : LOCK_SH) | LOCK_NB) != 0) {
                    ::close(fd);
                    return nullptr;
                }
                if (exclusive) {
                    nodeFd = fd;
                } else {
                    ::close(fd); // a probe only: plain sessions hold no lock
                }
            }
        }
        auto claim = std::make_unique<ExclusiveClaim>();
        claim->path = path;
        claim->exclusive = exclusive;
        claim->nodeFd = nodeFd;
        Holders& holders = claims[path];
        ++holders.sessions;
        holders.exclusive = holders.exclusive || exclusive;
        return claim;
    }
};

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

namespace {

std::string lossyUtf8(const wchar_t* text)
{
    std::string out;
    if (text == nullptr) {
        return out;
    }
    for (const wchar_t* p = text; *p != L'\0'; ++p) {
        std::uint32_t cp = static_cast<std::uint32_t>(*p);
        if (sizeof(wchar_t) == 2 && cp >= 0xD800 && cp <= 0xDBFF && p[1] >= 0xDC00 && p[1] <= 0xDFFF) {
            cp = 0x10000 + ((cp - 0xD800) << 10) + (static_cast<std::uint32_t>(p[1]) - 0xDC00);
            ++p;
        } else if (cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
            cp = 0xFFFD;
        }
        appendUtf8(out, cp);
    }
    return out;
}

} // namespace

std::vector<ListedAdapter> listSupportedAdapters()
{
    std::vector<ListedAdapter> adapters;
    EnumerationGuard devices{hid_enumerate(0, 0)};
    for (hid_device_info* entry = devices.list; entry != nullptr; entry = entry->next) {
        const DeviceKind* kind = findDeviceKind(entry->vendor_id, entry->product_id);
        if (kind == nullptr) {
            continue;
        }
        ListedAdapter adapter;
        adapter.path = entry->path != nullptr ? entry->path : "";
        adapter.kind = kind;
        adapter.hasSerial = entry->serial_number != nullptr;
        adapter.serial = lossyUtf8(entry->serial_number);
        adapter.manufacturer = lossyUtf8(entry->manufacturer_string);
        adapter.product = lossyUtf8(entry->product_string);
        adapters.push_back(std::move(adapter));
    }
    return adapters;
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

void HidTransport::fail(ConnectError error, std::string message)
{
    std::lock_guard<std::mutex> lock(errorMutex_);
    lastError_ = error;
    lastErrorMessage_ = std::move(message);
}

ConnectError HidTransport::lastError() const
{
    std::lock_guard<std::mutex> lock(errorMutex_);
    return lastError_;
}

std::string HidTransport::lastErrorMessage() const
{
    std::lock_guard<std::mutex> lock(errorMutex_);
    return lastErrorMessage_;
}

std::string HidTransport::lastHandlerException() const
{
    std::lock_guard<std::mutex> lock(errorMutex_);
    return lastHandlerException_;
}

bool HidTransport::onReaderThread() const noexcept
{
    return reader_.joinable() && reader_.get_id() == std::this_thread::get_id();
}

bool HidTransport::open(const std::string& path, const std::string& serial)
{
    if (open_) {
        return true;
    }
    fail(ConnectError::NONE, std::string());
    std::string chosenPath;
    const DeviceKind* chosenKind = nullptr;
    std::size_t supported = 0;
    {
        EnumerationGuard devices{hid_enumerate(0, 0)};
        for (hid_device_info* entry = devices.list; entry != nullptr; entry = entry->next) {
            const DeviceKind* kind = findDeviceKind(entry->vendor_id, entry->product_id);
            if (kind != nullptr) {
                ++supported;
            }
            if (!serial.empty()) {
                if (entry->serial_number == nullptr) {
                    continue;
                }
                std::string converted;
                try {
                    converted = wideToUtf8(entry->serial_number);
                } catch (const std::range_error&) {
                    fail(ConnectError::BAD_SERIAL,
                         "the serial number of HID device " + std::string(entry->path != nullptr ? entry->path : "?") +
                             " does not convert to UTF-8, so it cannot be compared with \"" + serial + "\"");
                    throw;
                }
                if (converted != serial) {
                    continue;
                }
            }
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
        if (supported == 0) {
            fail(ConnectError::NO_ADAPTER, "no Tarvix adapter is attached (none of the HID devices has USB ID "
                                           "1fc9:82fc or 1fc9:82fd)");
        } else {
            std::string wanted;
            if (!serial.empty()) {
                wanted += " with serial number \"" + serial + "\"";
            }
            if (!path.empty()) {
                wanted += " at path \"" + path + "\"";
            }
            fail(ConnectError::NO_MATCH, "no Tarvix adapter" + wanted + " (" + std::to_string(supported) +
                                             " other adapter" + (supported == 1 ? " is" : "s are") + " attached)");
        }
        return false;
    }
    std::unique_ptr<ExclusiveClaim> claim = ExclusiveClaim::take(chosenPath, options_.exclusive);
    if (!claim) {
        fail(ConnectError::BUSY, "adapter " + chosenPath +
                                     (options_.exclusive ? " is busy: another session has it open, and this one asked "
                                                           "for exclusive use"
                                                         : " is busy: another session holds it exclusively"));
        return false;
    }
    errno = 0;
    hid_device* handle = hid_open_path(chosenPath.c_str());
    if (handle == nullptr) {
        const int error = errno;
        const bool denied =
            error == EACCES || error == EPERM ||
            (isDeviceNode(chosenPath) && ::access(chosenPath.c_str(), R_OK | W_OK) != 0 && errno == EACCES);
        if (denied) {
            fail(ConnectError::PERMISSION_DENIED,
                 "permission denied on " + chosenPath +
                     ": this user may not open the adapter's device node. Install the Tarvix udev rule "
                     "(70-tarvix.rules: TAG+=\"uaccess\" for the logged-in user, or a group for headless hosts) "
                     "and replug the adapter, or run as root");
        } else {
            const std::string text = hidErrorText();
            fail(ConnectError::OPEN_FAILED, "cannot open adapter " + chosenPath + (text.empty() ? "" : ": " + text));
        }
        return false;
    }
    handle_ = handle;
    kind_ = chosenKind;
    path_ = std::move(chosenPath);
    claim_ = std::move(claim);
    writeBuffer_.assign(kind_->reportSize + 1, 0);
    open_ = true;
    gone_.store(false);
    removed_.store(false);
    released_.store(false);
    running_.store(true);
    try {
        if (options_.queueReports) {
            queue_ = std::make_unique<ReportQueue>(kQueuedReports, kind_->reportSize);
            reader_ = std::thread(&HidTransport::queuedLoop, this);
            drain_ = std::thread(&HidTransport::drainLoop, this, kind_->reportSize);
        } else {
            reader_ = std::thread(&HidTransport::directLoop, this, kind_->reportSize);
        }
    } catch (const std::system_error&) {
        stopAndRelease(); // with queueReports, the reader may be running already
        fail(ConnectError::SYSTEM_ERROR, "cannot start the HID reader thread");
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
    // Refused before anything changes: the reader, and with it the session, keeps working.
    if (onReaderThread()) {
        throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur),
                                "disconnect called from the HID reader thread");
    }
    stopAndRelease();
}

void HidTransport::stopAndRelease()
{
    {
        std::lock_guard<std::mutex> lock(stopMutex_);
        running_.store(false);
    }
    stopSignal_.notify_all();
    if (queue_) {
        queue_->stop();
    }
    if (reader_.joinable()) {
        reader_.join();
    }
    if (drain_.joinable()) {
        drain_.join();
    }
    queue_.reset();
    hid_close(handle_);
    handle_ = nullptr;
    open_ = false;
    kind_ = nullptr;
    path_.clear();
    claim_.reset();
    gone_.store(false);
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

void HidTransport::setReceiveHandler(ReceiveHandler handler)
{
    handler_ = std::move(handler);
}

void HidTransport::setRemovalHandler(RemovalHandler handler)
{
    removalHandler_ = std::move(handler);
}

void HidTransport::pause(int ms)
{
    std::unique_lock<std::mutex> lock(stopMutex_);
    stopSignal_.wait_for(lock, std::chrono::milliseconds(ms), [this] { return !running_.load(); });
}

void HidTransport::deliver(const std::uint8_t* report, std::size_t size)
{
    if (!handler_) {
        return;
    }
    // An exception from an application handler must not end the process from a thread the
    // application does not own: the frame is dropped, the exception counted and its text kept.
    const char* what = nullptr;
    std::string text;
    try {
        handler_(report, size);
        return;
    } catch (const std::exception& e) {
        what = e.what();
        text = what != nullptr ? what : "";
    } catch (...) {
        text = "unknown exception";
    }
    std::lock_guard<std::mutex> lock(errorMutex_);
    lastHandlerException_ = std::move(text);
    handlerExceptions_.fetch_add(1);
}

// Reads reports into the queue, and nothing else, so that the kernel's short list is emptied
// as fast as the device fills it. It also decides, with detectRemoval, that the device is gone.
void HidTransport::drainLoop(std::size_t reportSize)
{
    ReadFailures failures;
    while (running_.load()) {
        // A slot is not cleared before a read: after a short report its tail keeps older
        // bytes, which is harmless because the segment header says how many bytes count.
        std::uint8_t* slot = queue_->slot();
        if (slot == nullptr) {
            break;
        }
        const int result = hid_read_timeout(handle_, slot, reportSize, kPollMilliseconds);
        if (result >= 0) {
            failures.failing = false;
        }
        if (result > 0) {
            queue_->commit();
        } else if (result < 0 && deviceLeft(failures)) {
            removed_.store(true);
            break; // joined by the next close() or connect()
        }
    }
    queue_->finish();
}

void HidTransport::destroyOnReader()
{
    // Nobody will join this thread, so it detaches itself and finishes the destruction, which
    // takes this transport with it: nothing of `this` may be used afterwards.
    std::function<void()> destroy = std::move(destroyFromReader_);
    running_.store(false);
    reader_.detach();
    destroy();
}

bool HidTransport::deviceLeft(ReadFailures& failures)
{
    if (!options_.detectRemoval) {
        // The device is gone (or failing). hidraw answers at once from now on, so wait out one
        // poll interval, or less if close() wants the thread back.
        pause(kPollMilliseconds);
        return false;
    }
    // One failed read may be a passing fault; errors that persist with no report in between
    // mean the device has left. Retry quickly meanwhile so that the decision comes soon after
    // the window.
    const auto now = std::chrono::steady_clock::now();
    if (!failures.failing) {
        failures.failing = true;
        failures.first = now;
    } else if (now - failures.first >= std::chrono::milliseconds(kRemovalWindowMs)) {
        return true;
    }
    pause(kRemovalRetryMs);
    return false;
}

void HidTransport::reportRemoval()
{
    gone_.store(true, std::memory_order_release);
    if (removalHandler_) {
        removalHandler_();
    }
}

// Without queueReports: one thread reads each report and hands it to the receive handler. While
// a handler runs nothing is read, and the kernel's short list of input reports fills meanwhile.
void HidTransport::directLoop(std::size_t reportSize)
{
    // One buffer for the life of the thread. It is not cleared between reads: after a short
    // report the tail keeps older bytes, which is harmless because the segment header says
    // how many bytes count.
    std::vector<std::uint8_t> buffer(reportSize, 0);
    ReadFailures failures;
    while (running_.load()) {
        const int result = hid_read_timeout(handle_, buffer.data(), buffer.size(), kPollMilliseconds);
        if (result >= 0) {
            failures.failing = false;
        }
        if (result > 0) {
            deliver(buffer.data(), buffer.size());
            if (released_.load()) {
                destroyOnReader();
                return;
            }
        } else if (result < 0 && deviceLeft(failures)) {
            reportRemoval();
            return; // joined by the next close() or connect()
        }
    }
}

// With queueReports: hands every queued report to the receive handler, in order. The reports
// that arrived before a removal are all handled before the removal handler runs.
void HidTransport::queuedLoop()
{
    while (const std::uint8_t* report = queue_->front()) {
        deliver(report, queue_->reportSize());
        queue_->pop();
        if (released_.load()) {
            destroyOnReader();
            return;
        }
    }
    if (removed_.load() && running_.load()) {
        reportRemoval();
    }
}

} // namespace tarvix_detail
