"""`Adapter`: one session with an adapter, with a sub-object per command family."""

from __future__ import annotations

import ctypes
import threading
import weakref
from dataclasses import dataclass
from typing import Any, List, Optional, Tuple, Union

from . import _native
from .enums import (ConnectReason, GpioFunction, GpioLevel, GpioPin, GpioTrigger, I2cTransferRate, I3cDriveStrength,
                    I3cOpenDrainRate, I3cPushPullRate, I3cResetAction, I3cTransferFlags, Rail, SpiBitOrder,
                    SpiChipSelect, SpiChipSelectPolarity, SpiDataWidth, SpiMode, UartBaudRate, UartDataSize,
                    UartHandshake, UartParity, UartStopBits)
from .errors import ConnectFailed, NotConnected, StatusError, error_for
from .notifications import Notification, NotificationCallback, NotificationStream, _Hub
from .pipeline import Pipeline

Bytes = Union[bytes, bytearray, memoryview]

def _status_error(status: int, command: str) -> StatusError:
    library = _native.sdk()
    return error_for(status, library.TarvixSDK_StatusName(status).decode(),
                     library.TarvixSDK_StatusMessage(status).decode(), command)


@dataclass(frozen=True)
class AdapterInfo:
    """One attached adapter as the host lists it (no connection needed)."""

    index: int
    path: str
    vendor_id: int
    product_id: int
    report_size: int
    serial_number: Optional[str]
    manufacturer: str
    product: str


@dataclass(frozen=True)
class DeviceInfo:
    """The adapter's five USB strings."""

    manufacturer: str
    product: str
    serial_number: str
    firmware_version: str
    hardware_version: str


@dataclass(frozen=True)
class I3cTarget:
    """One entry of the adapter's I3C target table (the 16-byte record)."""

    static_address: int = 0
    dynamic_address: int = 0
    pid: bytes = bytes(6)
    bcr: int = 0
    dcr: int = 0
    extra_word1: int = 0
    extra_word2: int = 0
    extra_byte1: int = 0
    extra_byte2: int = 0

    def _record(self) -> _native.I3cTargetRecord:
        if len(self.pid) != 6:
            raise ValueError("an I3C PID is 6 bytes, got %d" % len(self.pid))
        return _native.I3cTargetRecord(self.static_address, self.dynamic_address, (ctypes.c_uint8 * 6)(*self.pid),
                                       self.bcr, self.dcr, self.extra_word1, self.extra_word2, self.extra_byte1,
                                       self.extra_byte2)

    @classmethod
    def _from_record(cls, record: _native.I3cTargetRecord) -> "I3cTarget":
        return cls(record.staticAddress, record.dynamicAddress, bytes(record.pid), record.bcr, record.dcr,
                   record.extraWord1, record.extraWord2, record.extraByte1, record.extraByte2)


@dataclass(frozen=True)
class MaxReadLength:
    """GETMRL: the maximum read length and, if the target gave one, its maximum IBI payload size."""

    max_read_length: int
    max_ibi_payload_size: Optional[int]


def version() -> str:
    """The library's version text ("1.3.0")."""
    return _native.sdk().TarvixSDK_GetVersion().decode()


def list_adapters() -> List[AdapterInfo]:
    """The supported adapters attached now, in the order `Adapter(index=...)` counts them."""
    library = _native.sdk()
    count = ctypes.c_size_t(0)
    while True:
        capacity = count.value
        records = (_native.AdapterInfoRecord * max(capacity, 1))()
        status = library.TarvixSDK_ListAdapters(records if capacity else None, capacity, ctypes.byref(count))
        if status:
            raise _status_error(status, "list_adapters")
        if count.value <= capacity:  # else one was plugged in meanwhile: ask again
            break
    return [AdapterInfo(i, r.path.decode(errors="replace"), r.vendorId, r.productId, r.reportSize,
                        r.serialNumber.decode(errors="replace") if r.hasSerialNumber else None,
                        r.manufacturer.decode(errors="replace"), r.product.decode(errors="replace"))
            for i, r in enumerate(records[:count.value])]


def _destroy(handle: int, hub: _Hub) -> None:
    # Destroy joins the reader thread, so no notification callback runs after it; ctypes releases
    # the interpreter lock for the call, so a callback still running can finish meanwhile.
    _native.sdk().TarvixSDK_Destroy(handle)
    hub.close()


