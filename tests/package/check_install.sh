#!/usr/bin/env bash
# Installs the built library into a scratch prefix and builds a tiny consumer against it twice:
# with find_package(tarvixsdk) and with pkg-config.
set -euo pipefail
build=$1
work=$2
here=$(cd "$(dirname "$0")" && pwd)
rm -rf "$work"
mkdir -p "$work"
cmake --install "$build" --prefix "$work/prefix" >/dev/null

cmake -S "$here/consumer" -B "$work/cmake-consumer" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/cmake-consumer" >/dev/null
LD_LIBRARY_PATH="$work/prefix/lib:$work/prefix/lib64:${LD_LIBRARY_PATH:-}" "$work/cmake-consumer/consumer"

libdir=$(ls -d "$work"/prefix/lib*/pkgconfig | head -n 1)
flags=$(PKG_CONFIG_PATH="$libdir" pkg-config --cflags --libs tarvixsdk)
# shellcheck disable=SC2086
c++ -std=c++17 "$here/consumer/main.cpp" -o "$work/pc-consumer" $flags
LD_LIBRARY_PATH="$(dirname "$libdir")" "$work/pc-consumer"
echo "installed package consumed through CMake and pkg-config"

# The tool, when it was built: it runs from the prefix and finds the virtual adapter installed
# beside it (../lib*/), and its bash completion is in place.
if [ -x "$work/prefix/bin/tarvix" ]; then
  test -f "$work/prefix/share/bash-completion/completions/tarvix"
  LD_LIBRARY_PATH="$(dirname "$libdir")" TARVIX_VIRTUAL_ADAPTERS=TVX-0001 \
    "$work/prefix/bin/tarvix" --virtual list | grep -q '^0  .*TVX-0001'
  echo "installed tarvix runs against the installed virtual adapter"
fi
