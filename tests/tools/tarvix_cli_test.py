#!/usr/bin/env python3
"""Runs the built tarvix binary as a user would, against the virtual adapter preloaded.

usage: tarvix_cli_test.py TARVIX VIRTUAL_LIBRARY GROUP

Each GROUP is one ctest entry; a failed check prints the command, its exit code and output.
"""
import json
import os
import signal
import subprocess
import sys
import time

TARVIX, VIRTUAL, GROUP = sys.argv[1], sys.argv[2], sys.argv[3]

GRID = """\
     0  1  2  3  4  5  6  7  8  9  a  b  c  d  e  f
00:          -- -- -- -- -- -- -- -- -- -- -- -- -- 
10: -- -- -- -- -- -- -- -- -- -- -- -- -- -- -- -- 
20: -- -- -- -- -- -- -- -- -- -- -- -- -- -- -- -- 
30: -- -- -- -- -- -- -- -- -- -- -- -- -- -- -- -- 
40: -- -- -- -- -- -- -- -- 48 -- -- -- -- -- -- -- 
50: 50 -- -- -- -- -- -- -- -- -- -- -- -- -- -- -- 
60: -- -- -- -- -- -- -- -- -- -- -- -- -- -- -- -- 
70: -- -- -- -- -- -- -- --                         
"""


def environment(adapters="TVX-0001", preload=True, i3c=None):
    env = dict(os.environ)
    for name in ("LD_PRELOAD", "TARVIX_VIRTUAL_LIBRARY", "TARVIX_VIRTUAL_I3C_TARGETS"):
        env.pop(name, None)
    if i3c is not None:
        env["TARVIX_VIRTUAL_I3C_TARGETS"] = i3c
    if preload:
        env["LD_PRELOAD"] = VIRTUAL
    if adapters is None:
        env.pop("TARVIX_VIRTUAL_ADAPTERS", None)
    else:
        env["TARVIX_VIRTUAL_ADAPTERS"] = adapters
    # In sanitizer builds the preloaded adapter comes before the ASan runtime; tell ASan that
    # this is intended. Harmless elsewhere.
    env["ASAN_OPTIONS"] = (env.get("ASAN_OPTIONS", "") + ":verify_asan_link_order=0").lstrip(":")
    return env


def tarvix(*args, stdin=None, **env_args):
    result = subprocess.run([TARVIX, *args], input=stdin, capture_output=True, text=True,
                            env=environment(**env_args), timeout=15)
    return result


def expect(result, code, stdout=None, contains=(), stderr_contains=()):
    problems = []
    if result.returncode != code:
        problems.append(f"exit {result.returncode}, expected {code}")
    if stdout is not None and result.stdout != stdout:
        problems.append(f"stdout differs; expected:\n{stdout}")
    problems += [f"stdout lacks {c!r}" for c in contains if c not in result.stdout]
    problems += [f"stderr lacks {c!r}" for c in stderr_contains if c not in result.stderr]
    if problems:
        raise AssertionError(f"tarvix {' '.join(result.args[1:])}: " + "; ".join(problems) +
                             f"\n--- stdout:\n{result.stdout}--- stderr:\n{result.stderr}")
    return result


def expect_json(result, code=0):
    expect(result, code)
    try:
        return json.loads(result.stdout)
    except json.JSONDecodeError as error:
        raise AssertionError(f"tarvix {' '.join(result.args[1:])}: not one JSON document ({error}):\n"
                             f"{result.stdout}")


