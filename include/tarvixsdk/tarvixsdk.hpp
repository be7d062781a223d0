/**
 * @file tarvixsdk.hpp
 * The whole C++ API of tarvixsdk: TarvixAsyncSDK (non-blocking) and TarvixSDK (blocking).
 *
 * Each command family is described once, in its group: @ref family_system, @ref family_rails,
 * @ref family_gpio, @ref family_i2c, @ref family_spi, @ref family_uart, @ref family_i3c and
 * @ref family_ccc (what each field means, its unit, what the adapter does with bytes the library
 * only carries). What a blocking call returns and when it writes its outputs: @ref blocking_results.
 *
 * Threads and lifetime, in short (the whole contract is the page @ref threads): each connected
 * session runs one reader thread, on which the handlers run, one frame at a time (with
 * SessionOptions::queueReports it is fed by a drain thread that only reads input reports into a
 * queue of up to 2,048, so that slow handlers delay frames instead of losing them to the
 * kernel's 64-report list); calls on one
 * object come from one thread at a time; a handler must not call a blocking method of its own
 * session, its disconnect() is refused (std::system_error) and destroying its own session is
 * allowed; frames and notification views are valid only during the handler call.
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

/**
 * @defgroup blocking_results Results of a blocking call
 * What every TarvixSDK command returns, and when its outputs are written.
 *
 * - StatusCode::NOT_CONNECTED or StatusCode::INVALID_ARGUMENT: nothing was sent, no wait, outputs untouched.
 * - StatusCode::NO_RESPONSE: the request was sent but no response arrived within the session's timeout
 *   (or, with SessionOptions::detectRemoval, the adapter was found gone: NOT_CONNECTED); outputs untouched.
 * - Otherwise the adapter's status from response bytes 4..5: 0 for success, any other value passed through
 *   unchanged (statusCodeMessage() prints it as "device status 0x....").
 *
 * Outputs are written as soon as a response has arrived, before its status is looked at: they are
 * overwritten also when the adapter reports an error, so test the status before trusting them. Wherever
 * the adapter declares a count or a length, the library takes at most the bytes that actually arrived and
 * never reads outside the received frame; a response too short for its status (6 bytes), for the fixed
 * fields a method decodes, or for the bytes or records it declares yields StatusCode::RESPONSE_TOO_SHORT
 * instead of a status 0 (the outputs still receive what arrived). A non-zero adapter status is returned as
 * it stands. The flat functions differ: they copy results into the caller's buffers only on status 0.
 *
 * By default a blocking call takes the first response that arrives, whichever request it answers (see
 * SessionOptions::matchResponses and @ref threads).
 */

/**
 * @defgroup family_system System commands
 * Reset, boot mode and the adapter's USB strings (codes 0x0401, 0x0402, 0x0407).
 *
 * - resetDevice (0x0401) restarts the adapter and enterBootMode (0x0402) makes it leave its firmware for
 *   the boot loader. Neither is answered: the blocking forms return as soon as the frame is handed over
 *   (SUCCESS, or NOT_CONNECTED) and the adapter then leaves the bus; disconnect and connect again. The
 *   virtual adapter comes back after AdapterConfig::restartTime (200 ms) with its settings back to their
 *   defaults (rails, pins, I2C, SPI, UART), and stays away after enterBootMode until replugged.
 * - getUsbString (0x0407) sends any `index` 0..255 unchecked. The answer carries the string's length
 *   plus one at byte 6 and the bytes from 7, passed on unchanged (no UTF-16 conversion). Which text the
 *   adapter keeps under each index is its own; TarvixSDK::DeviceInfo names indices 1..5 as the adapter
 *   uses them (manufacturer, product, serial number, firmware version, hardware version). The virtual
 *   adapter answers any other index with status 0x0001 (invalid parameter).
 */

/**
 * @defgroup family_rails Supply rails and analog measurements
 * The two programmable rails that power the bus pins (codes 0x0404, 0x0405, 0x0409, 0x040A, 0x040B).
 *
 * - The **shared rail** powers I2C, SPI, UART and GPIO alike. Each family offers it under its own name
 *   (gpioSetVoltage, i2cSetBusVoltage, spiSetBusVoltage, uartSetBusVoltage are one command, 0x0405; the
 *   four ...UseExternalVoltage are 0x040B; the four getters read one field): setting the I2C voltage sets
 *   the SPI, UART and GPIO voltage too. The **I3C rail** has its own commands (0x0404, 0x040A).
 * - `voltage` is an unsigned 16-bit number sent little-endian, never scaled, rounded or range-checked by
 *   the library: its unit and range are the adapter's. The virtual adapter reads millivolts and accepts
 *   1200..3300 on either rail (status 0x0003 otherwise).
 * - `flag` of 0x0405 is one byte, 1 or 0, passed to the adapter unchanged; it has no counterpart on the
 *   I3C command. Its meaning is the adapter's: the virtual adapter keeps it and nothing depends on it.
 * - `useExternal` true (byte 1) asks the adapter to take the rail's supply from outside, false (0) to
 *   generate it itself. In the virtual adapter, setting a voltage switches the rail back to its own
 *   regulator.
 * - Reading back goes through one command, getAnalogMeasurements (0x0409), whose answer holds the shared
 *   rail at bytes 6..7 and two I3C readings at 8..9 and 10..11 (u16 little-endian, the same unit as the
 *   setters). What the two I3C readings measure individually is the adapter's; their order is kept. The
 *   virtual adapter reports the regulator's voltage, or the external supply while `useExternal` is set,
 *   and the I3C rail in both I3C readings.
 */

/**
 * @defgroup family_gpio GPIO pins and interrupts
 * Pin configuration, level read and write, interrupts (codes 0x1401..0x1405, notification 0x1481).
 *
 * Every argument is an enumeration sent as one byte, its value cut to 8 bits; the library checks none,
 * and the adapter answers a value it does not accept with its own status. The members of types.hpp are
 * the values the firmware accepts: pins GPIO_0..GPIO_7, the four functions, levels LOW/HIGH and the three
 * triggers. The pins are powered by the shared rail (@ref family_rails).
 *
 * An armed pin (gpioConfigureInterrupt on a pin configured as DIGITAL_INTERRUPT) raises a GPIO_INTERRUPT
 * notification carrying its pin number for every level change that matches the trigger, until
 * gpioDisableInterrupt or a reset. The virtual adapter refuses with status 0x0010 (pin function mismatch)
 * a write to a pin that is not an output, a read of a disabled pin and an interrupt on a pin not
 * configured as DIGITAL_INTERRUPT.
 */

