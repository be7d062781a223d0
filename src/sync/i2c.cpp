// I2C controller. Read and scan answers carry their data from offset 9 (bytes 6 to 8 are the
// adapter's own and are not read).
#include "../protocol/layout.hpp"
#include "session.hpp"

using namespace tarvix_detail;

namespace {

constexpr std::size_t kDataOffset = 9;
constexpr std::size_t kOneByteCountOffset = 7;
constexpr std::size_t kTwoByteCountOffset = 8;

} // namespace

StatusCode TarvixSDK::i2cControllerInit(std::uint8_t bus, std::uint32_t frequency, std::uint8_t option)
{
    return session_->call(
        [&](TarvixAsyncSDK& a, TransactionId id) { return a.i2cControllerInit(id, bus, frequency, option); });
}

StatusCode TarvixSDK::i2cSetParameters(std::uint8_t bus, std::uint32_t frequency, std::uint8_t option)
{
    return session_->call(
        [&](TarvixAsyncSDK& a, TransactionId id) { return a.i2cSetParameters(id, bus, frequency, option); });
}

StatusCode TarvixSDK::i2cSetPullUpResistors(std::uint8_t bus, std::uint8_t pullUp)
{
    return session_->call(
        [&](TarvixAsyncSDK& a, TransactionId id) { return a.i2cSetPullUpResistors(id, bus, pullUp); });
}

StatusCode TarvixSDK::i2cWrite(std::uint8_t bus, std::uint8_t targetAddress,
                               const std::vector<std::uint8_t>& registerAddress, const std::vector<std::uint8_t>& data,
                               bool flag)
{
    return session_->call([&](TarvixAsyncSDK& a, TransactionId id) {
        return a.i2cWrite(id, bus, targetAddress, registerAddress, data, flag);
    });
}

StatusCode TarvixSDK::i2cRead(std::uint8_t bus, std::uint8_t targetAddress,
                              const std::vector<std::uint8_t>& registerAddress, std::uint16_t length,
                              std::vector<std::uint8_t>& readData, bool flag)
{
    // The answer carries no count of its own: the request's length says how many bytes to take.
    // A short answer yields only what arrived, and with status 0 is RESPONSE_TOO_SHORT.
    return session_->call(
        [&](TarvixAsyncSDK& a, TransactionId id) {
            return a.i2cRead(id, bus, targetAddress, registerAddress, length, flag);
        },
        [&](const FrameReader& r) { r.requested(kDataOffset, length, readData); });
}

StatusCode TarvixSDK::i2cScanBus(std::vector<std::uint8_t>& addresses, std::uint8_t* oneByteCount,
                                 std::uint8_t* twoByteCount, std::uint8_t bus, bool flag)
{
    // The scan refuses a port the adapter does not have before touching the device.
    if (bus >= kI2cPortCount || oneByteCount == nullptr || twoByteCount == nullptr) {
        return StatusCode::INVALID_ARGUMENT;
    }
    return session_->call([&](TarvixAsyncSDK& a, TransactionId id) { return a.i2cScanBus(id, bus, flag); },
                          [&](FrameReader& r) {
                              *oneByteCount = r.u8(kOneByteCountOffset);
                              *twoByteCount = r.u8(kTwoByteCountOffset);
                              // The one-byte entries come first, then the two-byte entries, as
                              // received; an answer promising more than it holds is refused
                              // whole rather than handed over cut.
                              const std::size_t entryBytes = *oneByteCount + 2u * *twoByteCount;
                              if (!r.has(kDataOffset + entryBytes)) {
                                  r.fail(StatusCode::RESPONSE_TOO_SHORT);
                                  return;
                              }
                              r.bytes(kDataOffset, entryBytes, addresses);
                          });
}
