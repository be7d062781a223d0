// Adapters plugged in at load time, for programs that know nothing of the virtual adapter: run
// an unchanged application with libtarvix-virtual.so preloaded and
//   TARVIX_VIRTUAL_ADAPTERS="TVX-0001,TVX-0002@1024"
// to find one 64-byte adapter with serial TVX-0001 and one 1024-byte adapter with serial
// TVX-0002. An entry "-" (or "-@1024") is an adapter without serial number.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "tarvix_virtual/virtual_adapter.hpp"

namespace tarvix_virtual {
namespace {

void plugEntry(const std::string& entry)
{
    AdapterConfig config;
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
                plugEntry(entry);
            } catch (const std::exception& error) {
                std::fprintf(stderr, "tarvix-virtual: cannot plug \"%s\": %s\n", entry.c_str(), error.what());
            }
        }
        begin = end + 1;
    }
}

} // namespace
} // namespace tarvix_virtual
