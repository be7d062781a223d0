#!/usr/bin/env bash
# Checks the formatting, then runs every test in three builds, each with warnings as errors: a
# normal one (which also runs each benchmark once briefly), one under AddressSanitizer and
# UndefinedBehaviorSanitizer, and one under ThreadSanitizer; then a short run of each fuzz
# harness (clang, libFuzzer), and builds the API reference. Any failure, compiler warning or
# sanitizer report fails the run.
#   scripts/test.sh            all of them
#   scripts/test.sh normal     only the named stages (format, normal, asan, tsan, fuzz, docs, kernel)
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh

builds=("$@")
if [ ${#builds[@]} -eq 0 ]; then
  builds=(format normal asan tsan fuzz docs kernel)
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
  # shellcheck disable=SC2086 # $extra is a list of options, or none
  cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_C_FLAGS="$flags" \
        -DCMAKE_EXE_LINKER_FLAGS="$flags" -DCMAKE_SHARED_LINKER_FLAGS="$flags" -DTARVIX_WERROR=ON $extra
  cmake --build "$dir" -j"$jobs"
  # A build whose tests were switched off or lost must not pass: no tests is an error.
  (cd "$dir" && ctest --output-on-failure --no-tests=error -j"$jobs" --timeout 300)
}

for build in "${builds[@]}"; do
  case "$build" in
    format) echo "== format"; scripts/check-format.sh ;;
    normal) run_build normal "" "" ;;
    asan) run_build asan "-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer" "-DTARVIX_BUILD_BENCHMARKS=OFF" ;;
    tsan) run_build tsan "-fsanitize=thread -fno-omit-frame-pointer" "-DTARVIX_BUILD_BENCHMARKS=OFF" ;;
    fuzz) echo "== fuzz smoke run"; scripts/fuzz.sh 15 ;;
    # The API reference: Doxygen fails the build on any warning (an undocumented declaration...).
    docs) echo "== docs build"
          cmake -S . -B build-docs -DTARVIX_BUILD_DOCS=ON -DTARVIX_BUILD_TESTS=OFF -DTARVIX_BUILD_BENCHMARKS=OFF \
                -DTARVIX_BUILD_EXAMPLES=OFF -DTARVIX_BUILD_TOOLS=OFF
          cmake --build build-docs --target docs ;;
    # The library on a real kernel's HID stack, in a virtual machine (scripts/kernel-e2e.sh).
    kernel) echo "== kernel end-to-end run"; scripts/kernel-e2e.sh ;;
    *) echo "unknown stage: $build (format, normal, asan, tsan, fuzz, docs, kernel)" >&2; exit 2 ;;
  esac
done
echo "== all test builds passed: ${builds[*]}"
