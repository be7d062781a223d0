// Flat interface: the command functions. First the pure forwards, one line each; then the
// functions that convert arrays, optionals and enumerations on their way to the method. Every
// body runs under guard() (forward() does it for the one-liners): an exception from the C++
// layer becomes StatusCode::SYSTEM_ERROR instead of unwinding into the C caller.
#include "handle.hpp"

#include "../protocol/layout.hpp"

#include <algorithm>
#include <cstring>
#include <optional>
#include <vector>

using tarvix_flat::bytesFrom;
using tarvix_flat::forward;
using tarvix_flat::guard;
using tarvix_flat::inputValid;
using tarvix_flat::required;
using tarvix_flat::unchecked;
using H = TarvixSDK_Handle;
using S = TarvixSDK;

// clang-format off
// -- Device, rails, GPIO ----------------------------------------------------------------------------
StatusCode TarvixSDK_EnterBootMode(H* h) { return forward(h, &S::enterBootMode); }
StatusCode TarvixSDK_ResetDevice(H* h) { return forward(h, &S::resetDevice); }
StatusCode TarvixSDK_GpioConfigureInterrupt(H* h, GpioPinNumber pin, GpioTriggerType trigger) { return forward(h, &S::gpioConfigureInterrupt, pin, trigger); }
StatusCode TarvixSDK_GpioDigitalRead(H* h, GpioPinNumber pin, GpioLogicLevel* level) { return forward(h, &S::gpioDigitalRead, pin, unchecked(level)); }
StatusCode TarvixSDK_GpioDigitalWrite(H* h, GpioPinNumber pin, GpioLogicLevel level) { return forward(h, &S::gpioDigitalWrite, pin, level); }
StatusCode TarvixSDK_GpioDisableInterrupt(H* h, GpioPinNumber pin) { return forward(h, &S::gpioDisableInterrupt, pin); }
// The shared I2C/SPI/UART/GPIO rail: four names for each operation, one per family.
StatusCode TarvixSDK_GpioGetVoltage(H* h, uint16_t* voltage) { return forward(h, &S::gpioGetVoltage, required(voltage)); }
StatusCode TarvixSDK_I2cGetBusVoltage(H* h, uint16_t* voltage) { return forward(h, &S::i2cGetBusVoltage, required(voltage)); }
StatusCode TarvixSDK_SpiGetBusVoltage(H* h, uint16_t* voltage) { return forward(h, &S::spiGetBusVoltage, required(voltage)); }
StatusCode TarvixSDK_UartGetBusVoltage(H* h, uint16_t* voltage) { return forward(h, &S::uartGetBusVoltage, required(voltage)); }
StatusCode TarvixSDK_GpioSetVoltage(H* h, uint16_t voltage, bool flag) { return forward(h, &S::gpioSetVoltage, voltage, flag); }
StatusCode TarvixSDK_I2cSetBusVoltage(H* h, uint16_t voltage, bool flag) { return forward(h, &S::i2cSetBusVoltage, voltage, flag); }
StatusCode TarvixSDK_SpiSetBusVoltage(H* h, uint16_t voltage, bool flag) { return forward(h, &S::spiSetBusVoltage, voltage, flag); }
StatusCode TarvixSDK_UartSetBusVoltage(H* h, uint16_t voltage, bool flag) { return forward(h, &S::uartSetBusVoltage, voltage, flag); }
StatusCode TarvixSDK_GpioUseExternalVoltage(H* h, bool useExternal) { return forward(h, &S::gpioUseExternalVoltage, useExternal); }
StatusCode TarvixSDK_I2cUseExternalVoltage(H* h, bool useExternal) { return forward(h, &S::i2cUseExternalVoltage, useExternal); }
StatusCode TarvixSDK_SpiUseExternalVoltage(H* h, bool useExternal) { return forward(h, &S::spiUseExternalVoltage, useExternal); }
StatusCode TarvixSDK_UartUseExternalVoltage(H* h, bool useExternal) { return forward(h, &S::uartUseExternalVoltage, useExternal); }
// The I3C rail.
StatusCode TarvixSDK_I3cGetBusVoltage(H* h, uint16_t* voltage1, uint16_t* voltage2) { return forward(h, &S::i3cGetBusVoltage, required(voltage1), required(voltage2)); }
StatusCode TarvixSDK_I3cSetBusVoltage(H* h, uint16_t voltage) { return forward(h, &S::i3cSetBusVoltage, voltage); }
StatusCode TarvixSDK_I3cUseExternalVoltage(H* h, bool useExternal) { return forward(h, &S::i3cUseExternalVoltage, useExternal); }

