#!/usr/bin/env bash
# Installs the build tools and libraries that are missing (Debian packages),
# and any further packages named as arguments.
set -euo pipefail
packages=(cmake ninja-build g++ ccache qt6-base-dev libgtest-dev libbenchmark-dev
  pybind11-dev python3-dev python3-numpy python3-pytest python3-matplotlib gfortran "$@")
missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "setup: installing ${missing[*]}"
  SUDO=""
  [ "$(id -u)" -ne 0 ] && SUDO="sudo"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y --no-install-recommends "${missing[@]}"
fi
