/**
 * @file tarvixsdk.hpp
 * The whole C++ API of tarvixsdk: TarvixAsyncSDK (non-blocking) and TarvixSDK (blocking).
 *
 * Threads and lifetime (the contract).
 * - Threads: the caller's thread(s) and, while connected, one reader thread per session that
 *   polls the device every 100 ms. The onResponse handler of TarvixAsyncSDK and the
 *   onNotification handler of TarvixSDK run on the reader thread, one frame at a time, in the
 *   order the frames arrived; a handler that takes long delays every later frame.
 * - States: Disconnected --connect--> Connected --disconnect--> Disconnected. With
 *   SessionOptions::detectRemoval there is a third, Gone: the reader found the adapter
 *   unplugged, woke any waiting call (NOT_CONNECTED) and ended; isConnected() is false, commands
 *   return NOT_CONNECTED, and connect() closes the dead handle and opens afresh. Without it an
 *   unplugged adapter leaves the session Connected until disconnect().
 * - Calls that conflict: commands, connect, disconnect and destruction of one object must come
 *   from one thread at a time (neither class locks against concurrent callers). The accessors
 *   (isConnected, options, lastConnectError..., handlerExceptionCount, lastHandlerException,
 *   droppedResponseCount) and onResponse/onNotification may be called from any thread,
 *   also while frames arrive.
 * - What a handler may do: read the frame (valid only during the call), replace the handlers,
 *   use the accessors, and use other sessions. It must not call a blocking method of its own
 *   session: the answer would have to come through the very thread that waits. disconnect() of
 *   its own session is refused: it throws std::system_error (resource_deadlock_would_occur)
 *   and changes nothing, the reader and the session go on working. Destroying its own session
 *   (delete, or the end of a unique_ptr) is allowed: the object is gone for the caller at once,
 *   and the reader thread closes the device, releases hidapi and ends once the handler returns.
 * - An exception thrown by a handler ends that handler's frame only: the reader catches it,
 *   counts it (handlerExceptionCount()) and keeps its text (lastHandlerException()).
 *
 * Responses. One request is outstanding at a time. By default responses are not matched to
 * requests by transaction id (getUsbString excepted), so a response that arrives after its call
 * timed out completes the next call; SessionOptions::matchResponses makes every blocking call
 * take only its own answer.
 *
 * Results. Every command returns a StatusCode. Blocking methods write their outputs as soon as a
 * response has arrived, before the device status is known: outputs are overwritten also when
 * the device reports an error, and left untouched when nothing arrived. Wherever the adapter
 * declares a count or length, the library takes at most the bytes that actually arrived; it
 * never reads outside a received frame. A response too short to carry its status (6 bytes), the
 * fixed fields a method decodes, or the bytes or records it declares yields
 * StatusCode::RESPONSE_TOO_SHORT instead of a status 0 (the outputs still receive what arrived);
 * a non-zero device status is returned as it stands.
 */
#ifndef TARVIXSDK_TARVIXSDK_HPP
#define TARVIXSDK_TARVIXSDK_HPP

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "export.h"
#include "records.h"
#include "i3c_helpers.hpp"
#include "types.hpp"

// The records shared with the flat C interface must stay plain C layouts.
static_assert(std::is_standard_layout<Notification>::value, "Notification is shared with C");
static_assert(std::is_standard_layout<I3cTargetInfo>::value && std::is_trivially_copyable<I3cTargetInfo>::value,
              "I3cTargetInfo is a raw 16-byte record");

namespace tarvix_detail {
class AsyncSession;
class SyncSession;
} // namespace tarvix_detail

/**
 * The non-blocking face: one method per device command. Each checks the connection
 * (NOT_CONNECTED), then its arguments (INVALID_ARGUMENT), encodes the request frame, hands it to
 * the transport and returns SUCCESS at once: SUCCESS means "handed over", not "accepted" (a
 * failed USB write shows only as a missing response). Every frame the adapter sends, responses
 * and notifications alike, reaches the onResponse handler.
 */
class TARVIX_API TarvixAsyncSDK {
public:
    /** Handler of every reassembled input frame; the bytes are valid only during the call. */
    using ResponseHandler = std::function<void(const std::vector<std::uint8_t>&)>;

    /** Initialises hidapi (hid_init). Nothing is opened yet. */
    TarvixAsyncSDK();
    /**
     * As TarvixAsyncSDK(), with the opt-in safeties of `options` (detectRemoval and exclusive
     * apply here; matchResponses concerns only blocking calls).
     */
    explicit TarvixAsyncSDK(const SessionOptions& options);
    /** Disconnects (joining the reader thread) and calls hid_exit. */
    ~TarvixAsyncSDK();
    TarvixAsyncSDK(const TarvixAsyncSDK&) = delete;
    TarvixAsyncSDK& operator=(const TarvixAsyncSDK&) = delete;

