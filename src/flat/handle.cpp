// Flat interface: handle lifecycle, connecting and why it failed, device information, the
// notification bridge, the views and the names of status codes.
#include "handle.hpp"

#include "../protocol/notification.hpp"
#include "../sync/status_text.hpp"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

using tarvix_flat::guard;

namespace {

// The five strings in index order: where each comes from and where its copy goes.
struct DeviceInfoField {
    std::string TarvixSDK::DeviceInfo::*text;
    char* TarvixSDK_DeviceInfo::*copy;
    std::size_t TarvixSDK_DeviceInfo::*length;
};
constexpr DeviceInfoField kDeviceInfoFields[] = {
    {&TarvixSDK::DeviceInfo::usbString1, &TarvixSDK_DeviceInfo::usbString1, &TarvixSDK_DeviceInfo::usbString1Length},
    {&TarvixSDK::DeviceInfo::usbString2, &TarvixSDK_DeviceInfo::usbString2, &TarvixSDK_DeviceInfo::usbString2Length},
    {&TarvixSDK::DeviceInfo::usbString3, &TarvixSDK_DeviceInfo::usbString3, &TarvixSDK_DeviceInfo::usbString3Length},
    {&TarvixSDK::DeviceInfo::usbString4, &TarvixSDK_DeviceInfo::usbString4, &TarvixSDK_DeviceInfo::usbString4Length},
    {&TarvixSDK::DeviceInfo::usbString5, &TarvixSDK_DeviceInfo::usbString5, &TarvixSDK_DeviceInfo::usbString5Length},
};

// The plain callback's delivery. The frame is copied into the handle's fixed buffer so that the
// callback sees memory of the handle, not the transport's reassembly buffer. The length field is
// 8 bits wide: a frame of exactly 256 bytes therefore arrives with length 0, like every longer
// one (cut to its first 256 bytes). C callers have always seen it so; keep it.
void deliverCopy(TarvixSDK_Handle& handle, TarvixSDK_NotificationCallback callback, const Notification& received)
{
    const std::size_t size = received.length;
    const std::size_t copied =
        size <= TarvixSDK_Handle::kNotificationCapacity ? size : TarvixSDK_Handle::kNotificationCapacity;
    handle.notificationLength =
        size <= TarvixSDK_Handle::kNotificationCapacity ? static_cast<std::uint8_t>(size & 0xFF) : 0;
    if (copied > 0) {
        std::memcpy(handle.notificationBuffer, received.data, copied);
    }
    Notification flat{};
    flat.kind = received.kind;
    flat.data = handle.notificationBuffer;
    flat.length = handle.notificationLength;
    callback(&flat);
}

// Runs on the reader thread for every notification, registered once when the handle is made.
// The extended callback gets the session's own record: the whole frame, uncut and uncopied.
void deliverNotification(TarvixSDK_Handle& handle, const Notification& received)
{
    const std::shared_ptr<const TarvixSDK_NotificationTarget> target = std::atomic_load(&handle.notificationTarget);
    if (target == nullptr) {
        return;
    }
    if (target->extended != nullptr) {
        target->extended(&received, target->userData);
    } else if (target->plain != nullptr) {
        deliverCopy(handle, target->plain, received);
    }
}

void setNotificationTarget(TarvixSDK_Handle& handle, const TarvixSDK_NotificationTarget& target)
{
    std::shared_ptr<const TarvixSDK_NotificationTarget> next;
    if (target.plain != nullptr || target.extended != nullptr) {
        next = std::make_shared<const TarvixSDK_NotificationTarget>(target);
    }
    std::atomic_store(&handle.notificationTarget, std::move(next));
}

// Gives the session a handle and routes its notifications through the bridge, once: the two
// set functions then only swap the target.
TarvixSDK_Handle* adopt(std::unique_ptr<TarvixSDK> session)
{
    auto handle = std::make_unique<TarvixSDK_Handle>(); // value-initialised: every field zero
    handle->sdk = std::move(session);
    TarvixSDK_Handle* const raw = handle.get();
    raw->sdk->onNotification([raw](const Notification& received) { deliverNotification(*raw, received); });
    return handle.release();
}

void rememberConnectError(TarvixSDK_Handle& handle, ConnectError error, const std::string& message)
{
    handle.connectError = error;
    handle.connectErrorMessage.clear(); // if the copy below fails, no stale text stays
    handle.connectErrorMessage = message;
}

// Called inside the handler of whatever a connect threw: keeps the reason on the handle. A
// serial number that does not convert is the one failure the session names itself (with the
// device's path); it is told so in any case.
void rememberConnectException(TarvixSDK_Handle& handle)
{
    try {
        throw;
    } catch (const std::range_error& e) {
        const bool named = handle.sdk->lastConnectError() == ConnectError::BAD_SERIAL;
        rememberConnectError(handle, ConnectError::BAD_SERIAL,
                             named ? handle.sdk->lastConnectErrorMessage()
                                   : std::string("a HID device on this host has a serial number that does not "
                                                 "convert to UTF-8 (") +
                                         e.what() + ")");
    } catch (const std::exception& e) {
        rememberConnectError(handle, ConnectError::SYSTEM_ERROR, e.what());
    } catch (...) {
        rememberConnectError(handle, ConnectError::SYSTEM_ERROR, "unknown exception");
    }
}

// Both connects: the session's answer and, after it, the session's reason for a failure, copied
// into the handle; or, when the connect threw, false and the reason taken from the exception.
template <class Connect>
bool connectWith(TarvixSDK_Handle* handle, Connect connect) noexcept
{
    if (handle == nullptr) {
        return false;
    }
    bool threw = false;
    const bool connected = guard([&] { return connect(*handle->sdk); },
                                 [&] {
                                     threw = true;
                                     // Set before any text is built, which may itself fail.
                                     handle->connectError = ConnectError::SYSTEM_ERROR;
                                     handle->connectErrorMessage.clear();
                                     rememberConnectException(*handle);
                                 });
    if (!threw) {
        guard([&] {
            rememberConnectError(*handle, handle->sdk->lastConnectError(), handle->sdk->lastConnectErrorMessage());
        });
    }
    return connected;
}

// The views of the flat interface report declared lengths as declared (C callers compare them
// with the record's length); null pointers are refused.
template <class View>
bool flatView(const Notification* notification, View* out) noexcept
{
    return notification != nullptr && out != nullptr &&
           tarvix_detail::decodeView(*notification, tarvix_detail::notification::DeclaredLength::AS_DECLARED, *out);
}

} // namespace

