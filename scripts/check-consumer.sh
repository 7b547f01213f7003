#!/usr/bin/env bash
# Installs AudAtoms (library, headers, CMake package, pkg-config file and the audatoms
# tool) from a configured build folder into a temporary prefix, then builds
# examples/consumer against that installation twice, with find_package(AudAtoms CONFIG)
# and with pkg-config, and runs both programs and the installed tool.
# Usage: scripts/check-consumer.sh [BUILD_DIR]   (default: build, built by `make build`)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

cmake --build "$build" -j"$(nproc)" --target AudAtoms AudPlatform >/dev/null
if [[ -f $build/tools/audatoms ]] || grep -q '^AUDATOMS_BUILD_TOOLS:BOOL=ON' "$build/CMakeCache.txt"; then
  cmake --build "$build" -j"$(nproc)" --target audatoms >/dev/null
fi
cmake --install "$build" --prefix "$prefix" >/dev/null
echo "check-consumer: installed into $prefix"

# 1. CMake package.
cmake -S "$root/examples/consumer" -B "$work/cmake-build" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$work/cmake-build" >/dev/null
"$work/cmake-build/audatoms_consumer"

# 2. pkg-config.
pcdir=$(dirname "$(find "$prefix" -name audatoms.pc | head -n 1)")
libdir=$(PKG_CONFIG_PATH=$pcdir pkg-config --variable=libdir audatoms)
# shellcheck disable=SC2046
c++ -std=c++20 "$root/examples/consumer/main.cpp" -o "$work/consumer-pc" \
  $(PKG_CONFIG_PATH=$pcdir pkg-config --cflags --libs audatoms) -Wl,-rpath,"$libdir"
"$work/consumer-pc"

# 3. The installed tool runs from the prefix.
if [[ -x $prefix/bin/audatoms ]]; then
  "$prefix/bin/audatoms" --version
  "$prefix/bin/audatoms" cadence --rate 48000 --fps 29.97 >/dev/null
fi
echo "check-consumer: find_package and pkg-config builds ran"
