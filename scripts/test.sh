#!/usr/bin/env bash
# Sets up, builds and runs every test.  --sanitize uses the ASan+UBSan build.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
build_dir=$(bash scripts/build.sh "$@" | tail -n 1)
cd "$build_dir"
ctest --output-on-failure -j "$(nproc)"
