/**
 * @file tarvixsdk.h
 * The flat C interface of tarvixsdk: plain functions over an opaque handle, for C programs and
 * for any language with a C foreign-function interface. The header compiles as C11 and as C++.
 *
 * Each function `TarvixSDK_Xxx` converts its arguments, calls the one method `xxx` of the
 * blocking class TarvixSDK (tarvixsdk.hpp) that the handle owns, and converts the results back.
 * What a command sends and what its answer means is documented at that method; this header says
 * only what the flat layer adds.
 *
 * Calling conventions, shared by every function that takes a handle:
 * - A null handle is tested first: functions returning a StatusCode return 0x4000
 *   (StatusCode_NOT_CONNECTED), those returning bool return false, the others do nothing, whatever
 *   the other arguments hold. The one exception is TarvixSDK_onNotification.
 * - Enumerations cross as 32-bit unsigned integers holding the values of the C++ enumerations
 *   (in C the enumeration names below are typedefs of uint32_t, with the members as constants
 *   named `Enumeration_MEMBER`); also behind a pointer, as in TarvixSDK_GpioDigitalRead.
 *   Flags are `bool` (one byte).
 * - An input byte array is a pointer and a count; the bytes are copied before the call, so the
 *   caller's array need only live for the call. Where the method takes an optional array, a null
 *   pointer means that it is absent.
 * - An optional input value is a presence flag followed by the value; an optional output value
 *   is a pointer for the value and a pointer to a presence byte (set to 1 or 0).
 * - Output arrays are the caller's buffers. TarvixSDK_I2cScanBus and TarvixSDK_I3cGetDeviceTable
 *   take a capacity. The reads that take a `length` (SPI, I2C, the I3C private reads) never
 *   write more than `length` bytes, and GETPID never more than 6, whatever the adapter's answer
 *   counts; the other CCC reads need 255 bytes, the most their answer can count.
 * - Results copied out of a result array or record are written only when the status is 0;
 *   otherwise the caller's buffers and length variables keep their contents. A single value
 *   whose pointer is handed on to the method (the voltage getters, GETBCR, GETMWL...) is written
 *   as the method writes it: whenever a response arrived, whatever its status.
 * - A null output pointer that the function needs yields 0x8000 (StatusCode_INVALID_ARGUMENT)
 *   before anything is sent.
 *
 * Threads: the functions add no locking to TarvixSDK's rules: calls on one handle come from one
 * thread at a time; different handles are independent. The notification callback runs on the
 * handle's reader thread (see TarvixSDK_onNotification).
 *
 * No exception crosses into the caller. Errors that the C++ API reports by exception (out of
 * memory, failure to start the reader thread, a serial number that does not convert to UTF-8)
 * are caught here and turned into a failure the function's type already has: functions returning
 * a StatusCode return 0xC000 (StatusCode_SYSTEM_ERROR) with the caller's outputs untouched,
 * those returning bool return false, TarvixSDK_Create and TarvixSDK_CreateWithOptions return
 * null, the others return having done nothing more. A connect that fails so keeps the reason:
 * see TarvixSDK_LastConnectError.
 */
#ifndef TARVIXSDK_TARVIXSDK_H
#define TARVIXSDK_TARVIXSDK_H

#include <stddef.h>
#include <stdint.h>
#ifndef __cplusplus
#include <stdbool.h>
#endif

#include "export.h"
#include "records.h"

#ifdef __cplusplus
/* In C++ the enumerations and StatusCode are the classes' own 32-bit (16-bit) scoped enums. */
#include "types.hpp"
#else
/** Result of every command: 0 success, the library's codes below, or the adapter's own status. */
typedef uint16_t StatusCode;
#define StatusCode_SUCCESS ((StatusCode)0x0000)
#define StatusCode_NO_RESPONSE ((StatusCode)0x2000)
#define StatusCode_NOT_CONNECTED ((StatusCode)0x4000)
#define StatusCode_UNEXPECTED_RESPONSE ((StatusCode)0x6000)
#define StatusCode_INVALID_ARGUMENT ((StatusCode)0x8000)
#define StatusCode_RESPONSE_TOO_SHORT ((StatusCode)0xA000)
#define StatusCode_SYSTEM_ERROR ((StatusCode)0xC000)

/** Why the last connect of a handle failed; see TarvixSDK_LastConnectError. */
typedef uint32_t ConnectError;
#define ConnectError_NONE ((ConnectError)0)
#define ConnectError_NO_ADAPTER ((ConnectError)1)
#define ConnectError_NO_MATCH ((ConnectError)2)
#define ConnectError_PERMISSION_DENIED ((ConnectError)3)
#define ConnectError_BUSY ((ConnectError)4)
#define ConnectError_OPEN_FAILED ((ConnectError)5)
#define ConnectError_BAD_SERIAL ((ConnectError)6)
#define ConnectError_SYSTEM_ERROR ((ConnectError)7)

/* The family enumerations, each a 32-bit value; their meanings are documented in types.hpp. */
typedef uint32_t GpioPinNumber;
typedef uint32_t GpioFunctionality;
typedef uint32_t GpioLogicLevel;
typedef uint32_t GpioTriggerType;
typedef uint32_t SpiBitOrder;
typedef uint32_t SpiMode;
typedef uint32_t SpiDataWidth;
typedef uint32_t SpiChipSelect;
typedef uint32_t SpiChipSelectPolarity;
typedef uint32_t UartBaudRate;
typedef uint32_t UartHwHandshake;
typedef uint32_t UartParity;
typedef uint32_t UartDataSize;
typedef uint32_t UartStopBit;
typedef uint32_t I3cPushPullRate;
typedef uint32_t I3cOpenDrainTransferRate;
typedef uint32_t I2cTransferRate;
typedef uint32_t I3cDriveStrength;
typedef uint32_t I3cTransferFlags;

