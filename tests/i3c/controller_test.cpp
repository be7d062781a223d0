#include <sdk_fixture.hpp>

#include <cstring>

using namespace tarvix_test;

using I3cControllerAsync = AsyncSessionTest;
using I3cControllerSync = SyncSessionTest;

namespace {

I3cTargetInfo sampleTarget(std::uint8_t seed)
{
    I3cTargetInfo t{seed, static_cast<std::uint8_t>(seed + 1), {}, 0x26, 0xC3, 0x1234, 0xABCD, 0x5A, 0xA5};
    for (std::uint8_t i = 0; i < 6; ++i) {
        t.pid[i] = static_cast<std::uint8_t>(seed + 0x10 + i);
    }
    return t;
}

// The wire form of sampleTarget(seed) for each seed, after `head`.
Bytes sampleRecords(Bytes head, std::initializer_list<std::uint8_t> seeds)
{
    for (const std::uint8_t seed : seeds) {
        head.insert(head.end(), {seed, static_cast<std::uint8_t>(seed + 1)});
        for (std::uint8_t i = 0; i < 6; ++i) {
            head.push_back(static_cast<std::uint8_t>(seed + 0x10 + i));
        }
        head.insert(head.end(), {0x26, 0xC3, 0x34, 0x12, 0xCD, 0xAB, 0x5A, 0xA5});
    }
    return head;
}

// The record has no padding, so two equal records are equal byte for byte.
bool sameTarget(const I3cTargetInfo& a, const I3cTargetInfo& b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}

} // namespace

TEST_F(I3cControllerAsync, ControllerCommands_HaveTheirFixedFrames)
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

TEST_F(I3cControllerAsync, InitBus_SendsTheCountThenEveryRecordWithLittleEndianWords)
{
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) { return a.i3cInitBus(7, {}); }), (Bytes{0x07, 0x00, 0x04, 0x19, 0x00}));
    EXPECT_EQ(requestOf([](TarvixAsyncSDK& a) {
                  return a.i3cInitBus(7, {sampleTarget(0x08), sampleTarget(0x40)});
              }),
              sampleRecords({0x07, 0x00, 0x04, 0x19, 0x02}, {0x08, 0x40}));
}

TEST_F(I3cControllerSync, GetDeviceTable_ReplacesTheTableWithTheWholeRecordsThatArrivedWhateverTheStatus)
{
    const Bytes two = sampleRecords({0x05}, {0x08, 0x08}); // five announced
    constexpr auto kTooShort = static_cast<std::uint16_t>(StatusCode::RESPONSE_TOO_SHORT);
    struct Case {
        const char* name;
        std::uint16_t status;
        Bytes payload;
        std::vector<std::uint8_t> seeds;
        std::uint16_t result;
    } cases[] = {
        {"two records", 0, sampleRecords({0x02}, {0x08, 0x40}), {0x08, 0x40}, 0},
        {"count zero", 0, {0x00}, {}, 0},
        {"count zero on device error", 0x0042, {0x00}, {}, 0x0042},
        {"record on device error", 0x0042, sampleRecords({0x01}, {0x08}), {0x08}, 0x0042},
        // Fewer whole records than announced: what arrived, but never a success.
        {"one and a half of five", 0, Bytes(two.begin(), two.end() - 8), {0x08}, kTooShort},
        {"two of five on device error", 0x0042, two, {0x08, 0x08}, 0x0042},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        answer(tv::codes::I3C_GET_DEVICE_TABLE, c.status, c.payload);
        std::vector<I3cTargetInfo> table(3, sampleTarget(1));
        EXPECT_EQ(sdk().i3cGetDeviceTable(table), StatusCode(c.result));
        ASSERT_EQ(table.size(), c.seeds.size());
        for (std::size_t i = 0; i < table.size(); ++i) {
            EXPECT_TRUE(sameTarget(table[i], sampleTarget(c.seeds[i]))) << "record " << i;
        }
    }
    std::vector<I3cTargetInfo> table(2, sampleTarget(1));
    answer(tv::codes::I3C_GET_DEVICE_TABLE, 0); // the bare acknowledgement, without a count
    EXPECT_EQ(sdk().i3cGetDeviceTable(table), StatusCode::RESPONSE_TOO_SHORT);
    EXPECT_TRUE(table.empty());
}
