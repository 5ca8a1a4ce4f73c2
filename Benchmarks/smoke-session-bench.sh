#!/usr/bin/env bash
# Times one 120-second smoke session through `tarnwick smoke`, from the process start to the written report:
# Benchmarks/smoke/session-120s-10-specs.json (10 sample specs, two of them dispatched to the gas and ai
# namespaces, 10 expectations, the hero walking back and forth on 118 input events) on the Arena, on the virtual
# clock. Prints each run's wall and CPU seconds and the median wall time; the target is under 1 s.
#
#   Benchmarks/smoke-session-bench.sh [--tarnwick PATH] [--runs N] [--check]
# With --check it exits 1 when the median misses the target (2 when a run does not pass at all).
set -euo pipefail
cd "$(dirname "$0")/.."

tarnwick=build/release/Programs/tarnwick/tarnwick
runs=7
check=0
while [ $# -gt 0 ]; do
  case "$1" in
    --tarnwick) tarnwick="$2"; shift 2 ;;
    --runs) runs="$2"; shift 2 ;;
    --check) check=1; shift ;;
    *) echo "usage: $0 [--tarnwick PATH] [--runs N] [--check]" >&2; exit 2 ;;
  esac
done

spec=Benchmarks/smoke/session-120s-10-specs.json
report=$(mktemp)
trap 'rm -f "$report"' EXIT
TIMEFORMAT='%R %U %S'
walls=()
for ((i = 1; i <= runs; i++)); do
  code=0
  times=$({ time "$tarnwick" smoke --project Samples/Arena "$spec" --report "$report" >/dev/null 2>&1 || code=$?; } 2>&1)
  if [ "$code" -ne 0 ]; then
    echo "run $i: tarnwick smoke exited $code; the spec should pass" >&2
    exit 2
  fi
  read -r wall user sys <<<"$times"
  walls+=("$wall")
  awk -v i="$i" -v w="$wall" -v u="$user" -v s="$sys" 'BEGIN { printf "run %d: %.3fs wall, %.3fs CPU (user %.3f, sys %.3f)\n", i, w, u + s, u, s }'
done
median=$(printf '%s\n' "${walls[@]}" | sort -n | sed -n "$(((runs + 1) / 2))p")
rows=$(grep -o '"samples_retained": [0-9]*' "$report" | head -1 | grep -o '[0-9]*$')
ticks=$(grep -o '"ticks": [0-9]*' "$report" | head -1 | grep -o '[0-9]*$')
echo "median wall ${median}s for a 120 s session (${ticks} ticks, ${rows} rows retained); target under 1 s"
if [ "$check" -eq 1 ] && awk -v m="$median" 'BEGIN { exit !(m >= 1) }'; then exit 1; fi
