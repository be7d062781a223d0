/* Reads the JEDEC ID of the SPI NOR flash on chip select 0 (command 0x9F: manufacturer, memory
 * type and capacity bytes).
 *
 *   spi_flash_id_c [SELECTOR]  SELECTOR: serial:SERIAL, path:PATH or an index from `list_c`
 */
#include <tarvixsdk/tarvixsdk.h>

#include <stdio.h>

#define READ_JEDEC_ID 0x9F

static bool succeeded(const char* step, StatusCode status)
{
    if (status != StatusCode_SUCCESS) {
        fprintf(stderr, "spi_flash_id: %s failed: %s (%s, 0x%04x)\n", step, TarvixSDK_StatusName(status),
                TarvixSDK_StatusMessage(status), (unsigned)status);
    }
    return status == StatusCode_SUCCESS;
}

static int readId(TarvixSDK_Handle* sdk)
{
    /* Mode 0, MSB first, 8-bit words, chip select 0 active low, 1 MHz: what every NOR flash
     * takes. The transfer clocks 4 bytes: the command goes out with the first, the ID comes back
     * in the other three. */
    const uint8_t command = READ_JEDEC_ID;
    uint8_t miso[4] = {0};
    if (!succeeded("setting the supply rail", TarvixSDK_SpiSetBusVoltage(sdk, 3300, false)) ||
        !succeeded("SPI init",
                   TarvixSDK_SpiControllerInit(sdk, SpiBitOrder_MSB_FIRST, SpiMode_MODE_0, SpiDataWidth_BITS_8,
                                               SpiChipSelect_CS_0, SpiChipSelectPolarity_ACTIVE_LOW, 1000000)) ||
        !succeeded("reading the JEDEC ID", TarvixSDK_SpiTransfer(sdk, &command, 1, miso, sizeof miso))) {
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
    if (argc > 2 || (argc == 2 && argv[1][0] == '-')) {
        fprintf(stderr, "usage: spi_flash_id_c [serial:SERIAL | path:PATH | INDEX]\n");
        return 2;
    }
    const SessionOptions options = {.matchResponses = true, .detectRemoval = true, .exclusive = true};
    TarvixSDK_Handle* sdk = TarvixSDK_CreateWithOptions(1000, &options);
    if (sdk == NULL) {
        fprintf(stderr, "spi_flash_id: out of memory\n");
        return 1;
    }
    if (!TarvixSDK_ConnectTo(sdk, argc == 2 ? argv[1] : NULL)) {
        fprintf(stderr, "spi_flash_id: %s\n", TarvixSDK_LastConnectErrorMessage(sdk));
        TarvixSDK_Destroy(sdk);
        return 1;
    }
    const int result = readId(sdk);
    TarvixSDK_Destroy(sdk);
    return result;
}
