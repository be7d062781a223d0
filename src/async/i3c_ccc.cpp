// I3C Common Command Codes: the one CCC frame, and every named CCC as a row of fixed arguments
// to it. The rows are the table in protocol/ccc_table.def, which the blocking and flat layers
// read too.
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
#include "../protocol/codes.hpp"
#include "../protocol/layout.hpp"
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
    const unsigned flags =
        (((static_cast<unsigned>(cccType) * 2u | (transferFlag ? 1u : 0u)) << 2 | static_cast<unsigned>(mode)) << 1) |
        static_cast<unsigned>(direction);
    // A read carries no data: what follows the code comes from the target.
    const bool argumentsValid = data.empty() || direction != I3cTransferDirection::READ;
    return session_->send(transactionId, cmd::kI3cCccTransfer, argumentsValid, [&](FrameBuilder& f) {
        f.u8(targetAddress).u8(lowByte(flags)).u8(length).e8(ccc).u8(definingByte).bytes(data);
    });
}

namespace {

using Bytes = std::vector<std::uint8_t>;

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

// kENECBroadcast, kSETDASA, ...: the rows of the table.
#define TARVIX_CCC_ROW(Method, Ccc, Direction, Type, Length)                                                           \
    constexpr CccRow k##Method{CCC::Ccc, I3cTransferDirection::Direction, I3cCccType::Type, Length};
#include "../protocol/ccc_table.def"

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
    const auto length = row.length == kSizeOfData ? lowByte(data.size()) : lowByte(row.length);
    return sdk.i3cCccTransfer(transactionId, address, row.direction, I3cTransferMode::SDR, false, row.cccType, length,
                              row.ccc, definingByte, data);
}

StatusCode issue(TarvixAsyncSDK& sdk, TransactionId transactionId, std::uint8_t address, const CccRow& row,
                 std::uint8_t definingByte = 0)
{
    return issue(sdk, transactionId, address, row, definingByte, [] { return Bytes{}; });
}

// The payload shapes of the rows that carry data.

// ENEC/DISEC direct: the byte as it is.
Bytes dataByte(std::uint8_t value)
{
    return Bytes{value};
}

// SETDASA/SETNEWDA/SETGRPA: the 7-bit address sits in bits 7..1 of the byte, as on the bus.
Bytes addressByte(std::uint8_t address)
{
    return Bytes{lowByte(address << 1)};
}

// SETMWL/SETMRL: the I3C bus orders the 16-bit length most significant byte first; SETMRL may
// append the maximum IBI payload size.
Bytes bigEndianLength(std::uint16_t value, std::optional<std::uint8_t> tail = std::nullopt)
{
    Bytes data{lowByte(value >> 8), lowByte(value)};
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

} // namespace

// -- The rows of the table whose arguments say all ------------------------------------------------

