"""Loading libtarvixsdk.so (and the virtual adapter's library) and the C signatures of their functions.

Where a library is looked for, in order:

1. the environment override (``TARVIX_LIBRARY``, ``TARVIX_VIRTUAL_LIBRARY``): a file path;
2. next to the package (``tarvix/libtarvixsdk.so`` or ``tarvix/lib/...``), for a bundled copy;
3. the system's library path (ldconfig's cache, ``LD_LIBRARY_PATH``), as an installed SDK is found.

The SDK is loaded on first use, not at import, so that ``tarvix.virtual`` can load the virtual
adapter with RTLD_GLOBAL ahead of it: the SDK's hid_* references then bind to the virtual
adapter's definitions instead of the real hidapi's.
"""

from __future__ import annotations

import ctypes
import ctypes.util
import os
import threading
from pathlib import Path
from typing import Any, Dict, List, Optional, Sequence, Tuple

from .errors import LibraryNotFound

SDK_ENVIRONMENT = "TARVIX_LIBRARY"
VIRTUAL_ENVIRONMENT = "TARVIX_VIRTUAL_LIBRARY"

_lock = threading.Lock()
_sdk: Optional[ctypes.CDLL] = None
_virtual: Optional[ctypes.CDLL] = None

c_u8 = ctypes.c_uint8
c_u16 = ctypes.c_uint16
c_u32 = ctypes.c_uint32
c_bool = ctypes.c_bool
c_size = ctypes.c_size_t
c_ptr = ctypes.c_void_p  # any byte buffer, in or out: bytes, a ctypes array, or None
p_u8 = ctypes.POINTER(c_u8)
p_u16 = ctypes.POINTER(c_u16)
p_u32 = ctypes.POINTER(c_u32)
p_size = ctypes.POINTER(c_size)
p_bool = ctypes.POINTER(c_bool)


class SessionOptions(ctypes.Structure):
    _fields_ = [("matchResponses", c_bool), ("detectRemoval", c_bool), ("exclusive", c_bool),
                ("queueReports", c_bool)]


class NotificationRecord(ctypes.Structure):
    """The leading fields of the C Notification record; the rest is read by the library's views."""

    _fields_ = [("kind", c_u32), ("data", ctypes.POINTER(c_u8)), ("length", c_size)]


class GpioView(ctypes.Structure):
    _fields_ = [("pinNumber", c_u8)]


class IbiView(ctypes.Structure):
    _fields_ = [("targetAddress", c_u8), ("payload", ctypes.POINTER(c_u8)), ("payloadLength", c_size)]


class HotJoinView(ctypes.Structure):
    _fields_ = [("provisionalId", c_u8 * 6), ("bcr", c_u8), ("dcr", c_u8), ("dynamicAddress", c_u8)]


class UartRxView(ctypes.Structure):
    _fields_ = [("data", ctypes.POINTER(c_u8)), ("dataLength", c_size)]


class I3cTargetRecord(ctypes.Structure):
    """The 16-byte I3C target record, identical in memory and on the wire."""

    _fields_ = [
        ("staticAddress", c_u8),
        ("dynamicAddress", c_u8),
        ("pid", c_u8 * 6),
        ("bcr", c_u8),
        ("dcr", c_u8),
        ("extraWord1", c_u16),
        ("extraWord2", c_u16),
        ("extraByte1", c_u8),
        ("extraByte2", c_u8),
    ]


class DeviceInfoRecord(ctypes.Structure):
    _fields_ = [(name, kind) for index in range(1, 6)
                for name, kind in (("usbString%d" % index, ctypes.POINTER(ctypes.c_char)),
                                   ("usbString%dLength" % index, c_size))]


class AdapterInfoRecord(ctypes.Structure):
    _fields_ = [
        ("path", ctypes.c_char * 256),
        ("vendorId", c_u16),
        ("productId", c_u16),
        ("reportSize", c_size),
        ("hasSerialNumber", c_bool),
        ("serialNumber", ctypes.c_char * 128),
        ("manufacturer", ctypes.c_char * 128),
        ("product", ctypes.c_char * 128),
    ]


