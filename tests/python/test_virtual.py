"""The virtual adapter from Python: its control calls, their errors, and how it is loaded."""

import ctypes

import pytest

import tarvix
import tarvix.virtual


def test_replug_brings_a_session_back(virtual_adapter):
    with tarvix.Adapter(serial="TVX-0001") as dev:
        virtual_adapter.unplug()
        assert not virtual_adapter.plugged
        with pytest.raises(tarvix.NotConnected):
            dev.info()
        virtual_adapter.replug()
    with tarvix.Adapter(serial="TVX-0001") as dev:
        assert dev.info().serial_number == "TVX-0001"


def test_bad_control_arguments_raise_with_the_reason(virtual_adapter):
    with pytest.raises(tarvix.virtual.VirtualAdapterError, match="GPIO pin"):
        virtual_adapter.gpio_drive(9, True)
    with pytest.raises(tarvix.virtual.VirtualAdapterError):
        virtual_adapter.gpio_drive(300, True)  # does not fit the pin byte
    with pytest.raises(tarvix.virtual.VirtualAdapterError, match="no EEPROM"):
        virtual_adapter.i2c_eeprom_contents(0x48)
    with pytest.raises(tarvix.virtual.VirtualAdapterError):
        tarvix.virtual.attach(path=virtual_adapter.path)  # the same path twice
    with pytest.raises(tarvix.virtual.VirtualAdapterError):
        tarvix.virtual.attach(report_size=100)


def test_missing_library_names_the_override(monkeypatch):
    from tarvix import _native
    monkeypatch.setenv(_native.SDK_ENVIRONMENT, "/nonexistent/libtarvixsdk.so")
    with pytest.raises(tarvix.LibraryNotFound, match="TARVIX_LIBRARY"):
        _native._load(_native.SDK_ENVIRONMENT, "libtarvixsdk.so", "tarvixsdk", ctypes.DEFAULT_MODE)