class Adapter:
    """A session with one adapter, connected on construction.

    Use it as a context manager (or call `close()`)::

        with tarvix.Adapter(serial="TVX-0001", timeout=1.0) as dev:
            print(dev.i2c.scan(bus=0))

    Choose the adapter with at most one of `serial`, `path`, `index` (from `list_adapters()`) or
    `selector` ("serial:S", "path:P" or an index as text); none takes the first one attached.
    `timeout` is how long a command waits for its answer, in seconds (None: without limit).

    The safeties are on by default: a command takes only its own answer (`match_responses`), an
    unplugged adapter fails a waiting command at once with NotConnected (`detect_removal`), and no
    other session may open the adapter meanwhile (`exclusive`); and reports are read on a thread
    of their own, so that a callback held up by the interpreter loses no report (`queue_reports`).

    Commands raise a StatusError subclass when they fail (DeviceError for the adapter's own
    statuses, NoResponse, NotConnected, InvalidArgument...). One Adapter may be used from several
    threads: its commands run one at a time.
    """

    def __init__(self, selector: Optional[str] = None, *, serial: Optional[str] = None, path: Optional[str] = None,
                 index: Optional[int] = None, timeout: Optional[float] = 1.0, match_responses: bool = True,
                 detect_removal: bool = True, exclusive: bool = True, queue_reports: bool = True,
                 notification_buffer: int = 65536) -> None:
        chosen = [text for text in (selector, serial and "serial:" + serial, path and "path:" + path,
                                    None if index is None else str(int(index))) if text]
        if len(chosen) > 1:
            raise ValueError("choose the adapter with at most one of selector, serial, path and index")
        if timeout is not None and not 0 <= timeout * 1000 < 2**31:
            raise ValueError("timeout must be a number of seconds >= 0, or None")
        if notification_buffer < 1:
            raise ValueError("notification_buffer must be at least 1")
        library = _native.sdk()
        options = _native.SessionOptions(match_responses, detect_removal, exclusive, queue_reports)
        handle = library.TarvixSDK_CreateWithOptions(-1 if timeout is None else int(timeout * 1000), options)
        if not handle:
            raise MemoryError("the SDK could not create a session")
        self.timeout = timeout
        self._lock = threading.RLock()
        self._handle: Optional[int] = handle
        self._hub = _Hub(notification_buffer)
        self._pipelines: "weakref.WeakSet[Pipeline]" = weakref.WeakSet()
        self._finalizer = weakref.finalize(self, _destroy, handle, self._hub)
        library.TarvixSDK_onNotificationEx(handle, self._hub.c_callback, None)
        if not library.TarvixSDK_ConnectTo(handle, chosen[0].encode() if chosen else None):
            reason = ConnectReason(library.TarvixSDK_LastConnectError(handle))
            message = library.TarvixSDK_LastConnectErrorMessage(handle).decode(errors="replace")
            self.close()
            raise ConnectFailed(reason, message)
        self.gpio = Gpio(self)
        self.i2c = I2c(self)
        self.spi = Spi(self)
        self.uart = Uart(self)
        self.rails = Rails(self)
        self.i3c = I3c(self)

    # -- lifecycle ---------------------------------------------------------------------------

    def close(self) -> None:
        """Disconnects and frees the session; commands raise NotConnected afterwards. Idempotent."""
        with self._lock:
            self._handle = None
            for pipeline in list(self._pipelines):  # freed before the handle they belong to
                pipeline.close()
        self._finalizer()

    @property
    def closed(self) -> bool:
        return self._handle is None

    def __enter__(self) -> "Adapter":
        return self

    def __exit__(self, *exc_info: Any) -> None:
        self.close()

    # -- the one path of every command -------------------------------------------------------

    def _call(self, command: str, function: str, *arguments: Any) -> None:
        """Calls flat function `function` with this session's handle; raises on a non-zero status."""
        _native.check_fits(command, function, arguments)
        with self._lock:
            status = getattr(_native.sdk(), function)(self._require_handle(command), *arguments)
        if status:
            raise _status_error(status, command)

    def _require_handle(self, command: str) -> int:
        if self._handle is None:
            raise NotConnected(0x4000, "NOT_CONNECTED", "the adapter has been closed", command)
        return self._handle

    def pipeline(self, window: int = 8) -> "Pipeline":
        """A `Pipeline` on this adapter: commands queued, then sent back to back by `run()` with
        up to `window` (1..64) in flight, each answer matched to its request."""
        return Pipeline(self, window)

    # -- device ------------------------------------------------------------------------------

    def info(self) -> DeviceInfo:
        """The adapter's USB strings (manufacturer, product, serial number, versions)."""
        record = _native.DeviceInfoRecord()
        self._call("info", "TarvixSDK_GetDeviceInfo", ctypes.byref(record))
        try:
            texts = [ctypes.string_at(getattr(record, "usbString%d" % i), getattr(record, "usbString%dLength" % i))
                     .decode("utf-8", errors="replace") for i in range(1, 6)]
        finally:
            _native.sdk().TarvixSDK_FreeDeviceInfo(ctypes.byref(record))
        return DeviceInfo(*texts)

    def reset(self) -> None:
        """Restarts the adapter (it answers nothing; expect it back after its restart time)."""
        self._call("reset", "TarvixSDK_ResetDevice")

    def enter_boot_mode(self) -> None:
        self._call("enter_boot_mode", "TarvixSDK_EnterBootMode")

    # -- notifications -----------------------------------------------------------------------

    def notifications(self, timeout: Optional[float] = 1.0) -> NotificationStream:
        """Iterates over notifications (oldest first, also those already waiting); ends after
        `timeout` seconds without one (None: only when the adapter is closed)."""
        return NotificationStream(self._hub, timeout)

    def on_notification(self, callback: NotificationCallback) -> NotificationCallback:
        """Calls `callback(event)` for every notification from now on, on the package's
        notification thread (never on the library's reader thread), in order. The callback may
        call this adapter's commands. Returns it, so it may be used as a decorator. Events
        also stay queued for `notifications()`."""
        self._hub.add_callback(callback)
        return callback

    def remove_notification_callback(self, callback: NotificationCallback) -> None:
        self._hub.remove_callback(callback)

    @property
    def dropped_notifications(self) -> int:
        """Notifications dropped because the queue of `notifications()` was full."""
        return self._hub.dropped

    @property
    def callback_errors(self) -> List[BaseException]:
        """Exceptions raised by notification callbacks (each also printed to stderr)."""
        return list(self._hub.callback_errors)


