#!/usr/bin/env python3
"""Writes a few bytes to the EEPROM at 0x50 on I2C bus 0 (a 24C02-style part: one address byte,
8-byte pages) and reads them back.

    eeprom.py [SELECTOR]   SELECTOR: serial:SERIAL, path:PATH or an index from list.py
"""
import sys
import time

import _example
import tarvix

EEPROM_ADDRESS = 0x50
EEPROM_OFFSET = 0x10  # the start of a page: the write must not cross one


def show(label: str, data: bytes) -> None:
    print("%-10s %s  \"%s\"" % (label, data.hex(" "), data.decode("ascii", errors="replace")))


def main(argv: list) -> int:
    written = b"tarvix"
    with _example.adapter(argv, "eeprom") as dev:
        dev.rails.set_shared(3300)
        dev.i2c.init(bus=0, frequency=400_000)
        dev.i2c.write(EEPROM_ADDRESS, written, register=bytes([EEPROM_OFFSET]))
        time.sleep(0.01)  # the part programs the page after the STOP (at most 5 ms)
        read = dev.i2c.read(EEPROM_ADDRESS, len(written), register=bytes([EEPROM_OFFSET]))
    print("EEPROM 0x%02x, offset 0x%02x" % (EEPROM_ADDRESS, EEPROM_OFFSET))
    show("wrote:", written)
    show("read back:", read)
    if read != written:
        print("eeprom: the bytes read back differ from those written", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
