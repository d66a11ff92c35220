#!/usr/bin/env bash
# Installs the Debian packages that building and testing pxkit need.
# Usage: scripts/install-deps.sh [demo|test|bench|all]   (default: test)
#   demo: what `make demo` needs (compiler, Highway, libpng, libtiff, CLI11, cairo)
#   test: demo plus GoogleTest, Google Benchmark, the aarch64 cross tools and the
#         arm64 (multiarch) libraries the tool links, dpkg-dev for the packages
#   bench, all: test plus OpenCV, libyuv, Eigen and LAPACKE for the optional benchmark baselines
# As root it runs apt-get; otherwise it prints the exact command and stops.
set -euo pipefail

group=${1:-test}
packages=(
  cmake make g++ pkg-config libhwy-dev                  # the library (SIMD through Highway)
  libpng-dev libtiff-dev libcli11-dev                   # the pxkit command-line tool
  libcairo2-dev fonts-dejavu-core                       # the tool's pictures: text and shapes
)
case "$group" in
  demo) ;;
  test|bench|all)
    packages+=(
      libgtest-dev googletest libbenchmark-dev          # tests, benchmarks
      g++-aarch64-linux-gnu qemu-user                   # aarch64 cross build, run under qemu
      libpng-dev:arm64 libtiff-dev:arm64 libcairo2-dev:arm64  # the tool in the aarch64 build (multiarch)
      dpkg-dev                                          # dpkg-shlibdeps: Depends of the Debian packages
    )
    [ "$group" = test ] || packages+=(libopencv-dev)    # optional baselines in the benchmarks
    [ "$group" = test ] || packages+=(libyuv-dev)       # libyuv baselines (yuv and colour benchmarks)
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

# arm64 packages come from Debian's multiarch: the architecture is added once.
add_arch=""
for p in "${missing[@]}"; do
  if [[ "$p" == *:arm64 ]] && ! dpkg --print-foreign-architectures | grep -qx arm64; then
    add_arch="dpkg --add-architecture arm64"
  fi
done

if [ "$(id -u)" -ne 0 ]; then
  echo "pxkit needs these packages; install them as root with:"
  echo "  ${add_arch:+$add_arch && }apt-get update && apt-get install -y ${missing[*]}"
  exit 1
fi
[ -n "$add_arch" ] && $add_arch
echo "installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq --no-install-recommends "${missing[@]}"
