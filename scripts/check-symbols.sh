#!/usr/bin/env bash
# Compares the dynamic symbols that the built shared libraries export with the lists
# checked in under abi/ (demangled, sorted, one per line), so that every change of the
# exported interface is a visible diff. Fails on any difference and prints it.
#   scripts/check-symbols.sh [BUILD_DIR]           check (default build dir: build)
#   scripts/check-symbols.sh [BUILD_DIR] --update  rewrite the lists from the build
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-build}
mode=${2:-check}
status=0
exported() {
  nm -D --defined-only -C "$1" | sed -E 's/^[0-9a-fA-F]+ [A-Za-z] //' | LC_ALL=C sort -u
}
for lib in libAudAtoms libAudPlatform; do
  so=$(ls "$build"/$lib.so.* 2>/dev/null | head -n 1 || true)
  [[ -n $so ]] || { echo "check-symbols: no $lib.so.* in $build" >&2; exit 1; }
  list="$root/abi/$lib.symbols"
  if [[ $mode == --update ]]; then
    exported "$so" >"$list"
    echo "check-symbols: wrote $(wc -l <"$list") symbols to abi/$lib.symbols"
  elif ! diff -u "$list" <(exported "$so") >"$build/$lib.symbols.diff"; then
    echo "check-symbols: $lib exports differ from abi/$lib.symbols (- listed, + built):"
    cat "$build/$lib.symbols.diff"
    status=1
  else
    echo "check-symbols: $lib exports match abi/$lib.symbols ($(wc -l <"$list") symbols)"
  fi
done
exit $status
