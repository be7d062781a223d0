// The virtual adapter's side of the wire: output reports of any bytes written to an opened
// virtual handle (hid_write), reaching the device core's segment reassembly and every command
// handler of the firmware model, on adapters of several report sizes.
//
// Input: byte 0 picks the report size (8 .. 1025, from a list). Then writes, each
//   [control u8][length u16 LE][length bytes]
// where control % 3 says what the bytes are:
//   0 - a raw write of exactly those bytes (any length, any report ID: mostly refused);
//   1 - one output report: report ID 0 and the bytes as the segment, zero-padded or cut to the
//       report size (lying segment headers included);
//   2 - a request frame, cut into correct segments as the SDK sends it, so that the bytes reach
//       the command handlers whole, whatever their length.
// Each input starts from a power-cycled adapter (settings forgotten, the bench kept), so that a
// finding replays alone. A reset or boot-mode command takes the adapter off the bus; the harness
// plugs it back and opens a fresh handle, as a host would after a re-enumeration.
// Oracles: the sanitizers, and afterwards a well-formed GET_USB_STRING request on a fresh frame
// gets its own answer (transaction id, code, status 0, the manufacturer string).
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <hidapi.h>
#include <tarvix_virtual/virtual_adapter.hpp>

#include "fuzz_support.hpp"
#include "transport/segmentation.hpp"

namespace tv = tarvix_virtual;

namespace {

constexpr std::size_t kReportSizes[] = {64, 1024, 8, 9, 16, 63, 65, 100, 512, 1023, 1025};
using fuzz::kManufacturer;

struct Bench {
    tv::VirtualAdapter adapter;
    hid_device* handle = nullptr;
};

Bench& bench(std::size_t reportSize)
{
    // Never destroyed, like the virtual adapter's registry: the handles stay open to the end.
    static auto* const benches = new std::map<std::size_t, std::unique_ptr<Bench>>;
    std::unique_ptr<Bench>& slot = (*benches)[reportSize];
    if (!slot) {
        tv::AdapterConfig config;
        config.reportSize = reportSize;
        config.path = "fuzz/firmware/" + std::to_string(reportSize);
        config.serialNumber = L"FUZZ-" + std::to_wstring(reportSize);
        config.manufacturer = kManufacturer;
        config.restartTime = std::chrono::milliseconds(0); // back at once after a reset command
        slot.reset(new Bench{tv::attach(config), nullptr});
        slot->adapter.setRecording(false);
    }
    return *slot;
}

// Opens a handle that works: a reset or boot-mode command leaves earlier handles dead for good.
void reopen(Bench& b)
{
    if (b.handle != nullptr) {
        hid_close(b.handle);
        b.handle = nullptr;
    }
    if (!b.adapter.plugged()) {
        b.adapter.replug();
    }
    b.handle = hid_open_path(b.adapter.path().c_str());
    if (b.handle == nullptr) {
        fuzz::fail("cannot open the virtual adapter");
    }
}

void drain(hid_device* handle, std::size_t reportSize)
{
    std::vector<unsigned char> report(reportSize);
    while (hid_read_timeout(handle, report.data(), report.size(), 0) > 0) {}
}

// Writes one frame as the SDK would: segments of at most reportSize - 2 bytes, each in one
// zero-padded output report with report ID 0. False when a write was refused.
bool writeFrame(hid_device* handle, std::size_t reportSize, const std::uint8_t* frame, std::size_t size)
{
    const std::size_t capacity = reportSize - 2;
    std::vector<std::vector<std::uint8_t>> segments;
    tarvix_detail::ReportSegmenter(reportSize).segment(frame, size, segments);
    bool ok = true;
    for (const std::vector<std::uint8_t>& segment : segments) {
        std::vector<unsigned char> report(reportSize + 1, 0);
        std::memcpy(report.data() + 1, segment.data(), std::min(segment.size(), capacity + 2));
        ok = hid_write(handle, report.data(), report.size()) >= 0 && ok;
    }
    return ok;
}

[[noreturn]] void fail(std::size_t reportSize, const char* what)
{
    std::fprintf(stderr, "report size %zu\n", reportSize);
    fuzz::fail(what);
}

// A well-formed request after the input must get its own answer.
void probe(Bench& b, std::size_t reportSize)
{
    static std::uint16_t tid = 0x7000;
    tid = static_cast<std::uint16_t>(tid == 0x7FFF ? 0x7000 : tid + 1);
    const std::uint8_t request[] = {static_cast<std::uint8_t>(tid & 0xFF), static_cast<std::uint8_t>(tid >> 8), 0x07,
                                    0x04, 0x01};
    drain(b.handle, reportSize);
    if (!writeFrame(b.handle, reportSize, request, sizeof request)) {
        reopen(b); // the input's last command took the adapter off the bus
        if (!writeFrame(b.handle, reportSize, request, sizeof request)) {
            fail(reportSize, "a fresh handle refuses a well-formed request");
        }
    }
    tarvix_detail::Reassembler reassembler;
    std::vector<unsigned char> report(reportSize);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (std::chrono::steady_clock::now() < deadline) {
        const int n = hid_read_timeout(b.handle, report.data(), report.size(), 50);
        if (n < 0) {
            fail(reportSize, "the handle failed while waiting for the probe's answer");
        }
        if (n == 0 || !reassembler.accept(report.data(), report.size())) {
            continue;
        }
        const std::vector<std::uint8_t>& frame = reassembler.frame();
        if (frame.size() < 4 || frame[0] != request[0] || frame[1] != request[1]) {
            continue; // a notification, or a late answer to the input
        }
        const std::size_t textLength = sizeof kManufacturer - 1;
        if (frame.size() != 7 + textLength || frame[2] != 0x07 || frame[3] != 0x04 || frame[4] != 0 || frame[5] != 0 ||
            frame[6] != textLength + 1 || std::memcmp(frame.data() + 7, kManufacturer, textLength) != 0) {
            fail(reportSize, "the probe's answer is not the manufacturer string");
        }
        return;
    }
    fail(reportSize, "no answer to a well-formed request within 2 s");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 1) {
        return 0;
    }
    const std::size_t reportSize = kReportSizes[data[0] % (sizeof kReportSizes / sizeof kReportSizes[0])];
    Bench& b = bench(reportSize);
    if (b.handle == nullptr) {
        reopen(b);
    }
    b.adapter.replug(); // power cycle: each input starts from the same firmware state

    fuzz::Items items(data + 1, size - 1, true);
    unsigned control = 0;
    const std::uint8_t* bytes = nullptr;
    std::size_t length = 0;
    while (items.next(control, bytes, length)) {
        switch (control % 3) {
        case 0: {
            // Exact-size block: the adapter must not read past what hid_write was given.
            const fuzz::Block raw(length, bytes);
            hid_write(b.handle, raw.get(), length);
            break;
        }
        case 1: {
            std::vector<unsigned char> report(reportSize + 1, 0);
            std::memcpy(report.data() + 1, bytes, std::min(length, reportSize));
            hid_write(b.handle, report.data(), report.size());
            break;
        }
        default: writeFrame(b.handle, reportSize, bytes, length); break;
        }
        // Answers pile up in the handle's queue (a bounded list); empty it as a reader would.
        drain(b.handle, reportSize);
    }
    probe(b, reportSize);
    return 0;
}
