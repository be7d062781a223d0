/* Lists the Tarvix adapters attached to this host, one line each, without opening any.
 * The first column is the index that the other examples (and TarvixSDK_ConnectTo) take as a
 * selector; "serial:<serial>" and "path:<path>" select the same adapter more durably.
 *
 *   list_c      exit status 0 when at least one adapter is attached, 1 when none is
 */
#include <tarvixsdk/tarvixsdk.h>

#include <stdio.h>

int main(void)
{
    /* The call fills at most the records it is given and reports how many adapters there are. */
    TarvixSDK_AdapterInfo adapters[16];
    size_t count = 0;
    const StatusCode status = TarvixSDK_ListAdapters(adapters, sizeof adapters / sizeof adapters[0], &count);
    if (status != StatusCode_SUCCESS) {
        fprintf(stderr, "list: listing the adapters failed: %s (%s)\n", TarvixSDK_StatusName(status),
                TarvixSDK_StatusMessage(status));
        return 1;
    }
    if (count == 0) {
        printf("no Tarvix adapter attached\n");
        return 1;
    }
    printf("%-5s %-16s %-9s %-6s %s\n", "index", "serial", "usb id", "report", "path");
    for (size_t i = 0; i < count && i < sizeof adapters / sizeof adapters[0]; ++i) {
        const TarvixSDK_AdapterInfo* adapter = &adapters[i];
        printf("%-5zu %-16s %04x:%04x %-6zu %s\n", i, adapter->hasSerialNumber ? adapter->serialNumber : "-",
               (unsigned)adapter->vendorId, (unsigned)adapter->productId, adapter->reportSize, adapter->path);
    }
    if (count > sizeof adapters / sizeof adapters[0]) {
        printf("(%zu more not shown)\n", count - sizeof adapters / sizeof adapters[0]);
    }
    return 0;
}
