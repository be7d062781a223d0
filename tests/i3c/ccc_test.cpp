#include "i3c_test_support.hpp"

#include <functional>

using namespace tarvix_test;

using I3cCccAsync = AsyncSessionTest;
using I3cCccSync = SyncSessionTest;
using I3cCccSyncTimeout = ShortTimeoutSyncSessionTest;

namespace {

constexpr auto W = I3cTransferDirection::WRITE;
constexpr auto R = I3cTransferDirection::READ;
constexpr auto SDR = I3cTransferMode::SDR;
constexpr auto NoDef = I3cCccType::WITHOUT_DEFINING_BYTE;
constexpr auto Def = I3cCccType::WITH_DEFINING_BYTE;

// One named CCC called both ways with the same arguments, and the frame it must produce after
// the transaction id and command code: address, flags, length, code, defining byte, data.
struct CccCase {
    const char* name;
    std::function<StatusCode(TarvixAsyncSDK&, TransactionId)> async;
    std::function<StatusCode(TarvixSDK&)> sync;
    Bytes frame;
};

// Outputs of the blocking reads in the table; their decoding has its own tests.
std::uint16_t u16Out;
std::uint8_t u8Out;
std::optional<std::uint8_t> optOut;
Bytes bytesOut;

using A = TarvixAsyncSDK;
using S = TarvixSDK;
using Id = TransactionId;
using Reset = I3cTargetResetDefByte;

const std::vector<CccCase> kCccCases{
    // Broadcast writes: address 0x7E.
    {"ENEC broadcast: events in the defining byte", [](A& a, Id i) { return a.i3cCccENECBroadcast(i, 0x09); },
     [](S& s) { return s.i3cCccENECBroadcast(0x09); }, {0x7E, 0x10, 0x01, 0x00, 0x09}},
    {"DISEC broadcast: events in the defining byte", [](A& a, Id i) { return a.i3cCccDISECBroadcast(i, 0x0B); },
     [](S& s) { return s.i3cCccDISECBroadcast(0x0B); }, {0x7E, 0x10, 0x01, 0x01, 0x0B}},
    {"ENTAS0 broadcast", [](A& a, Id i) { return a.i3cCccENTAS0Broadcast(i); },
     [](S& s) { return s.i3cCccENTAS0Broadcast(); }, {0x7E, 0x00, 0x00, 0x02, 0x00}},
    {"ENTAS1 broadcast", [](A& a, Id i) { return a.i3cCccENTAS1Broadcast(i); },
     [](S& s) { return s.i3cCccENTAS1Broadcast(); }, {0x7E, 0x00, 0x00, 0x03, 0x00}},
    {"ENTAS2 broadcast", [](A& a, Id i) { return a.i3cCccENTAS2Broadcast(i); },
     [](S& s) { return s.i3cCccENTAS2Broadcast(); }, {0x7E, 0x00, 0x00, 0x04, 0x00}},
    {"ENTAS3 broadcast", [](A& a, Id i) { return a.i3cCccENTAS3Broadcast(i); },
     [](S& s) { return s.i3cCccENTAS3Broadcast(); }, {0x7E, 0x00, 0x00, 0x05, 0x00}},
    {"RSTDAA", [](A& a, Id i) { return a.i3cCccRSTDAA(i); }, [](S& s) { return s.i3cCccRSTDAA(); },
     {0x7E, 0x00, 0x00, 0x06, 0x00}},
    {"ENTDAA", [](A& a, Id i) { return a.i3cCccENTDAA(i); }, [](S& s) { return s.i3cCccENTDAA(); },
     {0x7E, 0x00, 0x00, 0x07, 0x00}},
    {"SETMWL broadcast: big-endian", [](A& a, Id i) { return a.i3cCccSETMWLBroadcast(i, 0x0102); },
     [](S& s) { return s.i3cCccSETMWLBroadcast(0x0102); }, {0x7E, 0x00, 0x02, 0x09, 0x00, 0x01, 0x02}},
    {"SETMRL broadcast with IBI size", [](A& a, Id i) { return a.i3cCccSETMRLBroadcast(i, 0x0100, 0x20); },
     [](S& s) { return s.i3cCccSETMRLBroadcast(0x0100, 0x20); }, {0x7E, 0x00, 0x03, 0x0A, 0x00, 0x01, 0x00, 0x20}},
    {"SETMRL broadcast without IBI size", [](A& a, Id i) { return a.i3cCccSETMRLBroadcast(i, 0x0100); },
     [](S& s) { return s.i3cCccSETMRLBroadcast(0x0100); }, {0x7E, 0x00, 0x02, 0x0A, 0x00, 0x01, 0x00}},
    {"SETBUSCON with extra data", [](A& a, Id i) { return a.i3cCccSETBUSCONBroadcast(i, 0x11, Bytes{1, 2}); },
     [](S& s) { return s.i3cCccSETBUSCONBroadcast(0x11, Bytes{1, 2}); }, {0x7E, 0x00, 0x03, 0x0C, 0x00, 0x11, 1, 2}},
    {"SETBUSCON alone", [](A& a, Id i) { return a.i3cCccSETBUSCONBroadcast(i, 0x11); },
     [](S& s) { return s.i3cCccSETBUSCONBroadcast(0x11); }, {0x7E, 0x00, 0x01, 0x0C, 0x00, 0x11}},
    {"SETXTIME broadcast", [](A& a, Id i) { return a.i3cCccSETXTIMEBroadcast(i, 0xDF, Bytes{0x05}); },
     [](S& s) { return s.i3cCccSETXTIMEBroadcast(0xDF, Bytes{0x05}); }, {0x7E, 0x00, 0x02, 0x28, 0x00, 0xDF, 0x05}},
    {"SETAASA: length is the data size", [](A& a, Id i) { return a.i3cCccSETAASA(i, {0x10, 0x20, 0x30}); },
     [](S& s) { return s.i3cCccSETAASA({0x10, 0x20, 0x30}); }, {0x7E, 0x00, 0x03, 0x29, 0x00, 0x10, 0x20, 0x30}},
    {"RSTACT broadcast: length 1, no data",
     [](A& a, Id i) { return a.i3cCccRSTACTBroadcast(i, Reset::RESET_WHOLE_TARGET); },
     [](S& s) { return s.i3cCccRSTACTBroadcast(Reset::RESET_WHOLE_TARGET); }, {0x7E, 0x10, 0x01, 0x2A, 0x02}},
    {"RSTGRPA broadcast", [](A& a, Id i) { return a.i3cCccRSTGRPABroadcast(i); },
     [](S& s) { return s.i3cCccRSTGRPABroadcast(); }, {0x7E, 0x00, 0x00, 0x2C, 0x00}},
    // Direct writes: the target's address, unshifted.
    {"ENEC direct: events as data", [](A& a, Id i) { return a.i3cCccENECDirect(i, 0x30, 0x09); },
     [](S& s) { return s.i3cCccENECDirect(0x30, 0x09); }, {0x30, 0x00, 0x01, 0x80, 0x00, 0x09}},
    {"DISEC direct: events as data", [](A& a, Id i) { return a.i3cCccDISECDirect(i, 0x30, 0x0B); },
     [](S& s) { return s.i3cCccDISECDirect(0x30, 0x0B); }, {0x30, 0x00, 0x01, 0x81, 0x00, 0x0B}},
    {"ENTAS0 direct", [](A& a, Id i) { return a.i3cCccENTAS0Direct(i, 0x30); },
     [](S& s) { return s.i3cCccENTAS0Direct(0x30); }, {0x30, 0x00, 0x00, 0x82, 0x00}},
    {"ENTAS1 direct", [](A& a, Id i) { return a.i3cCccENTAS1Direct(i, 0x30); },
     [](S& s) { return s.i3cCccENTAS1Direct(0x30); }, {0x30, 0x00, 0x00, 0x83, 0x00}},
    {"ENTAS2 direct", [](A& a, Id i) { return a.i3cCccENTAS2Direct(i, 0x30); },
     [](S& s) { return s.i3cCccENTAS2Direct(0x30); }, {0x30, 0x00, 0x00, 0x84, 0x00}},
    {"ENTAS3 direct", [](A& a, Id i) { return a.i3cCccENTAS3Direct(i, 0x30); },
     [](S& s) { return s.i3cCccENTAS3Direct(0x30); }, {0x30, 0x00, 0x00, 0x85, 0x00}},
    {"SETDASA: to the static address, dynamic address shifted",
     [](A& a, Id i) { return a.i3cCccSETDASA(i, 0x50, 0x0A); }, [](S& s) { return s.i3cCccSETDASA(0x50, 0x0A); },
     {0x50, 0x00, 0x01, 0x87, 0x00, 0x14}},
    {"SETNEWDA: new address shifted", [](A& a, Id i) { return a.i3cCccSETNEWDA(i, 0x30, 0x41); },
     [](S& s) { return s.i3cCccSETNEWDA(0x30, 0x41); }, {0x30, 0x00, 0x01, 0x88, 0x00, 0x82}},
    {"SETMWL direct: big-endian", [](A& a, Id i) { return a.i3cCccSETMWLDirect(i, 0x30, 0x0102); },
     [](S& s) { return s.i3cCccSETMWLDirect(0x30, 0x0102); }, {0x30, 0x00, 0x02, 0x89, 0x00, 0x01, 0x02}},
    {"SETMRL direct with IBI size", [](A& a, Id i) { return a.i3cCccSETMRLDirect(i, 0x30, 0x0A0B, 0x0C); },
     [](S& s) { return s.i3cCccSETMRLDirect(0x30, 0x0A0B, 0x0C); }, {0x30, 0x00, 0x03, 0x8A, 0x00, 0x0A, 0x0B, 0x0C}},
    {"SETXTIME direct alone", [](A& a, Id i) { return a.i3cCccSETXTIMEDirect(i, 0x30, 0xDF); },
     [](S& s) { return s.i3cCccSETXTIMEDirect(0x30, 0xDF); }, {0x30, 0x00, 0x01, 0x98, 0x00, 0xDF}},
    {"SETGRPA: group address shifted, carry dropped", [](A& a, Id i) { return a.i3cCccSETGRPADirect(i, 0x30, 0xC1); },
     [](S& s) { return s.i3cCccSETGRPADirect(0x30, 0xC1); }, {0x30, 0x00, 0x01, 0x9B, 0x00, 0x82}},
    {"RSTGRPA direct", [](A& a, Id i) { return a.i3cCccRSTGRPADirect(i, 0x30); },
     [](S& s) { return s.i3cCccRSTGRPADirect(0x30); }, {0x30, 0x00, 0x00, 0x9C, 0x00}},
    {"RSTACT direct write: length 0",
     [](A& a, Id i) { return a.i3cCccRSTACTDirect(i, 0x30, Reset::RESET_PERIPHERAL_ONLY, W); },
     [](S& s) { return s.i3cCccRSTACTDirect(0x30, Reset::RESET_PERIPHERAL_ONLY, W, &u8Out); },
     {0x30, 0x10, 0x00, 0x9A, 0x01}},
    {"RSTACT direct read: length 1",
     [](A& a, Id i) { return a.i3cCccRSTACTDirect(i, 0x30, Reset::RETURN_TIME_RESET_WHOLE_TARGET, R); },
     [](S& s) { return s.i3cCccRSTACTDirect(0x30, Reset::RETURN_TIME_RESET_WHOLE_TARGET, R, nullptr); },
     {0x30, 0x11, 0x01, 0x9A, 0x82}},
    // Direct reads: the length is what the target is to return.
    {"GETMWL", [](A& a, Id i) { return a.i3cCccGETMWL(i, 0x30); }, [](S& s) { return s.i3cCccGETMWL(0x30, u16Out); },
     {0x30, 0x01, 0x02, 0x8B, 0x00}},
    {"GETMRL", [](A& a, Id i) { return a.i3cCccGETMRL(i, 0x30); },
     [](S& s) { return s.i3cCccGETMRL(0x30, u16Out, optOut); }, {0x30, 0x01, 0x03, 0x8C, 0x00}},
    {"GETPID", [](A& a, Id i) { return a.i3cCccGETPID(i, 0x30); }, [](S& s) { return s.i3cCccGETPID(0x30, bytesOut); },
     {0x30, 0x01, 0x06, 0x8D, 0x00}},
    {"GETBCR", [](A& a, Id i) { return a.i3cCccGETBCR(i, 0x30); }, [](S& s) { return s.i3cCccGETBCR(0x30, u8Out); },
     {0x30, 0x01, 0x01, 0x8E, 0x00}},
    {"GETDCR", [](A& a, Id i) { return a.i3cCccGETDCR(i, 0x30); }, [](S& s) { return s.i3cCccGETDCR(0x30, u8Out); },
     {0x30, 0x01, 0x01, 0x8F, 0x00}},
    {"GETSTATUS", [](A& a, Id i) { return a.i3cCccGETSTATUS(i, 0x30); },
     [](S& s) { return s.i3cCccGETSTATUS(0x30, bytesOut); }, {0x30, 0x01, 0x02, 0x90, 0x00}},
    {"GETSTATUS with defining byte", [](A& a, Id i) { return a.i3cCccGETSTATUS(i, 0x30, 0x91); },
     [](S& s) { return s.i3cCccGETSTATUS(0x30, bytesOut, 0x91); }, {0x30, 0x11, 0x02, 0x90, 0x91}},
    {"GETMXDS", [](A& a, Id i) { return a.i3cCccGETMXDS(i, 0x30); },
     [](S& s) { return s.i3cCccGETMXDS(0x30, bytesOut); }, {0x30, 0x01, 0x05, 0x94, 0x00}},
    {"GETCAPS", [](A& a, Id i) { return a.i3cCccGETCAPS(i, 0x30); }, [](S& s) { return s.i3cCccGETCAPS(0x30, bytesOut); },
     {0x30, 0x01, 0x04, 0x95, 0x00}},
    {"GETCAPS with defining byte", [](A& a, Id i) { return a.i3cCccGETCAPS(i, 0x30, 0x5A); },
     [](S& s) { return s.i3cCccGETCAPS(0x30, bytesOut, 0x5A); }, {0x30, 0x11, 0x04, 0x95, 0x5A}},
    {"GETXTIME", [](A& a, Id i) { return a.i3cCccGETXTIME(i, 0x30); },
     [](S& s) { return s.i3cCccGETXTIME(0x30, bytesOut); }, {0x30, 0x01, 0x04, 0x99, 0x00}},
};

Bytes cat(Bytes head, const Bytes& tail)
{
    head.insert(head.end(), tail.begin(), tail.end());
    return head;
}

} // namespace

