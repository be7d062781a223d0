// I3C Common Command Codes, blocking. Each method sends through the asynchronous method of the
// same name (which holds the command's fixed arguments) and decodes a read's answer; the methods
// come from the one table of named CCCs (protocol/ccc_table.def). A read's answer:
//
//     offset 9    count of bytes the target returned
//     offset 10   those bytes, in bus order
//
// Bytes 6 to 8 of a CCC answer are the adapter's own and not read. Multi-byte values inside CCC
// data are most significant byte first, as the I3C bus orders them.
#include "session.hpp"

#include <cstddef>

using namespace tarvix_detail;

namespace {

constexpr std::size_t kCountOffset = 9;
constexpr std::size_t kDataOffset = 10;
constexpr std::uint8_t kGetmrlWithIbiSize = 3; // GETMRL: read length (2 bytes) and IBI payload size

// The send step of a blocking CCC: the asynchronous method under the session's next id.
template <class Method, class... Args>
auto through(Method method, const Args&... args)
{
    return [method, &args...](TarvixAsyncSDK& a, TransactionId id) { return (a.*method)(id, args...); };
}

// What a read's answer is decoded into: one byte, a 16-bit value (most significant byte first,
// as the bus orders it), or the count bytes the target returned, as far as they arrived (fewer
// than counted make a status of 0 RESPONSE_TOO_SHORT).
auto into(std::uint8_t& out)
{
    return [&out](const FrameReader& r) { out = r.u8(kDataOffset); };
}
auto into(std::uint16_t& out)
{
    return [&out](const FrameReader& r) { out = r.u16be(kDataOffset); };
}
auto into(std::vector<std::uint8_t>& out)
{
    return [&out](const FrameReader& r) { r.declared(kDataOffset, r.u8(kCountOffset), out); };
}

} // namespace

// -- The rows of the table whose arguments say all ------------------------------------------------

