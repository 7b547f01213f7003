#!/usr/bin/env bash
# Runs every libFuzzer target in the given folder for a bounded time each, JOBS at a
# time (default 1), and fails on any crash, leak or sanitizer report. Corpora live in
# fuzz/<subsystem>/corpus/<target> (seeds, committed) and grow in the build folder.
# Prints, per target, the executions and the coverage reached (edges "cov" and
# features "ft" of libFuzzer's last status line) and the processor seconds it had. An input that runs longer than
# FUZZ_TIMEOUT seconds (default 25) counts as a hang and fails its target.
#   scripts/run-fuzzers.sh FOLDER [SECONDS] [JOBS]
set -euo pipefail
dir=${1:?fuzz folder}
seconds=${2:-60}
jobs=${3:-1}
root=$(cd "$(dirname "$0")/.." && pwd)
shopt -s nullglob

run_one() {
  local f=$1 name work seeds=()
  name=$(basename "$f")
  work="$dir/corpus-$name"
  mkdir -p "$work"
  for c in "$root"/fuzz/*/corpus/"$name"; do [[ -d $c ]] && seeds+=("$c"); done
  local TIMEFORMAT='%U %S'  # the target's processor time, user and system seconds
  if { time "$f" -max_total_time="$seconds" -timeout="${FUZZ_TIMEOUT:-25}" -print_final_stats=1 \
         -artifact_prefix="$dir/$name-" "$work" "${seeds[@]}" >"$dir/$name.log" 2>&1; } 2>"$dir/$name.cpu"; then
    echo ok >"$dir/$name.status"
  else
    echo failed >"$dir/$name.status"
  fi
}

targets=()
for f in "$dir"/*_fuzz; do [[ -f $f && -x $f ]] && targets+=("$f"); done
echo "=== ${#targets[@]} fuzz targets, ${seconds}s each, $jobs at a time"
running=0
for f in "${targets[@]}"; do
  run_one "$f" &
  running=$((running + 1))
  if (( running >= jobs )); then wait -n || true; running=$((running - 1)); fi
done
wait

status=0
printf '%-44s %14s %8s %8s %8s  %s\n' target executions cov ft 'cpu s' result
for f in "${targets[@]}"; do
  name=$(basename "$f")
  log="$dir/$name.log"
  runs=$(grep -o 'stat::number_of_executed_units: [0-9]*' "$log" | tail -n 1 | grep -o '[0-9]*$' || true)
  last=$(grep -E '^#[0-9]+' "$log" | tail -n 1 || true)
  cov=$(grep -o 'cov: [0-9]*' <<<"$last" | grep -o '[0-9]*' || true)
  ft=$(grep -o 'ft: [0-9]*' <<<"$last" | grep -o '[0-9]*' || true)
  cpu=$(awk '{ printf "%.0f", $1 + $2 }' "$dir/$name.cpu" 2>/dev/null || true)
  result=$(cat "$dir/$name.status" 2>/dev/null || echo failed)
  printf '%-44s %14s %8s %8s %8s  %s\n' "$name" "${runs:-?}" "${cov:-?}" "${ft:-?}" "${cpu:-?}" "$result"
  if [[ $result != ok ]]; then
    tail -n 40 "$log"
    echo "=== $name FAILED (log: $log)"
    status=1
  fi
done
exit $status
