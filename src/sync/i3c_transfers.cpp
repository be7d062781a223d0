// I3C private transfers. A read answer carries a 16-bit count at offset 8 and the bytes from 10;
// write answers carry only the status.
#include "session.hpp"

#include <cstddef>

using namespace tarvix_detail;

namespace {

constexpr std::size_t kCountOffset = 8;
constexpr std::size_t kDataOffset = 10;

// One read, sent by `send`, whose answer fills `data`. The count is the adapter's, not compared
// with the length asked for (a target may return fewer bytes); `data` is replaced even on an
// error status, usually by nothing. A count larger than the bytes that arrived makes a status of
// 0 RESPONSE_TOO_SHORT.
template <class Send>
StatusCode readInto(SyncSession& session, std::vector<std::uint8_t>& data, Send&& send)
{
    return session.call(send, [&](const FrameReader& r) { r.declared(kDataOffset, r.u16(kCountOffset), data); });
}

} // namespace

StatusCode TarvixSDK::i3cSdrRead(std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress,
                                 std::uint16_t length, std::vector<std::uint8_t>& data, I3cTransferFlags flags)
{
    return readInto(*session_, data, [&](TarvixAsyncSDK& a, TransactionId id) {
        return a.i3cSdrRead(id, targetAddress, registerAddress, length, flags);
    });
}

StatusCode TarvixSDK::i3cLegacyI2cRead(std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress,
                                       std::uint16_t length, std::vector<std::uint8_t>& data, I3cTransferFlags flags)
{
    return readInto(*session_, data, [&](TarvixAsyncSDK& a, TransactionId id) {
        return a.i3cLegacyI2cRead(id, targetAddress, registerAddress, length, flags);
    });
}

StatusCode TarvixSDK::i3cHdrDdrRead(std::uint8_t targetAddress, std::uint8_t command, std::uint16_t length,
                                    std::vector<std::uint8_t>& data)
{
    return readInto(*session_, data, [&](TarvixAsyncSDK& a, TransactionId id) {
        return a.i3cHdrDdrRead(id, targetAddress, command, length);
    });
}

StatusCode TarvixSDK::i3cSdrWrite(std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress,
                                  const std::vector<std::uint8_t>& data, I3cTransferFlags flags)
{
    return session_->call([&](TarvixAsyncSDK& a, TransactionId id) {
        return a.i3cSdrWrite(id, targetAddress, registerAddress, data, flags);
    });
}

StatusCode TarvixSDK::i3cLegacyI2cWrite(std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress,
                                        const std::vector<std::uint8_t>& data, I3cTransferFlags flags)
{
    return session_->call([&](TarvixAsyncSDK& a, TransactionId id) {
        return a.i3cLegacyI2cWrite(id, targetAddress, registerAddress, data, flags);
    });
}

StatusCode TarvixSDK::i3cHdrDdrWrite(std::uint8_t targetAddress, std::uint8_t command,
                                     const std::vector<std::uint8_t>& data)
{
    return session_->call(
        [&](TarvixAsyncSDK& a, TransactionId id) { return a.i3cHdrDdrWrite(id, targetAddress, command, data); });
}
