#!/usr/bin/env bash
# Runs every benchmark program (bench/*_bench) of a build directory.
# Usage: scripts/run-benchmarks.sh BUILD_DIR [extra Google Benchmark flags...]
# Runs are short (PXKIT_BENCH_MIN_TIME seconds per benchmark, default 0.2).
set -euo pipefail

build=${1:?usage: $0 BUILD_DIR [benchmark flags...]}
shift
min_time=${PXKIT_BENCH_MIN_TIME:-0.2}

shopt -s nullglob
programs=("$build"/bench/*_bench)
if [ ${#programs[@]} -eq 0 ]; then
  echo "no benchmark programs in $build/bench (configure with -DPXKIT_BUILD_BENCH=ON)" >&2
  exit 1
fi
for program in "${programs[@]}"; do
  [ -x "$program" ] || continue
  echo "== $(basename "$program")"
  "$program" --benchmark_min_time="$min_time" "$@"
done