NOTIFICATION_CALLBACK = ctypes.CFUNCTYPE(None, ctypes.POINTER(NotificationRecord), ctypes.c_void_p)

H = ctypes.c_void_p  # TarvixSDK_Handle*
S = c_u16  # StatusCode
E = c_u32  # an enumeration

# fmt: off
_SDK_FUNCTIONS: Dict[str, Tuple[object, Sequence[object], bool]] = {
    # name: (result type, argument types after the handle, takes a handle first)
    "TarvixSDK_ListAdapters": (S, [ctypes.POINTER(AdapterInfoRecord), c_size, p_size], False),
    "TarvixSDK_GetVersion": (ctypes.c_char_p, [], False),
    "TarvixSDK_StatusName": (ctypes.c_char_p, [S], False),
    "TarvixSDK_StatusMessage": (ctypes.c_char_p, [S], False),
    "TarvixSDK_CreateWithOptions": (H, [ctypes.c_int, ctypes.POINTER(SessionOptions)], False),
    "TarvixSDK_Destroy": (None, [], True),
    "TarvixSDK_ConnectTo": (c_bool, [ctypes.c_char_p], True),
    "TarvixSDK_Disconnect": (None, [], True),
    "TarvixSDK_LastConnectError": (c_u32, [], True),
    "TarvixSDK_LastConnectErrorMessage": (ctypes.c_char_p, [], True),
    "TarvixSDK_GetDeviceInfo": (S, [ctypes.POINTER(DeviceInfoRecord)], True),
    "TarvixSDK_FreeDeviceInfo": (None, [ctypes.POINTER(DeviceInfoRecord)], False),
    "TarvixSDK_onNotificationEx": (None, [NOTIFICATION_CALLBACK, ctypes.c_void_p], True),
    "TarvixSDK_notificationAsGpio": (c_bool, [ctypes.POINTER(NotificationRecord), ctypes.POINTER(GpioView)], False),
    "TarvixSDK_notificationAsI3cIbi": (c_bool, [ctypes.POINTER(NotificationRecord), ctypes.POINTER(IbiView)], False),
    "TarvixSDK_notificationAsI3cHotJoin": (c_bool, [ctypes.POINTER(NotificationRecord), ctypes.POINTER(HotJoinView)], False),
    "TarvixSDK_notificationAsUartRx": (c_bool, [ctypes.POINTER(NotificationRecord), ctypes.POINTER(UartRxView)], False),
    "TarvixSDK_EnterBootMode": (S, [], True),
    "TarvixSDK_ResetDevice": (S, [], True),
    "TarvixSDK_GpioConfigurePin": (S, [E, E, c_bool, E], True),
    "TarvixSDK_GpioConfigureInterrupt": (S, [E, E], True),
    "TarvixSDK_GpioDigitalRead": (S, [E, p_u32], True),
    "TarvixSDK_GpioDigitalWrite": (S, [E, E], True),
    "TarvixSDK_GpioDisableInterrupt": (S, [E], True),
    "TarvixSDK_GpioGetVoltage": (S, [p_u16], True),
    "TarvixSDK_GpioSetVoltage": (S, [c_u16, c_bool], True),
    "TarvixSDK_GpioUseExternalVoltage": (S, [c_bool], True),
    "TarvixSDK_I3cGetBusVoltage": (S, [p_u16, p_u16], True),
    "TarvixSDK_I3cSetBusVoltage": (S, [c_u16], True),
    "TarvixSDK_I3cUseExternalVoltage": (S, [c_bool], True),
    "TarvixSDK_I2cControllerInit": (S, [c_u8, c_u32, c_u8], True),
    "TarvixSDK_I2cSetParameters": (S, [c_u8, c_u32, c_u8], True),
    "TarvixSDK_I2cSetPullUpResistors": (S, [c_u8, c_u8], True),
    "TarvixSDK_I2cRead": (S, [c_u8, c_u8, c_ptr, c_u8, c_u16, c_ptr, c_bool], True),
    "TarvixSDK_I2cWrite": (S, [c_u8, c_u8, c_ptr, c_u8, c_ptr, c_u32, c_bool], True),
    "TarvixSDK_I2cScanBus": (S, [c_ptr, c_u8, p_u8, p_u8, c_u8, c_bool], True),
    "TarvixSDK_SpiControllerInit": (S, [E, E, E, E, E, c_u32], True),
    "TarvixSDK_SpiSetParameters": (S, [E, E, E, E, E, c_u32], True),
    "TarvixSDK_SpiTransfer": (S, [c_ptr, c_u16, c_ptr, c_u16], True),
    "TarvixSDK_UartInit": (S, [E, E, E, E, E], True),
    "TarvixSDK_UartSetParameters": (S, [E, E, E, E, E], True),
    "TarvixSDK_UartDeinit": (S, [], True),
    "TarvixSDK_UartSendMessage": (S, [c_ptr, c_u16], True),
    "TarvixSDK_I3cControllerInit": (S, [E, E, E, E], True),
    "TarvixSDK_I3cSetParameters": (S, [E, E, E, E], True),
    "TarvixSDK_I3cInitBus": (S, [ctypes.POINTER(I3cTargetRecord), c_u8], True),
    "TarvixSDK_I3cResetBus": (S, [], True),
    "TarvixSDK_I3cGetDeviceTable": (S, [ctypes.POINTER(I3cTargetRecord), c_u8, p_u8], True),
    "TarvixSDK_I3cSetTargetDeviceConfiguration": (S, [c_u8, c_u8], True),
    "TarvixSDK_I3cHdrExitPattern": (S, [], True),
    "TarvixSDK_I3cTargetResetPattern": (S, [], True),
    "TarvixSDK_I3cSdrRead": (S, [c_u8, c_ptr, c_u8, c_u16, c_ptr, p_u16, E], True),
    "TarvixSDK_I3cSdrWrite": (S, [c_u8, c_ptr, c_u8, c_ptr, c_u16, E], True),
    "TarvixSDK_I3cLegacyI2CRead": (S, [c_u8, c_ptr, c_u8, c_u16, c_ptr, E], True),
    "TarvixSDK_I3cLegacyI2CWrite": (S, [c_u8, c_ptr, c_u8, c_ptr, c_u16, E], True),
    "TarvixSDK_I3cHdrDdrRead": (S, [c_u8, c_u8, c_u16, p_u16, c_ptr], True),
    "TarvixSDK_I3cHdrDdrWrite": (S, [c_u8, c_u8, c_ptr, c_u16], True),
    "TarvixSDK_I3cCccENECBroadcast": (S, [c_u8], True),
    "TarvixSDK_I3cCccDISECBroadcast": (S, [c_u8], True),
    "TarvixSDK_I3cCccENTAS0Broadcast": (S, [], True),
    "TarvixSDK_I3cCccENTAS1Broadcast": (S, [], True),
    "TarvixSDK_I3cCccENTAS2Broadcast": (S, [], True),
    "TarvixSDK_I3cCccENTAS3Broadcast": (S, [], True),
    "TarvixSDK_I3cCccRSTDAA": (S, [], True),
    "TarvixSDK_I3cCccENTDAA": (S, [], True),
    "TarvixSDK_I3cCccSETMWLBroadcast": (S, [c_u16], True),
    "TarvixSDK_I3cCccSETMRLBroadcast": (S, [c_u16, c_bool, c_u8], True),
    "TarvixSDK_I3cCccSETBUSCONBroadcast": (S, [c_u8, c_ptr, c_size], True),
    "TarvixSDK_I3cCccSETXTIMEBroadcast": (S, [c_u8, c_ptr, c_size], True),
    "TarvixSDK_I3cCccSETAASA": (S, [c_ptr, c_size], True),
    "TarvixSDK_I3cCccRSTACTBroadcast": (S, [c_u32], True),
    "TarvixSDK_I3cCccRSTGRPABroadcast": (S, [], True),
    "TarvixSDK_I3cCccENECDirect": (S, [c_u8, c_u8], True),
    "TarvixSDK_I3cCccDISECDirect": (S, [c_u8, c_u8], True),
    "TarvixSDK_I3cCccENTAS0Direct": (S, [c_u8], True),
    "TarvixSDK_I3cCccENTAS1Direct": (S, [c_u8], True),
    "TarvixSDK_I3cCccENTAS2Direct": (S, [c_u8], True),
    "TarvixSDK_I3cCccENTAS3Direct": (S, [c_u8], True),
    "TarvixSDK_I3cCccSETDASA": (S, [c_u8, c_u8], True),
    "TarvixSDK_I3cCccSETNEWDA": (S, [c_u8, c_u8], True),
    "TarvixSDK_I3cCccSETMWLDirect": (S, [c_u8, c_u16], True),
    "TarvixSDK_I3cCccSETMRLDirect": (S, [c_u8, c_u16, c_bool, c_u8], True),
    "TarvixSDK_I3cCccSETXTIMEDirect": (S, [c_u8, c_u8, c_ptr, c_size], True),
    "TarvixSDK_I3cCccSETGRPADirect": (S, [c_u8, c_u8], True),
    "TarvixSDK_I3cCccRSTGRPADirect": (S, [c_u8], True),
    "TarvixSDK_I3cCccRSTACTDirect": (S, [c_u8, c_u32, c_u32, p_u8], True),
    "TarvixSDK_I3cCccGETMWL": (S, [c_u8, p_u16], True),
    "TarvixSDK_I3cCccGETMRL": (S, [c_u8, p_u16, p_u8, p_u8], True),
    "TarvixSDK_I3cCccGETPID": (S, [c_u8, c_ptr], True),
    "TarvixSDK_I3cCccGETBCR": (S, [c_u8, p_u8], True),
    "TarvixSDK_I3cCccGETDCR": (S, [c_u8, p_u8], True),
    "TarvixSDK_I3cCccGETMXDS": (S, [c_u8, c_ptr, p_u8], True),
    "TarvixSDK_I3cCccGETXTIME": (S, [c_u8, c_ptr, p_u8], True),
    "TarvixSDK_I3cCccGETCAPS": (S, [c_u8, c_ptr, p_u8, c_bool, c_u8], True),
    "TarvixSDK_I3cCccGETSTATUS": (S, [c_u8, c_ptr, p_u8, c_bool, c_u8], True),
    # Pipelined calls: the queue functions take the pipeline (not the handle) and a status pointer.
    "TarvixSDK_PipelineCreate": (c_ptr, [c_u32], True),
    "TarvixSDK_PipelineDestroy": (None, [c_ptr], False),
    "TarvixSDK_PipelineI2cRead": (S, [c_ptr, p_u16, c_u8, c_u8, c_ptr, c_u8, c_u16, c_ptr, c_bool], False),
    "TarvixSDK_PipelineI2cWrite": (S, [c_ptr, p_u16, c_u8, c_u8, c_ptr, c_u8, c_ptr, c_u32, c_bool], False),
    "TarvixSDK_PipelineSpiTransfer": (S, [c_ptr, p_u16, c_ptr, c_u16, c_ptr, c_u16], False),
    "TarvixSDK_PipelineGpioDigitalRead": (S, [c_ptr, p_u16, E, p_u32], False),
    "TarvixSDK_PipelineGpioDigitalWrite": (S, [c_ptr, p_u16, E, E], False),
    "TarvixSDK_PipelineRun": (S, [c_ptr], False),
}
# fmt: on


