#include "i3c_test_support.hpp"

#include <algorithm>
#include <functional>

using namespace tarvix_test;

using I3cTransfersAsync = AsyncSessionTest;
using I3cTransfersSync = SyncSessionTest;
using I3cTransfersSyncTimeout = ShortTimeoutSyncSessionTest;

TEST_F(I3cTransfersAsync, SdrRead_SendsRegisterBytesInOrderPaddedToFour)
{
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) {
                  return a.i3cSdrRead(0x0102, 0x08, {0x12, 0x34}, 2, I3cTransferFlags::NONE);
              }),
              (Bytes{0x02, 0x01, 0x08, 0x19, 0x08, 0x01, 0x00, 0x02, 0x12, 0x34, 0x00, 0x00, 0x02, 0x00}));
}

TEST_F(I3cTransfersAsync, LegacyI2cWrite_EmptyRegisterIsFourZerosThenCountAndData)
{
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) {
                  return a.i3cLegacyI2cWrite(1, 0x50, {}, {0xAA, 0xBB}, I3cTransferFlags::NONE);
              }),
              (Bytes{0x01, 0x00, 0x08, 0x19, 0x50, 0x04, 0x00, 0x00, 0, 0, 0, 0, 0x02, 0x00, 0xAA, 0xBB}));
}

TEST_F(I3cTransfersAsync, ModeByte_PutsFlagsInBitsThreeToSevenAndLosesTheRest)
{
    const auto modeOf = [this](std::function<StatusCode(TarvixAsyncSDK&)> issue) { return requestOf(issue).at(5); };
    const auto flags = [](std::uint32_t v) { return static_cast<I3cTransferFlags>(v); };
    EXPECT_EQ(modeOf([&](TarvixAsyncSDK& a) { return a.i3cSdrRead(1, 8, {}, 1, flags(1)); }), 0x09);
    EXPECT_EQ(modeOf([&](TarvixAsyncSDK& a) { return a.i3cSdrRead(1, 8, {}, 1, flags(33)); }), 0x09);
    EXPECT_EQ(modeOf([&](TarvixAsyncSDK& a) { return a.i3cSdrWrite(1, 8, {}, {1}, flags(31)); }), 0xF8);
    EXPECT_EQ(modeOf([&](TarvixAsyncSDK& a) { return a.i3cLegacyI2cRead(1, 8, {}, 1, flags(4)); }), 0x25);
    EXPECT_EQ(modeOf([&](TarvixAsyncSDK& a) { return a.i3cLegacyI2cWrite(1, 8, {}, {1}, flags(2)); }), 0x14);
}

TEST_F(I3cTransfersAsync, HdrDdr_HasNoRegisterFieldSoTheLengthFollowsByteSeven)
{
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) { return a.i3cHdrDdrWrite(3, 0x30, 0x20, {0xA1, 0xA2, 0xA3}); }),
              (Bytes{0x03, 0x00, 0x08, 0x19, 0x30, 0x02, 0x20, 0x00, 0x03, 0x00, 0xA1, 0xA2, 0xA3}));
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) { return a.i3cHdrDdrRead(3, 0x30, 0x9F, 0x0102); }),
              (Bytes{0x03, 0x00, 0x08, 0x19, 0x30, 0x03, 0x9F, 0x00, 0x02, 0x01}));
}

TEST_F(I3cTransfersAsync, Write_CountIsCutTo16BitsWhileAllDataFollows)
{
    Bytes data(0x10002);
    for (std::size_t i = 0; i < data.size(); ++i) {
        data[i] = static_cast<std::uint8_t>(i * 7);
    }
    const Bytes frame = requestOf([&](TarvixAsyncSDK& a) { return a.i3cSdrWrite(1, 8, {}, data, I3cTransferFlags::NONE); });
    ASSERT_EQ(frame.size(), 14 + data.size());
    EXPECT_EQ(frame[12], 0x02);
    EXPECT_EQ(frame[13], 0x00);
    EXPECT_TRUE(std::equal(data.begin(), data.end(), frame.begin() + 14));
}

