// GPIO pins: configuration, level, interrupts. Every payload is the pin and then the operation's
// settings, one byte each, the enumerator's value cut to 8 bits; which pins and modes exist is
// the firmware's business, so nothing is checked here and the adapter answers unknown values
// with its own status.
#include "../protocol/codes.hpp"
#include "session.hpp"

using namespace tarvix_detail;

StatusCode TarvixAsyncSDK::gpioConfigurePin(TransactionId transactionId, GpioPinNumber pinNumber,
                                            GpioFunctionality functionality, GpioLogicLevel logicLevel)
{
    return session_->sendByteFields(transactionId, cmd::kGpioConfigurePin, pinNumber, functionality, logicLevel);
}

StatusCode TarvixAsyncSDK::gpioDigitalWrite(TransactionId transactionId, GpioPinNumber pinNumber,
                                            GpioLogicLevel logicLevel)
{
    return session_->sendByteFields(transactionId, cmd::kGpioDigitalWrite, pinNumber, logicLevel);
}

StatusCode TarvixAsyncSDK::gpioDigitalRead(TransactionId transactionId, GpioPinNumber pinNumber)
{
    return session_->sendByteFields(transactionId, cmd::kGpioDigitalRead, pinNumber);
}

// An armed pin reports its events as unsolicited 0x1481 frames until it is disarmed.
StatusCode TarvixAsyncSDK::gpioConfigureInterrupt(TransactionId transactionId, GpioPinNumber pinNumber,
                                                  GpioTriggerType triggerType)
{
    return session_->sendByteFields(transactionId, cmd::kGpioConfigureInterrupt, pinNumber, triggerType);
}

StatusCode TarvixAsyncSDK::gpioDisableInterrupt(TransactionId transactionId, GpioPinNumber pinNumber)
{
    return session_->sendByteFields(transactionId, cmd::kGpioDisableInterrupt, pinNumber);
}
