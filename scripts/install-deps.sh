#!/usr/bin/env bash
# Installs the Debian packages that building, testing, benchmarking and fuzzing
# AudAtoms need, when any is missing. Uses apt-get when run as root; otherwise
# prints the command to run and fails.
#   scripts/install-deps.sh          everything but the benchmark-only packages
#   scripts/install-deps.sh bench    those too (make bench)
set -euo pipefail

packages=(
  cmake ninja-build g++ clang libclang-rt-14-dev pkg-config
  libgtest-dev libgmock-dev libbenchmark-dev librapidcheck-dev
  libsndfile1-dev libcli11-dev nlohmann-json3-dev
  clang-format-14 clang-tidy-14
  # audatoms play: the JACK client API and the terminal mixer; its tests start their own
  # dummy server (jackd2) and drive the mixer through tmux.
  libjack-jackd2-dev libncurses-dev jackd2 tmux
  # Outside references for the resampler's comparison test and benchmark only (found
  # with pkg-config in tests/ and bench/; the library itself does not use them).
  libsoxr-dev libsamplerate0-dev
  # The loudness meter's outside reference, for its comparison tests and benchmark
  # only (the library itself never links it).
  libebur128-dev
)
# The job a user would otherwise run, timed beside the render by make bench (audatoms
# bench --ffmpeg): benchmark only, so not installed for building and testing.
if [[ ${1:-} == bench ]]; then packages+=(ffmpeg); fi

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

if [[ $(id -u) -eq 0 ]]; then
  echo "install-deps: installing ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  # jackd2 asks whether to enable realtime limits; answer no so that the install stays
  # non-interactive (the tests run the server without realtime scheduling).
  echo "jackd2 jackd/tweak_rt_limits boolean false" | debconf-set-selections
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}"
else
  echo "install-deps: missing packages: ${missing[*]}" >&2
  echo "install-deps: run: sudo apt-get install ${missing[*]}" >&2
  exit 1
fi
