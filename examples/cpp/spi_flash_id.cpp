// Reads the JEDEC ID of the SPI NOR flash on chip select 0 (command 0x9F: manufacturer, memory
// type and capacity bytes).
//
//   spi_flash_id [SELECTOR]    SELECTOR: serial:SERIAL, path:PATH or an index from `list`
#include "example.hpp"

#include <tarvixsdk/tarvixsdk.hpp>

#include <cstdint>
#include <cstdio>
#include <vector>

namespace {

constexpr std::uint8_t kReadJedecId = 0x9F;

} // namespace

int main(int argc, char** argv)
{
    TarvixSDK sdk(example::kTimeoutMs, example::options());
    if (!example::connect(sdk, example::selector(argc, argv, "spi_flash_id"))) {
        return 1;
    }

    // Mode 0, MSB first, 8-bit words, chip select 0 active low, 1 MHz: what every NOR flash takes.
    // The transfer clocks 4 bytes: the command goes out with the first, the ID comes back in the
    // other three.
    std::vector<std::uint8_t> miso;
    if (!example::succeeded("setting the supply rail", sdk.spiSetBusVoltage(3300, false)) ||
        !example::succeeded("SPI init",
                            sdk.spiControllerInit(SpiBitOrder::MSB_FIRST, SpiMode::MODE_0, SpiDataWidth::BITS_8,
                                                  SpiChipSelect::CS_0, SpiChipSelectPolarity::ACTIVE_LOW, 1000000)) ||
        !example::succeeded("reading the JEDEC ID", sdk.spiTransfer({kReadJedecId}, miso, 4))) {
        return 1;
    }
    if (miso.size() < 4 || (miso[1] == 0xFF && miso[2] == 0xFF) || (miso[1] == 0x00 && miso[2] == 0x00)) {
        // MISO floating high or held low: nothing drove it.
        std::fprintf(stderr, "spi_flash_id: no flash answered on chip select 0\n");
        return 1;
    }
    std::printf("JEDEC ID: %02X %02X %02X (manufacturer 0x%02X, memory type 0x%02X", miso[1], miso[2], miso[3], miso[1],
                miso[2]);
    // Most vendors code the capacity as its base-2 logarithm in bytes.
    if (miso[3] >= 10 && miso[3] < 32) {
        std::printf(", %lu KiB", 1UL << (miso[3] - 10));
    }
    std::printf(")\n");
    return 0;
}
