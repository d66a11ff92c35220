#!/usr/bin/env bash
# Installs the Debian packages that building and testing pxkit need.
# Usage: scripts/install-deps.sh [demo|test|bench|all]   (default: test)
#   demo: what `make demo` needs (compiler, Highway, libpng, libtiff, CLI11)
#   test: demo plus GoogleTest, Google Benchmark and the aarch64 cross tools
#   bench, all: test plus OpenCV, Eigen and LAPACKE (OpenBLAS) for the optional
#               benchmark baselines
# As root it runs apt-get; otherwise it prints the exact command and stops.
set -euo pipefail

group=${1:-test}
packages=(
  cmake make g++ pkg-config libhwy-dev                  # the library (SIMD through Highway)
  libpng-dev libtiff-dev libcli11-dev                   # the pxkit command-line tool
)
case "$group" in
  demo) ;;
  test|bench|all)
    packages+=(
      libgtest-dev googletest libbenchmark-dev          # tests, benchmarks
      g++-aarch64-linux-gnu qemu-user                   # aarch64 cross build, run under qemu
    )
    [ "$group" = test ] || packages+=(libopencv-dev)    # optional baselines in the benchmarks
    [ "$group" = test ] || packages+=(libeigen3-dev liblapacke-dev libopenblas-dev)  # solver baselines
    ;;
  *) echo "usage: $0 [demo|test|bench|all]" >&2; exit 2 ;;
esac

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

if [ "$(id -u)" -ne 0 ]; then
  echo "pxkit needs these packages; install them as root with:"
  echo "  apt-get update && apt-get install -y ${missing[*]}"
  exit 1
fi
echo "installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq --no-install-recommends "${missing[@]}"