def group_adapters():
    two = "TVX-0001,-@1024"
    expect(tarvix("list", adapters=two), 0,
           stdout="0  virtual/0  1fc9:82fc  64  TVX-0001  Tarvix USB Protocol Adapter\n"
                  "1  virtual/1  1fc9:82fd  1024  -  Tarvix USB Protocol Adapter\n")
    listing = expect_json(tarvix("list", "--json", adapters=two))
    assert [a["serialNumber"] for a in listing["adapters"]] == ["TVX-0001", None], listing
    assert listing["adapters"][1]["reportSize"] == 1024, listing

    expect(tarvix("info", "--serial", "TVX-0002", adapters="TVX-0001,TVX-0002"), 0,
           contains=["serial number:    TVX-0002\n", "manufacturer:     Tarvix Instruments\n",
                     "library version:  1.3.0\n"])
    info = expect_json(tarvix("info", "--json", "--adapter", "1", adapters="TVX-0001,TVX-0002@1024"))
    assert info["serialNumber"] == "TVX-0002" and info["firmwareVersion"] == "1.0.0", info

    # The trace goes to stderr, one timestamped line per frame; stdout stays as without it.
    traced = expect(tarvix("--trace", "info"), 0, contains=["serial number:    TVX-0001\n"])
    lines = traced.stderr.splitlines()
    # Five requests and five answers; the frame text itself is the library's.
    assert len(lines) == 10 and all(line.startswith("[") for line in lines), traced.stderr

    # Nothing attached, or not the one asked for: exit 3 with the reason.
    expect(tarvix("info", adapters=""), 3, stderr_contains=["NO_ADAPTER", "no Tarvix adapter"])
    error = expect_json(tarvix("i2c", "scan", "--json", adapters=""), 3)
    assert error["error"]["name"] == "NO_ADAPTER" and error["error"]["exitCode"] == 3, error
    expect(tarvix("info", "--serial", "NOPE"), 3, stderr_contains=["NO_MATCH"])
    expect(tarvix("list", adapters=""), 0, stdout="")


def group_i2c():
    expect(tarvix("i2c", "scan"), 0, stdout=GRID)
    assert expect_json(tarvix("i2c", "scan", "--json"))["addresses"] == [0x48, 0x50]
    # Port 1 has nothing on it.
    assert GRID.replace("48", "--").replace("50:", "5X:").replace("50", "--").replace("5X:", "50:") == \
        expect(tarvix("i2c", "scan", "--bus", "1"), 0).stdout

    # No target at 0x20: the adapter's NACK is exit 1, with the address in the message.
    expect(tarvix("i2c", "get", "0x20"), 1, stderr_contains=["0x20", "DEVICE_STATUS"])
    error = expect_json(tarvix("i2c", "get", "0x20", "0", "--json"), 1)
    assert error["error"]["name"] == "DEVICE_STATUS", error

    # The sensor's registers: temperature 0x1900 (25 degrees), configuration 0x60a0.
    expect(tarvix("i2c", "get", "0x48", "0"), 0, stdout="0x19\n")
    expect(tarvix("i2c", "get", "0x48", "1", "--word"), 0, stdout="0xa060\n")
    expect(tarvix("i2c", "get", "0x48", "1", "--block", "4"), 0, stdout="0x60 0xa0 0x60 0xa0\n")
    expect(tarvix("i2c", "set", "0x50", "0x10", "1", "2", "3"), 0, stdout="")

    # i2ctransfer syntax: a register read, a read alone, a write alone.
    expect(tarvix("i2c", "transfer", "w1@0x48", "0x01", "r2"), 0, stdout="0x60 0xa0\n")
    expect(tarvix("i2c", "transfer", "r2@0x48"), 0, stdout="0x19 0x00\n")
    expect(tarvix("i2c", "transfer", "w4@0x50", "0x00", "0x10+"), 0, stdout="")
    # '+', '-' and '=' fill the rest of a write as i2ctransfer does.
    for last, filled in (("0x10+", [0x10, 0x11, 0x12]), ("0x10-", [0x10, 0x0F, 0x0E]), ("7=", [7, 7, 7])):
        written = expect_json(tarvix("i2c", "transfer", "--json", "w4@0x50", "0", last))
        assert written["messages"] == [{"read": False, "address": 0x50, "data": [0] + filled}], written
    expect(tarvix("i2c", "scan", "--path", "virtual/1", adapters="TVX-0001,TVX-0002@1024"), 0, stdout=GRID)
    transfer = expect_json(tarvix("i2c", "transfer", "--json", "w1@0x50", "0", "r3"))
    assert transfer["messages"][-1]["data"] == [0xFF] * 3, transfer
    # Sequences the adapter cannot run are usage errors that say why.
    for words, why in ((["r1@0x50", "r1"], "more than one read"),
                       (["w5@0x50", "0", "1", "2", "3", "4", "r1"], "a write of 5 bytes followed by a read"),
                       (["w1@0x50", "0", "r1@0x48"], "two addresses"),
                       (["r1@0x50", "w1", "0"], "a read followed by a write")):
        expect(tarvix("i2c", "transfer", *words), 2, stderr_contains=[why])
    expect(tarvix("i2c", "transfer", "w2@0x50", "0"), 2, stderr_contains=["needs 2 data bytes"])
    expect(tarvix("i2c", "transfer", "r1"), 2, stderr_contains=["needs an address"])
    expect(tarvix("i2c", "get", "0x80"), 2, stderr_contains=["out of range"])

    dump = expect(tarvix("i2c", "dump", "0x50"), 0).stdout.splitlines()
    assert dump[0] == "     0  1  2  3  4  5  6  7  8  9  a  b  c  d  e  f    0123456789abcdef", dump[0]
    assert len(dump) == 17 and dump[16] == "f0: " + "ff " * 16 + "   " + "." * 16, dump
    sensor = expect(tarvix("i2c", "dump", "0x48"), 0).stdout.splitlines()
    assert sensor[1].startswith("00: 19 00 19 00 "), sensor[1]


