// GPIO pins. Only the digital read has a result: the pin level, one byte at offset 6.
#include "session.hpp"

using namespace tarvix_detail;

StatusCode TarvixSDK::gpioConfigurePin(GpioPinNumber pinNumber, GpioFunctionality functionality,
                                       GpioLogicLevel logicLevel)
{
    return session_->call([&](TarvixAsyncSDK& a, TransactionId id) {
        return a.gpioConfigurePin(id, pinNumber, functionality, logicLevel);
    });
}

StatusCode TarvixSDK::gpioDigitalWrite(GpioPinNumber pinNumber, GpioLogicLevel logicLevel)
{
    return session_->call(
        [&](TarvixAsyncSDK& a, TransactionId id) { return a.gpioDigitalWrite(id, pinNumber, logicLevel); });
}

StatusCode TarvixSDK::gpioDigitalRead(GpioPinNumber pinNumber, GpioLogicLevel& logicLevel)
{
    // The byte is zero-extended as it stands; a value outside the declared levels is the
    // firmware's to explain, not the library's to hide.
    return session_->call([&](TarvixAsyncSDK& a, TransactionId id) { return a.gpioDigitalRead(id, pinNumber); },
                          [&](const FrameReader& r) { logicLevel = static_cast<GpioLogicLevel>(r.u8(6)); });
}

StatusCode TarvixSDK::gpioConfigureInterrupt(GpioPinNumber pinNumber, GpioTriggerType triggerType)
{
    return session_->call(
        [&](TarvixAsyncSDK& a, TransactionId id) { return a.gpioConfigureInterrupt(id, pinNumber, triggerType); });
}

StatusCode TarvixSDK::gpioDisableInterrupt(GpioPinNumber pinNumber)
{
    return session_->call([&](TarvixAsyncSDK& a, TransactionId id) { return a.gpioDisableInterrupt(id, pinNumber); });
}
