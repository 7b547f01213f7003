#!/usr/bin/env bash
# Runs every benchmark program in the given folder. A program may print its own
# ratio table after Google Benchmark's report.
set -euo pipefail
dir=${1:?benchmark folder}
shopt -s nullglob
status=0
for b in "$dir"/*_bench; do
  [[ -x $b ]] || continue
  echo "=== $(basename "$b")"
  "$b" --benchmark_min_time=0.2 || status=1
done
exit $status
