#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the benchmarks need,
# when they are missing.
set -euo pipefail
# gnuplot-nox draws the benchmark plot (bench/plot.sh).
pkgs=(cmake make g++ g++-multilib qemu-user googletest libgtest-dev libbenchmark-dev libfftw3-dev binutils pkg-config python3
      clang libclang-rt-dev gnuplot-nox)
missing=()
for p in "${pkgs[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if ((${#missing[@]})); then
  sudo_cmd=""
  [ "$(id -u)" -ne 0 ] && sudo_cmd="sudo"
  $sudo_cmd apt-get update
  DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y --no-install-recommends "${missing[@]}"
fi
