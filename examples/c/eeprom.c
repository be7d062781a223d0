/* Writes a few bytes to the EEPROM at address 0x50 on I2C bus 0 (a 24C02-style part: one
 * address byte, 8-byte pages) and reads them back.
 *
 *   eeprom_c [SELECTOR]    SELECTOR: serial:SERIAL, path:PATH or an index from `list_c`
 */
#define _POSIX_C_SOURCE 200809L

#include "example.h"

#include <tarvixsdk/tarvixsdk.h>

#include <stdio.h>
#include <string.h>
#include <time.h>

#define EEPROM_ADDRESS 0x50
#define EEPROM_OFFSET 0x10 /* the start of a page: the write must not cross one */

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
    if (!example_succeeded("setting the supply rail", TarvixSDK_I2cSetBusVoltage(sdk, 3300, false)) ||
        !example_succeeded("I2C init", TarvixSDK_I2cControllerInit(sdk, 0, 400000, 0)) ||
        !example_succeeded("EEPROM write",
                           TarvixSDK_I2cWrite(sdk, 0, EEPROM_ADDRESS, &offset, 1, written, sizeof written, false))) {
        return 1;
    }
    /* The part programs the page after the STOP and ignores its bus meanwhile (at most 5 ms). */
    const struct timespec programming = {0, 10 * 1000 * 1000};
    nanosleep(&programming, NULL);
    if (!example_succeeded("EEPROM read",
                           TarvixSDK_I2cRead(sdk, 0, EEPROM_ADDRESS, &offset, 1, sizeof read, read, false))) {
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
    return example_run(argc, argv, "eeprom", writeAndReadBack);
}
