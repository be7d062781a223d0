// Sets up I2C bus 0 at 100 kHz and prints the address of every target that answers.
//
//   i2c_scan [SELECTOR]    SELECTOR: serial:SERIAL, path:PATH or an index from `list`
//                          (default: the first adapter)
#include <tarvixsdk/tarvixsdk.hpp>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace {

// Prints why a command failed; false lets main stop in one line.
bool succeeded(const char* step, StatusCode status)
{
    if (status != StatusCode::SUCCESS) {
        std::fprintf(stderr, "i2c_scan: %s failed: %s (%s)\n", step, statusCodeName(status),
                     statusCodeMessage(status).c_str());
    }
    return status == StatusCode::SUCCESS;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc > 2 || (argc == 2 && argv[1][0] == '-')) {
        std::fprintf(stderr, "usage: i2c_scan [serial:SERIAL | path:PATH | INDEX]\n");
        return 2;
    }
    SessionOptions options{};
    options.matchResponses = true; // a call takes only its own answer
    options.detectRemoval = true;  // an unplugged adapter fails the call at once
    options.exclusive = true;      // no other session may use the adapter meanwhile
    TarvixSDK sdk(1000, options);  // a call gives up after one second
    if (!sdk.connectTo(argc == 2 ? argv[1] : "")) {
        std::fprintf(stderr, "i2c_scan: %s\n", sdk.lastConnectErrorMessage().c_str());
        return 1;
    }

    std::vector<std::uint8_t> addresses;
    std::uint8_t oneByte = 0; // 7-bit addresses found, one byte each
    std::uint8_t twoByte = 0; // 10-bit addresses found, two bytes each (high byte first)
    if (!succeeded("setting the supply rail", sdk.i2cSetBusVoltage(3300, false)) ||
        !succeeded("I2C init", sdk.i2cControllerInit(0, 100000, 0)) ||
        !succeeded("I2C scan", sdk.i2cScanBus(addresses, &oneByte, &twoByte, 0, false))) {
        return 1;
    }

    std::printf("I2C bus 0:");
    for (std::size_t i = 0; i < oneByte; ++i) {
        std::printf(" 0x%02x", addresses[i]);
    }
    for (std::size_t i = oneByte; i + 1 < addresses.size(); i += 2) {
        std::printf(" 0x%03x", static_cast<unsigned>(addresses[i] << 8 | addresses[i + 1]));
    }
    std::printf("%s\n", addresses.empty() ? " no target answered" : "");
    return 0;
}