// -- I2C, SPI, UART settings ------------------------------------------------------------------------
StatusCode TarvixSDK_I2cControllerInit(H* h, uint8_t bus, uint32_t frequency, uint8_t option) { return forward(h, &S::i2cControllerInit, bus, frequency, option); }
StatusCode TarvixSDK_I2cSetParameters(H* h, uint8_t bus, uint32_t frequency, uint8_t option) { return forward(h, &S::i2cSetParameters, bus, frequency, option); }
StatusCode TarvixSDK_I2cSetPullUpResistors(H* h, uint8_t bus, uint8_t pullUp) { return forward(h, &S::i2cSetPullUpResistors, bus, pullUp); }
StatusCode TarvixSDK_SpiControllerInit(H* h, SpiBitOrder bitOrder, SpiMode mode, SpiDataWidth dataWidth, SpiChipSelect chipSelect, SpiChipSelectPolarity polarity, uint32_t frequency) { return forward(h, &S::spiControllerInit, bitOrder, mode, dataWidth, chipSelect, polarity, frequency); }
StatusCode TarvixSDK_SpiSetParameters(H* h, SpiBitOrder bitOrder, SpiMode mode, SpiDataWidth dataWidth, SpiChipSelect chipSelect, SpiChipSelectPolarity polarity, uint32_t frequency) { return forward(h, &S::spiSetParameters, bitOrder, mode, dataWidth, chipSelect, polarity, frequency); }
StatusCode TarvixSDK_UartInit(H* h, UartBaudRate baudRate, UartHwHandshake handshake, UartParity parity, UartDataSize dataSize, UartStopBit stopBit) { return forward(h, &S::uartInit, baudRate, handshake, parity, dataSize, stopBit); }
StatusCode TarvixSDK_UartSetParameters(H* h, UartBaudRate baudRate, UartHwHandshake handshake, UartParity parity, UartDataSize dataSize, UartStopBit stopBit) { return forward(h, &S::uartSetParameters, baudRate, handshake, parity, dataSize, stopBit); }
StatusCode TarvixSDK_UartDeinit(H* h) { return forward(h, &S::uartDeinit); }

// -- I3C controller, bus, patterns --------------------------------------------------------------------
StatusCode TarvixSDK_I3cControllerInit(H* h, I3cPushPullRate pushPull, I3cOpenDrainTransferRate openDrain, I2cTransferRate i2c, I3cDriveStrength drive) { return forward(h, &S::i3cControllerInit, pushPull, openDrain, i2c, drive); }
StatusCode TarvixSDK_I3cSetParameters(H* h, I3cPushPullRate pushPull, I3cOpenDrainTransferRate openDrain, I2cTransferRate i2c, I3cDriveStrength drive) { return forward(h, &S::i3cSetParameters, pushPull, openDrain, i2c, drive); }
StatusCode TarvixSDK_I3cResetBus(H* h) { return forward(h, &S::i3cResetBus); }
StatusCode TarvixSDK_I3cHdrExitPattern(H* h) { return forward(h, &S::i3cHdrExitPattern); }
StatusCode TarvixSDK_I3cTargetResetPattern(H* h) { return forward(h, &S::i3cTargetResetPattern); }
StatusCode TarvixSDK_I3cSetTargetDeviceConfiguration(H* h, uint8_t address, uint8_t configuration) { return forward(h, &S::i3cSetTargetDeviceConfiguration, address, I3cTargetConfiguration{configuration}); }

// clang-format on

// -- Conversions --------------------------------------------------------------------------------------

