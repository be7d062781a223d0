/* Sets up the I3C controller and bus, runs dynamic address assignment (RSTDAA, then ENTDAA) and
 * prints the adapter's target table: each target's dynamic and static address, Provisioned ID,
 * BCR and DCR.
 *
 *   i3c_daa_c [SELECTOR]   SELECTOR: serial:SERIAL, path:PATH or an index from `list_c`
 */
#include "example.h"

#include <tarvixsdk/tarvixsdk.h>

#include <stdio.h>

static int assignAddresses(TarvixSDK_Handle* sdk)
{
    /* 1.8 V bus; 12.5 MHz push-pull, 2.5 MHz open-drain for addressing, 400 kHz for I2C
     * targets. The bus starts with an empty table: every target is found by ENTDAA. RSTDAA
     * first makes targets addressed earlier take part again. */
    I3cTargetInfo table[32];
    uint8_t count = 0;
    if (!example_succeeded("setting the I3C rail", TarvixSDK_I3cSetBusVoltage(sdk, 1800)) ||
        !example_succeeded("I3C controller init",
                           TarvixSDK_I3cControllerInit(sdk, I3cPushPullRate_RATE_12_5_MHZ,
                                                       I3cOpenDrainTransferRate_RATE_2_5_MHZ,
                                                       I2cTransferRate_RATE_400_KHZ, I3cDriveStrength_NORMAL)) ||
        !example_succeeded("I3C bus init", TarvixSDK_I3cInitBus(sdk, NULL, 0)) ||
        !example_succeeded("RSTDAA", TarvixSDK_I3cCccRSTDAA(sdk)) ||
        !example_succeeded("ENTDAA", TarvixSDK_I3cCccENTDAA(sdk)) ||
        !example_succeeded("reading the target table",
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
    return example_run(argc, argv, "i3c_daa", assignAddresses);
}
