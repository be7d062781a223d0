"""tarvix: the Tarvix USB protocol adapter from Python.

Over the SDK's shared library (libtarvixsdk.so, loaded with ctypes on first use)::

    import tarvix

    for adapter in tarvix.list_adapters():
        print(adapter.index, adapter.serial_number, adapter.path)

    with tarvix.Adapter(serial="TVX-0001", timeout=1.0) as dev:
        dev.i2c.init(bus=0, frequency=400_000)
        print(dev.i2c.read(0x50, 32, register=b"\\x00").hex())

Without hardware, `tarvix.virtual` plugs in emulated adapters; `tarvix.testing` is a pytest
plugin with a `virtual_adapter` fixture.
"""

from .adapter import (Adapter, AdapterInfo, DeviceInfo, Gpio, I2c, I3c, I3cTarget, MaxReadLength, Rails, Spi, Uart,
                      list_adapters, version)
from .enums import *  # noqa: F401,F403  (the enumerations are part of the package's surface)
from .enums import __dict__ as _enums
from .errors import (ConnectFailed, DeviceError, InvalidArgument, LibraryError, LibraryNotFound, NoResponse,
                     NotConnected, ResponseTooShort, StatusError, TarvixError, UnexpectedResponse)
from .notifications import GpioInterrupt, I3cHotJoin, I3cIbi, Notification, NotificationStream, UartData
from .pipeline import Pipeline, Result

__version__ = "1.3.0"

__all__ = [
    "Adapter", "AdapterInfo", "DeviceInfo", "Gpio", "I2c", "I3c", "I3cTarget", "MaxReadLength", "Rails", "Spi", "Uart",
    "list_adapters", "version",
    "ConnectFailed", "DeviceError", "InvalidArgument", "LibraryError", "LibraryNotFound", "NoResponse", "NotConnected",
    "ResponseTooShort", "StatusError", "TarvixError", "UnexpectedResponse",
    "GpioInterrupt", "I3cHotJoin", "I3cIbi", "Notification", "NotificationStream", "UartData",
    "Pipeline", "Result",
] + [name for name, value in list(_enums.items()) if isinstance(value, type) and value.__module__ == "tarvix.enums"]
