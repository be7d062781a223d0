// hidapi 0.13 implemented over the virtual adapters. These definitions are
// the library's only C surface; a process that loads this library ahead of
// libhidapi has every hid_* call of the SDK resolved here.
//
// Behaviour follows the hidraw backend where it matters to a host: every open
// handle receives every input report; after an unplug, reads and writes on the
// handles opened before fail at once; a write must be one whole output report.
#pragma GCC visibility push(default)
#include <cerrno>
#include <hidapi.h>
#pragma GCC visibility pop

#include <atomic>
#include <cstring>
#include <cwchar>
#include <memory>
#include <new>
#include <string>
#include <thread>

#include "registry.hpp"

using tarvix_virtual::detail::Adapter;
using tarvix_virtual::detail::InputQueue;
using tarvix_virtual::detail::Registry;

namespace {

// hid_error text. Only string literals are stored, so reading them needs no lock.
std::atomic<const wchar_t*> globalError{nullptr};

char* copyText(const std::string& text)
{
    char* copy = new char[text.size() + 1];
    std::memcpy(copy, text.c_str(), text.size() + 1);
    return copy;
}

wchar_t* copyWide(const std::wstring& text)
{
    wchar_t* copy = new wchar_t[text.size() + 1];
    std::wmemcpy(copy, text.c_str(), text.size() + 1);
    return copy;
}

hid_device_info* makeInfo(const Adapter& adapter)
{
    auto* info = new hid_device_info{};
    info->path = copyText(adapter.path);
    info->vendor_id = adapter.vendorId;
    info->product_id = adapter.productId;
    info->serial_number = adapter.serialNumber ? copyWide(*adapter.serialNumber) : nullptr;
    info->release_number = 0x0100;
    info->manufacturer_string = copyWide(adapter.manufacturer);
    info->product_string = copyWide(adapter.product);
    info->usage_page = 0xFF00; // vendor-defined: the adapter is not a keyboard or mouse
    info->usage = 0x0001;
    info->interface_number = 0;
    info->next = nullptr;
    info->bus_type = HID_API_BUS_USB;
    return info;
}

void freeInfo(hid_device_info* info)
{
    delete[] info->path;
    delete[] info->serial_number;
    delete[] info->manufacturer_string;
    delete[] info->product_string;
    delete info;
}

int copyString(const std::wstring& text, wchar_t* out, std::size_t maxlen)
{
    if (out == nullptr || maxlen == 0) return -1;
    const std::size_t count = std::min(text.size(), maxlen - 1);
    std::wmemcpy(out, text.data(), count);
    out[count] = L'\0';
    return 0;
}

} // namespace

struct hid_device_ {
    std::shared_ptr<Adapter> adapter;
    std::shared_ptr<InputQueue> queue;
    std::unique_ptr<hid_device_info, void (*)(hid_device_info*)> info{nullptr, freeInfo};
    std::atomic<bool> nonblocking{false};

    int fail(const wchar_t* message)
    {
        queue->error = message;
        return -1;
    }
};

namespace {

hid_device* openAdapter(const std::shared_ptr<Adapter>& adapter)
{
    std::shared_ptr<InputQueue> queue = adapter->open();
    if (!queue) {
        // As hidraw's open() would fail: errno says why (after everything that might touch it).
        const int error = adapter->openError.load();
        globalError =
            error == EACCES ? L"Failed to open a device: Permission denied" : L"the device could not be opened";
        if (error != 0) errno = error;
        return nullptr;
    }
    auto* dev = new hid_device_;
    dev->adapter = adapter;
    dev->queue = std::move(queue);
    dev->info.reset(makeInfo(*adapter));
    ++Registry::instance().openHandles;
    globalError = nullptr;
    return dev;
}

int readReport(hid_device* dev, unsigned char* data, std::size_t length, int milliseconds)
{
    if (dev == nullptr || data == nullptr) return -1;
    // hid_close may free the handle while this read sleeps: from here on
    // only the queue is used.
    const std::shared_ptr<InputQueue> queue = dev->queue;
    const int result = queue->read(data, length, milliseconds);
    if (result < 0) queue->error = L"the device is gone or the handle is closed";
    return result;
}

int unsupported(hid_device* dev)
{
    return dev == nullptr ? -1 : dev->fail(L"not supported by this device");
}

// Exceptions (allocation failure, a throwing responder) must not cross into C.
template <typename Result, typename Body>
Result guarded(Result failure, Body body) noexcept
{
    try {
        return body();
    } catch (...) {
        return failure;
    }
}

} // namespace

