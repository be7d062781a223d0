"""Every command family once through the Python API, against the default bench."""

import pytest

import tarvix
from tarvix import GpioFunction, GpioLevel, GpioTrigger, Rail


@pytest.fixture
def dev(virtual_adapter):
    with tarvix.Adapter(serial=virtual_adapter.serial, timeout=1.0) as adapter:
        yield adapter


def test_list_adapters_reports_serial_and_report_size(virtual_adapter_factory):
    virtual_adapter_factory("TVX-0001")
    virtual_adapter_factory(None, report_size=1024)
    listed = tarvix.list_adapters()
    assert [(a.index, a.serial_number, a.report_size, a.product_id) for a in listed] == [
        (0, "TVX-0001", 64, 0x82FC), (1, None, 1024, 0x82FD)]


def test_device_info_and_rails(dev, virtual_adapter):
    info = dev.info()
    assert (info.manufacturer, info.serial_number, info.firmware_version) == ("Tarvix Instruments", "TVX-0001", "1.0.0")
    dev.rails.set_shared(2500)
    assert dev.rails.shared_voltage() == 2500
    dev.rails.set_i3c(1200)
    assert dev.rails.i3c_voltages() == (1200, 1200)
    virtual_adapter.set_external_supply(Rail.SHARED, 1800)
    dev.rails.use_external(Rail.SHARED)
    assert virtual_adapter.rail_state(Rail.SHARED).measured_millivolts == 1800


def test_gpio_write_read_and_interrupt_through_the_jumper(dev):
    dev.gpio.configure(0, GpioFunction.DIGITAL_OUTPUT, GpioLevel.HIGH)
    dev.gpio.configure(1, GpioFunction.DIGITAL_INTERRUPT)
    assert dev.gpio.read(1) is GpioLevel.HIGH
    dev.gpio.arm_interrupt(1, GpioTrigger.RISING_EDGE)
    dev.gpio.write(0, GpioLevel.LOW)  # a falling edge: not armed
    assert dev.gpio.read(1) is GpioLevel.LOW
    dev.gpio.write(0, GpioLevel.HIGH)
    assert [e.pin for e in dev.notifications(timeout=0.3)] == [1]


def test_i2c_write_and_read_reach_the_bench_targets(dev, virtual_adapter):
    dev.i2c.init(bus=0, frequency=400_000)
    dev.i2c.write(0x50, b"tarvix", register=b"\x10")
    assert virtual_adapter.i2c_eeprom_contents(0x50)[0x10:0x16] == b"tarvix"
    virtual_adapter.i2c_set_temperature(0x48, 30.0)
    raw = dev.i2c.read(0x48, 2, register=b"\x00")
    assert (raw[0] << 4 | raw[1] >> 4) / 16 == 30.0


def test_i3c_daa_ccc_and_private_transfers(dev, virtual_adapter):
    target = tarvix.virtual.I3cTargetConfig(pid=0x0123456789AB, bcr=0x06, max_ibi_payload_size=4,
                                            max_data_speed=b"\x00\x00")
    virtual_adapter.i3c_attach_target(target)
    dev.i3c.entdaa()
    [entry] = dev.i3c.device_table()
    assert (entry.dynamic_address, entry.pid, entry.bcr) == (0x08, bytes.fromhex("0123456789ab"), 0x06)
    assert dev.i3c.getpid(0x08) == bytes.fromhex("0123456789ab")
    assert dev.i3c.getmrl(0x08) == tarvix.MaxReadLength(256, 4)
    assert dev.i3c.getmxds(0x08) == b"\x00\x00"
    dev.i3c.setmwl(64, address=0x08)
    assert dev.i3c.getmwl(0x08) == 64
    dev.i3c.sdr_write(0x08, b"\x01\x02\x03", register=b"\x20")
    assert dev.i3c.sdr_read(0x08, 3, register=b"\x20") == b"\x01\x02\x03"
    assert virtual_adapter.i3c_raise_ibi(target.pid, b"\xaa") is tarvix.I3cEventResult.DELIVERED
    ibi = next(e for e in dev.notifications(timeout=1.0) if isinstance(e, tarvix.I3cIbi))
    assert (ibi.address, ibi.payload) == (0x08, b"\xaa")


def test_device_and_library_errors_raise_with_status_and_name(dev, virtual_adapter):
    with pytest.raises(tarvix.DeviceError) as raised:
        dev.i2c.read(0x50, 1)  # bus not initialised
    assert (raised.value.status, raised.value.name, raised.value.command) == (0x0020, "DEVICE_STATUS", "i2c.read")
    dev.i2c.init()
    with pytest.raises(tarvix.DeviceError):
        dev.i2c.read(0x33, 1)  # nobody answers: NACK
    with pytest.raises(tarvix.InvalidArgument) as raised:
        dev.i2c.read(0x50, 1, register=b"12345")  # five register bytes: refused before sending
    assert raised.value.status is tarvix.StatusCode.INVALID_ARGUMENT
    with pytest.raises(ValueError):
        dev.i2c.read(0x150, 1)  # would be cut to 0x50 by an 8-bit field
    virtual_adapter.drop_next_responses(1)
    with pytest.raises(tarvix.NoResponse):
        dev.rails.shared_voltage()
    dev.close()
    with pytest.raises(tarvix.NotConnected):
        dev.rails.shared_voltage()


def test_connect_failures_say_why(virtual_adapter):
    with pytest.raises(tarvix.ConnectFailed) as raised:
        tarvix.Adapter(serial="TVX-0009")
    assert raised.value.reason is tarvix.ConnectReason.NO_MATCH
    assert "TVX-0009" in str(raised.value)
    with tarvix.Adapter(serial="TVX-0001"):
        with pytest.raises(tarvix.ConnectFailed) as raised:
            tarvix.Adapter(serial="TVX-0001")  # exclusive by default
        assert raised.value.reason is tarvix.ConnectReason.BUSY
