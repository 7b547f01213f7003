#!/usr/bin/env bash
# Runs every benchmark program, and `audatoms bench --ffmpeg` (the render beside FFmpeg
# mixing the same inputs), in each build folder given (BUILD/bench/*_bench,
# BUILD/tools/audatoms), then prints one table of every aim the programs checked: the
# lines they print as "aim: WHAT: RATIO (aim X) met|MISSED", each with its build.
#   scripts/run-benchmarks.sh BUILD [BUILD ...]
set -euo pipefail
(( $# >= 1 )) || { echo "usage: $0 BUILD [BUILD ...]" >&2; exit 2; }
shopt -s nullglob
status=0
aims=$(mktemp)
trap 'rm -f "$aims"' EXIT
for build in "$@"; do
  type=$(sed -n 's/^CMAKE_BUILD_TYPE:[A-Z]*=//p' "$build/CMakeCache.txt" 2>/dev/null || true)
  label="${type:-?} ($build)"
  for b in "$build"/bench/*_bench; do
    [[ -x $b ]] || continue
    echo "=== $(basename "$b"), $label"
    out=$("$b" --benchmark_min_time=0.2) || status=1
    printf '%s\n' "$out"
    grep '^aim: ' <<<"$out" | sed "s|^aim: |$type\t|" >>"$aims" || true
  done
  if [[ -x $build/tools/audatoms ]]; then
    echo "=== audatoms bench --ffmpeg, $label"
    out=$("$build/tools/audatoms" bench --ffmpeg) || status=1
    printf '%s\n' "$out"
    grep '^aim: ' <<<"$out" | sed "s|^aim: |$type\t|" >>"$aims" || true
  fi
done
echo
echo "=== Aims, every build"
printf '%-16s %s\n' build aim
while IFS=$'\t' read -r type line; do printf '%-16s %s\n' "$type" "$line"; done <"$aims"
printf '%s of %s aims met\n' "$(grep -c ' met$' "$aims" || true)" "$(wc -l <"$aims")"
exit $status