enum {
    GpioPinNumber_GPIO_0,
    GpioPinNumber_GPIO_1,
    GpioPinNumber_GPIO_2,
    GpioPinNumber_GPIO_3,
    GpioPinNumber_GPIO_4,
    GpioPinNumber_GPIO_5,
    GpioPinNumber_GPIO_6,
    GpioPinNumber_GPIO_7
};
enum {
    GpioFunctionality_DIGITAL_INPUT,
    GpioFunctionality_DIGITAL_OUTPUT,
    GpioFunctionality_DIGITAL_INTERRUPT,
    GpioFunctionality_DISABLED
};
enum {
    GpioLogicLevel_LOW,
    GpioLogicLevel_HIGH
};
enum {
    GpioTriggerType_RISING_EDGE = 1,
    GpioTriggerType_FALLING_EDGE = 2,
    GpioTriggerType_BOTH_EDGES = 3
};
enum {
    SpiBitOrder_MSB_FIRST,
    SpiBitOrder_LSB_FIRST
};
enum {
    SpiMode_MODE_0,
    SpiMode_MODE_1,
    SpiMode_MODE_2,
    SpiMode_MODE_3
};
enum {
    SpiDataWidth_BITS_8 = 8,
    SpiDataWidth_BITS_16 = 16
};
enum {
    SpiChipSelect_CS_0,
    SpiChipSelect_CS_1,
    SpiChipSelect_CS_2,
    SpiChipSelect_CS_3
};
enum {
    SpiChipSelectPolarity_ACTIVE_LOW,
    SpiChipSelectPolarity_ACTIVE_HIGH
};
enum {
    UartBaudRate_BAUD_600,
    UartBaudRate_BAUD_1200,
    UartBaudRate_BAUD_2400,
    UartBaudRate_BAUD_4800,
    UartBaudRate_BAUD_9600,
    UartBaudRate_BAUD_14400,
    UartBaudRate_BAUD_19200,
    UartBaudRate_BAUD_38400,
    UartBaudRate_BAUD_56000,
    UartBaudRate_BAUD_57600,
    UartBaudRate_BAUD_115200,
    UartBaudRate_BAUD_230400,
    UartBaudRate_BAUD_460800,
    UartBaudRate_BAUD_921600,
    UartBaudRate_BAUD_1000000
};
enum {
    UartHwHandshake_DISABLED,
    UartHwHandshake_ENABLED
};
enum {
    UartParity_NONE,
    UartParity_EVEN,
    UartParity_ODD
};
enum {
    UartDataSize_BITS_7 = 7,
    UartDataSize_BITS_8 = 8
};
enum {
    UartStopBit_ONE = 1,
    UartStopBit_TWO = 2
};
enum {
    I3cPushPullRate_RATE_12_5_MHZ,
    I3cPushPullRate_RATE_10_MHZ,
    I3cPushPullRate_RATE_8_MHZ,
    I3cPushPullRate_RATE_6_MHZ,
    I3cPushPullRate_RATE_4_MHZ,
    I3cPushPullRate_RATE_2_MHZ,
    I3cPushPullRate_RATE_1_MHZ
};
enum {
    I3cOpenDrainTransferRate_RATE_4_17_MHZ,
    I3cOpenDrainTransferRate_RATE_2_5_MHZ,
    I3cOpenDrainTransferRate_RATE_1_25_MHZ,
    I3cOpenDrainTransferRate_RATE_1_MHZ,
    I3cOpenDrainTransferRate_RATE_400_KHZ
};
enum {
    I2cTransferRate_RATE_100_KHZ,
    I2cTransferRate_RATE_400_KHZ,
    I2cTransferRate_RATE_1_MHZ
};
enum {
    I3cDriveStrength_LOW,
    I3cDriveStrength_NORMAL,
    I3cDriveStrength_HIGH,
    I3cDriveStrength_MAXIMUM
};
enum {
    I3cTransferFlags_NONE = 0,
    I3cTransferFlags_NO_STOP = 1,
    I3cTransferFlags_NO_BROADCAST_HEADER = 2,
    I3cTransferFlags_NACK_LAST_BYTE = 4
};
/* These two are bytes in C++ but cross the flat interface as 32-bit values like the others. */
enum {
    I3cTransferDirection_WRITE = 0,
    I3cTransferDirection_READ = 1
};
enum {
    I3cTargetResetDefByte_NO_RESET = 0x00,
    I3cTargetResetDefByte_RESET_PERIPHERAL_ONLY = 0x01,
    I3cTargetResetDefByte_RESET_WHOLE_TARGET = 0x02,
    I3cTargetResetDefByte_DEBUG_NETWORK_ADAPTER_RESET = 0x03,
    I3cTargetResetDefByte_VIRTUAL_TARGET_DETECT = 0x04,
    I3cTargetResetDefByte_RETURN_TIME_RESET_PERIPHERAL = 0x81,
    I3cTargetResetDefByte_RETURN_TIME_RESET_WHOLE_TARGET = 0x82,
    I3cTargetResetDefByte_RETURN_TIME_DEBUG_NETWORK_ADAPTER_RESET = 0x83,
    I3cTargetResetDefByte_RETURN_VIRTUAL_TARGET_INDICATION = 0x84
};
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** A session: owns one TarvixSDK. Opaque; created by TarvixSDK_Create, freed by TarvixSDK_Destroy. */
typedef struct TarvixSDK_Handle TarvixSDK_Handle;

/**
 * Receives one notification, as set by TarvixSDK_onNotification. No user context is passed: a
 * caller that needs one uses TarvixSDK_NotificationCallbackEx instead.
 */
typedef void (*TarvixSDK_NotificationCallback)(const Notification* notification);

/**
 * Receives one notification, as set by TarvixSDK_onNotificationEx, with the `userData` pointer
 * given there.
 */
typedef void (*TarvixSDK_NotificationCallbackEx)(const Notification* notification, void* userData);

/**
 * The adapter's five USB strings (indices 1 to 5: manufacturer, product, serial number, firmware
 * version, hardware version), filled by TarvixSDK_GetDeviceInfo. Each string is a NUL-terminated
 * copy allocated with malloc() and owned by the caller; its length excludes the terminator (a
 * string may itself contain NUL bytes, so the length is authoritative). Release them with
 * TarvixSDK_FreeDeviceInfo (or free() each one).
 */
typedef struct TarvixSDK_DeviceInfo {
    char* usbString1;        /**< USB string 1, NUL-terminated, caller-owned */
    size_t usbString1Length; /**< its length in bytes, without the terminator */
    char* usbString2;        /**< USB string 2, NUL-terminated, caller-owned */
    size_t usbString2Length; /**< its length in bytes, without the terminator */
    char* usbString3;        /**< USB string 3, NUL-terminated, caller-owned */
    size_t usbString3Length; /**< its length in bytes, without the terminator */
    char* usbString4;        /**< USB string 4, NUL-terminated, caller-owned */
    size_t usbString4Length; /**< its length in bytes, without the terminator */
    char* usbString5;        /**< USB string 5, NUL-terminated, caller-owned */
    size_t usbString5Length; /**< its length in bytes, without the terminator */
} TarvixSDK_DeviceInfo;

/**
 * One attached adapter as the HID enumeration reports it (TarvixSDK_ListAdapters). Texts are
 * NUL-terminated UTF-8, cut (at a character boundary) to fit their arrays.
 */
typedef struct TarvixSDK_AdapterInfo {
    char path[256];         /**< hidapi path, what TarvixSDK_Connect takes */
    uint16_t vendorId;      /**< USB vendor ID */
    uint16_t productId;     /**< USB product ID */
    size_t reportSize;      /**< HID report payload: 64 or 1024 bytes */
    bool hasSerialNumber;   /**< false when the device reports none */
    char serialNumber[128]; /**< USB serial number ("" when none) */
    char manufacturer[128]; /**< manufacturer string as enumeration reports it (may be empty) */
    char product[128];      /**< product string as enumeration reports it (may be empty) */
} TarvixSDK_AdapterInfo;

/**
 * Receives one traced frame (see TarvixSDK_onFrame) with the user data given there. The record
 * and its data are valid only during the call.
 */
