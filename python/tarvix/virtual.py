"""The virtual adapter: emulated adapters for tests and demonstrations, no hardware needed.

``libtarvix-virtual.so`` implements hidapi's functions over an in-process model of the adapter's
firmware. This module loads it (with RTLD_GLOBAL, before the SDK, so the SDK's hidapi calls reach
it) and drives it through its C control interface::

    import tarvix, tarvix.virtual

    bench = tarvix.virtual.attach(serial="TVX-0001")      # with the default bench
    with tarvix.Adapter(serial="TVX-0001") as dev:
        dev.i2c.init()
        assert dev.i2c.scan() == [0x48, 0x50]
        bench.inject_gpio_interrupt(3)
        event = next(dev.notifications(timeout=1.0))      # GpioInterrupt, event.pin == 3

The default bench: a temperature sensor at 0x48 and a 256-byte EEPROM at 0x50 on I2C bus 0, a
64-KiB NOR flash (JEDEC ID EF 30 10) on SPI chip select 0, GPIO 0 wired to GPIO 1 and the UART
looped back. Use it before the first `tarvix.Adapter` or `tarvix.list_adapters()` of the process.
"""

from __future__ import annotations

import ctypes
import weakref
from dataclasses import dataclass, field
from typing import Any, Dict, List, Optional, Sequence, Tuple

from . import _native
from .enums import I3cEventResult, Rail
from .errors import TarvixError

_c_ptr = _native.c_ptr
_c_u8, _c_u16, _c_u32, _c_size, _c_bool = _native.c_u8, _native.c_u16, _native.c_u32, _native.c_size, _native.c_bool
_p_size = _native.p_size


class VirtualAdapterError(TarvixError, ValueError):
    """The virtual adapter refused a control call (an argument out of range, a path taken...)."""


class _AdapterConfig(ctypes.Structure):
    _fields_ = [("vendorId", _c_u16), ("productId", _c_u16), ("path", ctypes.c_char_p),
                ("serialNumber", ctypes.c_char_p), ("reportSize", _c_size), ("bench", _c_bool)]


class _RailState(ctypes.Structure):
    _fields_ = [("setMillivolts", _c_u16), ("external", _c_bool), ("externalMillivolts", _c_u16),
                ("measuredMillivolts", _c_u16)]


class _I3cTargetConfig(ctypes.Structure):
    _fields_ = [("hasStaticAddress", _c_bool), ("staticAddress", _c_u8), ("pid", ctypes.c_uint64), ("bcr", _c_u8),
                ("dcr", _c_u8), ("maxWriteLength", _c_u16), ("maxReadLength", _c_u16),
                ("hasMaxIbiPayloadSize", _c_bool), ("maxIbiPayloadSize", _c_u8), ("maxDataSpeed", _c_ptr),
                ("maxDataSpeedLength", _c_size), ("capabilities", _c_ptr), ("capabilitiesLength", _c_size),
                ("status", _c_u16), ("extendedTiming", _c_ptr), ("extendedTimingLength", _c_size),
                ("resetTime", _c_u8), ("hdrDdr", _c_bool), ("memory", _c_ptr), ("memoryLength", _c_size)]


class _I3cTargetState(ctypes.Structure):
    _fields_ = [("dynamicAddress", _c_u8), ("enabledEvents", _c_u8), ("maxWriteLength", _c_u16),
                ("maxReadLength", _c_u16), ("hasMaxIbiPayloadSize", _c_bool), ("maxIbiPayloadSize", _c_u8),
                ("resetAction", _c_u8), ("registerPointer", _c_u8), ("pendingIbis", _c_size)]