def group_spi():
    expect(tarvix("spi", "xfer", "9f", "--length", "4"), 0,
           stdout="TX | 9F 00 00 00 " + "__ " * 12 + "| ....\n"
                  "RX | FF EF 30 10 " + "__ " * 12 + "| ..0.\n")
    assert expect_json(tarvix("spi", "xfer", "0x9f000000", "--json"))["rx"] == "ffef3010"
    # Chip select 1 has no flash: MISO floats high.
    assert expect_json(tarvix("spi", "xfer", "9f", "-l", "4", "--cs", "1", "--json"))["rx"] == "ffffffff"
    for words, tx in ((["de:ad", "0xBE", "f"], "deadbe0f"), (["9f0000"], "9f0000"), ([], "00")):
        assert expect_json(tarvix("spi", "xfer", *words, "--length", "1", "--json"))["tx"] == tx, words
    expect(tarvix("spi", "xfer", "9g"), 2, stderr_contains=["invalid hex"])
    expect(tarvix("spi", "xfer", "9f", "--mode", "4"), 2)


def group_uart():
    # TX is looped back to RX on the bench: what is sent comes back as notifications.
    expect(tarvix("uart", "monitor", "--send", "hello, bench", "--count", "12"), 0, stdout="hello, bench")
    expect(tarvix("uart", "monitor", "--send", "hello, bench", "--count", "5"), 0, stdout="hello")
    received = expect_json(tarvix("uart", "monitor", "--send-hex", "00", "ff", "--timeout", "0.3", "--json"))
    assert received["received"] == "00ff" and received["length"] == 2, received
    started = time.monotonic()
    expect(tarvix("uart", "monitor", "--timeout", "0.3"), 0, stdout="")
    assert time.monotonic() - started < 3
    expect(tarvix("uart", "send", "hi", "--baud", "9600"), 0, stdout="")
    expect(tarvix("uart", "send", "hi", "--baud", "12345"), 2)
    expect(tarvix("uart", "send"), 2, stderr_contains=["nothing to send"])


def group_gpio():
    # GPIO 0 is wired to GPIO 1: what one drives, the other reads.
    expect(tarvix("gpio", "set", "0", "1", "-i", stdin="get 1\nset 0 0\nget 1\nget 0\nexit\n"), 0,
           stdout="1\n0\n0\n")
    expect(tarvix("gpio", "get", "1", "2"), 0, stdout="0 0\n")
    expect(tarvix("gpio", "set", "8", "1"), 2, stderr_contains=["GPIO pin"])
    expect(tarvix("gpio", "set", "0", "2"), 2, stderr_contains=["invalid level"])
    assert expect_json(tarvix("gpio", "monitor", "1", "--timeout", "0.2", "--json"))["events"] == []

    # Ctrl-C ends a monitor cleanly and at once.
    process = subprocess.Popen([TARVIX, "gpio", "monitor", "1", "2", "--edge", "rising"],
                               stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=environment())
    time.sleep(0.5)
    process.send_signal(signal.SIGINT)
    out, err = process.communicate(timeout=5)
    assert process.returncode == 0, (process.returncode, out, err)


