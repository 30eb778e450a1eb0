// The WHT kernels of every order, called directly, and the general entries
// of any order: any flag, null pointers, byte offsets, in place or not, and a
// scratch buffer that is null, aligned or not, of exactly the queried size
// and full of whatever the input holds (NaNs included).
//
// A call answers a bad order first (general entry), then null pointers,
// then the flag, and a failed allocation last; it writes nothing when it
// fails, allocates nothing with an aligned buffer of its own, touches
// nothing outside its arrays and the buffer's queried size, and gives the
// same numbers whatever the buffer held and wherever the arrays are.
#include <algorithm>

#include "fuzz_util.h"
#include "wht_test_util.h"

using namespace qrbfuzz;

namespace {

template <class T>
void run(Input& in, std::int32_t order, bool viaEntry) {
    const std::int32_t flag = pickFlag(in);
    const std::uint8_t shape = in.u8();
    const bool nullSrc = (shape & 0x0f) == 1, nullDst = (shape & 0x0f) == 2, inPlace = (shape & 0x10) != 0;
    const bool failAlloc = (shape & 0x20) != 0;
    const std::uint8_t bufferKind = (shape >> 6) % 3;  // null, aligned, misaligned
    const std::size_t srcOff = in.u8() % 64, dstOff = in.u8() % 64, bufferOff = bufferKind == 2 ? 1 + in.u8() % 15 : 0;
    const bool ok = order >= 1 && order <= 13;
    const std::size_t bytes = ok ? sizeof(T) << order : 64;
    std::int32_t scratch = 0;
    QRBF_CHECK(qrbtest::Wht<T>::bufferSize(order, &scratch) == (ok ? StatusOk : StatusBadSize), "size query", order);

    Array src(bytes, srcOff), dst(inPlace ? 0 : bytes, dstOff), buffer(static_cast<std::size_t>(scratch), bufferOff);
    in.fill(src.data(), bytes);
    in.fill(buffer.data(), buffer.size());
    const std::vector<unsigned char> x(src.data(), src.data() + bytes);
    unsigned char* out = inPlace ? src.data() : dst.data();
    const std::vector<unsigned char> before(out, out + bytes);
    std::uint8_t* buf = bufferKind == 0 ? nullptr : buffer.data();
    const auto call = [&](const T* s, T* d, std::uint8_t* b) {
        return viaEntry ? qrbtest::Wht<T>::entry(s, d, order, flag, b) : qrbtest::Wht<T>::kernel(order)(s, d, flag, b);
    };

    allocLog().failNext = failAlloc;
    const long live = allocLog().live, mallocs = allocLog().mallocs;
    const Status st = call(nullSrc ? nullptr : src.as<T>(), nullDst ? nullptr : reinterpret_cast<T*>(out), buf);
    allocLog().failNext = 0;
    QRBF_CHECK(allocLog().live == live, "leak", order);
    QRBF_CHECK(src.marginsIntact() && dst.marginsIntact() && buffer.marginsIntact(), "outside the arrays", order);
    const bool ownScratch = ok && order >= 8 && bufferKind != 1;
    const Status want = !ok                           ? StatusBadSize
                        : nullSrc || nullDst           ? StatusNullPointer
                        : !validFlag(flag)             ? StatusBadFlag
                        : ownScratch && failAlloc      ? StatusNoMemory
                                                       : StatusOk;
    QRBF_CHECK(st == want, "status", st);
    QRBF_CHECK(allocLog().mallocs == mallocs + (st == StatusOk || st == StatusNoMemory ? ownScratch : 0),
               "allocations", order);
    if (st != StatusOk) {
        QRBF_CHECK(std::equal(before.begin(), before.end(), out), "written on failure", st);
        return;
    }
    // Aligned, separate arrays and a null buffer give the same numbers.
    Array refSrc(bytes, 0), refDst(bytes, 0);
    std::memcpy(refSrc.data(), x.data(), bytes);
    QRBF_CHECK(call(refSrc.as<T>(), refDst.as<T>(), nullptr) == StatusOk, "reference", order);
    QRBF_CHECK(sameValues(out, refDst.data(), bytes, sizeof(T)), "result", order);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input in(data, size);
    // Bit 0: the precision; bit 1: through the general entry, at orders in
    // and around 1 to 13 or any 32-bit value.
    const std::uint8_t k = in.u8();
    std::int32_t order = 1 + (k >> 2) % 13;
    if (k & 2) {
        const std::uint8_t how = in.u8();
        order = how < 224 ? static_cast<std::int32_t>(how % 17) - 1 : in.i32();
    }
    if (k & 1) run<double>(in, order, (k & 2) != 0);
    else run<float>(in, order, (k & 2) != 0);
    return 0;
}