def _buffer(size: int) -> "ctypes.Array[ctypes.c_uint8]":
    return (ctypes.c_uint8 * max(size, 1))()


class _Family:
    def __init__(self, adapter: Adapter) -> None:
        self._adapter = adapter

    def _call(self, command: str, function: str, *arguments: Any) -> None:
        self._adapter._call(command, function, *arguments)


class Gpio(_Family):
    """GPIO pins 0..7."""

    def configure(self, pin: int, function: GpioFunction, level: Optional[GpioLevel] = None) -> None:
        """Sets the pin's function; an output starts at `level` (LOW when None)."""
        self._call("gpio.configure", "TarvixSDK_GpioConfigurePin", pin, function, level is not None, level or 0)

    def write(self, pin: int, level: Union[GpioLevel, bool, int]) -> None:
        self._call("gpio.write", "TarvixSDK_GpioDigitalWrite", pin, int(level))

    def read(self, pin: int) -> GpioLevel:
        level = ctypes.c_uint32(0)
        self._call("gpio.read", "TarvixSDK_GpioDigitalRead", pin, ctypes.byref(level))
        return GpioLevel(level.value & 1)

    def arm_interrupt(self, pin: int, trigger: GpioTrigger = GpioTrigger.BOTH_EDGES) -> None:
        """Raises a GpioInterrupt notification on each matching edge (configure the pin as
        DIGITAL_INTERRUPT first)."""
        self._call("gpio.arm_interrupt", "TarvixSDK_GpioConfigureInterrupt", pin, trigger)

    def disarm_interrupt(self, pin: int) -> None:
        self._call("gpio.disarm_interrupt", "TarvixSDK_GpioDisableInterrupt", pin)


