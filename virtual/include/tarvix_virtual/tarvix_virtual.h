/**
 * @file tarvix_virtual.h
 * @brief C control interface of the Tarvix virtual adapter.
 *
 * The same control as virtual_adapter.hpp, targets.hpp and i3c_bus.hpp, for C programs and for
 * languages with a C foreign-function interface (the Python package `tarvix.virtual` uses it).
 * The header compiles as C11 and as C++.
 *
 * @code
 *   TarvixVirtual_Reset();
 *   TarvixVirtual_AdapterConfig config;
 *   TarvixVirtual_InitAdapterConfig(&config);
 *   config.serialNumber = "TVX-0001";
 *   TarvixVirtual_Adapter* adapter = TarvixVirtual_Attach(&config);
 *   // ... drive the SDK; TarvixVirtual_Unplug(adapter), TarvixVirtual_InjectNotification(...) ...
 *   TarvixVirtual_Release(adapter);  // the handle; the adapter stays attached until reset
 * @endcode
 *
 * Conventions:
 * - Functions returning `int` return 0 on success and -1 on failure; functions returning a
 *   handle return null on failure. TarvixVirtual_LastError() then says why (an argument out of
 *   range, a null pointer, a path already attached, out of memory). No C++ exception crosses
 *   this interface.
 * - A null adapter handle is a failure ("no adapter"), never a crash.
 * - Byte arrays are a pointer and a count, copied during the call. Functions that hand out a
 *   byte array copy at most `capacity` bytes into the caller's buffer and store the whole
 *   length in `*length`, as snprintf does: call with capacity 0 (the buffer may then be null)
 *   to learn the size.
 * - Times are in milliseconds.
 *
 * Threads: every function may be called from any thread, concurrently with each other and with
 * the hid_* functions, as the C++ control API. TarvixVirtual_LastError() is per thread.
 */
#ifndef TARVIX_VIRTUAL_TARVIX_VIRTUAL_H
#define TARVIX_VIRTUAL_TARVIX_VIRTUAL_H

#include <stddef.h>
#include <stdint.h>
#ifndef __cplusplus
#include <stdbool.h>
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** One attached adapter. Opaque; made by TarvixVirtual_Attach, freed by TarvixVirtual_Release. */
typedef struct TarvixVirtual_Adapter TarvixVirtual_Adapter;

/** Description of one adapter to attach; start from TarvixVirtual_InitAdapterConfig. */
typedef struct TarvixVirtual_AdapterConfig {
    uint16_t vendorId;        /**< USB vendor ID (0x1FC9) */
    uint16_t productId;       /**< USB product ID: 0x82FC (64-byte reports) or 0x82FD (1024) */
    const char* path;         /**< hidapi path; null or "" makes up a unique one ("virtual/0", ...) */
    const char* serialNumber; /**< UTF-8 serial number; null for an adapter without one */
    /** Payload bytes of one report; 0 takes it from the catalogue entry of the IDs. Else 8..1025. */
    size_t reportSize;
    /** The default bench: EEPROM 0x50 and temperature sensor 0x48 on I2C bus 0, NOR flash on SPI
     *  chip select 0, GPIO 0 wired to GPIO 1, UART looped back. */
    bool bench;
} TarvixVirtual_AdapterConfig;

/** Supply rails (targets.hpp Rail). */
enum {
    TarvixVirtual_RAIL_SHARED = 0,
    TarvixVirtual_RAIL_I3C = 1
};

/** What the firmware holds for one rail and what it measures on it. */
typedef struct TarvixVirtual_RailState {
    uint16_t setMillivolts;      /**< the voltage last set on the adapter's own regulator */
    bool external;               /**< the rail takes its supply from outside */
    uint16_t externalMillivolts; /**< the external supply connected to the rail (0: none) */
    uint16_t measuredMillivolts; /**< what an analog measurement of the rail reports now */
} TarvixVirtual_RailState;

