#!/usr/bin/env bash
# bench/ctl_targets.sh BUILD_DIR [ROUNDS]: velkctl reading 1, 10 and 100
# simulated units (one velkunit --units 100 over loopback) with --targets,
# beside single reads of one unit. Not a test: it prints the figures that
# docs/performance.md quotes. Median wall time of ROUNDS runs (default 5).
set -euo pipefail
build=${1:?build dir}
rounds=${2:-5}
ctl="$build/velkctl"
work=$(mktemp -d)
"$build/tools/velkunit/velkunit" --udp-port 0 --bind ::1 --ident 3000 --units 100 >"$work/unit.log" 2>&1 &
unit=$!
trap 'kill $unit 2>/dev/null; wait $unit 2>/dev/null; rm -rf "$work"' EXIT
for _ in $(seq 50); do grep -q '^udp ' "$work/unit.log" && break; sleep 0.1; done
port=$(awk '/^udp /{print $2; exit}' "$work/unit.log")
mkdir -p "$work/out"

median() { sort -n | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}'; }
timed() {   # prints the wall seconds of one run of "$@"
  local t0 t1
  t0=$(date +%s.%N); "$@" >/dev/null 2>&1 || { echo "failed: $*" >&2; exit 1; }; t1=$(date +%s.%N)
  echo "$t1 - $t0" | bc -l
}

single=$(for _ in $(seq "$rounds"); do timed "$ctl" read --ip ::1 --port "$port" --ident 3000 -o "$work/one.velk"; done | median)
printf 'single read (--ip), one process: %.3f s\n' "$single"
for n in 1 10 100; do
  : >"$work/t$n.csv"
  for i in $(seq 0 $((n - 1))); do echo "ip,::1,$((port + i)),$((3000 + i))" >>"$work/t$n.csv"; done
  for jobs in 1 4 16; do
    [[ $jobs -gt $n ]] && continue
    s=$(for _ in $(seq "$rounds"); do timed "$ctl" read --targets "$work/t$n.csv" --jobs "$jobs" -o "$work/out"; done | median)
    printf '%3d units, --jobs %2d: %.3f s, %.1f ms a unit\n' "$n" "$jobs" "$s" "$(echo "$s * 1000 / $n" | bc -l)"
  done
done