def group_rail_i3c():
    expect(tarvix("rail", "get"), 0, stdout="shared: 3300 mV\ni3c:    1800 mV, 1800 mV\n")
    assert expect_json(tarvix("rail", "get", "--json"))["i3cMillivolts"] == [1800, 1800]
    expect(tarvix("rail", "set", "i3c", "1200"), 0)
    expect(tarvix("rail", "set", "shared", "5000"), 1, stderr_contains=["shared rail"])
    expect(tarvix("rail", "set", "core", "1800"), 2)

    expect(tarvix("i3c", "init"), 0)
    expect(tarvix("i3c", "daa"), 0, stdout="static  dynamic  bcr   dcr   pid\n")
    assert expect_json(tarvix("i3c", "table", "--json"))["targets"] == []
    expect(tarvix("i3c", "ccc", "ENEC", "int,hj"), 0)
    expect(tarvix("i3c", "ccc", "getpid", "0x08"), 1, stderr_contains=["GETPID"])
    expect(tarvix("i3c", "ccc", "GETFOO"), 2, stderr_contains=["unknown CCC"])
    expect(tarvix("i3c", "ccc", "SETDASA", "0x50"), 2, stderr_contains=["usage: i3c ccc SETDASA"])


# Two I3C targets, decoded by hand from the bits the bus defines: PID 47..33 manufacturer, 32
# random, then part 31..16, instance 15..12, extra 11..0; BCR 7..6 role, then one flag a bit.
PLAIN, RANDOM = 0x04A212345678, 0x04A3DEADBEEF
TARGETS = f"{PLAIN:#x},{RANDOM:#x}:0x67:0x44@0x30"
HEADER = "static  dynamic  bcr   dcr   pid\n"
PLAIN_TEXT = "04a212345678 (mfr 0x0251, part 0x1234, instance 5)"
RANDOM_TEXT = "04a3deadbeef (mfr 0x0251, random 0xdeadbeef)"
RANDOM_BCR = "controller-capable,speed-limit,ibi,ibi-payload,caps"


def pid_json(pid, text):
    return {"value": f"{pid:012x}", "text": text, "manufacturerId": pid >> 33, "randomValue": bool(pid >> 32 & 1),
            "partId": pid >> 16 & 0xFFFF, "instanceId": pid >> 12 & 0xF, "extraInfo": pid & 0xFFF}


def bcr_json(raw, text):
    flags = ["maxDataSpeedLimitation", "ibiRequestCapable", "ibiPayload", "offlineCapable", "virtualTargetSupport",
             "advancedCapabilities"]
    return {"raw": raw, "text": text, "role": raw >> 6, **{flag: bool(raw >> bit & 1) for bit, flag in enumerate(flags)}}


def row_json(static, dynamic, pid, pid_text, bcr, bcr_text, dcr):
    return {"staticAddress": static, "dynamicAddress": dynamic, "pid": pid_json(pid, pid_text),
            "bcr": bcr_json(bcr, bcr_text), "dcr": dcr}