class Rails(_Family):
    """The supply rails: SHARED (I2C, SPI, UART, GPIO) and I3C, in millivolts."""

    def shared_voltage(self) -> int:
        voltage = ctypes.c_uint16(0)
        self._call("rails.shared_voltage", "TarvixSDK_GpioGetVoltage", ctypes.byref(voltage))
        return voltage.value

    def i3c_voltages(self) -> Tuple[int, int]:
        """The two measurements of the I3C rail."""
        first, second = ctypes.c_uint16(0), ctypes.c_uint16(0)
        self._call("rails.i3c_voltages", "TarvixSDK_I3cGetBusVoltage", ctypes.byref(first), ctypes.byref(second))
        return first.value, second.value

    def set_shared(self, millivolts: int, flag: bool = False) -> None:
        self._call("rails.set_shared", "TarvixSDK_GpioSetVoltage", millivolts, flag)

    def set_i3c(self, millivolts: int) -> None:
        self._call("rails.set_i3c", "TarvixSDK_I3cSetBusVoltage", millivolts)

    def use_external(self, rail: Rail, external: bool = True) -> None:
        """Takes `rail`'s supply from outside (True) or from the adapter's regulator (False)."""
        function = "TarvixSDK_GpioUseExternalVoltage" if rail == Rail.SHARED else "TarvixSDK_I3cUseExternalVoltage"
        self._call("rails.use_external", function, external)


class I2c(_Family):
    """The two I2C controllers (bus 0 and 1)."""

    def init(self, bus: int = 0, frequency: int = 100_000, option: int = 0) -> None:
        self._call("i2c.init", "TarvixSDK_I2cControllerInit", bus, frequency, option)

    def set_parameters(self, bus: int = 0, frequency: int = 100_000, option: int = 0) -> None:
        self._call("i2c.set_parameters", "TarvixSDK_I2cSetParameters", bus, frequency, option)

    def set_pull_ups(self, bus: int, selection: int) -> None:
        """Pull-up selection 0 (none) to 3."""
        self._call("i2c.set_pull_ups", "TarvixSDK_I2cSetPullUpResistors", bus, selection)

    def read(self, address: int, length: int, register: Bytes = b"", bus: int = 0, flag: bool = False) -> bytes:
        """Reads `length` bytes from `address`, after writing the 0..4 `register` bytes."""
        data = _buffer(length)
        register = bytes(register)
        self._call("i2c.read", "TarvixSDK_I2cRead", bus, address, register or None, min(len(register), 255), length,
                   data, flag)
        return bytes(data[:length])

    def write(self, address: int, data: Bytes, register: Bytes = b"", bus: int = 0, flag: bool = False) -> None:
        data, register = bytes(data), bytes(register)
        self._call("i2c.write", "TarvixSDK_I2cWrite", bus, address, register or None, min(len(register), 255),
                   data or None, len(data), flag)

    def scan(self, bus: int = 0, flag: bool = False) -> List[int]:
        """The addresses that answered: 7-bit ones, then 10-bit ones."""
        found = _buffer(255)
        one, two = ctypes.c_uint8(0), ctypes.c_uint8(0)
        self._call("i2c.scan", "TarvixSDK_I2cScanBus", found, 255, ctypes.byref(one), ctypes.byref(two), bus, flag)
        count = one.value
        wide = [found[count + 2 * i] << 8 | found[count + 2 * i + 1] for i in range(two.value)]
        return list(found[:count]) + wide


class Spi(_Family):
    """The SPI controller."""

    def init(self, bit_order: SpiBitOrder = SpiBitOrder.MSB_FIRST, mode: SpiMode = SpiMode.MODE_0,
             data_width: SpiDataWidth = SpiDataWidth.BITS_8, chip_select: SpiChipSelect = SpiChipSelect.CS_0,
             polarity: SpiChipSelectPolarity = SpiChipSelectPolarity.ACTIVE_LOW, frequency: int = 1_000_000) -> None:
        self._call("spi.init", "TarvixSDK_SpiControllerInit", bit_order, mode, data_width, chip_select, polarity,
                   frequency)

    def set_parameters(self, bit_order: SpiBitOrder = SpiBitOrder.MSB_FIRST, mode: SpiMode = SpiMode.MODE_0,
                       data_width: SpiDataWidth = SpiDataWidth.BITS_8, chip_select: SpiChipSelect = SpiChipSelect.CS_0,
                       polarity: SpiChipSelectPolarity = SpiChipSelectPolarity.ACTIVE_LOW,
                       frequency: int = 1_000_000) -> None:
        self._call("spi.set_parameters", "TarvixSDK_SpiSetParameters", bit_order, mode, data_width, chip_select,
                   polarity, frequency)

    def transfer(self, data: Bytes = b"", length: Optional[int] = None) -> bytes:
        """Sends `data` and clocks `length` bytes (default: as many as sent); returns those read."""
        data = bytes(data)
        count = len(data) if length is None else length
        received = _buffer(count)
        self._call("spi.transfer", "TarvixSDK_SpiTransfer", data or None, len(data), received, count)
        return bytes(received[:count])


