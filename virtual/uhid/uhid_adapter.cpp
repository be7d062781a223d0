#include "uhid_adapter.hpp"

#include <fcntl.h>
#include <linux/uhid.h>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <system_error>
#include <utility>

#include "registry.hpp"

namespace tarvix_virtual::uhid {

namespace {

// The kernel's device name and uniq are fixed-size, NUL-terminated fields.
template <std::size_t N>
void copyField(__u8 (&field)[N], const std::string& text)
{
    const std::size_t count = std::min(text.size(), N - 1);
    std::memcpy(field, text.data(), count);
    field[count] = 0;
}

std::string narrow(const std::optional<std::wstring>& wide)
{
    std::string text;
    if (wide)
        for (const wchar_t c : *wide) text.push_back(c > 0 && c < 0x80 ? static_cast<char>(c) : '?');
    return text;
}

} // namespace

std::vector<std::uint8_t> reportDescriptor(std::size_t reportSize)
{
    const auto low = static_cast<std::uint8_t>(reportSize & 0xFF);
    const auto high = static_cast<std::uint8_t>(reportSize >> 8);
    // clang-format off
    return {
        0x06, 0x00, 0xFF,   // Usage Page (vendor-defined 0xFF00)
        0x09, 0x01,         // Usage (1)
        0xA1, 0x01,         // Collection (Application)
        0x15, 0x00,         //   Logical Minimum (0)
        0x26, 0xFF, 0x00,   //   Logical Maximum (255)
        0x75, 0x08,         //   Report Size (8 bits)
        0x96, low, high,    //   Report Count (reportSize)
        0x09, 0x01,         //   Usage (1)
        0x81, 0x02,         //   Input (Data, Variable, Absolute)
        0x96, low, high,    //   Report Count (reportSize)
        0x09, 0x01,         //   Usage (1)
        0x91, 0x02,         //   Output (Data, Variable, Absolute)
        0xC0,               // End Collection
    };
    // clang-format on
}

UhidAdapter::UhidAdapter(const UhidOptions& options)
    : serial_(narrow(options.config.serialNumber)), product_(options.config.product),
      vendorId_(options.config.vendorId), productId_(options.config.productId),
      restartTime_(options.config.restartTime), descriptor_(reportDescriptor(options.config.reportSize)),
      spacing_(options.pacing ? detail::usbFrameTime(options.config.reportSize, options.frame)
                              : Clock::duration::zero()),
      core_(options.config.reportSize, detail::firmwareState(options.config, options.config.reportSize), *this)
{
    if (options.pacing) {
        UsbTiming timing;
        timing.enabled = true;
        timing.frame = options.frame;
        timing.firmwareTime = options.firmwareTime;
        core_.setUsbTiming(timing);
    }
    // Recording every report would grow without bound in a long-running device.
    core_.setRecording(false);
    pending_ = std::make_shared<detail::InputQueue>(senders_, noHostBound_, neverDropped_);
    fd_ = ::open("/dev/uhid", O_RDWR | O_CLOEXEC);
    if (fd_ < 0) throw std::system_error(errno, std::generic_category(), "cannot open /dev/uhid");
    if (::pipe2(wake_, O_CLOEXEC) != 0) {
        const int error = errno;
        ::close(fd_);
        throw std::system_error(error, std::generic_category(), "pipe");
    }
    drainThread_ = std::thread([this] { drainLoop(); });
    sendThread_ = std::thread([this] { sendLoop(); });
}

UhidAdapter::~UhidAdapter()
{
    std::shared_ptr<detail::InputQueue> pending;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
        pending = pending_;
    }
    pending->close(); // wakes the send thread, which then sees stopping_
    const char byte = 0;
    (void)!::write(wake_[1], &byte, 1);
    drainThread_.join();
    sendThread_.join();
    unplug();
    ::close(fd_);
    ::close(wake_[0]);
    ::close(wake_[1]);
}

bool UhidAdapter::writeEvent(const void* event, std::size_t size)
{
    const ssize_t written = ::write(fd_, event, size);
    return written == static_cast<ssize_t>(size);
}

bool UhidAdapter::plug(std::string& error)
{
    if (plugged()) return true; // plugging a plugged adapter changes nothing
    core_.powerCycle();
    {
        std::lock_guard<std::mutex> lock(mutex_);
        returnAt_.reset();
    }
    std::lock_guard<std::mutex> device(deviceMutex_);
    return created_ || createLocked(error);
}

bool UhidAdapter::createLocked(std::string& error)
{
    uhid_event event{};
    event.type = UHID_CREATE2;
    uhid_create2_req& create = event.u.create2;
    copyField(create.name, product_);
    copyField(create.phys, "tarvix-uhid");
    copyField(create.uniq, serial_);
    create.rd_size = static_cast<__u16>(descriptor_.size());
    std::memcpy(create.rd_data, descriptor_.data(), descriptor_.size());
    create.bus = 0x03; // BUS_USB: hidapi and the SDK see a USB adapter
    create.vendor = vendorId_;
    create.product = productId_;
    create.version = 0x0100;
    if (!writeEvent(&event, sizeof event)) {
        error = std::string("UHID_CREATE2 failed: ") + std::strerror(errno);
        return false;
    }
    created_ = true;
    return true;
}

void UhidAdapter::unplug()
{
    std::shared_ptr<detail::InputQueue> old;
    {
        // What the device had not sent yet is lost with it.
        std::lock_guard<std::mutex> lock(mutex_);
        old = std::exchange(pending_, std::make_shared<detail::InputQueue>(senders_, noHostBound_, neverDropped_));
        returnAt_.reset();
    }
    old->markGone();
    std::lock_guard<std::mutex> device(deviceMutex_);
    destroyLocked();
}

