/* Sets up I2C bus 0 at 100 kHz and prints the address of every target that answers.
 *
 *   i2c_scan_c [SELECTOR]  SELECTOR: serial:SERIAL, path:PATH or an index from `list_c`
 *                          (default: the first adapter)
 */
#include "example.h"

#include <tarvixsdk/tarvixsdk.h>

#include <stdio.h>

static int scan(TarvixSDK_Handle* sdk)
{
    uint8_t addresses[255];
    uint8_t oneByte = 0; /* 7-bit addresses found, one byte each */
    uint8_t twoByte = 0; /* 10-bit addresses found, two bytes each (high byte first) */
    if (!example_succeeded("setting the supply rail", TarvixSDK_I2cSetBusVoltage(sdk, 3300, false)) ||
        !example_succeeded("I2C init", TarvixSDK_I2cControllerInit(sdk, 0, 100000, 0)) ||
        !example_succeeded("I2C scan",
                           TarvixSDK_I2cScanBus(sdk, addresses, sizeof addresses, &oneByte, &twoByte, 0, false))) {
        return 1;
    }
    printf("I2C bus 0:");
    for (unsigned i = 0; i < oneByte; ++i) {
        printf(" 0x%02x", (unsigned)addresses[i]);
    }
    for (unsigned i = 0; i < twoByte; ++i) {
        printf(" 0x%03x", (unsigned)(addresses[oneByte + 2 * i] << 8 | addresses[oneByte + 2 * i + 1]));
    }
    printf("%s\n", oneByte + twoByte == 0 ? " no target answered" : "");
    return 0;
}

int main(int argc, char** argv)
{
    return example_run(argc, argv, "i2c_scan", scan);
}
