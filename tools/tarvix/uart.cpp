// tarvix uart: send bytes, and print what the adapter receives (UART_RX notifications).
#include <algorithm>
#include <cstdio>

#include "commands.hpp"

namespace tarvix_tool {
namespace {

// The adapter takes a rate as its index in this list.
constexpr std::uint32_t kBaudRates[] = {600,   1200,  2400,   4800,   9600,   14400,  19200,  38400,
                                        56000, 57600, 115200, 230400, 460800, 921600, 1000000};

struct PortOptions {
    std::uint32_t baud = 115200;

    void declare(CLI::App& command)
    {
        command.add_option("--baud", baud, "Line speed (600 .. 1000000)")
            ->capture_default_str()
            ->check(CLI::IsMember(std::vector<std::uint32_t>(std::begin(kBaudRates), std::end(kBaudRates))));
    }
};

void openPort(Context& context, const PortOptions& options)
{
    const auto* rate = std::find(std::begin(kBaudRates), std::end(kBaudRates), options.baud);
    const auto index = static_cast<std::uint32_t>(rate - std::begin(kBaudRates));
    context.check(context.sdk().uartInit(static_cast<UartBaudRate>(index), UartHwHandshake::DISABLED, UartParity::NONE,
                                         UartDataSize::BITS_8, UartStopBit::ONE),
                  "opening the UART at " + std::to_string(options.baud) + " baud");
}

// The bytes of TEXT, or of --hex; usage error when both or neither are given.
Bytes messageOf(const std::string& text, const std::vector<std::string>& hex, bool required)
{
    if (!text.empty() && !hex.empty()) {
        usageError("give TEXT or hex bytes, not both");
    }
    if (required && text.empty() && hex.empty()) {
        usageError("nothing to send: give TEXT or --hex BYTES");
    }
    return hex.empty() ? Bytes(text.begin(), text.end()) : parseHexBytes(hex);
}

void send(Context& context, const Bytes& message)
{
    context.check(context.sdk().uartSendMessage(message), "UART send");
    context.result()["sent"] = hexString(message);
}

struct SendOptions {
    PortOptions port;
    std::string text;
    std::vector<std::string> hex;

    void declare(CLI::App& command)
    {
        port.declare(command);
        command.add_option("TEXT", text, "Text to send, as it is (no newline added)");
        command.add_option("--hex", hex, "Bytes to send, in hex (68 69 0a)");
    }
};

void sendCommand(Context& context, const SendOptions& options)
{
    const Bytes message = messageOf(options.text, options.hex, true);
    openPort(context, options.port);
    send(context, message);
}

struct MonitorOptions {
    PortOptions port;
    StopOptions stop;
    bool hexOutput = false;
    std::string sendText;
    std::vector<std::string> sendHex;

    void declare(CLI::App& command)
    {
        port.declare(command);
        stop.declare(command, "bytes");
        command.add_flag("--hex", hexOutput, "Print hex dump lines instead of the raw bytes");
        command.add_option("--send", sendText, "Send TEXT once listening (loopback checks)");
        command.add_option("--send-hex", sendHex, "Send these hex bytes once listening");
    }
};

// Prints received bytes until --count bytes came, --timeout passed or SIGINT. Text mode writes
// the bytes as they are (or as hex dump lines with --hex); --json gives one document at the end.
void monitor(Context& context, const MonitorOptions& options)
{
    const Bytes toSend = messageOf(options.sendText, options.sendHex, false);
    const std::optional<std::chrono::steady_clock::time_point> deadline = options.stop.deadline();
    Listener listener(context);
    openPort(context, options.port);
    if (!toSend.empty()) {
        send(context, toSend);
    }
    Bytes received;
    const std::uint32_t count = options.stop.count;
    while (count == 0 || received.size() < count) {
        const std::optional<Listener::Event> event = listener.next(deadline);
        if (!event) {
            break;
        }
        if (event->kind != NotificationKind::UART_RX) {
            continue;
        }
        Bytes data = event->data;
        if (count != 0) {
            data.resize(std::min<std::size_t>(data.size(), count - received.size()));
        }
        received.insert(received.end(), data.begin(), data.end());
        if (context.json()) {
            continue;
        }
        if (options.hexOutput) {
            for (const std::string& line : hexDump("RX", data)) {
                context.line(line);
            }
        } else {
            std::fwrite(data.data(), 1, data.size(), stdout);
            std::fflush(stdout);
        }
    }
    context.result()["received"] = hexString(received);
    context.result()["length"] = received.size();
    context.result()["interrupted"] = listener.interrupted();
}

} // namespace

void addUartCommands(CLI::App& app, Context& context)
{
    CLI::App& uart = addGroup(app, "uart", "UART: send, monitor");
    addCommand(uart, context, "send", "Send TEXT (or --hex bytes) on TX", sendCommand);
    addCommand(uart, context, "monitor", "Print bytes received on RX until --count, --timeout or Ctrl-C", monitor)
        ->footer("With --json, one document at the end: {\"received\": hex, \"length\": n, ...}.");
}

} // namespace tarvix_tool
