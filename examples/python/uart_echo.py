#!/usr/bin/env python3
"""Opens the UART at 115200 baud 8N1, sends one line and prints what comes back on RX. With TX
wired to RX the line returns as it was sent; received bytes arrive as UartData notifications.

    uart_echo.py [SELECTOR]   SELECTOR: serial:SERIAL, path:PATH or an index from list.py
"""
import sys

import tarvix

LINE = b"hello from uart_echo\n"


def main(argv: list) -> int:
    if len(argv) > 2 or (len(argv) == 2 and argv[1].startswith("-")):
        print("usage: uart_echo.py [serial:SERIAL | path:PATH | INDEX]", file=sys.stderr)
        return 2
    received = b""
    try:
        with tarvix.Adapter(argv[1] if len(argv) == 2 else None, timeout=1.0) as dev:
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
    except tarvix.TarvixError as error:
        print("uart_echo: %s" % error, file=sys.stderr)
        return 1
    if not received:
        print("uart_echo: nothing came back within one second (is TX wired to RX?)", file=sys.stderr)
        return 1
    text = received.decode(errors="replace")
    print("received: %s" % text, end="" if text.endswith("\n") else "\n")
    return 0 if received == LINE else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv))