TarvixSDK_Handle* TarvixSDK_Create(int timeout)
{
    return guard([&] { return adopt(std::make_unique<TarvixSDK>(timeout)); });
}

TarvixSDK_Handle* TarvixSDK_CreateWithOptions(int timeout, const SessionOptions* options)
{
    const SessionOptions chosen = options != nullptr ? *options : SessionOptions{};
    return guard([&] { return adopt(std::make_unique<TarvixSDK>(timeout, chosen)); });
}

void TarvixSDK_Destroy(TarvixSDK_Handle* handle)
{
    guard([&] { delete handle; });
}

bool TarvixSDK_Connect(TarvixSDK_Handle* handle, const char* path)
{
    return connectWith(
        handle, [&](TarvixSDK& sdk) { return sdk.connect(path != nullptr ? std::string(path) : std::string()); });
}

bool TarvixSDK_ConnectWithSerialNumber(TarvixSDK_Handle* handle, const char* serialNumber)
{
    return connectWith(handle, [&](TarvixSDK& sdk) { return sdk.connectWithSerialNumber(serialNumber); });
}

ConnectError TarvixSDK_LastConnectError(const TarvixSDK_Handle* handle)
{
    return handle != nullptr ? handle->connectError : ConnectError::NONE;
}

const char* TarvixSDK_LastConnectErrorMessage(const TarvixSDK_Handle* handle)
{
    return handle != nullptr ? handle->connectErrorMessage.c_str() : "";
}

bool TarvixSDK_ConnectTo(TarvixSDK_Handle* handle, const char* selector)
{
    return connectWith(handle, [&](TarvixSDK& sdk) {
        return sdk.connectTo(selector != nullptr ? std::string(selector) : std::string());
    });
}

void TarvixSDK_Disconnect(TarvixSDK_Handle* handle)
{
    if (handle != nullptr) {
        guard([&] { handle->sdk->disconnect(); });
    }
}

const char* TarvixSDK_GetVersion()
{
    return TARVIXSDK_VERSION_STR;
}

StatusCode TarvixSDK_GetDeviceInfo(TarvixSDK_Handle* handle, TarvixSDK_DeviceInfo* info)
{
    if (handle == nullptr) {
        return StatusCode::NOT_CONNECTED;
    }
    if (info == nullptr) {
        return StatusCode::INVALID_ARGUMENT;
    }
    return guard([&] {
        TarvixSDK::DeviceInfo strings;
        const StatusCode status = handle->sdk->getDeviceInfo(strings);
        if (status != StatusCode::SUCCESS) {
            return status;
        }
        // Built aside and assigned whole, so that a failed allocation leaves the caller's record
        // as it was. malloc, not new: the caller may release the copies with free().
        TarvixSDK_DeviceInfo copies{};
        for (const DeviceInfoField& field : kDeviceInfoFields) {
            const std::string& text = strings.*field.text;
            char* copy = static_cast<char*>(std::malloc(text.size() + 1));
            if (copy == nullptr) {
                TarvixSDK_FreeDeviceInfo(&copies);
                return StatusCode::SYSTEM_ERROR;
            }
            std::memcpy(copy, text.c_str(), text.size() + 1);
            copies.*field.copy = copy;
            copies.*field.length = text.size();
        }
        *info = copies;
        return status;
    });
}

