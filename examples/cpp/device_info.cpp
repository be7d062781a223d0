// Connects to an adapter and prints the library version and the adapter's five USB strings.
//
//   device_info [SELECTOR]     SELECTOR: serial:SERIAL, path:PATH or an index from `list`
//                              (default: the first adapter)
#include "example.hpp"

#include <tarvixsdk/tarvixsdk.hpp>

#include <cstdio>
#include <string>

int main(int argc, char** argv)
{
    const char* selector = example::selector(argc, argv, "device_info");
    std::printf("tarvixsdk %s\n", TarvixSDK::getVersion().c_str());

    TarvixSDK sdk(example::kTimeoutMs, example::options());
    if (!example::connect(sdk, selector)) {
        return 1;
    }

    TarvixSDK::DeviceInfo info;
    if (!example::succeeded("reading the USB strings", sdk.getDeviceInfo(info))) {
        return 1;
    }
    std::printf("manufacturer:     %s\n", info.usbString1.c_str());
    std::printf("product:          %s\n", info.usbString2.c_str());
    std::printf("serial number:    %s\n", info.usbString3.c_str());
    std::printf("firmware version: %s\n", info.usbString4.c_str());
    std::printf("hardware version: %s\n", info.usbString5.c_str());
    sdk.disconnect();
    return 0;
}