namespace {

using Bytes = std::vector<std::uint8_t>;

// A Provisioned ID is 48 bits; the other variable CCC answers hold at most what their count
// byte can say.
constexpr std::size_t kPidSize = 6;
constexpr std::size_t kMaxCccData = 255;

bool registerAddressValid(const std::uint8_t* registerAddress, std::uint8_t length) noexcept
{
    return length <= tarvix_detail::kMaxRegisterAddressBytes && (length == 0 || registerAddress != nullptr);
}

// Results reach the caller's buffer, and their count its length variable (when it passed one),
// only when the call succeeded; otherwise both are left as they were. The buffer receives at
// most `capacity` bytes, what the caller said it holds, however many the adapter counted: the
// adapter's count is not to be trusted with the caller's memory. The length variable gets the
// adapter's count, as snprintf reports what it would have written, so that a caller can tell
// that more was offered than its buffer took.
template <class Length = std::uint8_t>
StatusCode copyOutOnSuccess(StatusCode status, const Bytes& result, std::uint8_t* out, std::size_t capacity,
                            Length* length = nullptr) noexcept
{
    if (status == StatusCode::SUCCESS) {
        const std::size_t copied = std::min(result.size(), capacity);
        if (copied > 0) {
            std::memcpy(out, result.data(), copied);
        }
        if (length != nullptr) {
            *length = static_cast<Length>(result.size());
        }
    }
    return status;
}

// The optional trailing bytes of SETBUSCON and SETXTIME: a pointer means present (empty when
// the count is 0), null means absent. Null with a count is the caller's error, refused before.
std::optional<Bytes> optionalBytes(const std::uint8_t* data, std::size_t count)
{
    return data != nullptr ? std::optional<Bytes>(std::in_place, data, data + count) : std::nullopt;
}

std::optional<std::uint8_t> optionalByte(bool present, std::uint8_t value)
{
    return present ? std::optional<std::uint8_t>(value) : std::nullopt;
}

// The I3C byte enumerations cross as 32-bit values; the wire carries their low byte.
I3cTargetResetDefByte resetAction(std::uint32_t value) noexcept
{
    return static_cast<I3cTargetResetDefByte>(tarvix_detail::lowByte(value));
}
I3cTransferDirection transferDirection(std::uint32_t value) noexcept
{
    return static_cast<I3cTransferDirection>(tarvix_detail::lowByte(value));
}

// Variable CCC reads (GETPID, GETMXDS, GETXTIME, GETCAPS, GETSTATUS): the bytes and, except for
// GETPID, their count (at most 255, the CCC answer's count byte) are copied out on success only,
// at most `capacity` bytes of them.
template <class Read>
StatusCode cccBytes(H* h, std::uint8_t* buffer, std::size_t capacity, std::uint8_t* length, bool wantsLength, Read read)
{
    if (h == nullptr) {
        return StatusCode::NOT_CONNECTED;
    }
    if (buffer == nullptr || (wantsLength && length == nullptr)) {
        return StatusCode::INVALID_ARGUMENT;
    }
    return guard([&] {
        Bytes result;
        const StatusCode status = read(*h->sdk, result);
        return copyOutOnSuccess(status, result, buffer, capacity, length);
    });
}

// SDR and legacy I2C transfers have one signature per direction; they differ only in the
// method called. Reads share their checks and their copy (at most the `length` asked for); only
// SDR reports the count.
using RegisterRead = StatusCode (S::*)(std::uint8_t, const Bytes&, std::uint16_t, Bytes&, I3cTransferFlags);
using RegisterWrite = StatusCode (S::*)(std::uint8_t, const Bytes&, const Bytes&, I3cTransferFlags);

StatusCode privateRead(H* h, RegisterRead read, std::uint8_t targetAddress, const std::uint8_t* registerAddress,
                       std::uint8_t registerAddressLength, std::uint16_t length, std::uint8_t* data,
                       std::uint16_t* dataLength, bool wantsLength, I3cTransferFlags flags)
{
    if (h == nullptr) {
        return StatusCode::NOT_CONNECTED;
    }
    if (!registerAddressValid(registerAddress, registerAddressLength) || data == nullptr ||
        (wantsLength && dataLength == nullptr)) {
        return StatusCode::INVALID_ARGUMENT;
    }
    return guard([&] {
        Bytes result;
        const StatusCode status = (h->sdk.get()->*read)(
            targetAddress, bytesFrom(registerAddress, registerAddressLength), length, result, flags);
        return copyOutOnSuccess(status, result, data, length, dataLength);
    });
}

StatusCode privateWrite(H* h, RegisterWrite write, std::uint8_t targetAddress, const std::uint8_t* registerAddress,
                        std::uint8_t registerAddressLength, const std::uint8_t* data, std::uint16_t dataLength,
                        I3cTransferFlags flags)
{
    if (h == nullptr) {
        return StatusCode::NOT_CONNECTED;
    }
    if (!registerAddressValid(registerAddress, registerAddressLength) || !inputValid(data, dataLength)) {
        return StatusCode::INVALID_ARGUMENT;
    }
    return guard([&] {
        return (h->sdk.get()->*write)(targetAddress, bytesFrom(registerAddress, registerAddressLength),
                                      bytesFrom(data, dataLength), flags);
    });
}

// SETBUSCON and SETXTIME: optional trailing bytes checked, then the method.
template <class Send>
StatusCode withExtraData(H* h, const std::uint8_t* extraData, std::size_t extraLength, Send send)
{
    if (h == nullptr) {
        return StatusCode::NOT_CONNECTED;
    }
    if (extraData == nullptr && extraLength != 0) {
        return StatusCode::INVALID_ARGUMENT;
    }
    return guard([&] { return send(*h->sdk, optionalBytes(extraData, extraLength)); });
}

} // namespace

