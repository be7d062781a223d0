// Sets up the I3C controller and bus, runs dynamic address assignment (RSTDAA, then ENTDAA) and
// prints the adapter's target table: each target's dynamic and static address, Provisioned ID,
// BCR and DCR.
//
//   i3c_daa [SELECTOR]     SELECTOR: serial:SERIAL, path:PATH or an index from `list`
#include "example.hpp"

#include <tarvixsdk/tarvixsdk.hpp>

#include <cstdint>
#include <cstdio>
#include <vector>

int main(int argc, char** argv)
{
    TarvixSDK sdk(example::kTimeoutMs, example::options());
    if (!example::connect(sdk, example::selector(argc, argv, "i3c_daa"))) {
        return 1;
    }

    // 1.8 V bus; 12.5 MHz push-pull, 2.5 MHz open-drain for addressing, 400 kHz for I2C targets.
    // The bus starts with an empty table: every target is found by ENTDAA. RSTDAA first makes
    // targets addressed earlier take part again.
    std::vector<I3cTargetInfo> table;
    if (!example::succeeded("setting the I3C rail", sdk.i3cSetBusVoltage(1800)) ||
        !example::succeeded("I3C controller init",
                            sdk.i3cControllerInit(I3cPushPullRate::RATE_12_5_MHZ,
                                                  I3cOpenDrainTransferRate::RATE_2_5_MHZ, I2cTransferRate::RATE_400_KHZ,
                                                  I3cDriveStrength::NORMAL)) ||
        !example::succeeded("I3C bus init", sdk.i3cInitBus({})) || !example::succeeded("RSTDAA", sdk.i3cCccRSTDAA()) ||
        !example::succeeded("ENTDAA", sdk.i3cCccENTDAA()) ||
        !example::succeeded("reading the target table", sdk.i3cGetDeviceTable(table))) {
        return 1;
    }

    if (table.empty()) {
        std::printf("no I3C targets answered\n");
        return 0;
    }
    std::printf("%-8s %-7s %-12s %-4s %s\n", "dynamic", "static", "PID", "BCR", "DCR");
    for (const I3cTargetInfo& target : table) {
        std::printf("0x%02x     ", target.dynamicAddress);
        if (target.staticAddress != 0) {
            std::printf("0x%02x    ", target.staticAddress);
        } else {
            std::printf("-       ");
        }
        for (const std::uint8_t byte : target.pid) {
            std::printf("%02x", byte);
        }
        std::printf(" 0x%02x 0x%02x\n", target.bcr, target.dcr);
    }
    return 0;
}
