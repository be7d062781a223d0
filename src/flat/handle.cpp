// Flat interface: handle lifecycle, device information, the notification bridge and the views.
#include "handle.hpp"

#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

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

// Runs on the reader thread. The frame is copied into the handle's fixed buffer so that the
// callback sees memory of the handle, not the transport's reassembly buffer. The length field is
// 8 bits wide: a frame of exactly 256 bytes therefore arrives with length 0, like every longer
// one (cut to its first 256 bytes). C callers have always seen it so; keep it.
void deliverNotification(TarvixSDK_Handle& handle, const Notification& received)
{
    const TarvixSDK_NotificationCallback callback = handle.notificationCallback.load();
    if (callback == nullptr) {
        return;
    }
    const std::size_t size = received.length;
    const std::size_t copied = size <= TarvixSDK_Handle::kNotificationCapacity ? size : TarvixSDK_Handle::kNotificationCapacity;
    handle.notificationLength = size <= TarvixSDK_Handle::kNotificationCapacity ? static_cast<std::uint8_t>(size & 0xFF) : 0;
    if (copied > 0) {
        std::memcpy(handle.notificationBuffer, received.data, copied);
    }
    Notification flat{};
    flat.kind = received.kind;
    flat.data = handle.notificationBuffer;
    flat.length = handle.notificationLength;
    callback(&flat);
}

// The views of the flat interface read the fixed fields only; unlike Notification's own views
// they report declared lengths as declared (C callers compare with the record's length).
bool viewable(const Notification* notification, const void* out, NotificationKind kind, std::size_t minimum) noexcept
{
    return notification != nullptr && out != nullptr && notification->kind == kind && notification->data != nullptr &&
           notification->length >= minimum;
}

} // namespace

TarvixSDK_Handle* TarvixSDK_Create(int timeout)
{
    auto handle = std::make_unique<TarvixSDK_Handle>(); // value-initialised: every field zero
    handle->sdk = std::make_unique<TarvixSDK>(timeout);
    return handle.release();
}

void TarvixSDK_Destroy(TarvixSDK_Handle* handle) { delete handle; }

bool TarvixSDK_Connect(TarvixSDK_Handle* handle, const char* path)
{
    return handle != nullptr && handle->sdk->connect(path != nullptr ? std::string(path) : std::string());
}

bool TarvixSDK_ConnectWithSerialNumber(TarvixSDK_Handle* handle, const char* serialNumber)
{
    return handle != nullptr && handle->sdk->connectWithSerialNumber(serialNumber);
}

void TarvixSDK_Disconnect(TarvixSDK_Handle* handle)
{
    if (handle != nullptr) {
        handle->sdk->disconnect();
    }
}

const char* TarvixSDK_GetVersion() { return TARVIXSDK_VERSION_STR; }

StatusCode TarvixSDK_GetDeviceInfo(TarvixSDK_Handle* handle, TarvixSDK_DeviceInfo* info)
{
    if (handle == nullptr) {
        return StatusCode::NOT_CONNECTED;
    }
    if (info == nullptr) {
        return StatusCode::INVALID_ARGUMENT;
    }
    TarvixSDK::DeviceInfo strings;
    const StatusCode status = handle->sdk->getDeviceInfo(strings);
    if (status != StatusCode::SUCCESS) {
        return status;
    }
    // Built aside and assigned whole, so that a failed allocation leaves the caller's record as
    // it was. malloc, not new: the caller may release the copies with free().
    TarvixSDK_DeviceInfo copies{};
    for (const DeviceInfoField& field : kDeviceInfoFields) {
        const std::string& text = strings.*field.text;
        char* copy = static_cast<char*>(std::malloc(text.size() + 1));
        if (copy == nullptr) {
            TarvixSDK_FreeDeviceInfo(&copies);
            throw std::bad_alloc();
        }
        std::memcpy(copy, text.c_str(), text.size() + 1);
        copies.*field.copy = copy;
        copies.*field.length = text.size();
    }
    *info = copies;
    return status;
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
    handle->notificationCallback.store(callback);
    handle->sdk->onNotification([handle](const Notification& received) { deliverNotification(*handle, received); });
}

bool TarvixSDK_notificationAsGpio(const Notification* notification, GpioInterruptNotification* out)
{
    if (!viewable(notification, out, NotificationKind::GPIO_INTERRUPT, 7)) {
        return false;
    }
    out->pinNumber = notification->data[6];
    return true;
}

bool TarvixSDK_notificationAsI3cIbi(const Notification* notification, I3cIbiNotification* out)
{
    if (!viewable(notification, out, NotificationKind::I3C_IBI, 8)) {
        return false;
    }
    out->targetAddress = notification->data[6];
    out->payload = notification->data + 8;
    out->payloadLength = notification->data[7];
    return true;
}

bool TarvixSDK_notificationAsI3cHotJoin(const Notification* notification, I3cHotJoinNotification* out)
{
    if (!viewable(notification, out, NotificationKind::I3C_HOT_JOIN, 15)) {
        return false;
    }
    std::memcpy(out->provisionalId, notification->data + 6, sizeof out->provisionalId);
    out->bcr = notification->data[12];
    out->dcr = notification->data[13];
    out->dynamicAddress = notification->data[14];
    return true;
}

bool TarvixSDK_notificationAsUartRx(const Notification* notification, UartRxNotification* out)
{
    if (!viewable(notification, out, NotificationKind::UART_RX, 8)) {
        return false;
    }
    out->data = notification->data + 8;
    out->dataLength = static_cast<std::size_t>(notification->data[6] | (notification->data[7] << 8));
    return true;
}