typedef void (*TarvixSDK_FrameCallback)(const TraceFrame* frame, void* userData);

/* ------------------------------------------------------------------------------------------ */
/** @name Adapters and traces (no handle needed, except for TarvixSDK_onFrame) */
/** @{ */

/**
 * Lists the supported adapters attached now, opening none: fills up to `capacity` records and
 * stores in `count` how many adapters there are (which may exceed `capacity`, as snprintf
 * reports what it would have written). `records` may be null when `capacity` is 0, to count.
 * Null `count`, or null `records` with a capacity: 0x8000. 0xC000 if memory ran out.
 */
TARVIX_API StatusCode TarvixSDK_ListAdapters(TarvixSDK_AdapterInfo* records, size_t capacity, size_t* count);
/**
 * Frame tap of the handle's session (TarvixSDK::onFrame): `callback` receives every request
 * frame sent (on the calling thread) and every frame received (on the reader thread), with
 * `userData`. Null stops it; a null handle does nothing. Callback and user data change together.
 */
TARVIX_API void TarvixSDK_onFrame(TarvixSDK_Handle* handle, TarvixSDK_FrameCallback callback, void* userData);
/**
 * describeFrame: writes one line of text for `frame` into `text` (always NUL-terminated when
 * `capacity` > 0, cut to fit) and returns the length of the whole line, as snprintf does. Null
 * `frame` gives 0.
 */
TARVIX_API size_t TarvixSDK_DescribeFrame(const TraceFrame* frame, char* text, size_t capacity);

/** @} */
/* ------------------------------------------------------------------------------------------ */
/** @name Handle lifecycle */
/** @{ */

/**
 * Creates a session. `timeout` is how long a blocking call waits for its response, in
 * milliseconds; -1 waits without limit (see the TarvixSDK constructor). Initialises hidapi;
 * nothing is opened yet. Release with TarvixSDK_Destroy. Null if the session could not be made
 * (out of memory).
 */
TARVIX_API TarvixSDK_Handle* TarvixSDK_Create(int timeout);
/**
 * As TarvixSDK_Create, with the opt-in safeties of `options` (see SessionOptions in records.h);
 * a null `options` turns them all off, which is what TarvixSDK_Create does. The record is read
 * during the call only.
 */
TARVIX_API TarvixSDK_Handle* TarvixSDK_CreateWithOptions(int timeout, const SessionOptions* options);
/**
 * Disconnects (joining the reader thread) and frees the handle; null does nothing. The handle
 * must not be used afterwards. From another thread, no notification callback of the handle may
 * be running. From inside the handle's own notification callback it is allowed: the handle is
 * gone at once, and the reader thread closes the adapter and ends once the callback returns.
 */
TARVIX_API void TarvixSDK_Destroy(TarvixSDK_Handle* handle);
/**
 * TarvixSDK::connect: opens the supported adapter at hidapi path `path`, or the first one found
 * when `path` is null or empty. The text is copied.
 */
TARVIX_API bool TarvixSDK_Connect(TarvixSDK_Handle* handle, const char* path);
/**
 * TarvixSDK::connectWithSerialNumber. `serialNumber` (UTF-8) must not be null; it is copied.
 * If a HID device on the host has a serial number that does not convert to UTF-8 (where the
 * C++ method throws), returns false with ConnectError_BAD_SERIAL as the reason.
 */
TARVIX_API bool TarvixSDK_ConnectWithSerialNumber(TarvixSDK_Handle* handle, const char* serialNumber);
/**
 * Why the last TarvixSDK_Connect or TarvixSDK_ConnectWithSerialNumber on `handle` failed:
 * ConnectError_NONE after one that succeeded, before any, and for a null handle. A connect that
 * failed because the library threw gives ConnectError_BAD_SERIAL (a serial number that does not
 * convert) or ConnectError_SYSTEM_ERROR (anything else, such as a reader thread that could not
 * start).
 */
TARVIX_API ConnectError TarvixSDK_LastConnectError(const TarvixSDK_Handle* handle);
/**
 * The same reason as one sentence (naming the device node and, where it helps, what to do); ""
 * when there is none and for a null handle. The text belongs to the handle and stays valid until
 * the next connect on it, or its destruction.
 */
TARVIX_API const char* TarvixSDK_LastConnectErrorMessage(const TarvixSDK_Handle* handle);
/**
 * TarvixSDK::connectTo: connects to the adapter `selector` names: "serial:TVX-0001",
 * "path:/dev/hidraw3", a decimal index into TarvixSDK_ListAdapters ("0" is the first), or
 * "" / null for the first supported adapter. On false, TarvixSDK_LastConnectError says why.
 */
TARVIX_API bool TarvixSDK_ConnectTo(TarvixSDK_Handle* handle, const char* selector);
/** TarvixSDK::disconnect. */
TARVIX_API void TarvixSDK_Disconnect(TarvixSDK_Handle* handle);
/** The library version, "1.3.0": a static string. Needs no handle. */
TARVIX_API const char* TarvixSDK_GetVersion(void);
/**
 * The upper-case name of `status` ("SUCCESS", "NO_RESPONSE", ... "SYSTEM_ERROR"; "DEVICE_STATUS"
 * for a status of the adapter's own): a static string. Needs no handle.
 */
TARVIX_API const char* TarvixSDK_StatusName(StatusCode status);
/**
 * One sentence on `status`, a static string: what the library's own codes mean, and for a status
 * of the adapter's own the same generic sentence whatever its value (print the value beside it).
 */
TARVIX_API const char* TarvixSDK_StatusMessage(StatusCode status);
/**
 * TarvixSDK::getDeviceInfo (five exchanges). On status 0 fills `info` with newly allocated
 * copies that the caller owns (see TarvixSDK_DeviceInfo); any earlier pointers in `info` are
 * overwritten, not freed. On any other status `info` is left as it was. Null `info`: 0x8000.
 * 0xC000 (StatusCode_SYSTEM_ERROR) if the copies could not be allocated.
 */
TARVIX_API StatusCode TarvixSDK_GetDeviceInfo(TarvixSDK_Handle* handle, TarvixSDK_DeviceInfo* info);
/**
 * Frees the five strings of `info` with the library's allocator and sets them to null and their
 * lengths to 0, so that freeing twice is harmless. Null `info` does nothing.
 */
TARVIX_API void TarvixSDK_FreeDeviceInfo(TarvixSDK_DeviceInfo* info);

/** @} */
/* ------------------------------------------------------------------------------------------ */
/** @name Notifications */
/** @{ */

