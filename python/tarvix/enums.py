"""The adapter's enumerations, with the values they have on the wire."""

from __future__ import annotations

import enum


class StatusCode(enum.IntEnum):
    """Result of a command: the library's own codes; any other value is the adapter's status."""

    SUCCESS = 0x0000
    NO_RESPONSE = 0x2000
    NOT_CONNECTED = 0x4000
    UNEXPECTED_RESPONSE = 0x6000
    INVALID_ARGUMENT = 0x8000
    RESPONSE_TOO_SHORT = 0xA000
    SYSTEM_ERROR = 0xC000


class ConnectReason(enum.IntEnum):
    """Why a connect failed."""

    NONE = 0
    NO_ADAPTER = 1
    NO_MATCH = 2
    PERMISSION_DENIED = 3
    BUSY = 4
    OPEN_FAILED = 5
    BAD_SERIAL = 6
    SYSTEM_ERROR = 7


class NotificationKind(enum.IntEnum):
    """Kind of an unsolicited frame."""

    I3C_HOT_JOIN = 0
    I3C_IBI = 1
    GPIO_INTERRUPT = 2
    UART_RX = 3
    UNKNOWN = 4


class Rail(enum.IntEnum):
    """The two supply rails: SHARED feeds I2C, SPI, UART and GPIO."""

    SHARED = 0
    I3C = 1


class GpioPin(enum.IntEnum):
    GPIO_0 = 0
    GPIO_1 = 1
    GPIO_2 = 2
    GPIO_3 = 3
    GPIO_4 = 4
    GPIO_5 = 5
    GPIO_6 = 6
    GPIO_7 = 7


class GpioFunction(enum.IntEnum):
    DIGITAL_INPUT = 0
    DIGITAL_OUTPUT = 1
    DIGITAL_INTERRUPT = 2
    DISABLED = 3


class GpioLevel(enum.IntEnum):
    LOW = 0
    HIGH = 1


class GpioTrigger(enum.IntEnum):
    RISING_EDGE = 1
    FALLING_EDGE = 2
    BOTH_EDGES = 3


class SpiBitOrder(enum.IntEnum):
    MSB_FIRST = 0
    LSB_FIRST = 1


class SpiMode(enum.IntEnum):
    MODE_0 = 0
    MODE_1 = 1
    MODE_2 = 2
    MODE_3 = 3


class SpiDataWidth(enum.IntEnum):
    BITS_8 = 8
    BITS_16 = 16


class SpiChipSelect(enum.IntEnum):
    CS_0 = 0
    CS_1 = 1
    CS_2 = 2
    CS_3 = 3


class SpiChipSelectPolarity(enum.IntEnum):
    ACTIVE_LOW = 0
    ACTIVE_HIGH = 1


class UartBaudRate(enum.IntEnum):
    BAUD_600 = 0
    BAUD_1200 = 1
    BAUD_2400 = 2
    BAUD_4800 = 3
    BAUD_9600 = 4
    BAUD_14400 = 5
    BAUD_19200 = 6
    BAUD_38400 = 7
    BAUD_56000 = 8
    BAUD_57600 = 9
    BAUD_115200 = 10
    BAUD_230400 = 11
    BAUD_460800 = 12
    BAUD_921600 = 13
    BAUD_1000000 = 14


class UartHandshake(enum.IntEnum):
    DISABLED = 0
    ENABLED = 1


class UartParity(enum.IntEnum):
    NONE = 0
    EVEN = 1
    ODD = 2


class UartDataSize(enum.IntEnum):
    BITS_7 = 7
    BITS_8 = 8


class UartStopBits(enum.IntEnum):
    ONE = 1
    TWO = 2


class I3cPushPullRate(enum.IntEnum):
    RATE_12_5_MHZ = 0
    RATE_10_MHZ = 1
    RATE_8_MHZ = 2
    RATE_6_MHZ = 3
    RATE_4_MHZ = 4
    RATE_2_MHZ = 5
    RATE_1_MHZ = 6


class I3cOpenDrainRate(enum.IntEnum):
    RATE_4_17_MHZ = 0
    RATE_2_5_MHZ = 1
    RATE_1_25_MHZ = 2
    RATE_1_MHZ = 3
    RATE_400_KHZ = 4


class I2cTransferRate(enum.IntEnum):
    RATE_100_KHZ = 0
    RATE_400_KHZ = 1
    RATE_1_MHZ = 2


class I3cDriveStrength(enum.IntEnum):
    LOW = 0
    NORMAL = 1
    HIGH = 2
    MAXIMUM = 3


class I3cTransferFlags(enum.IntFlag):
    NONE = 0
    NO_STOP = 1
    NO_BROADCAST_HEADER = 2
    NACK_LAST_BYTE = 4


class I3cResetAction(enum.IntEnum):
    """RSTACT defining byte."""

    NO_RESET = 0x00
    RESET_PERIPHERAL_ONLY = 0x01
    RESET_WHOLE_TARGET = 0x02
    DEBUG_NETWORK_ADAPTER_RESET = 0x03
    VIRTUAL_TARGET_DETECT = 0x04
    RETURN_TIME_RESET_PERIPHERAL = 0x81
    RETURN_TIME_RESET_WHOLE_TARGET = 0x82
    RETURN_TIME_DEBUG_NETWORK_ADAPTER_RESET = 0x83
    RETURN_VIRTUAL_TARGET_INDICATION = 0x84


class I3cEventResult(enum.IntEnum):
    """What became of an IBI or hot-join raised on the virtual adapter."""

    DELIVERED = 0
    QUEUED = 1
    REFUSED = 2