TEST_F(I3cTransfersAsync, RegisterAddress_FourBytesPassFiveAreRefusedAfterTheConnectionCheck)
{
    const Bytes four{1, 2, 3, 4}, five{1, 2, 3, 4, 5};
    EXPECT_EQ(requestOf([&](TarvixAsyncSDK& a) { return a.i3cSdrWrite(1, 8, four, {}, I3cTransferFlags::NONE); }),
              (Bytes{0x01, 0x00, 0x08, 0x19, 0x08, 0x00, 0x00, 0x04, 1, 2, 3, 4, 0x00, 0x00}));
    adapter().clearRecords();
    const I3cTransferFlags none = I3cTransferFlags::NONE;
    EXPECT_EQ(sdk().i3cSdrRead(1, 8, five, 1, none), StatusCode::INVALID_ARGUMENT);
    EXPECT_EQ(sdk().i3cSdrWrite(1, 8, five, {}, none), StatusCode::INVALID_ARGUMENT);
    EXPECT_EQ(sdk().i3cLegacyI2cRead(1, 8, five, 1, none), StatusCode::INVALID_ARGUMENT);
    EXPECT_EQ(sdk().i3cLegacyI2cWrite(1, 8, five, {}, none), StatusCode::INVALID_ARGUMENT);
    EXPECT_TRUE(adapter().requests().empty());
    sdk().disconnect();
    EXPECT_EQ(sdk().i3cSdrRead(1, 8, five, 1, none), StatusCode::NOT_CONNECTED);
    EXPECT_EQ(sdk().i3cHdrDdrWrite(1, 8, 0x20, {}), StatusCode::NOT_CONNECTED);
}

namespace {

// The three blocking reads decode alike: count (u16 LE) at 8, data from 10.
using BlockingRead = std::function<StatusCode(TarvixSDK&, Bytes&)>;
const std::vector<std::pair<const char*, BlockingRead>> kReads{
    {"SDR", [](TarvixSDK& s, Bytes& d) { return s.i3cSdrRead(8, {0x10}, 4, d, I3cTransferFlags::NONE); }},
    {"legacy I2C", [](TarvixSDK& s, Bytes& d) { return s.i3cLegacyI2cRead(8, {}, 4, d, I3cTransferFlags::NONE); }},
    {"HDR-DDR", [](TarvixSDK& s, Bytes& d) { return s.i3cHdrDdrRead(8, 0x80, 4, d); }},
};

} // namespace

TEST_F(I3cTransfersSync, Reads_TakeCountBytesFromOffsetTen)
{
    answer(kI3cPrivateTransfer, 0, {0xE0, 0xE1, 0x03, 0x00, 1, 2, 3, 0xEE});
    for (const auto& [name, read] : kReads) {
        SCOPED_TRACE(name);
        Bytes data;
        EXPECT_EQ(read(sdk(), data), StatusCode::SUCCESS);
        EXPECT_EQ(data, (Bytes{1, 2, 3}));
    }
}

TEST_F(I3cTransfersSync, Reads_CountZeroEmptiesTheOutputEvenOnDeviceError)
{
    answer(kI3cPrivateTransfer, 0x0011, {0xE0, 0xE1, 0x00, 0x00});
    for (const auto& [name, read] : kReads) {
        SCOPED_TRACE(name);
        Bytes data{9, 9, 9};
        EXPECT_EQ(read(sdk(), data), StatusCode(0x0011));
        EXPECT_TRUE(data.empty());
    }
}

TEST_F(I3cTransfersSync, Reads_TakeAtMostTheBytesThatArrived)
{
    answer(kI3cPrivateTransfer, 0, {0xE0, 0xE1, 0xFF, 0xFF, 1, 2});
    Bytes data;
    EXPECT_EQ(sdk().i3cSdrRead(8, {}, 4, data, I3cTransferFlags::NONE), StatusCode::SUCCESS);
    EXPECT_EQ(data, (Bytes{1, 2}));
}

TEST_F(I3cTransfersSync, Reads_AnswerWithoutCountIsTooShort)
{
    answer(kI3cPrivateTransfer, 0, {0xE0});
    Bytes data{9};
    EXPECT_EQ(sdk().i3cHdrDdrRead(8, 0x80, 4, data), StatusCode::RESPONSE_TOO_SHORT);
    EXPECT_TRUE(data.empty());
}

TEST_F(I3cTransfersSyncTimeout, Reads_WithoutAnswerLeaveTheOutputAlone)
{
    silence(adapter(), kI3cPrivateTransfer);
    Bytes data{9, 9};
    EXPECT_EQ(sdk().i3cSdrRead(8, {}, 4, data, I3cTransferFlags::NONE), StatusCode::NO_RESPONSE);
    EXPECT_EQ(data, (Bytes{9, 9}));
}
