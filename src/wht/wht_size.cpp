// Scratch size queries. The sizes are fixed constants of the kernels; the
// query only reports them, so a caller can allocate once and reuse the block.
#include "wht_blocks.h"

namespace {

QRBG_INLINE Status bufferSize(const std::int32_t (&table)[13], std::int32_t order, std::int32_t* size) {
    // One unsigned comparison refuses zero, negative orders and orders above
    // 13; the order is tested first, as in the general entries.
    const std::uint32_t k = static_cast<std::uint32_t>(order) - 1u;
    if (k > 12u) return StatusBadSize;
    if (!size) return StatusNullPointer;
    qrbg::st1(size, table[k]);  // the caller's int may sit at any address
    return StatusOk;
}

}  // namespace

extern "C" QRBG_API Status qrbgWHTGetBufferSize_32f(std::int32_t order, std::int32_t* size) {
    return bufferSize(qrbg::wht::kScratchBytes32f, order, size);
}

extern "C" QRBG_API Status qrbgWHTGetBufferSize_64f(std::int32_t order, std::int32_t* size) {
    return bufferSize(qrbg::wht::kScratchBytes64f, order, size);
}
