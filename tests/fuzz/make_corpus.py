#!/usr/bin/env python3
"""Writes the seed corpora of the fuzz harnesses into tests/fuzz/corpus/<harness>/.

The seeds are the protocol's own shapes (request frames of every family, responses, the four
notifications, segmented reports), laid out in each harness's input format, so that the fuzzer
starts from frames the adapter and the library really exchange. Run it after changing a harness's
input format or its call tables; the files are kept in the tree.
"""
import os
import re
import struct

HERE = os.path.dirname(os.path.abspath(__file__))


def u16(v):
    return struct.pack("<H", v & 0xFFFF)


def u32(v):
    return struct.pack("<I", v & 0xFFFFFFFF)


def request(tid, code, payload=b""):
    return u16(tid) + u16(code) + bytes(payload)


def response(tid, code, status=0, payload=b""):
    return u16(tid) + u16(code) + u16(status) + bytes(payload)


def notification(code, payload=b""):
    return response(0, code, 0, payload)


def segments(frame, report_size):
    """The input reports of one frame, as the adapter cuts it (each report_size bytes)."""
    capacity = report_size - 2
    count = max(1, -(-len(frame) // capacity))
    out = []
    for i in range(count):
        chunk = frame[i * capacity:(i + 1) * capacity]
        header = (len(chunk) << 2) | (1 if i == 0 else 0) | (2 if i == count - 1 else 0)
        out.append((u16(header) + chunk).ljust(report_size, b"\0"))
    return out


# Notifications, one per kind, plus shapes at the edges of the views.
GPIO = notification(0x1481, [5])
UART = notification(0x1081, u16(3) + b"ABC")
IBI = notification(0x1981, [0x30, 2, 0xAB, 0xCD])
HOT_JOIN = notification(0x1982, [0x04, 0x6A, 0x00, 0x00, 0x00, 0x01, 0x07, 0xC6, 0x0A])
UART_LYING = notification(0x1081, u16(0xFFFF) + b"xy")  # declares more than it carries
IBI_LYING = notification(0x1981, [0x30, 0xFF])
UNKNOWN = notification(0x1983, [1, 2, 3])

# Request frames of every family, as the library encodes them.
REQUESTS = {
    "usb_string": request(1, 0x0407, [1]),
    "rail": request(2, 0x0405, u16(3300) + b"\x01"),
    "analog": request(3, 0x0409),
    "i2c_init": request(4, 0x0901, b"\x00" + u32(100000) + b"\x00"),
    "i2c_read": request(5, 0x0905, [0, 16, 0, 0x50, 1, 0x10, 0, 0, 0, 0]),
    "i2c_write": request(6, 0x0904, [0, 2, 0, 0x50, 1, 0x00, 0, 0, 0, 0, 0xAA, 0xBB]),
    "i2c_scan": request(7, 0x0906, [0, 0]),
    "spi_init": request(8, 0x0D01, [0, 0, 8, 0, 0] + list(u32(1000000))),
    "spi_transfer": request(9, 0x0D04, [1, 0, 4, 0, 0x9F]),
    "uart_init": request(10, 0x1002, [10, 0, 0, 3, 0]),
    "uart_send": request(11, 0x1005, [2, 0, ord("h"), ord("i")]),
    "gpio_pin_interrupt": request(12, 0x1401, [0, 2, 0]),
    "gpio_arm": request(13, 0x1404, [0, 3]),
    "gpio_pin_output": request(14, 0x1401, [1, 1, 0]),
    "gpio_write": request(15, 0x1402, [1, 1]),
    "gpio_read": request(16, 0x1403, [0]),
    "i3c_init": request(17, 0x1901, [0, 0, 0, 0]),
    "i3c_entdaa": request(18, 0x1909, [0x7E, 0x00, 0, 0x07, 0]),
    "i3c_table": request(19, 0x1906),
    "i3c_private_read": request(20, 0x1908, [0x30, 0x01, 0, 1, 0x11, 0, 0, 0, 8, 0]),
    "i3c_getpid": request(21, 0x1909, [0x30, 0x61, 6, 0x8D, 0]),
    "i3c_pattern": request(22, 0x190A, [0]),
}


def write(harness, name, data):
    directory = os.path.join(HERE, "corpus", harness)
    os.makedirs(directory, exist_ok=True)
    with open(os.path.join(directory, name), "wb") as f:
        f.write(bytes(data))


def item(data):
    return u16(len(data)) + bytes(data)


def reassembly():
    # [size bit][control u8, length u16, report]...
    def report(data, control=0):
        return bytes([control]) + item(data)

    for large, size in ((0, 64), (1, 1024)):
        frame = response(1, 0x0407, 0, b"\x11" + b"Tarvix Instruments")
        write("fuzz_reassembly", f"one_segment_{size}", [large] + list(b"".join(report(r) for r in segments(frame, size))))
        long_frame = response(2, 0x0905, 0, bytes(range(256)) * 6)
        write("fuzz_reassembly", f"several_segments_{size}",
              [large] + list(b"".join(report(r) for r in segments(long_frame, size))))
    # A header that claims 1023 bytes in a 64-byte report; a continuation with no first segment;
    # a short read; and a run of continuations repeated past the frame size limit.
    write("fuzz_reassembly", "lying_header", [0] + list(report(u16(0xFFFF) + b"\x55" * 62)))
    write("fuzz_reassembly", "orphan_continuation", [0] + list(report(u16(10 << 2) + b"x" * 10) + report(u16(3))))
    write("fuzz_reassembly", "short_read", [1] + list(report(u16((100 << 2) | 3) + b"abc")))
    write("fuzz_reassembly", "endless_continuation",
          [1] + list(report(u16(1) + b"\0" * 1022) + report(u16(1022 << 2) + b"\x77" * 1022, 0x8B)
                     + report(u16(3))))


def notifications():
    # [selector (kind, direction, capacity bit)][capacity][frame]
    frames = {
        "gpio": GPIO, "uart": UART, "ibi": IBI, "hot_join": HOT_JOIN, "uart_lying": UART_LYING,
        "ibi_lying": IBI_LYING, "unknown": UNKNOWN, "gpio_short": GPIO[:6], "hot_join_short": HOT_JOIN[:14],
        "i2c_read_response": response(5, 0x0905, 0, [0, 2, 0, 0xAA, 0xBB]),
        "spi_request": REQUESTS["spi_transfer"], "i3c_ccc_request": REQUESTS["i3c_getpid"],
    }
    for i, (name, frame) in enumerate(sorted(frames.items())):
        selector = (i % 5) | (0x80 if "request" not in name else 0) | (0x40 if i % 2 else 0)
        write("fuzz_notifications", name, [selector, 16 + i] + list(frame))


def firmware():
    # [report size index][control u8 (2 = frame, 1 = one report, 0 = raw write), length u16, bytes]...
    def frame(data):
        return bytes([2]) + item(data)

    sequences = {
        "system": ["usb_string", "rail", "analog"],
        "i2c": ["i2c_init", "i2c_write", "i2c_read", "i2c_scan"],
        "spi": ["spi_init", "spi_transfer"],
        "uart": ["uart_init", "uart_send"],
        "gpio": ["gpio_pin_interrupt", "gpio_arm", "gpio_pin_output", "gpio_write", "gpio_read"],
        "i3c": ["i3c_init", "i3c_entdaa", "i3c_table", "i3c_private_read", "i3c_getpid", "i3c_pattern"],
    }
    for index, size in ((0, 64), (1, 1024), (2, 8)):
        for name, steps in sequences.items():
            write("fuzz_firmware", f"{name}_{size}", [index] + list(b"".join(frame(REQUESTS[s]) for s in steps)))
    write("fuzz_firmware", "reset", [0] + list(frame(request(30, 0x0401))))
    write("fuzz_firmware", "boot_mode", [1] + list(frame(request(31, 0x0402))))
    # One report with a lying header, and a write of the wrong length.
    write("fuzz_firmware", "lying_report", [0] + list(bytes([1]) + item(u16(0xFFFF) + REQUESTS["usb_string"])))
    write("fuzz_firmware", "wrong_length", [0] + list(bytes([0]) + item(b"\0" + u16(0x17) + REQUESTS["usb_string"])))


def flat_calls():
    """The flat functions of the harness's call table, in table order, to index the table by name."""
    with open(os.path.join(HERE, "fuzz_blocking_calls.cpp")) as f:
        text = f.read()
    table = text[text.index("const FlatCall kFlatCalls[]"):text.index("constexpr std::size_t kFlatCount")]
    rows = re.split(r"^    FLAT\(", table, flags=re.M)[1:]
    return [re.search(r"TarvixSDK_(?!DeviceInfo\b)(\w+)", row).group(1) for row in rows]


def blocking_calls():
    calls = flat_calls()
    assert len(calls) <= 256, "call index is one byte"

    def seed(name, function, config, args, items):
        write("fuzz_blocking_calls", name,
              [calls.index(function), config, len(args)] + list(args) + list(b"".join(item(i) for i in items)))

    patch_first = 1 << 3
    patch_last = 2 << 3
    raw = 1 << 2
    options = 1 << 1
    ok = response(0, 0, 0)
    # The arguments follow each row of the table: pointers are present unless their byte is 0xFF,
    # byte blocks are a count then the bytes, enumerations are four bytes. Outputs get answers
    # longer than their buffers or capacities.
    seed("usb_string", "GetDeviceInfo", patch_first, [0], [response(0, 0, 0, b"\x04TVX")])
    seed("usb_string_foreign", "GetDeviceInfo", options, [0], [response(0x1234, 0x0407, 0, b"\x04TVX")])
    seed("voltages", "I3cGetBusVoltage", patch_first, [0, 0], [response(0, 0, 0, u16(3300) + u16(1800) + u16(1200))])
    seed("gpio_read_after_notification", "GpioDigitalRead", patch_last, [0] * 4, [GPIO, response(0, 0, 0, [1])])
    seed("i2c_read_short", "I2cRead", patch_first | options, [0, 0x50, 0, 8, 0, 0, 0],
         [response(0, 0, 0, [0, 8, 0, 1])])
    seed("i2c_read_long", "I2cRead", patch_first, [0, 0x50, 0, 4, 0],
         [response(0, 0, 0, [0, 4, 0, 1, 2, 3, 4, 5, 6])])
    seed("i2c_scan", "I2cScanBus", patch_first, [1, 0, 0, 0], [response(0, 0, 0, [0, 3, 0, 1, 2, 3])])
    seed("spi_transfer", "SpiTransfer", patch_first, [0, 2, 0], [response(0, 0, 0, u16(9) + bytes(9))])
    seed("device_table", "I3cGetDeviceTable", patch_first, [1], [response(0, 0, 0, [3] + [0x30] * 48)])
    seed("sdr_read", "I3cSdrRead", patch_first, [0x30, 0, 2, 0], [response(0, 0, 0, u16(5) + bytes(5))])
    seed("hdr_read", "I3cHdrDdrRead", patch_first, [0x30, 0x20, 4, 0, 0],
         [response(0, 0, 0, u16(4) + b"\x01\x02\x03\x04")])
    seed("getmrl", "I3cCccGETMRL", patch_first, [0x30, 0, 1, 1], [response(0, 0, 0, [0x30, 0x8C, 0, 3, 0x01, 0x00, 0x10])])
    seed("getpid", "I3cCccGETPID", patch_first, [0x30], [response(0, 0, 0, [0x30, 0x8D, 0, 9] + [7] * 9)])
    seed("getstatus", "I3cCccGETSTATUS", patch_first, [0x30, 0, 0, 0], [response(0, 0, 0, [0x30, 0x90, 0, 2, 0, 0])])
    seed("getmxds", "I3cCccGETMXDS", patch_first, [0x30], [response(0, 0, 0, [0x30, 0x94, 0, 255] + [1] * 255)])
    seed("reset_then_stray", "ResetDevice", 0, [], [ok, IBI])
    seed("notifications_only", "I2cRead", 0, [0, 0x50, 0, 4, 0], [GPIO, UART, IBI, HOT_JOIN, UNKNOWN, UART_LYING])
    seed("raw_lying_reports", "I2cRead", raw | patch_first, [0, 0x50, 0, 4, 0],
         [u16(0xFFFF) + response(0, 0, 0, [0, 4, 0, 9, 9, 9, 9]), u16(3), b"", b"\x02"])
    seed("raw_segments_1024", "SpiTransfer", raw | patch_first | 1, [0, 2, 0, 0],
         segments(response(0, 0, 0, u16(2) + b"\x12\x34"), 1024))
    seed("raw_segments_64", "I3cSdrRead", raw | patch_first, [0x30, 0, 200, 0, 0, 0, 0, 0, 0],
         segments(response(0, 0, 0, u16(200) + bytes(200)), 64))
    seed("device_info_ex", "GetDeviceInfo", patch_last | 0x20, [],
         [notification(0x1081, u16(300) + bytes(300)), response(0, 0, 0, b"\x04TVX")])
    seed("notification_256", "GetDeviceInfo", patch_last | 1,
         [], [notification(0x1981, [0x30, 250] + [0x42] * 248), response(0, 0, 0, b"\x02Z")])


if __name__ == "__main__":
    reassembly()
    notifications()
    firmware()
    blocking_calls()