// clang-format off
#define TARVIX_CCC_ADDRESS_ONLY(Method)                                                                       \
    StatusCode TarvixAsyncSDK::i3cCcc##Method(TransactionId transactionId, std::uint8_t address)              \
    {                                                                                                         \
        return issue(*this, transactionId, address, k##Method);                                               \
    }
#define TARVIX_CCC_BROADCAST(Method, ...)                                                                     \
    StatusCode TarvixAsyncSDK::i3cCcc##Method(TransactionId transactionId)                                    \
    {                                                                                                         \
        return issue(*this, transactionId, kI3cBroadcastAddress, k##Method);                                  \
    }
#define TARVIX_CCC_DIRECT(Method, ...) TARVIX_CCC_ADDRESS_ONLY(Method)
#define TARVIX_CCC_BROADCAST_DEFINING_BYTE(Method, Ccc, Direction, Type, Length, Argument)                    \
    StatusCode TarvixAsyncSDK::i3cCcc##Method(TransactionId transactionId, std::uint8_t Argument)             \
    {                                                                                                         \
        return issue(*this, transactionId, kI3cBroadcastAddress, k##Method, Argument);                        \
    }
#define TARVIX_CCC_DIRECT_DATA_BYTE(Method, Ccc, Direction, Type, Length, Encode, Argument)                   \
    StatusCode TarvixAsyncSDK::i3cCcc##Method(TransactionId transactionId, std::uint8_t address,              \
                                              std::uint8_t Argument)                                          \
    {                                                                                                         \
        return issue(*this, transactionId, address, k##Method, 0, [&] { return Encode(Argument); });          \
    }
#define TARVIX_CCC_BROADCAST_LENGTH(Method, Ccc, Direction, Type, Length, Argument)                           \
    StatusCode TarvixAsyncSDK::i3cCcc##Method(TransactionId transactionId, std::uint16_t Argument)            \
    {                                                                                                         \
        return issue(*this, transactionId, kI3cBroadcastAddress, k##Method, 0,                                \
                     [&] { return bigEndianLength(Argument); });                                              \
    }
#define TARVIX_CCC_DIRECT_LENGTH(Method, Ccc, Direction, Type, Length, Argument)                              \
    StatusCode TarvixAsyncSDK::i3cCcc##Method(TransactionId transactionId, std::uint8_t address,              \
                                              std::uint16_t Argument)                                         \
    {                                                                                                         \
        return issue(*this, transactionId, address, k##Method, 0, [&] { return bigEndianLength(Argument); }); \
    }
// Reads send nothing but the address; what comes back is the blocking layer's to decode.
#define TARVIX_CCC_READ_VALUE(Method, ...) TARVIX_CCC_ADDRESS_ONLY(Method)
#define TARVIX_CCC_READ_PID(Method, ...) TARVIX_CCC_ADDRESS_ONLY(Method)
#define TARVIX_CCC_READ_BYTES(Method, ...) TARVIX_CCC_ADDRESS_ONLY(Method)
#define TARVIX_CCC_READ_BYTES_DEFINING_BYTE(Method, ...)                                                      \
    StatusCode TarvixAsyncSDK::i3cCcc##Method(TransactionId transactionId, std::uint8_t address,              \
                                              std::optional<std::uint8_t> definingByte)                       \
    {                                                                                                         \
        return issue(*this, transactionId, address, definingByte ? withDefiningByte(k##Method) : k##Method,   \
                     definingByte.value_or(0));                                                               \
    }
#include "../protocol/ccc_table.def"
#undef TARVIX_CCC_ADDRESS_ONLY
// clang-format on

// -- The rows with arguments of their own ---------------------------------------------------------

StatusCode TarvixAsyncSDK::i3cCccSETMRLBroadcast(TransactionId transactionId, std::uint16_t maxReadLength,
                                                 std::optional<std::uint8_t> maxIbiPayloadSize)
{
    return issue(*this, transactionId, kI3cBroadcastAddress, kSETMRLBroadcast, 0,
                 [&] { return bigEndianLength(maxReadLength, maxIbiPayloadSize); });
}

StatusCode TarvixAsyncSDK::i3cCccSETMRLDirect(TransactionId transactionId, std::uint8_t address,
                                              std::uint16_t maxReadLength,
                                              std::optional<std::uint8_t> maxIbiPayloadSize)
{
    return issue(*this, transactionId, address, kSETMRLDirect, 0,
                 [&] { return bigEndianLength(maxReadLength, maxIbiPayloadSize); });
}

StatusCode TarvixAsyncSDK::i3cCccSETBUSCONBroadcast(TransactionId transactionId, std::uint8_t context,
                                                    const std::optional<std::vector<std::uint8_t>>& extraData)
{
    return issue(*this, transactionId, kI3cBroadcastAddress, kSETBUSCONBroadcast, 0,
                 [&] { return leadingByte(context, extraData); });
}

StatusCode TarvixAsyncSDK::i3cCccSETXTIMEBroadcast(TransactionId transactionId, std::uint8_t subcommand,
                                                   const std::optional<std::vector<std::uint8_t>>& extraData)
{
    return issue(*this, transactionId, kI3cBroadcastAddress, kSETXTIMEBroadcast, 0,
                 [&] { return leadingByte(subcommand, extraData); });
}

StatusCode TarvixAsyncSDK::i3cCccSETXTIMEDirect(TransactionId transactionId, std::uint8_t address,
                                                std::uint8_t subcommand,
                                                const std::optional<std::vector<std::uint8_t>>& extraData)
{
    return issue(*this, transactionId, address, kSETXTIMEDirect, 0, [&] { return leadingByte(subcommand, extraData); });
}

StatusCode TarvixAsyncSDK::i3cCccSETAASA(TransactionId transactionId, const std::vector<std::uint8_t>& data)
{
    return issue(*this, transactionId, kI3cBroadcastAddress, kSETAASA, 0, [&] { return data; });
}

StatusCode TarvixAsyncSDK::i3cCccRSTACTBroadcast(TransactionId transactionId, I3cTargetResetDefByte action)
{
    return issue(*this, transactionId, kI3cBroadcastAddress, kRSTACTBroadcast, lowByte(action));
}

// RSTACT direct either orders the action (write, nothing follows) or, with a read, asks the
// target for the time the action takes, one byte back.
StatusCode TarvixAsyncSDK::i3cCccRSTACTDirect(TransactionId transactionId, std::uint8_t address,
                                              I3cTargetResetDefByte action, I3cTransferDirection direction)
{
    CccRow row = kRSTACTDirect;
    row.direction = direction;
    row.length = direction != I3cTransferDirection::WRITE ? 1 : 0;
    return issue(*this, transactionId, address, row, lowByte(action));
}

StatusCode TarvixAsyncSDK::i3cCccGETMRL(TransactionId transactionId, std::uint8_t address)
{
    return issue(*this, transactionId, address, kGETMRL);
}