extern "C" {

int hid_init(void)
{
    ++Registry::instance().initCalls;
    return 0;
}

int hid_exit(void)
{
    ++Registry::instance().exitCalls;
    return 0;
}

hid_device_info* hid_enumerate(unsigned short vendor_id, unsigned short product_id)
{
    return guarded<hid_device_info*>(nullptr, [&] {
        hid_device_info* head = nullptr;
        hid_device_info** tail = &head;
        for (const auto& adapter : Registry::instance().plugged(vendor_id, product_id)) {
            *tail = makeInfo(*adapter);
            tail = &(*tail)->next;
        }
        return head;
    });
}

void hid_free_enumeration(hid_device_info* devs)
{
    while (devs != nullptr) {
        hid_device_info* next = devs->next;
        freeInfo(devs);
        devs = next;
    }
}

hid_device* hid_open(unsigned short vendor_id, unsigned short product_id, const wchar_t* serial_number)
{
    return guarded<hid_device*>(nullptr, [&]() -> hid_device* {
        for (const auto& adapter : Registry::instance().plugged(vendor_id, product_id)) {
            if (serial_number == nullptr || (adapter->serialNumber && *adapter->serialNumber == serial_number))
                return openAdapter(adapter);
        }
        globalError = L"no such device";
        return nullptr;
    });
}

hid_device* hid_open_path(const char* path)
{
    return guarded<hid_device*>(nullptr, [&]() -> hid_device* {
        if (path != nullptr) {
            for (const auto& adapter : Registry::instance().plugged(0, 0)) {
                if (adapter->path == path) return openAdapter(adapter);
            }
        }
        globalError = L"no such device";
        return nullptr;
    });
}

int hid_write(hid_device* dev, const unsigned char* data, size_t length)
{
    if (dev == nullptr || data == nullptr) return -1;
    const int result = guarded(-2, [&] {
        if (!dev->queue->usable()) return dev->fail(L"the device is gone or the handle is closed");
        if (dev->adapter->writeFails.load()) {
            dev->adapter->core.recordRejected(data, length);
            return dev->fail(L"write failed");
        }
        tarvix_virtual::detail::Clock::time_point crossed;
        if (!dev->adapter->core.receiveOutputReport(data, length, &crossed))
            return dev->fail(L"a write must be one output report: report ID 0 and report size bytes");
        if (dev->adapter->unplugDue()) dev->adapter->unplug();
        // As hidraw's write, return once the report has crossed the link (at once unless the
        // USB timing model is on). No lock is held while sleeping.
        std::this_thread::sleep_until(crossed);
        return static_cast<int>(length);
    });
    return result == -2 ? dev->fail(L"write failed") : result;
}

int hid_read_timeout(hid_device* dev, unsigned char* data, size_t length, int milliseconds)
{
    return readReport(dev, data, length, milliseconds);
}

int hid_read(hid_device* dev, unsigned char* data, size_t length)
{
    if (dev == nullptr) return -1;
    return readReport(dev, data, length, dev->nonblocking.load() ? 0 : -1);
}

int hid_set_nonblocking(hid_device* dev, int nonblock)
{
    if (dev == nullptr) return -1;
    dev->nonblocking = nonblock != 0;
    return 0;
}

int hid_send_feature_report(hid_device* dev, const unsigned char*, size_t)
{
    return unsupported(dev);
}
int hid_get_feature_report(hid_device* dev, unsigned char*, size_t)
{
    return unsupported(dev);
}
int hid_get_input_report(hid_device* dev, unsigned char*, size_t)
{
    return unsupported(dev);
}
int hid_get_indexed_string(hid_device* dev, int, wchar_t*, size_t)
{
    return unsupported(dev);
}

void hid_close(hid_device* dev)
{
    if (dev == nullptr) return;
    dev->adapter->close(dev->queue);
    --Registry::instance().openHandles;
    delete dev;
}

int hid_get_manufacturer_string(hid_device* dev, wchar_t* string, size_t maxlen)
{
    if (dev == nullptr) return -1;
    return copyString(dev->adapter->manufacturer, string, maxlen);
}

int hid_get_product_string(hid_device* dev, wchar_t* string, size_t maxlen)
{
    if (dev == nullptr) return -1;
    return copyString(dev->adapter->product, string, maxlen);
}

int hid_get_serial_number_string(hid_device* dev, wchar_t* string, size_t maxlen)
{
    if (dev == nullptr) return -1;
    if (!dev->adapter->serialNumber) return dev->fail(L"the device has no serial number");
    return copyString(*dev->adapter->serialNumber, string, maxlen);
}

hid_device_info* hid_get_device_info(hid_device* dev)
{
    return dev == nullptr ? nullptr : dev->info.get();
}

const wchar_t* hid_error(hid_device* dev)
{
    const wchar_t* message = dev == nullptr ? globalError.load() : dev->queue->error.load();
    return message == nullptr ? L"Success" : message;
}

const hid_api_version* hid_version(void)
{
    static const hid_api_version version{HID_API_VERSION_MAJOR, HID_API_VERSION_MINOR, HID_API_VERSION_PATCH};
    return &version;
}

const char* hid_version_str(void)
{
    return HID_API_VERSION_STR;
}

} // extern "C"
