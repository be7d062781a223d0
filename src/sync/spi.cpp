// SPI controller. A transfer's answer carries the device's received-byte count (u16 at offset 6)
// and the received bytes from offset 8.
#include "session.hpp"

using namespace tarvix_detail;

StatusCode TarvixSDK::spiControllerInit(SpiBitOrder bitOrder, SpiMode mode, SpiDataWidth dataWidth,
                                        SpiChipSelect chipSelect, SpiChipSelectPolarity chipSelectPolarity,
                                        std::uint32_t frequency)
{
    return session_->call([&](TarvixAsyncSDK& a, TransactionId id) {
        return a.spiControllerInit(id, bitOrder, mode, dataWidth, chipSelect, chipSelectPolarity, frequency);
    });
}

StatusCode TarvixSDK::spiSetParameters(SpiBitOrder bitOrder, SpiMode mode, SpiDataWidth dataWidth,
                                       SpiChipSelect chipSelect, SpiChipSelectPolarity chipSelectPolarity,
                                       std::uint32_t frequency)
{
    return session_->call([&](TarvixAsyncSDK& a, TransactionId id) {
        return a.spiSetParameters(id, bitOrder, mode, dataWidth, chipSelect, chipSelectPolarity, frequency);
    });
}

StatusCode TarvixSDK::spiTransfer(const std::vector<std::uint8_t>& data, std::vector<std::uint8_t>& readData,
                                  std::uint16_t transferLength)
{
    return session_->call(
        [&](TarvixAsyncSDK& a, TransactionId id) {
            // The asynchronous method takes `data` by non-const reference but only reads it, so
            // the cast is safe and spares copying a possibly large buffer.
            return a.spiTransfer(id, const_cast<std::vector<std::uint8_t>&>(data), transferLength);
        },
        // The count is the device's; the bytes taken are cut to what arrived, and fewer than
        // counted make a status of 0 RESPONSE_TOO_SHORT.
        [&](const FrameReader& r) { r.declared(8, r.u16(6), readData); });
}