// -- The generic frame ----------------------------------------------------------------------------

TEST_F(I3cCccAsync, Transfer_BroadcastWithoutDataIsNineBytes)
{
    EXPECT_EQ(requestOf([](A& a) { return a.i3cCccTransfer(0x1234, 0x7E, W, SDR, false, NoDef, 0, CCC::ENTDAA, 0, {}); }),
              (Bytes{0x34, 0x12, 0x09, 0x19, 0x7E, 0x00, 0x00, 0x07, 0x00}));
    EXPECT_EQ(requestOf([](A& a) { return a.i3cCccTransfer(1, 0x30, R, SDR, false, Def, 2, CCC::GETSTATUS, 0x91, {}); }),
              (Bytes{0x01, 0x00, 0x09, 0x19, 0x30, 0x11, 0x02, 0x90, 0x91}));
}

TEST_F(I3cCccAsync, Transfer_FlagsAreOredWholeSoOutOfRangeFieldsSpillOrFallOff)
{
    const auto flagsOf = [this](I3cTransferMode mode, bool transferFlag, I3cCccType type) {
        return requestOf([&](A& a) { return a.i3cCccTransfer(1, 0x30, W, mode, transferFlag, type, 0, CCC::RSTDAA, 0, {}); })
            .at(5);
    };
    EXPECT_EQ(flagsOf(I3cTransferMode::LEGACY_I2C, true, Def), 0x1C);
    EXPECT_EQ(flagsOf(static_cast<I3cTransferMode>(4), false, NoDef), 0x08); // mode 4 lands on the transfer flag
    EXPECT_EQ(flagsOf(SDR, false, static_cast<I3cCccType>(8)), 0x80);
    EXPECT_EQ(flagsOf(SDR, false, static_cast<I3cCccType>(0x10)), 0x00); // cut to 8 bits
}

