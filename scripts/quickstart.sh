#!/usr/bin/env bash
# For a newcomer: installs what is missing, builds, and runs two examples against the virtual
# adapter (no hardware needed): the device information, then a tour of the buses.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build -j"$(nproc)"

# The virtual adapter library is preloaded in place of hidapi; TARVIX_VIRTUAL_ADAPTERS tells it
# which adapters to plug in (here one, with serial number TVX-0001, wired to its default bench:
# an EEPROM and a temperature sensor on I2C bus 0, a SPI flash, GPIO 0 wired to GPIO 1, the
# UART looped back).
export LD_PRELOAD="$PWD/build/virtual/libtarvix-virtual.so" TARVIX_VIRTUAL_ADAPTERS="TVX-0001"
echo
echo "== examples/device_info against a virtual adapter"
build/examples/device_info
echo
echo "== examples/tour against a virtual adapter"
build/examples/tour
echo
echo "== the tarvix tool against the same virtual adapter"
unset LD_PRELOAD
build/tools/tarvix/tarvix --virtual list
build/tools/tarvix/tarvix --virtual i2c scan
build/tools/tarvix/tarvix --virtual --trace info
