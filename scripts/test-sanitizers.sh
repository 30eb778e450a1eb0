#!/usr/bin/env bash
# Sanitizer lane, x86-64:
#  1. Clang, AddressSanitizer and UndefinedBehaviorSanitizer, strict (the
#     first report ends the program): the whole test suite, the fuzz targets
#     included, except the tests labelled `uninstrumented`, which read
#     machine code, stack sizes or an installed package and only hold for a
#     plain build;
#  2. GCC, ThreadSanitizer: the tests labelled `concurrency`. (The shared
#     ThreadSanitizer runtime of Debian 12's Clang crashes at start-up, and
#     the library needs a shared runtime; GCC's works.)
# The library and its companion are shared libraries linked with
# --no-undefined, so the sanitizer runtime is linked as a shared library
# too; Clang's is found through an rpath. The fuzz targets list the C++
# runtime before it (libFuzzer brings it in first); neither defines the
# allocator, so the sanitizer's still comes before the C library's and the
# order is accepted.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc)

runtime_dir=$(dirname "$(clang -print-file-name=libclang_rt.asan-x86_64.so)")
configure() {  # configure BUILD_DIR FLAGS LINK_FLAGS
  cmake -S . -B "$1" -DCMAKE_BUILD_TYPE=Release -DQRBGEN_BENCH=OFF -DQRBGEN_EXAMPLES=OFF \
    -DCMAKE_C_FLAGS="$2" -DCMAKE_CXX_FLAGS="$2" -DCMAKE_EXE_LINKER_FLAGS="$3" -DCMAKE_SHARED_LINKER_FLAGS="$3"
}

# The fuzz targets get coverage feedback from the library's code as well.
asan="-fsanitize=address,undefined -fno-sanitize-recover=all -fsanitize=fuzzer-no-link -shared-libsan -fno-omit-frame-pointer"
CC=clang CXX=clang++ configure build-asan "$asan" "$asan -Wl,-rpath,$runtime_dir"
cmake --build build-asan -j"$jobs"
ASAN_OPTIONS=detect_leaks=1:strict_string_checks=1:detect_stack_use_after_return=1:verify_asan_link_order=0 \
UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  ctest --test-dir build-asan --output-on-failure -j"$jobs" -LE uninstrumented

tsan="-fsanitize=thread -fno-omit-frame-pointer"
CC=gcc CXX=g++ configure build-tsan "$tsan" "$tsan"
cmake --build build-tsan -j"$jobs" --target concurrency_test
TSAN_OPTIONS=halt_on_error=1 ctest --test-dir build-tsan --output-on-failure -j"$jobs" -L concurrency
