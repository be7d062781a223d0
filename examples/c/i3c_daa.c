/* Sets up the I3C controller and bus, runs dynamic address assignment (RSTDAA, then ENTDAA) and
 * prints the adapter's target table: each target's dynamic and static address, Provisioned ID,
 * BCR and DCR.
 *
 *   i3c_daa_c [SELECTOR]   SELECTOR: serial:SERIAL, path:PATH or an index from `list_c`
 */
#include <tarvixsdk/tarvixsdk.h>

#include <stdio.h>

static bool succeeded(const char* step, StatusCode status)
{
    if (status != StatusCode_SUCCESS) {
        fprintf(stderr, "i3c_daa: %s failed: %s (%s, 0x%04x)\n", step, TarvixSDK_StatusName(status),
                TarvixSDK_StatusMessage(status), (unsigned)status);
    }
    return status == StatusCode_SUCCESS;
}

static int assignAddresses(TarvixSDK_Handle* sdk)
{
    /* 1.8 V bus; 12.5 MHz push-pull, 2.5 MHz open-drain for addressing, 400 kHz for I2C
     * targets. The bus starts with an empty table: every target is found by ENTDAA. RSTDAA
     * first makes targets addressed earlier take part again. */
    I3cTargetInfo table[32];
    uint8_t count = 0;
    if (!succeeded("setting the I3C rail", TarvixSDK_I3cSetBusVoltage(sdk, 1800)) ||
        !succeeded("I3C controller init", TarvixSDK_I3cControllerInit(
                                              sdk, I3cPushPullRate_RATE_12_5_MHZ, I3cOpenDrainTransferRate_RATE_2_5_MHZ,
                                              I2cTransferRate_RATE_400_KHZ, I3cDriveStrength_NORMAL)) ||
        !succeeded("I3C bus init", TarvixSDK_I3cInitBus(sdk, NULL, 0)) ||
        !succeeded("RSTDAA", TarvixSDK_I3cCccRSTDAA(sdk)) || !succeeded("ENTDAA", TarvixSDK_I3cCccENTDAA(sdk)) ||
        !succeeded("reading the target table",
                   TarvixSDK_I3cGetDeviceTable(sdk, table, sizeof table / sizeof table[0], &count))) {
        return 1;
    }

    if (count == 0) {
        printf("no I3C targets answered\n");
        return 0;
    }
    printf("%-8s %-7s %-12s %-4s %s\n", "dynamic", "static", "PID", "BCR", "DCR");
    for (unsigned i = 0; i < count; ++i) {
        const I3cTargetInfo* target = &table[i];
        printf("0x%02x     ", (unsigned)target->dynamicAddress);
        if (target->staticAddress != 0) {
            printf("0x%02x    ", (unsigned)target->staticAddress);
        } else {
            printf("-       ");
        }
        for (unsigned b = 0; b < sizeof target->pid; ++b) {
            printf("%02x", (unsigned)target->pid[b]);
        }
        printf(" 0x%02x 0x%02x\n", (unsigned)target->bcr, (unsigned)target->dcr);
    }
    return 0;
}

int main(int argc, char** argv)
{
    if (argc > 2 || (argc == 2 && argv[1][0] == '-')) {
        fprintf(stderr, "usage: i3c_daa_c [serial:SERIAL | path:PATH | INDEX]\n");
        return 2;
    }
    const SessionOptions options = {.matchResponses = true, .detectRemoval = true, .exclusive = true};
    TarvixSDK_Handle* sdk = TarvixSDK_CreateWithOptions(1000, &options);
    if (sdk == NULL) {
        fprintf(stderr, "i3c_daa: out of memory\n");
        return 1;
    }
    if (!TarvixSDK_ConnectTo(sdk, argc == 2 ? argv[1] : NULL)) {
        fprintf(stderr, "i3c_daa: %s\n", TarvixSDK_LastConnectErrorMessage(sdk));
        TarvixSDK_Destroy(sdk);
        return 1;
    }
    const int result = assignAddresses(sdk);
    TarvixSDK_Destroy(sdk);
    return result;
}
