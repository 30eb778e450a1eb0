// libqrbcore: the allocation service of the transform library.
//
// The WHT kernels (when called without scratch) and the DCT-IV InitAlloc and
// Free are its only users. Blocks are aligned to 64 bytes: a DCT-IV arena
// placed in one needs no repair, vector scratch can use aligned moves, and
// the plan's long scratch arrays start on cache lines, which the streaming
// stores of long transforms need to write whole lines. The C library's
// allocator is thread-safe, so these are too.
#include <cstdint>
#include <cstdlib>

#define QRBCORE_API extern "C" __attribute__((visibility("default")))

namespace {
constexpr std::size_t kAlignment = 64;
}

QRBCORE_API void* qrbMalloc(std::int32_t size) {
    if (size <= 0) return nullptr;
    void* p = nullptr;
    if (posix_memalign(&p, kAlignment, static_cast<std::size_t>(size)) != 0) return nullptr;
    return p;
}

QRBCORE_API void qrbFree(void* ptr) {
    std::free(ptr);  // free(nullptr) is a no-op
}
