#!/usr/bin/env python3
"""Per-call cost of the Python layer over the C++ call: one blocking command that the virtual
adapter answers at once (uartDeinit, as bench/round_trip_bench's BM_SdkRoundTrip), timed through
tarvix.Adapter and through the bare ctypes function, in microseconds per call.

    TARVIX_LIBRARY=build/libtarvixsdk.so TARVIX_VIRTUAL_LIBRARY=build/virtual/libtarvix-virtual.so \\
        PYTHONPATH=python python3 python/bench/call_overhead.py [calls]
    build/bench/round_trip_bench --benchmark_filter=BM_SdkRoundTrip     # the same call from C++
"""
import statistics
import sys
import time

import tarvix
import tarvix.virtual
from tarvix import _native


def per_call(function, calls: int) -> float:
    """Median over 9 runs of the time per call, in microseconds."""
    runs = []
    for _ in range(9):
        started = time.perf_counter()
        for _ in range(calls):
            function()
        runs.append((time.perf_counter() - started) / calls * 1e6)
    return statistics.median(runs)


def main() -> None:
    calls = int(sys.argv[1]) if len(sys.argv) > 1 else 2000
    tarvix.virtual.reset()
    tarvix.virtual.attach(serial="TVX-BENCH").set_recording(False)
    with tarvix.Adapter(serial="TVX-BENCH") as dev:
        library, handle = _native.sdk(), dev._handle
        bare = per_call(lambda: library.TarvixSDK_UartDeinit(handle), calls)
        wrapped = per_call(dev.uart.deinit, calls)
    print("bare ctypes call:   %7.2f us/call" % bare)
    print("tarvix.Adapter:     %7.2f us/call" % wrapped)
    print("wrapper over ctypes: %6.2f us/call" % (wrapped - bare))


if __name__ == "__main__":
    main()
