#include "i3c_test_support.hpp"

#include <cstring>

using namespace tarvix_test;

using I3cControllerAsync = AsyncSessionTest;
using I3cControllerSync = SyncSessionTest;
using I3cControllerSyncTimeout = ShortTimeoutSyncSessionTest;

namespace {

I3cTargetInfo sampleTarget(std::uint8_t seed)
{
    I3cTargetInfo t{};
    t.staticAddress = seed;
    t.dynamicAddress = static_cast<std::uint8_t>(seed + 1);
    for (std::uint8_t i = 0; i < 6; ++i) {
        t.pid[i] = static_cast<std::uint8_t>(seed + 0x10 + i);
    }
    t.bcr = 0x26;
    t.dcr = 0xC3;
    t.extraWord1 = 0x1234;
    t.extraWord2 = 0xABCD;
    t.extraByte1 = 0x5A;
    t.extraByte2 = 0xA5;
    return t;
}

// The wire form of sampleTarget(seed).
Bytes sampleRecord(std::uint8_t seed)
{
    Bytes r{seed, static_cast<std::uint8_t>(seed + 1)};
    for (std::uint8_t i = 0; i < 6; ++i) {
        r.push_back(static_cast<std::uint8_t>(seed + 0x10 + i));
    }
    r.insert(r.end(), {0x26, 0xC3, 0x34, 0x12, 0xCD, 0xAB, 0x5A, 0xA5});
    return r;
}

// The record has no padding, so two equal records are equal byte for byte.
bool sameTarget(const I3cTargetInfo& a, const I3cTargetInfo& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

} // namespace

TEST_F(I3cControllerAsync, ControllerSettings_InitAndSetParametersDifferOnlyInByteTwo)
{
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) { return a.i3cControllerInit(0x0102, 1, 2, 3, 4); }),
              (Bytes{0x02, 0x01, 0x01, 0x19, 1, 2, 3, 4}));
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) { return a.i3cSetParameters(0x0102, 1, 2, 3, 4); }),
              (Bytes{0x02, 0x01, 0x02, 0x19, 1, 2, 3, 4}));
}

TEST_F(I3cControllerAsync, InitBus_EmptyListIsCountZeroAlone)
{
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) { return a.i3cInitBus(7, {}); }), (Bytes{0x07, 0x00, 0x04, 0x19, 0x00}));
}

TEST_F(I3cControllerAsync, InitBus_SendsEachRecordFieldByFieldWithLittleEndianWords)
{
    Bytes expected{0x07, 0x00, 0x04, 0x19, 0x02};
    const Bytes first = sampleRecord(0x08), second = sampleRecord(0x40);
    expected.insert(expected.end(), first.begin(), first.end());
    expected.insert(expected.end(), second.begin(), second.end());
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) { return a.i3cInitBus(7, {sampleTarget(0x08), sampleTarget(0x40)}); }),
              expected);
}

TEST_F(I3cControllerAsync, InitBus_CountIsCutToEightBitsWhileEveryRecordFollows)
{
    const std::vector<I3cTargetInfo> targets(257, sampleTarget(0x08));
    const Bytes frame = requestOf([&](TarvixAsyncSDK& a) { return a.i3cInitBus(1, targets); });
    ASSERT_EQ(frame.size(), 5u + 257u * 16u);
    EXPECT_EQ(frame[4], 0x01);
}

TEST_F(I3cControllerAsync, TableAndPatternCommands_HaveTheirFixedFrames)
{
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) { return a.i3cResetBus(7); }), (Bytes{0x07, 0x00, 0x05, 0x19}));
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) { return a.i3cGetDeviceTable(7); }), (Bytes{0x07, 0x00, 0x06, 0x19}));
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) { return a.i3cHdrExitPattern(7); }),
              (Bytes{0x07, 0x00, 0x0A, 0x19, 0x01}));
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) { return a.i3cTargetResetPattern(7); }),
              (Bytes{0x07, 0x00, 0x0A, 0x19, 0x00}));
    I3cTargetConfiguration configuration{};
    configuration.raw = 0xE9; // reserved bits included: the byte goes as given
    EXPECT_EQ(requestOf([&](TarvixAsyncSDK& a) { return a.i3cSetTargetDeviceConfiguration(7, 0x30, configuration); }),
              (Bytes{0x07, 0x00, 0x07, 0x19, 0x30, 0xE9}));
}