TEST_F(I3cCccAsync, Transfer_SendsLengthAndDataAsGiven)
{
    EXPECT_EQ(requestOf([](A& a) { return a.i3cCccTransfer(1, 0x30, W, SDR, false, NoDef, 5, CCC::SETMWL_DIRECT, 0, {1, 2}); }),
              (Bytes{0x01, 0x00, 0x09, 0x19, 0x30, 0x00, 0x05, 0x89, 0x00, 1, 2}));
}

TEST_F(I3cCccAsync, Transfer_ReadWithDataIsRefusedAfterTheConnectionCheck)
{
    adapter().clearRecords();
    EXPECT_EQ(sdk().i3cCccTransfer(1, 0x30, R, SDR, false, NoDef, 1, CCC::GETBCR, 0, {0xAA}), StatusCode::INVALID_ARGUMENT);
    EXPECT_TRUE(adapter().requests().empty());
    sdk().disconnect();
    EXPECT_EQ(sdk().i3cCccTransfer(1, 0x30, R, SDR, false, NoDef, 1, CCC::GETBCR, 0, {0xAA}), StatusCode::NOT_CONNECTED);
}

// -- Every named CCC ------------------------------------------------------------------------------

TEST_F(I3cCccAsync, NamedCommands_SendTheirRowsFixedArguments)
{
    for (const CccCase& c : kCccCases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(requestOf([&](A& a) { return c.async(a, 0x0405); }), cat({0x05, 0x04, 0x09, 0x19}, c.frame));
    }
}