StatusCode TarvixSDK_GpioConfigurePin(H* h, GpioPinNumber pin, GpioFunctionality functionality, bool hasLevel,
                                      GpioLogicLevel level)
{
    return forward(h, &S::gpioConfigurePin, pin, functionality, hasLevel ? level : GpioLogicLevel{});
}

StatusCode TarvixSDK_I2cRead(H* h, uint8_t bus, uint8_t targetAddress, const uint8_t* registerAddress,
                             uint8_t registerAddressLength, uint16_t length, uint8_t* readData, bool flag)
{
    if (h == nullptr) {
        return StatusCode::NOT_CONNECTED;
    }
    if (!registerAddressValid(registerAddress, registerAddressLength) || readData == nullptr) {
        return StatusCode::INVALID_ARGUMENT;
    }
    return guard([&] {
        Bytes result(length);
        const StatusCode status = h->sdk->i2cRead(bus, targetAddress, bytesFrom(registerAddress, registerAddressLength),
                                                  length, result, flag);
        return copyOutOnSuccess(status, result, readData, length);
    });
}

StatusCode TarvixSDK_I2cWrite(H* h, uint8_t bus, uint8_t targetAddress, const uint8_t* registerAddress,
                              uint8_t registerAddressLength, const uint8_t* data, uint32_t dataLength, bool flag)
{
    if (h == nullptr) {
        return StatusCode::NOT_CONNECTED;
    }
    if (!registerAddressValid(registerAddress, registerAddressLength) || !inputValid(data, dataLength)) {
        return StatusCode::INVALID_ARGUMENT;
    }
    return guard([&] {
        return h->sdk->i2cWrite(bus, targetAddress, bytesFrom(registerAddress, registerAddressLength),
                                bytesFrom(data, dataLength), flag);
    });
}

// The capacity is compared with the bytes of the list (one-byte entries take one byte, two-byte
// entries two), which is what the caller's buffer must hold. A list that does not fit is refused
// whole, after the scan, rather than handed over cut.
StatusCode TarvixSDK_I2cScanBus(H* h, uint8_t* addresses, uint8_t capacity, uint8_t* oneByteCount,
                                uint8_t* twoByteCount, uint8_t bus, bool flag)
{
    if (h == nullptr) {
        return StatusCode::NOT_CONNECTED;
    }
    if (bus >= tarvix_detail::kI2cPortCount || addresses == nullptr || oneByteCount == nullptr ||
        twoByteCount == nullptr) {
        return StatusCode::INVALID_ARGUMENT;
    }
    return guard([&] {
        Bytes list;
        const StatusCode status = h->sdk->i2cScanBus(list, oneByteCount, twoByteCount, bus, flag);
        if (status == StatusCode::SUCCESS && list.size() > capacity) {
            return StatusCode::INVALID_ARGUMENT;
        }
        return copyOutOnSuccess(status, list, addresses, capacity);
    });
}

