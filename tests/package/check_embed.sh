#!/usr/bin/env bash
# Configures a project that embeds the source tree (tests/package/embed) with the test, benchmark
# and tool dependencies made unfindable: configuring succeeds only if none of them is needed.
set -euo pipefail
source_dir=$1
work=$2
here=$(cd "$(dirname "$0")" && pwd)
rm -rf "$work"
cmake -S "$here/embed" -B "$work" -DTARVIX_SOURCE_DIR="$source_dir" \
  -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON -DCMAKE_DISABLE_FIND_PACKAGE_benchmark=ON \
  -DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON -DCMAKE_DISABLE_FIND_PACKAGE_nlohmann_json=ON \
  -DCMAKE_DISABLE_FIND_PACKAGE_Doxygen=ON >"$work.log" 2>&1 || { cat "$work.log"; exit 1; }
echo "tarvixsdk embeds with add_subdirectory: library and virtual adapter only, nothing else needed"
