// Writes a few bytes to the EEPROM at address 0x50 on I2C bus 0 (a 24C02-style part: one
// address byte, 8-byte pages) and reads them back.
//
//   eeprom [SELECTOR]      SELECTOR: serial:SERIAL, path:PATH or an index from `list`
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

bool succeeded(const char* step, StatusCode status)
{
    if (status != StatusCode::SUCCESS) {
        std::fprintf(stderr, "eeprom: %s failed: %s (%s)\n", step, statusCodeName(status),
                     statusCodeMessage(status).c_str());
    }
    return status == StatusCode::SUCCESS;
}

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
    if (argc > 2 || (argc == 2 && argv[1][0] == '-')) {
        std::fprintf(stderr, "usage: eeprom [serial:SERIAL | path:PATH | INDEX]\n");
        return 2;
    }
    SessionOptions options{};
    options.matchResponses = true;
    options.detectRemoval = true;
    options.exclusive = true;
    TarvixSDK sdk(1000, options);
    if (!sdk.connectTo(argc == 2 ? argv[1] : "")) {
        std::fprintf(stderr, "eeprom: %s\n", sdk.lastConnectErrorMessage().c_str());
        return 1;
    }

    const std::string text = "tarvix";
    const std::vector<std::uint8_t> written(text.begin(), text.end());
    std::vector<std::uint8_t> read;
    if (!succeeded("setting the supply rail", sdk.i2cSetBusVoltage(3300, false)) ||
        !succeeded("I2C init", sdk.i2cControllerInit(0, 400000, 0)) ||
        !succeeded("EEPROM write", sdk.i2cWrite(0, kEeprom, {kOffset}, written, false))) {
        return 1;
    }
    // The part programs the page after the STOP and ignores its bus meanwhile (at most 5 ms).
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    if (!succeeded("EEPROM read",
                   sdk.i2cRead(0, kEeprom, {kOffset}, static_cast<std::uint16_t>(written.size()), read, false))) {
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
