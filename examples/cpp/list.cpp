// Lists the Tarvix adapters attached to this host, one line each, without opening any.
// The first column is the index that the other examples (and TarvixSDK::connectTo) take as a
// selector; "serial:<serial>" and "path:<path>" select the same adapter more durably.
//
//   list        exit status 0 when at least one adapter is attached, 1 when none is
#include <tarvixsdk/tarvixsdk.hpp>

#include <cstdio>
#include <vector>

int main()
{
    const std::vector<TarvixSDK::AdapterInfo> adapters = TarvixSDK::listAdapters();
    if (adapters.empty()) {
        std::printf("no Tarvix adapter attached\n");
        return 1;
    }
    std::printf("%-5s %-16s %-9s %-6s %s\n", "index", "serial", "usb id", "report", "path");
    for (std::size_t i = 0; i < adapters.size(); ++i) {
        const TarvixSDK::AdapterInfo& adapter = adapters[i];
        std::printf("%-5zu %-16s %04x:%04x %-6zu %s\n", i, adapter.hasSerialNumber ? adapter.serialNumber.c_str() : "-",
                    static_cast<unsigned>(adapter.vendorId), static_cast<unsigned>(adapter.productId),
                    adapter.reportSize, adapter.path.c_str());
    }
    return 0;
}
