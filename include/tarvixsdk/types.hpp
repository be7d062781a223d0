/**
 * @file types.hpp
 * Status codes and the enumerations of every command family.
 *
 * Each family enumeration travels as one byte: the enumerator's value cut to its low 8 bits.
 * The library neither checks nor translates these values; an out-of-range value goes to the
 * adapter, whose status answers it. The members below are the values the adapter's firmware
 * accepts, and every declared member is below 256 so that the wire byte equals the value.
 * The underlying types are 32 bits wide because that is how the flat C interface carries
 * enumerations.
 */
#ifndef TARVIXSDK_TYPES_HPP
#define TARVIXSDK_TYPES_HPP

#include <cstdint>
#include <string>

#include "export.h"

/** Identifier of one request, chosen by the caller of TarvixAsyncSDK (1..65535; 0 marks notifications). */
using TransactionId = std::uint16_t;

/**
 * Result of every command. The named values are the library's own; any other value is the
 * adapter's status for the command, passed through unchanged.
 */
enum class StatusCode : std::uint16_t {
    SUCCESS = 0x0000,             /**< async: frame handed to the transport; sync: device status 0 */
    NO_RESPONSE = 0x2000,         /**< sync: sent, but no response arrived before the wait ended */
    NOT_CONNECTED = 0x4000,       /**< no device is connected; nothing was sent */
    UNEXPECTED_RESPONSE = 0x6000, /**< getUsbString: the response answers another request */
    INVALID_ARGUMENT = 0x8000,    /**< an argument is out of range or a needed pointer is null; nothing was sent */
    RESPONSE_TOO_SHORT = 0xA000,  /**< the response is shorter than the fields or the count it declares */
    /**
     * Flat C interface only: the library could not finish the call for want of memory or of a
     * system resource (the C++ classes throw instead). The caller's outputs are untouched.
     */
    SYSTEM_ERROR = 0xC000
};

/**
 * Short upper-case name of a status: "SUCCESS", "NO_RESPONSE", ... for the library's codes and
 * "DEVICE_STATUS" for any other value. The pointer is to a static string.
 */
TARVIX_API const char* statusCodeName(StatusCode status) noexcept;

/**
 * One sentence describing a status, for messages and logs, e.g. "no response arrived before the
 * timeout" or, for an adapter status, "device status 0x0102".
 */
TARVIX_API std::string statusCodeMessage(StatusCode status);

/**
 * Why the last connect() or connectWithSerialNumber() of a session failed (NONE after a
 * successful one, and before any). lastConnectErrorMessage() gives the same in one sentence,
 * with the device node and, where it helps, what to do.
 */
enum class ConnectError : std::uint32_t {
    NONE = 0,              /**< the last connect succeeded (or none was tried) */
    NO_ADAPTER = 1,        /**< no supported adapter is attached at all */
    NO_MATCH = 2,          /**< supported adapters are attached, but none has the path or serial asked for */
    PERMISSION_DENIED = 3, /**< the adapter's device node may not be opened by this user (see the udev rule) */
    BUSY =
        4, /**< another session holds the adapter exclusively, or this one asked for exclusive use and it is open elsewhere */
    OPEN_FAILED = 5, /**< hidapi could not open the adapter; the message carries hid_error's text */
    BAD_SERIAL = 6,  /**< a HID device's serial number does not convert to UTF-8 (connectWithSerialNumber) */
    SYSTEM_ERROR = 7 /**< out of memory, or the reader thread could not start */
};

/** Upper-case name of a ConnectError ("NONE", "NO_ADAPTER", ...); a static string. */
TARVIX_API const char* connectErrorName(ConnectError error) noexcept;

// ---------------------------------------------------------------------------------------- GPIO

/** Adapter GPIO pin addressed by a GPIO command. */
enum class GpioPinNumber : std::uint32_t {
    GPIO_0 = 0,
    GPIO_1 = 1,
    GPIO_2 = 2,
    GPIO_3 = 3,
    GPIO_4 = 4,
    GPIO_5 = 5,
    GPIO_6 = 6,
    GPIO_7 = 7
};

/** Role of a GPIO pin. */
enum class GpioFunctionality : std::uint32_t {
    DIGITAL_INPUT = 0,     /**< the pin is read */
    DIGITAL_OUTPUT = 1,    /**< the pin is driven to the given level */
    DIGITAL_INTERRUPT = 2, /**< the pin is an input that can raise GPIO interrupt notifications */
    DISABLED = 3           /**< the pin is released (high impedance) */
};

/** Logic level of a GPIO pin. */
enum class GpioLogicLevel : std::uint32_t {
    LOW = 0,
    HIGH = 1
};

/** Pin event that raises a GPIO interrupt notification. */
enum class GpioTriggerType : std::uint32_t {
    RISING_EDGE = 1,  /**< low to high */
    FALLING_EDGE = 2, /**< high to low */
    BOTH_EDGES = 3    /**< either change */
};

