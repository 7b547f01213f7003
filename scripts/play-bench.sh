#!/usr/bin/env bash
# The real-time player's callback-time benchmark: the render benchmark's session (32
# inputs, level automation and a 3-band equaliser on every input, 4 mix buses; written by
# `audatoms bench --write-session`) played headless on a dummy JACK server of its own at
# 48 kHz, at each period given (default 32 64 256 frames), for SECONDS seconds each.
# Prints, per period, the callback time (wall) as a fraction of the period (p50, p99,
# p99.9, max) and the xrun and underrun counts.
# Usage: scripts/play-bench.sh [BUILD_DIR] [SECONDS] [PERIOD...]
# With PLAY_BENCH_JSON=PREFIX set, each period's full JSON result (wall and processor
# time percentiles) is kept as PREFIX-<period>.json.
# The server runs in realtime mode when the machine allows it (else it is retried
# without; the figures then say so). Figures taken while other work runs are noisy.
set -euo pipefail
build=${1:-build}
seconds=${2:-60}
shift $(( $# > 2 ? 2 : $# )) || true
periods=("$@")
[[ ${#periods[@]} -eq 0 ]] && periods=(32 64 256)
tool="$build/tools/audatoms"
[[ -x "$tool" ]] || { echo "play-bench: $tool is not built" >&2; exit 2; }
work=$(mktemp -d)
server=""
server_pid=""
cleanup() {
  [[ -n "$server_pid" ]] && kill "$server_pid" 2>/dev/null && wait "$server_pid" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
"$tool" --quiet bench --write-session "$work/session" --inputs 32 --seconds "$seconds" > /dev/null

start_server() {  # $1 period, $2 extra jackd flags
  server="audatoms-bench-$$-$1-$RANDOM"
  jackd $2 -n "$server" -d dummy -r 48000 -p "$1" > "$work/jackd.log" 2>&1 &
  server_pid=$!
  for _ in $(seq 100); do
    if ( jack_lsp -s "$server" ) > /dev/null 2>&1; then return 0; fi
    kill -0 "$server_pid" 2>/dev/null || return 1
    sleep 0.1
  done
  return 1
}

printf "%-7s %-9s %8s %8s %8s %8s %6s %9s\n" period mode p50 p99 p99.9 max xruns underruns
for p in "${periods[@]}"; do
  mode=realtime
  if ! start_server "$p" "-R"; then
    kill "$server_pid" 2>/dev/null || true; wait "$server_pid" 2>/dev/null || true
    mode=normal
    start_server "$p" "-r" || { echo "play-bench: jackd did not start:" >&2; cat "$work/jackd.log" >&2; exit 1; }
  fi
  "$tool" --json play "$work/session/session.ini" --server "$server" --no-ui --no-connect \
    --seconds "$seconds" > "$work/out.json"
  [[ -n "${PLAY_BENCH_JSON:-}" ]] && cp "$work/out.json" "$PLAY_BENCH_JSON-$p.json"
  python3 - "$work/out.json" "$p" "$mode" <<'PY'
import json, sys
j = json.load(open(sys.argv[1]))
w = j["callback_wall"]
print("%-7s %-9s %7.1f%% %7.1f%% %7.1f%% %7.1f%% %6d %9d" % (sys.argv[2], sys.argv[3], 100 * w["p50"], 100 * w["p99"],
      100 * w["p999"], 100 * w["max"], j["xruns"], j["underruns"]))
PY
  kill "$server_pid"; wait "$server_pid" 2>/dev/null || true; server_pid=""
done