/** One I3C target to attach; start from TarvixVirtual_InitI3cTargetConfig (see I3cTargetConfig). */
typedef struct TarvixVirtual_I3cTargetConfig {
    bool hasStaticAddress;         /**< the target has a static (I2C-style) address for SETDASA */
    uint8_t staticAddress;         /**< that static address, 7 bits */
    uint64_t pid;                  /**< 48-bit Provisioned ID; unique on the bus */
    uint8_t bcr;                   /**< Bus Characteristics Register */
    uint8_t dcr;                   /**< Device Characteristics Register */
    uint16_t maxWriteLength;       /**< answer of GETMWL, changed by SETMWL */
    uint16_t maxReadLength;        /**< answer of GETMRL, changed by SETMRL */
    bool hasMaxIbiPayloadSize;     /**< GETMRL also answers the maximum IBI payload size */
    uint8_t maxIbiPayloadSize;     /**< that size, in bytes */
    const uint8_t* maxDataSpeed;   /**< GETMXDS answer; none (count 0): GETMXDS is NACKed */
    size_t maxDataSpeedLength;     /**< bytes at the pointer above */
    const uint8_t* capabilities;   /**< GETCAPS answer; none: GETCAPS is NACKed */
    size_t capabilitiesLength;     /**< bytes at the pointer above */
    uint16_t status;               /**< GETSTATUS word */
    const uint8_t* extendedTiming; /**< GETXTIME answer; none: GETXTIME is NACKed */
    size_t extendedTimingLength;   /**< bytes at the pointer above */
    uint8_t resetTime;             /**< answer of a direct RSTACT read */
    bool hdrDdr;                   /**< answers HDR-DDR transfers */
    /** Memory of the private transfers. A null `memory` with a non-zero length is that many
     *  zero bytes (the default: 256). */
    const uint8_t* memory;
    size_t memoryLength; /**< bytes at the pointer above */
} TarvixVirtual_I3cTargetConfig;

/** The state of an attached I3C target (I3cTargetState without its memory). */
typedef struct TarvixVirtual_I3cTargetState {
    uint8_t dynamicAddress;    /**< 0 while it has none */
    uint8_t enabledEvents;     /**< ENEC/DISEC mask: 0x01 IBI, 0x02 controller role, 0x08 hot-join */
    uint16_t maxWriteLength;   /**< maximum write length now (SETMWL changes it) */
    uint16_t maxReadLength;    /**< maximum read length now (SETMRL changes it) */
    bool hasMaxIbiPayloadSize; /**< a maximum IBI payload size is set */
    uint8_t maxIbiPayloadSize; /**< that size, in bytes */
    uint8_t resetAction;       /**< the defining byte of the last RSTACT */
    uint8_t registerPointer;   /**< where the next private read or write starts in its memory */
    size_t pendingIbis;        /**< IBIs raised while disabled, waiting for ENEC */
} TarvixVirtual_I3cTargetState;

/** What became of an IBI or hot-join (I3cEventResult); -1 for a failure. */
enum {
    TarvixVirtual_I3C_DELIVERED = 0,
    TarvixVirtual_I3C_QUEUED = 1,
    TarvixVirtual_I3C_REFUSED = 2
};

/** Hot-join addressing (I3cHotJoinAddressing). */
enum {
    TarvixVirtual_HOT_JOIN_WAIT_FOR_ENTDAA = 0,
    TarvixVirtual_HOT_JOIN_ASSIGN_AT_ONCE = 1
};

/** Why the last failing call of this thread failed: a static or thread-local text ("" if none). */
const char* TarvixVirtual_LastError(void);

/* ---- Adapters ------------------------------------------------------------------------------ */

/** Fills `config` with the defaults: 1FC9:82FC, made-up path, no serial number, bench on. */
void TarvixVirtual_InitAdapterConfig(TarvixVirtual_AdapterConfig* config);
/** Attaches (plugs in) a new adapter. Null on failure (a path attached already, a bad size). */
TarvixVirtual_Adapter* TarvixVirtual_Attach(const TarvixVirtual_AdapterConfig* config);
/** Frees the handle (not the adapter, which stays attached until TarvixVirtual_Reset). Null: nothing. */
void TarvixVirtual_Release(TarvixVirtual_Adapter* adapter);
/** Unplugs and forgets every adapter; handles stay valid to release, their adapters are gone. */
void TarvixVirtual_Reset(void);

/** The hidapi path of the adapter (valid as long as the handle); "" for a null handle. */
const char* TarvixVirtual_Path(const TarvixVirtual_Adapter* adapter);
/** Payload bytes of one report; 0 for a null handle. */
size_t TarvixVirtual_ReportSize(const TarvixVirtual_Adapter* adapter);

