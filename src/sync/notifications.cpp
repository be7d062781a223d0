// Notifications: the record handed to the application's handler and its typed views. The views
// cut a length the frame declares to the bytes that arrived, so that a C++ view never points
// past the frame.
#include "../protocol/notification.hpp"
#include "session.hpp"

using tarvix_detail::decodeView;
using tarvix_detail::notification::DeclaredLength;

namespace tarvix_detail {

Notification makeNotification(const std::vector<std::uint8_t>& frame) noexcept
{
    Notification notification{};
    notification.kind = notificationKind(frame.data(), frame.size());
    notification.data = frame.data();
    notification.length = frame.size();
    return notification;
}

} // namespace tarvix_detail

namespace {

// Fills the record's own slot for the view and hands it out, or null.
template <class View>
const View* cachedView(const Notification& notification, View& slot) noexcept
{
    return decodeView(notification, DeclaredLength::CLAMPED, slot) ? &slot : nullptr;
}

} // namespace

const GpioInterruptNotification* Notification::gpio() const noexcept
{
    return cachedView(*this, gpioView);
}
const I3cIbiNotification* Notification::i3cIbi() const noexcept
{
    return cachedView(*this, ibiView);
}
const I3cHotJoinNotification* Notification::i3cHotJoin() const noexcept
{
    return cachedView(*this, hotJoinView);
}
const UartRxNotification* Notification::uartRx() const noexcept
{
    return cachedView(*this, uartRxView);
}
