/* Sets up I2C bus 0 at 100 kHz and prints the address of every target that answers.
 *
 *   i2c_scan_c [SELECTOR]  SELECTOR: serial:SERIAL, path:PATH or an index from `list_c`
 *                          (default: the first adapter)
 */
#include <tarvixsdk/tarvixsdk.h>

#include <stdio.h>

/* Prints why a command failed; false lets the caller stop in one line. */
static bool succeeded(const char* step, StatusCode status)
{
    if (status != StatusCode_SUCCESS) {
        fprintf(stderr, "i2c_scan: %s failed: %s (%s, 0x%04x)\n", step, TarvixSDK_StatusName(status),
                TarvixSDK_StatusMessage(status), (unsigned)status);
    }
    return status == StatusCode_SUCCESS;
}

static int scan(TarvixSDK_Handle* sdk)
{
    uint8_t addresses[255];
    uint8_t oneByte = 0; /* 7-bit addresses found, one byte each */
    uint8_t twoByte = 0; /* 10-bit addresses found, two bytes each (high byte first) */
    if (!succeeded("setting the supply rail", TarvixSDK_I2cSetBusVoltage(sdk, 3300, false)) ||
        !succeeded("I2C init", TarvixSDK_I2cControllerInit(sdk, 0, 100000, 0)) ||
        !succeeded("I2C scan", TarvixSDK_I2cScanBus(sdk, addresses, sizeof addresses, &oneByte, &twoByte, 0, false))) {
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
    if (argc > 2 || (argc == 2 && argv[1][0] == '-')) {
        fprintf(stderr, "usage: i2c_scan_c [serial:SERIAL | path:PATH | INDEX]\n");
        return 2;
    }
    /* A call takes only its own answer, an unplugged adapter fails the call at once, and no
     * other session may use the adapter meanwhile. A call gives up after one second. */
    const SessionOptions options = {.matchResponses = true, .detectRemoval = true, .exclusive = true};
    TarvixSDK_Handle* sdk = TarvixSDK_CreateWithOptions(1000, &options);
    if (sdk == NULL) {
        fprintf(stderr, "i2c_scan: out of memory\n");
        return 1;
    }
    if (!TarvixSDK_ConnectTo(sdk, argc == 2 ? argv[1] : NULL)) {
        fprintf(stderr, "i2c_scan: %s\n", TarvixSDK_LastConnectErrorMessage(sdk));
        TarvixSDK_Destroy(sdk);
        return 1;
    }
    const int result = scan(sdk);
    TarvixSDK_Destroy(sdk); /* disconnects */
    return result;
}