    /**
     * Opens the first supported adapter (catalogue VID/PID) whose hidapi path equals `path`, or
     * the first supported adapter at all when `path` is empty, and starts the reader thread.
     * While connected, returns true and keeps the open device whatever `path` says (with
     * detectRemoval, an adapter found gone is closed first and the connect starts afresh). On
     * false, lastConnectError() says why.
     * @throws std::system_error (resource_unavailable_try_again) if the reader thread cannot start.
     */
    bool connect(const std::string& path = std::string());
    /**
     * As connect(), choosing the first supported adapter whose serial number, converted to UTF-8,
     * equals `serialNumber` byte for byte. Adapters without a serial number never match.
     * @throws std::range_error ("bad conversion") if a listed serial number is not valid UTF-16/32;
     *         lastConnectError() is then ConnectError::BAD_SERIAL (the flat interface returns false).
     */
    bool connectWithSerialNumber(const std::string& serialNumber);
    /** Stops the reader (within about one 100 ms poll) and closes the device. Harmless when closed. */
    void disconnect();
    /**
     * True from a successful connect until disconnect(). It stays true after an unplug, unless
     * the session was made with SessionOptions::detectRemoval (then false once the adapter is
     * found gone).
     */
    bool isConnected() const noexcept;
    /**
     * Replaces the handler of input frames. It may be replaced while connected, also from inside
     * the handler: the frame being delivered finishes with the old one, the next goes to the new.
     */
    void onResponse(ResponseHandler handler);
    /** The library version, "1.3.0". */
    static std::string getVersion();

    /**
     * Connects to the adapter that `selector` names: "serial:TVX-0001" (as
     * connectWithSerialNumber), "path:/dev/hidraw3" (as connect), a decimal index into
     * TarvixSDK::listAdapters() ("0" is the first), or "" for the first supported adapter.
     * Anything else fails with ConnectError::NO_MATCH and a message saying what is accepted.
     * Never throws for a serial that does not convert: that is ConnectError::BAD_SERIAL.
     */
    bool connectTo(const std::string& selector);
    /** Receives traced frames; see onFrame(). */
    using FrameTap = std::function<void(const TraceFrame&)>;
    /**
     * Frame tap, for traces: `tap` receives every request frame this session sends (on the
     * calling thread, just before it is written) and every input frame it reassembles (on the
     * reader thread, before the response handler), with a monotonic timestamp. Null removes it.
     * It may be replaced at any time; it must be quick and must not call this session. The
     * library itself writes no log.
     */
    void onFrame(FrameTap tap);

    /** The options this session was made with. */
    SessionOptions options() const noexcept;
    /** Why the last connect failed (ConnectError::NONE after a successful one). */
    ConnectError lastConnectError() const;
    /** The same as one sentence, naming the device node and what to do where that helps. */
    std::string lastConnectErrorMessage() const;
    /** Exceptions thrown by handlers on the reader thread since construction (each was caught there). */
    std::uint64_t handlerExceptionCount() const noexcept;
    /** what() of the last of them ("unknown exception" for one not derived from std::exception). */
    std::string lastHandlerException() const;

    // -- System (0x04xx) ------------------------------------------------------------------------
    StatusCode resetDevice(TransactionId transactionId);              /**< 0x0401; the adapter restarts and does not answer */
    StatusCode enterBootMode(TransactionId transactionId);            /**< 0x0402; the adapter leaves its firmware and does not answer */
    StatusCode getUsbString(TransactionId transactionId, std::uint8_t index); /**< 0x0407; any index 0..255 is sent */

    // -- Supply rails and analog measurements -----------------------------------------------------
    /** 0x0409: reads both rails back (shared rail at response offset 6, I3C rail at 8 and 10). */
    StatusCode getAnalogMeasurements(TransactionId transactionId);
    /**
     * 0x0405: sets the one rail shared by I2C, SPI, UART and GPIO. The four names below are the
     * same command: setting the I2C voltage sets the SPI, UART and GPIO voltage too. `voltage` is
     * sent unscaled (the adapter's unit), `flag` as one byte.
     */
    StatusCode gpioSetVoltage(TransactionId transactionId, std::uint16_t voltage, bool flag) { return setI2cSpiUartGpioVoltage(transactionId, voltage, flag); }
    StatusCode i2cSetBusVoltage(TransactionId transactionId, std::uint16_t voltage, bool flag) { return setI2cSpiUartGpioVoltage(transactionId, voltage, flag); }
    StatusCode spiSetBusVoltage(TransactionId transactionId, std::uint16_t voltage, bool flag) { return setI2cSpiUartGpioVoltage(transactionId, voltage, flag); }
    StatusCode uartSetBusVoltage(TransactionId transactionId, std::uint16_t voltage, bool flag) { return setI2cSpiUartGpioVoltage(transactionId, voltage, flag); }
    /** 0x040B: the shared rail takes its supply from outside (true) or from the adapter (false). */
    StatusCode gpioUseExternalVoltage(TransactionId transactionId, bool useExternal) { return useExternalI2cSpiUartGpioVoltage(transactionId, useExternal); }
    StatusCode i2cUseExternalVoltage(TransactionId transactionId, bool useExternal) { return useExternalI2cSpiUartGpioVoltage(transactionId, useExternal); }
    StatusCode spiUseExternalVoltage(TransactionId transactionId, bool useExternal) { return useExternalI2cSpiUartGpioVoltage(transactionId, useExternal); }
    StatusCode uartUseExternalVoltage(TransactionId transactionId, bool useExternal) { return useExternalI2cSpiUartGpioVoltage(transactionId, useExternal); }
    StatusCode i3cSetBusVoltage(TransactionId transactionId, std::uint16_t voltage);   /**< 0x0404: sets the I3C rail */
    StatusCode i3cUseExternalVoltage(TransactionId transactionId, bool useExternal);   /**< 0x040A */