/**
 * Sets the function that receives the adapter's notifications (frames with transaction id 0),
 * replacing any earlier one, also one set by TarvixSDK_onNotificationEx (a handle has one
 * callback at a time); null stops delivery. The handle is not tested: it must be valid.
 * A notification arriving while the callback changes goes to the old one or the new one.
 *
 * The callback runs on the handle's reader thread. It must return quickly and must not call
 * blocking functions of the same handle (their answer would have to come through the very
 * thread that waits). TarvixSDK_Disconnect on the same handle is refused there and does
 * nothing; TarvixSDK_Destroy is allowed (see there).
 *
 * The record it receives holds the kind and a copy of the whole frame in a 256-byte buffer of
 * the handle: `data` points at the buffer, `length` is the frame size kept to 8 bits. A frame of
 * up to 255 bytes arrives whole with its length; a frame of 256 bytes or more arrives as its
 * first 256 bytes with `length` 0 (so the views below refuse it). The record and the buffer are
 * valid only during the call: the next notification overwrites them. Copy what you need.
 */
TARVIX_API void TarvixSDK_onNotification(TarvixSDK_Handle* handle, TarvixSDK_NotificationCallback callback);
/**
 * Sets the function that receives the adapter's notifications together with `userData`, which
 * it is handed on every call; replaces any earlier callback, also one set by
 * TarvixSDK_onNotification (a handle has one callback at a time). Null `callback` stops delivery;
 * a null handle does nothing. Callback and user data change together: a notification arriving
 * meanwhile reaches the old pair or the new one, never a mix.
 *
 * The callback runs on the handle's reader thread, under the rules of TarvixSDK_onNotification.
 * Unlike there, the record is not a copy: `data` points at the whole frame and `length` is its
 * size in bytes, however long (a 1024-byte adapter's frames may exceed 256 bytes). The record
 * and the frame are valid only during the call.
 */
TARVIX_API void TarvixSDK_onNotificationEx(TarvixSDK_Handle* handle, TarvixSDK_NotificationCallbackEx callback,
                                           void* userData);

/*
 * The typed views of a notification. Each returns false and writes nothing when a pointer is
 * null, the kind differs or the data is shorter than the fixed fields the view reads; otherwise
 * it fills `out` and returns true. Lengths declared inside the frame are reported as declared,
 * not checked against the bytes present: compare with `notification->length` before reading.
 * Pointers in `out` point into the notification's data and share its lifetime.
 */
/** Kind GPIO_INTERRUPT, at least 7 bytes: `pinNumber` = byte 6. */
TARVIX_API bool TarvixSDK_notificationAsGpio(const Notification* notification, GpioInterruptNotification* out);
/** Kind I3C_IBI, at least 8 bytes: `targetAddress` = byte 6, `payloadLength` = byte 7, `payload` = &byte 8. */
TARVIX_API bool TarvixSDK_notificationAsI3cIbi(const Notification* notification, I3cIbiNotification* out);
/** Kind I3C_HOT_JOIN, at least 15 bytes: bytes 6..14 as provisional ID (6), BCR, DCR, dynamic address. */
TARVIX_API bool TarvixSDK_notificationAsI3cHotJoin(const Notification* notification, I3cHotJoinNotification* out);
/** Kind UART_RX, at least 8 bytes: `dataLength` = u16 little-endian at bytes 6..7, `data` = &byte 8. */
TARVIX_API bool TarvixSDK_notificationAsUartRx(const Notification* notification, UartRxNotification* out);

/** @} */
/* ------------------------------------------------------------------------------------------ */
/**
 * @name Device, supply rails and GPIO
 * Each forwards to the TarvixSDK method of the same name with a lower-case first letter
 * (TarvixSDK_GpioDigitalWrite calls gpioDigitalWrite), its arguments unchanged. The voltage
 * getters reject null pointers with 0x8000.
 */
/** @{ */

/** TarvixSDK::enterBootMode(): returns once the frame is handed over; the adapter does not answer. */
TARVIX_API StatusCode TarvixSDK_EnterBootMode(TarvixSDK_Handle* handle);
/** TarvixSDK::resetDevice(): returns once the frame is handed over; the adapter restarts. */
TARVIX_API StatusCode TarvixSDK_ResetDevice(TarvixSDK_Handle* handle);

/**
 * gpioConfigurePin, with the logic level optional: `level` is sent when `hasLevel` is true,
 * otherwise level 0 is sent whatever `level` holds.
 */
TARVIX_API StatusCode TarvixSDK_GpioConfigurePin(TarvixSDK_Handle* handle, GpioPinNumber pin,
                                                 GpioFunctionality functionality, bool hasLevel, GpioLogicLevel level);
/** TarvixSDK::gpioConfigureInterrupt(). */
TARVIX_API StatusCode TarvixSDK_GpioConfigureInterrupt(TarvixSDK_Handle* handle, GpioPinNumber pin,
                                                       GpioTriggerType trigger);
/** Writes a 32-bit level. `level` is not tested and must not be null. */
TARVIX_API StatusCode TarvixSDK_GpioDigitalRead(TarvixSDK_Handle* handle, GpioPinNumber pin, GpioLogicLevel* level);
/** TarvixSDK::gpioDigitalWrite(). */
TARVIX_API StatusCode TarvixSDK_GpioDigitalWrite(TarvixSDK_Handle* handle, GpioPinNumber pin, GpioLogicLevel level);
/** TarvixSDK::gpioDisableInterrupt(). */
TARVIX_API StatusCode TarvixSDK_GpioDisableInterrupt(TarvixSDK_Handle* handle, GpioPinNumber pin);

