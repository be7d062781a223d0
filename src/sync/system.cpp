// System commands: reset, boot mode, USB strings, device information.
#include "../protocol/codes.hpp"
#include "session.hpp"

using namespace tarvix_detail;

namespace {

// A USB string answer: the length plus one, then the text (no terminator).
constexpr std::size_t kLengthPlusOneOffset = kResponsePayloadOffset;
constexpr std::size_t kTextOffset = kResponsePayloadOffset + 1;

} // namespace

StatusCode TarvixSDK::resetDevice()
{
    // The adapter restarts instead of answering: send and return, never wait.
    return session_->async.resetDevice(session_->nextTransactionId());
}

StatusCode TarvixSDK::enterBootMode()
{
    return session_->async.enterBootMode(session_->nextTransactionId());
}

StatusCode TarvixSDK::getUsbString(std::vector<std::uint8_t>& out, std::uint8_t index)
{
    TransactionId transactionId = 0;
    const StatusCode exchanged = session_->exchange(
        [&](TarvixAsyncSDK& a, TransactionId id) { return a.getUsbString(id, index); }, transactionId);
    if (exchanged != StatusCode::SUCCESS) {
        return exchanged;
    }
    // The one response that is checked: it must answer this very request. Its status field is
    // not read; a matching answer always counts as success.
    const FrameReader reader(session_->response());
    if (!reader.has(kStatusOffset) || reader.u16(kTransactionIdOffset) != transactionId ||
        reader.u16(kCodeOffset) != cmd::kGetUsbString) {
        return StatusCode::UNEXPECTED_RESPONSE;
    }
    if (!reader.has(kTextOffset)) {
        return StatusCode::RESPONSE_TOO_SHORT;
    }
    // The length byte is the string length plus one; 0 (a length of -1) reads as an empty string.
    const std::uint8_t lengthPlusOne = reader.u8(kLengthPlusOneOffset);
    reader.bytes(kTextOffset, lengthPlusOne > 0 ? lengthPlusOne - 1u : 0u, out);
    return StatusCode::SUCCESS;
}

StatusCode TarvixSDK::getDeviceInfo(DeviceInfo& info)
{
    if (!isConnected()) {
        return StatusCode::NOT_CONNECTED;
    }
    std::string DeviceInfo::*const fields[] = {&DeviceInfo::usbString1, &DeviceInfo::usbString2,
                                               &DeviceInfo::usbString3, &DeviceInfo::usbString4,
                                               &DeviceInfo::usbString5};
    std::uint8_t index = 1;
    for (std::string DeviceInfo::*field : fields) {
        std::vector<std::uint8_t> text;
        const StatusCode status = getUsbString(text, index++);
        if (status != StatusCode::SUCCESS) {
            return status;
        }
        info.*field = std::string(text.begin(), text.end());
    }
    return StatusCode::SUCCESS;
}
