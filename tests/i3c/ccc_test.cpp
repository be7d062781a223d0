#include <sdk_fixture.hpp>

#include <functional>

using namespace tarvix_test;

using I3cCccAsync = AsyncSessionTest;
using I3cCccSync = SyncSessionTest;

namespace {

constexpr auto W = I3cTransferDirection::WRITE;
constexpr auto R = I3cTransferDirection::READ;
constexpr auto SDR = I3cTransferMode::SDR;
constexpr auto NoDef = I3cCccType::WITHOUT_DEFINING_BYTE;
constexpr auto Def = I3cCccType::WITH_DEFINING_BYTE;

using A = TarvixAsyncSDK;
using S = TarvixSDK;
using Reset = I3cTargetResetDefByte;

// One named CCC sent with transaction id 5, and the frame it must produce after the id and
// command code: address, flags, length, code, defining byte, data. The blocking forms go through
// the same builders; their decoding has its own tests below.
struct CccCase {
    std::function<StatusCode(A&)> send;
    Bytes frame;
};

// clang-format off
const std::vector<CccCase> kCccCases{
    // Broadcast writes go to 0x7E; direct ones to the target's address, unshifted.
    // ENEC/DISEC broadcast: events in the defining byte.
    {[](A& a) { return a.i3cCccENECBroadcast(5, 0x09); }, {0x7E, 0x10, 0x01, 0x00, 0x09}},
    {[](A& a) { return a.i3cCccDISECBroadcast(5, 0x0B); }, {0x7E, 0x10, 0x01, 0x01, 0x0B}},
    {[](A& a) { return a.i3cCccENTAS0Broadcast(5); }, {0x7E, 0x00, 0x00, 0x02, 0x00}},
    {[](A& a) { return a.i3cCccENTAS1Broadcast(5); }, {0x7E, 0x00, 0x00, 0x03, 0x00}},
    {[](A& a) { return a.i3cCccENTAS2Broadcast(5); }, {0x7E, 0x00, 0x00, 0x04, 0x00}},
    {[](A& a) { return a.i3cCccENTAS3Broadcast(5); }, {0x7E, 0x00, 0x00, 0x05, 0x00}},
    {[](A& a) { return a.i3cCccRSTDAA(5); }, {0x7E, 0x00, 0x00, 0x06, 0x00}},
    {[](A& a) { return a.i3cCccENTDAA(5); }, {0x7E, 0x00, 0x00, 0x07, 0x00}},
    // SETMWL/SETMRL: big-endian lengths, IBI size optional.
    {[](A& a) { return a.i3cCccSETMWLBroadcast(5, 0x0102); }, {0x7E, 0x00, 0x02, 0x09, 0x00, 0x01, 0x02}},
    {[](A& a) { return a.i3cCccSETMRLBroadcast(5, 0x0100, 0x20); }, {0x7E, 0x00, 0x03, 0x0A, 0x00, 0x01, 0x00, 0x20}},
    {[](A& a) { return a.i3cCccSETMRLBroadcast(5, 0x0100); }, {0x7E, 0x00, 0x02, 0x0A, 0x00, 0x01, 0x00}},
    {[](A& a) { return a.i3cCccSETBUSCONBroadcast(5, 0x11, Bytes{1, 2}); }, {0x7E, 0x00, 0x03, 0x0C, 0x00, 0x11, 1, 2}},
    {[](A& a) { return a.i3cCccSETBUSCONBroadcast(5, 0x11); }, {0x7E, 0x00, 0x01, 0x0C, 0x00, 0x11}},
    {[](A& a) { return a.i3cCccSETXTIMEBroadcast(5, 0xDF, Bytes{0x05}); }, {0x7E, 0x00, 0x02, 0x28, 0x00, 0xDF, 0x05}},
    // SETAASA: length is the data size.
    {[](A& a) { return a.i3cCccSETAASA(5, {0x10, 0x20, 0x30}); }, {0x7E, 0x00, 0x03, 0x29, 0x00, 0x10, 0x20, 0x30}},
    // RSTACT broadcast: length 1, no data.
    {[](A& a) { return a.i3cCccRSTACTBroadcast(5, Reset::RESET_WHOLE_TARGET); }, {0x7E, 0x10, 0x01, 0x2A, 0x02}},
    {[](A& a) { return a.i3cCccRSTGRPABroadcast(5); }, {0x7E, 0x00, 0x00, 0x2C, 0x00}},
    // ENEC/DISEC direct: events as data.
    {[](A& a) { return a.i3cCccENECDirect(5, 0x30, 0x09); }, {0x30, 0x00, 0x01, 0x80, 0x00, 0x09}},
    {[](A& a) { return a.i3cCccDISECDirect(5, 0x30, 0x0B); }, {0x30, 0x00, 0x01, 0x81, 0x00, 0x0B}},
    {[](A& a) { return a.i3cCccENTAS0Direct(5, 0x30); }, {0x30, 0x00, 0x00, 0x82, 0x00}},
    {[](A& a) { return a.i3cCccENTAS1Direct(5, 0x30); }, {0x30, 0x00, 0x00, 0x83, 0x00}},
    {[](A& a) { return a.i3cCccENTAS2Direct(5, 0x30); }, {0x30, 0x00, 0x00, 0x84, 0x00}},
    {[](A& a) { return a.i3cCccENTAS3Direct(5, 0x30); }, {0x30, 0x00, 0x00, 0x85, 0x00}},
    // SETDASA goes to the static address; new dynamic addresses are shifted left.
    {[](A& a) { return a.i3cCccSETDASA(5, 0x50, 0x0A); }, {0x50, 0x00, 0x01, 0x87, 0x00, 0x14}},
    {[](A& a) { return a.i3cCccSETNEWDA(5, 0x30, 0x41); }, {0x30, 0x00, 0x01, 0x88, 0x00, 0x82}},
    {[](A& a) { return a.i3cCccSETMWLDirect(5, 0x30, 0x0102); }, {0x30, 0x00, 0x02, 0x89, 0x00, 0x01, 0x02}},
    {[](A& a) { return a.i3cCccSETMRLDirect(5, 0x30, 0x0A0B, 0x0C); }, {0x30, 0x00, 0x03, 0x8A, 0x00, 0x0A, 0x0B, 0x0C}},
    {[](A& a) { return a.i3cCccSETXTIMEDirect(5, 0x30, 0xDF); }, {0x30, 0x00, 0x01, 0x98, 0x00, 0xDF}},
    // SETGRPA: group address shifted, carry dropped.
    {[](A& a) { return a.i3cCccSETGRPADirect(5, 0x30, 0xC1); }, {0x30, 0x00, 0x01, 0x9B, 0x00, 0x82}},
    {[](A& a) { return a.i3cCccRSTGRPADirect(5, 0x30); }, {0x30, 0x00, 0x00, 0x9C, 0x00}},
    // RSTACT direct: length 0 to write, 1 to read.
    {[](A& a) { return a.i3cCccRSTACTDirect(5, 0x30, Reset::RESET_PERIPHERAL_ONLY, W); }, {0x30, 0x10, 0x00, 0x9A, 0x01}},
    {[](A& a) { return a.i3cCccRSTACTDirect(5, 0x30, Reset::RETURN_TIME_RESET_WHOLE_TARGET, R); },
     {0x30, 0x11, 0x01, 0x9A, 0x82}},
    // Direct reads: the length is what the target is to return.
    {[](A& a) { return a.i3cCccGETMWL(5, 0x30); }, {0x30, 0x01, 0x02, 0x8B, 0x00}},
    {[](A& a) { return a.i3cCccGETMRL(5, 0x30); }, {0x30, 0x01, 0x03, 0x8C, 0x00}},
    {[](A& a) { return a.i3cCccGETPID(5, 0x30); }, {0x30, 0x01, 0x06, 0x8D, 0x00}},
    {[](A& a) { return a.i3cCccGETBCR(5, 0x30); }, {0x30, 0x01, 0x01, 0x8E, 0x00}},
    {[](A& a) { return a.i3cCccGETDCR(5, 0x30); }, {0x30, 0x01, 0x01, 0x8F, 0x00}},
    {[](A& a) { return a.i3cCccGETSTATUS(5, 0x30); }, {0x30, 0x01, 0x02, 0x90, 0x00}},
    {[](A& a) { return a.i3cCccGETSTATUS(5, 0x30, 0x91); }, {0x30, 0x11, 0x02, 0x90, 0x91}},
    {[](A& a) { return a.i3cCccGETMXDS(5, 0x30); }, {0x30, 0x01, 0x05, 0x94, 0x00}},
    {[](A& a) { return a.i3cCccGETCAPS(5, 0x30); }, {0x30, 0x01, 0x04, 0x95, 0x00}},
    {[](A& a) { return a.i3cCccGETCAPS(5, 0x30, 0x5A); }, {0x30, 0x11, 0x04, 0x95, 0x5A}},
    {[](A& a) { return a.i3cCccGETXTIME(5, 0x30); }, {0x30, 0x01, 0x04, 0x99, 0x00}},
};
// clang-format on

} // namespace

