"""pytest plugin: emulated adapters for a project's own tests, no hardware needed.

Installed with the package, pytest loads it by itself (entry point ``pytest11``); elsewhere add
``pytest_plugins = ["tarvix.testing"]`` to a conftest.py. Then::

    def test_reads_the_sensor(virtual_adapter):
        with tarvix.Adapter(serial=virtual_adapter.serial) as dev:   # production code, unchanged
            dev.i2c.init()
            assert 0x48 in dev.i2c.scan()

Fixtures:

- ``virtual_adapter``: a freshly plugged emulated adapter with the default bench (serial
  TVX-0001, 64-byte reports); every emulated adapter is unplugged and forgotten afterwards.
- ``virtual_adapter_factory``: a function ``(serial="TVX-0001", report_size=64, bench=True)``
  that plugs in more, for tests of several adapters.
"""

from __future__ import annotations

from typing import Callable, Iterator

import pytest

from . import virtual
from .errors import LibraryNotFound


@pytest.fixture
def virtual_adapter_factory() -> Iterator[Callable[..., virtual.VirtualAdapter]]:
    virtual.reset()
    try:
        yield virtual.attach
    finally:
        virtual.reset()


@pytest.fixture
def virtual_adapter(virtual_adapter_factory: Callable[..., virtual.VirtualAdapter]) -> virtual.VirtualAdapter:
    return virtual_adapter_factory()


def pytest_configure(config: pytest.Config) -> None:
    # The virtual adapter must be loaded before the SDK; a test module that opens an Adapter at
    # import time would otherwise come first. A missing library is reported by the fixtures.
    try:
        virtual.load()
    except (LibraryNotFound, RuntimeError):
        pass