// ----------------------------------------------------------------------------------------- SPI

/** Which bit of an SPI word is shifted first. */
enum class SpiBitOrder : std::uint32_t {
    MSB_FIRST = 0,
    LSB_FIRST = 1
};

/** SPI clock polarity (CPOL) and phase (CPHA). */
enum class SpiMode : std::uint32_t {
    MODE_0 = 0, /**< CPOL 0, CPHA 0: idle low, sample on the rising edge */
    MODE_1 = 1, /**< CPOL 0, CPHA 1: idle low, sample on the falling edge */
    MODE_2 = 2, /**< CPOL 1, CPHA 0: idle high, sample on the falling edge */
    MODE_3 = 3  /**< CPOL 1, CPHA 1: idle high, sample on the rising edge */
};

/** Bits per SPI word; the value is the number of bits. */
enum class SpiDataWidth : std::uint32_t {
    BITS_8 = 8,
    BITS_16 = 16
};

/** Chip-select line driven by the SPI controller. */
enum class SpiChipSelect : std::uint32_t {
    CS_0 = 0,
    CS_1 = 1,
    CS_2 = 2,
    CS_3 = 3
};

/** Active level of the selected chip-select line. */
enum class SpiChipSelectPolarity : std::uint32_t {
    ACTIVE_LOW = 0,
    ACTIVE_HIGH = 1
};

// ---------------------------------------------------------------------------------------- UART

/** UART line speed: the value is the index of the rate in the adapter's list, not the rate. */
enum class UartBaudRate : std::uint32_t {
    BAUD_600 = 0,
    BAUD_1200 = 1,
    BAUD_2400 = 2,
    BAUD_4800 = 3,
    BAUD_9600 = 4,
    BAUD_14400 = 5,
    BAUD_19200 = 6,
    BAUD_38400 = 7,
    BAUD_56000 = 8,
    BAUD_57600 = 9,
    BAUD_115200 = 10,
    BAUD_230400 = 11,
    BAUD_460800 = 12,
    BAUD_921600 = 13,
    BAUD_1000000 = 14
};

/** Hardware flow control (RTS/CTS). */
enum class UartHwHandshake : std::uint32_t {
    DISABLED = 0,
    ENABLED = 1
};

/** Parity bit. */
enum class UartParity : std::uint32_t {
    NONE = 0,
    EVEN = 1,
    ODD = 2
};

/** Data bits per character; the value is the number of bits. */
enum class UartDataSize : std::uint32_t {
    BITS_7 = 7,
    BITS_8 = 8
};

/** Stop bits per character; the value is the number of stop bits. */
enum class UartStopBit : std::uint32_t {
    ONE = 1,
    TWO = 2
};

// ----------------------------------------------------------------------------------------- I3C

/** Push-pull SCL rate of I3C SDR traffic. */
enum class I3cPushPullRate : std::uint32_t {
    RATE_12_5_MHZ = 0,
    RATE_10_MHZ = 1,
    RATE_8_MHZ = 2,
    RATE_6_MHZ = 3,
    RATE_4_MHZ = 4,
    RATE_2_MHZ = 5,
    RATE_1_MHZ = 6
};

/** Open-drain SCL rate of the arbitration and addressing phases. */
enum class I3cOpenDrainTransferRate : std::uint32_t {
    RATE_4_17_MHZ = 0,
    RATE_2_5_MHZ = 1,
    RATE_1_25_MHZ = 2,
    RATE_1_MHZ = 3,
    RATE_400_KHZ = 4
};

/** SCL rate of legacy I2C transfers on the I3C bus (the I2C controller takes plain hertz instead). */
enum class I2cTransferRate : std::uint32_t {
    RATE_100_KHZ = 0, /**< standard mode */
    RATE_400_KHZ = 1, /**< fast mode */
    RATE_1_MHZ = 2    /**< fast mode plus */
};

/** Output drive strength of the I3C bus pins. */
enum class I3cDriveStrength : std::uint32_t {
    LOW = 0,
    NORMAL = 1,
    HIGH = 2,
    MAXIMUM = 3
};

/**
 * Options of an SDR or legacy I2C private transfer, sent in bits 3..7 of the mode byte (value
 * times 8), so only values 0..31 reach the adapter. Combine with bitwise OR of the values.
 */
enum class I3cTransferFlags : std::uint32_t {
    NONE = 0,                /**< plain transfer ending with STOP */
    NO_STOP = 1,             /**< end with a repeated START instead of STOP (bit 3, the CCC transfer flag) */
    NO_BROADCAST_HEADER = 2, /**< SDR: do not send the 0x7E broadcast address before the target address */
    NACK_LAST_BYTE = 4       /**< legacy I2C read: NACK the last byte even when more are requested */
};

/** Combines transfer flags: `I3cTransferFlags::NO_STOP | I3cTransferFlags::NO_BROADCAST_HEADER`. */
constexpr I3cTransferFlags operator|(I3cTransferFlags a, I3cTransferFlags b) noexcept
{
    return static_cast<I3cTransferFlags>(static_cast<std::uint32_t>(a) | static_cast<std::uint32_t>(b));
}