    // -- GPIO (0x14xx) ----------------------------------------------------------------------------
    StatusCode gpioConfigurePin(TransactionId transactionId, GpioPinNumber pinNumber, GpioFunctionality functionality, GpioLogicLevel logicLevel); /**< 0x1401 */
    StatusCode gpioDigitalWrite(TransactionId transactionId, GpioPinNumber pinNumber, GpioLogicLevel logicLevel); /**< 0x1402 */
    StatusCode gpioDigitalRead(TransactionId transactionId, GpioPinNumber pinNumber);                             /**< 0x1403 */
    StatusCode gpioConfigureInterrupt(TransactionId transactionId, GpioPinNumber pinNumber, GpioTriggerType triggerType); /**< 0x1404 */
    StatusCode gpioDisableInterrupt(TransactionId transactionId, GpioPinNumber pinNumber);                         /**< 0x1405 */

    // -- I2C (0x08xx, 0x09xx) ---------------------------------------------------------------------
    /** 0x0901: sets up port `bus` (0 or 1) with the clock `frequency` (sent unscaled; hertz for the current firmware) and the adapter's `option` byte. */
    StatusCode i2cControllerInit(TransactionId transactionId, std::uint8_t bus, std::uint32_t frequency, std::uint8_t option);
    /** 0x0902: the same fields as i2cControllerInit, for a port already set up. */
    StatusCode i2cSetParameters(TransactionId transactionId, std::uint8_t bus, std::uint32_t frequency, std::uint8_t option);
    /** 0x0802: selects the pull-up resistors of port `bus`. */
    StatusCode i2cSetPullUpResistors(TransactionId transactionId, std::uint8_t bus, std::uint8_t pullUp);
    /**
     * 0x0904: writes `data` to `targetAddress`, after the 0..4 byte `registerAddress` (most
     * significant byte first). INVALID_ARGUMENT for a register address over 4 bytes. The 16-bit
     * count field is data.size() cut to 16 bits; all of `data` is sent.
     */
    StatusCode i2cWrite(TransactionId transactionId, std::uint8_t bus, std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress, const std::vector<std::uint8_t>& data, bool flag);
    /** 0x0905: reads `length` bytes from `targetAddress` after `registerAddress` (0..4 bytes). */
    StatusCode i2cRead(TransactionId transactionId, std::uint8_t bus, std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress, std::uint16_t length, bool flag);
    /** 0x0906: scans port `bus` for responding targets (the bus index is not checked here). */
    StatusCode i2cScanBus(TransactionId transactionId, std::uint8_t bus, bool flag);

    // -- SPI (0x0Dxx) -----------------------------------------------------------------------------
    /** 0x0D01: sets up the SPI controller; `frequency` is sent unscaled (hertz for the current firmware). */
    StatusCode spiControllerInit(TransactionId transactionId, SpiBitOrder bitOrder, SpiMode mode, SpiDataWidth dataWidth, SpiChipSelect chipSelect, SpiChipSelectPolarity chipSelectPolarity, std::uint32_t frequency);
    /** 0x0D02: the same six settings, for a controller already set up. */
    StatusCode spiSetParameters(TransactionId transactionId, SpiBitOrder bitOrder, SpiMode mode, SpiDataWidth dataWidth, SpiChipSelect chipSelect, SpiChipSelectPolarity chipSelectPolarity, std::uint32_t frequency);
    /**
     * 0x0D04: clocks `data` out and `transferLength` words in (full duplex). Both counts are sent
     * as given (data.size() cut to 16 bits); `data` is not modified.
     */
    StatusCode spiTransfer(TransactionId transactionId, std::vector<std::uint8_t>& data, std::uint16_t transferLength);

    // -- UART (0x10xx) ----------------------------------------------------------------------------
    StatusCode uartInit(TransactionId transactionId, UartBaudRate baudRate, UartHwHandshake hwHandshake, UartParity parity, UartDataSize dataSize, UartStopBit stopBit);          /**< 0x1002 */
    StatusCode uartSetParameters(TransactionId transactionId, UartBaudRate baudRate, UartHwHandshake hwHandshake, UartParity parity, UartDataSize dataSize, UartStopBit stopBit); /**< 0x1003 */
    StatusCode uartDeinit(TransactionId transactionId); /**< 0x1001 */
    /** 0x1005: sends `message`; the count field is message.size() cut to 16 bits, all bytes follow. */
    StatusCode uartSendMessage(TransactionId transactionId, const std::vector<std::uint8_t>& message);

    // -- I3C controller, bus and target table (0x19xx) ---------------------------------------------
    StatusCode i3cControllerInit(TransactionId transactionId, std::uint8_t pushPullRate, std::uint8_t openDrainRate, std::uint8_t i2cRate, std::uint8_t driveStrength); /**< 0x1901 */
    StatusCode i3cSetParameters(TransactionId transactionId, std::uint8_t pushPullRate, std::uint8_t openDrainRate, std::uint8_t i2cRate, std::uint8_t driveStrength);  /**< 0x1902 */
    /** 0x1904: hands the adapter the targets expected on the bus (at most 255 records). */
    StatusCode i3cInitBus(TransactionId transactionId, std::vector<I3cTargetInfo> targets);
    StatusCode i3cResetBus(TransactionId transactionId);       /**< 0x1905 */
    StatusCode i3cGetDeviceTable(TransactionId transactionId); /**< 0x1906 */
    StatusCode i3cSetTargetDeviceConfiguration(TransactionId transactionId, std::uint8_t targetAddress, I3cTargetConfiguration configuration); /**< 0x1907 */