TEST_F(I3cCccSync, NamedCommands_SendTheSameFramesAsTheirAsynchronousTwins)
{
    answer(kI3cCcc, 0, {0, 0, 0, 6, 1, 2, 3, 4, 5, 6});
    for (const CccCase& c : kCccCases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.sync(sdk()), StatusCode::SUCCESS);
        EXPECT_EQ(withoutTransactionId(lastRequest()), cat({0x09, 0x19}, c.frame));
    }
}

// -- Decoding of the blocking reads ---------------------------------------------------------------

TEST_F(I3cCccSync, GetMwlAndGetMrl_ReadBigEndianLengths)
{
    std::uint16_t length = 0;
    std::optional<std::uint8_t> ibi;
    answer(kI3cCcc, 0, {0xE0, 0xE1, 0xE2, 3, 0x01, 0x02, 0x40});
    EXPECT_EQ(sdk().i3cCccGETMWL(0x30, length), StatusCode::SUCCESS);
    EXPECT_EQ(length, 0x0102);
    EXPECT_EQ(sdk().i3cCccGETMRL(0x30, length, ibi), StatusCode::SUCCESS);
    EXPECT_EQ(length, 0x0102);
    EXPECT_EQ(ibi, std::optional<std::uint8_t>(0x40));
}

TEST_F(I3cCccSync, GetMrl_TwoBytesBackEmptiesTheIbiSize)
{
    std::uint16_t length = 0;
    std::optional<std::uint8_t> ibi = 0x55;
    answer(kI3cCcc, 0, {0xE0, 0xE1, 0xE2, 2, 0x00, 0x40, 0x77});
    EXPECT_EQ(sdk().i3cCccGETMRL(0x30, length, ibi), StatusCode::SUCCESS);
    EXPECT_EQ(length, 0x0040);
    EXPECT_FALSE(ibi.has_value());
}

