#!/usr/bin/env bash
# The SDK through the real Linux HID stack, in a virtual machine: Debian's kernel with hid, uhid
# and hid-generic, tarvix-uhid as the adapters, and the production library over Debian's
# libhidapi-hidraw, the examples, the tarvix tool and tests/kernel/kernel_guest as the host side.
# QEMU runs with TCG (no KVM needed) and a hard time limit; the guest writes one line per check
# to its serial console, this script repeats them and ends with "N passed, M failed".
#
#   scripts/kernel-e2e.sh
#
# Environment: TARVIX_KERNEL_BUILD (build folder, default build-kernel-e2e; configured if it
# has no CMakeCache.txt), TARVIX_KERNEL_TIMEOUT (seconds for the guest, default 540),
# TARVIX_KERNEL_REPEAT (long frames per adapter, default 100).
# Exits 0 when every check passed, 1 otherwise; exits 0 with a "skipped" line only when QEMU
# cannot run here at all.
set -euo pipefail
cd "$(dirname "$0")/.."
repo=$PWD

build=${TARVIX_KERNEL_BUILD:-$repo/build-kernel-e2e}
timeout_s=${TARVIX_KERNEL_TIMEOUT:-540}
repeat=${TARVIX_KERNEL_REPEAT:-100}
work=$build/kernel-work

