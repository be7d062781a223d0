// System commands: reset, boot mode, USB strings, device information.
#include "../async/command_codes.hpp"
#include "session.hpp"

using namespace tarvix_detail;

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
    const StatusCode exchanged =
        session_->exchange([&](TarvixAsyncSDK& a, TransactionId id) { return a.getUsbString(id, index); }, transactionId);
    if (exchanged != StatusCode::SUCCESS) {
        return exchanged;
    }
    // The one response that is checked: it must answer this very request. Its status field is
    // not read; a matching answer always counts as success.
    const FrameReader reader(session_->response());
    if (!reader.has(4) || reader.u16(0) != transactionId || reader.u16(2) != cmd::kGetUsbString) {
        return StatusCode::UNEXPECTED_RESPONSE;
    }
    if (!reader.has(7)) {
        return StatusCode::RESPONSE_TOO_SHORT;
    }
    // Byte 6 is the string length plus one; 0 (a length of -1) reads as an empty string.
    const std::uint8_t lengthPlusOne = reader.u8(6);
    reader.bytes(7, lengthPlusOne > 0 ? lengthPlusOne - 1u : 0u, out);
    return StatusCode::SUCCESS;
}

StatusCode TarvixSDK::getDeviceInfo(DeviceInfo& info)
{
    if (!isConnected()) {
        return StatusCode::NOT_CONNECTED;
    }
    std::string DeviceInfo::*const fields[] = {&DeviceInfo::usbString1, &DeviceInfo::usbString2, &DeviceInfo::usbString3,
                                               &DeviceInfo::usbString4, &DeviceInfo::usbString5};
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