TEST_F(I3cCccAsync, Transfer_BuildsTheGenericFrameWithFlagsOredWhole)
{
    EXPECT_EQ(
        requestOf([](A& a) { return a.i3cCccTransfer(0x1234, 0x7E, W, SDR, false, NoDef, 0, CCC::ENTDAA, 0, {}); }),
        (Bytes{0x34, 0x12, 0x09, 0x19, 0x7E, 0x00, 0x00, 0x07, 0x00}));
    EXPECT_EQ(
        requestOf([](A& a) { return a.i3cCccTransfer(1, 0x30, R, SDR, false, Def, 2, CCC::GETSTATUS, 0x91, {}); }),
        (Bytes{0x01, 0x00, 0x09, 0x19, 0x30, 0x11, 0x02, 0x90, 0x91}));
    // Length and data go as given, even when they disagree.
    EXPECT_EQ(requestOf([](A& a) {
                  return a.i3cCccTransfer(1, 0x30, W, SDR, false, NoDef, 5, CCC::SETMWL_DIRECT, 0, {1, 2});
              }),
              (Bytes{0x01, 0x00, 0x09, 0x19, 0x30, 0x00, 0x05, 0x89, 0x00, 1, 2}));
    // Out-of-range fields spill into their neighbours or fall off the byte.
    const auto flagsOf = [this](I3cTransferMode mode, bool transferFlag, I3cCccType type) {
        return requestOf(
                   [&](A& a) { return a.i3cCccTransfer(1, 0x30, W, mode, transferFlag, type, 0, CCC::RSTDAA, 0, {}); })
            .at(5);
    };
    EXPECT_EQ(flagsOf(I3cTransferMode::LEGACY_I2C, true, Def), 0x1C);
    EXPECT_EQ(flagsOf(static_cast<I3cTransferMode>(4), false, NoDef), 0x08);
    EXPECT_EQ(flagsOf(SDR, false, static_cast<I3cCccType>(8)), 0x80);
    EXPECT_EQ(flagsOf(SDR, false, static_cast<I3cCccType>(0x10)), 0x00);
}

