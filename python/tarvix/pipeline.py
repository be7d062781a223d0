"""`Pipeline`: commands sent back to back, several in flight, each answer matched to its request."""

from __future__ import annotations

import ctypes
import weakref
from typing import TYPE_CHECKING, Any, Callable, List, Optional, Union

from . import _native
from .enums import GpioLevel

if TYPE_CHECKING:  # pragma: no cover
    from .adapter import Adapter

Bytes = Union[bytes, bytearray, memoryview]


class Result:
    """What one queued command gave: filled in by `Pipeline.run()`."""

    def __init__(self, command: str, decode: Callable[[], Any]) -> None:
        self.command = command
        self._decode = decode
        self._status = ctypes.c_uint16(0x2000)
        self._ran = False

    @property
    def status(self) -> int:
        """The command's status (0: success); 0x2000 (NO_RESPONSE) before the pipeline ran."""
        return self._status.value

    @property
    def value(self) -> Any:
        """The command's result (bytes, a GpioLevel, or None for a write); raises the command's
        StatusError if it failed, RuntimeError if the pipeline has not run yet."""
        if not self._ran:
            raise RuntimeError("%s: the pipeline has not run yet" % self.command)
        if self.status:
            from .adapter import _status_error
            raise _status_error(self.status, self.command)
        return self._decode()


class Pipeline:
    """Commands queued on one adapter and run together by `run()`.

    Each command goes out as soon as the window allows (at most `window` requests in flight, 1 to
    64), and each answer is matched to its request by transaction id and command code, so a
    series of small commands costs about one USB frame each instead of a round trip each. Every
    queue method returns a `Result`; the queue stays after `run()`, which may be called again.
    Only the commands below can be queued; a pipeline belongs to its adapter and is freed with it
    (or by `close()`).

        with dev.pipeline() as p:
            reads = [p.i2c_read(0x50, 1, register=bytes([r])) for r in range(256)]
            p.run()
        values = [r.value for r in reads]
    """

    def __init__(self, adapter: "Adapter", window: int = 8) -> None:
        if not 1 <= window <= 64:
            raise ValueError("window must be 1..64, got %r" % window)
        self._adapter = adapter
        self._results: List[Result] = []
        self._keep: List[Any] = []  # input copies and output buffers, alive until the pipeline goes
        with adapter._lock:
            handle = adapter._require_handle("pipeline")
            self._pipeline: Optional[int] = _native.sdk().TarvixSDK_PipelineCreate(handle, window)
        if not self._pipeline:
            raise MemoryError("the SDK could not create a pipeline")
        # Freed when dropped; the pipeline holds its adapter, so the handle outlives it.
        self._finalizer = weakref.finalize(self, _native.sdk().TarvixSDK_PipelineDestroy, self._pipeline)
        adapter._pipelines.add(self)

    def __enter__(self) -> "Pipeline":
        return self

    def __exit__(self, *exc_info: Any) -> None:
        self.close()

    def __len__(self) -> int:
        return len(self._results)

    def close(self) -> None:
        """Frees the queue (also done when the adapter closes). Idempotent."""
        self._pipeline = None
        self._finalizer()
        self._adapter._pipelines.discard(self)

    def _queue(self, command: str, function: str, single: str, decode: Callable[[], Any], *arguments: Any) -> Result:
        _native.check_fits(command, single, arguments)
        if not self._pipeline:
            raise ValueError("%s: the pipeline is closed" % command)
        result = Result(command, decode)
        status = getattr(_native.sdk(), function)(self._pipeline, ctypes.byref(result._status), *arguments)
        if status:
            from .adapter import _status_error
            raise _status_error(status, command)
        self._results.append(result)
        self._keep.append(arguments)
        return result

    def i2c_read(self, address: int, length: int, register: Bytes = b"", bus: int = 0, flag: bool = False) -> Result:
        """Queues `I2c.read`; the result's value is the bytes read."""
        data = (ctypes.c_uint8 * max(length, 1))()
        register = bytes(register)
        self._keep.append(data)
        return self._queue("pipeline.i2c_read", "TarvixSDK_PipelineI2cRead", "TarvixSDK_I2cRead",
                           lambda: bytes(data[:length]), bus, address, register or None, min(len(register), 255),
                           length, data, flag)

    def i2c_write(self, address: int, data: Bytes, register: Bytes = b"", bus: int = 0, flag: bool = False) -> Result:
        """Queues `I2c.write` (the bytes are copied now)."""
        data, register = bytes(data), bytes(register)
        return self._queue("pipeline.i2c_write", "TarvixSDK_PipelineI2cWrite", "TarvixSDK_I2cWrite", lambda: None,
                           bus, address, register or None, min(len(register), 255), data or None, len(data), flag)

    def spi_transfer(self, data: Bytes = b"", length: Optional[int] = None) -> Result:
        """Queues `Spi.transfer`; the result's value is the bytes read."""
        data = bytes(data)
        count = len(data) if length is None else length
        received = (ctypes.c_uint8 * max(count, 1))()
        self._keep.append(received)
        return self._queue("pipeline.spi_transfer", "TarvixSDK_PipelineSpiTransfer", "TarvixSDK_SpiTransfer",
                           lambda: bytes(received[:count]), data or None, len(data), received, count)

    def gpio_read(self, pin: int) -> Result:
        """Queues `Gpio.read`; the result's value is the GpioLevel."""
        level = ctypes.c_uint32(0)
        self._keep.append(level)
        return self._queue("pipeline.gpio_read", "TarvixSDK_PipelineGpioDigitalRead", "TarvixSDK_GpioDigitalRead",
                           lambda: GpioLevel(level.value & 1), pin, ctypes.byref(level))

    def gpio_write(self, pin: int, level: Union[GpioLevel, bool, int]) -> Result:
        """Queues `Gpio.write`."""
        return self._queue("pipeline.gpio_write", "TarvixSDK_PipelineGpioDigitalWrite", "TarvixSDK_GpioDigitalWrite",
                           lambda: None, pin, int(level))

    def run(self, check: bool = True) -> List[Result]:
        """Runs every queued command and returns their results, in order. With `check`, raises
        the first failed command's StatusError once all have run (the other results stay
        readable); a command whose answer never came is NoResponse, for that command alone."""
        if not self._pipeline:
            raise ValueError("pipeline.run: the pipeline is closed")
        with self._adapter._lock:
            self._adapter._require_handle("pipeline.run")
            _native.sdk().TarvixSDK_PipelineRun(self._pipeline)
        for result in self._results:
            result._ran = True
        if check:
            for result in self._results:
                if result.status:
                    result.value  # raises that command's error
        return list(self._results)
