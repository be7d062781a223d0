#!/usr/bin/env bash
# Installs the Debian packages tarvixsdk needs to build, test and benchmark, if any is missing.
set -euo pipefail

packages=(build-essential cmake pkg-config libhidapi-dev googletest libgtest-dev libgmock-dev libbenchmark-dev binutils libcli11-dev nlohmann-json3-dev clang-format doxygen python3 python3-pytest python3-venv qemu-system-x86 busybox-static cpio)

missing=()
for pkg in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$pkg")
  fi
done
if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "Installing: ${missing[*]}"
sudo=""
if [ "$(id -u)" -ne 0 ]; then
  sudo="sudo"
fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -q
$sudo apt-get install -y -q --no-install-recommends "${missing[@]}"
