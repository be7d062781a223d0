// A test program built against the installed package: the virtual adapter, linked ahead of the
// SDK, answers the SDK's hid_* calls, so the program reads the emulated adapter's serial number.
#include <tarvix_virtual/virtual_adapter.hpp>
#include <tarvixsdk/tarvixsdk.hpp>

#include <cstdio>

int main()
{
    tarvix_virtual::AdapterConfig config;
    config.serialNumber = L"TVX-PKG1";
    tarvix_virtual::attach(config);
    TarvixSDK sdk(1000);
    if (!sdk.connect()) {
        std::puts("no virtual adapter: the SDK did not reach libtarvix-virtual");
        return 1;
    }
    TarvixSDK::DeviceInfo info;
    const StatusCode status = sdk.getDeviceInfo(info);
    std::printf("virtual adapter %s\n", info.usbString3.c_str());
    return status == StatusCode::SUCCESS && info.usbString3 == "TVX-PKG1" ? 0 : 1;
}
