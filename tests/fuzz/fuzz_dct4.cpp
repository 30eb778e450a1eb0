// DCT-IV plans: GetSize, Init and InitAlloc on any length, with null
// pointers, any block offset and block contents, and allocation failures;
// then compute on what was built, with null pointers, byte offsets and in
// place; then the other precision's compute and Free on the same plan.
//
// The statuses come in the documented order (pointers, then the length; an
// exhausted allocator is StatusNullPointer), a failing operation leaves its
// outputs untouched, Init stays inside the size GetSize reported, compute
// reads and writes nothing outside its arrays and gives the numbers of the
// same plan on aligned, separate arrays and of a plan built elsewhere, and
// a plan of one precision is refused by the other.
#include <algorithm>

#include "dct4_test_util.h"
#include "fuzz_util.h"

using namespace qrbfuzz;
using dct4test::Api;

namespace {

// Plans above this size are not built: they would only slow the fuzzer.
constexpr std::int32_t kMaxBlock = 1 << 22;

bool supported(std::int32_t n, int maxLog) {
    return n >= 2 && n <= (1 << maxLog) && (n & (n - 1)) == 0;
}

std::int32_t pickLength(Input& in) {
    const std::uint8_t how = in.u8();
    const std::int32_t p = std::int32_t(1) << (in.u8() % 16);
    switch (how % 8) {
        case 0: return in.i32();
        case 1: return p + 1;
        case 2: return 3 * p;
        case 3: return -p;
        default: return p;
    }
}

template <class T>
void computeChecks(Input& in, Dct4Spec* spec, std::int32_t n) {
    using U = std::conditional_t<sizeof(T) == 4, double, float>;
    const std::size_t bytes = sizeof(T) * static_cast<std::size_t>(n);
    const std::uint8_t shape = in.u8();
    const bool nullSrc = (shape & 3) == 1, nullDst = (shape & 3) == 2, nullSpec = (shape & 7) == 3;
    const bool inPlace = (shape & 8) != 0;
    Array src(bytes, in.u8() % 64), dst(inPlace ? 0 : bytes, in.u8() % 64);
    in.fill(src.data(), bytes);
    const std::vector<unsigned char> x(src.data(), src.data() + bytes);
    unsigned char* out = inPlace ? src.data() : dst.data();
    const std::vector<unsigned char> before(out, out + bytes);

    const Status st = Api<T>::run(nullSrc ? nullptr : src.as<T>(), nullDst ? nullptr : reinterpret_cast<T*>(out),
                                  nullSpec ? nullptr : spec);
    QRBF_CHECK(src.marginsIntact() && dst.marginsIntact(), "compute outside its arrays", n);
    if (nullSrc || nullDst || nullSpec) {
        QRBF_CHECK(st == StatusNullPointer, "compute null pointer", st);
        QRBF_CHECK(std::equal(before.begin(), before.end(), out), "written on failure", n);
    } else {
        QRBF_CHECK(st == StatusOk, "compute", st);
        Array refSrc(bytes, 0), refDst(bytes, 0);
        std::memcpy(refSrc.data(), x.data(), bytes);
        QRBF_CHECK(Api<T>::run(refSrc.as<T>(), refDst.as<T>(), spec) == StatusOk, "reference compute", n);
        QRBF_CHECK(sameValues(out, refDst.data(), bytes, sizeof(T)), "alignment or in place changed the result", n);
        if (n <= 4096) {  // a plan built in another block gives the same numbers
            Dct4Spec* other = nullptr;
            QRBF_CHECK(Api<T>::initAlloc(&other, n) == StatusOk, "InitAlloc", n);
            Array again(bytes, 0);
            QRBF_CHECK(Api<T>::run(refSrc.as<T>(), again.as<T>(), other) == StatusOk, "compute", n);
            QRBF_CHECK(sameValues(again.data(), refDst.data(), bytes, sizeof(T)), "block changed the result", n);
            QRBF_CHECK(Api<T>::free(other) == StatusOk, "Free", n);
        }
    }
    // The other precision recognises no plan of this one.
    std::vector<U> u(static_cast<std::size_t>(n), U(1)), v(static_cast<std::size_t>(n), U(3));
    QRBF_CHECK(Api<U>::run(u.data(), v.data(), spec) == StatusBadRule, "foreign compute", n);
    QRBF_CHECK(Api<U>::free(spec) == StatusBadRule, "foreign Free", n);
    QRBF_CHECK(std::all_of(v.begin(), v.end(), [](U a) { return a == U(3); }), "foreign compute wrote", n);
}

template <class T>
void run(Input& in, std::uint8_t op) {
    const std::int32_t n = pickLength(in);
    const bool ok = supported(n, Api<T>::maxLog);
    std::int32_t size = -77;
    const bool nullSize = (op & 0x10) != 0;
    const Status gs = Api<T>::getSize(n, nullSize ? nullptr : &size);
    if (nullSize) {
        QRBF_CHECK(gs == StatusNullPointer, "GetSize null", gs);
        return;
    }
    QRBF_CHECK(gs == (ok ? StatusOk : StatusBadSize), "GetSize", n);
    QRBF_CHECK(ok ? size >= 224 : size == -77, "GetSize value", size);
    if (ok && size > kMaxBlock) return;
    // A refused length gets the smallest block a plan takes: Init may use
    // it before it finds out.
    std::int32_t smallest = 0;
    Api<T>::getSize(2, &smallest);
    const std::int32_t blockSize = ok ? size : smallest;

    Dct4Spec* const marker = reinterpret_cast<Dct4Spec*>(&size);
    Dct4Spec* spec = marker;
    const bool nullPP = (op & 0x20) != 0;
    if ((op & 1) == 0) {  // Init in a block of the caller's
        const std::size_t offset = in.u8() % 64;
        Array block(static_cast<std::size_t>(blockSize), offset);
        in.fill(block.data(), block.size());
        const bool nullBlock = (op & 0x40) != 0;
        const std::vector<unsigned char> before(block.data(), block.data() + block.size());
        const Status st = Api<T>::init(nullPP ? nullptr : &spec, n, nullBlock ? nullptr : block.data());
        QRBF_CHECK(block.marginsIntact(), "Init outside the reported size", n);
        if (nullPP || nullBlock) {
            QRBF_CHECK(st == StatusNullPointer, "Init null", st);
            QRBF_CHECK(std::equal(before.begin(), before.end(), block.data()), "block written on failure", n);
            QRBF_CHECK(spec == marker, "spec written on failure", n);
            return;
        }
        QRBF_CHECK(st == (ok ? StatusOk : StatusBadSize), "Init", st);
        if (!ok) {
            QRBF_CHECK(spec == marker, "spec written on failure", n);
            return;
        }
        const auto off = reinterpret_cast<unsigned char*>(spec) - block.data();
        QRBF_CHECK(off >= 33 && off <= 64 && reinterpret_cast<std::uintptr_t>(spec) % 32 == 0, "spec place", off);
        computeChecks<T>(in, spec, n);
        QRBF_CHECK(block.marginsIntact(), "compute outside the block", n);
        return;
    }
    // InitAlloc, and Free.
    const bool failAlloc = (op & 0x40) != 0;
    const long live = allocLog().live;
    allocLog().failNext = failAlloc;
    const Status st = Api<T>::initAlloc(nullPP ? nullptr : &spec, n);
    allocLog().failNext = 0;
    if (st != StatusOk) {
        const Status want = nullPP ? StatusNullPointer : !ok ? StatusBadSize : StatusNullPointer;
        QRBF_CHECK(st == want && (nullPP || !ok || failAlloc), "InitAlloc", st);
        QRBF_CHECK(spec == marker && allocLog().live == live, "InitAlloc failure left something", n);
        return;
    }
    QRBF_CHECK(ok && !nullPP && !failAlloc && allocLog().live == live + 1, "InitAlloc", n);
    computeChecks<T>(in, spec, n);
    QRBF_CHECK(Api<T>::free(spec) == StatusOk, "Free", n);
    QRBF_CHECK(allocLog().live == live, "Free left a block", n);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input in(data, size);
    const std::uint8_t op = in.u8();
    if (op & 0x80) run<double>(in, op);
    else run<float>(in, op);
    return 0;
}