    // -- I3C private transfers (0x1908) ------------------------------------------------------------
    /**
     * SDR and legacy I2C transfers address an optional register of 0..4 bytes, sent in vector
     * order (unlike the I2C controller's folding); INVALID_ARGUMENT for more than 4 bytes.
     * `targetAddress` is the 7-bit address, unshifted. `flags` travel in bits 3..7 of the mode byte.
     */
    StatusCode i3cSdrRead(TransactionId transactionId, std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress, std::uint16_t length, I3cTransferFlags flags);
    StatusCode i3cSdrWrite(TransactionId transactionId, std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress, const std::vector<std::uint8_t>& data, I3cTransferFlags flags);
    StatusCode i3cLegacyI2cRead(TransactionId transactionId, std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress, std::uint16_t length, I3cTransferFlags flags);
    StatusCode i3cLegacyI2cWrite(TransactionId transactionId, std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress, const std::vector<std::uint8_t>& data, I3cTransferFlags flags);
    /** HDR-DDR transfers carry an HDR command byte instead of a register address. */
    StatusCode i3cHdrDdrRead(TransactionId transactionId, std::uint8_t targetAddress, std::uint8_t command, std::uint16_t length);
    StatusCode i3cHdrDdrWrite(TransactionId transactionId, std::uint8_t targetAddress, std::uint8_t command, const std::vector<std::uint8_t>& data);

    // -- I3C bus patterns (0x190A) -----------------------------------------------------------------
    StatusCode i3cHdrExitPattern(TransactionId transactionId);     /**< returns every target from HDR to SDR */
    StatusCode i3cTargetResetPattern(TransactionId transactionId); /**< drives the target reset pattern */

    // -- I3C Common Command Codes (0x1909) -------------------------------------------------------
    /**
     * Generic CCC: sends `ccc` to `targetAddress` (0x7E for a broadcast code). The flags byte is
     * ((cccType * 2 | transferFlag) << 2 | mode) << 1 | direction, kept to 8 bits and not masked.
     * `length` is the number of data bytes written, or to be read. `definingByte` is sent as
     * given. INVALID_ARGUMENT when `direction` is READ and `data` is not empty.
     */
    StatusCode i3cCccTransfer(TransactionId transactionId, std::uint8_t targetAddress, I3cTransferDirection direction, I3cTransferMode mode, bool transferFlag, I3cCccType cccType, std::uint8_t length, CCC ccc, std::uint8_t definingByte, const std::vector<std::uint8_t>& data);

