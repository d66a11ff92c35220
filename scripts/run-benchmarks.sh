#!/usr/bin/env bash
# Runs every benchmark program of a build directory (default build/bench).
# Extra arguments go to Google Benchmark, e.g. --benchmark_filter=640x480.
set -euo pipefail
dir=${1:-build/bench}
shift || true
for program in "$dir"/bench/*_bench; do
  [ -x "$program" ] || continue
  echo "== $(basename "$program")"
  "$program" --benchmark_min_time=0.2 "$@"
done
