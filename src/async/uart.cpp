// UART port: open, reconfigure, close, send. Received bytes are not asked for; they arrive as
// unsolicited 0x1081 frames. The settings are enumerations sent as their low byte; the baud rate
// in particular is an index into the adapter's list of rates, not bits per second.
#include "../protocol/codes.hpp"
#include "session.hpp"

using namespace tarvix_detail;

// Init and set-parameters carry the same five settings; only the command code tells them apart.
StatusCode TarvixAsyncSDK::uartInit(TransactionId transactionId, UartBaudRate baudRate, UartHwHandshake hwHandshake,
                                    UartParity parity, UartDataSize dataSize, UartStopBit stopBit)
{
    return session_->sendByteFields(transactionId, cmd::kUartInit, baudRate, hwHandshake, parity, dataSize, stopBit);
}

StatusCode TarvixAsyncSDK::uartSetParameters(TransactionId transactionId, UartBaudRate baudRate,
                                             UartHwHandshake hwHandshake, UartParity parity, UartDataSize dataSize,
                                             UartStopBit stopBit)
{
    return session_->sendByteFields(transactionId, cmd::kUartSetParameters, baudRate, hwHandshake, parity, dataSize,
                                    stopBit);
}

StatusCode TarvixAsyncSDK::uartDeinit(TransactionId transactionId)
{
    return session_->send(transactionId, cmd::kUartDeinit);
}

// No upper bound beyond the 16-bit count, which is the size cut to 16 bits while every byte is
// appended: the adapter refuses what it cannot send.
StatusCode TarvixAsyncSDK::uartSendMessage(TransactionId transactionId, const std::vector<std::uint8_t>& message)
{
    return session_->send(transactionId, cmd::kUartSendMessage, true,
                          [&](FrameBuilder& f) { f.u16(count16(message.size())).bytes(message); });
}
