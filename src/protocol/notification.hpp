// Notification frames: the adapter's unsolicited frames (transaction id 0), their kind, and the
// decoding of each kind's payload into its view. One decoder serves Notification's own views and
// the flat TarvixSDK_notificationAs* functions; they differ only in what they do with a length
// the frame declares inside itself:
//
//     kind             code    payload from byte 6                             whole frame
//     I3C hot-join     0x1982  provisional id (6), BCR, DCR, dynamic address   at least 15
//     I3C IBI          0x1981  target address, payload length (u8), payload   at least 8
//     GPIO interrupt   0x1481  pin number                                     at least 7
//     UART data        0x1081  byte count (u16), the bytes                    at least 8
//
// The status field (bytes 4..5) of a notification is not read.
#pragma once

#include <tarvixsdk/records.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "codes.hpp"
#include "layout.hpp"

#ifdef TARVIX_MUTABLE
#error "records.h must keep its TARVIX_MUTABLE to itself"
#endif

namespace tarvix_detail {
namespace notification {

// clang-format off
constexpr std::size_t kPinOffset              = 6;  // GPIO
constexpr std::size_t kIbiTargetOffset        = 6;  // IBI
constexpr std::size_t kIbiLengthOffset        = 7;
constexpr std::size_t kIbiPayloadOffset       = 8;
constexpr std::size_t kProvisionalIdOffset    = 6;  // hot-join
constexpr std::size_t kBcrOffset              = 12;
constexpr std::size_t kDcrOffset              = 13;
constexpr std::size_t kDynamicAddressOffset   = 14;
constexpr std::size_t kUartCountOffset        = 6;  // UART
constexpr std::size_t kUartDataOffset         = 8;
// clang-format on

// What a view does with a length that the frame declares for the bytes that follow.
enum class DeclaredLength {
    // Cut to the bytes that arrived, so that a view never points past the frame (C++ views).
    CLAMPED,
    // Reported as declared; the caller compares it with the record's length (C views, whose
    // callers have always received the adapter's value unchanged).
    AS_DECLARED,
};

} // namespace notification

inline NotificationKind notificationKind(const std::uint8_t* frame, std::size_t length) noexcept
{
    if (length < kCodeOffset + 2) {
        return NotificationKind::UNKNOWN;
    }
    switch (u16At(frame, length, kCodeOffset)) {
    case cmd::kNotifyI3cHotJoin: return NotificationKind::I3C_HOT_JOIN;
    case cmd::kNotifyI3cIbi: return NotificationKind::I3C_IBI;
    case cmd::kNotifyGpioInterrupt: return NotificationKind::GPIO_INTERRUPT;
    case cmd::kNotifyUartRx: return NotificationKind::UART_RX;
    default: return NotificationKind::UNKNOWN;
    }
}

namespace notification {

// Which kind each view decodes, and the smallest frame that holds its fixed fields.
// clang-format off
template <class View> struct Requirement;
template <> struct Requirement<GpioInterruptNotification> { static constexpr auto kKind = NotificationKind::GPIO_INTERRUPT; static constexpr std::size_t kMinimum = kPinOffset + 1; };
template <> struct Requirement<I3cIbiNotification>        { static constexpr auto kKind = NotificationKind::I3C_IBI;        static constexpr std::size_t kMinimum = kIbiPayloadOffset; };
template <> struct Requirement<I3cHotJoinNotification>    { static constexpr auto kKind = NotificationKind::I3C_HOT_JOIN;   static constexpr std::size_t kMinimum = kDynamicAddressOffset + 1; };
template <> struct Requirement<UartRxNotification>        { static constexpr auto kKind = NotificationKind::UART_RX;        static constexpr std::size_t kMinimum = kUartDataOffset; };
// clang-format on

inline std::size_t declared(std::size_t value, const Notification& n, std::size_t offset, DeclaredLength rule) noexcept
{
    return rule == DeclaredLength::CLAMPED ? std::min(value, n.length - offset) : value;
}

// The fields of each view, from a frame already known to hold them.
inline void fill(const Notification& n, DeclaredLength, GpioInterruptNotification& out) noexcept
{
    out.pinNumber = n.data[kPinOffset];
}

inline void fill(const Notification& n, DeclaredLength rule, I3cIbiNotification& out) noexcept
{
    out.targetAddress = n.data[kIbiTargetOffset];
    out.payload = n.data + kIbiPayloadOffset;
    out.payloadLength = declared(n.data[kIbiLengthOffset], n, kIbiPayloadOffset, rule);
}

inline void fill(const Notification& n, DeclaredLength, I3cHotJoinNotification& out) noexcept
{
    std::memcpy(out.provisionalId, n.data + kProvisionalIdOffset, sizeof out.provisionalId);
    out.bcr = n.data[kBcrOffset];
    out.dcr = n.data[kDcrOffset];
    out.dynamicAddress = n.data[kDynamicAddressOffset];
}

inline void fill(const Notification& n, DeclaredLength rule, UartRxNotification& out) noexcept
{
    out.data = n.data + kUartDataOffset;
    out.dataLength = declared(u16At(n.data, n.length, kUartCountOffset), n, kUartDataOffset, rule);
}

} // namespace notification

// A view of the record: fills `out` and returns true when the record is of the view's kind and
// its frame holds the view's fixed fields; otherwise returns false and leaves `out` as it was.
// Pointers in a view point into the record's frame.
template <class View>
bool decodeView(const Notification& n, notification::DeclaredLength rule, View& out) noexcept
{
    using Required = notification::Requirement<View>;
    if (n.kind != Required::kKind || n.data == nullptr || n.length < Required::kMinimum) {
        return false;
    }
    notification::fill(n, rule, out);
    return true;
}

} // namespace tarvix_detail