def group_i3c_targets():
    # ENTDAA goes lowest PID first from 0x08; a static address does not stop a target taking part.
    daa_text = (HEADER + f"0x00    0x08     0x02  0x00  {PLAIN_TEXT}  target,ibi\n"
                f"0x30    0x09     0x67  0x44  {RANDOM_TEXT}  {RANDOM_BCR}\n")
    expect(tarvix("i3c", "daa", i3c=TARGETS), 0, stdout=daa_text)
    assert expect_json(tarvix("i3c", "daa", "--json", i3c=TARGETS))["targets"] == [
        row_json(0, 0x08, PLAIN, PLAIN_TEXT, 0x02, "target,ibi", 0x00),
        row_json(0x30, 0x09, RANDOM, RANDOM_TEXT, 0x67, RANDOM_BCR, 0x44)], "daa --json"
    # Each run is a fresh adapter: nothing addressed, an empty table.
    expect(tarvix("i3c", "table", i3c=TARGETS), 0, stdout=HEADER)

    # Addressed from the start (as a previous run leaves a powered adapter): the rows come in
    # the order the targets got their addresses, and ENTDAA skips the address in use.
    addressed = f"{PLAIN:#x},{RANDOM:#x}:0x67:0x44@0x30=0x08"
    expect(tarvix("i3c", "table", i3c=addressed), 0,
           stdout=HEADER + f"0x30    0x08     0x67  0x44  {RANDOM_TEXT}  {RANDOM_BCR}\n")
    expect(tarvix("i3c", "daa", i3c=addressed), 0,
           stdout=HEADER + f"0x30    0x08     0x67  0x44  {RANDOM_TEXT}  {RANDOM_BCR}\n"
                           f"0x00    0x09     0x02  0x00  {PLAIN_TEXT}  target,ibi\n")

    # The GETs, each checked as text and as JSON; the model answers its configured values.
    both = f"{PLAIN:#x}=0x08,{RANDOM:#x}:0x67:0x44@0x30=0x09"
    for words, text, fields in (
            (["GETPID", "9"], f"pid: {RANDOM_TEXT}\ndata: 0x04 0xa3 0xde 0xad 0xbe 0xef\n",
             {"pid": pid_json(RANDOM, RANDOM_TEXT), "data": [0x04, 0xA3, 0xDE, 0xAD, 0xBE, 0xEF]}),
            (["getbcr", "0x09"], f"bcr: {RANDOM_BCR}\n", {"bcr": bcr_json(0x67, RANDOM_BCR)}),
            (["GETBCR", "0x08"], "bcr: target,ibi\n", {"bcr": bcr_json(0x02, "target,ibi")}),
            (["GETDCR", "0x09"], "dcr: 0x44\n", {"dcr": 0x44}),
            (["GETMWL", "0x08"], "maxWriteLength: 256\n", {"maxWriteLength": 256}),
            (["GETMRL", "0x08"], "maxReadLength: 256\nmaxIbiPayloadSize: null\n",
             {"maxReadLength": 256, "maxIbiPayloadSize": None}),
            (["GETSTATUS", "0x08"], "data: 0x00 0x00\n", {"data": [0, 0]}),
            (["GETSTATUS", "0x08", "0"], "data: 0x00 0x00\n", {"data": [0, 0]}),
            (["GETCAPS", "0x09"], "data: 0x01\n", {"data": [0x01]})):
        expect(tarvix("i3c", "ccc", *words, i3c=both), 0, stdout=text)
        address = int(words[1], 0)
        result = expect_json(tarvix("i3c", "ccc", *words, "--json", i3c=both))
        assert result == {"ccc": words[0].upper(), "address": address, **fields}, (words, result)
    # What a target does not answer: no GETMXDS value, a defining byte it does not know, no
    # target at the address.
    for words in (["GETMXDS", "0x08"], ["GETSTATUS", "0x08", "1"], ["GETCAPS", "0x09", "2"], ["GETPID", "0x0a"]):
        expect(tarvix("i3c", "ccc", *words, i3c=both), 1, stderr_contains=[words[0]])


def group_i3c_setting():
    # Bad entries are reported one line each and skipped; the good ones still attach.
    result = expect(tarvix("i3c", "table", i3c=f"zz,{PLAIN:#x}=0x08,0x1:0x100,0x2@0x30:1,0x3=0x7e,,0x4=0x08"), 0,
                    stdout=HEADER + f"0x00    0x08     0x02  0x00  {PLAIN_TEXT}  target,ibi\n")
    grammar = "is not PID[:BCR[:DCR]][@STATIC][=DYNAMIC]"
    assert result.stderr.splitlines() == [
        f'tarvix-virtual: TARVIX_VIRTUAL_I3C_TARGETS entry "zz" {grammar} (bad PID "zz"); skipped',
        f'tarvix-virtual: TARVIX_VIRTUAL_I3C_TARGETS entry "0x1:0x100" {grammar} (bad BCR "0x100"); skipped',
        f'tarvix-virtual: TARVIX_VIRTUAL_I3C_TARGETS entry "0x2@0x30:1" {grammar} (unexpected ":1"); skipped',
        'tarvix-virtual: cannot attach I3C target "0x3=0x7e" to virtual/0: the dynamic address is reserved or in use',
        'tarvix-virtual: cannot attach I3C target "0x4=0x08" to virtual/0: the dynamic address is reserved or in use',
    ], result.stderr
    # Every plugged adapter gets the targets; decimal fields and a PID without 0x are fine.
    for path in ("virtual/0", "virtual/1"):
        expect(tarvix("i3c", "ccc", "GETDCR", "10", "--path", path, adapters="A,B", i3c="04a212345678:2:200=10"), 0,
               stdout="dcr: 0xc8\n")


