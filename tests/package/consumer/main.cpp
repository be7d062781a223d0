// A minimal application built against the installed package.
#include <tarvixsdk/tarvixsdk.hpp>

#include <cstdio>

int main()
{
    TarvixSDK sdk(0);
    std::printf("tarvixsdk %s, connected: %d\n", TarvixSDK::getVersion().c_str(), sdk.isConnected() ? 1 : 0);
    return TarvixSDK::getVersion() == TARVIXSDK_VERSION_STR ? 0 : 1;
}
