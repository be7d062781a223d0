#!/usr/bin/env python3
"""Sets up I2C bus 0 at 100 kHz and prints the address of every target that answers.

    i2c_scan.py [SELECTOR]   SELECTOR: serial:SERIAL, path:PATH or an index from list.py
"""
import sys

import _example
import tarvix


def main(argv: list) -> int:
    with _example.adapter(argv, "i2c_scan") as dev:  # a failed command ends the program, saying why
        dev.rails.set_shared(3300)
        dev.i2c.init(bus=0, frequency=100_000)
        found = dev.i2c.scan(bus=0)
    print("I2C bus 0: " + (" ".join("0x%02x" % a if a < 0x80 else "0x%03x" % a for a in found)
                           or "no target answered"))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
