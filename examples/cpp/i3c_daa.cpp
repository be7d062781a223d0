// Sets up the I3C controller and bus, runs dynamic address assignment (RSTDAA, then ENTDAA) and
// prints the adapter's target table: each target's dynamic and static address, Provisioned ID,
// BCR and DCR.
//
//   i3c_daa [SELECTOR]     SELECTOR: serial:SERIAL, path:PATH or an index from `list`
#include <tarvixsdk/tarvixsdk.hpp>

#include <cstdint>
#include <cstdio>
#include <vector>

namespace {

bool succeeded(const char* step, StatusCode status)
{
    if (status != StatusCode::SUCCESS) {
        std::fprintf(stderr, "i3c_daa: %s failed: %s (%s)\n", step, statusCodeName(status),
                     statusCodeMessage(status).c_str());
    }
    return status == StatusCode::SUCCESS;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc > 2 || (argc == 2 && argv[1][0] == '-')) {
        std::fprintf(stderr, "usage: i3c_daa [serial:SERIAL | path:PATH | INDEX]\n");
        return 2;
    }
    SessionOptions options{};
    options.matchResponses = true;
    options.detectRemoval = true;
    options.exclusive = true;
    TarvixSDK sdk(1000, options);
    if (!sdk.connectTo(argc == 2 ? argv[1] : "")) {
        std::fprintf(stderr, "i3c_daa: %s\n", sdk.lastConnectErrorMessage().c_str());
        return 1;
    }

    // 1.8 V bus; 12.5 MHz push-pull, 2.5 MHz open-drain for addressing, 400 kHz for I2C targets.
    // The bus starts with an empty table: every target is found by ENTDAA. RSTDAA first makes
    // targets addressed earlier take part again.
    std::vector<I3cTargetInfo> table;
    if (!succeeded("setting the I3C rail", sdk.i3cSetBusVoltage(1800)) ||
        !succeeded("I3C controller init",
                   sdk.i3cControllerInit(I3cPushPullRate::RATE_12_5_MHZ, I3cOpenDrainTransferRate::RATE_2_5_MHZ,
                                         I2cTransferRate::RATE_400_KHZ, I3cDriveStrength::NORMAL)) ||
        !succeeded("I3C bus init", sdk.i3cInitBus({})) || !succeeded("RSTDAA", sdk.i3cCccRSTDAA()) ||
        !succeeded("ENTDAA", sdk.i3cCccENTDAA()) ||
        !succeeded("reading the target table", sdk.i3cGetDeviceTable(table))) {
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
