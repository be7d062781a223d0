// Connects to an adapter and prints the library version and the adapter's five USB strings.
//
//   device_info [SELECTOR]     SELECTOR: serial:SERIAL, path:PATH or an index from `list`
//                              (default: the first adapter)
#include <tarvixsdk/tarvixsdk.hpp>

#include <cstdio>
#include <string>

int main(int argc, char** argv)
{
    if (argc > 2 || (argc == 2 && argv[1][0] == '-')) {
        std::fprintf(stderr, "usage: device_info [serial:SERIAL | path:PATH | INDEX]\n");
        return 2;
    }
    std::printf("tarvixsdk %s\n", TarvixSDK::getVersion().c_str());

    SessionOptions options{};
    options.matchResponses = true; // a call takes only its own answer
    options.detectRemoval = true;  // an unplugged adapter fails the call at once
    options.exclusive = true;      // no other session may use the adapter meanwhile
    TarvixSDK sdk(1000, options);  // a call gives up after one second
    if (!sdk.connectTo(argc == 2 ? argv[1] : "")) {
        std::fprintf(stderr, "device_info: %s\n", sdk.lastConnectErrorMessage().c_str());
        return 1;
    }

    TarvixSDK::DeviceInfo info;
    const StatusCode status = sdk.getDeviceInfo(info);
    if (status != StatusCode::SUCCESS) {
        std::fprintf(stderr, "device_info: reading the USB strings failed: %s (%s)\n", statusCodeName(status),
                     statusCodeMessage(status).c_str());
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
