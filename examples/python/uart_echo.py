#!/usr/bin/env python3
"""Opens the UART at 115200 baud 8N1, sends one line and prints what comes back on RX. With TX
wired to RX the line returns as it was sent; received bytes arrive as UartData notifications.

    uart_echo.py [SELECTOR]   SELECTOR: serial:SERIAL, path:PATH or an index from list.py
"""
import sys

import _example
import tarvix

LINE = b"hello from uart_echo\n"


def main(argv: list) -> int:
    received = b""
    with _example.adapter(argv, "uart_echo") as dev:
        dev.rails.set_shared(3300)
        dev.uart.init(tarvix.UartBaudRate.BAUD_115200)
        dev.uart.send(LINE)
        print("sent:     %s" % LINE.decode(), end="")
        for event in dev.notifications(timeout=1.0):  # until a second passes without data
            if isinstance(event, tarvix.UartData):
                received += event.data
                if len(received) >= len(LINE):
                    break
        dev.uart.deinit()
    if not received:
        print("uart_echo: nothing came back within one second (is TX wired to RX?)", file=sys.stderr)
        return 1
    text = received.decode(errors="replace")
    print("received: %s" % text, end="" if text.endswith("\n") else "\n")
    return 0 if received == LINE else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv))
