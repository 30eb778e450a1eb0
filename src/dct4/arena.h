// Storage of a DCT-IV plan: a bump allocator over the caller's block, a
// singly linked list whose nodes come from the same block, the common head of
// every record kept in such a list, and the choice of a split factor.
//
// Nothing here asks the platform for memory. The block's size is not known
// to the arena: GetSize has already counted every allocation a plan makes.
#pragma once

#include <cstdint>
#include <cstring>

#include "qrbgen.h"

namespace qrbg::dct4 {

// The arena handle is the address of the cursor word, which is the first
// word of the block. The block may sit at any address, so the word is read
// and written without assuming its alignment.
using Arena = unsigned char;

inline std::uintptr_t arenaCursor(const Arena* arena) {
    std::uintptr_t c;
    std::memcpy(&c, arena, sizeof c);
    return c;
}
inline void arenaSetCursor(Arena* arena, std::uintptr_t c) { std::memcpy(arena, &c, sizeof c); }

// Size rounded up to the allocation unit of 32 bytes.
constexpr std::int32_t qrbgAlignSize32Bytes(std::int32_t size) { return (size + 31) & ~31; }

void* qrbgArenaMalloc(Arena* arena, std::int32_t size);
std::int32_t qrbgArenaFree(Arena* arena, void* ptr, std::int32_t size);

// Head shared by every record held in an EnvList: the plan nodes and the
// function objects. The list releases an element through `del` and `size`
// only, so these two fields are all it needs to know of the element.
using DelFn = void (*)(void*);
using AnyFn = void (*)();
struct EnvHead {
    DelFn del;
    std::int32_t size;  // bytes before rounding, as given to the arena
    AnyFn op;           // `plan` of a node, `at` of a function object
    Arena* arena;
};

struct EnvList {
    void* item;  // null while the list is empty
    EnvList* next;
    Arena* arena;
};

EnvList* EnvList___init__(EnvList* node, Arena* arena);
void* EnvList_add(EnvList* head, void* element);
constexpr std::int32_t EnvList_add_mem(std::int32_t n) {
    return qrbgAlignSize32Bytes(static_cast<std::int32_t>(sizeof(EnvList))) * n;
}
void* EnvList_get(const EnvList* head, std::int32_t index);
void EnvList_freeChildren(EnvList* head);
// The same for a teardown that calls no destructor it does not know: an
// element whose `del` is not accepted by `known` is given back to the arena
// without being called.
void EnvList_freeKnownChildren(EnvList* head, bool (*known)(DelFn));
void EnvList___del__(EnvList* head);

// A list head taken from the arena, and its release (nodes first, head last).
EnvList* newListHead(Arena* arena);
void freeList(EnvList* head);

// Split factor of a half-length n; StatusBadSize when n has none.
Status divisorsIntNonTriv(std::int32_t* out, std::int32_t n);

}  // namespace qrbg::dct4