/** Unplugs the adapter: handles opened on it fail at once, blocked readers wake. */
int TarvixVirtual_Unplug(TarvixVirtual_Adapter* adapter);
/** Unplugs it once `count` more output reports have arrived; 0 cancels. */
int TarvixVirtual_UnplugAfterReports(TarvixVirtual_Adapter* adapter, size_t count);
/** Plugs it back in (a power cycle: the firmware's settings are forgotten, the bench stays). */
int TarvixVirtual_Replug(TarvixVirtual_Adapter* adapter);
/** Whether it is plugged in; false for a null handle. */
bool TarvixVirtual_IsPlugged(const TarvixVirtual_Adapter* adapter);
/** Waits up to `timeoutMs` until it is plugged in; false if the time passed first. */
bool TarvixVirtual_WaitForPlugged(const TarvixVirtual_Adapter* adapter, uint32_t timeoutMs);
/** Handles opened on it and not yet closed; 0 for a null handle. */
size_t TarvixVirtual_OpenHandles(const TarvixVirtual_Adapter* adapter);

/* ---- Answers and faults -------------------------------------------------------------------- */

/** Sends a notification now: transaction id 0, `code`, `status`, then the `length` payload bytes. */
int TarvixVirtual_InjectNotification(TarvixVirtual_Adapter* adapter, uint16_t code, uint16_t status,
                                     const uint8_t* payload, size_t length);
/** Sends `frame` now, cut into reports, as the adapter would send it. */
int TarvixVirtual_SendFrame(TarvixVirtual_Adapter* adapter, const uint8_t* frame, size_t length);
/** Every following answer is ready `delayMs` after its request (0: at once). */
int TarvixVirtual_SetResponseDelay(TarvixVirtual_Adapter* adapter, uint32_t delayMs);
/** Swallows the answers to the next `count` requests that would be answered. */
int TarvixVirtual_DropNextResponses(TarvixVirtual_Adapter* adapter, size_t count);
/** While on, hid_write on this adapter fails. */
int TarvixVirtual_SetWriteFails(TarvixVirtual_Adapter* adapter, bool on);
/** Opening the adapter fails with errno `error` (EACCES, EBUSY...); 0 turns it off. */
int TarvixVirtual_SetOpenError(TarvixVirtual_Adapter* adapter, int error);

/* ---- Request record -------------------------------------------------------------------------- */

/** Number of request frames recorded since the last TarvixVirtual_ClearRecords; 0 for a null handle. */
size_t TarvixVirtual_RequestCount(const TarvixVirtual_Adapter* adapter);
/**
 * Copies request frame `index` (transaction id, code, payload) into `buffer` (at most `capacity`
 * bytes) and stores its whole length in `*length`. -1 for an index past the record.
 */
int TarvixVirtual_GetRequest(const TarvixVirtual_Adapter* adapter, size_t index, uint8_t* buffer, size_t capacity,
                             size_t* length);
/** Forgets the recorded request frames and the request count. */
int TarvixVirtual_ClearRecords(TarvixVirtual_Adapter* adapter);
/** Recording on (the default) or off; requests are counted either way. */
int TarvixVirtual_SetRecording(TarvixVirtual_Adapter* adapter, bool on);
/** Waits up to `timeoutMs` until at least `count` requests arrived; false if the time passed first. */
bool TarvixVirtual_WaitForRequests(const TarvixVirtual_Adapter* adapter, size_t count, uint32_t timeoutMs);

/* ---- Rails and GPIO ------------------------------------------------------------------------- */

/** Stores what the firmware holds for `rail` (TarvixVirtual_RAIL_...) in `*state`. */
int TarvixVirtual_GetRailState(const TarvixVirtual_Adapter* adapter, uint8_t rail, TarvixVirtual_RailState* state);
/** Connects an external supply of `millivolts` to `rail` (0 disconnects it). */
int TarvixVirtual_SetExternalSupply(TarvixVirtual_Adapter* adapter, uint8_t rail, uint16_t millivolts);
/** Puts a jumper between pins `a` and `b` (0..7). */
int TarvixVirtual_GpioWire(TarvixVirtual_Adapter* adapter, uint8_t a, uint8_t b);
/** Removes the jumper on `pin`, if any. */
int TarvixVirtual_GpioUnwire(TarvixVirtual_Adapter* adapter, uint8_t pin);
/** Drives `pin` from outside; raises its interrupt if the change matches the armed trigger. */
int TarvixVirtual_GpioDrive(TarvixVirtual_Adapter* adapter, uint8_t pin, bool high);
/** Stores the level the firmware reads on `pin` in `*high`. */
int TarvixVirtual_GpioLevel(const TarvixVirtual_Adapter* adapter, uint8_t pin, bool* high);

/* ---- I2C and SPI targets -------------------------------------------------------------------- */

