#!/usr/bin/env python3
"""Sets up the I3C controller and bus, runs dynamic address assignment (RSTDAA, then ENTDAA) and
prints the adapter's target table: each target's dynamic and static address, Provisioned ID, BCR
and DCR.

    i3c_daa.py [SELECTOR]   SELECTOR: serial:SERIAL, path:PATH or an index from list.py
"""
import sys

import _example
import tarvix


def main(argv: list) -> int:
    with _example.adapter(argv, "i3c_daa") as dev:
        # 1.8 V bus; 12.5 MHz push-pull, 2.5 MHz open-drain for addressing, 400 kHz for I2C
        # targets. An empty table: ENTDAA finds every target; RSTDAA first makes targets
        # addressed earlier take part again.
        dev.rails.set_i3c(1800)
        dev.i3c.init(tarvix.I3cPushPullRate.RATE_12_5_MHZ, tarvix.I3cOpenDrainRate.RATE_2_5_MHZ,
                     tarvix.I2cTransferRate.RATE_400_KHZ, tarvix.I3cDriveStrength.NORMAL)
        dev.i3c.init_bus()
        dev.i3c.rstdaa()
        dev.i3c.entdaa()
        table = dev.i3c.device_table()
    if not table:
        print("no I3C targets answered")
        return 0
    print("%-8s %-7s %-12s %-4s %s" % ("dynamic", "static", "PID", "BCR", "DCR"))
    for target in table:
        static = "0x%02x" % target.static_address if target.static_address else "-"
        print("0x%02x     %-7s %s 0x%02x 0x%02x" % (target.dynamic_address, static, target.pid.hex(), target.bcr,
                                                   target.dcr))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