// The transmit bytes are copied before the handle is looked at; a null rxBuffer takes nothing.
StatusCode TarvixSDK_SpiTransfer(H* h, const uint8_t* txData, uint16_t txLength, uint8_t* rxBuffer, uint16_t length)
{
    return guard([&] {
        const Bytes tx = bytesFrom(txData, txLength);
        if (h == nullptr) {
            return StatusCode::NOT_CONNECTED;
        }
        Bytes rx;
        const StatusCode status = h->sdk->spiTransfer(tx, rx, length);
        return copyOutOnSuccess(status, rx, rxBuffer, rxBuffer != nullptr ? length : 0);
    });
}

StatusCode TarvixSDK_UartSendMessage(H* h, const uint8_t* data, uint16_t length)
{
    return guard([&] {
        const Bytes message(data, data + length);
        return forward(h, &S::uartSendMessage, message);
    });
}

StatusCode TarvixSDK_I3cInitBus(H* h, const I3cTargetInfo* targets, uint8_t count)
{
    return guard([&] {
        std::vector<I3cTargetInfo> list(targets, targets + count);
        return h == nullptr ? StatusCode::NOT_CONNECTED : h->sdk->i3cInitBus(std::move(list));
    });
}

StatusCode TarvixSDK_I3cGetDeviceTable(H* h, I3cTargetInfo* table, uint8_t capacity, uint8_t* count)
{
    if (h == nullptr) {
        return StatusCode::NOT_CONNECTED;
    }
    if (table == nullptr || count == nullptr) {
        return StatusCode::INVALID_ARGUMENT;
    }
    return guard([&] {
        std::vector<I3cTargetInfo> entries;
        const StatusCode status = h->sdk->i3cGetDeviceTable(entries);
        if (status == StatusCode::SUCCESS) {
            const std::size_t kept = std::min<std::size_t>(capacity, entries.size());
            std::copy_n(entries.begin(), kept, table);
            *count = static_cast<std::uint8_t>(kept);
        }
        return status;
    });
}

StatusCode TarvixSDK_I3cSdrRead(H* h, uint8_t targetAddress, const uint8_t* registerAddress,
                                uint8_t registerAddressLength, uint16_t length, uint8_t* data, uint16_t* dataLength,
                                I3cTransferFlags flags)
{
    return privateRead(h, &S::i3cSdrRead, targetAddress, registerAddress, registerAddressLength, length, data,
                       dataLength, true, flags);
}

StatusCode TarvixSDK_I3cLegacyI2CRead(H* h, uint8_t targetAddress, const uint8_t* registerAddress,
                                      uint8_t registerAddressLength, uint16_t length, uint8_t* data,
                                      I3cTransferFlags flags)
{
    return privateRead(h, &S::i3cLegacyI2cRead, targetAddress, registerAddress, registerAddressLength, length, data,
                       nullptr, false, flags);
}

StatusCode TarvixSDK_I3cSdrWrite(H* h, uint8_t targetAddress, const uint8_t* registerAddress,
                                 uint8_t registerAddressLength, const uint8_t* data, uint16_t dataLength,
                                 I3cTransferFlags flags)
{
    return privateWrite(h, &S::i3cSdrWrite, targetAddress, registerAddress, registerAddressLength, data, dataLength,
                        flags);
}

StatusCode TarvixSDK_I3cLegacyI2CWrite(H* h, uint8_t targetAddress, const uint8_t* registerAddress,
                                       uint8_t registerAddressLength, const uint8_t* data, uint16_t dataLength,
                                       I3cTransferFlags flags)
{
    return privateWrite(h, &S::i3cLegacyI2cWrite, targetAddress, registerAddress, registerAddressLength, data,
                        dataLength, flags);
}

StatusCode TarvixSDK_I3cHdrDdrRead(H* h, uint8_t targetAddress, uint8_t command, uint16_t length, uint16_t* dataLength,
                                   uint8_t* data)
{
    if (h == nullptr) {
        return StatusCode::NOT_CONNECTED;
    }
    if (data == nullptr || dataLength == nullptr) {
        return StatusCode::INVALID_ARGUMENT;
    }
    return guard([&] {
        Bytes result;
        const StatusCode status = h->sdk->i3cHdrDdrRead(targetAddress, command, length, result);
        return copyOutOnSuccess(status, result, data, length, dataLength);
    });
}

