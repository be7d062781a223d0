// Opens the UART at 115200 baud 8N1, sends one line and prints what comes back on RX. With TX
// wired to RX the line returns as it was sent. Received bytes arrive as UART_RX notifications
// on the session's reader thread; the handler only collects them, main waits and prints.
//
//   uart_echo [SELECTOR]   SELECTOR: serial:SERIAL, path:PATH or an index from `list`
#include "example.hpp"

#include <tarvixsdk/tarvixsdk.hpp>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

int main(int argc, char** argv)
{
    example::Handover<std::string> received; // the bytes received so far
    TarvixSDK sdk(example::kTimeoutMs, example::options());

    // Set before connecting, so that nothing received is missed. The record and its data are
    // valid only during the call: copy the bytes out.
    sdk.onNotification([&received](const Notification& notification) {
        if (const UartRxNotification* rx = notification.uartRx()) {
            received.update(
                [rx](std::string& bytes) { bytes.append(reinterpret_cast<const char*>(rx->data), rx->dataLength); });
        }
    });
    if (!example::connect(sdk, example::selector(argc, argv, "uart_echo"))) {
        return 1;
    }

    const std::string line = "hello from uart_echo\n";
    if (!example::succeeded("setting the supply rail", sdk.uartSetBusVoltage(3300, false)) ||
        !example::succeeded("UART init", sdk.uartInit(UartBaudRate::BAUD_115200, UartHwHandshake::DISABLED,
                                                      UartParity::NONE, UartDataSize::BITS_8, UartStopBit::ONE)) ||
        !example::succeeded("UART send", sdk.uartSendMessage(std::vector<std::uint8_t>(line.begin(), line.end())))) {
        return 1;
    }
    std::printf("sent:     %s", line.c_str());

    const std::string echo = received.waitFor(
        std::chrono::seconds(1), [&line](const std::string& bytes) { return bytes.size() >= line.size(); });
    sdk.uartDeinit();
    if (echo.empty()) {
        std::fprintf(stderr, "uart_echo: nothing came back within one second (is TX wired to RX?)\n");
        return 1;
    }
    std::printf("received: %s%s", echo.c_str(), echo.back() == '\n' ? "" : "\n");
    return echo == line ? 0 : 1;
}
