// The general entries: any size, flag, null pointers, byte offsets of source
// and destination, in place or not, and for the WHT any buffer, with
// allocation failures on request.
//
// Each call must answer in the documented order (size, then null source or
// destination, then flag, then a failed allocation) and leave the
// destination untouched when it fails. When it succeeds it must have written
// nothing outside the destination, read nothing outside the source (the
// arrays end where their heap blocks end), and given the bits of the same
// call on 16-byte-aligned, separate arrays.
//
// One table row per general entry: a family whose general entries land adds
// its rows here.
#include <algorithm>
#include <cstdlib>
#include <utility>
#include <vector>

#include "fuzz_util.h"
#include "general_table.h"

using namespace qrbfuzz;

namespace {

// A general entry behind one signature.
using Call = Status (*)(const void* src, void* dst, std::int32_t size, std::int32_t flag, std::uint8_t* buffer);

struct Entry {
    const char* name;
    std::int32_t lo, hi;                                // sizes the entry accepts
    std::size_t (*srcBytes)(std::int32_t), (*dstBytes)(std::int32_t);
    bool (*built)(std::int32_t);                        // a kernel of that size exists
    Call call;
    bool takesBuffer;
    std::int32_t (*bufferBytes)(std::int32_t);          // the scratch a caller would give
    std::size_t scalarBytes;                            // 4 or 8: the real numbers in the arrays
};

template <class T>
std::size_t whtBytes(std::int32_t order) {
    return sizeof(T) << order;
}
template <class T>
std::int32_t whtScratch(std::int32_t order) {
    std::int32_t s = 0;
    if constexpr (sizeof(T) == 4) qrbgWHTGetBufferSize_32f(order, &s);
    else qrbgWHTGetBufferSize_64f(order, &s);
    return s;
}
bool always(std::int32_t) { return true; }

template <class T, Status (*F)(const T*, T*, std::int32_t, std::int32_t, std::uint8_t*)>
Status sized(const void* s, void* d, std::int32_t size, std::int32_t flag, std::uint8_t* buffer) {
    return F(static_cast<const T*>(s), static_cast<T*>(d), size, flag, buffer);
}

// The generated general entries behind the common signature.
template <std::size_t I>
Status generated(const void* s, void* d, std::int32_t n, std::int32_t flag, std::uint8_t*) {
    return qrbtest::allGeneralEntries()[I].call(s, d, n, flag);
}
template <std::size_t I>
std::size_t generatedSrc(std::int32_t n) {
    return qrbtest::allGeneralEntries()[I].srcBytes(n);
}
template <std::size_t I>
std::size_t generatedDst(std::int32_t n) {
    return qrbtest::allGeneralEntries()[I].dstBytes(n);
}

// clang-format off
const Entry kEntries[] = {
    {"qrbgWHT_32f", 1, 13, whtBytes<float>, whtBytes<float>, always, sized<Qrbg32f, qrbgWHT_32f>, true, whtScratch<float>, 4},
    {"qrbgWHT_64f", 1, 13, whtBytes<double>, whtBytes<double>, always, sized<Qrbg64f, qrbgWHT_64f>, true, whtScratch<double>, 8},
};
// clang-format on

// The generated general entries, one row each, found at the first call.
std::vector<Entry> entries() {
    std::vector<Entry> v(std::begin(kEntries), std::end(kEntries));
    const auto& g = qrbtest::allGeneralEntries();
    auto add = [&]<std::size_t... I>(std::index_sequence<I...>) {
        ((I < g.size() ? v.push_back({g[I].name, 2, 64, generatedSrc<I>, generatedDst<I>, always, generated<I>, false,
                                      nullptr, g[I].type == qrbtest::Type::F32 || g[I].type == qrbtest::Type::C32 ? 4u : 8u})
                       : void()),
         ...);
    };
    constexpr std::size_t kMost = 32;
    if (g.size() > kMost) std::abort();  // room for every family's entries
    add(std::make_index_sequence<kMost>{});
    return v;
}


}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input in(data, size);
    static const std::vector<Entry> all = entries();
    const Entry& e = all[in.u8() % all.size()];
    // Mostly sizes in and around the range, sometimes any 32-bit value.
    const std::uint8_t how = in.u8();
    const std::int32_t n = how < 224 ? e.lo - 2 + static_cast<std::int32_t>(in.u8() % (e.hi - e.lo + 5)) : in.i32();
    if (!e.built(n)) return 0;
    const std::int32_t flag = pickFlag(in);
    const std::uint8_t shape = in.u8();
    const bool nullSrc = (shape & 0x0f) == 1, nullDst = (shape & 0x0f) == 2, inPlace = (shape & 0x10) != 0;
    const bool failAlloc = (shape & 0x20) != 0;
    const std::size_t srcOff = in.u8() % 64, dstOff = in.u8() % 64;
    const std::uint8_t bufferKind = in.u8() % 3;  // null, aligned, misaligned
    const std::size_t bufferOff = bufferKind == 2 ? 1 + in.u8() % 15 : 0;

    const bool ok = n >= e.lo && n <= e.hi;
    const std::size_t sb = ok ? e.srcBytes(n) : 64, db = ok ? e.dstBytes(n) : 64;
    const std::size_t ib = std::max(sb, db);
    Array src(inPlace ? ib : sb, srcOff), dst(inPlace ? 0 : db, dstOff);
    // Source bytes may be anything, NaNs and infinities included.
    in.fill(src.data(), src.size());
    const std::vector<unsigned char> srcCopy(src.data(), src.data() + src.size());
    unsigned char* out = inPlace ? src.data() : dst.data();
    std::vector<unsigned char> before(out, out + (inPlace ? ib : db));
    const std::int32_t scratch = e.takesBuffer && ok && e.bufferBytes ? e.bufferBytes(n) : 0;
    Array buffer(static_cast<std::size_t>(scratch), bufferOff);
    std::uint8_t* buf = bufferKind == 0 || !e.takesBuffer ? nullptr : buffer.data();

    const void* s = nullSrc ? nullptr : src.data();
    void* d = nullDst ? nullptr : out;
    allocs().failNext = failAlloc;
    const long live = allocs().live, calls = allocs().calls;
    const Status st = e.call(s, d, n, flag, buf);
    allocs().failNext = false;
    QRBF_CHECK(allocs().live == live, e.name, n);

    Status want = StatusOk;
    if (!ok) want = StatusBadSize;
    else if (nullSrc || nullDst) want = StatusNullPointer;
    else if (!validFlag(flag)) want = StatusBadFlag;
    if (want != StatusOk) {
        QRBF_CHECK(st == want, e.name, st);
        QRBF_CHECK(allocs().calls == calls, e.name, n);  // nothing allocated on failure
    } else if (st == StatusNoMemory) {
        // Only a kernel that allocates may run out, and only when asked to.
        QRBF_CHECK(failAlloc && allocs().calls == calls + 1, e.name, n);
    } else {
        QRBF_CHECK(st == StatusOk, e.name, st);
    }
    QRBF_CHECK(src.marginsIntact() && dst.marginsIntact() && buffer.marginsIntact(), e.name, n);
    if (st != StatusOk) {
        QRBF_CHECK(std::equal(before.begin(), before.end(), out), e.name, st);
        return 0;
    }
    // The same call on aligned, separate arrays gives the same bits.
    Array refSrc(sb, 0), refDst(db, 0);
    std::memcpy(refSrc.data(), srcCopy.data(), sb);
    QRBF_CHECK(e.call(refSrc.data(), refDst.data(), n, flag, nullptr) == StatusOk, e.name, n);
    QRBF_CHECK(sameValues(out, refDst.data(), db, e.scalarBytes), e.name, n);
    return 0;
}
