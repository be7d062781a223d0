// Opens the UART at 115200 baud 8N1, sends one line and prints what comes back on RX. With TX
// wired to RX the line returns as it was sent. Received bytes arrive as UART_RX notifications
// on the session's reader thread; the handler only collects them, main waits and prints.
//
//   uart_echo [SELECTOR]   SELECTOR: serial:SERIAL, path:PATH or an index from `list`
#include <tarvixsdk/tarvixsdk.hpp>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

namespace {

bool succeeded(const char* step, StatusCode status)
{
    if (status != StatusCode::SUCCESS) {
        std::fprintf(stderr, "uart_echo: %s failed: %s (%s)\n", step, statusCodeName(status),
                     statusCodeMessage(status).c_str());
    }
    return status == StatusCode::SUCCESS;
}

// Bytes received so far, filled on the reader thread and read by main.
struct Received {
    std::mutex mutex;
    std::condition_variable grew;
    std::string bytes;
};

} // namespace

int main(int argc, char** argv)
{
    if (argc > 2 || (argc == 2 && argv[1][0] == '-')) {
        std::fprintf(stderr, "usage: uart_echo [serial:SERIAL | path:PATH | INDEX]\n");
        return 2;
    }
    SessionOptions options{};
    options.matchResponses = true;
    options.detectRemoval = true;
    options.exclusive = true;
    // Declared before the session, so that it outlives the reader thread that fills it.
    Received received;
    TarvixSDK sdk(1000, options);

    // Set before connecting, so that nothing received is missed. The record and its data are
    // valid only during the call: copy the bytes out.
    sdk.onNotification([&received](const Notification& notification) {
        if (const UartRxNotification* rx = notification.uartRx()) {
            std::lock_guard<std::mutex> lock(received.mutex);
            received.bytes.append(reinterpret_cast<const char*>(rx->data), rx->dataLength);
            received.grew.notify_all();
        }
    });
    if (!sdk.connectTo(argc == 2 ? argv[1] : "")) {
        std::fprintf(stderr, "uart_echo: %s\n", sdk.lastConnectErrorMessage().c_str());
        return 1;
    }

    const std::string line = "hello from uart_echo\n";
    if (!succeeded("setting the supply rail", sdk.uartSetBusVoltage(3300, false)) ||
        !succeeded("UART init", sdk.uartInit(UartBaudRate::BAUD_115200, UartHwHandshake::DISABLED, UartParity::NONE,
                                             UartDataSize::BITS_8, UartStopBit::ONE)) ||
        !succeeded("UART send", sdk.uartSendMessage(std::vector<std::uint8_t>(line.begin(), line.end())))) {
        return 1;
    }
    std::printf("sent:     %s", line.c_str());

    std::string echo;
    {
        std::unique_lock<std::mutex> lock(received.mutex);
        received.grew.wait_for(lock, std::chrono::seconds(1), [&] { return received.bytes.size() >= line.size(); });
        echo = received.bytes;
    }
    sdk.uartDeinit();
    if (echo.empty()) {
        std::fprintf(stderr, "uart_echo: nothing came back within one second (is TX wired to RX?)\n");
        return 1;
    }
    std::printf("received: %s%s", echo.c_str(), echo.back() == '\n' ? "" : "\n");
    return echo == line ? 0 : 1;
}
