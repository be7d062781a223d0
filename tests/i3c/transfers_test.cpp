#include <sdk_fixture.hpp>

#include <algorithm>
#include <functional>

using namespace tarvix_test;

using I3cTransfersAsync = AsyncSessionTest;
using I3cTransfersSync = SyncSessionTest;

namespace {

using A = TarvixAsyncSDK;
constexpr auto kNone = I3cTransferFlags::NONE;
I3cTransferFlags flags(std::uint32_t v)
{
    return static_cast<I3cTransferFlags>(v);
}

} // namespace

TEST_F(I3cTransfersAsync, PrivateTransfers_SendAddressModeRegisterAndLength)
{
    // clang-format off
    const struct {
        const char* name;
        std::function<StatusCode(A&)> send;
        Bytes frame;
    } cases[] = {
        {"SDR read: register bytes in order, padded to four",
         [](A& a) { return a.i3cSdrRead(0x0102, 0x08, {0x12, 0x34}, 2, kNone); },
         {0x02, 0x01, 0x08, 0x19, 0x08, 0x01, 0x00, 0x02, 0x12, 0x34, 0x00, 0x00, 0x02, 0x00}},
        {"SDR write: four register bytes", [](A& a) { return a.i3cSdrWrite(1, 8, {1, 2, 3, 4}, {}, kNone); },
         {0x01, 0x00, 0x08, 0x19, 0x08, 0x00, 0x00, 0x04, 1, 2, 3, 4, 0x00, 0x00}},
        {"legacy write: empty register is four zeros", [](A& a) { return a.i3cLegacyI2cWrite(1, 0x50, {}, {0xAA, 0xBB}, kNone); },
         {0x01, 0x00, 0x08, 0x19, 0x50, 0x04, 0x00, 0x00, 0, 0, 0, 0, 0x02, 0x00, 0xAA, 0xBB}},
        // HDR-DDR has no register field: the length follows byte seven.
        {"HDR-DDR write", [](A& a) { return a.i3cHdrDdrWrite(3, 0x30, 0x20, {0xA1, 0xA2, 0xA3}); },
         {0x03, 0x00, 0x08, 0x19, 0x30, 0x02, 0x20, 0x00, 0x03, 0x00, 0xA1, 0xA2, 0xA3}},
        {"HDR-DDR read", [](A& a) { return a.i3cHdrDdrRead(3, 0x30, 0x9F, 0x0102); },
         {0x03, 0x00, 0x08, 0x19, 0x30, 0x03, 0x9F, 0x00, 0x02, 0x01}},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(requestOf(c.send), c.frame);
    }
    // The mode byte carries the flags in bits 3 to 7; higher flag bits are lost.
    const auto modeOf = [this](std::function<StatusCode(A&)> issue) { return requestOf(issue).at(5); };
    EXPECT_EQ(modeOf([](A& a) { return a.i3cSdrRead(1, 8, {}, 1, flags(1)); }), 0x09);
    EXPECT_EQ(modeOf([](A& a) { return a.i3cSdrRead(1, 8, {}, 1, flags(33)); }), 0x09);
    EXPECT_EQ(modeOf([](A& a) { return a.i3cSdrWrite(1, 8, {}, {1}, flags(31)); }), 0xF8);
    EXPECT_EQ(modeOf([](A& a) { return a.i3cLegacyI2cRead(1, 8, {}, 1, flags(4)); }), 0x25);
    EXPECT_EQ(modeOf([](A& a) { return a.i3cLegacyI2cWrite(1, 8, {}, {1}, flags(2)); }), 0x14);
}

TEST_F(I3cTransfersSync, Reads_TakeAtMostCountBytesFromOffsetTenAndEmptyTheOutputOtherwise)
{
    // The three blocking reads decode alike: count (u16 LE) at 8, data from 10.
    using BlockingRead = std::function<StatusCode(TarvixSDK&, Bytes&)>;
    const std::pair<const char*, BlockingRead> reads[] = {
        {"SDR", [](TarvixSDK& s, Bytes& d) { return s.i3cSdrRead(8, {0x10}, 4, d, kNone); }},
        {"legacy I2C", [](TarvixSDK& s, Bytes& d) { return s.i3cLegacyI2cRead(8, {}, 4, d, kNone); }},
        {"HDR-DDR", [](TarvixSDK& s, Bytes& d) { return s.i3cHdrDdrRead(8, 0x80, 4, d); }},
    };
    for (const auto& [name, read] : reads) {
        SCOPED_TRACE(name);
        Bytes data{9, 9, 9};
        answer(tv::codes::I3C_PRIVATE_TRANSFER, 0, {0xE0, 0xE1, 0x03, 0x00, 1, 2, 3, 0xEE});
        EXPECT_EQ(read(sdk(), data), StatusCode::SUCCESS);
        EXPECT_EQ(data, (Bytes{1, 2, 3}));
        // A count beyond the bytes that arrived: those bytes, but the answer is too short.
        answer(tv::codes::I3C_PRIVATE_TRANSFER, 0, {0xE0, 0xE1, 0xFF, 0xFF, 1, 2});
        EXPECT_EQ(read(sdk(), data), StatusCode::RESPONSE_TOO_SHORT);
        EXPECT_EQ(data, (Bytes{1, 2}));
        answer(tv::codes::I3C_PRIVATE_TRANSFER, 0x0011, {0xE0, 0xE1, 0x05, 0x00, 1, 2});
        EXPECT_EQ(read(sdk(), data), StatusCode(0x0011));
        EXPECT_EQ(data, (Bytes{1, 2}));
        answer(tv::codes::I3C_PRIVATE_TRANSFER, 0x0011, {0xE0, 0xE1, 0x00, 0x00});
        EXPECT_EQ(read(sdk(), data), StatusCode(0x0011));
        EXPECT_TRUE(data.empty());
        data = {9};
        answer(tv::codes::I3C_PRIVATE_TRANSFER, 0, {0xE0});
        EXPECT_EQ(read(sdk(), data), StatusCode::RESPONSE_TOO_SHORT);
        EXPECT_TRUE(data.empty());
    }
}
