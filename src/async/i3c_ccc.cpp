// I3C Common Command Codes: the one CCC frame, and every named CCC as a row of fixed arguments
// to it.
//
// CCC frame: target address (0x7E for a broadcast code), flags, length, CCC code, defining byte,
// then the data written after the code. The flags byte packs
//
//     bit 0   direction (0 write, 1 read)
//     bits 1..2 mode (always SDR for a CCC)
//     bit 3   transfer flag
//     bit 4   a defining byte follows the code on the bus
//
// The defining-byte field is always present in the frame; bit 4 says whether the adapter puts it
// on the bus. `length` counts the data bytes written, or the bytes the adapter is to read back.
#include "command_codes.hpp"
#include "session.hpp"

#include <algorithm>
#include <optional>

using namespace tarvix_detail;

// The fields are ORed as whole values, not masked to their bit ranges: a mode above 3 spills
// into bit 3 and a type above 7 falls off the byte. The named commands only pass in-range values;
// the generic call carries whatever its caller asks for, as the adapter's firmware expects.
StatusCode TarvixAsyncSDK::i3cCccTransfer(TransactionId transactionId, std::uint8_t targetAddress,
                                          I3cTransferDirection direction, I3cTransferMode mode, bool transferFlag,
                                          I3cCccType cccType, std::uint8_t length, CCC ccc, std::uint8_t definingByte,
                                          const std::vector<std::uint8_t>& data)
{
    const unsigned flags = (((static_cast<unsigned>(cccType) * 2u | (transferFlag ? 1u : 0u)) << 2 |
                             static_cast<unsigned>(mode))
                            << 1) |
                           static_cast<unsigned>(direction);
    // A read carries no data: what follows the code comes from the target.
    const bool argumentsValid = data.empty() || direction != I3cTransferDirection::READ;
    return session_->send(transactionId, cmd::kI3cCccTransfer, argumentsValid, [&](FrameBuilder& f) {
        f.u8(targetAddress)
            .u8(static_cast<std::uint8_t>(flags & 0xFF))
            .u8(length)
            .e8(ccc)
            .u8(definingByte)
            .bytes(data);
    });
}

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t kBroadcastAddress = 0x7E;

// The length field of the rows whose data varies (optional bytes, caller-given vectors): the
// size of the finished data, cut to the 8-bit field.
constexpr int kSizeOfData = -1;

// One named CCC: everything about its frame that the caller does not choose. Mode is always SDR
// and the transfer flag always clear.
struct CccRow {
    CCC ccc;
    I3cTransferDirection direction;
    I3cCccType cccType;
    int length; // the length field, or kSizeOfData
};

constexpr auto W = I3cTransferDirection::WRITE;
constexpr auto R = I3cTransferDirection::READ;
constexpr auto NoDef = I3cCccType::WITHOUT_DEFINING_BYTE;
constexpr auto Def = I3cCccType::WITH_DEFINING_BYTE;

