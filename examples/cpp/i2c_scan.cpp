// Sets up I2C bus 0 at 100 kHz and prints the address of every target that answers.
//
//   i2c_scan [SELECTOR]    SELECTOR: serial:SERIAL, path:PATH or an index from `list`
//                          (default: the first adapter)
#include "example.hpp"

#include <tarvixsdk/tarvixsdk.hpp>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

int main(int argc, char** argv)
{
    TarvixSDK sdk(example::kTimeoutMs, example::options());
    if (!example::connect(sdk, example::selector(argc, argv, "i2c_scan"))) {
        return 1;
    }

    std::vector<std::uint8_t> addresses;
    std::uint8_t oneByte = 0; // 7-bit addresses found, one byte each
    std::uint8_t twoByte = 0; // 10-bit addresses found, two bytes each (high byte first)
    if (!example::succeeded("setting the supply rail", sdk.i2cSetBusVoltage(3300, false)) ||
        !example::succeeded("I2C init", sdk.i2cControllerInit(0, 100000, 0)) ||
        !example::succeeded("I2C scan", sdk.i2cScanBus(addresses, &oneByte, &twoByte, 0, false))) {
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
