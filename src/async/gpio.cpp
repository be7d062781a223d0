// GPIO pins: configuration, level, interrupts. Every argument is one byte, the enumerator's
// value cut to 8 bits; which pins and modes exist is the firmware's business, so nothing is
// checked here and the adapter answers unknown values with its own status.
#include "../protocol/codes.hpp"
#include "session.hpp"

using namespace tarvix_detail;

StatusCode TarvixAsyncSDK::gpioConfigurePin(TransactionId transactionId, GpioPinNumber pinNumber,
                                            GpioFunctionality functionality, GpioLogicLevel logicLevel)
{
    return session_->send(transactionId, cmd::kGpioConfigurePin, true,
                          [&](FrameBuilder& f) { f.e8(pinNumber).e8(functionality).e8(logicLevel); });
}

StatusCode TarvixAsyncSDK::gpioDigitalWrite(TransactionId transactionId, GpioPinNumber pinNumber,
                                            GpioLogicLevel logicLevel)
{
    return session_->send(transactionId, cmd::kGpioDigitalWrite, true,
                          [&](FrameBuilder& f) { f.e8(pinNumber).e8(logicLevel); });
}

StatusCode TarvixAsyncSDK::gpioDigitalRead(TransactionId transactionId, GpioPinNumber pinNumber)
{
    return session_->send(transactionId, cmd::kGpioDigitalRead, true, [&](FrameBuilder& f) { f.e8(pinNumber); });
}

// An armed pin reports its events as unsolicited 0x1481 frames until it is disarmed.
StatusCode TarvixAsyncSDK::gpioConfigureInterrupt(TransactionId transactionId, GpioPinNumber pinNumber,
                                                  GpioTriggerType triggerType)
{
    return session_->send(transactionId, cmd::kGpioConfigureInterrupt, true,
                          [&](FrameBuilder& f) { f.e8(pinNumber).e8(triggerType); });
}

StatusCode TarvixAsyncSDK::gpioDisableInterrupt(TransactionId transactionId, GpioPinNumber pinNumber)
{
    return session_->send(transactionId, cmd::kGpioDisableInterrupt, true, [&](FrameBuilder& f) { f.e8(pinNumber); });
}