/* The rail shared by I2C, SPI, UART and GPIO: the Gpio, I2c, Spi and Uart variants are one command. */
/** TarvixSDK::gpioGetVoltage(): the shared rail as read back. */
TARVIX_API StatusCode TarvixSDK_GpioGetVoltage(TarvixSDK_Handle* handle, uint16_t* voltage);
/** TarvixSDK::gpioSetVoltage(): sets the shared rail. */
TARVIX_API StatusCode TarvixSDK_GpioSetVoltage(TarvixSDK_Handle* handle, uint16_t voltage, bool flag);
/** TarvixSDK::gpioUseExternalVoltage(). */
TARVIX_API StatusCode TarvixSDK_GpioUseExternalVoltage(TarvixSDK_Handle* handle, bool useExternal);
/** TarvixSDK::i2cGetBusVoltage(): the shared rail, as TarvixSDK_GpioGetVoltage. */
TARVIX_API StatusCode TarvixSDK_I2cGetBusVoltage(TarvixSDK_Handle* handle, uint16_t* voltage);
/** TarvixSDK::i2cSetBusVoltage(): the shared rail, as TarvixSDK_GpioSetVoltage. */
TARVIX_API StatusCode TarvixSDK_I2cSetBusVoltage(TarvixSDK_Handle* handle, uint16_t voltage, bool flag);
/** TarvixSDK::i2cUseExternalVoltage(): as TarvixSDK_GpioUseExternalVoltage. */
TARVIX_API StatusCode TarvixSDK_I2cUseExternalVoltage(TarvixSDK_Handle* handle, bool useExternal);
/** TarvixSDK::spiGetBusVoltage(): the shared rail, as TarvixSDK_GpioGetVoltage. */
TARVIX_API StatusCode TarvixSDK_SpiGetBusVoltage(TarvixSDK_Handle* handle, uint16_t* voltage);
/** TarvixSDK::spiSetBusVoltage(): the shared rail, as TarvixSDK_GpioSetVoltage. */
TARVIX_API StatusCode TarvixSDK_SpiSetBusVoltage(TarvixSDK_Handle* handle, uint16_t voltage, bool flag);
/** TarvixSDK::spiUseExternalVoltage(): as TarvixSDK_GpioUseExternalVoltage. */
TARVIX_API StatusCode TarvixSDK_SpiUseExternalVoltage(TarvixSDK_Handle* handle, bool useExternal);
/** TarvixSDK::uartGetBusVoltage(): the shared rail, as TarvixSDK_GpioGetVoltage. */
TARVIX_API StatusCode TarvixSDK_UartGetBusVoltage(TarvixSDK_Handle* handle, uint16_t* voltage);
/** TarvixSDK::uartSetBusVoltage(): the shared rail, as TarvixSDK_GpioSetVoltage. */
TARVIX_API StatusCode TarvixSDK_UartSetBusVoltage(TarvixSDK_Handle* handle, uint16_t voltage, bool flag);
/** TarvixSDK::uartUseExternalVoltage(): as TarvixSDK_GpioUseExternalVoltage. */
TARVIX_API StatusCode TarvixSDK_UartUseExternalVoltage(TarvixSDK_Handle* handle, bool useExternal);
/* The I3C rail. */
/** TarvixSDK::i3cGetBusVoltage(): the two I3C rail readings. */
TARVIX_API StatusCode TarvixSDK_I3cGetBusVoltage(TarvixSDK_Handle* handle, uint16_t* voltage1, uint16_t* voltage2);
/** TarvixSDK::i3cSetBusVoltage(): sets the I3C rail. */
TARVIX_API StatusCode TarvixSDK_I3cSetBusVoltage(TarvixSDK_Handle* handle, uint16_t voltage);
/** TarvixSDK::i3cUseExternalVoltage(). */
TARVIX_API StatusCode TarvixSDK_I3cUseExternalVoltage(TarvixSDK_Handle* handle, bool useExternal);

/** @} */
/* ------------------------------------------------------------------------------------------ */
/** @name I2C */
/** @{ */

/** TarvixSDK::i2cControllerInit(): `frequency` and the `option` byte are passed unchanged (see @ref family_i2c). */
TARVIX_API StatusCode TarvixSDK_I2cControllerInit(TarvixSDK_Handle* handle, uint8_t bus, uint32_t frequency,
                                                  uint8_t option);
/** TarvixSDK::i2cSetParameters(): the fields of TarvixSDK_I2cControllerInit. */
TARVIX_API StatusCode TarvixSDK_I2cSetParameters(TarvixSDK_Handle* handle, uint8_t bus, uint32_t frequency,
                                                 uint8_t option);
/** TarvixSDK::i2cSetPullUpResistors(): the `pullUp` selection is passed unchanged. */
TARVIX_API StatusCode TarvixSDK_I2cSetPullUpResistors(TarvixSDK_Handle* handle, uint8_t bus, uint8_t pullUp);
/**
 * i2cRead: reads `length` bytes from `targetAddress` after writing the `registerAddressLength`
 * (0..4) bytes of `registerAddress`, most significant first. 0x8000 for a register address
 * longer than 4 bytes, a non-zero length with a null `registerAddress`, or a null `readData`.
 * On status 0 the `length` bytes received are copied into `readData`, which must hold `length`
 * bytes; no more than `length` bytes are ever written there. (An answer carrying fewer than
 * `length` bytes is 0xA000, StatusCode_RESPONSE_TOO_SHORT.)
 */
TARVIX_API StatusCode TarvixSDK_I2cRead(TarvixSDK_Handle* handle, uint8_t bus, uint8_t targetAddress,
                                        const uint8_t* registerAddress, uint8_t registerAddressLength, uint16_t length,
                                        uint8_t* readData, bool flag);
/**
 * i2cWrite: writes `dataLength` bytes of `data` after the register address. The same register
 * address checks as TarvixSDK_I2cRead; a non-zero `dataLength` with a null `data`: 0x8000.
 */
TARVIX_API StatusCode TarvixSDK_I2cWrite(TarvixSDK_Handle* handle, uint8_t bus, uint8_t targetAddress,
                                         const uint8_t* registerAddress, uint8_t registerAddressLength,
                                         const uint8_t* data, uint32_t dataLength, bool flag);
/**
 * i2cScanBus on port `bus` (0 or 1; others: 0x8000). The counts of one-byte and two-byte
 * addresses found are written whenever the adapter answered. On status 0 the address list (the
 * one-byte entries, then the two-byte entries: oneByteCount + 2 * twoByteCount bytes) is copied
 * into `addresses` if it fits `capacity` bytes; if it does not, the call returns 0x8000 after
 * the scan and `addresses` is left as it was. Null `addresses` or count pointer: 0x8000.
 */
TARVIX_API StatusCode TarvixSDK_I2cScanBus(TarvixSDK_Handle* handle, uint8_t* addresses, uint8_t capacity,
                                           uint8_t* oneByteCount, uint8_t* twoByteCount, uint8_t bus, bool flag);

/** @} */
/* ------------------------------------------------------------------------------------------ */
/** @name SPI */
/** @{ */

/** TarvixSDK::spiControllerInit(). */
TARVIX_API StatusCode TarvixSDK_SpiControllerInit(TarvixSDK_Handle* handle, SpiBitOrder bitOrder, SpiMode mode,
                                                  SpiDataWidth dataWidth, SpiChipSelect chipSelect,
                                                  SpiChipSelectPolarity chipSelectPolarity, uint32_t frequency);
/** TarvixSDK::spiSetParameters(). */
TARVIX_API StatusCode TarvixSDK_SpiSetParameters(TarvixSDK_Handle* handle, SpiBitOrder bitOrder, SpiMode mode,
                                                 SpiDataWidth dataWidth, SpiChipSelect chipSelect,
                                                 SpiChipSelectPolarity chipSelectPolarity, uint32_t frequency);
/**
 * spiTransfer: sends the `txLength` bytes of `txData` (none when either is 0/null) and clocks
 * `length`. On status 0 the received bytes are copied into `rxBuffer`, which must hold `length`
 * bytes: at most `length` are written, even when the adapter counts more (the rest are
 * dropped). A null `rxBuffer` discards them.
 */
TARVIX_API StatusCode TarvixSDK_SpiTransfer(TarvixSDK_Handle* handle, const uint8_t* txData, uint16_t txLength,
                                            uint8_t* rxBuffer, uint16_t length);

/** @} */
/* ------------------------------------------------------------------------------------------ */
/** @name UART */
/** @{ */

/** TarvixSDK::uartInit(). */
TARVIX_API StatusCode TarvixSDK_UartInit(TarvixSDK_Handle* handle, UartBaudRate baudRate, UartHwHandshake hwHandshake,
                                         UartParity parity, UartDataSize dataSize, UartStopBit stopBit);
