// The typed views of a notification (C++ Notification::gpio() ... uartRx() and the flat
// TarvixSDK_notificationAs*), and the trace line of a frame (describeFrame,
// TarvixSDK_DescribeFrame), on frames of any bytes and any length.
//
// Input: byte 0 picks the record's kind for the hand-made record (0..4 as they stand, any other
// value through the frame's own code), the trace direction (bit 7) and, with byte 1, the
// capacity of the flat trace buffer. The rest is the frame, copied to a heap block of exactly
// its size so that AddressSanitizer sees any read past it.
// Oracles: the views' (fuzz::checkViews); a trace line is NUL-terminated within the capacity,
// its reported length is the length of the whole line, and the flat line is the C++ one cut to
// the buffer.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz_support.hpp"
#include "sync/session.hpp"

using fuzz::expect;

namespace {

void checkTrace(const std::uint8_t* frame, std::size_t length, bool in, std::size_t capacity)
{
    TraceFrame record{};
    record.direction = in ? TraceDirection::IN : TraceDirection::OUT;
    record.data = frame;
    record.length = length;
    const std::string line = describeFrame(record);

    fuzz::Block text(capacity);
    char* buffer = capacity == 0 ? nullptr : reinterpret_cast<char*>(text.get());
    const std::size_t whole = TarvixSDK_DescribeFrame(&record, buffer, capacity);
    expect(whole == line.size(), "flat trace length differs from the C++ line");
    if (capacity > 0) {
        const std::size_t written = std::strlen(buffer); // ASan: must end within the block
        expect(written < capacity && written <= whole, "flat trace line not cut to its buffer");
        expect(line.compare(0, written, buffer) == 0, "flat trace line differs from the C++ line");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 2) {
        return 0;
    }
    const unsigned selector = data[0];
    const std::size_t capacity = ((selector & 0x40) ? 256u : 0u) + data[1];
    const std::size_t length = size - 2;
    // std::vector's block is exactly `length` bytes, as the reassembly buffer's may be.
    const std::vector<std::uint8_t> frame(data + 2, data + size);

    // The record as the session builds it, from the frame's own code.
    const Notification built = tarvix_detail::makeNotification(frame);
    fuzz::checkViews(built);

    // A record of any kind over the same bytes, as a C caller might hand one in.
    Notification made{};
    made.kind = static_cast<NotificationKind>(selector % 5);
    made.data = frame.empty() ? nullptr : frame.data();
    made.length = length;
    if (made.data != nullptr) {
        fuzz::checkViews(made);
    }

    checkTrace(frame.empty() ? nullptr : frame.data(), length, (selector & 0x80) != 0, capacity);
    return 0;
}
