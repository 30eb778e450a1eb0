// The WHT kernels of every order, called directly: any flag, null
// pointers, byte offsets, in place or not, and a scratch buffer that is null,
// aligned or not, of exactly the queried size and full of whatever the input
// holds (NaNs included).
//
// A kernel answers null pointers before the flag and a failed allocation
// last, writes nothing when it fails, allocates nothing with an aligned
// buffer of its own, touches nothing outside its arrays and the buffer's
// queried size, and gives the same numbers whatever the buffer held and
// wherever the arrays are.
#include <algorithm>

#include "fuzz_util.h"
#include "wht_test_util.h"

using namespace qrbfuzz;

namespace {

template <class T>
void run(Input& in, int order) {
    const std::int32_t flag = pickFlag(in);
    const std::uint8_t shape = in.u8();
    const bool nullSrc = (shape & 0x0f) == 1, nullDst = (shape & 0x0f) == 2, inPlace = (shape & 0x10) != 0;
    const bool failAlloc = (shape & 0x20) != 0;
    const std::uint8_t bufferKind = (shape >> 6) % 3;  // null, aligned, misaligned
    const std::size_t srcOff = in.u8() % 64, dstOff = in.u8() % 64, bufferOff = bufferKind == 2 ? 1 + in.u8() % 15 : 0;
    const std::size_t bytes = sizeof(T) << order;
    std::int32_t scratch = -1;
    QRBF_CHECK(qrbtest::Wht<T>::bufferSize(order, &scratch) == StatusOk, "size query", order);

    Array src(bytes, srcOff), dst(inPlace ? 0 : bytes, dstOff), buffer(static_cast<std::size_t>(scratch), bufferOff);
    in.fill(src.data(), bytes);
    in.fill(buffer.data(), buffer.size());
    const std::vector<unsigned char> x(src.data(), src.data() + bytes);
    unsigned char* out = inPlace ? src.data() : dst.data();
    const std::vector<unsigned char> before(out, out + bytes);
    std::uint8_t* buf = bufferKind == 0 ? nullptr : buffer.data();

    allocs().failNext = failAlloc;
    const long live = allocs().live, calls = allocs().calls;
    const Status st = qrbtest::Wht<T>::kernel(order)(nullSrc ? nullptr : src.as<T>(),
                                                      nullDst ? nullptr : reinterpret_cast<T*>(out), flag, buf);
    allocs().failNext = false;
    QRBF_CHECK(allocs().live == live, "leak", order);
    QRBF_CHECK(src.marginsIntact() && dst.marginsIntact() && buffer.marginsIntact(), "outside the arrays", order);
    const bool ownScratch = order >= 8 && bufferKind != 1;
    if (nullSrc || nullDst) {
        QRBF_CHECK(st == StatusNullPointer, "null pointer", st);
    } else if (!validFlag(flag)) {
        QRBF_CHECK(st == StatusBadFlag, "flag", st);
    } else if (ownScratch && failAlloc) {
        QRBF_CHECK(st == StatusNoMemory, "allocation failure", st);
    } else {
        QRBF_CHECK(st == StatusOk, "status", st);
    }
    QRBF_CHECK(allocs().calls == calls + (st == StatusOk || st == StatusNoMemory ? ownScratch : 0), "allocations",
               order);
    if (st != StatusOk) {
        QRBF_CHECK(std::equal(before.begin(), before.end(), out), "written on failure", st);
        return;
    }
    // Aligned, separate arrays and a null buffer give the same numbers.
    Array refSrc(bytes, 0), refDst(bytes, 0);
    std::memcpy(refSrc.data(), x.data(), bytes);
    QRBF_CHECK(qrbtest::Wht<T>::kernel(order)(refSrc.as<T>(), refDst.as<T>(), flag, nullptr) == StatusOk, "reference",
               order);
    QRBF_CHECK(sameValues(out, refDst.data(), bytes, sizeof(T)), "result", order);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input in(data, size);
    const std::uint8_t k = in.u8();
    const int order = 1 + (k >> 1) % 13;
    if (k & 1) run<double>(in, order);
    else run<float>(in, order);
    return 0;
}