    /** Broadcast ENEC/DISEC: `events` travels in the defining-byte field (see the event bit constants). */
    StatusCode i3cCccENECBroadcast(TransactionId transactionId, std::uint8_t events);
    StatusCode i3cCccDISECBroadcast(TransactionId transactionId, std::uint8_t events);
    StatusCode i3cCccENTAS0Broadcast(TransactionId transactionId);
    StatusCode i3cCccENTAS1Broadcast(TransactionId transactionId);
    StatusCode i3cCccENTAS2Broadcast(TransactionId transactionId);
    StatusCode i3cCccENTAS3Broadcast(TransactionId transactionId);
    StatusCode i3cCccRSTDAA(TransactionId transactionId);
    StatusCode i3cCccENTDAA(TransactionId transactionId);
    /** SETMWL/SETMRL lengths travel big-endian, as the I3C bus orders them. */
    StatusCode i3cCccSETMWLBroadcast(TransactionId transactionId, std::uint16_t maxWriteLength);
    StatusCode i3cCccSETMRLBroadcast(TransactionId transactionId, std::uint16_t maxReadLength, std::optional<std::uint8_t> maxIbiPayloadSize = std::nullopt);
    StatusCode i3cCccSETBUSCONBroadcast(TransactionId transactionId, std::uint8_t context, const std::optional<std::vector<std::uint8_t>>& extraData = std::nullopt);
    StatusCode i3cCccSETXTIMEBroadcast(TransactionId transactionId, std::uint8_t subcommand, const std::optional<std::vector<std::uint8_t>>& extraData = std::nullopt);
    StatusCode i3cCccSETAASA(TransactionId transactionId, const std::vector<std::uint8_t>& data);
    StatusCode i3cCccRSTACTBroadcast(TransactionId transactionId, I3cTargetResetDefByte action);
    StatusCode i3cCccRSTGRPABroadcast(TransactionId transactionId);
    /** Direct ENEC/DISEC: `events` travels as a data byte. */
    StatusCode i3cCccENECDirect(TransactionId transactionId, std::uint8_t address, std::uint8_t events);
    StatusCode i3cCccDISECDirect(TransactionId transactionId, std::uint8_t address, std::uint8_t events);
    StatusCode i3cCccENTAS0Direct(TransactionId transactionId, std::uint8_t address);
    StatusCode i3cCccENTAS1Direct(TransactionId transactionId, std::uint8_t address);
    StatusCode i3cCccENTAS2Direct(TransactionId transactionId, std::uint8_t address);
    StatusCode i3cCccENTAS3Direct(TransactionId transactionId, std::uint8_t address);
    /** SETDASA, SETNEWDA and SETGRPA send the new address shifted left by one, as on the bus. */
    StatusCode i3cCccSETDASA(TransactionId transactionId, std::uint8_t staticAddress, std::uint8_t dynamicAddress);
    StatusCode i3cCccSETNEWDA(TransactionId transactionId, std::uint8_t address, std::uint8_t newDynamicAddress);
    StatusCode i3cCccSETMWLDirect(TransactionId transactionId, std::uint8_t address, std::uint16_t maxWriteLength);
    StatusCode i3cCccSETMRLDirect(TransactionId transactionId, std::uint8_t address, std::uint16_t maxReadLength, std::optional<std::uint8_t> maxIbiPayloadSize = std::nullopt);
    StatusCode i3cCccSETXTIMEDirect(TransactionId transactionId, std::uint8_t address, std::uint8_t subcommand, const std::optional<std::vector<std::uint8_t>>& extraData = std::nullopt);
    StatusCode i3cCccSETGRPADirect(TransactionId transactionId, std::uint8_t address, std::uint8_t groupAddress);
    StatusCode i3cCccRSTGRPADirect(TransactionId transactionId, std::uint8_t address);
    /** RSTACT direct: READ asks the target for a reset time (length 1), WRITE orders the action (length 0). */
    StatusCode i3cCccRSTACTDirect(TransactionId transactionId, std::uint8_t address, I3cTargetResetDefByte action, I3cTransferDirection direction);
    StatusCode i3cCccGETMWL(TransactionId transactionId, std::uint8_t address);
    StatusCode i3cCccGETMRL(TransactionId transactionId, std::uint8_t address);
    StatusCode i3cCccGETPID(TransactionId transactionId, std::uint8_t address);
    StatusCode i3cCccGETBCR(TransactionId transactionId, std::uint8_t address);
    StatusCode i3cCccGETDCR(TransactionId transactionId, std::uint8_t address);
    StatusCode i3cCccGETSTATUS(TransactionId transactionId, std::uint8_t address, std::optional<std::uint8_t> definingByte = std::nullopt);
    StatusCode i3cCccGETMXDS(TransactionId transactionId, std::uint8_t address);
    StatusCode i3cCccGETCAPS(TransactionId transactionId, std::uint8_t address, std::optional<std::uint8_t> definingByte = std::nullopt);
    StatusCode i3cCccGETXTIME(TransactionId transactionId, std::uint8_t address);

private:
    StatusCode setI2cSpiUartGpioVoltage(TransactionId transactionId, std::uint16_t voltage, bool flag);
    StatusCode useExternalI2cSpiUartGpioVoltage(TransactionId transactionId, bool useExternal);

    friend class tarvix_detail::SyncSession;
    std::unique_ptr<tarvix_detail::AsyncSession> session_;
};

/**
 * The blocking face: the same commands without transaction ids. Each call numbers its request
 * (1..65535, then 1 again), sends it through TarvixAsyncSDK and waits for the next response
 * frame for at most the timeout given at construction, then decodes it.
 *
 * Result of a blocking call: NOT_CONNECTED or INVALID_ARGUMENT when nothing was sent;
 * NO_RESPONSE when nothing arrived in time (outputs untouched); otherwise the device status,
 * with outputs already written.
 */
class TARVIX_API TarvixSDK {
public:
    /** The five USB strings of the adapter, by index 1..5, bytes as sent (no conversion). */
    struct DeviceInfo {
        std::string usbString1; /**< index 1: manufacturer */
        std::string usbString2; /**< index 2: product */
        std::string usbString3; /**< index 3: serial number */
        std::string usbString4; /**< index 4: firmware version */
        std::string usbString5; /**< index 5: hardware version */
    };
    /**
     * One attached adapter as the HID enumeration reports it (listAdapters() opens nothing).
     * Texts are UTF-8; a code point that does not convert is shown as U+FFFD.
     */
    struct AdapterInfo {
        std::string path;             /**< hidapi path, e.g. /dev/hidraw3; what connect() takes */
        std::uint16_t vendorId = 0;   /**< USB vendor ID */
        std::uint16_t productId = 0;  /**< USB product ID */
        std::size_t reportSize = 0;   /**< HID report payload: 64 (full speed) or 1024 (high speed) */
        bool hasSerialNumber = false; /**< false when the device reports none */
        std::string serialNumber;     /**< USB serial number */
        std::string manufacturer;     /**< manufacturer string as enumeration reports it (may be empty) */
        std::string product;          /**< product string as enumeration reports it (may be empty) */
    };
    /** Every supported adapter attached now, in the order connect() would try them. */
    static std::vector<AdapterInfo> listAdapters();

    /** Handler of unsolicited frames; runs on the reader thread, see Notification for lifetimes. */
    using NotificationHandler = std::function<void(const Notification&)>;

