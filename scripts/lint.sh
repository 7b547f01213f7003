#!/usr/bin/env bash
# The house rules as a check: every C++ file is formatted as .clang-format says, and
# the library and platform sources pass the checks of .clang-tidy. Fails on the first
# kind of finding and prints it; changes nothing.
#   scripts/lint.sh            check
#   scripts/lint.sh --fix      reformat every file in place (clang-format only)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
format=clang-format-14
tidy=clang-tidy-14
jobs=$(nproc)

mapfile -t sources < <(git ls-files '*.h' '*.cpp')
if [[ ${1:-} == --fix ]]; then
  printf '%s\0' "${sources[@]}" | xargs -0 -P"$jobs" -n 16 "$format" -i
  exit 0
fi

echo "lint: clang-format on ${#sources[@]} files"
if ! printf '%s\0' "${sources[@]}" | xargs -0 -P"$jobs" -n 16 "$format" --dry-run --Werror; then
  echo "lint: formatting differs (scripts/lint.sh --fix rewrites it)"
  exit 1
fi

# clang-tidy needs the compile commands and the configured headers of a build folder.
build=build-lint
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_EXPORT_COMPILE_COMMANDS=ON \
  -DAUDATOMS_BUILD_TESTS=OFF -DAUDATOMS_BUILD_TOOLS=OFF >/dev/null
mapfile -t units < <(git ls-files 'AudAtoms/*.cpp' 'platform/*.cpp')
echo "lint: clang-tidy on ${#units[@]} library and platform sources"
if ! printf '%s\0' "${units[@]}" | xargs -0 -P"$jobs" -n 1 "$tidy" -p "$build" --quiet 2>/dev/null; then
  echo "lint: clang-tidy findings above"
  exit 1
fi
echo "lint: clean"
