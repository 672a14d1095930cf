#!/usr/bin/env bash
# Sets up, builds and runs the main job.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
build_dir=$(bash scripts/build.sh --release | tail -n 1)
"$build_dir/bin/thermfn"
