#!/usr/bin/env bash
# Runs every libFuzzer target in the given folder for a bounded time each and
# fails on any crash, leak or sanitizer report. Corpora live in fuzz/<subsystem>/corpus/<target>
# (seeds, committed) and grow in the build folder.
set -euo pipefail
dir=${1:?fuzz folder}
seconds=${2:-60}
root=$(cd "$(dirname "$0")/.." && pwd)
shopt -s nullglob
status=0
for f in "$dir"/*_fuzz; do
  [[ -f $f && -x $f ]] || continue
  name=$(basename "$f")
  work="$dir/corpus-$name"
  mkdir -p "$work"
  seeds=()
  for c in "$root"/fuzz/*/corpus/"$name"; do [[ -d $c ]] && seeds+=("$c"); done
  echo "=== $name for ${seconds}s"
  if ! "$f" -max_total_time="$seconds" -print_final_stats=1 -artifact_prefix="$dir/$name-" \
        "$work" "${seeds[@]}" 2>"$dir/$name.log"; then
    tail -n 40 "$dir/$name.log"
    echo "=== $name FAILED (log: $dir/$name.log)"
    status=1
  else
    grep -E 'stat::number_of_executed_units|Done [0-9]+ runs' "$dir/$name.log" | tail -n 2 || true
  fi
done
exit $status
