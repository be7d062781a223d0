/* Writes a few bytes to the EEPROM at address 0x50 on I2C bus 0 (a 24C02-style part: one
 * address byte, 8-byte pages) and reads them back.
 *
 *   eeprom_c [SELECTOR]    SELECTOR: serial:SERIAL, path:PATH or an index from `list_c`
 */
#define _POSIX_C_SOURCE 200809L

#include <tarvixsdk/tarvixsdk.h>

#include <stdio.h>
#include <string.h>
#include <time.h>

#define EEPROM_ADDRESS 0x50
#define EEPROM_OFFSET 0x10 /* the start of a page: the write must not cross one */

static bool succeeded(const char* step, StatusCode status)
{
    if (status != StatusCode_SUCCESS) {
        fprintf(stderr, "eeprom: %s failed: %s (%s, 0x%04x)\n", step, TarvixSDK_StatusName(status),
                TarvixSDK_StatusMessage(status), (unsigned)status);
    }
    return status == StatusCode_SUCCESS;
}

static void printBytes(const char* label, const uint8_t* bytes, size_t length)
{
    printf("%-10s", label);
    for (size_t i = 0; i < length; ++i) {
        printf(" %02x", (unsigned)bytes[i]);
    }
    printf("  \"%.*s\"\n", (int)length, (const char*)bytes);
}

static int writeAndReadBack(TarvixSDK_Handle* sdk)
{
    static const uint8_t written[] = {'t', 'a', 'r', 'v', 'i', 'x'};
    const uint8_t offset = EEPROM_OFFSET;
    uint8_t read[sizeof written] = {0};
    if (!succeeded("setting the supply rail", TarvixSDK_I2cSetBusVoltage(sdk, 3300, false)) ||
        !succeeded("I2C init", TarvixSDK_I2cControllerInit(sdk, 0, 400000, 0)) ||
        !succeeded("EEPROM write",
                   TarvixSDK_I2cWrite(sdk, 0, EEPROM_ADDRESS, &offset, 1, written, sizeof written, false))) {
        return 1;
    }
    /* The part programs the page after the STOP and ignores its bus meanwhile (at most 5 ms). */
    const struct timespec programming = {0, 10 * 1000 * 1000};
    nanosleep(&programming, NULL);
    if (!succeeded("EEPROM read", TarvixSDK_I2cRead(sdk, 0, EEPROM_ADDRESS, &offset, 1, sizeof read, read, false))) {
        return 1;
    }

    printf("EEPROM 0x%02x, offset 0x%02x\n", EEPROM_ADDRESS, EEPROM_OFFSET);
    printBytes("wrote:", written, sizeof written);
    printBytes("read back:", read, sizeof read);
    if (memcmp(read, written, sizeof read) != 0) {
        fprintf(stderr, "eeprom: the bytes read back differ from those written\n");
        return 1;
    }
    return 0;
}

int main(int argc, char** argv)
{
    if (argc > 2 || (argc == 2 && argv[1][0] == '-')) {
        fprintf(stderr, "usage: eeprom_c [serial:SERIAL | path:PATH | INDEX]\n");
        return 2;
    }
    const SessionOptions options = {.matchResponses = true, .detectRemoval = true, .exclusive = true};
    TarvixSDK_Handle* sdk = TarvixSDK_CreateWithOptions(1000, &options);
    if (sdk == NULL) {
        fprintf(stderr, "eeprom: out of memory\n");
        return 1;
    }
    if (!TarvixSDK_ConnectTo(sdk, argc == 2 ? argv[1] : NULL)) {
        fprintf(stderr, "eeprom: %s\n", TarvixSDK_LastConnectErrorMessage(sdk));
        TarvixSDK_Destroy(sdk);
        return 1;
    }
    const int result = writeAndReadBack(sdk);
    TarvixSDK_Destroy(sdk);
    return result;
}
