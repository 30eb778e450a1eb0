// The library's allocator as a test sees it. A program that includes this
// header (in exactly one of its files, and exports its symbols) defines
// qrbMalloc and qrbFree itself; the library reaches them through its PLT, so
// these take precedence over the companion library's. They count and record
// every call, fail on request, can hold released blocks back from the
// allocator (so that what a stale pointer reads is still the old memory),
// and otherwise forward to the real ones.
#pragma once

#include <dlfcn.h>

#include <cstdint>
#include <cstdlib>
#include <vector>

namespace qrbtest {

struct AllocLog {
    long mallocs = 0, frees = 0, live = 0;  // calls, and blocks handed out and not yet back
    std::int32_t lastSize = -1;
    void* lastBlock = nullptr;
    void* lastFreed = nullptr;
    int failNext = 0;        // so many of the next allocations fail
    bool holdFrees = false;  // released blocks go to `held` instead
    std::vector<void*> held;
};

inline AllocLog& allocLog() {
    static AllocLog log;
    return log;
}

template <class F>
F nextDefinition(const char* name) {
    void* p = dlsym(RTLD_NEXT, name);
    if (p == nullptr) std::abort();
    return reinterpret_cast<F>(p);
}

// Gives the held blocks to the real allocator and stops holding.
inline void releaseHeld() {
    static const auto real = nextDefinition<void (*)(void*)>("qrbFree");
    for (void* p : allocLog().held) real(p);
    allocLog().held.clear();
    allocLog().holdFrees = false;
}

}  // namespace qrbtest

extern "C" __attribute__((visibility("default"))) void* qrbMalloc(std::int32_t size) {
    static const auto real = qrbtest::nextDefinition<void* (*)(std::int32_t)>("qrbMalloc");
    auto& log = qrbtest::allocLog();
    ++log.mallocs;
    log.lastSize = size;
    if (log.failNext > 0) {
        --log.failNext;
        return log.lastBlock = nullptr;
    }
    log.lastBlock = real(size);
    if (log.lastBlock) ++log.live;
    return log.lastBlock;
}

extern "C" __attribute__((visibility("default"))) void qrbFree(void* p) {
    static const auto real = qrbtest::nextDefinition<void (*)(void*)>("qrbFree");
    auto& log = qrbtest::allocLog();
    ++log.frees;
    log.lastFreed = p;
    if (p) --log.live;
    if (log.holdFrees && p)
        log.held.push_back(p);
    else
        real(p);
}