_A = ctypes.c_void_p  # TarvixVirtual_Adapter*
_I = ctypes.c_int
# fmt: off
_FUNCTIONS: Dict[str, Tuple[object, Sequence[object], bool]] = {
    "TarvixVirtual_LastError": (ctypes.c_char_p, [], False),
    "TarvixVirtual_InitAdapterConfig": (None, [ctypes.POINTER(_AdapterConfig)], False),
    "TarvixVirtual_Attach": (_A, [ctypes.POINTER(_AdapterConfig)], False),
    "TarvixVirtual_Release": (None, [], True),
    "TarvixVirtual_Reset": (None, [], False),
    "TarvixVirtual_Path": (ctypes.c_char_p, [], True),
    "TarvixVirtual_ReportSize": (_c_size, [], True),
    "TarvixVirtual_Unplug": (_I, [], True),
    "TarvixVirtual_UnplugAfterReports": (_I, [_c_size], True),
    "TarvixVirtual_Replug": (_I, [], True),
    "TarvixVirtual_IsPlugged": (_c_bool, [], True),
    "TarvixVirtual_WaitForPlugged": (_c_bool, [_c_u32], True),
    "TarvixVirtual_OpenHandles": (_c_size, [], True),
    "TarvixVirtual_InjectNotification": (_I, [_c_u16, _c_u16, _c_ptr, _c_size], True),
    "TarvixVirtual_SendFrame": (_I, [_c_ptr, _c_size], True),
    "TarvixVirtual_SetResponseDelay": (_I, [_c_u32], True),
    "TarvixVirtual_DropNextResponses": (_I, [_c_size], True),
    "TarvixVirtual_SetWriteFails": (_I, [_c_bool], True),
    "TarvixVirtual_SetOpenError": (_I, [_I], True),
    "TarvixVirtual_RequestCount": (_c_size, [], True),
    "TarvixVirtual_GetRequest": (_I, [_c_size, _c_ptr, _c_size, _p_size], True),
    "TarvixVirtual_ClearRecords": (_I, [], True),
    "TarvixVirtual_SetRecording": (_I, [_c_bool], True),
    "TarvixVirtual_WaitForRequests": (_c_bool, [_c_size, _c_u32], True),
    "TarvixVirtual_GetRailState": (_I, [_c_u8, ctypes.POINTER(_RailState)], True),
    "TarvixVirtual_SetExternalSupply": (_I, [_c_u8, _c_u16], True),
    "TarvixVirtual_GpioWire": (_I, [_c_u8, _c_u8], True),
    "TarvixVirtual_GpioUnwire": (_I, [_c_u8], True),
    "TarvixVirtual_GpioDrive": (_I, [_c_u8, _c_bool], True),
    "TarvixVirtual_GpioLevel": (_I, [_c_u8, _native.p_bool], True),
    "TarvixVirtual_I2cAttachEeprom": (_I, [_c_u8, _c_u8], True),
    "TarvixVirtual_I2cAttachTemperatureSensor": (_I, [_c_u8, _c_u8], True),
    "TarvixVirtual_I2cDetach": (_I, [_c_u8, _c_u8], True),
    "TarvixVirtual_I2cSetTemperature": (_I, [_c_u8, _c_u8, ctypes.c_int32], True),
    "TarvixVirtual_I2cEepromContents": (_I, [_c_u8, _c_u8, _c_ptr, _c_size, _p_size], True),
    "TarvixVirtual_SpiAttachFlash": (_I, [_c_u8], True),
    "TarvixVirtual_SpiDetach": (_I, [_c_u8], True),
    "TarvixVirtual_SpiFlashContents": (_I, [_c_u8, _c_ptr, _c_size, _p_size], True),
    "TarvixVirtual_UartSetLoopback": (_I, [_c_bool], True),
    "TarvixVirtual_UartReceive": (_I, [_c_ptr, _c_size], True),
    "TarvixVirtual_UartIsOpen": (_c_bool, [], True),
    "TarvixVirtual_InitI3cTargetConfig": (None, [ctypes.POINTER(_I3cTargetConfig)], False),
    "TarvixVirtual_I3cAttachTarget": (_I, [ctypes.POINTER(_I3cTargetConfig)], True),
    "TarvixVirtual_I3cAttachLegacyTarget": (_I, [_c_u8, _c_ptr, _c_size], True),
    "TarvixVirtual_I3cClear": (_I, [], True),
    "TarvixVirtual_GetI3cTargetState": (_I, [ctypes.c_uint64, ctypes.POINTER(_I3cTargetState)], True),
    "TarvixVirtual_I3cRaiseIbi": (_I, [ctypes.c_uint64, _c_ptr, _c_size], True),
    "TarvixVirtual_I3cHotJoin": (_I, [ctypes.POINTER(_I3cTargetConfig), _I], True),
    "TarvixVirtual_I3cInHdrMode": (_c_bool, [], True),
}
# fmt: on

_LIMITS = _native.limits(_FUNCTIONS)


def _library() -> ctypes.CDLL:
    return _native.virtual(_FUNCTIONS, _A)


def _check(result: int, what: str) -> int:
    if result < 0:
        raise VirtualAdapterError("%s: %s" % (what, _library().TarvixVirtual_LastError().decode(errors="replace")))
    return result