class Uart(_Family):
    """The UART. Received bytes arrive as UartData notifications."""

    def init(self, baud_rate: UartBaudRate = UartBaudRate.BAUD_115200,
             handshake: UartHandshake = UartHandshake.DISABLED, parity: UartParity = UartParity.NONE,
             data_size: UartDataSize = UartDataSize.BITS_8, stop_bits: UartStopBits = UartStopBits.ONE) -> None:
        self._call("uart.init", "TarvixSDK_UartInit", baud_rate, handshake, parity, data_size, stop_bits)

    def set_parameters(self, baud_rate: UartBaudRate = UartBaudRate.BAUD_115200,
                       handshake: UartHandshake = UartHandshake.DISABLED, parity: UartParity = UartParity.NONE,
                       data_size: UartDataSize = UartDataSize.BITS_8,
                       stop_bits: UartStopBits = UartStopBits.ONE) -> None:
        self._call("uart.set_parameters", "TarvixSDK_UartSetParameters", baud_rate, handshake, parity, data_size,
                   stop_bits)

    def deinit(self) -> None:
        self._call("uart.deinit", "TarvixSDK_UartDeinit")

    def send(self, data: Bytes) -> None:
        data = bytes(data)
        self._call("uart.send", "TarvixSDK_UartSendMessage", data or None, len(data))


