"""Pipelined commands from Python: results in order, each command's own status, outputs decoded."""

import pytest

import tarvix
from tarvix import GpioFunction, GpioLevel


@pytest.fixture
def dev(virtual_adapter):
    with tarvix.Adapter(serial=virtual_adapter.serial, timeout=1.0) as adapter:
        yield adapter


def test_a_pipeline_reads_back_what_it_wrote_in_order(dev, virtual_adapter):
    dev.i2c.init()
    dev.spi.init()
    dev.gpio.configure(0, GpioFunction.DIGITAL_OUTPUT, GpioLevel.LOW)
    dev.gpio.configure(1, GpioFunction.DIGITAL_INPUT)
    virtual_adapter.clear_records()
    with dev.pipeline(window=4) as p:
        write = p.i2c_write(0x50, b"\x11\x22\x33", register=b"\x10")
        p.gpio_write(0, GpioLevel.HIGH)
        level = p.gpio_read(1)
        reads = [p.i2c_read(0x50, 1, register=bytes([0x10 + i])) for i in range(3)]
        jedec = p.spi_transfer(b"\x9f", length=4)
        results = p.run()
    assert len(results) == 7 and write.value is None
    assert level.value is GpioLevel.HIGH
    assert [r.value for r in reads] == [b"\x11", b"\x22", b"\x33"]
    assert jedec.value[1:] == bytes.fromhex("ef3010")
    codes = [int.from_bytes(frame[2:4], "little") for frame in virtual_adapter.requests()]
    assert codes == [0x0904, 0x1402, 0x1403, 0x0905, 0x0905, 0x0905, 0x0D04]


def test_a_failing_command_fails_alone_and_run_raises_it(dev):
    with dev.pipeline() as p:
        before = p.gpio_read(1)
        absent = p.i2c_read(0x50, 1)  # bus 0 not initialised: the adapter refuses this one
        after = p.gpio_read(1)
        with pytest.raises(tarvix.DeviceError):
            p.run()
        assert before.status == 0 and after.status == 0 and absent.status != 0
        with pytest.raises(tarvix.DeviceError):
            absent.value
        assert p.run(check=False)[1] is absent


def test_values_wait_for_run_and_fields_are_checked(dev):
    p = dev.pipeline()
    result = p.gpio_read(1)
    with pytest.raises(RuntimeError):
        result.value
    with pytest.raises(ValueError):
        p.i2c_read(0x50, 70000)
    with pytest.raises(ValueError):
        dev.pipeline(window=0)
    dev.close()
    with pytest.raises(ValueError):
        p.gpio_read(1)  # freed with its adapter
