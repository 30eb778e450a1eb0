// qrbMalloc and qrbFree of the fuzz programs. The program exports them, so
// the library binds to these before the companion library's: they count
// live blocks, fail when the input asks for it, and otherwise forward.
#include <dlfcn.h>

#include "fuzz_util.h"

namespace qrbfuzz {
Allocs& allocs() {
    static Allocs a;
    return a;
}
}  // namespace qrbfuzz

namespace {
template <class F>
F real(const char* name) {
    void* p = dlsym(RTLD_NEXT, name);
    if (!p) std::abort();
    return reinterpret_cast<F>(p);
}
}  // namespace

extern "C" __attribute__((visibility("default"))) void* qrbMalloc(std::int32_t size) {
    static const auto next = real<void* (*)(std::int32_t)>("qrbMalloc");
    auto& a = qrbfuzz::allocs();
    ++a.calls;
    if (a.failNext) {
        a.failNext = false;
        return nullptr;
    }
    void* p = next(size);
    if (p) ++a.live;
    return p;
}

extern "C" __attribute__((visibility("default"))) void qrbFree(void* p) {
    static const auto next = real<void (*)(void*)>("qrbFree");
    if (p) --qrbfuzz::allocs().live;
    next(p);
}