TEST_F(I3cCccSync, GetMrl_CountOfThreeWithoutTheThirdByteIsTooShortAndEmpty)
{
    std::uint16_t length = 0;
    std::optional<std::uint8_t> ibi = 0x55;
    answer(kI3cCcc, 0, {0xE0, 0xE1, 0xE2, 3, 0x00, 0x40});
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
        answer(kI3cCcc, 0, {0xE0, 0xE1, 0xE2, 2, 0xA1, 0xA2, 0xA3});
        EXPECT_EQ(read(sdk(), out), StatusCode::SUCCESS);
        EXPECT_EQ(out, (Bytes{0xA1, 0xA2}));

        answer(kI3cCcc, 0x0021, {0xE0, 0xE1, 0xE2, 0});
        EXPECT_EQ(read(sdk(), out), StatusCode(0x0021));
        EXPECT_TRUE(out.empty());

        answer(kI3cCcc, 0, {0xE0, 0xE1, 0xE2, 200, 0xB1});
        EXPECT_EQ(read(sdk(), out), StatusCode::SUCCESS);
        EXPECT_EQ(out, (Bytes{0xB1}));
    }
}

TEST_F(I3cCccSync, GetBcrAndGetDcr_ReadByteTenOrReportTheAnswerTooShort)
{
    std::uint8_t bcr = 0, dcr = 0;
    answer(kI3cCcc, 0, {0xE0, 0xE1, 0xE2, 1, 0x26});
    EXPECT_EQ(sdk().i3cCccGETBCR(0x30, bcr), StatusCode::SUCCESS);
    EXPECT_EQ(sdk().i3cCccGETDCR(0x30, dcr), StatusCode::SUCCESS);
    EXPECT_EQ(bcr, 0x26);
    EXPECT_EQ(dcr, 0x26);
    answer(kI3cCcc, 0, {0xE0, 0xE1, 0xE2, 1});
    EXPECT_EQ(sdk().i3cCccGETBCR(0x30, bcr), StatusCode::RESPONSE_TOO_SHORT);
}