# --- what the run needs: QEMU, a static busybox, Debian's kernel --------------------------------
need=()
command -v qemu-system-x86_64 >/dev/null || need+=(qemu-system-x86)
dpkg-query -W -f='${Status}' busybox-static 2>/dev/null | grep -q 'install ok installed' || need+=(busybox-static)
command -v cpio >/dev/null || need+=(cpio)
if [ ${#need[@]} -gt 0 ]; then
  if [ "$(id -u)" -eq 0 ]; then
    echo "== installing ${need[*]}"
    DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${need[@]}" >/dev/null ||
      { apt-get update -q >/dev/null && DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${need[@]}" >/dev/null; } || true
  fi
fi
if ! command -v qemu-system-x86_64 >/dev/null || ! qemu-system-x86_64 --version >/dev/null 2>&1; then
  echo "kernel-e2e: skipped: qemu-system-x86_64 is not installed and cannot be installed here"
  exit 0
fi
for tool in cpio gzip busybox; do
  command -v "$tool" >/dev/null || { echo "kernel-e2e: $tool is missing" >&2; exit 1; }
done

mkdir -p "$work"
package=$(apt-cache depends linux-image-amd64 2>/dev/null | awk '/Depends: linux-image-[0-9]/ { print $2; exit }')
if [ -z "$package" ]; then
  echo "kernel-e2e: cannot find Debian's current linux-image package (apt-cache depends linux-image-amd64)" >&2
  exit 1
fi
if [ ! -d "$work/$package" ]; then
  echo "== fetching $package"
  (cd "$work" && rm -f "$package"_*.deb && apt-get download "$package" >/dev/null 2>&1)
  dpkg -x "$work/$package"_*.deb "$work/$package.tmp"
  mv "$work/$package.tmp" "$work/$package"
fi
kroot=$work/$package
vmlinuz=$(ls "$kroot"/boot/vmlinuz-*)
config=$(ls "$kroot"/boot/config-*)
modules_dir=$(ls -d "$kroot"/lib/modules/*)

# --- the programs: production library on the real hidapi, tarvix-uhid, examples, tool, test ----
if [ ! -f "$build/CMakeCache.txt" ]; then
  launcher=()
  command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)
  cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTARVIX_WERROR=ON -DTARVIX_BUILD_TESTS=OFF \
        -DTARVIX_BUILD_BENCHMARKS=OFF "${launcher[@]}" >"$work/configure.log" ||
    { cat "$work/configure.log"; exit 1; }
fi
if ! cmake --build "$build" -j"$(nproc)" --target tarvixsdk tarvix-uhid tarvix device_info list tour i3c_daa \
     >"$work/build.log" 2>&1; then
  tail -n 40 "$work/build.log"
  echo "kernel-e2e: the build failed (whole log: $work/build.log)" >&2
  exit 1
fi
# The guest program is built here, with the tree's warnings, against the library just built.
c++ -std=c++17 -O2 -g -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror -I include \
    tests/kernel/kernel_guest.cpp -o "$build/kernel_guest" -L "$build" -ltarvixsdk -pthread

# --- the initramfs -------------------------------------------------------------------------------
root=$work/initramfs
rm -rf "$root"
mkdir -p "$root"/{bin,dev,proc,sys,run,tmp,lib/modules,opt/tarvix/bin,opt/tarvix/lib}
cp "$(command -v busybox)" "$root/bin/busybox"
# hid, uhid and hid-generic: modules or built in, as this kernel's configuration says.
modules=()
for option in HID:hid UHID:uhid HID_GENERIC:hid-generic; do
  name=${option%%:*} file=${option#*:}
  if grep -q "^CONFIG_$name=m" "$config"; then
    ko=$(find "$modules_dir" -name "$file.ko*" | head -n 1)
    case "$ko" in
      *.xz) xz -dc "$ko" >"$root/lib/modules/$file.ko" ;;
      *.zst) zstd -qdc "$ko" >"$root/lib/modules/$file.ko" ;;
      *) cp "$ko" "$root/lib/modules/$file.ko" ;;
    esac
    modules+=("$file")
  elif ! grep -q "^CONFIG_$name=y" "$config"; then
    echo "kernel-e2e: $package has no CONFIG_$name" >&2
    exit 1
  fi
done
grep -q '^CONFIG_HIDRAW=y' "$config" || { echo "kernel-e2e: $package lacks hidraw" >&2; exit 1; }

programs=("$build/virtual/uhid/tarvix-uhid" "$build/tools/tarvix/tarvix" "$build/kernel_guest")
for example in device_info list tour i3c_daa; do programs+=("$build/examples/$example"); done
cp "${programs[@]}" "$root/opt/tarvix/bin/"
cp -P "$build"/libtarvixsdk.so* "$root/opt/tarvix/lib/"
# Every shared library they load, at the path the dynamic linker looks for it.
for lib in $(LD_LIBRARY_PATH="$build" ldd "${programs[@]}" "$build/libtarvixsdk.so" 2>/dev/null |
             awk '/=> \// { print $3 } /^\t\/lib/ { print $1 }' | sort -u); do
  case "$lib" in "$build"/*) continue ;; esac
  mkdir -p "$root$(dirname "$lib")"
  cp -L "$lib" "$root$lib"
done
# libudev reads /etc/udev/udev.conf if present; an empty configuration is the default one.
mkdir -p "$root/etc/udev" "$root/run/udev"
: >"$root/etc/udev/udev.conf"

cat >"$root/init" <<EOF
#!/bin/busybox sh
/bin/busybox --install -s /bin
mount -t proc proc /proc
mount -t sysfs sysfs /sys
mount -t devtmpfs devtmpfs /dev
export PATH=/opt/tarvix/bin:/bin LD_LIBRARY_PATH=/opt/tarvix/lib HOME=/tmp
for module in ${modules[*]}; do insmod /lib/modules/\$module.ko || echo "FAIL - insmod \$module: status \$?"; done
echo "=== guest begin"
report() { if [ "\$2" -eq 0 ]; then echo "ok - \$1: \$3"; else echo "FAIL - \$1: exit \$2 \$3"; fi; }
[ -c /dev/uhid ]; report "/dev/uhid" \$? "kernel \$(uname -r)"

# The examples and the tool, unchanged, on one 64-byte adapter.
tarvix-uhid TVX-0001@64 </dev/null >/tmp/uhid.log 2>&1 &
uhid=\$!
n=0; until tarvix list 2>/dev/null | grep -q TVX-0001 || [ \$n -ge 100 ]; do sleep 0.1; n=\$((n+1)); done
out=\$(tarvix list 2>&1); report "tarvix list" \$? "\$(echo "\$out" | tr '\n' ' ')"
out=\$(device_info serial:TVX-0001 2>&1); status=\$?
echo "\$out" | grep -q 'serial number: *TVX-0001' || status=1
report "device_info by serial" \$status "\$(echo "\$out" | grep -E 'serial|product' | tr -s ' ' | tr '\n' ' ')"
path=\$(tarvix list 2>/dev/null | awk '/TVX-0001/ { print \$2; exit }')
out=\$(device_info "path:\$path" 2>&1); report "device_info by path" \$? "\$path"
out=\$(tour serial:TVX-0001 2>&1); report "tour (rails, GPIO, I2C, SPI, UART)" \$? "\$(echo "\$out" | tail -n 1)"
out=\$(i3c_daa serial:TVX-0001 2>&1); report "i3c_daa (I3C)" \$? "\$(echo "\$out" | tail -n 1)"
out=\$(tarvix --adapter serial:TVX-0001 i2c scan 2>&1); status=\$?
echo "\$out" | grep -q '50' || status=1
report "tarvix i2c scan" \$status "\$(echo "\$out" | grep -c -- '--') rows"
kill \$uhid; wait \$uhid

guest() {
  start=\$(date +%s)
  kernel_guest --uhid /opt/tarvix/bin/tarvix-uhid "\$@"
  status=\$?
  # Its exit status counts its failed checks (already reported); 100 and more: it did not finish.
  [ \$status -lt 100 ]; report "kernel_guest \$* finished" \$? "\$((\$(date +%s) - start)) s"
}
guest --repeat $repeat TVX-0001@64
guest --repeat $repeat --measure TVX-1024@1024
guest --repeat 10 TVX-0002@64 TVX-0003@1024

# The kernel's ring buffer keeps every level (uhid's overflow is a warning), whatever the console shows.
full=\$(dmesg | grep -c -i 'queue is full')
[ "\$full" -eq 0 ]; report "uhid output queue never full" \$? "\$full overflow messages in dmesg"
echo "=== dmesg (hid)"
dmesg | grep -i -E 'hid|queue' | tail -n 40
echo "=== guest end"
poweroff -f
EOF
chmod +x "$root/init"
(cd "$root" && find . | cpio -o -H newc --quiet | gzip -1) >"$work/initramfs.gz"

# --- the run -------------------------------------------------------------------------------------
log=$work/console.log
echo "== booting $package under QEMU (TCG, ${timeout_s} s at most)"
started=$(date +%s)
# One virtual CPU: with two, a busy host that deschedules one vCPU thread lets the other run on,
# and guest threads starve each other for tens of milliseconds, which overflows uhid's and
# hidraw's queues in ways no real machine does.
set +e
timeout --kill-after=10 "$timeout_s" qemu-system-x86_64 -accel tcg -cpu max -smp 1 -m 1024 \
  -kernel "$vmlinuz" -initrd "$work/initramfs.gz" \
  -append "console=ttyS0 panic=-1 quiet loglevel=4" \
  -nographic -no-reboot </dev/null >"$log" 2>&1
qemu_status=$?
set -e
tr -d '\r' <"$log" >"$log.txt"
echo "== guest finished in $(($(date +%s) - started)) s (QEMU status $qemu_status); console in $log.txt"

passed=$(grep -c '^ok - ' "$log.txt" || true)
failed=$(grep -c '^FAIL - ' "$log.txt" || true)
grep -E '^(ok|FAIL|info) - ' "$log.txt" || true
if ! grep -q '^=== guest end' "$log.txt"; then
  echo "FAIL - guest finished: no end marker (QEMU status $qemu_status; timeout ${timeout_s} s)"
  grep -v -E '^(ok|FAIL|info) - ' "$log.txt" | tail -n 20
  failed=$((failed + 1))
fi
if [ "$passed" -eq 0 ]; then
  failed=$((failed + 1))
fi
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