TEST_F(I3cCccAsync, CccWrites_SendTheirFixedArguments)
{
    for (const CccCase& c : kCccCases) {
        SCOPED_TRACE(::testing::PrintToString(c.frame));
        Bytes expected{0x05, 0x00, 0x09, 0x19};
        expected.insert(expected.end(), c.frame.begin(), c.frame.end());
        EXPECT_EQ(requestOf(c.send), expected);
    }
}

TEST_F(I3cCccSync, GetMwlAndGetMrl_ReadBigEndianLengthsAndAnOptionalIbiSize)
{
    std::uint16_t length = 0;
    std::optional<std::uint8_t> ibi;
    answer(tv::codes::I3C_CCC, 0, {0xE0, 0xE1, 0xE2, 3, 0x01, 0x02, 0x40});
    EXPECT_EQ(sdk().i3cCccGETMWL(0x30, length), StatusCode::SUCCESS);
    EXPECT_EQ(length, 0x0102);
    EXPECT_EQ(sdk().i3cCccGETMRL(0x30, length, ibi), StatusCode::SUCCESS);
    EXPECT_EQ(length, 0x0102);
    EXPECT_EQ(ibi, std::optional<std::uint8_t>(0x40));
    EXPECT_EQ(withoutTransactionId(lastRequest()), (Bytes{0x09, 0x19, 0x30, 0x01, 0x03, 0x8C, 0x00}));

    answer(tv::codes::I3C_CCC, 0, {0xE0, 0xE1, 0xE2, 2, 0x00, 0x40, 0x77}); // two bytes: no IBI size
    EXPECT_EQ(sdk().i3cCccGETMRL(0x30, length, ibi), StatusCode::SUCCESS);
    EXPECT_EQ(length, 0x0040);
    EXPECT_FALSE(ibi.has_value());

    ibi = 0x55;
    answer(tv::codes::I3C_CCC, 0, {0xE0, 0xE1, 0xE2, 3, 0x00, 0x40}); // three announced, two sent
    EXPECT_EQ(sdk().i3cCccGETMRL(0x30, length, ibi), StatusCode::RESPONSE_TOO_SHORT);
    EXPECT_FALSE(ibi.has_value());
}

