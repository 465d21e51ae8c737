#!/usr/bin/env bash
# Start-up figures of the application on 10,000 records, half of them in
# protected categories:
#
#   bench/bench_startup.sh [BUILD_DIR] [COUNT]     (defaults: build 10000)
#
# Runs bench_startup (the real window, offscreen unless QT_QPA_PLATFORM says
# otherwise) several times and the real vaultix once for its own peak memory.
set -euo pipefail
BUILD=$(cd "${1:-build}" && pwd)
COUNT=${2:-10000}
RUNS=${RUNS:-5}
export QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen}
PASSWORD="bench password"

WORK=$(mktemp -d)
trap 'rm -rf "$WORK"' EXIT
mkdir -p "$WORK/Vaultix"
echo "$PASSWORD" | "$BUILD/vx_demodata" "$WORK/Vaultix/Vaultix.Dat" "$COUNT" --password-stdin
echo "data file: $COUNT records, $(stat -c %s "$WORK/Vaultix/Vaultix.Dat") bytes, platform $QT_QPA_PLATFORM"

for i in $(seq "$RUNS"); do
  echo "--- run $i"
  echo "$PASSWORD" | VX_START_NS=$(date +%s%N) XDG_DATA_HOME=$WORK "$BUILD/bench_startup" 2>/dev/null
done

# Against a file with no records, alternating, so that the ratio holds while the
# machine's speed drifts: the median of the start times and of the ratios.
mkdir -p "$WORK/empty/Vaultix"
echo "$PASSWORD" | "$BUILD/vx_demodata" "$WORK/empty/Vaultix/Vaultix.Dat" 0 --password-stdin
startMs() {
  echo "$PASSWORD" | VX_START_NS=$(date +%s%N) XDG_DATA_HOME=$1 "$BUILD/bench_startup" 2>/dev/null |
    awk '/process start/ {print $6}'
}
startMs "$WORK/empty" >/dev/null
full=() empty=() ratios=()
for i in $(seq "$RUNS"); do
  e=$(startMs "$WORK/empty")
  f=$(startMs "$WORK")
  empty+=("$e") full+=("$f") ratios+=("$(awk -v f="$f" -v e="$e" 'BEGIN {printf "%.2f", f / e}')")
done
median() { printf '%s\n' "$@" | sort -n | awk '{v[NR] = $1} END {print v[int((NR + 1) / 2)]}'; }
echo "--- start to painted list, median of $RUNS: $COUNT records $(median "${full[@]}") ms," \
  "no records $(median "${empty[@]}") ms, ratio $(median "${ratios[@]}")x (at most 1.5x)"

# The real program, left to settle, locked: its own peak memory.
XDG_DATA_HOME=$WORK "$BUILD/vaultix" >/dev/null 2>&1 &
pid=$!
sleep 3
echo "--- vaultix itself, locked, after 3 s: $(grep VmHWM /proc/$pid/status)"
kill "$pid"
wait "$pid" 2>/dev/null || true