# The largest value of each unsigned C integer type. ctypes cuts a wider value to fit without a
# word, so the callers refuse it before the call.
_MAXIMA: Dict[object, int] = {c_u8: 0xFF, c_u16: 0xFFFF, c_u32: 0xFFFFFFFF}


def limits(table: Dict[str, Tuple[object, Sequence[object], bool]]) -> Dict[str, Tuple[Optional[int], ...]]:
    """For each function of `table`, the largest value of each argument after the handle (None
    where the argument is no unsigned integer)."""
    return {name: tuple(_MAXIMA.get(kind) for kind in arguments)
            for name, (_result, arguments, _takes_handle) in table.items()}


def too_wide(function_limits: Tuple[Optional[int], ...], arguments: Sequence[Any]) -> Optional[Tuple[Any, int]]:
    """The first argument above its limit, with that limit; None when all fit."""
    for value, limit in zip(arguments, function_limits):
        if limit is not None and not 0 <= value <= limit:
            return value, limit
    return None


SDK_LIMITS = limits(_SDK_FUNCTIONS)


def check_fits(command: str, function: str, arguments: Sequence[Any]) -> None:
    """Raises ValueError when an argument of SDK function `function` does not fit its C field."""
    wide = too_wide(SDK_LIMITS[function], arguments)
    if wide is not None:
        raise ValueError("%s: %r does not fit the command's %d-bit field" % (command, wide[0], wide[1].bit_length()))


