// The generated general entries, one row of the generated table each, so
// that every kind joins as it is built: any length, flag, null pointers, byte
// offsets of source and destination, in place or not. (The WHT general
// entries, which take a buffer as well: fuzz_wht.)
//
// Each call must answer in the documented order (length, then null source or
// destination, then flag), allocate nothing, and leave the destination
// untouched when it fails. When it succeeds it must have written nothing
// outside the destination, read nothing outside the source (the arrays end
// where their heap blocks end), and given the bits of the same call on
// 16-byte-aligned, separate arrays.
#include <algorithm>
#include <vector>

#include "fuzz_util.h"
#include "general_table.h"

using namespace qrbfuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input in(data, size);
    const auto& all = qrbtest::allGeneralEntries();
    const qrbtest::GeneralInfo& e = all[in.u8() % all.size()];
    // Mostly lengths in and around 2 to 64, sometimes any 32-bit value.
    const std::int32_t n = in.u8() < 224 ? static_cast<std::int32_t>(in.u8() % 67) : in.i32();
    const std::int32_t flag = pickFlag(in);
    const std::uint8_t shape = in.u8();
    const bool nullSrc = (shape & 0x0f) == 1, nullDst = (shape & 0x0f) == 2, inPlace = (shape & 0x10) != 0;
    const std::size_t srcOff = in.u8() % 64, dstOff = in.u8() % 64;

    const bool ok = n >= 2 && n <= 64;
    const std::size_t sb = ok ? e.srcBytes(n) : 64, db = ok ? e.dstBytes(n) : 64;
    Array src(inPlace ? std::max(sb, db) : sb, srcOff), dst(inPlace ? 0 : db, dstOff);
    in.fill(src.data(), src.size());  // anything, NaNs and infinities included
    const std::vector<unsigned char> x(src.data(), src.data() + sb);
    unsigned char* out = inPlace ? src.data() : dst.data();
    const std::vector<unsigned char> before(out, out + (inPlace ? src.size() : db));

    const long mallocs = allocLog().mallocs;
    const Status st = e.call(nullSrc ? nullptr : src.data(), nullDst ? nullptr : out, n, flag);
    QRBF_CHECK(allocLog().mallocs == mallocs, e.name, n);
    const Status want = !ok                 ? StatusBadSize
                        : nullSrc || nullDst ? StatusNullPointer
                        : !validFlag(flag)   ? StatusBadFlag
                                             : StatusOk;
    QRBF_CHECK(st == want, e.name, st);
    QRBF_CHECK(src.marginsIntact() && dst.marginsIntact(), e.name, n);
    if (st != StatusOk) {
        QRBF_CHECK(std::equal(before.begin(), before.end(), out), e.name, st);
        return 0;
    }
    Array refSrc(sb, 0), refDst(db, 0);
    std::memcpy(refSrc.data(), x.data(), sb);
    QRBF_CHECK(e.call(refSrc.data(), refDst.data(), n, flag) == StatusOk, e.name, n);
    const bool single = e.type == qrbtest::Type::F32 || e.type == qrbtest::Type::C32;
    QRBF_CHECK(sameValues(out, refDst.data(), db, single ? 4 : 8), e.name, n);
    return 0;
}