/** Data direction of a CCC or private transfer (bit 0 of the mode byte). */
enum class I3cTransferDirection : std::uint8_t {
    WRITE = 0, /**< the controller sends data (or nothing) */
    READ = 1   /**< the controller reads data from the target */
};

/** Bus mode of a CCC or private transfer (bits 1..2 of the mode byte). */
enum class I3cTransferMode : std::uint8_t {
    SDR = 0,       /**< single data rate */
    HDR_DDR = 1,   /**< high data rate, double data rate */
    LEGACY_I2C = 2 /**< legacy I2C target on the I3C bus */
};

/** Whether a CCC frame carries a defining byte (bit 4 of the flags byte). */
enum class I3cCccType : std::uint8_t {
    WITHOUT_DEFINING_BYTE = 0,
    WITH_DEFINING_BYTE = 1
};

/** I3C Common Command Codes; each value is the code sent on the bus. Below 0x80: broadcast (to 0x7E). */
enum class CCC : std::uint8_t {
    ENEC_BROADCAST = 0x00,
    DISEC_BROADCAST = 0x01,
    ENTAS0_BROADCAST = 0x02,
    ENTAS1_BROADCAST = 0x03,
    ENTAS2_BROADCAST = 0x04,
    ENTAS3_BROADCAST = 0x05,
    RSTDAA = 0x06,
    ENTDAA = 0x07,
    SETMWL_BROADCAST = 0x09,
    SETMRL_BROADCAST = 0x0A,
    SETBUSCON = 0x0C,
    SETXTIME_BROADCAST = 0x28,
    SETAASA = 0x29,
    RSTACT_BROADCAST = 0x2A,
    RSTGRPA_BROADCAST = 0x2C,
    ENEC_DIRECT = 0x80,
    DISEC_DIRECT = 0x81,
    ENTAS0_DIRECT = 0x82,
    ENTAS1_DIRECT = 0x83,
    ENTAS2_DIRECT = 0x84,
    ENTAS3_DIRECT = 0x85,
    SETDASA = 0x87,
    SETNEWDA = 0x88,
    SETMWL_DIRECT = 0x89,
    SETMRL_DIRECT = 0x8A,
    GETMWL = 0x8B,
    GETMRL = 0x8C,
    GETPID = 0x8D,
    GETBCR = 0x8E,
    GETDCR = 0x8F,
    GETSTATUS = 0x90,
    GETMXDS = 0x94,
    GETCAPS = 0x95,
    SETXTIME_DIRECT = 0x98,
    GETXTIME = 0x99,
    RSTACT_DIRECT = 0x9A,
    SETGRPA = 0x9B,
    RSTGRPA_DIRECT = 0x9C
};

/** RSTACT defining byte: the reset action a target is to take, or the timing it is to report. */
enum class I3cTargetResetDefByte : std::uint8_t {
    NO_RESET = 0x00,
    RESET_PERIPHERAL_ONLY = 0x01,
    RESET_WHOLE_TARGET = 0x02,
    DEBUG_NETWORK_ADAPTER_RESET = 0x03,
    VIRTUAL_TARGET_DETECT = 0x04,
    RETURN_TIME_RESET_PERIPHERAL = 0x81,
    RETURN_TIME_RESET_WHOLE_TARGET = 0x82,
    RETURN_TIME_DEBUG_NETWORK_ADAPTER_RESET = 0x83,
    RETURN_VIRTUAL_TARGET_INDICATION = 0x84
};

/**
 * Configuration byte of one entry of the adapter's I3C target table. The library sends `raw` as
 * given; `bits` is a convenience view over the same byte (bit 0 first, as GCC and Clang lay out
 * bit-fields on little-endian targets).
 */
union I3cTargetConfiguration {
    std::uint8_t raw; /**< the byte as sent */
    /** The bits of `raw` as the adapter's firmware names them; the library itself never reads them. */
    struct Bits {
        std::uint8_t ibiAccepted : 1;             /**< bit 0: the adapter ACKs this target's IBIs */
        std::uint8_t controllerRoleRequest : 1;   /**< bit 1: the adapter ACKs its controller-role requests */
        std::uint8_t ibiTimestamp : 1;            /**< bit 2: IBIs from this target are time-stamped */
        std::uint8_t assignFromStaticAddress : 1; /**< bit 3: give the dynamic address with SETDASA */
        std::uint8_t ibiWithPayload : 1;          /**< bit 4: the target's IBIs carry a payload */
        std::uint8_t reserved : 3;                /**< bits 5..7 */
    } bits;                                       /**< bit view over `raw` */
};
static_assert(sizeof(I3cTargetConfiguration) == 1, "I3cTargetConfiguration is one byte");

#endif // TARVIXSDK_TYPES_HPP