// clang-format off
#define TARVIX_CCC_BROADCAST(Method, ...)                                                                     \
    StatusCode TarvixSDK::i3cCcc##Method()                                                                    \
    {                                                                                                         \
        return session_->call(through(&TarvixAsyncSDK::i3cCcc##Method));                                      \
    }
#define TARVIX_CCC_DIRECT(Method, ...)                                                                        \
    StatusCode TarvixSDK::i3cCcc##Method(std::uint8_t address)                                                \
    {                                                                                                         \
        return session_->call(through(&TarvixAsyncSDK::i3cCcc##Method, address));                             \
    }
#define TARVIX_CCC_BROADCAST_DEFINING_BYTE(Method, Ccc, Direction, Type, Length, Argument)                    \
    StatusCode TarvixSDK::i3cCcc##Method(std::uint8_t Argument)                                               \
    {                                                                                                         \
        return session_->call(through(&TarvixAsyncSDK::i3cCcc##Method, Argument));                            \
    }
#define TARVIX_CCC_DIRECT_DATA_BYTE(Method, Ccc, Direction, Type, Length, Encode, Argument)                   \
    StatusCode TarvixSDK::i3cCcc##Method(std::uint8_t address, std::uint8_t Argument)                         \
    {                                                                                                         \
        return session_->call(through(&TarvixAsyncSDK::i3cCcc##Method, address, Argument));                   \
    }
#define TARVIX_CCC_BROADCAST_LENGTH(Method, Ccc, Direction, Type, Length, Argument)                           \
    StatusCode TarvixSDK::i3cCcc##Method(std::uint16_t Argument)                                              \
    {                                                                                                         \
        return session_->call(through(&TarvixAsyncSDK::i3cCcc##Method, Argument));                            \
    }
#define TARVIX_CCC_DIRECT_LENGTH(Method, Ccc, Direction, Type, Length, Argument)                              \
    StatusCode TarvixSDK::i3cCcc##Method(std::uint8_t address, std::uint16_t Argument)                        \
    {                                                                                                         \
        return session_->call(through(&TarvixAsyncSDK::i3cCcc##Method, address, Argument));                   \
    }
#define TARVIX_CCC_READ_INTO(Method, Output, Argument)                                                        \
    StatusCode TarvixSDK::i3cCcc##Method(std::uint8_t address, Output& Argument)                              \
    {                                                                                                         \
        return session_->call(through(&TarvixAsyncSDK::i3cCcc##Method, address), into(Argument));             \
    }
#define TARVIX_CCC_READ_VALUE(Method, Ccc, Direction, Type, Length, Output, Argument)                         \
    TARVIX_CCC_READ_INTO(Method, Output, Argument)
#define TARVIX_CCC_READ_PID(Method, Ccc, Direction, Type, Length, Argument)                                   \
    TARVIX_CCC_READ_INTO(Method, std::vector<std::uint8_t>, Argument)
#define TARVIX_CCC_READ_BYTES(Method, Ccc, Direction, Type, Length, Argument)                                 \
    TARVIX_CCC_READ_INTO(Method, std::vector<std::uint8_t>, Argument)
#define TARVIX_CCC_READ_BYTES_DEFINING_BYTE(Method, Ccc, Direction, Type, Length, Argument)                   \
    StatusCode TarvixSDK::i3cCcc##Method(std::uint8_t address, std::vector<std::uint8_t>& Argument,           \
                                         std::optional<std::uint8_t> definingByte)                            \
    {                                                                                                         \
        return session_->call(through(&TarvixAsyncSDK::i3cCcc##Method, address, definingByte), into(Argument)); \
    }
#include "../protocol/ccc_table.def"
#undef TARVIX_CCC_READ_INTO
// clang-format on

// -- The rows with arguments of their own ---------------------------------------------------------

StatusCode TarvixSDK::i3cCccSETMRLBroadcast(std::uint16_t maxReadLength, std::optional<std::uint8_t> maxIbiPayloadSize)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccSETMRLBroadcast, maxReadLength, maxIbiPayloadSize));
}

StatusCode TarvixSDK::i3cCccSETMRLDirect(std::uint8_t address, std::uint16_t maxReadLength,
                                         std::optional<std::uint8_t> maxIbiPayloadSize)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccSETMRLDirect, address, maxReadLength, maxIbiPayloadSize));
}

StatusCode TarvixSDK::i3cCccSETBUSCONBroadcast(std::uint8_t context,
                                               const std::optional<std::vector<std::uint8_t>>& extraData)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccSETBUSCONBroadcast, context, extraData));
}

StatusCode TarvixSDK::i3cCccSETXTIMEBroadcast(std::uint8_t subcommand,
                                              const std::optional<std::vector<std::uint8_t>>& extraData)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccSETXTIMEBroadcast, subcommand, extraData));
}

StatusCode TarvixSDK::i3cCccSETXTIMEDirect(std::uint8_t address, std::uint8_t subcommand,
                                           const std::optional<std::vector<std::uint8_t>>& extraData)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccSETXTIMEDirect, address, subcommand, extraData));
}

StatusCode TarvixSDK::i3cCccSETAASA(const std::vector<std::uint8_t>& data)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccSETAASA, data));
}

StatusCode TarvixSDK::i3cCccRSTACTBroadcast(I3cTargetResetDefByte action)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccRSTACTBroadcast, action));
}

// A read RSTACT returns the time the action takes, one byte; a write returns nothing to store.
StatusCode TarvixSDK::i3cCccRSTACTDirect(std::uint8_t address, I3cTargetResetDefByte action,
                                         I3cTransferDirection direction, std::uint8_t* resetTime)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccRSTACTDirect, address, action, direction),
                          [&](const FrameReader& r) {
                              if (direction == I3cTransferDirection::READ && resetTime != nullptr) {
                                  *resetTime = r.u8(kDataOffset);
                              }
                          });
}

// The IBI payload size is optional on the bus: a target without IBI payload returns two bytes.
StatusCode TarvixSDK::i3cCccGETMRL(std::uint8_t address, std::uint16_t& maxReadLength,
                                   std::optional<std::uint8_t>& maxIbiPayloadSize)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccGETMRL, address), [&](const FrameReader& r) {
        maxReadLength = r.u16be(kDataOffset);
        maxIbiPayloadSize.reset();
        if (r.u8(kCountOffset) == kGetmrlWithIbiSize) {
            // Read as a fixed field, so a count of 3 without the byte turns status 0 into
            // RESPONSE_TOO_SHORT; the optional is only set when the byte is really there.
            const std::uint8_t ibiSize = r.u8(kDataOffset + 2);
            if (r.has(kDataOffset + 3)) {
                maxIbiPayloadSize = ibiSize;
            }
        }
    });
}
