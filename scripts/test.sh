#!/usr/bin/env bash
# Runs every test in three builds: a normal one, one under AddressSanitizer and
# UndefinedBehaviorSanitizer, and one under ThreadSanitizer; then a short run of each fuzz
# harness (clang, libFuzzer). Any failure or sanitizer report fails the run.
#   scripts/test.sh            all of them
#   scripts/test.sh normal     only the named builds (normal, asan, tsan, fuzz)
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh

builds=("$@")
if [ ${#builds[@]} -eq 0 ]; then
  builds=(normal asan tsan fuzz)
fi
jobs=$(nproc)

# A sanitizer report must end the test that made it.
export ASAN_OPTIONS="abort_on_error=1:detect_leaks=1:strict_string_checks=1:detect_stack_use_after_return=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1"

run_build() {
  local name=$1 flags=$2 extra=$3
  local dir="build-$name"
  echo "== $name build"
  cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_C_FLAGS="$flags" \
        -DCMAKE_EXE_LINKER_FLAGS="$flags" -DCMAKE_SHARED_LINKER_FLAGS="$flags" $extra
  cmake --build "$dir" -j"$jobs"
  (cd "$dir" && ctest --output-on-failure -j"$jobs" --timeout 300)
  # A short soak run keeps the soak program honest: no answer lost or misattributed.
  if [ -x "$dir/bench/soak" ]; then
    "$dir/bench/soak" --calls 3000 --adapters 1,8 --timeout 50
  fi
}

for build in "${builds[@]}"; do
  case "$build" in
    normal) run_build normal "" "" ;;
    asan) run_build asan "-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer" "-DTARVIX_BUILD_BENCHMARKS=OFF" ;;
    tsan) run_build tsan "-fsanitize=thread -fno-omit-frame-pointer" "-DTARVIX_BUILD_BENCHMARKS=OFF" ;;
    fuzz) echo "== fuzz smoke run"; scripts/fuzz.sh 15 ;;
    *) echo "unknown build: $build (normal, asan, tsan, fuzz)" >&2; exit 2 ;;
  esac
done
echo "== all test builds passed: ${builds[*]}"
