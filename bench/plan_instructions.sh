#!/usr/bin/env bash
# Instructions per point of the compiled plan's batches, counted by callgrind
# inside PlanEvaluator::evaluateBatch over one batch of bench_plan's 1024
# points: a figure that holds on a loaded machine, where timings do not.
#   bench/plan_instructions.sh [build dir] [benchmark regex ...]
# Default: build-rel, the batched cases at orders 0 and 2, one temperature
# and a temperature per point.  THERM_PLAN_BASELINE=1 counts the baseline
# block kernels instead of the AVX2 ones.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build-rel}
shift || true
filters=("$@")
if [ ${#filters[@]} -eq 0 ]; then
  for c in CrFe_BCC CrFeNb_BCC COST507_FCC; do
    for o in 0 2; do
      for m in 0 2; do filters+=("BM_${c}/kernel:0/order:${o}/mode:${m}\$"); done
    done
  done
fi
out=$(mktemp)
trap 'rm -f "$out"' EXIT
for f in "${filters[@]}"; do
  valgrind --tool=callgrind --callgrind-out-file="$out" --toggle-collect='PlanEvaluator::evaluateBatch*' \
    "$build/bin/bench_plan" --benchmark_filter="$f" --benchmark_min_time=0.000001 >/dev/null 2>&1
  # one iteration: the benchmark's first run already exceeds the minimum time under valgrind
  callgrind_annotate "$out" 2>/dev/null |
    awk -v f="$f" '/PROGRAM TOTALS/{gsub(",", "", $1); printf "%-45s %8.1f instructions per point\n", f, $1 / 1024}'
done
