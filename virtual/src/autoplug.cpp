// Adapters plugged in at load time, for programs that know nothing of the virtual adapter: run
// an unchanged application with libtarvix-virtual.so preloaded and
//   TARVIX_VIRTUAL_ADAPTERS="TVX-0001,TVX-0002@1024"
// to find one 64-byte adapter with serial TVX-0001 and one 1024-byte adapter with serial
// TVX-0002. An entry "-" (or "-@1024") is an adapter without serial number.
// TARVIX_VIRTUAL_USB_TIMING switches the USB timing model on for all of them; its value is the
// firmware time per command in microseconds (empty: none), e.g. TARVIX_VIRTUAL_USB_TIMING=20.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "tarvix_virtual/virtual_adapter.hpp"

namespace tarvix_virtual {
namespace {

UsbTiming timingFromEnvironment()
{
    UsbTiming timing;
    const char* value = std::getenv("TARVIX_VIRTUAL_USB_TIMING");
    if (value == nullptr) {
        return timing;
    }
    timing.enabled = true;
    char* end = nullptr;
    const unsigned long long micros = std::strtoull(value, &end, 10);
    if (*value != '\0' && (end == value || *end != '\0' || micros > 1000000)) {
        std::fprintf(stderr,
                     "tarvix-virtual: TARVIX_VIRTUAL_USB_TIMING=\"%s\" is not a firmware time in microseconds "
                     "(0..1000000); using 0\n",
                     value);
        return timing;
    }
    timing.firmwareTime = std::chrono::microseconds(micros);
    return timing;
}

void plugEntry(const std::string& entry, const UsbTiming& timing)
{
    AdapterConfig config;
    config.usbTiming = timing;
    std::string serial = entry;
    const std::size_t at = entry.find('@');
    if (at != std::string::npos) {
        serial = entry.substr(0, at);
        if (entry.substr(at + 1) == "1024") {
            config.productId = 0x82FD;
        }
    }
    if (serial != "-") {
        config.serialNumber = std::wstring(serial.begin(), serial.end());
    }
    attach(config);
}

__attribute__((constructor)) void plugAdaptersFromEnvironment()
{
    const char* list = std::getenv("TARVIX_VIRTUAL_ADAPTERS");
    if (list == nullptr) {
        return;
    }
    const UsbTiming timing = timingFromEnvironment();
    std::string text(list);
    std::size_t begin = 0;
    while (begin <= text.size()) {
        std::size_t end = text.find(',', begin);
        if (end == std::string::npos) {
            end = text.size();
        }
        const std::string entry = text.substr(begin, end - begin);
        if (!entry.empty()) {
            try {
                plugEntry(entry, timing);
            } catch (const std::exception& error) {
                std::fprintf(stderr, "tarvix-virtual: cannot plug \"%s\": %s\n", entry.c_str(), error.what());
            }
        }
        begin = end + 1;
    }
}

} // namespace
} // namespace tarvix_virtual