/**
 * @defgroup family_i2c I2C controller and transfers
 * Two I2C controller ports: configuration, pull-ups, write, read and scan (codes 0x0802, 0x0901..0x0906).
 *
 * - `bus`: the port, 0 or 1. Only the blocking i2cScanBus checks it (INVALID_ARGUMENT above 1); the
 *   other commands send any value and the adapter refuses a port it lacks.
 * - `frequency` (init, set-parameters): an unsigned 32-bit clock rate sent unscaled, least significant
 *   byte first. The unit is the adapter's: the virtual adapter reads hertz and accepts 1000..1000000.
 * - `option` (init, set-parameters): the controller's third setting, one byte passed to the adapter
 *   unchanged; its meaning is the adapter's and the library does not name it. The virtual adapter stores
 *   it (tarvix_virtual::i2cBusState) and nothing depends on it; send 0 unless the firmware documents
 *   another value.
 * - `pullUp`: a pull-up resistor selection passed unchanged; which resistance each value selects is the
 *   adapter's. The virtual adapter accepts 0..3, 0 meaning no pull-up, and models no resistance.
 * - `targetAddress`: passed unchanged. The virtual adapter takes a 7-bit address, unshifted (0x50 for an
 *   EEPROM at 0xA0/0xA1 on the wire), and refuses one above 0x7F.
 * - `registerAddress`: 0 to 4 bytes written to the target before the data, most significant first (more:
 *   INVALID_ARGUMENT). On the wire it travels as its length and the bytes folded into a little-endian
 *   32-bit field: {0x12, 0x34} goes as length 2, then 34 12 00 00.
 * - `flag` (write, read, scan): one byte, 1 or 0, passed to the adapter unchanged; its meaning is the
 *   adapter's. The virtual adapter ignores it.
 * - A read with a register address is one command: the adapter writes the address, then reads `length`
 *   bytes. Whether it joins the two with a repeated START or ends the write with a STOP is the adapter's
 *   choice and the library has no setting for it; the virtual adapter always uses a repeated START, as
 *   register reads of EEPROMs and sensors expect, whatever `flag` says.
 * - Scan answer: the count of one-byte entries at byte 7, of two-byte entries at byte 8, then the entries.
 *   What a two-byte entry stands for is the adapter's; the virtual adapter lists the 7-bit addresses that
 *   answer, ascending, and never a two-byte entry. Read answer: the bytes from offset 9 (bytes 6..8, a
 *   count and the target address in the virtual adapter, are not read).
 * - Failures the adapter reports, passed through: the virtual adapter answers 0x0020 for a port not
 *   initialised, 0x0021 when no target acknowledges, 0x0002 for a frequency or pull-up it does not offer.
 */

/**
 * @defgroup family_spi SPI controller and transfers
 * One SPI controller with four chip selects: configuration and full-duplex transfers (codes 0x0D01,
 * 0x0D02, 0x0D04).
 *
 * - The five enumerations travel as one byte each, unchecked; the members of types.hpp are the values the
 *   firmware accepts. `frequency` is an unsigned 32-bit clock rate sent unscaled: the virtual adapter reads
 *   hertz and accepts 1..50000000.
 * - A transfer sends two independent counts: the number of `data` bytes (the vector's size cut to 16 bits;
 *   all bytes follow) and `transferLength`. How the adapter relates them is its own; the virtual adapter
 *   clocks max(data count, transferLength) bytes, sending 0x00 after the data, and answers every byte
 *   clocked in (count at bytes 6..7, the bytes from 8). A chip select with no device reads 0xFF there.
 * - Failures the adapter reports, passed through: the virtual adapter answers 0x0030 before init and
 *   0x0002 for a setting it does not offer.
 */

/**
 * @defgroup family_uart UART
 * Port configuration, sending, and received bytes as notifications (codes 0x1001..0x1005, notification
 * 0x1081).
 *
 * - The five enumerations travel as one byte each, unchecked; UartBaudRate travels as the index of the
 *   rate in the adapter's list, not as bits per second.
 * - uartSendMessage sends the count (the message's size cut to 16 bits) and all bytes; the library sets no
 *   other bound, the adapter refuses what it cannot take.
 * - Bytes the adapter receives arrive unasked as UART_RX notifications (Notification::uartRx()) between
 *   init and deinit. The virtual adapter cuts them to fit one report each (54 bytes on a 64-byte adapter)
 *   and answers 0x0040 to a send or set-parameters while the port is closed.
 */

/**
 * @defgroup family_i3c I3C controller, bus, target table and private transfers
 * I3C controller set-up, the target table, SDR / HDR-DDR / legacy I2C transfers and the bus patterns
 * (codes 0x1901..0x190A, notifications 0x1981 IBI and 0x1982 hot-join).
 *
 * - Controller (0x1901 init, 0x1902 set parameters): four settings, each one byte passed unchanged:
 *   push-pull rate, open-drain rate, legacy I2C rate, drive strength. The asynchronous methods take the
 *   bytes, the blocking ones the enumerations of types.hpp (the values the firmware accepts).
 * - Target table: i3cInitBus hands the adapter a list of I3cTargetInfo records (at most 255) and
 *   i3cGetDeviceTable reads its table back in the same 16-byte layout; the library interprets no field.
 *   What the adapter does with the list is its own: the virtual adapter stores the records, uses the
 *   dynamic addresses they ask for in ENTDAA and fills in what the bus assigns (see i3c_bus.hpp).
 *   i3cSetTargetDeviceConfiguration sends an I3cTargetConfiguration byte for one target, bit for bit.
 * - Private transfers (0x1908): `targetAddress` is the 7-bit dynamic address (legacy I2C: the I2C
 *   address), unshifted. `registerAddress` holds 0..4 bytes sent in vector order then zero-padded to four
 *   (unlike the I2C controller's folded field); more: INVALID_ARGUMENT. `flags` travel in bits 3..7 of the
 *   mode byte, so only values 0..31 reach the adapter; what each bit asks is the adapter's (the virtual
 *   adapter ignores them). HDR-DDR transfers carry an HDR command byte instead of a register address; the
 *   virtual adapter takes commands 0x80..0xFF as reads and 0x00..0x7F as writes. A read answers a count at
 *   bytes 8..9 and the bytes from 10; the count need not equal `length` (a target may end a read early).
 * - Bus patterns (0x190A): the HDR exit pattern (selector 1) returns every target from HDR mode to SDR;
 *   the target reset pattern (selector 0) makes each target perform its RSTACT action.
 * - Failures: the adapter's status, passed through; the virtual adapter's are I3cStatus (0x0100 NACK,
 *   0x0101 HDR mode active, 0x0102 address refused, 0x0103 unsupported CCC, 0x0104 write too long).
 */

