// The ten exported DCT-IV operations: size, build (in a caller's block or in
// one from qrbMalloc), compute and release, in single and double precision.
#include "nodes.h"
#include "qrbg_simd.h"
#include "qrbgen.h"

namespace qrbg::dct4 {
namespace {

// The arena area starts at the first multiple of 32 that leaves room for the
// cursor word: 33 to 64 bytes into the block. GetSize adds these 64 bytes,
// so its figure suffices at any alignment of the block.
constexpr std::uintptr_t kHeader = 64;

// The caller's out-pointers may sit at any address; they are written as
// bytes.
template <class T>
Status getSize(I32 len, I32* pSize) {
    if (!pSize) return StatusNullPointer;
    const I32 s = Ops<T>::env1_mem(len);
    if (s < 0) return StatusBadSize;
    st1(pSize, s + static_cast<I32>(kHeader));
    return StatusOk;
}

template <class T>
Status init(Dct4Spec** ppSpec, I32 len, std::uint8_t* pMem) {
    if (!ppSpec || !pMem) return StatusNullPointer;
    Arena* arena = pMem;
    const auto addr = reinterpret_cast<std::uintptr_t>(pMem);
    arenaSetCursor(arena, addr + kHeader - addr % 32);
    auto* root = static_cast<Env1*>(qrbgArenaMalloc(arena, sizeof(Env1)));
    Ops<T>::env1_init(root, arena, len);
    const Status st = Ops<T>::env1_plan(root);
    if (st != StatusOk) {
        Ops<T>::env1_del(root);
        qrbgArenaFree(arena, root, sizeof(Env1));
        Ops<T>::forget(root);
        return st;
    }
    st1(ppSpec, reinterpret_cast<Dct4Spec*>(root));
    return StatusOk;
}

template <class T>
Status initAlloc(Dct4Spec** ppSpec, I32 len) {
    if (!ppSpec) return StatusNullPointer;
    I32 size = 0;
    if (Status st = getSize<T>(len, &size); st != StatusOk) return st;
    auto* block = static_cast<std::uint8_t*>(qrbMalloc(size));
    const Status st = init<T>(ppSpec, len, block);  // a null block is StatusNullPointer
    if (st != StatusOk && block) qrbFree(block);
    return st;
}

// Free and compute take only a plan they recognise as one of their own
// precision (Ops::recognise); anything else is StatusBadRule, with nothing
// called, written or released.
template <class T>
Status release(Dct4Spec* pSpec) {
    if (!pSpec) return StatusNullPointer;
    auto* root = reinterpret_cast<Env1*>(pSpec);
    if (!Ops<T>::recognise(root)) return StatusBadRule;
    Arena* arena = root->h.arena;
    Ops<T>::env1_del(root);  // through the destructor that recognise compared
    qrbgArenaFree(arena, root, sizeof(Env1));
    // The block leaves with a root that no check recognises: a second Free,
    // or a compute through the stale pointer, is refused for as long as the
    // allocator has not handed the memory out again.
    Ops<T>::forget(root);
    qrbFree(arena);
    return StatusOk;
}

template <class T>
Status transform(const T* pSrc, T* pDst, const Dct4Spec* pSpec) {
    if (!pSpec || !pSrc || !pDst) return StatusNullPointer;
    const auto* root = reinterpret_cast<const Env1*>(pSpec);
    if (!Ops<T>::recognise(root)) return StatusBadRule;
    return Ops<T>::compute(pSrc, pDst, root);
}

}  // namespace
}  // namespace qrbg::dct4

using namespace qrbg::dct4;

extern "C" {

Status qrbgDCT4GetSize_32f(int32_t len, int32_t* pSize) { return getSize<float>(len, pSize); }
Status qrbgDCT4GetSize_64f(int32_t len, int32_t* pSize) { return getSize<double>(len, pSize); }
Status qrbgDCT4Init_32f(Dct4Spec** ppSpec, int32_t len, uint8_t* pMem) { return init<float>(ppSpec, len, pMem); }
Status qrbgDCT4Init_64f(Dct4Spec** ppSpec, int32_t len, uint8_t* pMem) { return init<double>(ppSpec, len, pMem); }
Status qrbgDCT4InitAlloc_32f(Dct4Spec** ppSpec, int32_t len) { return initAlloc<float>(ppSpec, len); }
Status qrbgDCT4InitAlloc_64f(Dct4Spec** ppSpec, int32_t len) { return initAlloc<double>(ppSpec, len); }
Status qrbgDCT4Free_32f(Dct4Spec* pSpec) { return release<float>(pSpec); }
Status qrbgDCT4Free_64f(Dct4Spec* pSpec) { return release<double>(pSpec); }
Status qrbgDCT4_32f(const Qrbg32f* pSrc, Qrbg32f* pDst, Dct4Spec* pSpec) { return transform<float>(pSrc, pDst, pSpec); }
Status qrbgDCT4_64f(const Qrbg64f* pSrc, Qrbg64f* pDst, Dct4Spec* pSpec) { return transform<double>(pSrc, pDst, pSpec); }

}  // extern "C"
