# 32-bit x86 build on an x86-64 Debian host (g++-multilib). Programs built
# here run under qemu-i386 (qemu-user), which CTest and the build use through
# CMAKE_CROSSCOMPILING_EMULATOR.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_C_COMPILER gcc)
set(CMAKE_CXX_COMPILER g++)
set(CMAKE_C_FLAGS_INIT "-m32 -msse2 -mfpmath=sse")
set(CMAKE_CXX_FLAGS_INIT "-m32 -msse2 -mfpmath=sse")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-m32")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-m32")
set(CMAKE_LIBRARY_ARCHITECTURE i386-linux-gnu)
find_program(QRBGEN_QEMU_I386 qemu-i386 REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR ${QRBGEN_QEMU_I386})
# Benchmarks need the host's FFTW and Google Benchmark, which are 64-bit only.
set(QRBGEN_BENCH OFF CACHE BOOL "Build the benchmarks" FORCE)