def _declare(library: ctypes.CDLL, table: Dict[str, Tuple[object, Sequence[object], bool]], handle: object) -> None:
    for name, (result, arguments, takes_handle) in table.items():
        function = getattr(library, name)
        function.restype = result
        function.argtypes = ([handle] if takes_handle else []) + list(arguments)


def _candidates(environment: str, filename: str, short_name: str) -> List[str]:
    """Where to look for one library, in order (see the module comment)."""
    paths: List[str] = []
    override = os.environ.get(environment)
    if override:
        return [override]  # an explicit choice is not second-guessed
    here = Path(__file__).resolve().parent
    paths += [str(folder / filename) for folder in (here, here / "lib") if (folder / filename).exists()]
    paths.append(filename)  # the dynamic linker's search: LD_LIBRARY_PATH, ldconfig's cache
    found = ctypes.util.find_library(short_name)
    if found:
        paths.append(found)
    return paths


def _load(environment: str, filename: str, short_name: str, mode: int) -> ctypes.CDLL:
    tried = []
    for candidate in _candidates(environment, filename, short_name):
        try:
            return ctypes.CDLL(candidate, mode=mode)
        except OSError as error:
            tried.append("%s (%s)" % (candidate, error))
    raise LibraryNotFound(
        "cannot load %s: install the tarvixsdk library (cmake --install), put it next to the tarvix package, "
        "or set %s to its path. Tried: %s" % (filename, environment, "; ".join(tried)))