TEST_F(I3cCccSync, ByteVectorReads_TakeCountBytesFromOffsetTenAsFarAsTheyArrived)
{
    using VectorRead = std::function<StatusCode(S&, Bytes&)>;
    const std::vector<std::pair<const char*, VectorRead>> reads{
        {"GETPID", [](S& s, Bytes& out) { return s.i3cCccGETPID(0x30, out); }},
        {"GETSTATUS", [](S& s, Bytes& out) { return s.i3cCccGETSTATUS(0x30, out); }},
        {"GETMXDS", [](S& s, Bytes& out) { return s.i3cCccGETMXDS(0x30, out); }},
        {"GETCAPS", [](S& s, Bytes& out) { return s.i3cCccGETCAPS(0x30, out, 0x00); }},
        {"GETXTIME", [](S& s, Bytes& out) { return s.i3cCccGETXTIME(0x30, out); }},
    };
    for (const auto& [name, read] : reads) {
        SCOPED_TRACE(name);
        Bytes out{9, 9, 9, 9};
        answer(tv::codes::I3C_CCC, 0, {0xE0, 0xE1, 0xE2, 2, 0xA1, 0xA2, 0xA3});
        EXPECT_EQ(read(sdk(), out), StatusCode::SUCCESS);
        EXPECT_EQ(out, (Bytes{0xA1, 0xA2}));

        answer(tv::codes::I3C_CCC, 0x0021, {0xE0, 0xE1, 0xE2, 0});
        EXPECT_EQ(read(sdk(), out), StatusCode(0x0021));
        EXPECT_TRUE(out.empty());

        // More counted than arrived: the byte that came, and never a success.
        answer(tv::codes::I3C_CCC, 0, {0xE0, 0xE1, 0xE2, 200, 0xB1});
        EXPECT_EQ(read(sdk(), out), StatusCode::RESPONSE_TOO_SHORT);
        EXPECT_EQ(out, (Bytes{0xB1}));
    }
}

TEST_F(I3cCccSync, ByteReads_TakeByteTenOrReportTheAnswerTooShort)
{
    std::uint8_t bcr = 0, dcr = 0, time = 0;
    answer(tv::codes::I3C_CCC, 0, {0xE0, 0xE1, 0xE2, 1, 0x26});
    EXPECT_EQ(sdk().i3cCccGETBCR(0x30, bcr), StatusCode::SUCCESS);
    EXPECT_EQ(sdk().i3cCccGETDCR(0x30, dcr), StatusCode::SUCCESS);
    EXPECT_EQ(bcr, 0x26);
    EXPECT_EQ(dcr, 0x26);
    // RSTACT stores the reset time only for a read with a pointer.
    EXPECT_EQ(sdk().i3cCccRSTACTDirect(0x30, Reset::RETURN_TIME_RESET_PERIPHERAL, R, &time), StatusCode::SUCCESS);
    EXPECT_EQ(time, 0x26);
    time = 0x11;
    EXPECT_EQ(sdk().i3cCccRSTACTDirect(0x30, Reset::RESET_PERIPHERAL_ONLY, W, &time), StatusCode::SUCCESS);
    EXPECT_EQ(time, 0x11);
    EXPECT_EQ(sdk().i3cCccRSTACTDirect(0x30, Reset::RETURN_TIME_RESET_PERIPHERAL, R, nullptr), StatusCode::SUCCESS);

    answer(tv::codes::I3C_CCC, 0, {0xE0, 0xE1, 0xE2, 1});
    EXPECT_EQ(sdk().i3cCccGETBCR(0x30, bcr), StatusCode::RESPONSE_TOO_SHORT);
}