TEST_F(I3cCccSync, RstactDirect_StoresTheResetTimeOnlyForAReadWithAPointer)
{
    answer(kI3cCcc, 0, {0xE0, 0xE1, 0xE2, 1, 0x3C});
    std::uint8_t time = 0;
    EXPECT_EQ(sdk().i3cCccRSTACTDirect(0x30, Reset::RETURN_TIME_RESET_PERIPHERAL, R, &time), StatusCode::SUCCESS);
    EXPECT_EQ(time, 0x3C);
    time = 0x11;
    EXPECT_EQ(sdk().i3cCccRSTACTDirect(0x30, Reset::RESET_PERIPHERAL_ONLY, W, &time), StatusCode::SUCCESS);
    EXPECT_EQ(time, 0x11);
    EXPECT_EQ(sdk().i3cCccRSTACTDirect(0x30, Reset::RETURN_TIME_RESET_PERIPHERAL, R, nullptr), StatusCode::SUCCESS);
}

TEST_F(I3cCccSyncTimeout, Reads_WithoutAnswerLeaveTheirOutputsAlone)
{
    silence(adapter(), kI3cCcc);
    Bytes pid{1, 2, 3};
    std::uint16_t length = 0x1234;
    std::optional<std::uint8_t> ibi = 0x55;
    EXPECT_EQ(sdk().i3cCccGETPID(0x30, pid), StatusCode::NO_RESPONSE);
    EXPECT_EQ(sdk().i3cCccGETMRL(0x30, length, ibi), StatusCode::NO_RESPONSE);
    EXPECT_EQ(pid, (Bytes{1, 2, 3}));
    EXPECT_EQ(length, 0x1234);
    EXPECT_EQ(ibi, std::optional<std::uint8_t>(0x55));
}
