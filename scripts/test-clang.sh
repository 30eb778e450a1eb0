#!/usr/bin/env bash
# Clang lane, x86-64: builds the library, its tests, the fuzz targets and
# the benchmarks with Clang, runs the tests, and checks that every transform
# gives the same bits as in the GCC build of scripts/test-all.sh (build/).
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc)

CC=clang CXX=clang++ cmake -S . -B build-clang -DCMAKE_BUILD_TYPE=Release
cmake --build build-clang -j"$jobs"
ctest --test-dir build-clang --output-on-failure -j"$jobs"

# The generator makes the same kernels whichever compiler built it.
cmake --build build -j"$jobs" --target qrbgen-generate
diff -r build/gen/kernels build-clang/gen/kernels
cmake --build build -j"$jobs" --target kernel_digest
build/tests/frame/kernel_digest >build/kernel_digest.txt
build-clang/tests/frame/kernel_digest >build-clang/kernel_digest.txt
diff build/kernel_digest.txt build-clang/kernel_digest.txt
echo "GCC and Clang builds give the same bits ($(wc -l <build/kernel_digest.txt) transforms, sizes, flags and forms)"
