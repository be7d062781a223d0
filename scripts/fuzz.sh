#!/usr/bin/env bash
# Builds the libFuzzer harnesses of tests/fuzz (clang, ASan + UBSan) into build-fuzz and runs each
# for SECONDS (default 20) on a scratch copy of its seed corpus. Prints each harness's executions
# ("#N DONE") and fails on any crash, leak, timeout or sanitizer report; the input that caused it
# is kept in build-fuzz/findings/.
#   scripts/fuzz.sh          20 s per harness
#   scripts/fuzz.sh 600      a long run
# Environment: FUZZ_JOBS (parallel build jobs, default 2), FUZZ_HARNESSES (a space-separated subset
# to run). Each harness runs as one fuzzing process, one after the other.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-20}
jobs=${FUZZ_JOBS:-2}
harnesses=${FUZZ_HARNESSES:-"fuzz_reassembly fuzz_notifications fuzz_firmware fuzz_blocking_calls"}
if ! [[ "$seconds" =~ ^[0-9]+$ ]] || [ "$seconds" -eq 0 ]; then
  echo "usage: scripts/fuzz.sh [SECONDS]" >&2
  exit 2
fi

# --- what the build needs: clang with its fuzzer runtime, CMake, pkg-config, hidapi's header
fuzzer_works() {
  local dir
  dir=$(mktemp -d)
  printf 'extern "C" int LLVMFuzzerTestOneInput(const unsigned char*, unsigned long) { return 0; }\n' >"$dir/t.cpp"
  local ok=0
  command -v clang++ >/dev/null 2>&1 &&
    clang++ -fsanitize=fuzzer,address,undefined "$dir/t.cpp" -o "$dir/t" >/dev/null 2>&1 || ok=1
  rm -rf "$dir"
  return $ok
}

missing=()
for pkg in cmake make pkg-config libhidapi-dev; do
  if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$pkg")
  fi
done
if ! fuzzer_works; then
  missing+=(clang)
  # Debian ships libFuzzer's runtime apart from clang from clang 14 on.
  runtime=$(apt-cache search --names-only '^libclang-rt-[0-9]+-dev$' 2>/dev/null | awk '{print $1}' | sort -V | tail -n1 || true)
  [ -n "$runtime" ] && missing+=("$runtime")
fi
if [ ${#missing[@]} -gt 0 ]; then
  echo "== installing: ${missing[*]}"
  sudo=""
  if [ "$(id -u)" -ne 0 ]; then
    sudo="sudo -n"
  fi
  export DEBIAN_FRONTEND=noninteractive
  $sudo apt-get update -q </dev/null
  $sudo apt-get install -y -q --no-install-recommends "${missing[@]}" </dev/null
  if ! fuzzer_works; then
    # The runtime's name was not known before the package lists were fetched.
    runtime=$(apt-cache search --names-only '^libclang-rt-[0-9]+-dev$' | awk '{print $1}' | sort -V | tail -n1)
    $sudo apt-get install -y -q --no-install-recommends "$runtime" </dev/null
  fi
  fuzzer_works || { echo "clang++ -fsanitize=fuzzer does not work" >&2; exit 1; }
fi

# --- build
echo "== building tests/fuzz into build-fuzz"
CXX=clang++ cmake -S tests/fuzz -B build-fuzz -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTARVIX_WERROR=ON \
  >/dev/null
# A failed build must fail the run, even with harnesses left over from an earlier build.
if ! cmake --build build-fuzz -j"$jobs" -- --no-print-directory >build-fuzz/build.log 2>&1; then
  grep -E 'error|warning' build-fuzz/build.log | head -n 40 >&2 || tail -n 40 build-fuzz/build.log >&2
  echo "== the fuzz harnesses did not build (build-fuzz/build.log)" >&2
  exit 1
fi
grep -E 'warning|Linking' build-fuzz/build.log || true
for harness in $harnesses; do
  [ -x "build-fuzz/$harness" ] || { echo "build-fuzz/$harness was not built" >&2; exit 1; }
done

# --- run
# Inputs longer than these say nothing new: a few reports or frames of the 1024-byte adapter.
max_len() {
  case "$1" in
    fuzz_reassembly) echo 8192 ;;
    fuzz_notifications) echo 2048 ;;
    fuzz_firmware) echo 4096 ;;
    fuzz_blocking_calls) echo 4096 ;;
  esac
}

export ASAN_OPTIONS="abort_on_error=1:detect_leaks=1:allocator_may_return_null=0"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
findings=build-fuzz/findings
status=0
total=0
for harness in $harnesses; do
  corpus="$scratch/$harness"
  mkdir -p "$corpus" "$scratch/artifacts-$harness"
  cp tests/fuzz/corpus/"$harness"/* "$corpus"/ # the tree's seeds are never written to
  log="$scratch/$harness.log"
  echo "== $harness: ${seconds}s"
  set +e
  "build-fuzz/$harness" -max_total_time="$seconds" -max_len="$(max_len "$harness")" -timeout=10 \
    -print_final_stats=1 -artifact_prefix="$scratch/artifacts-$harness/" "$corpus" </dev/null >"$log" 2>&1
  rc=$?
  set -e
  grep -E '^#[0-9]+[[:space:]]+DONE' "$log" | tail -n1 || true
  execs=$(grep -E '^stat::number_of_executed_units:' "$log" | awk '{print $2}' | tail -n1)
  echo "   executions: ${execs:-0}"
  total=$((total + ${execs:-0}))
  if [ $rc -ne 0 ] || grep -qE 'ERROR: (AddressSanitizer|LeakSanitizer|UndefinedBehaviorSanitizer|libFuzzer)|runtime error:|SUMMARY: ' "$log" ||
     [ -n "$(ls -A "$scratch/artifacts-$harness")" ]; then
    echo "!! $harness failed (exit $rc); the end of its log:" >&2
    grep -E 'ERROR|SUMMARY|runtime error|fuzz_[a-z_]+:|#[0-9] 0x' "$log" | head -n 40 >&2 || tail -n 40 "$log" >&2
    mkdir -p "$findings"
    cp "$scratch/artifacts-$harness"/* "$findings"/ 2>/dev/null || true
    cp "$log" "$findings/$harness.log"
    echo "!! inputs and log kept in $findings/ (replay: build-fuzz/$harness <input>)" >&2
    status=1
  fi
done
echo "== total executions: $total"
if [ $status -ne 0 ]; then
  echo "== fuzzing found faults" >&2
fi
exit $status