void TarvixSDK_FreeDeviceInfo(TarvixSDK_DeviceInfo* info)
{
    if (info == nullptr) {
        return;
    }
    for (const DeviceInfoField& field : kDeviceInfoFields) {
        std::free(info->*field.copy);
        info->*field.copy = nullptr;
        info->*field.length = 0;
    }
}

// The handle is deliberately not tested: registering on a null handle is a caller error.
void TarvixSDK_onNotification(TarvixSDK_Handle* handle, TarvixSDK_NotificationCallback callback)
{
    guard([&] { setNotificationTarget(*handle, {callback, nullptr, nullptr}); });
}

void TarvixSDK_onNotificationEx(TarvixSDK_Handle* handle, TarvixSDK_NotificationCallbackEx callback, void* userData)
{
    if (handle != nullptr) {
        guard([&] { setNotificationTarget(*handle, {nullptr, callback, userData}); });
    }
}

// The views only read the caller's record, and the names are static: nothing here can throw.
bool TarvixSDK_notificationAsGpio(const Notification* notification, GpioInterruptNotification* out)
{
    return flatView(notification, out);
}

bool TarvixSDK_notificationAsI3cIbi(const Notification* notification, I3cIbiNotification* out)
{
    return flatView(notification, out);
}

bool TarvixSDK_notificationAsI3cHotJoin(const Notification* notification, I3cHotJoinNotification* out)
{
    return flatView(notification, out);
}

bool TarvixSDK_notificationAsUartRx(const Notification* notification, UartRxNotification* out)
{
    return flatView(notification, out);
}

const char* TarvixSDK_StatusName(StatusCode status)
{
    return statusCodeName(status);
}

const char* TarvixSDK_StatusMessage(StatusCode status)
{
    const char* const sentence = tarvix_detail::libraryStatusSentence(status);
    return sentence != nullptr ? sentence : "the adapter reported an error status";
}

namespace {

// Copies `text` into a fixed array, cut at a UTF-8 character boundary, always terminated.
template <std::size_t N>
void copyText(char (&out)[N], const std::string& text) noexcept
{
    std::size_t n = std::min(text.size(), N - 1);
    while (n > 0 && n < text.size() && (static_cast<unsigned char>(text[n]) & 0xC0) == 0x80) {
        --n; // do not split a multi-byte character
    }
    std::memcpy(out, text.data(), n);
    out[n] = '\0';
}

} // namespace

StatusCode TarvixSDK_ListAdapters(TarvixSDK_AdapterInfo* records, size_t capacity, size_t* count)
{
    if (count == nullptr || (records == nullptr && capacity > 0)) {
        return StatusCode::INVALID_ARGUMENT;
    }
    return guard([&] {
        const std::vector<TarvixSDK::AdapterInfo> adapters = TarvixSDK::listAdapters();
        for (std::size_t i = 0; i < adapters.size() && i < capacity; ++i) {
            const TarvixSDK::AdapterInfo& adapter = adapters[i];
            TarvixSDK_AdapterInfo& record = records[i];
            record = TarvixSDK_AdapterInfo{};
            copyText(record.path, adapter.path);
            record.vendorId = adapter.vendorId;
            record.productId = adapter.productId;
            record.reportSize = adapter.reportSize;
            record.hasSerialNumber = adapter.hasSerialNumber;
            copyText(record.serialNumber, adapter.serialNumber);
            copyText(record.manufacturer, adapter.manufacturer);
            copyText(record.product, adapter.product);
        }
        *count = adapters.size();
        return StatusCode::SUCCESS;
    });
}

void TarvixSDK_onFrame(TarvixSDK_Handle* handle, TarvixSDK_FrameCallback callback, void* userData)
{
    if (handle == nullptr) {
        return;
    }
    guard([&] {
        if (callback == nullptr) {
            handle->sdk->onFrame(nullptr);
        } else {
            handle->sdk->onFrame([callback, userData](const TraceFrame& frame) { callback(&frame, userData); });
        }
    });
}

size_t TarvixSDK_DescribeFrame(const TraceFrame* frame, char* text, size_t capacity)
{
    if (frame == nullptr) {
        if (text != nullptr && capacity > 0) {
            text[0] = '\0';
        }
        return 0;
    }
    std::size_t length = 0;
    guard([&] {
        const std::string line = describeFrame(*frame);
        length = line.size();
        if (text != nullptr && capacity > 0) {
            const std::size_t n = std::min(line.size(), capacity - 1);
            std::memcpy(text, line.data(), n);
            text[n] = '\0';
        }
    });
    return length;
}