    /**
     * @param timeout how long a blocking call waits for its response, in milliseconds; -1 (the
     *        default) waits without limit; 0 (or any other negative value) does not wait, so only
     *        a response already stored completes the call.
     */
    explicit TarvixSDK(int timeout = -1);
    /** As TarvixSDK(timeout), with the opt-in safeties of `options` (see SessionOptions). */
    TarvixSDK(int timeout, const SessionOptions& options);
    /** Stops the reader thread first, so no handler runs during destruction; then hid_exit. */
    ~TarvixSDK();
    TarvixSDK(const TarvixSDK&) = delete;
    TarvixSDK& operator=(const TarvixSDK&) = delete;

    bool connect(const std::string& path = std::string());           /**< as TarvixAsyncSDK::connect */
    bool connectWithSerialNumber(const std::string& serialNumber);   /**< as TarvixAsyncSDK::connectWithSerialNumber */
    void disconnect();                                               /**< as TarvixAsyncSDK::disconnect */
    bool isConnected() const noexcept;                               /**< as TarvixAsyncSDK::isConnected */
    static std::string getVersion();                                 /**< "1.3.0" */
    /**
     * Replaces the notification handler. It runs on the reader thread for every frame with
     * transaction id 0, whether or not a call is waiting; it must not call blocking methods of
     * this object. Set it before connecting, or accept that a notification may race the change.
     */
    void onNotification(NotificationHandler handler);

    bool connectTo(const std::string& selector);         /**< as TarvixAsyncSDK::connectTo */
    /** As TarvixAsyncSDK::onFrame: every request sent and every frame received, for traces. */
    void onFrame(TarvixAsyncSDK::FrameTap tap);
    SessionOptions options() const noexcept;             /**< as TarvixAsyncSDK::options */
    ConnectError lastConnectError() const;               /**< as TarvixAsyncSDK::lastConnectError */
    std::string lastConnectErrorMessage() const;         /**< as TarvixAsyncSDK::lastConnectErrorMessage */
    std::uint64_t handlerExceptionCount() const noexcept; /**< as TarvixAsyncSDK::handlerExceptionCount */
    std::string lastHandlerException() const;            /**< as TarvixAsyncSDK::lastHandlerException */
    /**
     * With SessionOptions::matchResponses: response frames dropped since construction because
     * they did not answer the call waiting (late, duplicated, foreign) or came when none waited.
     */
    std::uint64_t droppedResponseCount() const noexcept;

    // -- System -----------------------------------------------------------------------------------
    /** Sends the reset and returns at once (the adapter restarts instead of answering); reconnect after. */
    StatusCode resetDevice();
    /** Sends enter-boot-mode and returns at once; the adapter leaves the bus. */
    StatusCode enterBootMode();
    /**
     * Reads USB string `index` into `out` (bytes as sent). The only call that checks its response:
     * UNEXPECTED_RESPONSE (out untouched) unless the response carries this request's transaction
     * id and code; a matching response yields SUCCESS whatever status it carries.
     */
    StatusCode getUsbString(std::vector<std::uint8_t>& out, std::uint8_t index);
    /**
     * Reads strings 1..5 in order (five exchanges). On the first failure returns its status:
     * fields of earlier indices are set, the others are left as they were.
     */
    StatusCode getDeviceInfo(DeviceInfo& info);

    // -- Supply rails -----------------------------------------------------------------------------
    /** The shared I2C/SPI/UART/GPIO rail: the four names set and read one and the same rail. */
    StatusCode gpioSetVoltage(std::uint16_t voltage, bool flag);
    StatusCode i2cSetBusVoltage(std::uint16_t voltage, bool flag);
    StatusCode spiSetBusVoltage(std::uint16_t voltage, bool flag);
    StatusCode uartSetBusVoltage(std::uint16_t voltage, bool flag);
    StatusCode gpioUseExternalVoltage(bool useExternal);
    StatusCode i2cUseExternalVoltage(bool useExternal);
    StatusCode spiUseExternalVoltage(bool useExternal);
    StatusCode uartUseExternalVoltage(bool useExternal);
    /** Reads the shared rail back (analog measurement, offset 6). */
    StatusCode gpioGetVoltage(std::uint16_t& voltage);
    StatusCode i2cGetBusVoltage(std::uint16_t& voltage);
    StatusCode spiGetBusVoltage(std::uint16_t& voltage);
    StatusCode uartGetBusVoltage(std::uint16_t& voltage);
    StatusCode i3cSetBusVoltage(std::uint16_t voltage);
    StatusCode i3cUseExternalVoltage(bool useExternal);
    /** Reads the two I3C rail readings (analog measurement offsets 8 and 10), in that order. */
    StatusCode i3cGetBusVoltage(std::uint16_t& voltage1, std::uint16_t& voltage2);

    // -- GPIO -------------------------------------------------------------------------------------
    StatusCode gpioConfigurePin(GpioPinNumber pinNumber, GpioFunctionality functionality, GpioLogicLevel logicLevel);
    StatusCode gpioDigitalWrite(GpioPinNumber pinNumber, GpioLogicLevel logicLevel);
    /** `logicLevel` receives the response byte zero-extended (not checked against the members). */
    StatusCode gpioDigitalRead(GpioPinNumber pinNumber, GpioLogicLevel& logicLevel);
    StatusCode gpioConfigureInterrupt(GpioPinNumber pinNumber, GpioTriggerType triggerType);
    StatusCode gpioDisableInterrupt(GpioPinNumber pinNumber);