TEST_F(I3cControllerSync, ControllerInit_SendsEachSettingAsItsLowByte)
{
    EXPECT_EQ(sdk().i3cControllerInit(static_cast<I3cPushPullRate>(0x1FE), I3cOpenDrainTransferRate::RATE_400_KHZ,
                                      I2cTransferRate::RATE_1_MHZ, I3cDriveStrength::MAXIMUM),
              StatusCode::SUCCESS);
    EXPECT_EQ(withoutTransactionId(lastRequest()), (Bytes{0x01, 0x19, 0xFE, 4, 2, 3}));
}

TEST_F(I3cControllerSync, GetDeviceTable_DecodesEveryFieldOfEveryRecord)
{
    Bytes payload{0x02};
    const Bytes first = sampleRecord(0x08), second = sampleRecord(0x40);
    payload.insert(payload.end(), first.begin(), first.end());
    payload.insert(payload.end(), second.begin(), second.end());
    answer(kI3cGetDeviceTable, 0, payload);
    std::vector<I3cTargetInfo> table;
    EXPECT_EQ(sdk().i3cGetDeviceTable(table), StatusCode::SUCCESS);
    ASSERT_EQ(table.size(), 2u);
    EXPECT_TRUE(sameTarget(table[0], sampleTarget(0x08)));
    EXPECT_TRUE(sameTarget(table[1], sampleTarget(0x40)));
}

TEST_F(I3cControllerSync, GetDeviceTable_CountZeroClearsATableEvenOnDeviceError)
{
    std::vector<I3cTargetInfo> table(3, sampleTarget(1));
    answer(kI3cGetDeviceTable, 0, {0x00});
    EXPECT_EQ(sdk().i3cGetDeviceTable(table), StatusCode::SUCCESS);
    EXPECT_TRUE(table.empty());

    table.assign(3, sampleTarget(1));
    answer(kI3cGetDeviceTable, 0x0042, {0x00});
    EXPECT_EQ(sdk().i3cGetDeviceTable(table), StatusCode(0x0042));
    EXPECT_TRUE(table.empty());
}

TEST_F(I3cControllerSync, GetDeviceTable_ErrorStatusStillReplacesTheTableWithItsRecords)
{
    Bytes payload{0x01};
    const Bytes record = sampleRecord(0x08);
    payload.insert(payload.end(), record.begin(), record.end());
    answer(kI3cGetDeviceTable, 0x0042, payload);
    std::vector<I3cTargetInfo> table;
    EXPECT_EQ(sdk().i3cGetDeviceTable(table), StatusCode(0x0042));
    ASSERT_EQ(table.size(), 1u);
    EXPECT_TRUE(sameTarget(table[0], sampleTarget(0x08)));
}

TEST_F(I3cControllerSync, GetDeviceTable_TakesOnlyTheWholeRecordsThatArrived)
{
    // Five records announced, one and a half sent.
    Bytes payload{0x05};
    const Bytes record = sampleRecord(0x08);
    payload.insert(payload.end(), record.begin(), record.end());
    payload.insert(payload.end(), record.begin(), record.begin() + 8);
    answer(kI3cGetDeviceTable, 0, payload);
    std::vector<I3cTargetInfo> table;
    EXPECT_EQ(sdk().i3cGetDeviceTable(table), StatusCode::SUCCESS);
    ASSERT_EQ(table.size(), 1u);
    EXPECT_TRUE(sameTarget(table[0], sampleTarget(0x08)));
}

TEST_F(I3cControllerSync, GetDeviceTable_AnswerWithoutCountIsTooShort)
{
    std::vector<I3cTargetInfo> table;
    answer(kI3cGetDeviceTable, 0); // the bare acknowledgement
    EXPECT_EQ(sdk().i3cGetDeviceTable(table), StatusCode::RESPONSE_TOO_SHORT);
    EXPECT_TRUE(table.empty());
}

TEST_F(I3cControllerSyncTimeout, GetDeviceTable_WithoutAnswerLeavesTheTableAlone)
{
    silence(adapter(), kI3cGetDeviceTable);
    std::vector<I3cTargetInfo> table(2, sampleTarget(0x08));
    EXPECT_EQ(sdk().i3cGetDeviceTable(table), StatusCode::NO_RESPONSE);
    EXPECT_EQ(table.size(), 2u);
}
