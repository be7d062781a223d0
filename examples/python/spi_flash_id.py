#!/usr/bin/env python3
"""Reads the JEDEC ID of the SPI NOR flash on chip select 0 (command 0x9F: manufacturer, memory
type and capacity bytes).

    spi_flash_id.py [SELECTOR]   SELECTOR: serial:SERIAL, path:PATH or an index from list.py
"""
import sys

import _example
import tarvix

READ_JEDEC_ID = 0x9F


def main(argv: list) -> int:
    with _example.adapter(argv, "spi_flash_id") as dev:
        dev.rails.set_shared(3300)
        # Mode 0, MSB first, 8-bit words, chip select 0 active low, 1 MHz: what every NOR flash
        # takes. The command goes out with the first byte, the ID comes back in the other three.
        dev.spi.init(frequency=1_000_000)
        miso = dev.spi.transfer(bytes([READ_JEDEC_ID]), length=4)
    manufacturer, memory_type, capacity = miso[1:4]
    if (manufacturer, memory_type) in ((0xFF, 0xFF), (0x00, 0x00)):  # MISO floating or held low
        print("spi_flash_id: no flash answered on chip select 0", file=sys.stderr)
        return 1
    size = ", %d KiB" % (1 << (capacity - 10)) if 10 <= capacity < 32 else ""  # log2 of the size in bytes
    print("JEDEC ID: %02X %02X %02X (manufacturer 0x%02X, memory type 0x%02X%s)"
          % (manufacturer, memory_type, capacity, manufacturer, memory_type, size))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