// Broadcast ENEC, DISEC and RSTACT carry their argument in the defining byte with a length of 1
// and no data, while the direct ENEC and DISEC send the events as a data byte. The adapter's
// firmware reads them that way; the two forms are deliberately not alike.
//
//                             code                         dir  defining  length
constexpr CccRow kEnecBroadcast{CCC::ENEC_BROADCAST,         W,  Def,      1};
constexpr CccRow kDisecBroadcast{CCC::DISEC_BROADCAST,       W,  Def,      1};
constexpr CccRow kEntas0Broadcast{CCC::ENTAS0_BROADCAST,     W,  NoDef,    0};
constexpr CccRow kEntas1Broadcast{CCC::ENTAS1_BROADCAST,     W,  NoDef,    0};
constexpr CccRow kEntas2Broadcast{CCC::ENTAS2_BROADCAST,     W,  NoDef,    0};
constexpr CccRow kEntas3Broadcast{CCC::ENTAS3_BROADCAST,     W,  NoDef,    0};
constexpr CccRow kRstdaa{CCC::RSTDAA,                        W,  NoDef,    0};
constexpr CccRow kEntdaa{CCC::ENTDAA,                        W,  NoDef,    0};
constexpr CccRow kSetmwlBroadcast{CCC::SETMWL_BROADCAST,     W,  NoDef,    2};
constexpr CccRow kSetmrlBroadcast{CCC::SETMRL_BROADCAST,     W,  NoDef,    kSizeOfData};
constexpr CccRow kSetbuscon{CCC::SETBUSCON,                  W,  NoDef,    kSizeOfData};
constexpr CccRow kSetxtimeBroadcast{CCC::SETXTIME_BROADCAST, W,  NoDef,    kSizeOfData};
constexpr CccRow kSetaasa{CCC::SETAASA,                      W,  NoDef,    kSizeOfData};
constexpr CccRow kRstactBroadcast{CCC::RSTACT_BROADCAST,     W,  Def,      1};
constexpr CccRow kRstgrpaBroadcast{CCC::RSTGRPA_BROADCAST,   W,  NoDef,    0};
constexpr CccRow kEnecDirect{CCC::ENEC_DIRECT,               W,  NoDef,    1};
constexpr CccRow kDisecDirect{CCC::DISEC_DIRECT,             W,  NoDef,    1};
constexpr CccRow kEntas0Direct{CCC::ENTAS0_DIRECT,           W,  NoDef,    0};
constexpr CccRow kEntas1Direct{CCC::ENTAS1_DIRECT,           W,  NoDef,    0};
constexpr CccRow kEntas2Direct{CCC::ENTAS2_DIRECT,           W,  NoDef,    0};
constexpr CccRow kEntas3Direct{CCC::ENTAS3_DIRECT,           W,  NoDef,    0};
constexpr CccRow kSetdasa{CCC::SETDASA,                      W,  NoDef,    1};
constexpr CccRow kSetnewda{CCC::SETNEWDA,                    W,  NoDef,    1};
constexpr CccRow kSetmwlDirect{CCC::SETMWL_DIRECT,           W,  NoDef,    2};
constexpr CccRow kSetmrlDirect{CCC::SETMRL_DIRECT,           W,  NoDef,    kSizeOfData};
constexpr CccRow kSetxtimeDirect{CCC::SETXTIME_DIRECT,       W,  NoDef,    kSizeOfData};
constexpr CccRow kSetgrpa{CCC::SETGRPA,                      W,  NoDef,    1};
constexpr CccRow kRstgrpaDirect{CCC::RSTGRPA_DIRECT,         W,  NoDef,    0};
// Reads: the length is what the target returns.
constexpr CccRow kGetmwl{CCC::GETMWL,                        R,  NoDef,    2};
constexpr CccRow kGetmrl{CCC::GETMRL,                        R,  NoDef,    3};
constexpr CccRow kGetpid{CCC::GETPID,                        R,  NoDef,    6};
constexpr CccRow kGetbcr{CCC::GETBCR,                        R,  NoDef,    1};
constexpr CccRow kGetdcr{CCC::GETDCR,                        R,  NoDef,    1};
constexpr CccRow kGetstatus{CCC::GETSTATUS,                  R,  NoDef,    2};
constexpr CccRow kGetmxds{CCC::GETMXDS,                      R,  NoDef,    5};
constexpr CccRow kGetcaps{CCC::GETCAPS,                      R,  NoDef,    4};
constexpr CccRow kGetxtime{CCC::GETXTIME,                    R,  NoDef,    4};
// RSTACT direct takes its direction from the caller; see i3cCccRSTACTDirect.
constexpr CccRow kRstactDirect{CCC::RSTACT_DIRECT,           W,  Def,      0};

// The same row asking for its defining byte to be sent (GETSTATUS and GETCAPS in their format
// with a defining byte).
constexpr CccRow withDefiningByte(CccRow row) noexcept
{
    row.cccType = I3cCccType::WITH_DEFINING_BYTE;
    return row;
}

