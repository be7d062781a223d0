// Segmentation of frames into HID reports and their reassembly. These reach internal pieces,
// so they link the library's objects; the reports on the wire are checked in transport_test.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "transport/segmentation.hpp"

namespace {

using Bytes = std::vector<std::uint8_t>;
using tarvix_detail::Reassembler;
using tarvix_detail::ReportSegmenter;

Bytes pattern(std::size_t size, std::uint8_t seed = 1)
{
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<std::uint8_t>(seed + i * 7);
    }
    return bytes;
}

std::uint16_t headerOf(const Bytes& segment)
{
    return static_cast<std::uint16_t>(segment[0] | segment[1] << 8);
}

// An input report of `reportSize` bytes: header, then `bytes`, then zeros.
Bytes inputReport(std::uint16_t header, const Bytes& bytes, std::size_t reportSize = 64)
{
    Bytes report(reportSize, 0);
    report[0] = static_cast<std::uint8_t>(header);
    report[1] = static_cast<std::uint8_t>(header >> 8);
    std::copy(bytes.begin(), bytes.end(), report.begin() + 2);
    return report;
}

struct SegmentCase {
    std::size_t reportSize;
    std::size_t frameSize;
    std::vector<std::uint16_t> headers;
};

TEST(ReportSegmenter, CutsFramesAtTheSegmentCapacity)
{
    const SegmentCase cases[] = {
        {64, 62, {0x00FB}},
        {64, 63, {0x00F9, 0x0006}},
        {64, 124, {0x00F9, 0x00FA}},
        {64, 125, {0x00F9, 0x00F8, 0x0006}},
        {1024, 1022, {0x0FFB}},
        {1024, 1023, {0x0FF9, 0x0006}},
        {64, 0, {}},
    };
    // One list reused across frames, as the link does: a short frame after a long one must not
    // leave stale segments behind.
    std::vector<Bytes> segments(5, Bytes(3, 0xEE));
    for (const SegmentCase& c : cases) {
        SCOPED_TRACE(testing::Message() << c.frameSize << " bytes in " << c.reportSize << "-byte reports");
        const Bytes frame = pattern(c.frameSize);
        ReportSegmenter(c.reportSize).segment(frame.data(), frame.size(), segments);
        std::vector<std::uint16_t> headers;
        Bytes joined;
        for (const Bytes& segment : segments) {
            ASSERT_GE(segment.size(), 2u);
            headers.push_back(headerOf(segment));
            EXPECT_EQ(segment.size() - 2, static_cast<std::size_t>(headerOf(segment) >> 2));
            joined.insert(joined.end(), segment.begin() + 2, segment.end());
        }
        EXPECT_EQ(headers, c.headers);
        EXPECT_EQ(joined, frame);
    }
}

TEST(Reassembler, DeliversOnTheLastSegmentAndKeepsTheFrameUntilTheNextFirst)
{
    Reassembler reassembler;
    EXPECT_FALSE(reassembler.accept(inputReport(0x0009, {1, 2}).data(), 64)); // first, 2 bytes
    EXPECT_FALSE(reassembler.accept(inputReport(0x0004, {3}).data(), 64));    // middle, 1 byte
    EXPECT_TRUE(reassembler.accept(inputReport(0x000A, {4, 5}).data(), 64));  // last, 2 bytes
    EXPECT_EQ(reassembler.frame(), (Bytes{1, 2, 3, 4, 5}));

    // A continuation without a first segment joins what the buffer still holds.
    EXPECT_TRUE(reassembler.accept(inputReport(0x0006, {6}).data(), 64));
    EXPECT_EQ(reassembler.frame(), (Bytes{1, 2, 3, 4, 5, 6}));

    // A first segment starts over; the high nibble of the header is ignored.
    EXPECT_TRUE(reassembler.accept(inputReport(0xF00B, {9, 8}).data(), 64));
    EXPECT_EQ(reassembler.frame(), (Bytes{9, 8}));
}

TEST(Reassembler, BoundsALyingByteCountByTheReport)
{
    Reassembler reassembler;
    Bytes report = inputReport(0x0FFF, pattern(62)); // claims 1023 bytes in a 64-byte report
    ASSERT_TRUE(reassembler.accept(report.data(), report.size()));
    EXPECT_EQ(reassembler.frame(), pattern(62));
}

TEST(Reassembler, DropsAFrameLargerThanTheLimitAndRecoversAtTheNextFirstSegment)
{
    constexpr std::size_t kReport = 1024;
    Reassembler reassembler;
    // A first segment, then middles of 1022 bytes up to `size`, then a last one: delivered?
    const auto feed = [&](std::size_t size) {
        reassembler.accept(inputReport(0x0FF9, pattern(1022), kReport).data(), kReport);
        std::size_t total = 1022;
        for (; size - total > 1022; total += 1022) {
            reassembler.accept(inputReport(0x0FF8, pattern(1022), kReport).data(), kReport);
        }
        const auto last = static_cast<std::uint16_t>((size - total) << 2 | 2);
        return reassembler.accept(inputReport(last, pattern(1022), kReport).data(), kReport);
    };
    EXPECT_TRUE(feed(Reassembler::kMaxFrameSize));
    EXPECT_EQ(reassembler.frame().size(), Reassembler::kMaxFrameSize);
    EXPECT_FALSE(feed(Reassembler::kMaxFrameSize + 1));
    EXPECT_FALSE(reassembler.accept(inputReport(0x0006, {1}, kReport).data(), kReport));

    EXPECT_TRUE(reassembler.accept(inputReport(0x000B, {7, 7}, kReport).data(), kReport));
    EXPECT_EQ(reassembler.frame(), (Bytes{7, 7}));
}

} // namespace
