#!/usr/bin/env bash
# Builds the libFuzzer targets of tests/fuzz with clang (build directory
# build-fuzz) and runs each for a fixed number of inputs, seeded from the
# bundled databases, the reader's corpus, caches made from the small published
# databases and the stored findings (tests/corpus/fuzz/<target>).
#   scripts/fuzz.sh [runs]     (default 2000 inputs per target; THERM_FUZZ_RUNS too)
# A finding stops with the input libFuzzer wrote (crash-*, leak-*, timeout-*):
# keep it as tests/corpus/fuzz/<target>/<name>, fix the fault, and the
# regression test test_fuzz_corpus replays it from then on.
set -euo pipefail
cd "$(dirname "$0")/.."
runs=${1:-${THERM_FUZZ_RUNS:-2000}}

# clang and its runtime (libFuzzer) are needed on this path only
bash scripts/setup.sh clang libclang-rt-14-dev

export CCACHE_BASEDIR="${CCACHE_BASEDIR:-$PWD}"
build=build-fuzz
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ \
  -DTHERM_FUZZ=ON -DTHERM_BENCHMARKS=OFF >/dev/null
cmake --build "$build" -j "$(nproc)"

work="$build/run"
rm -rf "$work"
mkdir -p "$work"/{reader,cache,arguments} "$work/seeds/cache"
# caches of the small published databases as seeds of the cache loader
for db in crfe_bcc_magnetic femn cumg pbsn; do
  "$build/bin/thermfn" phases "data/published/$db.tdb" --cache "$work/seeds/cache/$db.thdb" >/dev/null 2>&1 || true
done

run() {  # target, longest input, then seed folders (those that exist: git keeps no empty folder)
  local target=$1 maxlen=$2 seeds=() folder
  shift 2
  for folder in "$@"; do [ -d "$folder" ] && seeds+=("$folder"); done
  echo "fuzz: $target, $runs inputs"
  (cd "$work" && "../bin/fuzz_$target" -runs="$runs" -max_len="$maxlen" -timeout=20 -rss_limit_mb=2048 \
     -print_final_stats=1 "$target" "${seeds[@]}" 2>"$target.log") || {
    tail -n 40 "$work/$target.log"
    echo "fuzz: $target found a fault; the input is in $work" >&2
    exit 1
  }
  grep -E "stat::number_of_executed_units|stat::new_units_added" "$work/$target.log" | sed "s/^/fuzz: $target /"
}
root=$PWD
run reader 65536 "$root/data" "$root/data/published" "$root/tests/corpus/tdb" "$root/tests/corpus/fuzz/reader"
run cache 262144 "$root/$work/seeds/cache" "$root/tests/corpus/fuzz/cache"
run arguments 4096 "$root/tests/corpus/fuzz/arguments"
echo "fuzz: no findings"
