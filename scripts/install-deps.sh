#!/usr/bin/env bash
# Installs, from Debian's archive, only the build dependencies that are missing.
# Safe to run any number of times.
set -euo pipefail

packages=(
  cmake ninja-build g++ pkg-config
  libboost-dev
  libopencv-core-dev libopencv-imgproc-dev libopencv-imgcodecs-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  # `make bench` only: libyuv is a reference point, never used by the library.
  libyuv-dev
  libcli11-dev
  # The conversion kernels: portable SIMD with run-time CPU dispatch.
  libhwy-dev
  # `make fuzz`: clang and its runtime libraries (libFuzzer, the sanitizers).
  clang libclang-rt-dev
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "Installing missing packages: ${missing[*]}"
SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
$SUDO apt-get update -qq
DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
