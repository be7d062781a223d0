// Writes a few bytes to the EEPROM at address 0x50 on I2C bus 0 (a 24C02-style part: one
// address byte, 8-byte pages) and reads them back.
//
//   eeprom [SELECTOR]      SELECTOR: serial:SERIAL, path:PATH or an index from `list`
#include "example.hpp"

#include <tarvixsdk/tarvixsdk.hpp>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr std::uint8_t kEeprom = 0x50;
constexpr std::uint8_t kOffset = 0x10; // the start of a page: the write must not cross one

void printBytes(const char* label, const std::vector<std::uint8_t>& bytes)
{
    std::printf("%-10s", label);
    for (const std::uint8_t byte : bytes) {
        std::printf(" %02x", byte);
    }
    std::printf("  \"%s\"\n", std::string(bytes.begin(), bytes.end()).c_str());
}

} // namespace

int main(int argc, char** argv)
{
    TarvixSDK sdk(example::kTimeoutMs, example::options());
    if (!example::connect(sdk, example::selector(argc, argv, "eeprom"))) {
        return 1;
    }

    const std::string text = "tarvix";
    const std::vector<std::uint8_t> written(text.begin(), text.end());
    std::vector<std::uint8_t> read;
    if (!example::succeeded("setting the supply rail", sdk.i2cSetBusVoltage(3300, false)) ||
        !example::succeeded("I2C init", sdk.i2cControllerInit(0, 400000, 0)) ||
        !example::succeeded("EEPROM write", sdk.i2cWrite(0, kEeprom, {kOffset}, written, false))) {
        return 1;
    }
    // The part programs the page after the STOP and ignores its bus meanwhile (at most 5 ms).
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    if (!example::succeeded("EEPROM read", sdk.i2cRead(0, kEeprom, {kOffset},
                                                       static_cast<std::uint16_t>(written.size()), read, false))) {
        return 1;
    }

    std::printf("EEPROM 0x%02x, offset 0x%02x\n", kEeprom, kOffset);
    printBytes("wrote:", written);
    printBytes("read back:", read);
    if (read != written) {
        std::fprintf(stderr, "eeprom: the bytes read back differ from those written\n");
        return 1;
    }
    return 0;
}