/**
 * @defgroup family_ccc I3C Common Command Codes
 * One named method per CCC, broadcast and direct, all sent through one frame (code 0x1909).
 *
 * - A broadcast CCC (code below 0x80) goes to the broadcast address 0x7E; a direct one to `address`, the
 *   target's 7-bit dynamic address, unshifted (SETDASA: its static address).
 * - 16-bit values inside a CCC (SETMWL, SETMRL, GETMWL, GETMRL) travel big-endian, as on the I3C bus.
 * - `events` of ENEC/DISEC is the event mask of I3cEvents (0x01 interrupts, 0x02 controller role, 0x08
 *   hot-join). The broadcast forms send it in the frame's defining-byte field, the direct forms as a data
 *   byte (the virtual adapter reads the defining byte when there is one, else the first data byte).
 * - SETDASA, SETNEWDA and SETGRPA take the new 7-bit address and send it shifted left by one, as the I3C
 *   bus carries it (the carry is dropped).
 * - Optional trailing bytes (`maxIbiPayloadSize` of SETMRL, `extraData` of SETBUSCON and SETXTIME) are
 *   sent only when given; the CCC's length counts them.
 * - Reads: the answer's count byte (response byte 9) says how many bytes the target returned, from byte
 *   10; the blocking forms decode them (see each method). The virtual adapter NACKs (0x0100) a direct CCC
 *   no target answers and an optional GET the target does not support.
 * - i3cCccTransfer, on TarvixAsyncSDK only, sends any CCC with arguments of your choice; the named
 *   methods are fixed calls of it.
 */

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

    /** @name System (0x04xx)
     * See @ref family_system. */
    ///@{
    /** Sends reset (0x0401): the adapter restarts and does not answer. */
    StatusCode resetDevice(TransactionId transactionId);
    /** Sends enter-boot-mode (0x0402): the adapter leaves its firmware and does not answer. */
    StatusCode enterBootMode(TransactionId transactionId);
    /** Asks for USB string `index` (0x0407); any index 0..255 is sent as given. */
    StatusCode getUsbString(TransactionId transactionId, std::uint8_t index);

    ///@}
    /** @name Supply rails and analog measurements (0x04xx)
     * See @ref family_rails. */
    ///@{
    /** 0x0409: reads both rails back (shared rail at response offset 6, I3C rail at 8 and 10). */
    StatusCode getAnalogMeasurements(TransactionId transactionId);
    /**
     * 0x0405: sets the one rail shared by I2C, SPI, UART and GPIO. The four names below are the
     * same command: setting the I2C voltage sets the SPI, UART and GPIO voltage too. `voltage` is
     * sent unscaled (the adapter's unit), `flag` as one byte.
     */
    StatusCode gpioSetVoltage(TransactionId transactionId, std::uint16_t voltage, bool flag)
    {
        return setI2cSpiUartGpioVoltage(transactionId, voltage, flag);
    }
    /** The shared rail's voltage under its I2C name: the same command as gpioSetVoltage(). */
    StatusCode i2cSetBusVoltage(TransactionId transactionId, std::uint16_t voltage, bool flag)
    {
        return setI2cSpiUartGpioVoltage(transactionId, voltage, flag);
    }
    /** The shared rail's voltage under its SPI name: the same command as gpioSetVoltage(). */
    StatusCode spiSetBusVoltage(TransactionId transactionId, std::uint16_t voltage, bool flag)
    {
        return setI2cSpiUartGpioVoltage(transactionId, voltage, flag);
    }
    /** The shared rail's voltage under its UART name: the same command as gpioSetVoltage(). */
    StatusCode uartSetBusVoltage(TransactionId transactionId, std::uint16_t voltage, bool flag)
    {
        return setI2cSpiUartGpioVoltage(transactionId, voltage, flag);
    }
    /** 0x040B: the shared rail takes its supply from outside (true) or from the adapter (false). */
    StatusCode gpioUseExternalVoltage(TransactionId transactionId, bool useExternal)
    {
        return useExternalI2cSpiUartGpioVoltage(transactionId, useExternal);
    }
    /** The shared rail's supply under its I2C name: the same command as gpioUseExternalVoltage(). */
    StatusCode i2cUseExternalVoltage(TransactionId transactionId, bool useExternal)
    {
        return useExternalI2cSpiUartGpioVoltage(transactionId, useExternal);
    }
    /** The shared rail's supply under its SPI name: the same command as gpioUseExternalVoltage(). */
    StatusCode spiUseExternalVoltage(TransactionId transactionId, bool useExternal)
    {
        return useExternalI2cSpiUartGpioVoltage(transactionId, useExternal);
    }
    /** The shared rail's supply under its UART name: the same command as gpioUseExternalVoltage(). */
    StatusCode uartUseExternalVoltage(TransactionId transactionId, bool useExternal)
    {
        return useExternalI2cSpiUartGpioVoltage(transactionId, useExternal);
    }
    /** 0x0404: sets the I3C rail to `voltage` (sent unscaled; millivolts for the virtual adapter). */
    StatusCode i3cSetBusVoltage(TransactionId transactionId, std::uint16_t voltage);
    /** 0x040A: the I3C rail takes its supply from outside (true) or from the adapter (false). */
    StatusCode i3cUseExternalVoltage(TransactionId transactionId, bool useExternal);

    ///@}
    /** @name GPIO (0x14xx)
     * See @ref family_gpio. */
    ///@{
    /** 0x1401: gives pin `pinNumber` the role `functionality`; `logicLevel` is the level an output starts at. */
    StatusCode gpioConfigurePin(TransactionId transactionId, GpioPinNumber pinNumber, GpioFunctionality functionality,
                                GpioLogicLevel logicLevel);
    /** 0x1402: drives output pin `pinNumber` to `logicLevel`. */
    StatusCode gpioDigitalWrite(TransactionId transactionId, GpioPinNumber pinNumber, GpioLogicLevel logicLevel);
    /** 0x1403: reads the level of pin `pinNumber` (answered at response byte 6). */
    StatusCode gpioDigitalRead(TransactionId transactionId, GpioPinNumber pinNumber);
    /** 0x1404: arms the interrupt of pin `pinNumber` for the pin events of `triggerType`. */
    StatusCode gpioConfigureInterrupt(TransactionId transactionId, GpioPinNumber pinNumber,
                                      GpioTriggerType triggerType);
    /** 0x1405: disarms the interrupt of pin `pinNumber`. */
    StatusCode gpioDisableInterrupt(TransactionId transactionId, GpioPinNumber pinNumber);

    ///@}
    /** @name I2C (0x08xx, 0x09xx)
     * See @ref family_i2c. */
    ///@{
    /**
     * 0x0901: sets up port `bus` (0 or 1) with the clock `frequency` (sent unscaled; hertz for the current firmware)
     * and the adapter's `option` byte.
     */
    StatusCode i2cControllerInit(TransactionId transactionId, std::uint8_t bus, std::uint32_t frequency,
                                 std::uint8_t option);
    /** 0x0902: the same fields as i2cControllerInit, for a port already set up. */
    StatusCode i2cSetParameters(TransactionId transactionId, std::uint8_t bus, std::uint32_t frequency,
                                std::uint8_t option);
    /** 0x0802: selects the pull-up resistors of port `bus`. */
    StatusCode i2cSetPullUpResistors(TransactionId transactionId, std::uint8_t bus, std::uint8_t pullUp);
    /**
     * 0x0904: writes `data` to `targetAddress`, after the 0..4 byte `registerAddress` (most
     * significant byte first). INVALID_ARGUMENT for a register address over 4 bytes. The 16-bit
     * count field is data.size() cut to 16 bits; all of `data` is sent.
     */
    StatusCode i2cWrite(TransactionId transactionId, std::uint8_t bus, std::uint8_t targetAddress,
                        const std::vector<std::uint8_t>& registerAddress, const std::vector<std::uint8_t>& data,
                        bool flag);
    /** 0x0905: reads `length` bytes from `targetAddress` after `registerAddress` (0..4 bytes). */
    StatusCode i2cRead(TransactionId transactionId, std::uint8_t bus, std::uint8_t targetAddress,
                       const std::vector<std::uint8_t>& registerAddress, std::uint16_t length, bool flag);
    /** 0x0906: scans port `bus` for responding targets (the bus index is not checked here). */
    StatusCode i2cScanBus(TransactionId transactionId, std::uint8_t bus, bool flag);

    ///@}
    /** @name SPI (0x0Dxx)
     * See @ref family_spi. */
    ///@{
    /** 0x0D01: sets up the SPI controller; `frequency` is sent unscaled (hertz for the current firmware). */
    StatusCode spiControllerInit(TransactionId transactionId, SpiBitOrder bitOrder, SpiMode mode,
                                 SpiDataWidth dataWidth, SpiChipSelect chipSelect,
                                 SpiChipSelectPolarity chipSelectPolarity, std::uint32_t frequency);
    /** 0x0D02: the same six settings, for a controller already set up. */
    StatusCode spiSetParameters(TransactionId transactionId, SpiBitOrder bitOrder, SpiMode mode, SpiDataWidth dataWidth,
                                SpiChipSelect chipSelect, SpiChipSelectPolarity chipSelectPolarity,
                                std::uint32_t frequency);
    /**
     * 0x0D04: clocks `data` out and `transferLength` words in (full duplex). Both counts are sent
     * as given (data.size() cut to 16 bits); `data` is not modified.
     */
    StatusCode spiTransfer(TransactionId transactionId, std::vector<std::uint8_t>& data, std::uint16_t transferLength);

    ///@}
    /** @name UART (0x10xx)
     * See @ref family_uart. */
    ///@{
    /** 0x1002: opens the UART with the five settings (each one byte, unchecked). */
    StatusCode uartInit(TransactionId transactionId, UartBaudRate baudRate, UartHwHandshake hwHandshake,
                        UartParity parity, UartDataSize dataSize, UartStopBit stopBit);
    /** 0x1003: the same five settings, for a port already open. */
    StatusCode uartSetParameters(TransactionId transactionId, UartBaudRate baudRate, UartHwHandshake hwHandshake,
                                 UartParity parity, UartDataSize dataSize, UartStopBit stopBit);
    /** 0x1001: closes the UART; no more UART_RX notifications follow. */
    StatusCode uartDeinit(TransactionId transactionId);
    /** 0x1005: sends `message`; the count field is message.size() cut to 16 bits, all bytes follow. */
    StatusCode uartSendMessage(TransactionId transactionId, const std::vector<std::uint8_t>& message);

    ///@}
    /** @name I3C controller, bus and target table (0x1901..0x1907)
     * See @ref family_i3c. */
    ///@{
    /** 0x1901: sets up the I3C controller with four setting bytes (the values of the enumerations of types.hpp). */
    StatusCode i3cControllerInit(TransactionId transactionId, std::uint8_t pushPullRate, std::uint8_t openDrainRate,
                                 std::uint8_t i2cRate, std::uint8_t driveStrength);
    /** 0x1902: the same four settings, for a controller already set up. */
    StatusCode i3cSetParameters(TransactionId transactionId, std::uint8_t pushPullRate, std::uint8_t openDrainRate,
                                std::uint8_t i2cRate, std::uint8_t driveStrength);
    /** 0x1904: hands the adapter the targets expected on the bus (at most 255 records). */
    StatusCode i3cInitBus(TransactionId transactionId, std::vector<I3cTargetInfo> targets);
    /**
     * 0x1905: resets the I3C bus (the virtual adapter exits HDR mode, drops every dynamic address and empties its
     * table).
     */
    StatusCode i3cResetBus(TransactionId transactionId);
    /** 0x1906: asks for the target table of the adapter (count at response byte 6, 16-byte records from 7). */
    StatusCode i3cGetDeviceTable(TransactionId transactionId);
    /** 0x1907: sends the configuration byte `configuration.raw` for the target at `targetAddress`, bit for bit. */
    StatusCode i3cSetTargetDeviceConfiguration(TransactionId transactionId, std::uint8_t targetAddress,
                                               I3cTargetConfiguration configuration);

    ///@}
    /** @name I3C private transfers (0x1908)
     * See @ref family_i3c. */
    ///@{
    /**
     * SDR and legacy I2C transfers address an optional register of 0..4 bytes, sent in vector
     * order (unlike the I2C controller's folding); INVALID_ARGUMENT for more than 4 bytes.
     * `targetAddress` is the 7-bit address, unshifted. `flags` travel in bits 3..7 of the mode byte.
     */
    StatusCode i3cSdrRead(TransactionId transactionId, std::uint8_t targetAddress,
                          const std::vector<std::uint8_t>& registerAddress, std::uint16_t length,
                          I3cTransferFlags flags);
    /** SDR write: `data` to `targetAddress`, after the optional register address. */
    StatusCode i3cSdrWrite(TransactionId transactionId, std::uint8_t targetAddress,
                           const std::vector<std::uint8_t>& registerAddress, const std::vector<std::uint8_t>& data,
                           I3cTransferFlags flags);
    /** Legacy I2C read: `length` bytes from the I2C target `targetAddress` on the I3C bus. */
    StatusCode i3cLegacyI2cRead(TransactionId transactionId, std::uint8_t targetAddress,
                                const std::vector<std::uint8_t>& registerAddress, std::uint16_t length,
                                I3cTransferFlags flags);
    /** Legacy I2C write: `data` to the I2C target `targetAddress` on the I3C bus. */
    StatusCode i3cLegacyI2cWrite(TransactionId transactionId, std::uint8_t targetAddress,
                                 const std::vector<std::uint8_t>& registerAddress,
                                 const std::vector<std::uint8_t>& data, I3cTransferFlags flags);
    /** HDR-DDR transfers carry an HDR command byte instead of a register address. */
    StatusCode i3cHdrDdrRead(TransactionId transactionId, std::uint8_t targetAddress, std::uint8_t command,
                             std::uint16_t length);
    /** HDR-DDR write: `data` under HDR command `command` (the bus enters HDR-DDR mode). */
    StatusCode i3cHdrDdrWrite(TransactionId transactionId, std::uint8_t targetAddress, std::uint8_t command,
                              const std::vector<std::uint8_t>& data);

    ///@}
    /** @name I3C bus patterns (0x190A)
     * See @ref family_i3c. */
    ///@{
    /** Drives the HDR exit pattern (selector 1): every target returns from HDR mode to SDR. */
    StatusCode i3cHdrExitPattern(TransactionId transactionId);
    /** Drives the target reset pattern (selector 0): each target performs its RSTACT action. */
    StatusCode i3cTargetResetPattern(TransactionId transactionId);

    ///@}
    /** @name I3C Common Command Codes (0x1909)
     * See @ref family_ccc. */
    ///@{
    /**
     * Generic CCC: sends `ccc` to `targetAddress` (0x7E for a broadcast code). The flags byte is
     * ((cccType * 2 | transferFlag) << 2 | mode) << 1 | direction, kept to 8 bits and not masked.
     * `length` is the number of data bytes written, or to be read. `definingByte` is sent as
     * given. INVALID_ARGUMENT when `direction` is READ and `data` is not empty.
     */
    StatusCode i3cCccTransfer(TransactionId transactionId, std::uint8_t targetAddress, I3cTransferDirection direction,
                              I3cTransferMode mode, bool transferFlag, I3cCccType cccType, std::uint8_t length, CCC ccc,
                              std::uint8_t definingByte, const std::vector<std::uint8_t>& data);

    /** Broadcast ENEC/DISEC: `events` travels in the defining-byte field (see the event bit constants). */
    StatusCode i3cCccENECBroadcast(TransactionId transactionId, std::uint8_t events);
    /** DISEC broadcast (0x01): disables the events in `events` (I3cEvents) on every target. */
    StatusCode i3cCccDISECBroadcast(TransactionId transactionId, std::uint8_t events);
    /** ENTAS0 broadcast (0x02): every target enters activity state 0. */
    StatusCode i3cCccENTAS0Broadcast(TransactionId transactionId);
    /** ENTAS1 broadcast (0x03): every target enters activity state 1. */
    StatusCode i3cCccENTAS1Broadcast(TransactionId transactionId);
    /** ENTAS2 broadcast (0x04): every target enters activity state 2. */
    StatusCode i3cCccENTAS2Broadcast(TransactionId transactionId);
    /** ENTAS3 broadcast (0x05): every target enters activity state 3. */
    StatusCode i3cCccENTAS3Broadcast(TransactionId transactionId);
    /** RSTDAA (0x06): every target drops its dynamic address. */
    StatusCode i3cCccRSTDAA(TransactionId transactionId);
    /** ENTDAA (0x07): dynamic address assignment of the targets that have no dynamic address. */
    StatusCode i3cCccENTDAA(TransactionId transactionId);
    /** SETMWL/SETMRL lengths travel big-endian, as the I3C bus orders them. */
    StatusCode i3cCccSETMWLBroadcast(TransactionId transactionId, std::uint16_t maxWriteLength);
    /** SETMRL broadcast (0x0A): `maxReadLength` for every target, then `maxIbiPayloadSize` if given. */
    StatusCode i3cCccSETMRLBroadcast(TransactionId transactionId, std::uint16_t maxReadLength,
                                     std::optional<std::uint8_t> maxIbiPayloadSize = std::nullopt);
    /** SETBUSCON (0x0C): the bus context byte `context`, then the bytes of `extraData` if given. */
    StatusCode i3cCccSETBUSCONBroadcast(TransactionId transactionId, std::uint8_t context,
                                        const std::optional<std::vector<std::uint8_t>>& extraData = std::nullopt);
    /** SETXTIME broadcast (0x28): timing sub-command `subcommand`, then `extraData` if given. */
    StatusCode i3cCccSETXTIMEBroadcast(TransactionId transactionId, std::uint8_t subcommand,
                                       const std::optional<std::vector<std::uint8_t>>& extraData = std::nullopt);
    /**
     * SETAASA (0x29): targets that support it take their static address as dynamic address; `data` is sent as given.
     */
    StatusCode i3cCccSETAASA(TransactionId transactionId, const std::vector<std::uint8_t>& data);
    /**
     * RSTACT broadcast (0x2A): `action` (the defining byte) is what every target does on the next target reset pattern.
     */
    StatusCode i3cCccRSTACTBroadcast(TransactionId transactionId, I3cTargetResetDefByte action);
    /** RSTGRPA broadcast (0x2C): every target drops its group address. */
    StatusCode i3cCccRSTGRPABroadcast(TransactionId transactionId);
    /** Direct ENEC/DISEC: `events` travels as a data byte. */
    StatusCode i3cCccENECDirect(TransactionId transactionId, std::uint8_t address, std::uint8_t events);
    /** DISEC direct (0x81): disables the events in `events` (I3cEvents) on the target at `address`. */
    StatusCode i3cCccDISECDirect(TransactionId transactionId, std::uint8_t address, std::uint8_t events);
    /** ENTAS0 direct (0x82): the target at `address` enters activity state 0. */
    StatusCode i3cCccENTAS0Direct(TransactionId transactionId, std::uint8_t address);
    /** ENTAS1 direct (0x83): the target at `address` enters activity state 1. */
    StatusCode i3cCccENTAS1Direct(TransactionId transactionId, std::uint8_t address);
    /** ENTAS2 direct (0x84): the target at `address` enters activity state 2. */
    StatusCode i3cCccENTAS2Direct(TransactionId transactionId, std::uint8_t address);
    /** ENTAS3 direct (0x85): the target at `address` enters activity state 3. */
    StatusCode i3cCccENTAS3Direct(TransactionId transactionId, std::uint8_t address);
    /** SETDASA, SETNEWDA and SETGRPA send the new address shifted left by one, as on the bus. */
    StatusCode i3cCccSETDASA(TransactionId transactionId, std::uint8_t staticAddress, std::uint8_t dynamicAddress);
    /** SETNEWDA (0x88): the target at dynamic address `address` takes `newDynamicAddress` (7 bits, sent shifted). */
    StatusCode i3cCccSETNEWDA(TransactionId transactionId, std::uint8_t address, std::uint8_t newDynamicAddress);
    /** SETMWL direct (0x89): sets the maximum write length of the target at `address` (big-endian). */
    StatusCode i3cCccSETMWLDirect(TransactionId transactionId, std::uint8_t address, std::uint16_t maxWriteLength);
    /** SETMRL direct (0x8A): `maxReadLength` for the target at `address`, then `maxIbiPayloadSize` if given. */
    StatusCode i3cCccSETMRLDirect(TransactionId transactionId, std::uint8_t address, std::uint16_t maxReadLength,
                                  std::optional<std::uint8_t> maxIbiPayloadSize = std::nullopt);
    /** SETXTIME direct (0x98): timing sub-command `subcommand` to `address`, then `extraData` if given. */
    StatusCode i3cCccSETXTIMEDirect(TransactionId transactionId, std::uint8_t address, std::uint8_t subcommand,
                                    const std::optional<std::vector<std::uint8_t>>& extraData = std::nullopt);
    /** SETGRPA (0x9B): gives the target at `address` the group address `groupAddress` (7 bits, sent shifted). */
    StatusCode i3cCccSETGRPADirect(TransactionId transactionId, std::uint8_t address, std::uint8_t groupAddress);
    /** RSTGRPA direct (0x9C): the target at `address` drops its group address. */
    StatusCode i3cCccRSTGRPADirect(TransactionId transactionId, std::uint8_t address);
    /** RSTACT direct: READ asks the target for a reset time (length 1), WRITE orders the action (length 0). */
    StatusCode i3cCccRSTACTDirect(TransactionId transactionId, std::uint8_t address, I3cTargetResetDefByte action,
                                  I3cTransferDirection direction);
    /** GETMWL (0x8B): reads the maximum write length of the target at `address` (2 bytes, big-endian). */
    StatusCode i3cCccGETMWL(TransactionId transactionId, std::uint8_t address);
    /**
     * GETMRL (0x8C): reads the maximum read length (2 bytes, big-endian) and, from targets with IBI payload, the IBI
     * payload size.
     */
    StatusCode i3cCccGETMRL(TransactionId transactionId, std::uint8_t address);
    /** GETPID (0x8D): reads the 6-byte Provisioned ID of the target at `address` (see I3cPid). */
    StatusCode i3cCccGETPID(TransactionId transactionId, std::uint8_t address);
    /** GETBCR (0x8E): reads the Bus Characteristics Register of the target at `address` (see I3cBcr). */
    StatusCode i3cCccGETBCR(TransactionId transactionId, std::uint8_t address);
    /** GETDCR (0x8F): reads the Device Characteristics Register of the target at `address` (see I3cDcr). */
    StatusCode i3cCccGETDCR(TransactionId transactionId, std::uint8_t address);
    /**
     * GETSTATUS (0x90): reads the status of the target at `address`; `definingByte` (I3cGetStatusDefByte) is sent if
     * given.
     */
    StatusCode i3cCccGETSTATUS(TransactionId transactionId, std::uint8_t address,
                               std::optional<std::uint8_t> definingByte = std::nullopt);
    /** GETMXDS (0x94): reads the maximum data speed bytes of the target at `address` (2 or 5 bytes). */
    StatusCode i3cCccGETMXDS(TransactionId transactionId, std::uint8_t address);
    /**
     * GETCAPS (0x95): reads the capability bytes of the target at `address`; `definingByte` (I3cGetCapsDefByte) is sent
     * if given.
     */
    StatusCode i3cCccGETCAPS(TransactionId transactionId, std::uint8_t address,
                             std::optional<std::uint8_t> definingByte = std::nullopt);
    /** GETXTIME (0x99): reads the exchange timing bytes of the target at `address`. */
    StatusCode i3cCccGETXTIME(TransactionId transactionId, std::uint8_t address);

    ///@}

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
 * with outputs already written. The whole rule, with RESPONSE_TOO_SHORT: @ref blocking_results.
 * Threads and handlers: @ref threads.
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

    bool connect(const std::string& path = std::string());         /**< as TarvixAsyncSDK::connect */
    bool connectWithSerialNumber(const std::string& serialNumber); /**< as TarvixAsyncSDK::connectWithSerialNumber */
    void disconnect();                                             /**< as TarvixAsyncSDK::disconnect */
    bool isConnected() const noexcept;                             /**< as TarvixAsyncSDK::isConnected */
    static std::string getVersion();                               /**< "1.3.0" */
    /**
     * Replaces the notification handler. It runs on the reader thread for every frame with
     * transaction id 0, whether or not a call is waiting; it must not call blocking methods of
     * this object. Set it before connecting, or accept that a notification may race the change.
     */
    void onNotification(NotificationHandler handler);

    bool connectTo(const std::string& selector); /**< as TarvixAsyncSDK::connectTo */
    /** As TarvixAsyncSDK::onFrame: every request sent and every frame received, for traces. */
    void onFrame(TarvixAsyncSDK::FrameTap tap);
    SessionOptions options() const noexcept;              /**< as TarvixAsyncSDK::options */
    ConnectError lastConnectError() const;                /**< as TarvixAsyncSDK::lastConnectError */
    std::string lastConnectErrorMessage() const;          /**< as TarvixAsyncSDK::lastConnectErrorMessage */
    std::uint64_t handlerExceptionCount() const noexcept; /**< as TarvixAsyncSDK::handlerExceptionCount */
    std::string lastHandlerException() const;             /**< as TarvixAsyncSDK::lastHandlerException */
    /**
     * With SessionOptions::matchResponses: response frames dropped since construction because
     * they did not answer the call waiting (late, duplicated, foreign) or came when none waited.
     */
    std::uint64_t droppedResponseCount() const noexcept;

    /** @name System
     * See @ref family_system. */
    ///@{
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

    ///@}
    /** @name Supply rails
     * See @ref family_rails. */
    ///@{
    /** The shared I2C/SPI/UART/GPIO rail: the four names set and read one and the same rail. */
    StatusCode gpioSetVoltage(std::uint16_t voltage, bool flag);
    /** As gpioSetVoltage(), under the I2C name. */
    StatusCode i2cSetBusVoltage(std::uint16_t voltage, bool flag);
    /** As gpioSetVoltage(), under the SPI name. */
    StatusCode spiSetBusVoltage(std::uint16_t voltage, bool flag);
    /** As gpioSetVoltage(), under the UART name. */
    StatusCode uartSetBusVoltage(std::uint16_t voltage, bool flag);
    /** The shared rail takes its supply from outside (true) or from the adapter (false); 0x040B. */
    StatusCode gpioUseExternalVoltage(bool useExternal);
    /** As gpioUseExternalVoltage(), under the I2C name. */
    StatusCode i2cUseExternalVoltage(bool useExternal);
    /** As gpioUseExternalVoltage(), under the SPI name. */
    StatusCode spiUseExternalVoltage(bool useExternal);
    /** As gpioUseExternalVoltage(), under the UART name. */
    StatusCode uartUseExternalVoltage(bool useExternal);
    /** Reads the shared rail back (analog measurement, offset 6). */
    StatusCode gpioGetVoltage(std::uint16_t& voltage);
    /** As gpioGetVoltage(), under the I2C name. */
    StatusCode i2cGetBusVoltage(std::uint16_t& voltage);
    /** As gpioGetVoltage(), under the SPI name. */
    StatusCode spiGetBusVoltage(std::uint16_t& voltage);
    /** As gpioGetVoltage(), under the UART name. */
    StatusCode uartGetBusVoltage(std::uint16_t& voltage);
    /** @copydoc TarvixAsyncSDK::i3cSetBusVoltage */
    StatusCode i3cSetBusVoltage(std::uint16_t voltage);
    /** @copydoc TarvixAsyncSDK::i3cUseExternalVoltage */
    StatusCode i3cUseExternalVoltage(bool useExternal);
    /** Reads the two I3C rail readings (analog measurement offsets 8 and 10), in that order. */
    StatusCode i3cGetBusVoltage(std::uint16_t& voltage1, std::uint16_t& voltage2);

    ///@}
    /** @name GPIO
     * See @ref family_gpio. */
    ///@{
    /** @copydoc TarvixAsyncSDK::gpioConfigurePin */
    StatusCode gpioConfigurePin(GpioPinNumber pinNumber, GpioFunctionality functionality, GpioLogicLevel logicLevel);
    /** @copydoc TarvixAsyncSDK::gpioDigitalWrite */
    StatusCode gpioDigitalWrite(GpioPinNumber pinNumber, GpioLogicLevel logicLevel);
    /** `logicLevel` receives the response byte zero-extended (not checked against the members). */
    StatusCode gpioDigitalRead(GpioPinNumber pinNumber, GpioLogicLevel& logicLevel);
    /** @copydoc TarvixAsyncSDK::gpioConfigureInterrupt */
    StatusCode gpioConfigureInterrupt(GpioPinNumber pinNumber, GpioTriggerType triggerType);
    /** @copydoc TarvixAsyncSDK::gpioDisableInterrupt */
    StatusCode gpioDisableInterrupt(GpioPinNumber pinNumber);

    ///@}
    /** @name I2C
     * See @ref family_i2c. */
    ///@{
    /** @copydoc TarvixAsyncSDK::i2cControllerInit */
    StatusCode i2cControllerInit(std::uint8_t bus, std::uint32_t frequency, std::uint8_t option);
    /** @copydoc TarvixAsyncSDK::i2cSetParameters */
    StatusCode i2cSetParameters(std::uint8_t bus, std::uint32_t frequency, std::uint8_t option);
    /** @copydoc TarvixAsyncSDK::i2cSetPullUpResistors */
    StatusCode i2cSetPullUpResistors(std::uint8_t bus, std::uint8_t pullUp);
    /** @copydoc TarvixAsyncSDK::i2cWrite */
    StatusCode i2cWrite(std::uint8_t bus, std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress,
                        const std::vector<std::uint8_t>& data, bool flag);
    /**
     * Reads `length` bytes into `readData` (replaced). The adapter is expected to answer with
     * `length` bytes from response offset 9; if fewer arrived, `readData` holds only those, and a
     * status 0 becomes RESPONSE_TOO_SHORT.
     */
    StatusCode i2cRead(std::uint8_t bus, std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress,
                       std::uint16_t length, std::vector<std::uint8_t>& readData, bool flag);
    /**
     * Scans port `bus`. INVALID_ARGUMENT (before anything else, even when disconnected) if `bus`
     * is over 1 or a count pointer is null. The counts are written first; then `addresses` is
     * replaced by the one-byte entries followed by the two-byte entries, unless the response is
     * shorter than they need: then RESPONSE_TOO_SHORT and `addresses` is untouched.
     */
    StatusCode i2cScanBus(std::vector<std::uint8_t>& addresses, std::uint8_t* oneByteCount, std::uint8_t* twoByteCount,
                          std::uint8_t bus, bool flag);

    ///@}
    /** @name SPI
     * See @ref family_spi. */
    ///@{
    /** @copydoc TarvixAsyncSDK::spiControllerInit */
    StatusCode spiControllerInit(SpiBitOrder bitOrder, SpiMode mode, SpiDataWidth dataWidth, SpiChipSelect chipSelect,
                                 SpiChipSelectPolarity chipSelectPolarity, std::uint32_t frequency);
    /** @copydoc TarvixAsyncSDK::spiSetParameters */
    StatusCode spiSetParameters(SpiBitOrder bitOrder, SpiMode mode, SpiDataWidth dataWidth, SpiChipSelect chipSelect,
                                SpiChipSelectPolarity chipSelectPolarity, std::uint32_t frequency);
    /**
     * Full-duplex transfer. `readData` is replaced by the bytes the adapter reports (its count at
     * response offset 6), at most the bytes that arrived; fewer than counted turn a status 0 into
     * RESPONSE_TOO_SHORT.
     */
    StatusCode spiTransfer(const std::vector<std::uint8_t>& data, std::vector<std::uint8_t>& readData,
                           std::uint16_t transferLength);

    ///@}
    /** @name UART
     * See @ref family_uart. */
    ///@{
    /** @copydoc TarvixAsyncSDK::uartInit */
    StatusCode uartInit(UartBaudRate baudRate, UartHwHandshake hwHandshake, UartParity parity, UartDataSize dataSize,
                        UartStopBit stopBit);
    /** @copydoc TarvixAsyncSDK::uartSetParameters */
    StatusCode uartSetParameters(UartBaudRate baudRate, UartHwHandshake hwHandshake, UartParity parity,
                                 UartDataSize dataSize, UartStopBit stopBit);
    /** @copydoc TarvixAsyncSDK::uartDeinit */
    StatusCode uartDeinit();
    /** Sends `message`; received bytes arrive as UART_RX notifications. */
    StatusCode uartSendMessage(const std::vector<std::uint8_t>& message);

    ///@}
    /** @name I3C controller, bus and target table
     * See @ref family_i3c. */
    ///@{
    /** 0x1901: sets up the I3C controller; each enumeration is sent as one byte, unchecked. */
    StatusCode i3cControllerInit(I3cPushPullRate pushPullRate, I3cOpenDrainTransferRate openDrainRate,
                                 I2cTransferRate i2cRate, I3cDriveStrength driveStrength);
    /** 0x1902: the same four settings, for a controller already set up. */
    StatusCode i3cSetParameters(I3cPushPullRate pushPullRate, I3cOpenDrainTransferRate openDrainRate,
                                I2cTransferRate i2cRate, I3cDriveStrength driveStrength);
    /**
     * @copydoc TarvixAsyncSDK::i3cInitBus
     * The caller's vector is not changed.
     */
    StatusCode i3cInitBus(std::vector<I3cTargetInfo> targets);
    /** @copydoc TarvixAsyncSDK::i3cResetBus */
    StatusCode i3cResetBus();
    /**
     * Replaces `table` with the adapter's target table (the whole records that arrived; fewer than
     * announced turn a status 0 into RESPONSE_TOO_SHORT).
     */
    StatusCode i3cGetDeviceTable(std::vector<I3cTargetInfo>& table);
    /** @copydoc TarvixAsyncSDK::i3cSetTargetDeviceConfiguration */
    StatusCode i3cSetTargetDeviceConfiguration(std::uint8_t targetAddress, I3cTargetConfiguration configuration);

    ///@}
    /** @name I3C private transfers
     * See @ref family_i3c. */
    ///@{
    /**
     * Reads replace `data` with the bytes the adapter reports, as far as they arrived; fewer than
     * counted turn a status 0 into RESPONSE_TOO_SHORT.
     */
    StatusCode i3cSdrRead(std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress,
                          std::uint16_t length, std::vector<std::uint8_t>& data, I3cTransferFlags flags);
    /** @copydoc TarvixAsyncSDK::i3cSdrWrite */
    StatusCode i3cSdrWrite(std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress,
                           const std::vector<std::uint8_t>& data, I3cTransferFlags flags);
    /**
     * @copydoc TarvixAsyncSDK::i3cLegacyI2cRead
     * `data` is replaced as by i3cSdrRead().
     */
    StatusCode i3cLegacyI2cRead(std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress,
                                std::uint16_t length, std::vector<std::uint8_t>& data, I3cTransferFlags flags);
    /** @copydoc TarvixAsyncSDK::i3cLegacyI2cWrite */
    StatusCode i3cLegacyI2cWrite(std::uint8_t targetAddress, const std::vector<std::uint8_t>& registerAddress,
                                 const std::vector<std::uint8_t>& data, I3cTransferFlags flags);
    /** HDR-DDR read: `length` bytes under HDR command `command`; `data` is replaced as by i3cSdrRead(). */
    StatusCode i3cHdrDdrRead(std::uint8_t targetAddress, std::uint8_t command, std::uint16_t length,
                             std::vector<std::uint8_t>& data);
    /** @copydoc TarvixAsyncSDK::i3cHdrDdrWrite */
    StatusCode i3cHdrDdrWrite(std::uint8_t targetAddress, std::uint8_t command, const std::vector<std::uint8_t>& data);

    ///@}
    /** @name I3C bus patterns
     * See @ref family_i3c. */
    ///@{
    /** @copydoc TarvixAsyncSDK::i3cHdrExitPattern */
    StatusCode i3cHdrExitPattern();
    /** @copydoc TarvixAsyncSDK::i3cTargetResetPattern */
    StatusCode i3cTargetResetPattern();

    ///@}
    /** @name I3C Common Command Codes
     * See @ref family_ccc. */
    ///@{
    /** @copydoc TarvixAsyncSDK::i3cCccENECBroadcast */
    StatusCode i3cCccENECBroadcast(std::uint8_t events);
    /** @copydoc TarvixAsyncSDK::i3cCccDISECBroadcast */
    StatusCode i3cCccDISECBroadcast(std::uint8_t events);
    /** @copydoc TarvixAsyncSDK::i3cCccENTAS0Broadcast */
    StatusCode i3cCccENTAS0Broadcast();
    /** @copydoc TarvixAsyncSDK::i3cCccENTAS1Broadcast */
    StatusCode i3cCccENTAS1Broadcast();
    /** @copydoc TarvixAsyncSDK::i3cCccENTAS2Broadcast */
    StatusCode i3cCccENTAS2Broadcast();
    /** @copydoc TarvixAsyncSDK::i3cCccENTAS3Broadcast */
    StatusCode i3cCccENTAS3Broadcast();
    /** @copydoc TarvixAsyncSDK::i3cCccRSTDAA */
    StatusCode i3cCccRSTDAA();
    /** @copydoc TarvixAsyncSDK::i3cCccENTDAA */
    StatusCode i3cCccENTDAA();
    /** @copydoc TarvixAsyncSDK::i3cCccSETMWLBroadcast */
    StatusCode i3cCccSETMWLBroadcast(std::uint16_t maxWriteLength);
    /** @copydoc TarvixAsyncSDK::i3cCccSETMRLBroadcast */
    StatusCode i3cCccSETMRLBroadcast(std::uint16_t maxReadLength,
                                     std::optional<std::uint8_t> maxIbiPayloadSize = std::nullopt);
    /** @copydoc TarvixAsyncSDK::i3cCccSETBUSCONBroadcast */
    StatusCode i3cCccSETBUSCONBroadcast(std::uint8_t context,
                                        const std::optional<std::vector<std::uint8_t>>& extraData = std::nullopt);
    /** @copydoc TarvixAsyncSDK::i3cCccSETXTIMEBroadcast */
    StatusCode i3cCccSETXTIMEBroadcast(std::uint8_t subcommand,
                                       const std::optional<std::vector<std::uint8_t>>& extraData = std::nullopt);
    /** @copydoc TarvixAsyncSDK::i3cCccSETAASA */
    StatusCode i3cCccSETAASA(const std::vector<std::uint8_t>& data);
    /** @copydoc TarvixAsyncSDK::i3cCccRSTACTBroadcast */
    StatusCode i3cCccRSTACTBroadcast(I3cTargetResetDefByte action);
    /** @copydoc TarvixAsyncSDK::i3cCccRSTGRPABroadcast */
    StatusCode i3cCccRSTGRPABroadcast();
    /** @copydoc TarvixAsyncSDK::i3cCccENECDirect */
    StatusCode i3cCccENECDirect(std::uint8_t address, std::uint8_t events);
    /** @copydoc TarvixAsyncSDK::i3cCccDISECDirect */
    StatusCode i3cCccDISECDirect(std::uint8_t address, std::uint8_t events);
    /** @copydoc TarvixAsyncSDK::i3cCccENTAS0Direct */
    StatusCode i3cCccENTAS0Direct(std::uint8_t address);
    /** @copydoc TarvixAsyncSDK::i3cCccENTAS1Direct */
    StatusCode i3cCccENTAS1Direct(std::uint8_t address);
    /** @copydoc TarvixAsyncSDK::i3cCccENTAS2Direct */
    StatusCode i3cCccENTAS2Direct(std::uint8_t address);
    /** @copydoc TarvixAsyncSDK::i3cCccENTAS3Direct */
    StatusCode i3cCccENTAS3Direct(std::uint8_t address);
    /** @copydoc TarvixAsyncSDK::i3cCccSETDASA */
    StatusCode i3cCccSETDASA(std::uint8_t staticAddress, std::uint8_t dynamicAddress);
    /** @copydoc TarvixAsyncSDK::i3cCccSETNEWDA */
    StatusCode i3cCccSETNEWDA(std::uint8_t address, std::uint8_t newDynamicAddress);
    /** @copydoc TarvixAsyncSDK::i3cCccSETMWLDirect */
    StatusCode i3cCccSETMWLDirect(std::uint8_t address, std::uint16_t maxWriteLength);
    /** @copydoc TarvixAsyncSDK::i3cCccSETMRLDirect */
    StatusCode i3cCccSETMRLDirect(std::uint8_t address, std::uint16_t maxReadLength,
                                  std::optional<std::uint8_t> maxIbiPayloadSize = std::nullopt);
    /** @copydoc TarvixAsyncSDK::i3cCccSETXTIMEDirect */
    StatusCode i3cCccSETXTIMEDirect(std::uint8_t address, std::uint8_t subcommand,
                                    const std::optional<std::vector<std::uint8_t>>& extraData = std::nullopt);
    /** @copydoc TarvixAsyncSDK::i3cCccSETGRPADirect */
    StatusCode i3cCccSETGRPADirect(std::uint8_t address, std::uint8_t groupAddress);
    /** @copydoc TarvixAsyncSDK::i3cCccRSTGRPADirect */
    StatusCode i3cCccRSTGRPADirect(std::uint8_t address);
    /** With direction READ and a non-null `resetTime`, stores the target's reset time byte there. */
    StatusCode i3cCccRSTACTDirect(std::uint8_t address, I3cTargetResetDefByte action, I3cTransferDirection direction,
                                  std::uint8_t* resetTime);
    /**
     * @copydoc TarvixAsyncSDK::i3cCccGETMWL
     * `maxWriteLength` receives response bytes 10..11.
     */
    StatusCode i3cCccGETMWL(std::uint8_t address, std::uint16_t& maxWriteLength);
    /** `maxIbiPayloadSize` is set when the target returned 3 bytes, emptied otherwise. */
    StatusCode i3cCccGETMRL(std::uint8_t address, std::uint16_t& maxReadLength,
                            std::optional<std::uint8_t>& maxIbiPayloadSize);
    /**
     * The variable CCC reads (GETPID, GETSTATUS, GETMXDS, GETCAPS, GETXTIME) replace their vector
     * with the bytes the target's count byte announces, as far as they arrived; fewer than
     * counted turn a status 0 into RESPONSE_TOO_SHORT.
     */
    StatusCode i3cCccGETPID(std::uint8_t address, std::vector<std::uint8_t>& pid);
    /**
     * @copydoc TarvixAsyncSDK::i3cCccGETBCR
     * `bcr` receives response byte 10.
     */
    StatusCode i3cCccGETBCR(std::uint8_t address, std::uint8_t& bcr);
    /**
     * @copydoc TarvixAsyncSDK::i3cCccGETDCR
     * `dcr` receives response byte 10.
     */
    StatusCode i3cCccGETDCR(std::uint8_t address, std::uint8_t& dcr);
    /**
     * @copydoc TarvixAsyncSDK::i3cCccGETSTATUS
     * `status` is replaced as the variable CCC reads say (i3cCccGETPID()).
     */
    StatusCode i3cCccGETSTATUS(std::uint8_t address, std::vector<std::uint8_t>& status,
                               std::optional<std::uint8_t> definingByte = std::nullopt);
    /**
     * @copydoc TarvixAsyncSDK::i3cCccGETMXDS
     * `maxDataSpeed` is replaced as the variable CCC reads say (i3cCccGETPID()).
     */
    StatusCode i3cCccGETMXDS(std::uint8_t address, std::vector<std::uint8_t>& maxDataSpeed);
    /**
     * @copydoc TarvixAsyncSDK::i3cCccGETCAPS
     * `caps` is replaced as the variable CCC reads say (i3cCccGETPID()).
     */
    StatusCode i3cCccGETCAPS(std::uint8_t address, std::vector<std::uint8_t>& caps,
                             std::optional<std::uint8_t> definingByte = std::nullopt);
    /**
     * @copydoc TarvixAsyncSDK::i3cCccGETXTIME
     * `xtime` is replaced as the variable CCC reads say (i3cCccGETPID()).
     */
    StatusCode i3cCccGETXTIME(std::uint8_t address, std::vector<std::uint8_t>& xtime);

    ///@}
    /** @name Pipelined calls */
    ///@{
    /**
     * Commands queued to be sent back to back, several in flight at once, instead of one per
     * USB round trip (about 2 ms on a full-speed adapter, 250 us on a high-speed one).
     *
     * Each step is a callable that makes blocking calls on the session it is given and returns a
     * status, usually one call:
     * @code
     *   std::vector<std::vector<std::uint8_t>> data(256);
     *   TarvixSDK::Pipeline pipeline;
     *   for (std::uint8_t reg = 0; reg < 255; ++reg)
     *       pipeline.add([reg, &data](TarvixSDK& s) { return s.i2cRead(0, 0x50, {reg}, 1, data[reg], false); });
     *   std::vector<StatusCode> statuses = sdk.runPipeline(pipeline);
     * @endcode
     * runPipeline() runs every step twice. In the first pass each call only sends its request
     * (with a transaction id of its own) and returns at once, its outputs untouched; then the
     * library waits until every request is answered or has timed out; in the second pass each
     * call takes the answer to its own request (matched by transaction id and command code,
     * whatever SessionOptions say) and decodes it exactly as a single call would. So a step must
     * make the same calls in both passes: capture inputs by value, outputs by reference, and do
     * not branch on the status a call returns (in the first pass it means nothing).
     *
     * Window: at most window() requests are in flight; the next one is sent once the oldest is
     * answered or timed out. The adapter takes requests in order, one at a time, into a small
     * input buffer, and its answers wait in the host's report queue until the reader takes them
     * (hidraw keeps 64 reports per open device and drops the rest): the default of 8 keeps both
     * far from full and already fills the USB link; 1 to 64 may be chosen.
     */
    class Pipeline {
    public:
        /** One step: makes blocking calls on the session it is given and returns the status of the last. */
        using Step = std::function<StatusCode(TarvixSDK&)>;
        static constexpr std::size_t kDefaultWindow = 8; /**< requests in flight by default */
        static constexpr std::size_t kMaxWindow = 64;    /**< the most requests in flight */

        /** `window`: requests in flight at most, cut to 1..kMaxWindow. */
        explicit Pipeline(std::size_t window = kDefaultWindow)
            : window_(window < 1 ? 1 : (window > kMaxWindow ? kMaxWindow : window))
        {}
        /** Queues a step; it runs only in runPipeline(). */
        void add(Step step) { steps_.push_back(std::move(step)); }
        /** Number of steps queued. */
        std::size_t size() const noexcept { return steps_.size(); }
        /** Requests in flight at most, 1..kMaxWindow. */
        std::size_t window() const noexcept { return window_; }
        /** Removes every step. */
        void clear() noexcept { steps_.clear(); }

    private:
        friend class TarvixSDK;
        std::vector<Step> steps_;
        std::size_t window_;
    };

    /**
     * Runs the steps of `pipeline` (which stays queued, so it may be run again) and returns one
     * status per step, in order: the status its last call returned, as a single call would have
     * (NOT_CONNECTED, INVALID_ARGUMENT, the device status, RESPONSE_TOO_SHORT...). A request
     * whose answer did not come within the session's timeout, counted from its sending, gives
     * NO_RESPONSE for that step alone; its answer, should it come later, is dropped and never
     * completes another call. A request unanswered when detectRemoval finds the adapter gone
     * gives NOT_CONNECTED. Frames that answer no queued request are dropped during the run
     * (counted in droppedResponseCount()). Blocks for at most about (steps / window + 1) x the
     * timeout; with timeout -1 for as long as an answer is missing.
     *
     * Not queueable (INVALID_ARGUMENT for the step, nothing sent): resetDevice and enterBootMode,
     * which get no answer; getDeviceInfo, whose later requests depend on earlier answers; a
     * runPipeline() from within a step (then every status is INVALID_ARGUMENT). An exception
     * thrown by a step ends the run and propagates.
     */
    std::vector<StatusCode> runPipeline(const Pipeline& pipeline);

    ///@}

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
