// Measures, in process, the notification-handler time at which input reports start to be lost:
// a high-speed virtual adapter (1024-byte reports, one per 125 us microframe, hidraw's list of
// 64 per handle) loops 60,000 UART bytes back as 60 notifications and then streams a 64-KiB SPI
// answer, while the handler spends a given time on each notification. Prints one line per
// handler time: reports the adapter dropped, streams that came back incomplete, and how long
// the SPI call took. Not a test: its figures depend on the machine.
//
//   loss_sweep [ROUNDS]
#include <tarvix_virtual/virtual_adapter.hpp>

#include <cstdio>
#include <cstdlib>

#include "loss_round.hpp"

int main(int argc, char** argv)
{
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 5;
    loss::Bytes message(60000);
    for (std::size_t i = 0; i < message.size(); ++i) message[i] = static_cast<std::uint8_t>(i * 13 + 1);
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
            loss::UartSink sink;
            sink.handlerMicros = micros;
            sdk.onNotification([&](const Notification& n) { sink.take(n); });
            if (!sdk.connect() || !loss::initSpiAndUart(sdk)) {
                std::fprintf(stderr, "loss_sweep: cannot set up the virtual adapter\n");
                return 1;
            }
            int uartBroken = 0;
            int spiBroken = 0;
            double spiMs = 0;
            for (int round = 0; round < rounds; ++round) {
                // Late notifications have had the SPI call's time to arrive; give them a little more.
                const loss::Round r =
                    loss::streamRound(sdk, sink, message, {}, std::chrono::milliseconds(20 + 60 * micros / 1000));
                uartBroken += r.uartWhole ? 0 : 1;
                spiBroken += r.spi == loss::Read::WHOLE ? 0 : 1;
                spiMs += r.spiMs;
            }
            std::printf("%10d %8zu %9d/%-2d %9d/%-2d %10.1f\n", micros, adapter.droppedInputReports(), uartBroken,
                        rounds, spiBroken, rounds, spiMs / rounds);
            sdk.disconnect();
            tarvix_virtual::reset();
        }
    }
    return 0;
}