@dataclass(frozen=True)
class RailState:
    """What the firmware holds for a rail, and what it measures on it (millivolts)."""

    set_millivolts: int
    external: bool
    external_millivolts: int
    measured_millivolts: int


@dataclass
class I3cTargetConfig:
    """One emulated I3C target (see i3c_bus.hpp for what each field makes the target answer)."""

    pid: int
    static_address: Optional[int] = None
    bcr: int = 0x02
    dcr: int = 0x00
    max_write_length: int = 256
    max_read_length: int = 256
    max_ibi_payload_size: Optional[int] = None
    max_data_speed: bytes = b""
    capabilities: bytes = b"\x01"
    status: int = 0
    extended_timing: bytes = b""
    reset_time: int = 0x01
    hdr_ddr: bool = True
    memory: bytes = field(default_factory=lambda: bytes(256))

    def _struct(self) -> _I3cTargetConfig:
        config = _I3cTargetConfig()
        config.hasStaticAddress = self.static_address is not None
        config.staticAddress = self.static_address or 0
        config.pid = self.pid
        config.bcr, config.dcr = self.bcr, self.dcr
        config.maxWriteLength, config.maxReadLength = self.max_write_length, self.max_read_length
        config.hasMaxIbiPayloadSize = self.max_ibi_payload_size is not None
        config.maxIbiPayloadSize = self.max_ibi_payload_size or 0
        config.status, config.resetTime, config.hdrDdr = self.status, self.reset_time, self.hdr_ddr
        # The byte arrays are copied during the call that takes the record.
        for name, data in (("maxDataSpeed", self.max_data_speed), ("capabilities", self.capabilities),
                           ("extendedTiming", self.extended_timing), ("memory", self.memory)):
            setattr(config, name, ctypes.cast(ctypes.c_char_p(bytes(data)), ctypes.c_void_p) if data else None)
            setattr(config, name + "Length", len(data))
        return config


@dataclass(frozen=True)
class I3cTargetState:
    """The state of an emulated I3C target as the bus has left it."""

    dynamic_address: int
    enabled_events: int
    max_write_length: int
    max_read_length: int
    max_ibi_payload_size: Optional[int]
    reset_action: int
    register_pointer: int
    pending_ibis: int


def _release(handle: int) -> None:
    _library().TarvixVirtual_Release(handle)


