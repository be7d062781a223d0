#!/usr/bin/env python3
"""Arms an interrupt on GPIO 1 for both edges, then drives GPIO 0 (wired to GPIO 1) high and low
twice and prints each interrupt as it arrives.

    gpio_watch.py [SELECTOR]   SELECTOR: serial:SERIAL, path:PATH or an index from list.py
"""
import sys

import _example
import tarvix
from tarvix import GpioFunction, GpioLevel, GpioTrigger

STEPS = [GpioLevel.HIGH, GpioLevel.LOW, GpioLevel.HIGH, GpioLevel.LOW]


def main(argv: list) -> int:
    seen, result = 0, 0
    with _example.adapter(argv, "gpio_watch") as dev:
        dev.rails.set_shared(3300)
        # GPIO 0 starts low, so arming GPIO 1 sees no edge.
        dev.gpio.configure(0, GpioFunction.DIGITAL_OUTPUT, GpioLevel.LOW)
        dev.gpio.configure(1, GpioFunction.DIGITAL_INTERRUPT)
        dev.gpio.arm_interrupt(1, GpioTrigger.BOTH_EDGES)
        for level in STEPS:
            name = "high" if level == GpioLevel.HIGH else "low"
            dev.gpio.write(0, level)
            event = next(iter(dev.notifications(timeout=1.0)), None)
            if not isinstance(event, tarvix.GpioInterrupt):
                print("GPIO 0 %-4s -> no interrupt within one second (is GPIO 0 wired to GPIO 1?)" % name)
                result = 1
                continue
            seen += 1
            print("GPIO 0 %-4s -> interrupt on GPIO %d" % (name, event.pin))
        dev.gpio.disarm_interrupt(1)
    print("%d interrupts for %d edges" % (seen, len(STEPS)))
    return result


if __name__ == "__main__":
    sys.exit(main(sys.argv))
