// System commands: reset, boot mode, USB strings.
#include "../protocol/codes.hpp"
#include "session.hpp"

using namespace tarvix_detail;

StatusCode TarvixAsyncSDK::resetDevice(TransactionId transactionId)
{
    return session_->send(transactionId, cmd::kResetDevice);
}

StatusCode TarvixAsyncSDK::enterBootMode(TransactionId transactionId)
{
    return session_->send(transactionId, cmd::kEnterBootMode);
}

StatusCode TarvixAsyncSDK::getUsbString(TransactionId transactionId, std::uint8_t index)
{
    return session_->sendByteFields(transactionId, cmd::kGetUsbString, index);
}
