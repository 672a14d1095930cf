#!/usr/bin/env bash
# Configures and builds one configuration.
#   scripts/build.sh [--sanitize] [--release]   (build directory: build, build-asan)
set -euo pipefail
cd "$(dirname "$0")/.."
export CCACHE_BASEDIR="${CCACHE_BASEDIR:-$PWD}"
build_dir=build
type=RelWithDebInfo
extra=()
for arg in "$@"; do
  case "$arg" in
    --sanitize) build_dir=build-asan; type=Debug; extra+=(-DTHERM_SANITIZE=ON -DTHERM_BENCHMARKS=OFF) ;;
    --release) type=Release ;;
    *) echo "build.sh: unknown option $arg" >&2; exit 2 ;;
  esac
done
build_dir=${THERM_BUILD_DIR:-$build_dir}
cmake -S . -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE="$type" "${extra[@]}" >/dev/null
cmake --build "$build_dir" -j "$(nproc)"
echo "$build_dir"