def group_usage():
    expect(tarvix(), 2, stderr_contains=["subcommand is required"])
    expect(tarvix("i2c", "get"), 2, stderr_contains=["ADDR is required"])
    error = expect_json(tarvix("i2c", "get", "--json"), 2)
    assert error["error"]["name"] == "USAGE", error
    expect(tarvix("--serial", "A", "--path", "B", "list"), 2)
    for words in ([], ["i2c"], ["i2c", "transfer"], ["spi", "xfer"], ["uart", "monitor"], ["gpio", "monitor"],
                  ["rail", "set"], ["i3c", "ccc"], ["list"]):
        expect(tarvix(*words, "--help"), 0, contains=["Usage:"])
    expect(tarvix("i2c", "transfer", "--help"), 0, contains=["more than one read"])


def group_json():
    # Whatever the command, --json prints one document and nothing else on stdout (the other
    # groups parse the documents of list, info, i2c scan, spi xfer, uart monitor and rail get).
    for words in (["i2c", "get", "0x48", "0"], ["i2c", "dump", "0x50"], ["i2c", "set", "0x50", "0", "1"],
                  ["uart", "send", "x"], ["gpio", "get", "3"], ["gpio", "set", "2", "1"],
                  ["rail", "set", "shared", "1800"], ["i3c", "init"], ["i3c", "daa"], ["i3c", "ccc", "RSTDAA"]):
        expect_json(tarvix(*words, "--json"))
    for words, code, name in ((["i2c", "get", "0x21"], 1, "DEVICE_STATUS"),
                              (["rail", "set", "i3c", "900"], 1, "DEVICE_STATUS"),
                              (["i2c", "transfer", "r1@0x50", "r1"], 2, "USAGE"),
                              (["--timeout", "-5", "list"], 2, "USAGE")):
        error = expect_json(tarvix(*words, "--json"), code)["error"]
        assert error["name"] == name and error["exitCode"] == code and error["message"], error


def group_virtual():
    # --virtual from an environment without LD_PRELOAD: the tool finds the library and re-runs.
    virtual = dict(preload=False, adapters=None)
    expect(tarvix("--virtual", "list", **virtual), 0,
           stdout="0  virtual/0  1fc9:82fc  64  TVX-0001  Tarvix USB Protocol Adapter\n")
    expect(tarvix("i2c", "scan", "--virtual", **virtual), 0, stdout=GRID)
    expect(tarvix("--virtual", "--serial", "TVX-0007", "info", preload=False, adapters="TVX-0007"), 0,
           contains=["serial number:    TVX-0007"])
    env = environment(preload=False, adapters=None)
    env["TARVIX_VIRTUAL_LIBRARY"] = "/nonexistent/libtarvix-virtual.so"
    missing = subprocess.run([TARVIX, "--virtual", "list"], capture_output=True, text=True, env=env, timeout=15)
    expect(missing, 3, stderr_contains=["libtarvix-virtual.so not found", "TARVIX_VIRTUAL_LIBRARY"])


GROUPS = {name[len("group_"):]: function for name, function in globals().items() if name.startswith("group_")}

if __name__ == "__main__":
    try:
        GROUPS[GROUP]()
    except AssertionError as failure:
        print(failure, file=sys.stderr)
        sys.exit(1)
    print(f"tarvix {GROUP}: ok")
