// What the runs against hidraw's 64-report list share, in the QEMU guest (kernel_guest.cpp) and
// in process (host_queue_test.cpp, loss_sweep.cpp): a notification handler that collects the
// UART bytes the adapter loops back while spending a set time on each notification, and one
// round of 60,000 UART bytes out (back as 60 notifications) followed at once by a 64-KiB SPI
// answer. Only the public header: the guest program is built without the test tree.
#pragma once

#include <tarvixsdk/tarvixsdk.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

namespace loss {

using Bytes = std::vector<std::uint8_t>;

// Bytes looped back over the UART, collected from notifications on the reader thread.
class UartSink {
public:
    std::atomic<int> handlerMicros{0}; // what the handler spends on each UART notification

    void take(const Notification& n)
    {
        const UartRxNotification* rx = n.uartRx();
        if (rx == nullptr) return;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            received_.insert(received_.end(), rx->data, rx->data + rx->dataLength);
        }
        changed_.notify_all();
        if (const int micros = handlerMicros.load(); micros > 0)
            std::this_thread::sleep_for(std::chrono::microseconds(micros));
    }

    void clear()
    {
        std::lock_guard<std::mutex> lock(mutex_);
        received_.clear();
    }

    // True when exactly @p expected came back, once as many bytes arrived or @p timeout passed
    // (0: as things stand).
    bool receives(const Bytes& expected, std::chrono::milliseconds timeout)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait_for(lock, timeout, [&] { return received_.size() >= expected.size(); });
        return received_ == expected;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    Bytes received_;
};

inline bool initSpiAndUart(TarvixSDK& sdk)
{
    return sdk.spiControllerInit(SpiBitOrder::MSB_FIRST, SpiMode::MODE_0, SpiDataWidth::BITS_8, SpiChipSelect::CS_0,
                                 SpiChipSelectPolarity::ACTIVE_LOW, 1000000) == StatusCode::SUCCESS &&
           sdk.uartInit(UartBaudRate::BAUD_115200, UartHwHandshake::DISABLED, UartParity::NONE, UartDataSize::BITS_8,
                        UartStopBit::ONE) == StatusCode::SUCCESS;
}

enum class Read {
    WHOLE,
    FAILED,
    WRONG_BUT_SUCCESS
};

// A read of @p length bytes of the bench's flash from address 0 (command and three address
// bytes, so the image starts at byte 4 of what comes back). Whole when it has the length and,
// given the @p image the flash holds (at least @p length - 4 bytes), its bytes.
inline Read readFlash(TarvixSDK& sdk, std::uint16_t length, const Bytes& image, StatusCode* status = nullptr)
{
    Bytes miso;
    const StatusCode got = sdk.spiTransfer({0x03, 0, 0, 0}, miso, length);
    if (status != nullptr) *status = got;
    if (got != StatusCode::SUCCESS) return Read::FAILED;
    const bool whole =
        miso.size() == length && (image.empty() || std::equal(miso.begin() + 4, miso.end(), image.begin()));
    return whole ? Read::WHOLE : Read::WRONG_BUT_SUCCESS;
}

struct Round {
    bool uartWhole; // the UART message came back complete, in order
    Read spi;       // the 64-KiB answer
    double spiMs;   // how long the SPI call took
};

// @p message out over the UART, then at once a 65,535-byte flash read; the looped-back bytes
// are compared once the read has returned and they arrived, or @p wait passed.
inline Round streamRound(TarvixSDK& sdk, UartSink& sink, const Bytes& message, const Bytes& image,
                         std::chrono::milliseconds wait)
{
    sink.clear();
    const bool sent = sdk.uartSendMessage(message) == StatusCode::SUCCESS;
    const auto start = std::chrono::steady_clock::now();
    const Read spi = readFlash(sdk, 65535, image);
    const double spiMs = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    return {sent && sink.receives(message, wait), spi, spiMs};
}

} // namespace loss
