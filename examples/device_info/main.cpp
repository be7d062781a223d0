// Connects to an adapter and prints the library version and the adapter's five USB strings.
//
//   device_info                 the first adapter found
//   device_info --serial S      the adapter with serial number S
//   device_info --path P        the adapter at hidapi path P
#include <tarvixsdk/tarvixsdk.hpp>

#include <cstdio>
#include <cstring>
#include <string>

int main(int argc, char** argv)
{
    std::string path;
    std::string serial;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (std::strcmp(argv[i], "--serial") == 0) {
            serial = argv[i + 1];
        } else if (std::strcmp(argv[i], "--path") == 0) {
            path = argv[i + 1];
        }
    }

    std::printf("tarvixsdk %s\n", TarvixSDK::getVersion().c_str());

    TarvixSDK sdk(1000); // give up on a call after one second
    const bool connected = serial.empty() ? sdk.connect(path) : sdk.connectWithSerialNumber(serial);
    if (!connected) {
        std::fprintf(stderr, "no Tarvix adapter found\n");
        return 1;
    }

    TarvixSDK::DeviceInfo info;
    const StatusCode status = sdk.getDeviceInfo(info);
    if (status != StatusCode::SUCCESS) {
        std::fprintf(stderr, "reading the USB strings failed: %s (%s)\n", statusCodeName(status),
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
