#include "arena.h"

namespace qrbg::dct4 {

void* qrbgArenaMalloc(Arena* arena, std::int32_t size) {
    const std::uintptr_t p = arenaCursor(arena);
    arenaSetCursor(arena, p + static_cast<std::uint32_t>(qrbgAlignSize32Bytes(size)));
    return reinterpret_cast<void*>(p);
}

// Release by size only: a plan is always torn down whole, so the sum of the
// sizes brings the cursor back and the order of the calls does not matter.
std::int32_t qrbgArenaFree(Arena* arena, void*, std::int32_t size) {
    const std::int32_t rounded = qrbgAlignSize32Bytes(size);
    arenaSetCursor(arena, arenaCursor(arena) - static_cast<std::uint32_t>(rounded));
    return rounded;
}

EnvList* EnvList___init__(EnvList* node, Arena* arena) {
    node->item = nullptr;
    node->next = nullptr;
    node->arena = arena;
    return node;
}

void* EnvList_add(EnvList* head, void* element) {
    EnvList* last = head;
    while (last->next) last = last->next;
    if (!last->item) {
        last->item = element;  // the first element lives in the head itself
        return element;
    }
    auto* node = static_cast<EnvList*>(qrbgArenaMalloc(head->arena, sizeof(EnvList)));
    EnvList___init__(node, head->arena);
    last->next = node;
    node->item = element;
    return element;
}

void* EnvList_get(const EnvList* head, std::int32_t index) {
    if (index < 0) return nullptr;
    for (; head && index > 0; --index) head = head->next;
    return head ? head->item : nullptr;
}

void EnvList_freeChildren(EnvList* head) { EnvList_freeKnownChildren(head, nullptr); }

void EnvList_freeKnownChildren(EnvList* head, bool (*known)(DelFn)) {
    for (EnvList* node = head; node; node = node->next) {
        if (!node->item) continue;
        auto* h = static_cast<EnvHead*>(node->item);
        if (!known || known(h->del)) h->del(h);
        qrbgArenaFree(node->arena, h, h->size);
    }
}

void EnvList___del__(EnvList* head) {
    EnvList* node = head->next;
    while (node) {
        EnvList* next = node->next;
        qrbgArenaFree(head->arena, node, sizeof(EnvList));
        node = next;
    }
    head->next = nullptr;
}

EnvList* newListHead(Arena* arena) {
    return EnvList___init__(static_cast<EnvList*>(qrbgArenaMalloc(arena, sizeof(EnvList))), arena);
}

void freeList(EnvList* head) {
    if (!head) return;
    EnvList___del__(head);
    qrbgArenaFree(head->arena, head, sizeof(EnvList));
}

Status divisorsIntNonTriv(std::int32_t* out, std::int32_t n) {
    // Larger factors only pay off for longer sequences; the thresholds are
    // cumulative, so 256 takes 16 although it is divisible by 32.
    static constexpr std::int32_t rows[][3] = {{512, 32, 32}, {128, 16, 16}, {32, 8, 8}, {16, 4, 4}, {4, 2, 2}};
    for (const auto& r : rows) {
        if (n >= r[0] && n % r[1] == 0) {
            *out = r[2];
            return StatusOk;
        }
    }
    return StatusBadSize;
}

}  // namespace qrbg::dct4