// Issues one row. The connection is tested before the data is built, so a disconnected call
// costs nothing; i3cCccTransfer tests it once more. `makeData` returns the bytes written after
// the code.
template <class MakeData>
StatusCode issue(TarvixAsyncSDK& sdk, TransactionId transactionId, std::uint8_t address, const CccRow& row,
                 std::uint8_t definingByte, MakeData&& makeData)
{
    if (!sdk.isConnected()) {
        return StatusCode::NOT_CONNECTED;
    }
    const Bytes data = makeData();
    const auto length = static_cast<std::uint8_t>(
        row.length == kSizeOfData ? data.size() & 0xFF : static_cast<unsigned>(row.length));
    return sdk.i3cCccTransfer(transactionId, address, row.direction, I3cTransferMode::SDR, false, row.cccType, length,
                              row.ccc, definingByte, data);
}

StatusCode issue(TarvixAsyncSDK& sdk, TransactionId transactionId, std::uint8_t address, const CccRow& row,
                 std::uint8_t definingByte = 0)
{
    return issue(sdk, transactionId, address, row, definingByte, [] { return Bytes{}; });
}

// The payload shapes of the rows that carry data.

// SETMWL/SETMRL: the I3C bus orders the 16-bit length most significant byte first; SETMRL may
// append the maximum IBI payload size.
Bytes bigEndianLength(std::uint16_t value, std::optional<std::uint8_t> tail = std::nullopt)
{
    Bytes data{static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value & 0xFF)};
    if (tail) {
        data.push_back(*tail);
    }
    return data;
}

// SETBUSCON/SETXTIME: a leading byte (context, sub-command), then the caller's extra bytes.
Bytes leadingByte(std::uint8_t first, const std::optional<Bytes>& extra)
{
    Bytes data(1 + (extra ? extra->size() : 0));
    data[0] = first;
    if (extra) {
        std::copy(extra->begin(), extra->end(), data.begin() + 1);
    }
    return data;
}

// SETDASA/SETNEWDA/SETGRPA: the 7-bit address sits in bits 7..1 of the byte, as on the bus.
Bytes addressByte(std::uint8_t address)
{
    return Bytes{static_cast<std::uint8_t>((address << 1) & 0xFF)};
}

} // namespace

// -- Broadcast writes ---------------------------------------------------------------------------

StatusCode TarvixAsyncSDK::i3cCccENECBroadcast(TransactionId transactionId, std::uint8_t events)
{
    return issue(*this, transactionId, kBroadcastAddress, kEnecBroadcast, events);
}

StatusCode TarvixAsyncSDK::i3cCccDISECBroadcast(TransactionId transactionId, std::uint8_t events)
{
    return issue(*this, transactionId, kBroadcastAddress, kDisecBroadcast, events);
}

StatusCode TarvixAsyncSDK::i3cCccENTAS0Broadcast(TransactionId transactionId)
{
    return issue(*this, transactionId, kBroadcastAddress, kEntas0Broadcast);
}

StatusCode TarvixAsyncSDK::i3cCccENTAS1Broadcast(TransactionId transactionId)
{
    return issue(*this, transactionId, kBroadcastAddress, kEntas1Broadcast);
}

StatusCode TarvixAsyncSDK::i3cCccENTAS2Broadcast(TransactionId transactionId)
{
    return issue(*this, transactionId, kBroadcastAddress, kEntas2Broadcast);
}

StatusCode TarvixAsyncSDK::i3cCccENTAS3Broadcast(TransactionId transactionId)
{
    return issue(*this, transactionId, kBroadcastAddress, kEntas3Broadcast);
}

StatusCode TarvixAsyncSDK::i3cCccRSTDAA(TransactionId transactionId)
{
    return issue(*this, transactionId, kBroadcastAddress, kRstdaa);
}

StatusCode TarvixAsyncSDK::i3cCccENTDAA(TransactionId transactionId)
{
    return issue(*this, transactionId, kBroadcastAddress, kEntdaa);
}

StatusCode TarvixAsyncSDK::i3cCccSETMWLBroadcast(TransactionId transactionId, std::uint16_t maxWriteLength)
{
    return issue(*this, transactionId, kBroadcastAddress, kSetmwlBroadcast, 0,
                 [&] { return bigEndianLength(maxWriteLength); });
}

