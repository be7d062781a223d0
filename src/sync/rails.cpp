// Supply rails. The shared I2C/SPI/UART/GPIO rail has four names per operation, one per family,
// so that each family's interface stands on its own; all four address the same rail.
// Reading back goes through the analog-measurement command, whose answer carries both rails:
// the shared rail at offset 6, the two I3C rail readings at 8 and 10.
#include "session.hpp"

using namespace tarvix_detail;

namespace {

constexpr std::size_t kSharedRailOffset = 6;
constexpr std::size_t kI3cRail1Offset = 8;
constexpr std::size_t kI3cRail2Offset = 10;

StatusCode setSharedRail(SyncSession& session, std::uint16_t voltage, bool flag)
{
    // Any of the four asynchronous names would do; they are one command.
    return session.call([&](TarvixAsyncSDK& a, TransactionId id) { return a.i2cSetBusVoltage(id, voltage, flag); });
}

StatusCode useExternalSharedRail(SyncSession& session, bool useExternal)
{
    return session.call([&](TarvixAsyncSDK& a, TransactionId id) { return a.i2cUseExternalVoltage(id, useExternal); });
}

StatusCode getSharedRail(SyncSession& session, std::uint16_t& voltage)
{
    return session.call([](TarvixAsyncSDK& a, TransactionId id) { return a.getAnalogMeasurements(id); },
                        [&](const FrameReader& r) { voltage = r.u16(kSharedRailOffset); });
}

} // namespace

StatusCode TarvixSDK::gpioSetVoltage(std::uint16_t voltage, bool flag)
{
    return setSharedRail(*session_, voltage, flag);
}
StatusCode TarvixSDK::i2cSetBusVoltage(std::uint16_t voltage, bool flag)
{
    return setSharedRail(*session_, voltage, flag);
}
StatusCode TarvixSDK::spiSetBusVoltage(std::uint16_t voltage, bool flag)
{
    return setSharedRail(*session_, voltage, flag);
}
StatusCode TarvixSDK::uartSetBusVoltage(std::uint16_t voltage, bool flag)
{
    return setSharedRail(*session_, voltage, flag);
}

StatusCode TarvixSDK::gpioUseExternalVoltage(bool useExternal)
{
    return useExternalSharedRail(*session_, useExternal);
}
StatusCode TarvixSDK::i2cUseExternalVoltage(bool useExternal)
{
    return useExternalSharedRail(*session_, useExternal);
}
StatusCode TarvixSDK::spiUseExternalVoltage(bool useExternal)
{
    return useExternalSharedRail(*session_, useExternal);
}
StatusCode TarvixSDK::uartUseExternalVoltage(bool useExternal)
{
    return useExternalSharedRail(*session_, useExternal);
}

StatusCode TarvixSDK::gpioGetVoltage(std::uint16_t& voltage)
{
    return getSharedRail(*session_, voltage);
}
StatusCode TarvixSDK::i2cGetBusVoltage(std::uint16_t& voltage)
{
    return getSharedRail(*session_, voltage);
}
StatusCode TarvixSDK::spiGetBusVoltage(std::uint16_t& voltage)
{
    return getSharedRail(*session_, voltage);
}
StatusCode TarvixSDK::uartGetBusVoltage(std::uint16_t& voltage)
{
    return getSharedRail(*session_, voltage);
}

StatusCode TarvixSDK::i3cSetBusVoltage(std::uint16_t voltage)
{
    return session_->call([&](TarvixAsyncSDK& a, TransactionId id) { return a.i3cSetBusVoltage(id, voltage); });
}

StatusCode TarvixSDK::i3cUseExternalVoltage(bool useExternal)
{
    return session_->call(
        [&](TarvixAsyncSDK& a, TransactionId id) { return a.i3cUseExternalVoltage(id, useExternal); });
}

StatusCode TarvixSDK::i3cGetBusVoltage(std::uint16_t& voltage1, std::uint16_t& voltage2)
{
    return session_->call([](TarvixAsyncSDK& a, TransactionId id) { return a.getAnalogMeasurements(id); },
                          [&](const FrameReader& r) {
                              voltage1 = r.u16(kI3cRail1Offset);
                              voltage2 = r.u16(kI3cRail2Offset);
                          });
}
