// I3C Common Command Codes, blocking. Each method sends through the asynchronous method of the
// same name (which holds the command's fixed arguments) and decodes a read's answer:
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

// Variable answers: `out` takes the count bytes the target returned, as far as they arrived;
// fewer than counted make a status of 0 RESPONSE_TOO_SHORT.
auto intoBytes(std::vector<std::uint8_t>& out)
{
    return [&out](const FrameReader& r) { r.declared(kDataOffset, r.u8(kCountOffset), out); };
}

} // namespace

// -- Writes: status only ------------------------------------------------------------------------

StatusCode TarvixSDK::i3cCccENECBroadcast(std::uint8_t events)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccENECBroadcast, events));
}

StatusCode TarvixSDK::i3cCccDISECBroadcast(std::uint8_t events)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccDISECBroadcast, events));
}

StatusCode TarvixSDK::i3cCccENTAS0Broadcast() { return session_->call(through(&TarvixAsyncSDK::i3cCccENTAS0Broadcast)); }
StatusCode TarvixSDK::i3cCccENTAS1Broadcast() { return session_->call(through(&TarvixAsyncSDK::i3cCccENTAS1Broadcast)); }
StatusCode TarvixSDK::i3cCccENTAS2Broadcast() { return session_->call(through(&TarvixAsyncSDK::i3cCccENTAS2Broadcast)); }
StatusCode TarvixSDK::i3cCccENTAS3Broadcast() { return session_->call(through(&TarvixAsyncSDK::i3cCccENTAS3Broadcast)); }
StatusCode TarvixSDK::i3cCccRSTDAA() { return session_->call(through(&TarvixAsyncSDK::i3cCccRSTDAA)); }
StatusCode TarvixSDK::i3cCccENTDAA() { return session_->call(through(&TarvixAsyncSDK::i3cCccENTDAA)); }

StatusCode TarvixSDK::i3cCccSETMWLBroadcast(std::uint16_t maxWriteLength)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccSETMWLBroadcast, maxWriteLength));
}

StatusCode TarvixSDK::i3cCccSETMRLBroadcast(std::uint16_t maxReadLength, std::optional<std::uint8_t> maxIbiPayloadSize)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccSETMRLBroadcast, maxReadLength, maxIbiPayloadSize));
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

StatusCode TarvixSDK::i3cCccSETAASA(const std::vector<std::uint8_t>& data)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccSETAASA, data));
}

StatusCode TarvixSDK::i3cCccRSTACTBroadcast(I3cTargetResetDefByte action)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccRSTACTBroadcast, action));
}

StatusCode TarvixSDK::i3cCccRSTGRPABroadcast() { return session_->call(through(&TarvixAsyncSDK::i3cCccRSTGRPABroadcast)); }

StatusCode TarvixSDK::i3cCccENECDirect(std::uint8_t address, std::uint8_t events)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccENECDirect, address, events));
}

StatusCode TarvixSDK::i3cCccDISECDirect(std::uint8_t address, std::uint8_t events)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccDISECDirect, address, events));
}

StatusCode TarvixSDK::i3cCccENTAS0Direct(std::uint8_t address)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccENTAS0Direct, address));
}

StatusCode TarvixSDK::i3cCccENTAS1Direct(std::uint8_t address)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccENTAS1Direct, address));
}

StatusCode TarvixSDK::i3cCccENTAS2Direct(std::uint8_t address)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccENTAS2Direct, address));
}

StatusCode TarvixSDK::i3cCccENTAS3Direct(std::uint8_t address)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccENTAS3Direct, address));
}

StatusCode TarvixSDK::i3cCccSETDASA(std::uint8_t staticAddress, std::uint8_t dynamicAddress)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccSETDASA, staticAddress, dynamicAddress));
}

StatusCode TarvixSDK::i3cCccSETNEWDA(std::uint8_t address, std::uint8_t newDynamicAddress)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccSETNEWDA, address, newDynamicAddress));
}

StatusCode TarvixSDK::i3cCccSETMWLDirect(std::uint8_t address, std::uint16_t maxWriteLength)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccSETMWLDirect, address, maxWriteLength));
}

StatusCode TarvixSDK::i3cCccSETMRLDirect(std::uint8_t address, std::uint16_t maxReadLength,
                                         std::optional<std::uint8_t> maxIbiPayloadSize)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccSETMRLDirect, address, maxReadLength, maxIbiPayloadSize));
}

StatusCode TarvixSDK::i3cCccSETXTIMEDirect(std::uint8_t address, std::uint8_t subcommand,
                                           const std::optional<std::vector<std::uint8_t>>& extraData)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccSETXTIMEDirect, address, subcommand, extraData));
}

StatusCode TarvixSDK::i3cCccSETGRPADirect(std::uint8_t address, std::uint8_t groupAddress)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccSETGRPADirect, address, groupAddress));
}

StatusCode TarvixSDK::i3cCccRSTGRPADirect(std::uint8_t address)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccRSTGRPADirect, address));
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

// -- Reads --------------------------------------------------------------------------------------

StatusCode TarvixSDK::i3cCccGETMWL(std::uint8_t address, std::uint16_t& maxWriteLength)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccGETMWL, address),
                          [&](const FrameReader& r) { maxWriteLength = r.u16be(kDataOffset); });
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

StatusCode TarvixSDK::i3cCccGETPID(std::uint8_t address, std::vector<std::uint8_t>& pid)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccGETPID, address), intoBytes(pid));
}

StatusCode TarvixSDK::i3cCccGETBCR(std::uint8_t address, std::uint8_t& bcr)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccGETBCR, address),
                          [&](const FrameReader& r) { bcr = r.u8(kDataOffset); });
}

StatusCode TarvixSDK::i3cCccGETDCR(std::uint8_t address, std::uint8_t& dcr)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccGETDCR, address),
                          [&](const FrameReader& r) { dcr = r.u8(kDataOffset); });
}

StatusCode TarvixSDK::i3cCccGETSTATUS(std::uint8_t address, std::vector<std::uint8_t>& status,
                                      std::optional<std::uint8_t> definingByte)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccGETSTATUS, address, definingByte), intoBytes(status));
}

StatusCode TarvixSDK::i3cCccGETMXDS(std::uint8_t address, std::vector<std::uint8_t>& maxDataSpeed)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccGETMXDS, address), intoBytes(maxDataSpeed));
}

StatusCode TarvixSDK::i3cCccGETCAPS(std::uint8_t address, std::vector<std::uint8_t>& caps,
                                    std::optional<std::uint8_t> definingByte)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccGETCAPS, address, definingByte), intoBytes(caps));
}

StatusCode TarvixSDK::i3cCccGETXTIME(std::uint8_t address, std::vector<std::uint8_t>& xtime)
{
    return session_->call(through(&TarvixAsyncSDK::i3cCccGETXTIME, address), intoBytes(xtime));
}