StatusCode TarvixAsyncSDK::i3cCccSETMRLBroadcast(TransactionId transactionId, std::uint16_t maxReadLength,
                                                 std::optional<std::uint8_t> maxIbiPayloadSize)
{
    return issue(*this, transactionId, kBroadcastAddress, kSetmrlBroadcast, 0,
                 [&] { return bigEndianLength(maxReadLength, maxIbiPayloadSize); });
}

StatusCode TarvixAsyncSDK::i3cCccSETBUSCONBroadcast(TransactionId transactionId, std::uint8_t context,
                                                    const std::optional<std::vector<std::uint8_t>>& extraData)
{
    return issue(*this, transactionId, kBroadcastAddress, kSetbuscon, 0,
                 [&] { return leadingByte(context, extraData); });
}

StatusCode TarvixAsyncSDK::i3cCccSETXTIMEBroadcast(TransactionId transactionId, std::uint8_t subcommand,
                                                   const std::optional<std::vector<std::uint8_t>>& extraData)
{
    return issue(*this, transactionId, kBroadcastAddress, kSetxtimeBroadcast, 0,
                 [&] { return leadingByte(subcommand, extraData); });
}

StatusCode TarvixAsyncSDK::i3cCccSETAASA(TransactionId transactionId, const std::vector<std::uint8_t>& data)
{
    return issue(*this, transactionId, kBroadcastAddress, kSetaasa, 0, [&] { return data; });
}

StatusCode TarvixAsyncSDK::i3cCccRSTACTBroadcast(TransactionId transactionId, I3cTargetResetDefByte action)
{
    return issue(*this, transactionId, kBroadcastAddress, kRstactBroadcast, static_cast<std::uint8_t>(action));
}

StatusCode TarvixAsyncSDK::i3cCccRSTGRPABroadcast(TransactionId transactionId)
{
    return issue(*this, transactionId, kBroadcastAddress, kRstgrpaBroadcast);
}

// -- Direct writes ------------------------------------------------------------------------------

StatusCode TarvixAsyncSDK::i3cCccENECDirect(TransactionId transactionId, std::uint8_t address, std::uint8_t events)
{
    return issue(*this, transactionId, address, kEnecDirect, 0, [&] { return Bytes{events}; });
}

StatusCode TarvixAsyncSDK::i3cCccDISECDirect(TransactionId transactionId, std::uint8_t address, std::uint8_t events)
{
    return issue(*this, transactionId, address, kDisecDirect, 0, [&] { return Bytes{events}; });
}

StatusCode TarvixAsyncSDK::i3cCccENTAS0Direct(TransactionId transactionId, std::uint8_t address)
{
    return issue(*this, transactionId, address, kEntas0Direct);
}

StatusCode TarvixAsyncSDK::i3cCccENTAS1Direct(TransactionId transactionId, std::uint8_t address)
{
    return issue(*this, transactionId, address, kEntas1Direct);
}

StatusCode TarvixAsyncSDK::i3cCccENTAS2Direct(TransactionId transactionId, std::uint8_t address)
{
    return issue(*this, transactionId, address, kEntas2Direct);
}

StatusCode TarvixAsyncSDK::i3cCccENTAS3Direct(TransactionId transactionId, std::uint8_t address)
{
    return issue(*this, transactionId, address, kEntas3Direct);
}

// SETDASA goes to the target's static address; the data is the dynamic address it is to take.
StatusCode TarvixAsyncSDK::i3cCccSETDASA(TransactionId transactionId, std::uint8_t staticAddress,
                                         std::uint8_t dynamicAddress)
{
    return issue(*this, transactionId, staticAddress, kSetdasa, 0, [&] { return addressByte(dynamicAddress); });
}

StatusCode TarvixAsyncSDK::i3cCccSETNEWDA(TransactionId transactionId, std::uint8_t address,
                                          std::uint8_t newDynamicAddress)
{
    return issue(*this, transactionId, address, kSetnewda, 0, [&] { return addressByte(newDynamicAddress); });
}