/** TarvixSDK::uartSetParameters(). */
TARVIX_API StatusCode TarvixSDK_UartSetParameters(TarvixSDK_Handle* handle, UartBaudRate baudRate,
                                                  UartHwHandshake hwHandshake, UartParity parity, UartDataSize dataSize,
                                                  UartStopBit stopBit);
/** TarvixSDK::uartDeinit(). */
TARVIX_API StatusCode TarvixSDK_UartDeinit(TarvixSDK_Handle* handle);
/** uartSendMessage: sends `length` bytes of `data`; `data` must be valid whenever `length` > 0. */
TARVIX_API StatusCode TarvixSDK_UartSendMessage(TarvixSDK_Handle* handle, const uint8_t* data, uint16_t length);

/** @} */
/* ------------------------------------------------------------------------------------------ */
/** @name I3C controller, bus and target table */
/** @{ */

/** TarvixSDK::i3cControllerInit(). */
TARVIX_API StatusCode TarvixSDK_I3cControllerInit(TarvixSDK_Handle* handle, I3cPushPullRate pushPullRate,
                                                  I3cOpenDrainTransferRate openDrainRate, I2cTransferRate i2cRate,
                                                  I3cDriveStrength driveStrength);
/** TarvixSDK::i3cSetParameters(). */
TARVIX_API StatusCode TarvixSDK_I3cSetParameters(TarvixSDK_Handle* handle, I3cPushPullRate pushPullRate,
                                                 I3cOpenDrainTransferRate openDrainRate, I2cTransferRate i2cRate,
                                                 I3cDriveStrength driveStrength);
/** i3cInitBus with the `count` records of `targets`, which must be valid whenever `count` > 0. */
TARVIX_API StatusCode TarvixSDK_I3cInitBus(TarvixSDK_Handle* handle, const I3cTargetInfo* targets, uint8_t count);
/** TarvixSDK::i3cResetBus(). */
TARVIX_API StatusCode TarvixSDK_I3cResetBus(TarvixSDK_Handle* handle);
/**
 * i3cGetDeviceTable. On status 0 copies the first min(capacity, entries) records into `table`
 * and stores that number in `count`; further entries are dropped and the status stays 0. Null
 * `table` or `count`: 0x8000.
 */
TARVIX_API StatusCode TarvixSDK_I3cGetDeviceTable(TarvixSDK_Handle* handle, I3cTargetInfo* table, uint8_t capacity,
                                                  uint8_t* count);
/** i3cSetTargetDeviceConfiguration; `configuration` is the byte of I3cTargetConfiguration. */
TARVIX_API StatusCode TarvixSDK_I3cSetTargetDeviceConfiguration(TarvixSDK_Handle* handle, uint8_t address,
                                                                uint8_t configuration);
/** TarvixSDK::i3cHdrExitPattern(). */
TARVIX_API StatusCode TarvixSDK_I3cHdrExitPattern(TarvixSDK_Handle* handle);
/** TarvixSDK::i3cTargetResetPattern(). */
TARVIX_API StatusCode TarvixSDK_I3cTargetResetPattern(TarvixSDK_Handle* handle);

/** @} */
/* ------------------------------------------------------------------------------------------ */
/**
 * @name I3C private transfers
 * Register addresses are 0..4 bytes sent in array order; a longer one, or a non-zero length with
 * a null pointer, is refused with 0x8000, as is a null output pointer. Read buffers must hold
 * `length` bytes: a read never writes more than `length` bytes into them, even when the adapter
 * counts more (a target should return at most what was asked; the rest are dropped).
 */
/** @{ */

/**
 * i3cSdrRead. On status 0 copies the bytes received, at most `length` of them, into `data`, and
 * stores the adapter's count of them in `dataLength`. A `dataLength` above `length` tells that
 * the adapter offered more than the buffer took.
 */
TARVIX_API StatusCode TarvixSDK_I3cSdrRead(TarvixSDK_Handle* handle, uint8_t targetAddress,
                                           const uint8_t* registerAddress, uint8_t registerAddressLength,
                                           uint16_t length, uint8_t* data, uint16_t* dataLength,
                                           I3cTransferFlags flags);
/** i3cSdrWrite: a non-zero `dataLength` with a null `data` is refused. */
TARVIX_API StatusCode TarvixSDK_I3cSdrWrite(TarvixSDK_Handle* handle, uint8_t targetAddress,
                                            const uint8_t* registerAddress, uint8_t registerAddressLength,
                                            const uint8_t* data, uint16_t dataLength, I3cTransferFlags flags);
/**
 * i3cLegacyI2cRead. On status 0 copies the bytes received, at most `length` of them, into `data`;
 * their number is not reported.
 */
TARVIX_API StatusCode TarvixSDK_I3cLegacyI2CRead(TarvixSDK_Handle* handle, uint8_t targetAddress,
                                                 const uint8_t* registerAddress, uint8_t registerAddressLength,
                                                 uint16_t length, uint8_t* data, I3cTransferFlags flags);
/** i3cLegacyI2cWrite: the checks of TarvixSDK_I3cSdrWrite. */
TARVIX_API StatusCode TarvixSDK_I3cLegacyI2CWrite(TarvixSDK_Handle* handle, uint8_t targetAddress,
                                                  const uint8_t* registerAddress, uint8_t registerAddressLength,
                                                  const uint8_t* data, uint16_t dataLength, I3cTransferFlags flags);
/**
 * i3cHdrDdrRead. On status 0 copies the bytes received, at most `length` of them, into `data`,
 * and stores the adapter's count of them in `dataLength` (above `length` when the adapter offered
 * more than the buffer took). Note the order: the length pointer comes before the buffer here.
 */
TARVIX_API StatusCode TarvixSDK_I3cHdrDdrRead(TarvixSDK_Handle* handle, uint8_t targetAddress, uint8_t command,
                                              uint16_t length, uint16_t* dataLength, uint8_t* data);
/** i3cHdrDdrWrite: a non-zero `dataLength` with a null `data` is refused. */
TARVIX_API StatusCode TarvixSDK_I3cHdrDdrWrite(TarvixSDK_Handle* handle, uint8_t targetAddress, uint8_t command,
                                               const uint8_t* data, uint16_t dataLength);

/** @} */
/* ------------------------------------------------------------------------------------------ */
/**
 * @name I3C Common Command Codes
 * Each calls the TarvixSDK CCC method of the same name (TarvixSDK_I3cCccGETBCR calls
 * i3cCccGETBCR). Buffers of the variable reads GETMXDS, GETXTIME, GETCAPS and GETSTATUS must
 * hold 255 bytes, the most one CCC answer can count; GETPID's holds 6.
 */
/** @{ */

