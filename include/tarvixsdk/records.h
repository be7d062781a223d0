/**
 * @file records.h
 * The plain records that the C++ classes and the flat C functions share.
 *
 * One definition serves both languages, so a pointer handed across the flat interface points
 * at the very same type. Everything here is standard layout; in C++ the Notification record
 * additionally offers its typed views as member functions, which do not change its layout.
 */
#ifndef TARVIXSDK_RECORDS_H
#define TARVIXSDK_RECORDS_H

#include <stddef.h>
#include <stdint.h>
#ifndef __cplusplus
#include <stdbool.h>
#endif

#include "export.h"

/**
 * @def TARVIX_MUTABLE
 * The view slots of Notification are a cache that the const accessors fill: mutable in C++,
 * plain fields in C, with one layout. The macro is undefined again at the end of this header.
 */
#ifdef __cplusplus
#define TARVIX_MUTABLE mutable
#else
#define TARVIX_MUTABLE
#endif

/**
 * Kind of an unsolicited frame (a frame whose transaction id is 0), from its notification code.
 * Stored as a 32-bit value.
 */
#ifdef __cplusplus
enum class NotificationKind : uint32_t {
    I3C_HOT_JOIN = 0,   /**< code 0x1982: a new I3C target asked to join the bus */
    I3C_IBI = 1,        /**< code 0x1981: an I3C in-band interrupt */
    GPIO_INTERRUPT = 2, /**< code 0x1481: an armed GPIO pin fired */
    UART_RX = 3,        /**< code 0x1081: bytes received on the UART */
    UNKNOWN = 4         /**< any other code (or a frame too short to carry one) */
};
#else
typedef uint32_t NotificationKind;
#define NotificationKind_I3C_HOT_JOIN ((NotificationKind)0)
#define NotificationKind_I3C_IBI ((NotificationKind)1)
#define NotificationKind_GPIO_INTERRUPT ((NotificationKind)2)
#define NotificationKind_UART_RX ((NotificationKind)3)
#define NotificationKind_UNKNOWN ((NotificationKind)4)
#endif

/** GPIO interrupt: the pin that fired (frame byte 6, a GpioPinNumber value). */
typedef struct GpioInterruptNotification {
    uint8_t pinNumber; /**< frame byte 6: the GpioPinNumber value of the pin that fired */
} GpioInterruptNotification;

/** I3C in-band interrupt. `payload` points into the notification's frame. */
typedef struct I3cIbiNotification {
    uint8_t targetAddress;  /**< frame byte 6: the dynamic address of the interrupting target */
    const uint8_t* payload; /**< frame byte 8 onward */
    size_t payloadLength;   /**< frame byte 7 (bounded, in C++ views, by the bytes that arrived) */
} I3cIbiNotification;

/** I3C hot-join: identity of the joining target and the address it was given. */
typedef struct I3cHotJoinNotification {
    uint8_t provisionalId[6]; /**< frame bytes 6..11, in frame order */
    uint8_t bcr;              /**< frame byte 12 */
    uint8_t dcr;              /**< frame byte 13 */
    uint8_t dynamicAddress;   /**< frame byte 14 */
} I3cHotJoinNotification;

/** UART bytes received. `data` points into the notification's frame. */
typedef struct UartRxNotification {
    const uint8_t* data; /**< frame byte 8 onward */
    size_t dataLength;   /**< u16 LE at frame bytes 6..7 (bounded, in C++ views, by the bytes that arrived) */
} UartRxNotification;

/**
 * One unsolicited frame as handed to a notification handler.
 *
 * The record does not own the frame: `data` and every pointer inside a view are valid only during
 * the handler call (the frame is the transport's reassembly buffer). A handler that needs the
 * bytes later copies them.
 */
typedef struct Notification {
    NotificationKind kind; /**< decoded from the code at frame bytes 2..3 */
    const uint8_t* data;   /**< byte 0 of the whole frame (transaction id low byte) */
    size_t length;         /**< size of the whole frame in bytes */

    /* Cache slots of the typed views below, zeroed when the record is built. */
    TARVIX_MUTABLE I3cHotJoinNotification hotJoinView; /**< slot of i3cHotJoin(); read it through the view */
    TARVIX_MUTABLE I3cIbiNotification ibiView;         /**< slot of i3cIbi(); read it through the view */
    TARVIX_MUTABLE GpioInterruptNotification gpioView; /**< slot of gpio(); read it through the view */
    TARVIX_MUTABLE UartRxNotification uartRxView;      /**< slot of uartRx(); read it through the view */

#ifdef __cplusplus
    /**
     * @name Typed views
     * Each returns null unless the kind matches and the frame is long enough
     * (GPIO 7 bytes, IBI 8, hot-join 15, UART 8). On success it fills its slot in this record
     * and returns a pointer to it. Declared lengths inside the frame (`payloadLength`,
     * `dataLength`) are cut to the bytes that actually arrived, so a view never points past the
     * frame.
     * @{
     */
    /** The GPIO interrupt view: kind GPIO_INTERRUPT, at least 7 bytes. */
    TARVIX_API const GpioInterruptNotification* gpio() const noexcept;
    /** The I3C IBI view: kind I3C_IBI, at least 8 bytes. */
    TARVIX_API const I3cIbiNotification* i3cIbi() const noexcept;
    /** The I3C hot-join view: kind I3C_HOT_JOIN, at least 15 bytes. */
    TARVIX_API const I3cHotJoinNotification* i3cHotJoin() const noexcept;
    /** The UART received-bytes view: kind UART_RX, at least 8 bytes. */
    TARVIX_API const UartRxNotification* uartRx() const noexcept;
    /** @} */
#endif
} Notification;

