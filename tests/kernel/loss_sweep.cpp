// Measures, in process, the notification-handler time at which input reports start to be lost:
// a high-speed virtual adapter (1024-byte reports, one per 125 us microframe, hidraw's list of
// 64 per handle) loops 60,000 UART bytes back as 60 notifications and then streams a 64-KiB SPI
// answer, while the handler spends a given time on each notification. Prints one line per
// handler time: reports the adapter dropped, streams that came back incomplete, and how long
// the SPI call took. Not a test: its figures depend on the machine.
//
//   loss_sweep [ROUNDS]
#include <tarvix_virtual/virtual_adapter.hpp>
#include <tarvixsdk/tarvixsdk.hpp>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;
using Clock = std::chrono::steady_clock;

} // namespace

int main(int argc, char** argv)
{
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 5;
    for (const bool queued : {false, true}) {
        std::printf("%s\n%10s %8s %12s %12s %10s\n",
                    queued ? "queueReports on" : "queueReports off (one reader thread)", "handler_us", "dropped",
                    "uart_broken", "spi_broken", "spi_ms");
        for (const int micros : {0, 25, 50, 100, 200, 500, 1000, 2000, 4000, 8000}) {
            tarvix_virtual::AdapterConfig config;
            config.productId = 0x82FD;
            config.serialNumber = L"TVX-SWEEP";
            config.usbTiming.enabled = true;
            tarvix_virtual::VirtualAdapter adapter = tarvix_virtual::attach(config);
            SessionOptions options{};
            options.matchResponses = true;
            options.queueReports = queued;
            TarvixSDK sdk(5000, options);
            std::mutex mutex;
            Bytes looped;
            sdk.onNotification([&](const Notification& n) {
                if (const UartRxNotification* rx = n.uartRx()) {
                    std::this_thread::sleep_for(std::chrono::microseconds(micros));
                    std::lock_guard<std::mutex> lock(mutex);
                    looped.insert(looped.end(), rx->data, rx->data + rx->dataLength);
                }
            });
            if (!sdk.connect() ||
                sdk.uartInit(UartBaudRate::BAUD_115200, UartHwHandshake::DISABLED, UartParity::NONE,
                             UartDataSize::BITS_8, UartStopBit::ONE) != StatusCode::SUCCESS ||
                sdk.spiControllerInit(SpiBitOrder::MSB_FIRST, SpiMode::MODE_0, SpiDataWidth::BITS_8,
                                      SpiChipSelect::CS_0, SpiChipSelectPolarity::ACTIVE_LOW,
                                      1000000) != StatusCode::SUCCESS) {
                std::fprintf(stderr, "loss_sweep: cannot set up the virtual adapter\n");
                return 1;
            }
            Bytes message(60000);
            for (std::size_t i = 0; i < message.size(); ++i) message[i] = static_cast<std::uint8_t>(i * 13 + 1);
            int uartBroken = 0;
            int spiBroken = 0;
            double spiMs = 0;
            for (int round = 0; round < rounds; ++round) {
                {
                    std::lock_guard<std::mutex> lock(mutex);
                    looped.clear();
                }
                const bool sent = sdk.uartSendMessage(message) == StatusCode::SUCCESS;
                Bytes miso;
                const auto start = Clock::now();
                const StatusCode status = sdk.spiTransfer({0x03, 0, 0, 0}, miso, 65535);
                spiMs += std::chrono::duration<double, std::milli>(Clock::now() - start).count();
                if (status != StatusCode::SUCCESS || miso.size() != 65535) ++spiBroken;
                // Late notifications have had the SPI call's time to arrive; give them a little more.
                std::this_thread::sleep_for(std::chrono::milliseconds(20 + 60 * micros / 1000));
                std::lock_guard<std::mutex> lock(mutex);
                if (!sent || looped != message) ++uartBroken;
            }
            std::printf("%10d %8zu %9d/%-2d %9d/%-2d %10.1f\n", micros, adapter.droppedInputReports(), uartBroken,
                        rounds, spiBroken, rounds, spiMs / rounds);
            sdk.disconnect();
            tarvix_virtual::reset();
        }
    }
    return 0;
}
