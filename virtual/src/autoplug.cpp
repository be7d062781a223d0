// Adapters plugged in at load time, for programs that know nothing of the virtual adapter: run
// an unchanged application with libtarvix-virtual.so preloaded and
//   TARVIX_VIRTUAL_ADAPTERS="TVX-0001,TVX-0002@1024"
// to find one 64-byte adapter with serial TVX-0001 and one 1024-byte adapter with serial
// TVX-0002. An entry "-" (or "-@1024") is an adapter without serial number.
// TARVIX_VIRTUAL_USB_TIMING switches the USB timing model on for all of them; its value is the
// firmware time per command in microseconds (empty: none), e.g. TARVIX_VIRTUAL_USB_TIMING=20.
// TARVIX_VIRTUAL_I3C_TARGETS attaches the same I3C targets to the bus of each of them, a
// comma-separated list of entries PID[:BCR[:DCR]][@STATIC][=DYNAMIC]:
//   TARVIX_VIRTUAL_I3C_TARGETS="0x04A212345678,0x04A2DEADBEEF:0x06:0x44@0x30=0x0A"
// PID is the 48-bit Provisioned ID in hex (0x optional); the other fields are numbers, hex with
// 0x, else decimal. BCR and DCR default to those of I3cTargetConfig (0x02, 0x00); STATIC is the
// static address. A real adapter stays powered between two runs of a program, and its targets
// keep the dynamic addresses a run gave them; DYNAMIC stands for that: the target has this
// dynamic address, and its row in the target table, from the start. A bad entry is reported on
// stderr and skipped.
#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "firmware/i3c.hpp"
#include "registry.hpp"
#include "tarvix_virtual/i3c_bus.hpp"
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

// Calls @p use with each non-empty entry of the comma-separated @p list.
template <class F>
void forEachEntry(const std::string& list, F use)
{
    std::size_t begin = 0;
    while (begin <= list.size()) {
        std::size_t end = list.find(',', begin);
        if (end == std::string::npos) {
            end = list.size();
        }
        if (end > begin) {
            use(list.substr(begin, end - begin));
        }
        begin = end + 1;
    }
}

// -- I3C targets ------------------------------------------------------------------------------

struct I3cTargetEntry {
    std::string text;
    I3cTargetConfig config;
    std::optional<std::uint8_t> dynamicAddress;
};

unsigned long long numberOf(const std::string& text, bool hex, unsigned long long max, const char* what)
{
    const bool prefixed = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const std::string digits = prefixed ? text.substr(2) : text;
    char* end = nullptr;
    const unsigned long long value = std::strtoull(digits.c_str(), &end, hex || prefixed ? 16 : 10);
    // strtoull would also take blanks and signs; a field is digits only.
    const bool digitsOnly = !digits.empty() && std::isxdigit(static_cast<unsigned char>(digits[0])) != 0;
    if (!digitsOnly || *end != '\0' || value > max) {
        throw std::invalid_argument(std::string("bad ") + what + " \"" + text + "\"");
    }
    return value;
}

// The text of the field that starts with @p marker at @p pos (moving @p pos past it), or none
// when the entry has no such field there.
std::optional<std::string> takeField(const std::string& entry, std::size_t& pos, char marker)
{
    if (pos >= entry.size() || entry[pos] != marker) {
        return std::nullopt;
    }
    const std::size_t end = std::min(entry.find_first_of(":@=", pos + 1), entry.size());
    std::string field = entry.substr(pos + 1, end - pos - 1);
    pos = end;
    return field;
}

I3cTargetEntry parseI3cTarget(const std::string& text)
{
    I3cTargetEntry entry{text, {}, std::nullopt};
    I3cTargetConfig& config = entry.config;
    std::size_t pos = std::min(text.find_first_of(":@="), text.size());
    config.pid = numberOf(text.substr(0, pos), true, 0xFFFF'FFFF'FFFFull, "PID");
    if (const auto bcr = takeField(text, pos, ':')) {
        config.bcr = static_cast<std::uint8_t>(numberOf(*bcr, false, 0xFF, "BCR"));
    }
    if (const auto dcr = takeField(text, pos, ':')) {
        config.dcr = static_cast<std::uint8_t>(numberOf(*dcr, false, 0xFF, "DCR"));
    }
    if (const auto address = takeField(text, pos, '@')) {
        config.staticAddress = static_cast<std::uint8_t>(numberOf(*address, false, 0x7F, "static address"));
    }
    if (const auto address = takeField(text, pos, '=')) {
        entry.dynamicAddress = static_cast<std::uint8_t>(numberOf(*address, false, 0x7F, "dynamic address"));
    }
    if (pos != text.size()) {
        throw std::invalid_argument("unexpected \"" + text.substr(pos) + "\"");
    }
    return entry;
}

std::vector<I3cTargetEntry> i3cTargetsFromEnvironment()
{
    std::vector<I3cTargetEntry> targets;
    const char* list = std::getenv("TARVIX_VIRTUAL_I3C_TARGETS");
    if (list == nullptr) {
        return targets;
    }
    forEachEntry(list, [&](const std::string& text) {
        try {
            targets.push_back(parseI3cTarget(text));
        } catch (const std::invalid_argument& error) {
            std::fprintf(stderr,
                         "tarvix-virtual: TARVIX_VIRTUAL_I3C_TARGETS entry \"%s\" is not "
                         "PID[:BCR[:DCR]][@STATIC][=DYNAMIC] (%s); skipped\n",
                         text.c_str(), error.what());
        }
    });
    return targets;
}

// Attaches @p entry's target, with its dynamic address when it has one: given as ENTDAA
// would, so the target table has its row.
void attachI3cTarget(const VirtualAdapter& adapter, const I3cTargetEntry& entry)
{
    auto& core = adapter.impl().core;
    if (entry.dynamicAddress) {
        core.withFirmware([&](detail::FirmwareState& state) {
            if (!detail::isFreeDynamicAddress(state.i3c, *entry.dynamicAddress, nullptr)) {
                throw std::invalid_argument("the dynamic address is reserved or in use");
            }
        });
    }
    I3cBus(adapter).attachTarget(entry.config);
    if (entry.dynamicAddress) {
        core.withFirmware([&](detail::FirmwareState& state) {
            detail::setDynamicAddress(state.i3c, state.i3c.targets.back(), *entry.dynamicAddress);
        });
    }
}

// -- Adapters ---------------------------------------------------------------------------------

void plugEntry(const std::string& entry, const UsbTiming& timing, const std::vector<I3cTargetEntry>& targets)
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
    const VirtualAdapter adapter = attach(config);
    for (const I3cTargetEntry& target : targets) {
        try {
            attachI3cTarget(adapter, target);
        } catch (const std::exception& error) {
            std::fprintf(stderr, "tarvix-virtual: cannot attach I3C target \"%s\" to %s: %s\n", target.text.c_str(),
                         adapter.path().c_str(), error.what());
        }
    }
}

__attribute__((constructor)) void plugAdaptersFromEnvironment()
{
    const char* list = std::getenv("TARVIX_VIRTUAL_ADAPTERS");
    if (list == nullptr) {
        return;
    }
    const UsbTiming timing = timingFromEnvironment();
    const std::vector<I3cTargetEntry> targets = i3cTargetsFromEnvironment();
    forEachEntry(list, [&](const std::string& entry) {
        try {
            plugEntry(entry, timing, targets);
        } catch (const std::exception& error) {
            std::fprintf(stderr, "tarvix-virtual: cannot plug \"%s\": %s\n", entry.c_str(), error.what());
        }
    });
}

} // namespace
} // namespace tarvix_virtual