class I3c(_Family):
    """The I3C controller: bus set-up, target table, private transfers and the named CCCs.

    CCCs that exist as broadcast and direct take `address=None` for the broadcast form.
    """

    def init(self, push_pull: I3cPushPullRate = I3cPushPullRate.RATE_12_5_MHZ,
             open_drain: I3cOpenDrainRate = I3cOpenDrainRate.RATE_2_5_MHZ,
             i2c_rate: I2cTransferRate = I2cTransferRate.RATE_400_KHZ,
             drive: I3cDriveStrength = I3cDriveStrength.NORMAL) -> None:
        self._call("i3c.init", "TarvixSDK_I3cControllerInit", push_pull, open_drain, i2c_rate, drive)

    def set_parameters(self, push_pull: I3cPushPullRate = I3cPushPullRate.RATE_12_5_MHZ,
                       open_drain: I3cOpenDrainRate = I3cOpenDrainRate.RATE_2_5_MHZ,
                       i2c_rate: I2cTransferRate = I2cTransferRate.RATE_400_KHZ,
                       drive: I3cDriveStrength = I3cDriveStrength.NORMAL) -> None:
        self._call("i3c.set_parameters", "TarvixSDK_I3cSetParameters", push_pull, open_drain, i2c_rate, drive)

    # -- bus and target table --

    def init_bus(self, targets: Tuple[I3cTarget, ...] = ()) -> None:
        if len(targets) > 255:
            raise ValueError("i3c.init_bus: at most 255 targets")
        records = (_native.I3cTargetRecord * max(len(targets), 1))(*[t._record() for t in targets])
        self._call("i3c.init_bus", "TarvixSDK_I3cInitBus", records, len(targets))

    def reset_bus(self) -> None:
        self._call("i3c.reset_bus", "TarvixSDK_I3cResetBus")

    def device_table(self) -> List[I3cTarget]:
        records = (_native.I3cTargetRecord * 255)()
        count = ctypes.c_uint8(0)
        self._call("i3c.device_table", "TarvixSDK_I3cGetDeviceTable", records, 255, ctypes.byref(count))
        return [I3cTarget._from_record(record) for record in records[:count.value]]

    def set_target_configuration(self, address: int, configuration: int) -> None:
        self._call("i3c.set_target_configuration", "TarvixSDK_I3cSetTargetDeviceConfiguration", address,
                   configuration)

    def hdr_exit_pattern(self) -> None:
        self._call("i3c.hdr_exit_pattern", "TarvixSDK_I3cHdrExitPattern")

    def target_reset_pattern(self) -> None:
        self._call("i3c.target_reset_pattern", "TarvixSDK_I3cTargetResetPattern")

    # -- private transfers --

    def sdr_read(self, address: int, length: int, register: Bytes = b"",
                 flags: I3cTransferFlags = I3cTransferFlags.NONE) -> bytes:
        """Reads up to `length` bytes (the target may end the read sooner)."""
        data, count, register = _buffer(length), ctypes.c_uint16(0), bytes(register)
        self._call("i3c.sdr_read", "TarvixSDK_I3cSdrRead", address, register or None, min(len(register), 255), length,
                   data, ctypes.byref(count), flags)
        return bytes(data[:min(count.value, length)])

    def sdr_write(self, address: int, data: Bytes, register: Bytes = b"",
                  flags: I3cTransferFlags = I3cTransferFlags.NONE) -> None:
        data, register = bytes(data), bytes(register)
        self._call("i3c.sdr_write", "TarvixSDK_I3cSdrWrite", address, register or None, min(len(register), 255),
                   data or None, len(data), flags)

    def legacy_i2c_read(self, address: int, length: int, register: Bytes = b"",
                        flags: I3cTransferFlags = I3cTransferFlags.NONE) -> bytes:
        data, register = _buffer(length), bytes(register)
        self._call("i3c.legacy_i2c_read", "TarvixSDK_I3cLegacyI2CRead", address, register or None,
                   min(len(register), 255), length, data, flags)
        return bytes(data[:length])

    def legacy_i2c_write(self, address: int, data: Bytes, register: Bytes = b"",
                         flags: I3cTransferFlags = I3cTransferFlags.NONE) -> None:
        data, register = bytes(data), bytes(register)
        self._call("i3c.legacy_i2c_write", "TarvixSDK_I3cLegacyI2CWrite", address, register or None,
                   min(len(register), 255), data or None, len(data), flags)

    def hdr_ddr_read(self, address: int, command: int, length: int) -> bytes:
        data, count = _buffer(length), ctypes.c_uint16(0)
        self._call("i3c.hdr_ddr_read", "TarvixSDK_I3cHdrDdrRead", address, command, length, ctypes.byref(count), data)
        return bytes(data[:min(count.value, length)])

    def hdr_ddr_write(self, address: int, command: int, data: Bytes) -> None:
        data = bytes(data)
        self._call("i3c.hdr_ddr_write", "TarvixSDK_I3cHdrDdrWrite", address, command, data or None, len(data))

    # -- CCCs: broadcast (address None) or direct --

    def _either(self, name: str, address: Optional[int], *arguments: Any) -> None:
        if address is None:
            self._call("i3c." + name.lower(), "TarvixSDK_I3cCcc%sBroadcast" % name, *arguments)
        else:
            self._call("i3c." + name.lower(), "TarvixSDK_I3cCcc%sDirect" % name, address, *arguments)

    def enec(self, events: int, address: Optional[int] = None) -> None:
        """Enables events (0x01 IBI, 0x02 controller role, 0x08 hot-join)."""
        self._either("ENEC", address, events)

    def disec(self, events: int, address: Optional[int] = None) -> None:
        self._either("DISEC", address, events)

    def entas(self, level: int, address: Optional[int] = None) -> None:
        """ENTAS0..ENTAS3: activity state `level`."""
        if level not in (0, 1, 2, 3):
            raise ValueError("i3c.entas: activity state is 0..3")
        self._either("ENTAS%d" % level, address)

    def setmwl(self, max_write_length: int, address: Optional[int] = None) -> None:
        self._either("SETMWL", address, max_write_length)

    def setmrl(self, max_read_length: int, max_ibi_payload_size: Optional[int] = None,
               address: Optional[int] = None) -> None:
        self._either("SETMRL", address, max_read_length, max_ibi_payload_size is not None, max_ibi_payload_size or 0)

    def setxtime(self, subcommand: int, extra: Optional[Bytes] = None, address: Optional[int] = None) -> None:
        extra = None if extra is None else bytes(extra)
        self._either("SETXTIME", address, subcommand, extra, 0 if extra is None else len(extra))

    def rstgrpa(self, address: Optional[int] = None) -> None:
        self._either("RSTGRPA", address)

    def rstact(self, action: I3cResetAction, address: Optional[int] = None, read: bool = False) -> Optional[int]:
        """RSTACT; a direct read (`read=True`) returns the target's reset time byte."""
        if address is None:
            if read:
                raise ValueError("i3c.rstact: a read is direct only; give the address")
            self._call("i3c.rstact", "TarvixSDK_I3cCccRSTACTBroadcast", action)
            return None
        reset_time = ctypes.c_uint8(0)
        self._call("i3c.rstact", "TarvixSDK_I3cCccRSTACTDirect", address, action, int(read), ctypes.byref(reset_time))
        return reset_time.value if read else None

    def rstdaa(self) -> None:
        self._call("i3c.rstdaa", "TarvixSDK_I3cCccRSTDAA")

    def entdaa(self) -> None:
        """Dynamic address assignment of every target without a dynamic address."""
        self._call("i3c.entdaa", "TarvixSDK_I3cCccENTDAA")

    def setbuscon(self, context: int, extra: Optional[Bytes] = None) -> None:
        extra = None if extra is None else bytes(extra)
        self._call("i3c.setbuscon", "TarvixSDK_I3cCccSETBUSCONBroadcast", context, extra,
                   0 if extra is None else len(extra))

    def setaasa(self, data: Bytes = b"") -> None:
        data = bytes(data)
        self._call("i3c.setaasa", "TarvixSDK_I3cCccSETAASA", data or None, len(data))

    def setdasa(self, static_address: int, dynamic_address: int) -> None:
        self._call("i3c.setdasa", "TarvixSDK_I3cCccSETDASA", static_address, dynamic_address)

    def setnewda(self, address: int, new_address: int) -> None:
        self._call("i3c.setnewda", "TarvixSDK_I3cCccSETNEWDA", address, new_address)

    def setgrpa(self, address: int, group_address: int) -> None:
        self._call("i3c.setgrpa", "TarvixSDK_I3cCccSETGRPADirect", address, group_address)

    def _get_byte(self, name: str, address: int) -> int:
        value = ctypes.c_uint8(0)
        self._call("i3c." + name.lower(), "TarvixSDK_I3cCcc" + name, address, ctypes.byref(value))
        return value.value

    def getbcr(self, address: int) -> int:
        return self._get_byte("GETBCR", address)

    def getdcr(self, address: int) -> int:
        return self._get_byte("GETDCR", address)

    def getmwl(self, address: int) -> int:
        value = ctypes.c_uint16(0)
        self._call("i3c.getmwl", "TarvixSDK_I3cCccGETMWL", address, ctypes.byref(value))
        return value.value

    def getmrl(self, address: int) -> MaxReadLength:
        length, ibi, has_ibi = ctypes.c_uint16(0), ctypes.c_uint8(0), ctypes.c_uint8(0)
        self._call("i3c.getmrl", "TarvixSDK_I3cCccGETMRL", address, ctypes.byref(length), ctypes.byref(ibi),
                   ctypes.byref(has_ibi))
        return MaxReadLength(length.value, ibi.value if has_ibi.value else None)

    def getpid(self, address: int) -> bytes:
        """The target's 48-bit Provisioned ID, most significant byte first."""
        pid = _buffer(6)
        self._call("i3c.getpid", "TarvixSDK_I3cCccGETPID", address, pid)
        return bytes(pid[:6])

    def _get_bytes(self, name: str, address: int, *defining_byte: Any) -> bytes:
        data, count = _buffer(255), ctypes.c_uint8(0)
        self._call("i3c." + name.lower(), "TarvixSDK_I3cCcc" + name, address, data, ctypes.byref(count), *defining_byte)
        return bytes(data[:count.value])

    def getmxds(self, address: int) -> bytes:
        return self._get_bytes("GETMXDS", address)

    def getxtime(self, address: int) -> bytes:
        return self._get_bytes("GETXTIME", address)

    def getcaps(self, address: int, defining_byte: Optional[int] = None) -> bytes:
        return self._get_bytes("GETCAPS", address, defining_byte is not None, defining_byte or 0)

    def getstatus(self, address: int, defining_byte: Optional[int] = None) -> bytes:
        return self._get_bytes("GETSTATUS", address, defining_byte is not None, defining_byte or 0)


__all__ = ["Adapter", "AdapterInfo", "DeviceInfo", "I3cTarget", "MaxReadLength", "Notification", "list_adapters",
           "version", "Gpio", "Rails", "I2c", "Spi", "Uart", "I3c"]
