// Found by fuzz_notifications: the trace line of a hot-join notification that ends before its
// status (4 or 5 bytes) read the six "pid" bytes from frame offset 6 onward, past the end of the
// frame. Each frame below lives in a block of exactly its size, so AddressSanitizer reports the
// read; without it the line shows bytes that are not in the frame.
#include <gtest/gtest.h>

#include <tarvixsdk/tarvixsdk.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace {

std::string describeIn(const std::vector<std::uint8_t>& bytes)
{
    // A heap block of exactly the frame's size: nothing readable follows it.
    std::unique_ptr<std::uint8_t[]> frame(new std::uint8_t[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), frame.get());
    TraceFrame record{};
    record.direction = TraceDirection::IN;
    record.data = frame.get();
    record.length = bytes.size();
    return describeFrame(record);
}

// The frames found (hot-join, 4 and 5 bytes) show exactly this line; every other notification
// code with a layout ends early likewise, showing no field.
TEST(FrameTextRegression, NotificationWithoutStatusEndsEarlyWithoutReadingPastTheFrame)
{
    EXPECT_EQ(describeIn({0x00, 0x00, 0x82, 0x19}), "IN I3C_HOT_JOIN 0x1982 notification (frame ends early)");
    EXPECT_EQ(describeIn({0x00, 0x00, 0x82, 0x19, 0x00}), "IN I3C_HOT_JOIN 0x1982 notification (frame ends early)");
    const std::uint8_t highs[] = {0x10, 0x14, 0x19};
    const std::uint8_t lows[] = {0x81, 0x82};
    for (const std::uint8_t high : highs) {
        for (const std::uint8_t low : lows) {
            for (std::size_t length = 4; length < 6; ++length) {
                std::vector<std::uint8_t> frame{0x00, 0x00, low, high, 0x00};
                frame.resize(length);
                const std::string line = describeIn(frame);
                if (line.find(" NOTIFICATION ") == std::string::npos) { // a code with a layout
                    EXPECT_NE(line.find("(frame ends early)"), std::string::npos) << line;
                    EXPECT_EQ(line.find('='), std::string::npos) << line;
                }
            }
        }
    }
}

} // namespace
