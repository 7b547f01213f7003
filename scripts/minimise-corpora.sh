#!/usr/bin/env bash
# After a fuzz run: merges each target's grown corpus (FOLDER/corpus-<target>) with its
# committed one (fuzz/<subsystem>/corpus/<target>/) into the smallest set of inputs that
# keeps every feature libFuzzer saw, and puts that set in place of the committed one.
# Inputs that once failed (regression inputs, named "crash-*", "leak-*", "timeout-*" or
# "finding-*") are always kept as they are. Prints, per target, the inputs and bytes
# before and after.
#   scripts/minimise-corpora.sh FOLDER [TARGET ...]   (FOLDER: build-fuzz/fuzz)
set -euo pipefail
dir=${1:?fuzz folder}
shift
root=$(cd "$(dirname "$0")/.." && pwd)
shopt -s nullglob
targets=("$@")
if (( ${#targets[@]} == 0 )); then
  for f in "$dir"/*_fuzz; do [[ -x $f ]] && targets+=("$(basename "$f")"); done
fi
printf '%-40s %16s %16s\n' target before after
for name in "${targets[@]}"; do
  committed=("$root"/fuzz/*/corpus/"$name")
  (( ${#committed[@]} == 1 )) || { echo "$name: no committed corpus folder" >&2; exit 1; }
  committed=${committed[0]}
  before="$(find "$committed" -type f | wc -l) / $(du -sb "$committed" | cut -f1)"
  merged=$(mktemp -d)
  "$dir/$name" -merge=1 -timeout="${FUZZ_TIMEOUT:-25}" "$merged" "$committed" "$dir/corpus-$name" \
    >"$dir/$name.merge.log" 2>&1 || { tail -n 20 "$dir/$name.merge.log"; exit 1; }
  for keep in "$committed"/{crash,leak,timeout,finding}-*; do cp "$keep" "$merged/"; done
  find "$committed" -type f -delete
  cp "$merged"/* "$committed"/ 2>/dev/null || true
  rm -rf "$merged"
  after="$(find "$committed" -type f | wc -l) / $(du -sb "$committed" | cut -f1)"
  printf '%-40s %16s %16s\n' "$name" "$before" "$after"
done
