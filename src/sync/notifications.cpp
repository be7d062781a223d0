// Notifications: unsolicited frames (transaction id 0) and their typed views.
#include <algorithm>
#include <cstring>

#include "../async/command_codes.hpp"
#include "session.hpp"

namespace tarvix_detail {
namespace {

NotificationKind kindOf(const std::vector<std::uint8_t>& frame) noexcept
{
    if (frame.size() < 4) {
        return NotificationKind::UNKNOWN;
    }
    switch (static_cast<std::uint16_t>(frame[2] | (frame[3] << 8))) {
    case cmd::kNotifyI3cHotJoin: return NotificationKind::I3C_HOT_JOIN;
    case cmd::kNotifyI3cIbi: return NotificationKind::I3C_IBI;
    case cmd::kNotifyGpioInterrupt: return NotificationKind::GPIO_INTERRUPT;
    case cmd::kNotifyUartRx: return NotificationKind::UART_RX;
    default: return NotificationKind::UNKNOWN;
    }
}

// Minimum frame sizes of the views: the fixed fields each one reads.
constexpr std::size_t kGpioMinimum = 7;
constexpr std::size_t kIbiMinimum = 8;
constexpr std::size_t kHotJoinMinimum = 15;
constexpr std::size_t kUartMinimum = 8;

} // namespace

Notification makeNotification(const std::vector<std::uint8_t>& frame) noexcept
{
    Notification notification{};
    notification.kind = kindOf(frame);
    notification.data = frame.data();
    notification.length = frame.size();
    return notification;
}

} // namespace tarvix_detail

const GpioInterruptNotification* Notification::gpio() const noexcept
{
    if (kind != NotificationKind::GPIO_INTERRUPT || data == nullptr || length < tarvix_detail::kGpioMinimum) {
        return nullptr;
    }
    gpioView.pinNumber = data[6];
    return &gpioView;
}

const I3cIbiNotification* Notification::i3cIbi() const noexcept
{
    if (kind != NotificationKind::I3C_IBI || data == nullptr || length < tarvix_detail::kIbiMinimum) {
        return nullptr;
    }
    ibiView.targetAddress = data[6];
    ibiView.payload = data + 8;
    // The adapter's payload length is cut to the bytes that arrived.
    ibiView.payloadLength = std::min<std::size_t>(data[7], length - 8);
    return &ibiView;
}

const I3cHotJoinNotification* Notification::i3cHotJoin() const noexcept
{
    if (kind != NotificationKind::I3C_HOT_JOIN || data == nullptr || length < tarvix_detail::kHotJoinMinimum) {
        return nullptr;
    }
    std::memcpy(hotJoinView.provisionalId, data + 6, sizeof(hotJoinView.provisionalId));
    hotJoinView.bcr = data[12];
    hotJoinView.dcr = data[13];
    hotJoinView.dynamicAddress = data[14];
    return &hotJoinView;
}

const UartRxNotification* Notification::uartRx() const noexcept
{
    if (kind != NotificationKind::UART_RX || data == nullptr || length < tarvix_detail::kUartMinimum) {
        return nullptr;
    }
    uartRxView.data = data + 8;
    // The adapter's byte count is cut to the bytes that arrived.
    const std::size_t declared = static_cast<std::size_t>(data[6] | (data[7] << 8));
    uartRxView.dataLength = std::min(declared, length - 8);
    return &uartRxView;
}
