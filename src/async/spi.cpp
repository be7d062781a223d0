// SPI controller: set-up and full-duplex transfers. The five settings are enumerations sent as
// their low byte, the frequency a u32 in the adapter's unit; none is checked here.
#include "../protocol/codes.hpp"
#include "session.hpp"

using namespace tarvix_detail;

namespace {

// Init and set-parameters carry the same six settings; only the command code tells them apart.
StatusCode sendControllerSettings(AsyncSession& session, TransactionId transactionId, std::uint16_t code,
                                  SpiBitOrder bitOrder, SpiMode mode, SpiDataWidth dataWidth, SpiChipSelect chipSelect,
                                  SpiChipSelectPolarity chipSelectPolarity, std::uint32_t frequency)
{
    return session.send(transactionId, code, true, [&](FrameBuilder& f) {
        f.e8(bitOrder).e8(mode).e8(dataWidth).e8(chipSelect).e8(chipSelectPolarity).u32(frequency);
    });
}

} // namespace

StatusCode TarvixAsyncSDK::spiControllerInit(TransactionId transactionId, SpiBitOrder bitOrder, SpiMode mode,
                                             SpiDataWidth dataWidth, SpiChipSelect chipSelect,
                                             SpiChipSelectPolarity chipSelectPolarity, std::uint32_t frequency)
{
    return sendControllerSettings(*session_, transactionId, cmd::kSpiControllerInit, bitOrder, mode, dataWidth,
                                  chipSelect, chipSelectPolarity, frequency);
}

StatusCode TarvixAsyncSDK::spiSetParameters(TransactionId transactionId, SpiBitOrder bitOrder, SpiMode mode,
                                            SpiDataWidth dataWidth, SpiChipSelect chipSelect,
                                            SpiChipSelectPolarity chipSelectPolarity, std::uint32_t frequency)
{
    return sendControllerSettings(*session_, transactionId, cmd::kSpiSetParameters, bitOrder, mode, dataWidth,
                                  chipSelect, chipSelectPolarity, frequency);
}

// The bytes to send and the length to clock are separate fields, both sent as given: how the
// adapter relates them (a read longer than the write, say) is its own affair.
StatusCode TarvixAsyncSDK::spiTransfer(TransactionId transactionId, std::vector<std::uint8_t>& data,
                                       std::uint16_t transferLength)
{
    return session_->send(transactionId, cmd::kSpiTransfer, true,
                          [&](FrameBuilder& f) { f.u16(count16(data.size())).u16(transferLength).bytes(data); });
}
