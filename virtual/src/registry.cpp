#include "registry.hpp"

#include "frame.hpp"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace tarvix_virtual {

namespace {

// hidapi reports USB strings as wide text; the firmware keeps 8-bit text.
std::wstring widen(const std::string& text)
{
    std::wstring wide;
    for (const char c : text) wide.push_back(static_cast<wchar_t>(static_cast<unsigned char>(c)));
    return wide;
}

// UTF-8 of a serial number for the firmware's string 3; code points that have
// no UTF-8 form (surrogates, values past 0x10FFFF) become '?'.
std::string toUtf8(const std::wstring& wide)
{
    std::string out;
    for (const wchar_t w : wide) {
        const auto c = static_cast<std::uint32_t>(w);
        if (c < 0x80) {
            out.push_back(static_cast<char>(c));
        } else if (c < 0x800) {
            out.push_back(static_cast<char>(0xC0 | (c >> 6)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        } else if (c >= 0xD800 && c <= 0xDFFF) {
            out.push_back('?');
        } else if (c < 0x10000) {
            out.push_back(static_cast<char>(0xE0 | (c >> 12)));
            out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        } else if (c <= 0x10FFFF) {
            out.push_back(static_cast<char>(0xF0 | (c >> 18)));
            out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        } else {
            out.push_back('?');
        }
    }
    return out;
}

} // namespace

detail::FirmwareState detail::firmwareState(const AdapterConfig& config, std::size_t reportSize)
{
    detail::FirmwareState state;
    state.usbStrings = {config.manufacturer, config.product,
                        config.serialString.value_or(toUtf8(config.serialNumber.value_or(L""))), config.firmwareVersion,
                        config.hardwareVersion};
    // A UART notification must fit one report: segment header, frame header, u16 count.
    state.uart.chunk = reportSize - detail::kSegmentHeaderSize - detail::kResponseHeaderSize - 2;
    if (config.bench) {
        state.i2c.buses[0].targets.emplace(std::uint8_t{0x48}, detail::I2cTemperatureSensor{});
        state.i2c.buses[0].targets.emplace(std::uint8_t{0x50}, detail::I2cEeprom{});
        state.spi.flashes[0].emplace();
        state.gpio.wire(0, 1);
        state.uart.loopback = true;
    }
    return state;
}

VirtualAdapter::Impl::Impl(const AdapterConfig& config, std::string adapterPath, std::size_t reportSize)
    : path(std::move(adapterPath)), vendorId(config.vendorId), productId(config.productId),
      serialNumber(config.serialNumber), manufacturer(widen(config.manufacturer)), product(widen(config.product)),
      restartTime(config.restartTime), core(reportSize, detail::firmwareState(config, reportSize), *this)
{
    if (config.usbTiming.enabled) setUsbTiming(config.usbTiming);
}

void VirtualAdapter::Impl::setUsbTiming(const UsbTiming& timing)
{
    core.setUsbTiming(timing);
    hostQueue = timing.enabled ? timing.hostQueue : 0;
}

std::shared_ptr<detail::InputQueue> VirtualAdapter::Impl::open()
{
    std::lock_guard<std::mutex> lock(mutex_);
    if (!pluggedLocked() || openFails.load() || openError.load() != 0) return nullptr;
    queues_.push_back(std::make_shared<detail::InputQueue>(readers, hostQueue, droppedInput));
    ++openHandles;
    return queues_.back();
}

void VirtualAdapter::Impl::close(const std::shared_ptr<detail::InputQueue>& queue)
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (auto it = queues_.begin(); it != queues_.end(); ++it) {
            if (*it == queue) {
                queues_.erase(it);
                break;
            }
        }
    }
    queue->close();
    --openHandles;
}

void VirtualAdapter::Impl::unplug()
{
    std::lock_guard<std::mutex> lock(mutex_);
    unplugLocked();
    returnAt_.reset();
}

void VirtualAdapter::Impl::unplugLocked()
{
    plugged_ = false;
    // Handles opened so far belong to the device that went away; they stay
    // dead even if it comes back, as hidraw files do.
    for (const auto& queue : queues_) queue->markGone();
    queues_.clear();
}

void VirtualAdapter::Impl::replug()
{
    core.powerCycle();
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!removed_) plugged_ = true;
        returnAt_.reset();
    }
    replugged_.notify_all();
}

// The firmware already restarted its state while handling the command; the
// device only has to disappear until it has booted again.
void VirtualAdapter::Impl::leaveBus(bool comesBack)
{
    std::lock_guard<std::mutex> lock(mutex_);
    unplugLocked();
    returnAt_.reset();
    if (comesBack && !removed_) returnAt_ = detail::Clock::now() + restartTime;
}

bool VirtualAdapter::Impl::pluggedLocked()
{
    if (!plugged_ && returnAt_ && detail::Clock::now() >= *returnAt_) {
        plugged_ = true;
        returnAt_.reset();
    }
    return plugged_;
}

bool VirtualAdapter::Impl::plugged()
{
    std::lock_guard<std::mutex> lock(mutex_);
    return pluggedLocked();
}

bool VirtualAdapter::Impl::waitForPlugged(std::chrono::milliseconds timeout)
{
    const auto deadline = detail::Clock::now() + timeout;
    std::unique_lock<std::mutex> lock(mutex_);
    while (!pluggedLocked()) {
        if (detail::Clock::now() >= deadline) return false;
        replugged_.wait_until(lock, returnAt_ ? std::min(*returnAt_, deadline) : deadline);
    }
    return true;
}

void VirtualAdapter::Impl::deliver(const std::uint8_t* report, std::size_t length, detail::Clock::time_point ready)
{
    std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& queue : queues_) queue->push(report, length, ready);
}

namespace detail {

Registry& Registry::instance()
{
    // Never destroyed: hid_close and hid_exit may still run from other static
    // destructors at process exit.
    static Registry* const registry = new Registry;
    return *registry;
}

std::shared_ptr<Adapter> Registry::attach(const AdapterConfig& config)
{
    std::size_t reportSize = config.reportSize;
    if (reportSize == 0) reportSize = catalogueReportSize(config.vendorId, config.productId).value_or(64);
    if (reportSize < 8 || reportSize - kSegmentHeaderSize > kMaxSegmentBytes)
        throw std::invalid_argument("virtual adapter report size must be 8..1025");

    std::lock_guard<std::mutex> lock(mutex_);
    std::string path = config.path;
    if (path.empty()) path = "virtual/" + std::to_string(nextPath_++);
    for (const auto& adapter : adapters_) {
        if (adapter->path == path) throw std::invalid_argument("virtual adapter path already attached: " + path);
    }
    adapters_.push_back(std::make_shared<Adapter>(config, std::move(path), reportSize));
    return adapters_.back();
}

void Registry::reset()
{
    std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& adapter : adapters_) {
        {
            std::lock_guard<std::mutex> adapterLock(adapter->mutex_);
            adapter->removed_ = true;
        }
        adapter->unplug();
    }
    adapters_.clear();
    nextPath_ = 0;
    initCalls = 0;
    exitCalls = 0;
}

std::vector<std::shared_ptr<Adapter>> Registry::plugged(std::uint16_t vendorId, std::uint16_t productId)
{
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<std::shared_ptr<Adapter>> found;
    for (const auto& adapter : adapters_) {
        if ((vendorId == 0 || adapter->vendorId == vendorId) && (productId == 0 || adapter->productId == productId) &&
            adapter->plugged())
            found.push_back(adapter);
    }
    return found;
}

} // namespace detail
} // namespace tarvix_virtual