StatusCode TarvixAsyncSDK::i3cCccSETMWLDirect(TransactionId transactionId, std::uint8_t address,
                                              std::uint16_t maxWriteLength)
{
    return issue(*this, transactionId, address, kSetmwlDirect, 0, [&] { return bigEndianLength(maxWriteLength); });
}

StatusCode TarvixAsyncSDK::i3cCccSETMRLDirect(TransactionId transactionId, std::uint8_t address,
                                              std::uint16_t maxReadLength,
                                              std::optional<std::uint8_t> maxIbiPayloadSize)
{
    return issue(*this, transactionId, address, kSetmrlDirect, 0,
                 [&] { return bigEndianLength(maxReadLength, maxIbiPayloadSize); });
}

StatusCode TarvixAsyncSDK::i3cCccSETXTIMEDirect(TransactionId transactionId, std::uint8_t address,
                                                std::uint8_t subcommand,
                                                const std::optional<std::vector<std::uint8_t>>& extraData)
{
    return issue(*this, transactionId, address, kSetxtimeDirect, 0, [&] { return leadingByte(subcommand, extraData); });
}

StatusCode TarvixAsyncSDK::i3cCccSETGRPADirect(TransactionId transactionId, std::uint8_t address,
                                               std::uint8_t groupAddress)
{
    return issue(*this, transactionId, address, kSetgrpa, 0, [&] { return addressByte(groupAddress); });
}

StatusCode TarvixAsyncSDK::i3cCccRSTGRPADirect(TransactionId transactionId, std::uint8_t address)
{
    return issue(*this, transactionId, address, kRstgrpaDirect);
}

// RSTACT direct either orders the action (write, nothing follows) or, with a read, asks the
// target for the time the action takes, one byte back.
StatusCode TarvixAsyncSDK::i3cCccRSTACTDirect(TransactionId transactionId, std::uint8_t address,
                                              I3cTargetResetDefByte action, I3cTransferDirection direction)
{
    CccRow row = kRstactDirect;
    row.direction = direction;
    row.length = direction != I3cTransferDirection::WRITE ? 1 : 0;
    return issue(*this, transactionId, address, row, static_cast<std::uint8_t>(action));
}

// -- Direct reads -------------------------------------------------------------------------------

StatusCode TarvixAsyncSDK::i3cCccGETMWL(TransactionId transactionId, std::uint8_t address)
{
    return issue(*this, transactionId, address, kGetmwl);
}

StatusCode TarvixAsyncSDK::i3cCccGETMRL(TransactionId transactionId, std::uint8_t address)
{
    return issue(*this, transactionId, address, kGetmrl);
}

StatusCode TarvixAsyncSDK::i3cCccGETPID(TransactionId transactionId, std::uint8_t address)
{
    return issue(*this, transactionId, address, kGetpid);
}

StatusCode TarvixAsyncSDK::i3cCccGETBCR(TransactionId transactionId, std::uint8_t address)
{
    return issue(*this, transactionId, address, kGetbcr);
}

StatusCode TarvixAsyncSDK::i3cCccGETDCR(TransactionId transactionId, std::uint8_t address)
{
    return issue(*this, transactionId, address, kGetdcr);
}

StatusCode TarvixAsyncSDK::i3cCccGETSTATUS(TransactionId transactionId, std::uint8_t address,
                                           std::optional<std::uint8_t> definingByte)
{
    return issue(*this, transactionId, address, definingByte ? withDefiningByte(kGetstatus) : kGetstatus,
                 definingByte.value_or(0));
}

StatusCode TarvixAsyncSDK::i3cCccGETMXDS(TransactionId transactionId, std::uint8_t address)
{
    return issue(*this, transactionId, address, kGetmxds);
}

StatusCode TarvixAsyncSDK::i3cCccGETCAPS(TransactionId transactionId, std::uint8_t address,
                                         std::optional<std::uint8_t> definingByte)
{
    return issue(*this, transactionId, address, definingByte ? withDefiningByte(kGetcaps) : kGetcaps,
                 definingByte.value_or(0));
}

StatusCode TarvixAsyncSDK::i3cCccGETXTIME(TransactionId transactionId, std::uint8_t address)
{
    return issue(*this, transactionId, address, kGetxtime);
}
