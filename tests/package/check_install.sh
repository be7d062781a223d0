#!/usr/bin/env bash
# Installs the built tree into a scratch prefix and builds applications against it: through
# find_package(tarvixsdk) as a C++14 project (the targets must raise it to C++17), and through
# pkg-config; one of each links the virtual adapter ahead of the SDK and talks to it. Checks the
# sonames of both libraries.
#   check_install.sh BUILD_DIR WORK_DIR VERSION
set -euo pipefail
build=$1
work=$2
version=$3
here=$(cd "$(dirname "$0")" && pwd)
rm -rf "$work"
mkdir -p "$work"
cmake --install "$build" --prefix "$work/prefix" >/dev/null
pcdir=$(ls -d "$work"/prefix/lib*/pkgconfig | head -n 1)
libdir=$(dirname "$pcdir")
export LD_LIBRARY_PATH="$libdir${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"

# Each library records its major version as soname; the installed names lead to it.
for library in tarvixsdk tarvix-virtual; do
  soname=$(readelf -d "$libdir/lib$library.so" | sed -n 's/.*Library soname: \[\(.*\)\]/\1/p')
  if [ "$soname" != "lib$library.so.${version%%.*}" ] || [ ! -e "$libdir/$soname" ]; then
    echo "lib$library.so: soname \"$soname\", expected lib$library.so.${version%%.*} installed beside it" >&2
    exit 1
  fi
  actual=$(PKG_CONFIG_PATH="$pcdir" pkg-config --modversion "$library")
  if [ "$actual" != "$version" ]; then
    echo "$library.pc: version \"$actual\", expected $version" >&2
    exit 1
  fi
done
echo "sonames and pkg-config versions: tarvixsdk and tarvix-virtual $version"

cmake -S "$here/consumer" -B "$work/cmake-consumer" -DCMAKE_PREFIX_PATH="$work/prefix" \
  -DCMAKE_CXX_STANDARD=14 -DCMAKE_CXX_EXTENSIONS=OFF >/dev/null
cmake --build "$work/cmake-consumer" >/dev/null
"$work/cmake-consumer/consumer"
"$work/cmake-consumer/virtual_consumer"
echo "installed package consumed through CMake by a C++14 project"

# pkg-config: the virtual adapter's flags first, so that its hid_* functions come first.
# shellcheck disable=SC2046
c++ -std=c++17 "$here/consumer/main.cpp" -o "$work/pc-consumer" \
  $(PKG_CONFIG_PATH="$pcdir" pkg-config --cflags --libs tarvixsdk)
"$work/pc-consumer"
# shellcheck disable=SC2046
c++ -std=c++17 "$here/consumer/virtual_main.cpp" -o "$work/pc-virtual-consumer" \
  $(PKG_CONFIG_PATH="$pcdir" pkg-config --cflags --libs tarvix-virtual tarvixsdk)
"$work/pc-virtual-consumer"
echo "installed package consumed through pkg-config"

# The tool, when it was built: it runs from the prefix and finds the virtual adapter installed
# beside it (../lib*/), and its bash completion is in place.
if [ -x "$work/prefix/bin/tarvix" ]; then
  test -f "$work/prefix/share/bash-completion/completions/tarvix"
  TARVIX_VIRTUAL_ADAPTERS=TVX-0001 "$work/prefix/bin/tarvix" --virtual list | grep -q '^0  .*TVX-0001'
  echo "installed tarvix runs against the installed virtual adapter"
fi
