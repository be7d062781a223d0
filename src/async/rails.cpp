// Supply rails: the rail shared by I2C, SPI, UART and GPIO, the I3C rail, and the analog
// read-back of both. Voltages travel as u16 in the adapter's own unit, never scaled or checked.
#include "../protocol/codes.hpp"
#include "session.hpp"

using namespace tarvix_detail;

StatusCode TarvixAsyncSDK::getAnalogMeasurements(TransactionId transactionId)
{
    return session_->send(transactionId, cmd::kGetAnalogMeasurements);
}

// One rail feeds the I2C, SPI, UART and GPIO pins; the four public names of each operation land
// here, so setting the "I2C" voltage sets the other three as well. That is the hardware, not an
// accident of the API.
StatusCode TarvixAsyncSDK::setI2cSpiUartGpioVoltage(TransactionId transactionId, std::uint16_t voltage, bool flag)
{
    return session_->send(transactionId, cmd::kSetSharedVoltage, true,
                          [&](FrameBuilder& f) { f.u16(voltage).flag(flag); });
}

StatusCode TarvixAsyncSDK::useExternalI2cSpiUartGpioVoltage(TransactionId transactionId, bool useExternal)
{
    return session_->send(transactionId, cmd::kUseExternalSharedVoltage, true,
                          [&](FrameBuilder& f) { f.flag(useExternal); });
}

// The I3C rail has no counterpart of the shared rail's extra flag byte.
StatusCode TarvixAsyncSDK::i3cSetBusVoltage(TransactionId transactionId, std::uint16_t voltage)
{
    return session_->send(transactionId, cmd::kSetI3cVoltage, true, [&](FrameBuilder& f) { f.u16(voltage); });
}

StatusCode TarvixAsyncSDK::i3cUseExternalVoltage(TransactionId transactionId, bool useExternal)
{
    return session_->send(transactionId, cmd::kUseExternalI3cVoltage, true,
                          [&](FrameBuilder& f) { f.flag(useExternal); });
}