def sdk() -> ctypes.CDLL:
    """libtarvixsdk.so with its signatures declared, loaded on first use."""
    global _sdk
    if _sdk is not None:  # every command asks: no lock once loaded
        return _sdk
    with _lock:
        if _sdk is None:
            library = _load(SDK_ENVIRONMENT, "libtarvixsdk.so", "tarvixsdk", ctypes.DEFAULT_MODE)
            _declare(library, _SDK_FUNCTIONS, H)
            _sdk = library
        return _sdk


def sdk_loaded() -> bool:
    return _sdk is not None


def virtual(table: Dict[str, Tuple[object, Sequence[object], bool]], handle: object) -> ctypes.CDLL:
    """libtarvix-virtual.so, loaded with RTLD_GLOBAL so that its hid_* functions serve the SDK.

    It must come before the SDK: a library that is already loaded has bound its hid_* references
    to whatever hidapi was there. So it refuses when the SDK came first, unless the virtual
    adapter was in the process already (preloaded), where the binding is right anyway.
    """
    global _virtual
    with _lock:
        if _virtual is None:
            if _sdk is not None and not _already_loaded(VIRTUAL_ENVIRONMENT, "libtarvix-virtual.so"):
                raise RuntimeError(
                    "the virtual adapter must be loaded before the SDK: use tarvix.virtual (attach or reset) "
                    "before the first Adapter or list_adapters() of the process")
            library = _load(VIRTUAL_ENVIRONMENT, "libtarvix-virtual.so", "tarvix-virtual",
                            ctypes.RTLD_GLOBAL)
            _declare(library, table, handle)
            _virtual = library
        return _virtual


def _already_loaded(environment: str, filename: str) -> bool:
    no_load = getattr(os, "RTLD_NOLOAD", 4)
    for candidate in _candidates(environment, filename, filename):
        try:
            ctypes.CDLL(candidate, mode=no_load | ctypes.RTLD_GLOBAL)
            return True
        except OSError:
            continue
    return False
