#!/usr/bin/env python3
"""Lists the Tarvix adapters attached to this host, one line each, without opening any.

The first column is the index the other examples take as a selector; "serial:<serial>" and
"path:<path>" select the same adapter more durably.

    list.py      exit status 0 when at least one adapter is attached, 1 when none is
"""
import sys

import tarvix


def main() -> int:
    adapters = tarvix.list_adapters()
    if not adapters:
        print("no Tarvix adapter attached")
        return 1
    print("%-5s %-16s %-9s %-6s %s" % ("index", "serial", "usb id", "report", "path"))
    for adapter in adapters:
        print("%-5d %-16s %04x:%04x %-6d %s" % (adapter.index, adapter.serial_number or "-", adapter.vendor_id,
                                                adapter.product_id, adapter.report_size, adapter.path))
    return 0


if __name__ == "__main__":
    sys.exit(main())
