// UART port. No command has outputs; received data comes as notifications.
#include "session.hpp"

using namespace tarvix_detail;

StatusCode TarvixSDK::uartInit(UartBaudRate baudRate, UartHwHandshake hwHandshake, UartParity parity,
                               UartDataSize dataSize, UartStopBit stopBit)
{
    return session_->call([&](TarvixAsyncSDK& a, TransactionId id) {
        return a.uartInit(id, baudRate, hwHandshake, parity, dataSize, stopBit);
    });
}

StatusCode TarvixSDK::uartSetParameters(UartBaudRate baudRate, UartHwHandshake hwHandshake, UartParity parity,
                                        UartDataSize dataSize, UartStopBit stopBit)
{
    return session_->call([&](TarvixAsyncSDK& a, TransactionId id) {
        return a.uartSetParameters(id, baudRate, hwHandshake, parity, dataSize, stopBit);
    });
}

StatusCode TarvixSDK::uartDeinit()
{
    return session_->call([](TarvixAsyncSDK& a, TransactionId id) { return a.uartDeinit(id); });
}

StatusCode TarvixSDK::uartSendMessage(const std::vector<std::uint8_t>& message)
{
    return session_->call([&](TarvixAsyncSDK& a, TransactionId id) { return a.uartSendMessage(id, message); });
}
