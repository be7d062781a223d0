// What the harnesses share: failing with a message, blocks of exactly a given size (so that
// AddressSanitizer sees a read one byte past them), the reader of length-prefixed input items,
// and the oracle of the notification views.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <tarvixsdk/tarvixsdk.h>
#include <tarvixsdk/tarvixsdk.hpp>

namespace fuzz {

// The manufacturer string of the harnesses' adapters, which their probes ask for.
inline constexpr char kManufacturer[] = "Fuzz Instruments";

[[noreturn]] inline void fail(const char* what)
{
    std::fprintf(stderr, "fuzz oracle: %s\n", what);
    std::abort();
}

inline void expect(bool condition, const char* what)
{
    if (!condition) {
        fail(what);
    }
}

// A heap block of exactly `size` bytes (a valid pointer also for 0), optionally filled from `from`.
class Block {
public:
    explicit Block(std::size_t size, const std::uint8_t* from = nullptr)
        : bytes_(new std::uint8_t[size == 0 ? 1 : size])
    {
        if (from != nullptr && size > 0) {
            std::memcpy(bytes_.get(), from, size);
        }
    }
    std::uint8_t* get() const { return bytes_.get(); }

private:
    std::unique_ptr<std::uint8_t[]> bytes_;
};

// Walks input items [control u8, if any][length u16 LE][length bytes]; a length beyond the input
// is cut to what is left.
class Items {
public:
    Items(const std::uint8_t* data, std::size_t size, bool withControl)
        : data_(data), size_(size), header_(withControl ? 3 : 2)
    {}
    // False at the end of the input; otherwise fills the item's control byte (0 without one),
    // its bytes and its length.
    bool next(unsigned& control, const std::uint8_t*& bytes, std::size_t& length)
    {
        if (at_ + header_ > size_) {
            return false;
        }
        control = header_ == 3 ? data_[at_] : 0u;
        const std::uint8_t* field = data_ + at_ + header_ - 2;
        length = static_cast<std::size_t>(field[0] | (field[1] << 8));
        at_ += header_;
        if (length > size_ - at_) {
            length = size_ - at_;
        }
        bytes = data_ + at_;
        at_ += length;
        return true;
    }

private:
    const std::uint8_t* data_;
    std::size_t size_;
    std::size_t header_;
    std::size_t at_ = 0;
};

// Reads every byte of a range, so that a pointer out of its frame is a sanitizer report even
// where a bounds check would not tell.
inline volatile unsigned sink;
inline void touch(const std::uint8_t* p, std::size_t count)
{
    unsigned sum = 0;
    for (std::size_t i = 0; i < count; ++i) {
        sum += p[i];
    }
    sink = sum;
}

// A view's payload, with its length, lies in the record and within the length it declares.
inline void expectPayload(const Notification& n, const std::uint8_t* p, std::size_t count, std::size_t declared,
                          const char* what)
{
    const std::uint8_t* end = n.data + n.length;
    expect(p >= n.data && p <= end && count <= static_cast<std::size_t>(end - p) && count <= declared, what);
    touch(p, count);
}

// A C++ view of a record and its flat twin: each present exactly when the kind matches and the
// record holds the view's fixed fields (else the views disagree). The C++ one, or null.
template <class View>
const View* bothViews(const Notification& n, const View* view, bool (*flat)(const Notification*, View*), View& flatView,
                      NotificationKind kind, std::size_t fixedLength, const char* what)
{
    const bool present = n.kind == kind && n.length >= fixedLength;
    expect((view != nullptr) == present && flat(&n, &flatView) == present, what);
    return view;
}

// The views of a record, C++ and flat. Their fixed fields are the record's bytes; what a C++ view
// points at, with its length, lies in the record (declared lengths cut to what arrived); a flat
// view has the same pointers but the declared lengths as they stand. Null pointers are refused,
// never followed.
inline void checkViews(const Notification& n)
{
    touch(n.data, n.length);
    GpioInterruptNotification gpio{};
    if (const GpioInterruptNotification* view = bothViews(n, n.gpio(), TarvixSDK_notificationAsGpio, gpio,
                                                          NotificationKind::GPIO_INTERRUPT, 7, "GPIO views disagree")) {
        expect(view->pinNumber == n.data[6] && gpio.pinNumber == n.data[6], "GPIO pin is not byte 6");
    }
    I3cIbiNotification ibi{};
    if (const I3cIbiNotification* view = bothViews(n, n.i3cIbi(), TarvixSDK_notificationAsI3cIbi, ibi,
                                                   NotificationKind::I3C_IBI, 8, "IBI views disagree")) {
        expect(view->targetAddress == n.data[6] && view->payload == n.data + 8 && ibi.targetAddress == n.data[6] &&
                   ibi.payload == n.data + 8 && ibi.payloadLength == n.data[7],
               "IBI fields are not bytes 6, 7 and 8..");
        expectPayload(n, view->payload, view->payloadLength, n.data[7],
                      "IBI payload runs past the frame or its length");
    }
    I3cHotJoinNotification hotJoin{};
    const auto fromFrame = [&](const I3cHotJoinNotification& v) {
        return std::memcmp(v.provisionalId, n.data + 6, 6) == 0 && v.bcr == n.data[12] && v.dcr == n.data[13] &&
               v.dynamicAddress == n.data[14];
    };
    if (const I3cHotJoinNotification* view = bothViews(n, n.i3cHotJoin(), TarvixSDK_notificationAsI3cHotJoin, hotJoin,
                                                       NotificationKind::I3C_HOT_JOIN, 15, "hot-join views disagree")) {
        expect(fromFrame(*view) && fromFrame(hotJoin), "hot-join fields are not bytes 6..14");
    }
    UartRxNotification uart{};
    if (const UartRxNotification* view = bothViews(n, n.uartRx(), TarvixSDK_notificationAsUartRx, uart,
                                                   NotificationKind::UART_RX, 8, "UART views disagree")) {
        const std::size_t declared = static_cast<std::size_t>(n.data[6] | (n.data[7] << 8));
        expect(view->data == n.data + 8 && uart.data == n.data + 8 && uart.dataLength == declared,
               "UART fields are not bytes 6..7 and 8..");
        expectPayload(n, view->data, view->dataLength, declared, "UART data runs past the frame or its length");
    }
    expect(!TarvixSDK_notificationAsGpio(&n, nullptr) && !TarvixSDK_notificationAsI3cIbi(nullptr, &ibi) &&
               !TarvixSDK_notificationAsI3cHotJoin(&n, nullptr) && !TarvixSDK_notificationAsUartRx(nullptr, &uart),
           "a flat view accepted a null pointer");
}

} // namespace fuzz
