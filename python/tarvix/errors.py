"""Exceptions: every failed command raises one, carrying the status code and its name."""

from __future__ import annotations

from typing import Dict, Optional, Type

from .enums import ConnectReason, StatusCode


class TarvixError(Exception):
    """Base of every exception of this package."""


class LibraryNotFound(TarvixError, OSError):
    """libtarvixsdk.so (or the virtual adapter's library) could not be loaded."""


class StatusError(TarvixError):
    """A command returned a status other than SUCCESS.

    Attributes:
        status: the status code (an int; a StatusCode member for the library's own codes).
        name: its upper-case name ("NO_RESPONSE", ... "DEVICE_STATUS" for the adapter's own).
        command: what was asked ("i2c.read"), for the message.
    """

    def __init__(self, status: int, name: str, description: str, command: str = "") -> None:
        self.status = status
        self.name = name
        self.command = command
        where = "%s: " % command if command else ""
        super().__init__("%s%s (0x%04X): %s" % (where, name, status, description))


class DeviceError(StatusError):
    """The adapter carried the command out and reported an error of its own (its status value)."""


class NoResponse(StatusError, TimeoutError):
    """No answer arrived within the adapter's timeout."""


class NotConnected(StatusError, ConnectionError):
    """The adapter is not connected (closed, or unplugged: nothing was sent)."""


class UnexpectedResponse(StatusError):
    """The answer that arrived belongs to another request."""


class InvalidArgument(StatusError, ValueError):
    """The library refused an argument; nothing was sent."""


class ResponseTooShort(StatusError):
    """The answer is shorter than the fields or the count it declares."""


class LibraryError(StatusError):
    """The library failed on its own (out of memory, a thread that could not start)."""


class ConnectFailed(TarvixError, ConnectionError):
    """Connecting failed; `reason` says why, the message says it as a sentence."""

    def __init__(self, reason: ConnectReason, message: str) -> None:
        self.reason = reason
        super().__init__(message)


_BY_STATUS: Dict[int, Type[StatusError]] = {
    StatusCode.NO_RESPONSE: NoResponse,
    StatusCode.NOT_CONNECTED: NotConnected,
    StatusCode.UNEXPECTED_RESPONSE: UnexpectedResponse,
    StatusCode.INVALID_ARGUMENT: InvalidArgument,
    StatusCode.RESPONSE_TOO_SHORT: ResponseTooShort,
    StatusCode.SYSTEM_ERROR: LibraryError,
}


def error_for(status: int, name: str, description: str, command: str = "") -> StatusError:
    """The exception for a non-zero status: the library's own codes by class, else DeviceError."""
    value: Optional[int] = status
    try:
        value = StatusCode(status)
    except ValueError:
        pass
    return _BY_STATUS.get(status, DeviceError)(value if value is not None else status, name, description, command)