/** TarvixSDK::i3cCccENECBroadcast(). */
TARVIX_API StatusCode TarvixSDK_I3cCccENECBroadcast(TarvixSDK_Handle* handle, uint8_t events);
/** TarvixSDK::i3cCccDISECBroadcast(). */
TARVIX_API StatusCode TarvixSDK_I3cCccDISECBroadcast(TarvixSDK_Handle* handle, uint8_t events);
/** TarvixSDK::i3cCccENTAS0Broadcast(). */
TARVIX_API StatusCode TarvixSDK_I3cCccENTAS0Broadcast(TarvixSDK_Handle* handle);
/** TarvixSDK::i3cCccENTAS1Broadcast(). */
TARVIX_API StatusCode TarvixSDK_I3cCccENTAS1Broadcast(TarvixSDK_Handle* handle);
/** TarvixSDK::i3cCccENTAS2Broadcast(). */
TARVIX_API StatusCode TarvixSDK_I3cCccENTAS2Broadcast(TarvixSDK_Handle* handle);
/** TarvixSDK::i3cCccENTAS3Broadcast(). */
TARVIX_API StatusCode TarvixSDK_I3cCccENTAS3Broadcast(TarvixSDK_Handle* handle);
/** TarvixSDK::i3cCccRSTDAA(). */
TARVIX_API StatusCode TarvixSDK_I3cCccRSTDAA(TarvixSDK_Handle* handle);
/** TarvixSDK::i3cCccENTDAA(). */
TARVIX_API StatusCode TarvixSDK_I3cCccENTDAA(TarvixSDK_Handle* handle);
/** TarvixSDK::i3cCccSETMWLBroadcast(). */
TARVIX_API StatusCode TarvixSDK_I3cCccSETMWLBroadcast(TarvixSDK_Handle* handle, uint16_t maxWriteLength);
/** i3cCccSETMRLBroadcast; the IBI payload size is sent when `hasMaxIbiPayloadSize` is true. */
TARVIX_API StatusCode TarvixSDK_I3cCccSETMRLBroadcast(TarvixSDK_Handle* handle, uint16_t maxReadLength,
                                                      bool hasMaxIbiPayloadSize, uint8_t maxIbiPayloadSize);
/**
 * i3cCccSETBUSCONBroadcast: `context`, then the `extraLength` bytes of `extraData` when
 * `extraData` is not null (an empty list when `extraLength` is 0). A null `extraData` with a
 * non-zero `extraLength`: 0x8000.
 */
TARVIX_API StatusCode TarvixSDK_I3cCccSETBUSCONBroadcast(TarvixSDK_Handle* handle, uint8_t context,
                                                         const uint8_t* extraData, size_t extraLength);
/** i3cCccSETXTIMEBroadcast: extra data as TarvixSDK_I3cCccSETBUSCONBroadcast. */
TARVIX_API StatusCode TarvixSDK_I3cCccSETXTIMEBroadcast(TarvixSDK_Handle* handle, uint8_t subcommand,
                                                        const uint8_t* extraData, size_t extraLength);
/** i3cCccSETAASA with the `count` bytes of `data`, which must be valid whenever `count` > 0. */
TARVIX_API StatusCode TarvixSDK_I3cCccSETAASA(TarvixSDK_Handle* handle, const uint8_t* data, size_t count);
/** i3cCccRSTACTBroadcast; `action` is an I3cTargetResetDefByte value, sent as its low byte. */
TARVIX_API StatusCode TarvixSDK_I3cCccRSTACTBroadcast(TarvixSDK_Handle* handle, uint32_t action);
/** TarvixSDK::i3cCccRSTGRPABroadcast(). */
TARVIX_API StatusCode TarvixSDK_I3cCccRSTGRPABroadcast(TarvixSDK_Handle* handle);

/** TarvixSDK::i3cCccENECDirect(). */
TARVIX_API StatusCode TarvixSDK_I3cCccENECDirect(TarvixSDK_Handle* handle, uint8_t address, uint8_t events);
/** TarvixSDK::i3cCccDISECDirect(). */
TARVIX_API StatusCode TarvixSDK_I3cCccDISECDirect(TarvixSDK_Handle* handle, uint8_t address, uint8_t events);
/** TarvixSDK::i3cCccENTAS0Direct(). */
TARVIX_API StatusCode TarvixSDK_I3cCccENTAS0Direct(TarvixSDK_Handle* handle, uint8_t address);
/** TarvixSDK::i3cCccENTAS1Direct(). */
TARVIX_API StatusCode TarvixSDK_I3cCccENTAS1Direct(TarvixSDK_Handle* handle, uint8_t address);
/** TarvixSDK::i3cCccENTAS2Direct(). */
TARVIX_API StatusCode TarvixSDK_I3cCccENTAS2Direct(TarvixSDK_Handle* handle, uint8_t address);
/** TarvixSDK::i3cCccENTAS3Direct(). */
TARVIX_API StatusCode TarvixSDK_I3cCccENTAS3Direct(TarvixSDK_Handle* handle, uint8_t address);
/** TarvixSDK::i3cCccSETDASA(). */
TARVIX_API StatusCode TarvixSDK_I3cCccSETDASA(TarvixSDK_Handle* handle, uint8_t staticAddress, uint8_t dynamicAddress);
/** TarvixSDK::i3cCccSETNEWDA(). */
TARVIX_API StatusCode TarvixSDK_I3cCccSETNEWDA(TarvixSDK_Handle* handle, uint8_t address, uint8_t newDynamicAddress);
/** TarvixSDK::i3cCccSETMWLDirect(). */
TARVIX_API StatusCode TarvixSDK_I3cCccSETMWLDirect(TarvixSDK_Handle* handle, uint8_t address, uint16_t maxWriteLength);
/** i3cCccSETMRLDirect; the IBI payload size is sent when `hasMaxIbiPayloadSize` is true. */
TARVIX_API StatusCode TarvixSDK_I3cCccSETMRLDirect(TarvixSDK_Handle* handle, uint8_t address, uint16_t maxReadLength,
                                                   bool hasMaxIbiPayloadSize, uint8_t maxIbiPayloadSize);
/** i3cCccSETXTIMEDirect: extra data as TarvixSDK_I3cCccSETBUSCONBroadcast. */
TARVIX_API StatusCode TarvixSDK_I3cCccSETXTIMEDirect(TarvixSDK_Handle* handle, uint8_t address, uint8_t subcommand,
                                                     const uint8_t* extraData, size_t extraLength);
/** TarvixSDK::i3cCccSETGRPADirect(). */
TARVIX_API StatusCode TarvixSDK_I3cCccSETGRPADirect(TarvixSDK_Handle* handle, uint8_t address, uint8_t groupAddress);
/** TarvixSDK::i3cCccRSTGRPADirect(). */
TARVIX_API StatusCode TarvixSDK_I3cCccRSTGRPADirect(TarvixSDK_Handle* handle, uint8_t address);
/**
 * i3cCccRSTACTDirect. `action` is an I3cTargetResetDefByte value and `direction` an
 * I3cTransferDirection value (0 write, 1 read), each sent as its low byte. A read stores the
 * target's reset time in `resetTime`, which must then not be null (0x8000); for a write it may be.
 */
TARVIX_API StatusCode TarvixSDK_I3cCccRSTACTDirect(TarvixSDK_Handle* handle, uint8_t address, uint32_t action,
                                                   uint32_t direction, uint8_t* resetTime);

