#!/usr/bin/env bash
# For a newcomer: installs what is missing, builds, and runs the device-information example
# against the virtual adapter (no hardware needed).
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build -j"$(nproc)"

echo
echo "== examples/device_info against a virtual adapter"
# The virtual adapter library is preloaded in place of hidapi; TARVIX_VIRTUAL_ADAPTERS tells it
# which adapters to plug in (here one, with serial number TVX-0001).
LD_PRELOAD="$PWD/build/virtual/libtarvix-virtual.so" TARVIX_VIRTUAL_ADAPTERS="TVX-0001" \
  build/examples/device_info