/** Attaches a 256-byte EEPROM (24C02-like, one address byte) at 7-bit `address` on `bus`. */
int TarvixVirtual_I2cAttachEeprom(TarvixVirtual_Adapter* adapter, uint8_t bus, uint8_t address);
/** Attaches a TMP102-like temperature sensor at 7-bit `address` on `bus`. */
int TarvixVirtual_I2cAttachTemperatureSensor(TarvixVirtual_Adapter* adapter, uint8_t bus, uint8_t address);
/** Removes the target at `address` on `bus`, if any: it is NACKed from now on. */
int TarvixVirtual_I2cDetach(TarvixVirtual_Adapter* adapter, uint8_t bus, uint8_t address);
/** Sets what the sensor at `address` measures, in thousandths of a degree; -1 if there is none. */
int TarvixVirtual_I2cSetTemperature(TarvixVirtual_Adapter* adapter, uint8_t bus, uint8_t address, int32_t milliCelsius);
/** The 256 bytes of the EEPROM at `address` (as TarvixVirtual_GetRequest); -1 if there is none. */
int TarvixVirtual_I2cEepromContents(const TarvixVirtual_Adapter* adapter, uint8_t bus, uint8_t address, uint8_t* buffer,
                                    size_t capacity, size_t* length);
/** Attaches a 64-KiB NOR flash (JEDEC ID EF 30 10, erased to 0xFF) on `chipSelect`, replacing the chip there. */
int TarvixVirtual_SpiAttachFlash(TarvixVirtual_Adapter* adapter, uint8_t chipSelect);
/** Removes the chip on `chipSelect`, if any: the line then reads 0xFF. */
int TarvixVirtual_SpiDetach(TarvixVirtual_Adapter* adapter, uint8_t chipSelect);
/** The contents of the flash on `chipSelect` (as TarvixVirtual_GetRequest); -1 if there is none. */
int TarvixVirtual_SpiFlashContents(const TarvixVirtual_Adapter* adapter, uint8_t chipSelect, uint8_t* buffer,
                                   size_t capacity, size_t* length);

/* ---- UART ------------------------------------------------------------------------------------ */

/** Loops the UART's transmit line back to its receive line (on) or not (off). */
int TarvixVirtual_UartSetLoopback(TarvixVirtual_Adapter* adapter, bool on);
/** The far end sends `length` bytes: 1 when the port is open (they arrive as UART_RX
 *  notifications), 0 when it is closed (they are lost), -1 on failure. */
int TarvixVirtual_UartReceive(TarvixVirtual_Adapter* adapter, const uint8_t* data, size_t length);
/** Whether the UART is initialised; false for a null handle. */
bool TarvixVirtual_UartIsOpen(const TarvixVirtual_Adapter* adapter);

/* ---- I3C -------------------------------------------------------------------------------------- */

/** Fills `config` with the defaults of I3cTargetConfig (256 zero bytes of memory, GETCAPS 0x01). */
void TarvixVirtual_InitI3cTargetConfig(TarvixVirtual_I3cTargetConfig* config);
/** Attaches an I3C target without dynamic address; -1 when its PID or static address is taken. */
int TarvixVirtual_I3cAttachTarget(TarvixVirtual_Adapter* adapter, const TarvixVirtual_I3cTargetConfig* config);
/** Attaches a legacy I2C target at `address` with `length` bytes of memory (null: zeros). */
int TarvixVirtual_I3cAttachLegacyTarget(TarvixVirtual_Adapter* adapter, uint8_t address, const uint8_t* memory,
                                        size_t length);
/** Removes every I3C target, the target table and the HDR state. */
int TarvixVirtual_I3cClear(TarvixVirtual_Adapter* adapter);
/** Stores the state of the target with `pid`; -1 when none is attached. */
int TarvixVirtual_GetI3cTargetState(const TarvixVirtual_Adapter* adapter, uint64_t pid,
                                    TarvixVirtual_I3cTargetState* state);
/** The target with `pid` raises an IBI: TarvixVirtual_I3C_DELIVERED, _QUEUED, _REFUSED, or -1. */
int TarvixVirtual_I3cRaiseIbi(TarvixVirtual_Adapter* adapter, uint64_t pid, const uint8_t* payload, size_t length);
/** A new target joins and requests hot-join (`addressing`: TarvixVirtual_HOT_JOIN_...); as RaiseIbi. */
int TarvixVirtual_I3cHotJoin(TarvixVirtual_Adapter* adapter, const TarvixVirtual_I3cTargetConfig* config,
                             int addressing);
/** Whether the I3C bus is in HDR mode (after an HDR-DDR transfer, until the HDR exit pattern). */
bool TarvixVirtual_I3cInHdrMode(const TarvixVirtual_Adapter* adapter);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* TARVIX_VIRTUAL_TARVIX_VIRTUAL_H */
