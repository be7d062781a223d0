// Reassembly of input reports into frames, fed with whatever hid_read_timeout may hand over:
// any segment header, any report length, continuations without a first segment, and runs of
// continuations long enough to pass the frame size limit.
//
// Input: byte 0 bit 0 picks the report size (64 or 1024). Then reports, each
//   [control u8][length u16 LE][length bytes]
// where, when control bit 7 is set, bits 0..3 repeat the report 2^n times (n <= 11, so a small
// input can push a frame past Reassembler::kMaxFrameSize). Each report goes to two reassemblers:
// - as the transport does it: copied into one report-sized buffer that is never cleared, of which
//   the whole buffer is handed over (length cut to the report size, 0 = a timeout: nothing);
// - as an exact-size heap copy of any length, so AddressSanitizer sees a read past its end.
// Oracles: every delivered frame is at most kMaxFrameSize bytes and equals what an independent
// model of the segment rules (first bit empties, count bounded by the report, last bit delivers,
// an over-long frame is dropped until the next first segment) predicts.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "fuzz_support.hpp"
#include "transport/segmentation.hpp"

using tarvix_detail::Reassembler;

namespace {

// The segment rules, written from the protocol's description rather than from the code.
class Model {
public:
    bool accept(const std::uint8_t* report, std::size_t size)
    {
        if (size < 2) {
            return false;
        }
        const unsigned header = static_cast<unsigned>(report[0] | (report[1] << 8));
        if (header & 1u) {
            frame_.clear();
            dropping_ = false;
        }
        std::size_t count = (header >> 2) & 0x3FFu;
        if (count > size - 2) {
            count = size - 2;
        }
        if (dropping_ || frame_.size() + count > Reassembler::kMaxFrameSize) {
            frame_.clear();
            dropping_ = true;
            return false;
        }
        frame_.insert(frame_.end(), report + 2, report + 2 + count);
        return (header & 2u) != 0;
    }
    const std::vector<std::uint8_t>& frame() const { return frame_; }

private:
    std::vector<std::uint8_t> frame_;
    bool dropping_ = false;
};

// Sizes are compared at every delivery, contents once per input item (a repeated continuation
// with the last bit delivers a growing frame each time; comparing each would be quadratic). The
// model's frames never pass kMaxFrameSize, so neither may a delivered one.
void check(bool delivered, const Reassembler& reassembler, bool expected, const Model& model, const char* path,
           bool compareBytes)
{
    const std::vector<std::uint8_t>& frame = reassembler.frame();
    if (delivered != expected ||
        (delivered && (frame.size() > Reassembler::kMaxFrameSize || frame.size() != model.frame().size() ||
                       (compareBytes && frame != model.frame())))) {
        std::fprintf(stderr, "%s: delivered=%d (model %d), frame of %zu bytes, the model's of %zu\n", path, delivered,
                     expected, frame.size(), model.frame().size());
        fuzz::fail("reassembly differs from the model's");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 1) {
        return 0;
    }
    const std::size_t reportSize = (data[0] & 1) ? 1024 : 64;

    // Long-lived, as the transport's are, so that their buffers keep their capacity from input to
    // input (a megabyte frame is costly to grow again each time); each input starts them afresh
    // with an empty first-and-last segment.
    static Reassembler asTransport;
    static Model transportModel;
    static Reassembler exact;
    static Model exactModel;
    const std::uint8_t empty[2] = {0x03, 0x00};
    asTransport.accept(empty, sizeof empty);
    transportModel.accept(empty, sizeof empty);
    exact.accept(empty, sizeof empty);
    exactModel.accept(empty, sizeof empty);
    std::vector<std::uint8_t> readBuffer(reportSize, 0); // the reader's buffer: never cleared

    fuzz::Items items(data + 1, size - 1, true);
    unsigned control = 0;
    const std::uint8_t* bytes = nullptr;
    std::size_t length = 0;
    while (items.next(control, bytes, length)) {
        unsigned shift = (control & 0x80u) ? (control & 0x0Fu) : 0u;
        if (shift > 11) {
            shift = 11;
        }
        const std::size_t repeats = std::size_t{1} << shift;
        const fuzz::Block copy(length, bytes); // a read past `length` is a heap overflow
        // What one hid_read_timeout of this report leaves in the reader's buffer.
        const std::size_t read = length < reportSize ? length : reportSize;

        for (std::size_t r = 0; r < repeats; ++r) {
            const bool delivered = exact.accept(copy.get(), length);
            const bool lastRepeat = r + 1 == repeats;
            check(delivered, exact, exactModel.accept(copy.get(), length), exactModel, "exact", lastRepeat);

            if (read > 0) { // 0 bytes read is a timeout: the transport hands nothing over
                std::memcpy(readBuffer.data(), bytes, read);
                const bool got = asTransport.accept(readBuffer.data(), readBuffer.size());
                check(got, asTransport, transportModel.accept(readBuffer.data(), readBuffer.size()), transportModel,
                      "transport", lastRepeat);
            }
        }
    }
    return 0;
}
