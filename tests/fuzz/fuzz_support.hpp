// What the harnesses share: failing with a message, blocks of exactly a given size (so that
// AddressSanitizer sees a read one byte past them), the reader of length-prefixed input items,
// and the oracles of the notification views.
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

inline bool within(const Notification& n, const std::uint8_t* p, std::size_t count)
{
    const std::uint8_t* end = n.data + n.length;
    return p >= n.data && p <= end && count <= static_cast<std::size_t>(end - p);
}

// A C++ view is non-null exactly when the kind matches and the record holds the view's fixed
// fields; what it points at, with its length, lies in the record (declared lengths cut to what
// arrived), and its fixed fields are the record's bytes.
inline void checkCppViews(const Notification& n)
{
    touch(n.data, n.length);
    const GpioInterruptNotification* gpio = n.gpio();
    expect((gpio != nullptr) == (n.kind == NotificationKind::GPIO_INTERRUPT && n.length >= 7),
           "gpio() disagrees on kind/length");
    if (gpio != nullptr) {
        expect(gpio->pinNumber == n.data[6], "gpio pin is not byte 6");
    }
    const I3cIbiNotification* ibi = n.i3cIbi();
    expect((ibi != nullptr) == (n.kind == NotificationKind::I3C_IBI && n.length >= 8),
           "i3cIbi() disagrees on kind/length");
    if (ibi != nullptr) {
        expect(ibi->targetAddress == n.data[6] && ibi->payload == n.data + 8, "IBI fields are not bytes 6 and 8..");
        expect(within(n, ibi->payload, ibi->payloadLength) && ibi->payloadLength <= n.data[7],
               "IBI payload runs past the frame or its declared length");
        touch(ibi->payload, ibi->payloadLength);
    }
    const I3cHotJoinNotification* hotJoin = n.i3cHotJoin();
    expect((hotJoin != nullptr) == (n.kind == NotificationKind::I3C_HOT_JOIN && n.length >= 15),
           "i3cHotJoin() disagrees on kind/length");
    if (hotJoin != nullptr) {
        expect(std::memcmp(hotJoin->provisionalId, n.data + 6, 6) == 0 && hotJoin->bcr == n.data[12] &&
                   hotJoin->dcr == n.data[13] && hotJoin->dynamicAddress == n.data[14],
               "hot-join fields are not bytes 6..14");
    }
    const UartRxNotification* uart = n.uartRx();
    expect((uart != nullptr) == (n.kind == NotificationKind::UART_RX && n.length >= 8),
           "uartRx() disagrees on kind/length");
    if (uart != nullptr) {
        const std::size_t declared = static_cast<std::size_t>(n.data[6] | (n.data[7] << 8));
        expect(uart->data == n.data + 8, "UART data does not start at byte 8");
        expect(within(n, uart->data, uart->dataLength) && uart->dataLength <= declared,
               "UART data runs past the frame or its declared length");
        touch(uart->data, uart->dataLength);
    }
}

// A flat view agrees with the C++ one on when it succeeds and on the fixed fields; its pointers
// are the record's base plus 8 and its lengths are the declared ones, as they stand. Null
// pointers are refused, never followed.
inline void checkFlatViews(const Notification& n)
{
    GpioInterruptNotification gpio{};
    const bool gpioOk = TarvixSDK_notificationAsGpio(&n, &gpio);
    expect(gpioOk == (n.kind == NotificationKind::GPIO_INTERRUPT && n.length >= 7), "flat gpio disagrees");
    expect(!gpioOk || gpio.pinNumber == n.data[6], "flat gpio pin");

    I3cIbiNotification ibi{};
    const bool ibiOk = TarvixSDK_notificationAsI3cIbi(&n, &ibi);
    expect(ibiOk == (n.kind == NotificationKind::I3C_IBI && n.length >= 8), "flat IBI disagrees");
    expect(!ibiOk || (ibi.targetAddress == n.data[6] && ibi.payload == n.data + 8 && ibi.payloadLength == n.data[7]),
           "flat IBI fields");

    I3cHotJoinNotification hotJoin{};
    const bool hotJoinOk = TarvixSDK_notificationAsI3cHotJoin(&n, &hotJoin);
    expect(hotJoinOk == (n.kind == NotificationKind::I3C_HOT_JOIN && n.length >= 15), "flat hot-join disagrees");
    expect(!hotJoinOk || (std::memcmp(hotJoin.provisionalId, n.data + 6, 6) == 0 && hotJoin.bcr == n.data[12] &&
                          hotJoin.dcr == n.data[13] && hotJoin.dynamicAddress == n.data[14]),
           "flat hot-join fields");

    UartRxNotification uart{};
    const bool uartOk = TarvixSDK_notificationAsUartRx(&n, &uart);
    expect(uartOk == (n.kind == NotificationKind::UART_RX && n.length >= 8), "flat UART disagrees");
    expect(!uartOk ||
               (uart.data == n.data + 8 && uart.dataLength == static_cast<std::size_t>(n.data[6] | (n.data[7] << 8))),
           "flat UART fields");

    expect(!TarvixSDK_notificationAsGpio(&n, nullptr) && !TarvixSDK_notificationAsI3cIbi(nullptr, &ibi) &&
               !TarvixSDK_notificationAsI3cHotJoin(&n, nullptr) && !TarvixSDK_notificationAsUartRx(nullptr, &uart),
           "a flat view accepted a null pointer");
}

} // namespace fuzz