    // -- I2C --------------------------------------------------------------------------------------
    StatusCode i2cControllerInit(std::uint8_t bus, std::uint32_t frequency, std::uint8_t option);
    StatusCode i2cSetParameters(std::uint8_t bus, std::uint32_t frequency, std::uint8_t option);
    StatusCode i2cSetPullUpResistors(std::uint8_t bus, std::uint8_t pullUp);
    StatusCode i2cWrite(std::uint8_t bus, std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress, const std::vector<std::uint8_t>& data, bool flag);
    /**
     * Reads `length` bytes into `readData` (replaced). The adapter is expected to answer with
     * `length` bytes from response offset 9; if fewer arrived, `readData` holds only those, and a
     * status 0 becomes RESPONSE_TOO_SHORT.
     */
    StatusCode i2cRead(std::uint8_t bus, std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress, std::uint16_t length, std::vector<std::uint8_t>& readData, bool flag);
    /**
     * Scans port `bus`. INVALID_ARGUMENT (before anything else, even when disconnected) if `bus`
     * is over 1 or a count pointer is null. The counts are written first; then `addresses` is
     * replaced by the one-byte entries followed by the two-byte entries, unless the response is
     * shorter than they need: then RESPONSE_TOO_SHORT and `addresses` is untouched.
     */
    StatusCode i2cScanBus(std::vector<std::uint8_t>& addresses, std::uint8_t* oneByteCount, std::uint8_t* twoByteCount, std::uint8_t bus, bool flag);

    // -- SPI --------------------------------------------------------------------------------------
    StatusCode spiControllerInit(SpiBitOrder bitOrder, SpiMode mode, SpiDataWidth dataWidth, SpiChipSelect chipSelect, SpiChipSelectPolarity chipSelectPolarity, std::uint32_t frequency);
    StatusCode spiSetParameters(SpiBitOrder bitOrder, SpiMode mode, SpiDataWidth dataWidth, SpiChipSelect chipSelect, SpiChipSelectPolarity chipSelectPolarity, std::uint32_t frequency);
    /**
     * Full-duplex transfer. `readData` is replaced by the bytes the adapter reports (its count at
     * response offset 6), at most the bytes that arrived; fewer than counted turn a status 0 into
     * RESPONSE_TOO_SHORT.
     */
    StatusCode spiTransfer(const std::vector<std::uint8_t>& data, std::vector<std::uint8_t>& readData, std::uint16_t transferLength);

    // -- UART -------------------------------------------------------------------------------------
    StatusCode uartInit(UartBaudRate baudRate, UartHwHandshake hwHandshake, UartParity parity, UartDataSize dataSize, UartStopBit stopBit);
    StatusCode uartSetParameters(UartBaudRate baudRate, UartHwHandshake hwHandshake, UartParity parity, UartDataSize dataSize, UartStopBit stopBit);
    StatusCode uartDeinit();
    /** Sends `message`; received bytes arrive as UART_RX notifications. */
    StatusCode uartSendMessage(const std::vector<std::uint8_t>& message);

    // -- I3C controller, bus and target table -------------------------------------------------------
    StatusCode i3cControllerInit(I3cPushPullRate pushPullRate, I3cOpenDrainTransferRate openDrainRate, I2cTransferRate i2cRate, I3cDriveStrength driveStrength);
    StatusCode i3cSetParameters(I3cPushPullRate pushPullRate, I3cOpenDrainTransferRate openDrainRate, I2cTransferRate i2cRate, I3cDriveStrength driveStrength);
    StatusCode i3cInitBus(std::vector<I3cTargetInfo> targets);
    StatusCode i3cResetBus();
    /**
     * Replaces `table` with the adapter's target table (the whole records that arrived; fewer than
     * announced turn a status 0 into RESPONSE_TOO_SHORT).
     */
    StatusCode i3cGetDeviceTable(std::vector<I3cTargetInfo>& table);
    StatusCode i3cSetTargetDeviceConfiguration(std::uint8_t targetAddress, I3cTargetConfiguration configuration);

    // -- I3C private transfers ------------------------------------------------------------------
    /**
     * Reads replace `data` with the bytes the adapter reports, as far as they arrived; fewer than
     * counted turn a status 0 into RESPONSE_TOO_SHORT.
     */
    StatusCode i3cSdrRead(std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress, std::uint16_t length, std::vector<std::uint8_t>& data, I3cTransferFlags flags);
    StatusCode i3cSdrWrite(std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress, const std::vector<std::uint8_t>& data, I3cTransferFlags flags);
    StatusCode i3cLegacyI2cRead(std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress, std::uint16_t length, std::vector<std::uint8_t>& data, I3cTransferFlags flags);
    StatusCode i3cLegacyI2cWrite(std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress, const std::vector<std::uint8_t>& data, I3cTransferFlags flags);
    StatusCode i3cHdrDdrRead(std::uint8_t targetAddress, std::uint8_t command, std::uint16_t length, std::vector<std::uint8_t>& data);
    StatusCode i3cHdrDdrWrite(std::uint8_t targetAddress, std::uint8_t command, const std::vector<std::uint8_t>& data);

    // -- I3C bus patterns -------------------------------------------------------------------------
    StatusCode i3cHdrExitPattern();
    StatusCode i3cTargetResetPattern();