class VirtualAdapter:
    """One attached emulated adapter (made by `attach`). It stays attached until `reset()`."""

    def __init__(self, handle: int, serial: Optional[str]) -> None:
        self._handle = handle
        self.serial = serial
        library = _library()
        self.path: str = library.TarvixVirtual_Path(handle).decode()
        self.report_size: int = library.TarvixVirtual_ReportSize(handle)
        weakref.finalize(self, _release, handle)

    def __repr__(self) -> str:
        return "VirtualAdapter(serial=%r, path=%r, report_size=%d)" % (self.serial, self.path, self.report_size)

    @property
    def selector(self) -> str:
        """What `tarvix.Adapter(selector=...)` takes to open this adapter."""
        return "path:" + self.path

    def _do(self, function: str, *arguments: Any) -> int:
        wide = _native.too_wide(_LIMITS[function], arguments)
        if wide is not None:
            raise VirtualAdapterError("%s: %r is out of range" % (function, wide[0]))
        return _check(getattr(_library(), function)(self._handle, *arguments), function)

    def _bytes_out(self, function: str, *arguments: Any) -> bytes:
        size = ctypes.c_size_t(0)
        self._do(function, *arguments, None, 0, ctypes.byref(size))
        buffer = (ctypes.c_uint8 * max(size.value, 1))()
        self._do(function, *arguments, buffer, size.value, ctypes.byref(size))
        return bytes(buffer[:size.value])

    # -- plugging --

    def unplug(self) -> None:
        """Pulls the cable: open sessions fail their commands (NotConnected) at once."""
        self._do("TarvixVirtual_Unplug")

    def unplug_after_reports(self, count: int) -> None:
        """Unplugs once `count` more output reports have arrived (0 cancels)."""
        self._do("TarvixVirtual_UnplugAfterReports", count)

    def replug(self) -> None:
        """Plugs it back (a power cycle: settings forgotten, the bench stays). Sessions reconnect."""
        self._do("TarvixVirtual_Replug")

    @property
    def plugged(self) -> bool:
        return bool(_library().TarvixVirtual_IsPlugged(self._handle))

    def wait_for_plugged(self, timeout: float) -> bool:
        return bool(_library().TarvixVirtual_WaitForPlugged(self._handle, _milliseconds(timeout)))

    @property
    def open_handles(self) -> int:
        return int(_library().TarvixVirtual_OpenHandles(self._handle))

    # -- answers and faults --

    def inject_notification(self, code: int, payload: bytes = b"", status: int = 0) -> None:
        """Sends a notification frame now: transaction id 0, `code`, `status`, `payload`."""
        payload = bytes(payload)
        self._do("TarvixVirtual_InjectNotification", code, status, payload or None, len(payload))

    def inject_gpio_interrupt(self, pin: int) -> None:
        """A GPIO interrupt notification for `pin`, whether or not the pin is armed."""
        self.inject_notification(0x1481, bytes([pin]))

    def send_frame(self, frame: bytes) -> None:
        frame = bytes(frame)
        self._do("TarvixVirtual_SendFrame", frame or None, len(frame))

    def set_response_delay(self, seconds: float) -> None:
        """Every following answer is ready `seconds` after its request (0: at once)."""
        self._do("TarvixVirtual_SetResponseDelay", _milliseconds(seconds))

    def drop_next_responses(self, count: int = 1) -> None:
        self._do("TarvixVirtual_DropNextResponses", count)

    def set_write_fails(self, on: bool) -> None:
        self._do("TarvixVirtual_SetWriteFails", on)

    def set_open_error(self, errno_value: int) -> None:
        """Opening fails as the kernel would with `errno_value` (errno.EACCES...); 0 turns it off."""
        self._do("TarvixVirtual_SetOpenError", errno_value)

    # -- the request record --

    def requests(self) -> List[bytes]:
        """Every request frame (transaction id, code, payload) since the last `clear_records()`."""
        count = _library().TarvixVirtual_RequestCount(self._handle)
        return [self._bytes_out("TarvixVirtual_GetRequest", index) for index in range(count)]

    def clear_records(self) -> None:
        self._do("TarvixVirtual_ClearRecords")

    def set_recording(self, on: bool) -> None:
        self._do("TarvixVirtual_SetRecording", on)

    def wait_for_requests(self, count: int, timeout: float) -> bool:
        return bool(_library().TarvixVirtual_WaitForRequests(self._handle, count, _milliseconds(timeout)))

    # -- rails and GPIO --

    def rail_state(self, rail: Rail) -> RailState:
        state = _RailState()
        self._do("TarvixVirtual_GetRailState", rail, ctypes.byref(state))
        return RailState(state.setMillivolts, state.external, state.externalMillivolts, state.measuredMillivolts)

    def set_external_supply(self, rail: Rail, millivolts: int) -> None:
        self._do("TarvixVirtual_SetExternalSupply", rail, millivolts)

    def gpio_wire(self, a: int, b: int) -> None:
        self._do("TarvixVirtual_GpioWire", a, b)

    def gpio_unwire(self, pin: int) -> None:
        self._do("TarvixVirtual_GpioUnwire", pin)

    def gpio_drive(self, pin: int, high: bool) -> None:
        """Drives `pin` from outside; an armed pin fires on a matching edge."""
        self._do("TarvixVirtual_GpioDrive", pin, high)

    def gpio_level(self, pin: int) -> bool:
        level = ctypes.c_bool(False)
        self._do("TarvixVirtual_GpioLevel", pin, ctypes.byref(level))
        return level.value

    # -- I2C, SPI, UART targets --

    def i2c_attach_eeprom(self, address: int, bus: int = 0) -> None:
        self._do("TarvixVirtual_I2cAttachEeprom", bus, address)

    def i2c_attach_temperature_sensor(self, address: int, bus: int = 0) -> None:
        self._do("TarvixVirtual_I2cAttachTemperatureSensor", bus, address)

    def i2c_detach(self, address: int, bus: int = 0) -> None:
        self._do("TarvixVirtual_I2cDetach", bus, address)

    def i2c_set_temperature(self, address: int, celsius: float, bus: int = 0) -> None:
        self._do("TarvixVirtual_I2cSetTemperature", bus, address, int(round(celsius * 1000)))

    def i2c_eeprom_contents(self, address: int, bus: int = 0) -> bytes:
        return self._bytes_out("TarvixVirtual_I2cEepromContents", bus, address)

    def spi_attach_flash(self, chip_select: int = 0) -> None:
        self._do("TarvixVirtual_SpiAttachFlash", chip_select)

    def spi_detach(self, chip_select: int = 0) -> None:
        self._do("TarvixVirtual_SpiDetach", chip_select)

    def spi_flash_contents(self, chip_select: int = 0) -> bytes:
        return self._bytes_out("TarvixVirtual_SpiFlashContents", chip_select)

    def uart_set_loopback(self, on: bool) -> None:
        self._do("TarvixVirtual_UartSetLoopback", on)

    def uart_receive(self, data: bytes) -> bool:
        """The far end sends `data`: True when the port is open (UartData notifications follow)."""
        data = bytes(data)
        return self._do("TarvixVirtual_UartReceive", data or None, len(data)) == 1

    @property
    def uart_open(self) -> bool:
        return bool(_library().TarvixVirtual_UartIsOpen(self._handle))

    # -- I3C --

    def i3c_attach_target(self, config: I3cTargetConfig) -> None:
        """Attaches an I3C target without dynamic address (ENTDAA or SETDASA gives it one)."""
        self._do("TarvixVirtual_I3cAttachTarget", ctypes.byref(config._struct()))

    def i3c_attach_legacy_target(self, address: int, memory: bytes = bytes(256)) -> None:
        memory = bytes(memory)
        self._do("TarvixVirtual_I3cAttachLegacyTarget", address, memory or None, len(memory))

    def i3c_clear(self) -> None:
        self._do("TarvixVirtual_I3cClear")

    def i3c_target(self, pid: int) -> I3cTargetState:
        state = _I3cTargetState()
        self._do("TarvixVirtual_GetI3cTargetState", pid, ctypes.byref(state))
        return I3cTargetState(state.dynamicAddress, state.enabledEvents, state.maxWriteLength, state.maxReadLength,
                              state.maxIbiPayloadSize if state.hasMaxIbiPayloadSize else None, state.resetAction,
                              state.registerPointer, state.pendingIbis)

    def i3c_raise_ibi(self, pid: int, payload: bytes = b"") -> I3cEventResult:
        payload = bytes(payload)
        return I3cEventResult(self._do("TarvixVirtual_I3cRaiseIbi", pid, payload or None, len(payload)))

    def i3c_hot_join(self, config: I3cTargetConfig, assign_at_once: bool = False) -> I3cEventResult:
        return I3cEventResult(self._do("TarvixVirtual_I3cHotJoin", ctypes.byref(config._struct()),
                                       1 if assign_at_once else 0))

    @property
    def i3c_in_hdr_mode(self) -> bool:
        return bool(_library().TarvixVirtual_I3cInHdrMode(self._handle))