StatusCode TarvixSDK_I3cHdrDdrWrite(H* h, uint8_t targetAddress, uint8_t command, const uint8_t* data,
                                    uint16_t dataLength)
{
    if (h == nullptr) {
        return StatusCode::NOT_CONNECTED;
    }
    if (!inputValid(data, dataLength)) {
        return StatusCode::INVALID_ARGUMENT;
    }
    return guard([&] { return h->sdk->i3cHdrDdrWrite(targetAddress, command, bytesFrom(data, dataLength)); });
}

StatusCode TarvixSDK_I3cCccSETMRLBroadcast(H* h, uint16_t maxReadLength, bool hasMaxIbiPayloadSize,
                                           uint8_t maxIbiPayloadSize)
{
    return forward(h, &S::i3cCccSETMRLBroadcast, maxReadLength, optionalByte(hasMaxIbiPayloadSize, maxIbiPayloadSize));
}

StatusCode TarvixSDK_I3cCccSETMRLDirect(H* h, uint8_t address, uint16_t maxReadLength, bool hasMaxIbiPayloadSize,
                                        uint8_t maxIbiPayloadSize)
{
    return forward(h, &S::i3cCccSETMRLDirect, address, maxReadLength,
                   optionalByte(hasMaxIbiPayloadSize, maxIbiPayloadSize));
}

StatusCode TarvixSDK_I3cCccSETBUSCONBroadcast(H* h, uint8_t context, const uint8_t* extraData, size_t extraLength)
{
    return withExtraData(h, extraData, extraLength, [&](S& sdk, const std::optional<Bytes>& extra) {
        return sdk.i3cCccSETBUSCONBroadcast(context, extra);
    });
}

StatusCode TarvixSDK_I3cCccSETXTIMEBroadcast(H* h, uint8_t subcommand, const uint8_t* extraData, size_t extraLength)
{
    return withExtraData(h, extraData, extraLength, [&](S& sdk, const std::optional<Bytes>& extra) {
        return sdk.i3cCccSETXTIMEBroadcast(subcommand, extra);
    });
}

StatusCode TarvixSDK_I3cCccSETXTIMEDirect(H* h, uint8_t address, uint8_t subcommand, const uint8_t* extraData,
                                          size_t extraLength)
{
    return withExtraData(h, extraData, extraLength, [&](S& sdk, const std::optional<Bytes>& extra) {
        return sdk.i3cCccSETXTIMEDirect(address, subcommand, extra);
    });
}

StatusCode TarvixSDK_I3cCccSETAASA(H* h, const uint8_t* data, size_t count)
{
    return guard([&] {
        const Bytes bytes(data, data + count);
        return forward(h, &S::i3cCccSETAASA, bytes);
    });
}

StatusCode TarvixSDK_I3cCccRSTACTBroadcast(H* h, uint32_t action)
{
    return forward(h, &S::i3cCccRSTACTBroadcast, resetAction(action));
}

// A write needs no place for the reset time; a read does.
StatusCode TarvixSDK_I3cCccRSTACTDirect(H* h, uint8_t address, uint32_t action, uint32_t direction, uint8_t* resetTime)
{
    if (h == nullptr) {
        return StatusCode::NOT_CONNECTED;
    }
    if (transferDirection(direction) == I3cTransferDirection::READ && resetTime == nullptr) {
        return StatusCode::INVALID_ARGUMENT;
    }
    return guard([&] {
        return h->sdk->i3cCccRSTACTDirect(address, resetAction(action), transferDirection(direction), resetTime);
    });
}

