#!/usr/bin/env bash
# Builds the library and runs every test, in the native x86-64 build and in
# the i386 build (run under qemu-i386).
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc)

cmake -S . -B build -DCMAKE_BUILD_TYPE=Release
cmake --build build -j"$jobs"
ctest --test-dir build --output-on-failure -j"$jobs"

cmake -S . -B build-i386 -DCMAKE_BUILD_TYPE=Release -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-i386.cmake
cmake --build build-i386 -j"$jobs"
# The generator runs natively in one build and under the emulator in the
# other; both must produce the same kernels.
diff -r build/gen/kernels build-i386/gen/kernels
echo "generated kernels are identical in both builds"
ctest --test-dir build-i386 --output-on-failure -j"$jobs"
# The same bits in both builds, for every family: every exported kernel,
# and DCT-IV plans up to 2^20 points, whose tables the library evaluates
# itself rather than taking them from the platform's sine and cosine.
build/tests/frame/kernel_digest >build/kernel_digest.txt
qemu-i386 build-i386/tests/frame/kernel_digest >build-i386/kernel_digest.txt
diff build/kernel_digest.txt build-i386/kernel_digest.txt
echo "x86-64 and i386 builds give the same bits"
