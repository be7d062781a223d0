"""Notifications: the adapter's unsolicited frames as typed events, and their delivery.

The library hands each notification to a C callback on the session's reader thread. That callback
(here, `_Hub._receive`) only decodes the frame into an event and queues it; nothing the user wrote
runs there. User callbacks run on one thread of this package ("tarvix-notifications"), in order;
iterators take events from a queue on the caller's thread.
"""

from __future__ import annotations

import collections
import ctypes
import threading
import time
import traceback
from dataclasses import dataclass
from typing import Callable, Deque, Iterator, List, Optional

from . import _native
from .enums import GpioPin, NotificationKind


@dataclass(frozen=True)
class Notification:
    """An unsolicited frame: `code` from bytes 2..3, `frame` the whole frame as it arrived."""

    kind: NotificationKind
    code: int
    frame: bytes


@dataclass(frozen=True)
class GpioInterrupt(Notification):
    """An armed GPIO pin fired."""

    pin: GpioPin


@dataclass(frozen=True)
class I3cIbi(Notification):
    """An I3C in-band interrupt from the target at dynamic `address`."""

    address: int
    payload: bytes


@dataclass(frozen=True)
class I3cHotJoin(Notification):
    """A new I3C target asked to join; `dynamic_address` is 0 until it is given one."""

    provisional_id: bytes
    bcr: int
    dcr: int
    dynamic_address: int


@dataclass(frozen=True)
class UartData(Notification):
    """Bytes received on the UART."""

    data: bytes


NotificationCallback = Callable[[Notification], None]


def _bytes_within(pointer: "ctypes._Pointer[ctypes.c_uint8]", declared: int, record: _native.NotificationRecord) -> bytes:
    """The bytes a view points at, kept to those that arrived (a view reports lengths as declared)."""
    if declared == 0 or not pointer:
        return b""
    start = ctypes.cast(pointer, ctypes.c_void_p).value or 0
    base = ctypes.cast(record.data, ctypes.c_void_p).value or 0
    available = max(0, base + record.length - start)
    return ctypes.string_at(start, min(declared, available))


def decode(pointer: "ctypes._Pointer[_native.NotificationRecord]") -> Notification:
    """The typed event of one notification record, through the library's bounded views."""
    library = _native.sdk()
    record = pointer.contents
    frame = ctypes.string_at(record.data, record.length) if record.length else b""
    code = frame[2] | frame[3] << 8 if len(frame) >= 4 else 0
    kind = NotificationKind(record.kind) if record.kind in NotificationKind._value2member_map_ else NotificationKind.UNKNOWN
    gpio = _native.GpioView()
    if library.TarvixSDK_notificationAsGpio(pointer, ctypes.byref(gpio)):
        pin = GpioPin(gpio.pinNumber) if gpio.pinNumber in GpioPin._value2member_map_ else gpio.pinNumber
        return GpioInterrupt(kind, code, frame, pin)  # type: ignore[arg-type]
    ibi = _native.IbiView()
    if library.TarvixSDK_notificationAsI3cIbi(pointer, ctypes.byref(ibi)):
        return I3cIbi(kind, code, frame, ibi.targetAddress, _bytes_within(ibi.payload, ibi.payloadLength, record))
    join = _native.HotJoinView()
    if library.TarvixSDK_notificationAsI3cHotJoin(pointer, ctypes.byref(join)):
        return I3cHotJoin(kind, code, frame, bytes(join.provisionalId), join.bcr, join.dcr, join.dynamicAddress)
    rx = _native.UartRxView()
    if library.TarvixSDK_notificationAsUartRx(pointer, ctypes.byref(rx)):
        return UartData(kind, code, frame, _bytes_within(rx.data, rx.dataLength, record))
    return Notification(kind, code, frame)


class _Hub:
    """Receives one session's notifications and hands them to iterators and callbacks.

    Events wait in a bounded queue for `notifications()`; when it is full the oldest are dropped
    and counted (`dropped`), so a program that never reads them does not grow without limit.
    """

    def __init__(self, capacity: int) -> None:
        self._events: Deque[Notification] = collections.deque(maxlen=capacity)
        self._ready = threading.Condition()
        self._callbacks: List[NotificationCallback] = []
        self._pending: Deque[Optional[Notification]] = collections.deque()
        self._dispatcher: Optional[threading.Thread] = None
        self._closed = False
        self.dropped = 0
        self.callback_errors: List[BaseException] = []
        # Kept alive as long as the hub: the library holds its address.
        self.c_callback = _native.NOTIFICATION_CALLBACK(self._receive)

    def _receive(self, pointer: "ctypes._Pointer[_native.NotificationRecord]", _user_data: object) -> None:
        # On the library's reader thread: decode and queue, nothing more.
        try:
            event = decode(pointer)
        except Exception:  # an exception must not unwind into C; a malformed frame is dropped
            return
        with self._ready:
            if len(self._events) == self._events.maxlen:
                self.dropped += 1
            self._events.append(event)
            if self._callbacks:
                self._pending.append(event)
            self._ready.notify_all()

    def add_callback(self, callback: NotificationCallback) -> None:
        with self._ready:
            self._callbacks.append(callback)
            if self._dispatcher is None and not self._closed:
                self._dispatcher = threading.Thread(target=self._dispatch, name="tarvix-notifications", daemon=True)
                self._dispatcher.start()

    def remove_callback(self, callback: NotificationCallback) -> None:
        with self._ready:
            if callback in self._callbacks:
                self._callbacks.remove(callback)

    def _dispatch(self) -> None:
        while True:
            with self._ready:
                while not self._pending:
                    self._ready.wait()
                event = self._pending.popleft()
                callbacks = list(self._callbacks)
            if event is None:
                return
            for callback in callbacks:
                try:
                    callback(event)
                except Exception as error:  # reported and kept; delivery goes on
                    self.callback_errors.append(error)
                    traceback.print_exc()

    def next(self, timeout: Optional[float]) -> Optional[Notification]:
        """The oldest queued event, waiting up to `timeout` seconds (None: until one comes or close)."""
        deadline = None if timeout is None else time.monotonic() + timeout
        with self._ready:
            while not self._events:
                if self._closed:
                    return None
                remaining = None if deadline is None else deadline - time.monotonic()
                if remaining is not None and remaining <= 0:
                    return None
                self._ready.wait(remaining)
            return self._events.popleft()

    def close(self) -> None:
        """Stops delivery once the library no longer calls `_receive`; joins the dispatcher."""
        with self._ready:
            self._closed = True
            self._pending.append(None)
            self._ready.notify_all()
            dispatcher = self._dispatcher
        if dispatcher is not None and dispatcher is not threading.current_thread():
            dispatcher.join()


class NotificationStream(Iterator[Notification]):
    """Iterates over a session's notifications, oldest first.

    Iteration ends when no notification arrives for `timeout` seconds (None: only when the
    adapter is closed). Events that arrived before the stream was made are included.
    """

    def __init__(self, hub: _Hub, timeout: Optional[float]) -> None:
        self._hub = hub
        self._timeout = timeout

    def __iter__(self) -> "NotificationStream":
        return self

    def __next__(self) -> Notification:
        event = self._hub.next(self._timeout)
        if event is None:
            raise StopIteration
        return event
