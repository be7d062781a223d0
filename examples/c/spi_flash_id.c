/* Reads the JEDEC ID of the SPI NOR flash on chip select 0 (command 0x9F: manufacturer, memory
 * type and capacity bytes).
 *
 *   spi_flash_id_c [SELECTOR]  SELECTOR: serial:SERIAL, path:PATH or an index from `list_c`
 */
#include "example.h"

#include <tarvixsdk/tarvixsdk.h>

#include <stdio.h>

#define READ_JEDEC_ID 0x9F

static int readId(TarvixSDK_Handle* sdk)
{
    /* Mode 0, MSB first, 8-bit words, chip select 0 active low, 1 MHz: what every NOR flash
     * takes. The transfer clocks 4 bytes: the command goes out with the first, the ID comes back
     * in the other three. */
    const uint8_t command = READ_JEDEC_ID;
    uint8_t miso[4] = {0};
    if (!example_succeeded("setting the supply rail", TarvixSDK_SpiSetBusVoltage(sdk, 3300, false)) ||
        !example_succeeded("SPI init", TarvixSDK_SpiControllerInit(sdk, SpiBitOrder_MSB_FIRST, SpiMode_MODE_0,
                                                                   SpiDataWidth_BITS_8, SpiChipSelect_CS_0,
                                                                   SpiChipSelectPolarity_ACTIVE_LOW, 1000000)) ||
        !example_succeeded("reading the JEDEC ID", TarvixSDK_SpiTransfer(sdk, &command, 1, miso, sizeof miso))) {
        return 1;
    }
    if ((miso[1] == 0xFF && miso[2] == 0xFF) || (miso[1] == 0x00 && miso[2] == 0x00)) {
        /* MISO floating high or held low: nothing drove it. */
        fprintf(stderr, "spi_flash_id: no flash answered on chip select 0\n");
        return 1;
    }
    printf("JEDEC ID: %02X %02X %02X (manufacturer 0x%02X, memory type 0x%02X", (unsigned)miso[1], (unsigned)miso[2],
           (unsigned)miso[3], (unsigned)miso[1], (unsigned)miso[2]);
    /* Most vendors code the capacity as its base-2 logarithm in bytes. */
    if (miso[3] >= 10 && miso[3] < 32) {
        printf(", %lu KiB", 1UL << (miso[3] - 10));
    }
    printf(")\n");
    return 0;
}

int main(int argc, char** argv)
{
    return example_run(argc, argv, "spi_flash_id", readId);
}