/** TarvixSDK::i3cCccGETMWL(); null `maxWriteLength`: 0x8000. */
TARVIX_API StatusCode TarvixSDK_I3cCccGETMWL(TarvixSDK_Handle* handle, uint8_t address, uint16_t* maxWriteLength);
/**
 * i3cCccGETMRL. `maxReadLength` (required) is written whenever the adapter answered.
 * `hasMaxIbiPayloadSize`, when given, is set to 0 before the call, and to 1 on status 0 when the
 * target returned an IBI payload size, which is then stored in `maxIbiPayloadSize` when given.
 */
TARVIX_API StatusCode TarvixSDK_I3cCccGETMRL(TarvixSDK_Handle* handle, uint8_t address, uint16_t* maxReadLength,
                                             uint8_t* maxIbiPayloadSize, uint8_t* hasMaxIbiPayloadSize);
/**
 * i3cCccGETPID. On status 0 copies the bytes returned (six from a conforming target) into `pid`,
 * which must hold 6 bytes: no more than 6 are written, whatever the answer counts.
 */
TARVIX_API StatusCode TarvixSDK_I3cCccGETPID(TarvixSDK_Handle* handle, uint8_t address, uint8_t* pid);
/** TarvixSDK::i3cCccGETBCR(); null `bcr`: 0x8000. */
TARVIX_API StatusCode TarvixSDK_I3cCccGETBCR(TarvixSDK_Handle* handle, uint8_t address, uint8_t* bcr);
/** TarvixSDK::i3cCccGETDCR(); null `dcr`: 0x8000. */
TARVIX_API StatusCode TarvixSDK_I3cCccGETDCR(TarvixSDK_Handle* handle, uint8_t address, uint8_t* dcr);
/** i3cCccGETMXDS. On status 0 copies the bytes returned into `buffer` and their number into `length`. */
TARVIX_API StatusCode TarvixSDK_I3cCccGETMXDS(TarvixSDK_Handle* handle, uint8_t address, uint8_t* buffer,
                                              uint8_t* length);
/** i3cCccGETXTIME; outputs as TarvixSDK_I3cCccGETMXDS. */
TARVIX_API StatusCode TarvixSDK_I3cCccGETXTIME(TarvixSDK_Handle* handle, uint8_t address, uint8_t* buffer,
                                               uint8_t* length);
/** i3cCccGETCAPS, with the defining byte sent when `hasDefiningByte` is true; outputs as GETMXDS. */
TARVIX_API StatusCode TarvixSDK_I3cCccGETCAPS(TarvixSDK_Handle* handle, uint8_t address, uint8_t* buffer,
                                              uint8_t* length, bool hasDefiningByte, uint8_t definingByte);
/** i3cCccGETSTATUS, with the defining byte sent when `hasDefiningByte` is true; outputs as GETMXDS. */
TARVIX_API StatusCode TarvixSDK_I3cCccGETSTATUS(TarvixSDK_Handle* handle, uint8_t address, uint8_t* buffer,
                                                uint8_t* length, bool hasDefiningByte, uint8_t definingByte);

/** @} */

/* ------------------------------------------------------------------------------------------ */
/**
 * @name Pipelined calls
 * Commands queued on a pipeline and sent back to back, several in flight at once, each answer
 * matched to its request (see TarvixSDK::Pipeline and TarvixSDK::runPipeline in tarvixsdk.hpp).
 * Each TarvixSDK_Pipeline<Function> queues one call of TarvixSDK_<Function>: its input arrays
 * are copied now, its output pointers are kept and must stay valid until TarvixSDK_PipelineRun
 * returns, and on run the outputs are written exactly as the single call writes them (only on
 * status 0, never past the lengths given). A queue function returns 0, or 0x8000 for a null
 * pipeline or a null input array with a non-zero length (nothing queued); the call's own checks
 * run on run and give that step's status.
 * @{
 */
/** A queue of calls on one handle. Opaque; freed by TarvixSDK_PipelineDestroy, before the handle. */
typedef struct TarvixSDK_Pipeline TarvixSDK_Pipeline;
/** A pipeline on `handle` with at most `window` requests in flight (cut to 1..64; 8 is a good
 *  default). NULL for a null handle. */
TARVIX_API TarvixSDK_Pipeline* TarvixSDK_PipelineCreate(TarvixSDK_Handle* handle, uint32_t window);
/** Frees `pipeline` and what it queued; NULL: nothing. Not while TarvixSDK_PipelineRun runs. */
TARVIX_API void TarvixSDK_PipelineDestroy(TarvixSDK_Pipeline* pipeline);
/** Queues TarvixSDK_I2cRead; `status` (may be NULL) receives that call's status on run. */
TARVIX_API StatusCode TarvixSDK_PipelineI2cRead(TarvixSDK_Pipeline* pipeline, StatusCode* status, uint8_t bus,
                                                uint8_t targetAddress, const uint8_t* registerAddress,
                                                uint8_t registerAddressLength, uint16_t length, uint8_t* readData,
                                                bool flag);
/** Queues TarvixSDK_I2cWrite (`registerAddress` and `data` copied now); `status` as above. */
TARVIX_API StatusCode TarvixSDK_PipelineI2cWrite(TarvixSDK_Pipeline* pipeline, StatusCode* status, uint8_t bus,
                                                 uint8_t targetAddress, const uint8_t* registerAddress,
                                                 uint8_t registerAddressLength, const uint8_t* data,
                                                 uint32_t dataLength, bool flag);
/** Queues TarvixSDK_SpiTransfer (`txData` copied now, `rxBuffer` written on run); `status` as above. */
TARVIX_API StatusCode TarvixSDK_PipelineSpiTransfer(TarvixSDK_Pipeline* pipeline, StatusCode* status,
                                                    const uint8_t* txData, uint16_t txLength, uint8_t* rxBuffer,
                                                    uint16_t length);
/** Queues TarvixSDK_GpioDigitalRead (`level` written on run); `status` as above. */
TARVIX_API StatusCode TarvixSDK_PipelineGpioDigitalRead(TarvixSDK_Pipeline* pipeline, StatusCode* status,
                                                        GpioPinNumber pin, GpioLogicLevel* level);
/** Queues TarvixSDK_GpioDigitalWrite; `status` as above. */
TARVIX_API StatusCode TarvixSDK_PipelineGpioDigitalWrite(TarvixSDK_Pipeline* pipeline, StatusCode* status,
                                                         GpioPinNumber pin, GpioLogicLevel level);
/**
 * Runs the queued calls (they stay queued: a pipeline may be run again), writes each status and
 * output, and returns the first non-zero status of the steps in order (0 when all succeeded);
 * 0x8000 for a null pipeline. A missing answer is 0x2000 for its step alone.
 */
TARVIX_API StatusCode TarvixSDK_PipelineRun(TarvixSDK_Pipeline* pipeline);
/** @} */

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* TARVIXSDK_TARVIXSDK_H */