void UhidAdapter::destroyLocked()
{
    if (!created_) return;
    uhid_event event{};
    event.type = UHID_DESTROY;
    (void)writeEvent(&event, sizeof event);
    created_ = false;
}

bool UhidAdapter::plugged() const
{
    std::lock_guard<std::mutex> device(deviceMutex_);
    return created_;
}

void UhidAdapter::service(Clock::time_point now)
{
    bool due = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        due = returnAt_ && now >= *returnAt_;
    }
    std::string error;
    if (due) plug(error); // a failure leaves it unplugged, as a device that did not come back
}

std::optional<Clock::time_point> UhidAdapter::nextService() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return returnAt_;
}

UhidCounters UhidAdapter::counters() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return counters_;
}

// Called with the device core's lock held (the core's lock comes first).
void UhidAdapter::deliver(const std::uint8_t* report, std::size_t length, Clock::time_point ready)
{
    std::lock_guard<std::mutex> lock(mutex_);
    pending_->push(report, length, ready);
}

// Also under the core's lock, from the drain thread: only noted here and
// carried out by the drain thread once the core is done with the report.
void UhidAdapter::leaveBus(bool comesBack)
{
    std::lock_guard<std::mutex> lock(mutex_);
    departure_ = comesBack;
}

void UhidAdapter::drainLoop()
{
    // uhid wakes this thread for every output event but the host's writes do not wait for it:
    // as a real-time thread it runs as soon as an event is queued, before the writer can queue
    // 32 more. Without the privilege it runs at normal priority, which suffices on an idle
    // machine.
    sched_param priority{};
    priority.sched_priority = 10;
    if (pthread_setschedparam(pthread_self(), SCHED_FIFO, &priority) != 0)
        std::fprintf(stderr, "tarvix-uhid: no real-time priority for the /dev/uhid reader; under load the "
                             "kernel's output queue (32 reports) may overflow\n");
    uhid_event event{};
    pollfd fds[2] = {{fd_, POLLIN, 0}, {wake_[0], POLLIN, 0}};
    for (;;) {
        if (::poll(fds, 2, -1) < 0) {
            if (errno == EINTR) continue;
            return;
        }
        if (fds[1].revents != 0) return;
        const ssize_t size = ::read(fd_, &event, sizeof event);
        if (size < 0) {
            if (errno == EINTR || errno == EAGAIN) continue;
            return;
        }
        // Every event carries at least its type; a short one is ignored.
        if (static_cast<std::size_t>(size) < sizeof event.type) continue;
        switch (event.type) {
        case UHID_OUTPUT: {
            const std::size_t length = std::min<std::size_t>(event.u.output.size, UHID_DATA_MAX);
            const bool accepted = core_.receiveOutputReport(event.u.output.data, length);
            std::optional<bool> departure;
            {
                std::lock_guard<std::mutex> lock(mutex_);
                ++counters_.outputReports;
                if (!accepted) ++counters_.refused;
                departure = std::exchange(departure_, std::nullopt);
            }
            if (departure) {
                unplug();
                std::lock_guard<std::mutex> lock(mutex_);
                if (*departure) returnAt_ = Clock::now() + restartTime_;
            }
            break;
        }
        case UHID_GET_REPORT:
        case UHID_SET_REPORT: {
            // The adapter has no feature reports to get or set: refuse at
            // once instead of letting the kernel wait for its timeout.
            uhid_event reply{};
            if (event.type == UHID_GET_REPORT) {
                reply.type = UHID_GET_REPORT_REPLY;
                reply.u.get_report_reply.id = event.u.get_report.id;
                reply.u.get_report_reply.err = EIO;
            } else {
                reply.type = UHID_SET_REPORT_REPLY;
                reply.u.set_report_reply.id = event.u.set_report.id;
                reply.u.set_report_reply.err = EIO;
            }
            std::lock_guard<std::mutex> device(deviceMutex_);
            (void)writeEvent(&reply, sizeof reply);
            break;
        }
        default: // START, STOP, OPEN, CLOSE: nothing to do
            break;
        }
    }
}

void UhidAdapter::sendLoop()
{
    uhid_event event{};
    event.type = UHID_INPUT2;
    Clock::time_point nextSlot{};
    for (;;) {
        std::shared_ptr<detail::InputQueue> pending;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (stopping_) return;
            pending = pending_;
        }
        // Waits until the earliest report is ready; -1 once the queue was replaced (unplug)
        // or closed (stop), and the loop takes the current one.
        const int length = pending->read(event.u.input2.data, sizeof event.u.input2.data, -1);
        if (length < 0) continue;
        std::this_thread::sleep_until(nextSlot);
        event.u.input2.size = static_cast<__u16>(length);
        bool sent = false;
        {
            std::lock_guard<std::mutex> device(deviceMutex_);
            // Only the header and the report's bytes go to the kernel.
            sent =
                created_ && writeEvent(&event, offsetof(uhid_event, u.input2.data) + static_cast<std::size_t>(length));
        }
        nextSlot = std::max(nextSlot + spacing_, Clock::now() - kCatchUp * spacing_);
        std::lock_guard<std::mutex> lock(mutex_);
        if (sent)
            ++counters_.inputReports;
        else
            ++counters_.lost;
    }
}

} // namespace tarvix_virtual::uhid
