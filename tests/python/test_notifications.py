"""Notifications under load, callbacks off the reader thread, and lying payload lengths."""

import threading
import time

import pytest

import tarvix


@pytest.fixture
def dev(virtual_adapter):
    with tarvix.Adapter(serial=virtual_adapter.serial, timeout=3.0) as adapter:
        yield adapter


def test_a_burst_of_1000_gpio_interrupts_arrives_whole_and_in_order(dev, virtual_adapter):
    pins = [i % 8 for i in range(1000)]
    for pin in pins:
        virtual_adapter.inject_gpio_interrupt(pin)
    events = list(dev.notifications(timeout=1.0))
    assert all(isinstance(e, tarvix.GpioInterrupt) for e in events)
    assert [e.pin for e in events] == pins
    assert dev.dropped_notifications == 0


def test_callbacks_run_on_the_package_thread_and_may_call_commands(dev, virtual_adapter):
    seen = []
    done = threading.Event()

    @dev.on_notification
    def record(event):
        # A blocking command from a callback would deadlock on the library's reader thread.
        seen.append((event.pin, threading.current_thread().name, dev.rails.shared_voltage()))
        if len(seen) == 3:
            done.set()

    for pin in (2, 4, 6):
        virtual_adapter.inject_gpio_interrupt(pin)
    assert done.wait(2.0)
    assert seen == [(2, "tarvix-notifications", 3300), (4, "tarvix-notifications", 3300),
                    (6, "tarvix-notifications", 3300)]


def test_a_failing_callback_is_reported_and_delivery_goes_on(dev, virtual_adapter, capsys):
    after = threading.Event()
    dev.on_notification(lambda event: 1 / 0)
    dev.on_notification(lambda event: after.set())
    virtual_adapter.inject_notification(0x1234, b"\x01")
    assert after.wait(2.0)
    assert isinstance(dev.callback_errors[0], ZeroDivisionError)
    [event] = list(dev.notifications(timeout=0.1))
    assert (type(event), event.kind, event.code) == (tarvix.Notification, tarvix.NotificationKind.UNKNOWN, 0x1234)


def test_lying_payload_lengths_are_kept_to_the_frame(dev, virtual_adapter):
    virtual_adapter.inject_notification(0x1081, b"\xff\x00ab")  # declares 255 bytes, carries 2
    virtual_adapter.inject_notification(0x1981, b"\x08\xc8")  # IBI declaring 200 payload bytes, none
    uart, ibi = list(dev.notifications(timeout=0.3))
    assert uart.data == b"ab" and ibi.payload == b""


def test_iteration_ends_after_the_timeout_without_events(dev):
    started = time.monotonic()
    assert list(dev.notifications(timeout=0.2)) == []
    assert 0.15 < time.monotonic() - started < 1.0
