#!/usr/bin/env bash
# Installs the Debian 12 packages that building and testing VEKmesh needs
# (--fuzz, --windows, --bench: those of the fuzzers, the Windows cross-build
# or the benchmarks as well).
# Idempotent: installs only what is missing. Run as root or with sudo available.
set -euo pipefail

install_flags=()
packages=(build-essential cmake pkg-config libgtest-dev googletest python3
          libpolyclipping-dev libpugixml-dev zlib1g-dev libminizip-dev libboost-dev libcli11-dev
          nlohmann-json3-dev clang-format git
          # the Python package and its tests (numpy, pytest), and pip install in a venv
          python3-numpy python3-pytest python3-setuptools python3-venv python3-pip
          # OpenCASCADE, for the STEP/IGES converter library and its tests
          libocct-data-exchange-dev libocct-modeling-algorithms-dev
          # lib3mf, which a test opens the tool's 3MF files with
          lib3mf-dev
          # three.js, compiled into the tool's report page, and Chromium,
          # which the report's test opens the page in
          libjs-three chromium)
if [ "${1:-}" = "--fuzz" ]; then
  packages+=(clang libclang-rt-14-dev libomp-dev)
fi
if [ "${1:-}" = "--windows" ]; then
  # The cross compiler (posix threads, for OpenMP), Wine to run what it builds,
  # and dpkg-dev for unpacking Debian's ClipperLib source.
  packages+=(g++-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64 wine64 dpkg-dev libz-mingw-w64-dev)
  # Wine recommends fonts, graphics and sound drivers that headless runs of
  # console programs never touch.
  install_flags+=(--no-install-recommends)
fi
if [ "${1:-}" = "--bench" ]; then
  packages+=(libbenchmark-dev libmeshoptimizer-dev libadmesh-dev libcgal-dev libgmp-dev libmpfr-dev libopenmesh-dev libqhull-dev libassimp-dev libopenvdb-dev)
fi

missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo_cmd=()
[ "$(id -u)" -ne 0 ] && sudo_cmd=(sudo)
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -q
"${sudo_cmd[@]}" apt-get install -y -q "${install_flags[@]}" "${missing[@]}"