// The read length is the method's single value, written whenever an answer arrived; the IBI
// payload size is an optional result and follows the copy-on-success rule.
StatusCode TarvixSDK_I3cCccGETMRL(H* h, uint8_t address, uint16_t* maxReadLength, uint8_t* maxIbiPayloadSize,
                                  uint8_t* hasMaxIbiPayloadSize)
{
    if (h == nullptr) {
        return StatusCode::NOT_CONNECTED;
    }
    if (maxReadLength == nullptr) {
        return StatusCode::INVALID_ARGUMENT;
    }
    if (hasMaxIbiPayloadSize != nullptr) {
        *hasMaxIbiPayloadSize = 0;
    }
    return guard([&] {
        std::optional<std::uint8_t> ibiSize;
        const StatusCode status = h->sdk->i3cCccGETMRL(address, *maxReadLength, ibiSize);
        if (status == StatusCode::SUCCESS && ibiSize) {
            if (maxIbiPayloadSize != nullptr) {
                *maxIbiPayloadSize = *ibiSize;
            }
            if (hasMaxIbiPayloadSize != nullptr) {
                *hasMaxIbiPayloadSize = 1;
            }
        }
        return status;
    });
}

StatusCode TarvixSDK_I3cCccGETPID(H* h, uint8_t address, uint8_t* pid)
{
    return cccBytes(h, pid, kPidSize, nullptr, false,
                    [&](S& sdk, Bytes& out) { return sdk.i3cCccGETPID(address, out); });
}

// -- The named CCCs of the table whose C form follows from their arguments -------------------------

// clang-format off
#define TARVIX_CCC_BROADCAST(Method, ...) \
    StatusCode TarvixSDK_I3cCcc##Method(H* h) { return forward(h, &S::i3cCcc##Method); }
#define TARVIX_CCC_DIRECT(Method, ...) \
    StatusCode TarvixSDK_I3cCcc##Method(H* h, uint8_t address) { return forward(h, &S::i3cCcc##Method, address); }
#define TARVIX_CCC_BROADCAST_DEFINING_BYTE(Method, Ccc, Direction, Type, Length, Argument) \
    StatusCode TarvixSDK_I3cCcc##Method(H* h, uint8_t Argument) { return forward(h, &S::i3cCcc##Method, Argument); }
#define TARVIX_CCC_DIRECT_DATA_BYTE(Method, Ccc, Direction, Type, Length, Encode, Argument) \
    StatusCode TarvixSDK_I3cCcc##Method(H* h, uint8_t address, uint8_t Argument) { return forward(h, &S::i3cCcc##Method, address, Argument); }
#define TARVIX_CCC_BROADCAST_LENGTH(Method, Ccc, Direction, Type, Length, Argument) \
    StatusCode TarvixSDK_I3cCcc##Method(H* h, uint16_t Argument) { return forward(h, &S::i3cCcc##Method, Argument); }
#define TARVIX_CCC_DIRECT_LENGTH(Method, Ccc, Direction, Type, Length, Argument) \
    StatusCode TarvixSDK_I3cCcc##Method(H* h, uint8_t address, uint16_t Argument) { return forward(h, &S::i3cCcc##Method, address, Argument); }
#define TARVIX_CCC_READ_VALUE(Method, Ccc, Direction, Type, Length, Output, Argument) \
    StatusCode TarvixSDK_I3cCcc##Method(H* h, uint8_t address, Output* Argument) { return forward(h, &S::i3cCcc##Method, address, required(Argument)); }
// Variable answers: at most 255 bytes (the answer's count byte) reach the caller's buffer.
#define TARVIX_CCC_READ_BYTES(Method, ...) \
    StatusCode TarvixSDK_I3cCcc##Method(H* h, uint8_t address, uint8_t* buffer, uint8_t* length) \
    { \
        return cccBytes(h, buffer, kMaxCccData, length, true, [&](S& sdk, Bytes& out) { return sdk.i3cCcc##Method(address, out); }); \
    }
#define TARVIX_CCC_READ_BYTES_DEFINING_BYTE(Method, ...) \
    StatusCode TarvixSDK_I3cCcc##Method(H* h, uint8_t address, uint8_t* buffer, uint8_t* length, bool hasDefiningByte, uint8_t definingByte) \
    { \
        return cccBytes(h, buffer, kMaxCccData, length, true, [&](S& sdk, Bytes& out) { \
            return sdk.i3cCcc##Method(address, out, optionalByte(hasDefiningByte, definingByte)); \
        }); \
    }
// GETPID (a fixed six bytes, no count) and the CUSTOM rows are written out above.
#include "../protocol/ccc_table.def"
// clang-format on