/**
 * One I3C target as the adapter's target table holds it: exactly 16 bytes, no padding, the same
 * layout in memory and on the wire (16-bit fields little-endian).
 */
typedef struct I3cTargetInfo {
    uint8_t staticAddress;  /**< offset 0 */
    uint8_t dynamicAddress; /**< offset 1 */
    uint8_t pid[6];         /**< offsets 2..7: 48-bit Provisioned ID, most significant byte first */
    uint8_t bcr;            /**< offset 8: Bus Characteristics Register */
    uint8_t dcr;            /**< offset 9: Device Characteristics Register */
    uint16_t extraWord1;    /**< offsets 10..11, carried unchanged */
    uint16_t extraWord2;    /**< offsets 12..13, carried unchanged */
    uint8_t extraByte1;     /**< offset 14, carried unchanged */
    uint8_t extraByte2;     /**< offset 15, carried unchanged */
} I3cTargetInfo;

#ifdef __cplusplus
static_assert(sizeof(I3cTargetInfo) == 16, "I3cTargetInfo is a 16-byte wire record");
static_assert(offsetof(I3cTargetInfo, extraWord1) == 10, "I3cTargetInfo layout");
static_assert(offsetof(I3cTargetInfo, extraByte2) == 15, "I3cTargetInfo layout");
#else
_Static_assert(sizeof(I3cTargetInfo) == 16, "I3cTargetInfo is a 16-byte wire record");
#endif

/**
 * Opt-in safeties of a session, given at construction (TarvixSDK, TarvixAsyncSDK,
 * TarvixSDK_CreateWithOptions). Every field is false in a zero-initialised record, and a session
 * made without options behaves exactly as one made with such a record. Tools and scripts are
 * advised to turn all of them on.
 */
typedef struct SessionOptions {
    /**
     * Blocking calls complete only with a response frame that carries their own transaction id
     * and command code. Any other response (late, duplicated, or meant for another session on the
     * same adapter) is dropped and counted (droppedResponseCount()), never decoded into the
     * caller's outputs. Transaction ids then start at a random point instead of 1, so that two
     * sessions on one adapter are unlikely to use the same ids at the same time. An answer that
     * holds more bytes than its own count field declares (SPI and I3C transfers, CCC reads, the
     * device table) is dropped too, and the call returns StatusCode::NO_RESPONSE with its data
     * output untouched: such a frame is the start of one answer joined to the end of another after
     * input reports were lost, and would otherwise decode as a success (pipelined calls check
     * this always). No effect on TarvixAsyncSDK, which does not wait.
     */
    bool matchResponses;
    /**
     * The reader tells an adapter that has gone from a passing read error: read errors that
     * persist for 50 ms with no report in between mean the adapter was unplugged (or has
     * failed). Then a waiting blocking call returns StatusCode::NOT_CONNECTED at once,
     * isConnected() turns false, later commands return NOT_CONNECTED without sending, and
     * connect() opens the adapter afresh (no disconnect() needed first).
     */
    bool detectRemoval;
    /**
     * The session will not share its adapter: connect fails with ConnectError::BUSY when
     * another session (in this process, or an exclusive one in another process) has it open,
     * and while this session is connected every other session's connect to it fails so. Across
     * processes this is an advisory lock (flock) on the device node, so it binds only sessions
     * of this library; an adapter whose path is not a file (the virtual adapter's) is guarded
     * within the process only.
     */
    bool exclusive;
    /**
     * A second thread per session reads every input report into a queue of up to 2,048 reports
     * as soon as the adapter sends it, and the reader thread reassembles frames and runs the
     * handlers from there. Without it one thread does both, and while a handler runs nobody reads:
     * the kernel keeps only 64 input reports per open hidraw node and silently drops newer ones,
     * which a high-speed adapter fills in 8 ms. Turn it on when handlers may take longer than
     * that while long answers stream in (measured: 1 ms per notification during a 64 KiB answer
     * lost segments without it, none with it). It costs one more thread wake-up per report (a
     * few microseconds of CPU per blocking call) and 2,048 reports of memory per session. The
     * handlers' thread, order and contract are the same either way (see the threads page).
     */
    bool queueReports;
} SessionOptions;

/** Which way a traced frame went. */
#ifdef __cplusplus
enum class TraceDirection : uint32_t {
    OUT = 0, /**< a request frame, as handed to the transport (before segmentation) */
    IN = 1   /**< a reassembled input frame: a response or a notification */
};
#else
typedef uint32_t TraceDirection;
#define TraceDirection_OUT ((TraceDirection)0)
#define TraceDirection_IN ((TraceDirection)1)
#endif

/**
 * One frame seen by the frame tap (TarvixAsyncSDK::onFrame, TarvixSDK::onFrame,
 * TarvixSDK_onFrame). `data` is the whole frame (transaction id, code, then status or payload)
 * and is valid only during the call.
 */
typedef struct TraceFrame {
    TraceDirection direction; /**< request sent (OUT) or frame received (IN) */
    uint64_t timestampNs;     /**< monotonic clock (C++ steady_clock, CLOCK_MONOTONIC on Linux), ns */
    const uint8_t* data;      /**< byte 0 of the frame (transaction id low byte) */
    size_t length;            /**< size of the frame in bytes */
} TraceFrame;

#undef TARVIX_MUTABLE

#endif /* TARVIXSDK_RECORDS_H */