def _milliseconds(seconds: float) -> int:
    if not 0 <= seconds <= 0xFFFFFFFF / 1000:
        raise VirtualAdapterError("a time of %r seconds is out of range" % seconds)
    return int(round(seconds * 1000))


def load() -> None:
    """Loads the virtual adapter's library now (ahead of the SDK); attach() and reset() do it too."""
    _library()


def attach(serial: Optional[str] = "TVX-0001", report_size: int = 64, *, bench: bool = True,
           path: Optional[str] = None) -> VirtualAdapter:
    """Plugs in a new emulated adapter.

    `serial` None makes one without serial number; `report_size` 64 is the full-speed model
    (USB ID 1fc9:82fc), 1024 the high-speed one (1fc9:82fd); `bench` False leaves its buses empty;
    `path` None makes up a unique hidapi path ("virtual/N").
    """
    if report_size not in (64, 1024):
        raise VirtualAdapterError("report_size must be 64 or 1024")
    library = _library()
    config = _AdapterConfig()
    library.TarvixVirtual_InitAdapterConfig(ctypes.byref(config))
    config.productId = 0x82FD if report_size == 1024 else 0x82FC
    config.serialNumber = None if serial is None else serial.encode("utf-8")
    config.path = None if path is None else path.encode("utf-8")
    config.bench = bench
    handle = library.TarvixVirtual_Attach(ctypes.byref(config))
    if not handle:
        raise VirtualAdapterError("attach: %s" % library.TarvixVirtual_LastError().decode(errors="replace"))
    return VirtualAdapter(handle, serial)


def reset() -> None:
    """Unplugs and forgets every emulated adapter (between tests)."""
    _library().TarvixVirtual_Reset()


__all__ = ["VirtualAdapter", "VirtualAdapterError", "I3cTargetConfig", "I3cTargetState", "RailState", "attach",
           "reset", "load"]