    // -- I3C Common Command Codes ---------------------------------------------------------------
    StatusCode i3cCccENECBroadcast(std::uint8_t events);
    StatusCode i3cCccDISECBroadcast(std::uint8_t events);
    StatusCode i3cCccENTAS0Broadcast();
    StatusCode i3cCccENTAS1Broadcast();
    StatusCode i3cCccENTAS2Broadcast();
    StatusCode i3cCccENTAS3Broadcast();
    StatusCode i3cCccRSTDAA();
    StatusCode i3cCccENTDAA();
    StatusCode i3cCccSETMWLBroadcast(std::uint16_t maxWriteLength);
    StatusCode i3cCccSETMRLBroadcast(std::uint16_t maxReadLength, std::optional<std::uint8_t> maxIbiPayloadSize = std::nullopt);
    StatusCode i3cCccSETBUSCONBroadcast(std::uint8_t context, const std::optional<std::vector<std::uint8_t>>& extraData = std::nullopt);
    StatusCode i3cCccSETXTIMEBroadcast(std::uint8_t subcommand, const std::optional<std::vector<std::uint8_t>>& extraData = std::nullopt);
    StatusCode i3cCccSETAASA(const std::vector<std::uint8_t>& data);
    StatusCode i3cCccRSTACTBroadcast(I3cTargetResetDefByte action);
    StatusCode i3cCccRSTGRPABroadcast();
    StatusCode i3cCccENECDirect(std::uint8_t address, std::uint8_t events);
    StatusCode i3cCccDISECDirect(std::uint8_t address, std::uint8_t events);
    StatusCode i3cCccENTAS0Direct(std::uint8_t address);
    StatusCode i3cCccENTAS1Direct(std::uint8_t address);
    StatusCode i3cCccENTAS2Direct(std::uint8_t address);
    StatusCode i3cCccENTAS3Direct(std::uint8_t address);
    StatusCode i3cCccSETDASA(std::uint8_t staticAddress, std::uint8_t dynamicAddress);
    StatusCode i3cCccSETNEWDA(std::uint8_t address, std::uint8_t newDynamicAddress);
    StatusCode i3cCccSETMWLDirect(std::uint8_t address, std::uint16_t maxWriteLength);
    StatusCode i3cCccSETMRLDirect(std::uint8_t address, std::uint16_t maxReadLength, std::optional<std::uint8_t> maxIbiPayloadSize = std::nullopt);
    StatusCode i3cCccSETXTIMEDirect(std::uint8_t address, std::uint8_t subcommand, const std::optional<std::vector<std::uint8_t>>& extraData = std::nullopt);
    StatusCode i3cCccSETGRPADirect(std::uint8_t address, std::uint8_t groupAddress);
    StatusCode i3cCccRSTGRPADirect(std::uint8_t address);
    /** With direction READ and a non-null `resetTime`, stores the target's reset time byte there. */
    StatusCode i3cCccRSTACTDirect(std::uint8_t address, I3cTargetResetDefByte action, I3cTransferDirection direction, std::uint8_t* resetTime);
    StatusCode i3cCccGETMWL(std::uint8_t address, std::uint16_t& maxWriteLength);
    /** `maxIbiPayloadSize` is set when the target returned 3 bytes, emptied otherwise. */
    StatusCode i3cCccGETMRL(std::uint8_t address, std::uint16_t& maxReadLength, std::optional<std::uint8_t>& maxIbiPayloadSize);
    /**
     * The variable CCC reads (GETPID, GETSTATUS, GETMXDS, GETCAPS, GETXTIME) replace their vector
     * with the bytes the target's count byte announces, as far as they arrived; fewer than
     * counted turn a status 0 into RESPONSE_TOO_SHORT.
     */
    StatusCode i3cCccGETPID(std::uint8_t address, std::vector<std::uint8_t>& pid);
    StatusCode i3cCccGETBCR(std::uint8_t address, std::uint8_t& bcr);
    StatusCode i3cCccGETDCR(std::uint8_t address, std::uint8_t& dcr);
    StatusCode i3cCccGETSTATUS(std::uint8_t address, std::vector<std::uint8_t>& status, std::optional<std::uint8_t> definingByte = std::nullopt);
    StatusCode i3cCccGETMXDS(std::uint8_t address, std::vector<std::uint8_t>& maxDataSpeed);
    StatusCode i3cCccGETCAPS(std::uint8_t address, std::vector<std::uint8_t>& caps, std::optional<std::uint8_t> definingByte = std::nullopt);
    StatusCode i3cCccGETXTIME(std::uint8_t address, std::vector<std::uint8_t>& xtime);

private:
    friend class tarvix_detail::SyncSession;
    std::unique_ptr<tarvix_detail::SyncSession> session_;
};

/**
 * One line of text for a traced frame: direction, command or notification name and code,
 * transaction id, status name (input frames) and the payload's fields as the adapter lays them
 * out, e.g. "OUT I2C_READ 0x0905 tid=5 bus=0 length=16 target=0x50 register=[00] flag=0".
 * Unknown codes and short or over-long payloads are shown as hex, never read past `length`.
 */
TARVIX_API std::string describeFrame(const TraceFrame& frame);

#endif // TARVIXSDK_TARVIXSDK_HPP
