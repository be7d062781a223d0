// tarvix spi xfer: one full-duplex transfer, printed as spidev_test prints it (TX and RX dumps).
#include "commands.hpp"

namespace tarvix_tool {
namespace {

struct XferOptions {
    std::vector<std::string> data;
    std::uint32_t length = 0;
    std::uint32_t mode = 0;
    std::uint32_t frequency = 1000000;
    std::uint32_t chipSelect = 0;
    std::uint32_t bits = 8;
    bool csHigh = false;
    bool lsbFirst = false;

    void declare(CLI::App& command)
    {
        command.add_option("HEX", data, "Bytes to send, in hex: 9f 00 00 or 9f0000 or 0x9f");
        command.add_option("-l,--length", length, "Clock N bytes in all (zeros follow the data)")
            ->check(CLI::Range(0, 65535));
        command.add_option("-m,--mode", mode, "SPI mode (CPOL*2 + CPHA)")
            ->capture_default_str()
            ->check(CLI::Range(0, 3));
        command.add_option("-s,--speed,--frequency", frequency, "Clock, in Hz")->capture_default_str();
        command.add_option("-c,--cs", chipSelect, "Chip select line")->capture_default_str()->check(CLI::Range(0, 3));
        command.add_option("-b,--bits", bits, "Bits per word")->capture_default_str()->check(CLI::IsMember({8, 16}));
        command.add_flag("-H,--cs-high", csHigh, "Chip select active high");
        command.add_flag("-L,--lsb", lsbFirst, "Least significant bit first");
    }
};

void xfer(Context& context, const XferOptions& options)
{
    const Bytes tx = parseHexBytes(options.data);
    const std::size_t clocked = std::max<std::size_t>(tx.size(), options.length);
    if (clocked > 0xFFFF) {
        usageError("at most 65535 bytes per transfer");
    }
    TarvixSDK& sdk = context.sdk();
    context.check(
        sdk.spiControllerInit(
            options.lsbFirst ? SpiBitOrder::LSB_FIRST : SpiBitOrder::MSB_FIRST, static_cast<SpiMode>(options.mode),
            static_cast<SpiDataWidth>(options.bits), static_cast<SpiChipSelect>(options.chipSelect),
            options.csHigh ? SpiChipSelectPolarity::ACTIVE_HIGH : SpiChipSelectPolarity::ACTIVE_LOW, options.frequency),
        "setting up SPI (mode " + std::to_string(options.mode) + ", " + std::to_string(options.frequency) + " Hz, CS" +
            std::to_string(options.chipSelect) + ")");
    Bytes rx;
    context.check(sdk.spiTransfer(tx, rx, static_cast<std::uint16_t>(clocked)), "SPI transfer");
    // What went out on MOSI: the data, then zeros up to the length clocked.
    Bytes sent = tx;
    sent.resize(clocked, 0x00);
    for (const std::string& line : hexDump("TX", sent)) {
        context.line(line);
    }
    for (const std::string& line : hexDump("RX", rx)) {
        context.line(line);
    }
    context.result()["tx"] = hexString(sent);
    context.result()["rx"] = hexString(rx);
}

} // namespace

void addSpiCommands(CLI::App& app, Context& context)
{
    CLI::App& spi = addGroup(app, "spi", "SPI controller: full-duplex transfers");
    addCommand(spi, context, "xfer",
               "Send HEX bytes and show what came back, as spidev_test (tarvix spi xfer 9f --length 4)", xfer);
}

} // namespace tarvix_tool
