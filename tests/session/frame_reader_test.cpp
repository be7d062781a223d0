// The bounds-checked reading of response frames that every blocking method decodes with.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "sync/frame_reader.hpp"

namespace {

using Bytes = std::vector<std::uint8_t>;
using tarvix_detail::FrameReader;

TEST(FrameReader, CallsAFrameWithoutStatusOrWithoutItsFieldsTooShort)
{
    const Bytes noStatus{0x01, 0x00, 0x03, 0x14, 0x00};
    EXPECT_EQ(FrameReader(noStatus).result(), StatusCode::RESPONSE_TOO_SHORT);

    // A missing field reads as 0 and turns a status 0 into RESPONSE_TOO_SHORT ...
    const Bytes success{0x01, 0x00, 0x03, 0x14, 0x00, 0x00, 0x05};
    const FrameReader reader(success);
    EXPECT_EQ(reader.u16(6), 0x0005);
    EXPECT_EQ(reader.result(), StatusCode::RESPONSE_TOO_SHORT);

    // ... but a device error is passed on as it is.
    const Bytes failure{0x01, 0x00, 0x03, 0x14, 0x07, 0x00};
    const FrameReader failed(failure);
    EXPECT_EQ(failed.u8(6), 0);
    EXPECT_EQ(failed.result(), static_cast<StatusCode>(0x0007));
}

TEST(FrameReader, CutsByteRangesToWhatArrived)
{
    const Bytes frame{0x01, 0x00, 0x03, 0x14, 0x00, 0x00, 0xA0, 0xA1, 0xA2};
    const FrameReader reader(frame);
    Bytes out{9, 9};
    reader.bytes(7, 100, out);
    EXPECT_EQ(out, (Bytes{0xA1, 0xA2}));
    reader.bytes(50, 4, out);
    EXPECT_EQ(out, Bytes{});
    // Variable data does not count as a missing field.
    EXPECT_EQ(reader.result(), StatusCode::SUCCESS);
}

} // namespace
