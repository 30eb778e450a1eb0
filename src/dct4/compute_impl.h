// Compute of the DCT-IV: direct kernels up to 32 points, and from 64 on the
// two vector stages (odd-frequency transforms of the columns into the plan's
// scratch, then the twiddled synthesis kernels into the destination).
//
// Compute reads the plan and writes only the destination and the plan's
// scratch; it allocates nothing and evaluates no trigonometric function.
//
// Included once by the source of each form (compute.cpp: 16-byte vectors;
// compute_avx2.cpp, compute_avx512.cpp: 32-byte vectors), inside a namespace
// named after its instruction set (QRBG_ISA). A 32-byte vector holds two
// neighbouring 16-byte lane groups; a form runs the same operations on the
// same constants in the same order in every lane, so every form gives the
// same bits. The plan's tables keep their 16-byte layout (an entry stored
// once per 16-byte group, or one row per group), and every form reads and
// writes the same bytes of the scratch and the destination: lines that are
// staged through the stack leave it by 16-byte moves in every form.
#pragma once

#include "kernels.h"
#include "nodes.h"

namespace qrbg::dct4 {
inline namespace QRBG_ISA {

namespace {

// ---- First stage ---------------------------------------------------------------

// One odd-frequency transform of L points on nu columns. Lane l of point i
// is x[a + l + stride i] in the first half of the sequence and
// -x[mirror - l - stride i] in the second, mirror being a + b; lanes are
// neighbouring source elements, so each point is one unaligned load. Row r
// of the result goes to out + r rowStride + o by one aligned store.
template <class V, int L>
QRBG_INLINE void hGroup(typename V::T* out, I32 rowStride, const typename V::T* src, I32 a, I32 mirror, I32 stride,
                    I32 o) {
    constexpr int nu = V::lanes;
    V v[L];
#pragma GCC unroll 64
    for (int i = 0; i < L / 2; ++i) v[i] = V::loadu(src + a + stride * i);
#pragma GCC unroll 64
    for (int i = L / 2; i < L; ++i) v[i] = V::loadu(src + mirror - stride * i - (nu - 1)).reversed().neg();
    Cx<V> G[L / 2];
    H<V, L, 1>(v, G);
    typename V::T* row = out + o;
#pragma GCC unroll 32
    for (int q = 0; q < L / 2; ++q) {
        G[q].re.store(row + (2 * q) * rowStride);
        G[q].im.store(row + (2 * q + 1) * rowStride);
    }
}

// Elements of one 64-byte line: four 16-byte lane groups, or two 32-byte
// ones, make one line per point and per row.
template <class T>
constexpr int kLine = 64 / static_cast<int>(sizeof(T));

// From this many bytes of data on, the lines that the staged kernels write
// go around the caches: the next level reads them in another order, long
// after they would have been evicted anyway.
constexpr std::int64_t kStreamBytes = 4 << 20;
template <class T>
bool streamed(I32 N) {
    return std::int64_t(sizeof(T)) * N >= kStreamBytes;
}

// Streaming stores pay only in whole lines: the write-combining buffers of
// a run that straddles two lines are flushed half full, and such a run costs
// more than a store through the caches (a plan block 32 bytes off a line
// made 2^19 points in 64f 26 % slower, a destination off a line up to 10 %).
// Rows that start `stride` elements apart from p on are written a line at a
// time; they stream only where every one of them starts on a line.
template <class T>
bool wholeLines(const T* p, I32 stride) {
    return reinterpret_cast<std::uintptr_t>(p) % 64 == 0 && std::int64_t(stride) * I32(sizeof(T)) % 64 == 0;
}

template <bool Stream, class V>
QRBG_INLINE void putLine(V v, typename V::T* p) {
    if constexpr (Stream)
        v.stream(p);
    else
        v.store(p);
}

// hGroup on kWide neighbouring lane groups whose points lie far apart: the
// points are first copied, a whole line each, to the stack; the kernels run
// there one lane group after the other, and each row leaves as a whole line.
// Long power-of-two strides would otherwise evict a line before the next
// lane group reads the rest of it.
template <class V, int L, bool Stream>
QRBG_INLINE void hGroupStaged(typename V::T* out, I32 rowStride, const typename V::T* src, I32 a, I32 mirror,
                          I32 stride, I32 o) {
    using T = typename V::T;
    using N = typename VecOf<T>::type;
    constexpr int nu = V::lanes, R = kLine<T>, W = R / nu, nn = N::lanes;
    alignas(32) T in[L][R];  // points in, and rows out: a group's points are dead once loaded
#pragma GCC unroll 4
    for (int i = 0; i < L / 2; ++i)
        for (int w = 0; w < W; ++w) V::loadu(src + a + stride * i + nu * w).store(in[i] + nu * w);
#pragma GCC unroll 4
    for (int i = L / 2; i < L; ++i)
        for (int w = 0; w < W; ++w)
            V::loadu(src + mirror - nu * w - stride * i - (nu - 1)).reversed().neg().store(in[i] + nu * w);
    for (int w = 0; w < W; ++w) {
        V v[L];
#pragma GCC unroll 64
        for (int i = 0; i < L; ++i) v[i] = V::load(in[i] + nu * w);
        Cx<V> G[L / 2];
        H<V, L, 1>(v, G);
#pragma GCC unroll 32
        for (int q = 0; q < L / 2; ++q) G[q].re.store(in[2 * q] + nu * w), G[q].im.store(in[2 * q + 1] + nu * w);
    }
#pragma GCC unroll 4
    for (int r = 0; r < L; ++r)
        for (int j = 0; j < R / nn; ++j) putLine<Stream>(N::load(in[r] + nn * j), out + r * rowStride + o + nn * j);
}

// `groups` neighbouring column groups: a line of them at a time where the
// points lie far apart, else as many as the widest vector holds, and the
// rest one by one.
template <class T, int L>
void hGroups(T* out, I32 rowStride, const T* src, I32 a, I32 mirror, I32 stride, I32 o, I32 groups, bool stream) {
    using N = typename VecOf<T>::type;
    using W = typename WideOf<T>::type;
    constexpr int nu = N::lanes, span = W::lanes / nu, lineGroups = kLine<T> / nu;
    I32 k = 0;
    if (L >= 8 && stride * L * I32(sizeof(T)) >= 65536) {
        if (stream && wholeLines(out + o, rowStride))
            for (; k + lineGroups <= groups; k += lineGroups)
                hGroupStaged<W, L, true>(out, rowStride, src, a + nu * k, mirror - nu * k, stride, o + nu * k);
        else
            for (; k + lineGroups <= groups; k += lineGroups)
                hGroupStaged<W, L, false>(out, rowStride, src, a + nu * k, mirror - nu * k, stride, o + nu * k);
    }
    if constexpr (span > 1)
        for (; k + span <= groups; k += span)
            hGroup<W, L>(out, rowStride, src, a + nu * k, mirror - nu * k, stride, o + nu * k);
    for (; k < groups; ++k) hGroup<N, L>(out, rowStride, src, a + nu * k, mirror - nu * k, stride, o + nu * k);
}

template <class T>
using HGroupFn = void (*)(T*, I32, const T*, I32, I32, I32, I32, I32, bool);

// Fixed kernels of env5 and env9 by rule 1 to 6.
template <class T>
struct HTable {
    static constexpr HGroupFn<T> fn[7] = {nullptr,         &hGroups<T, 2>,  &hGroups<T, 4>, &hGroups<T, 8>,
                                          &hGroups<T, 16>, &hGroups<T, 32>, &hGroups<T, 64>};
};

// ---- Split of long transforms ---------------------------------------------------

// D(m') for one kernel g: z[a], a < m', becomes G[t], t < m'.
template <class V, int tn>
QRBG_INLINE void D8(Cx<V>* z, const typename V::T* rt, Cx<V>* G) {
#pragma GCC unroll 8
    for (int a = 1; a < 8; ++a)
        z[a] = rot(z[a], V::loadTab(rt + 2 * tn * (a - 1)), V::loadTab(rt + 2 * tn * (a - 1) + tn));
    F8(z, 1, G, 1);
}

template <class V, int MP, int nu>
QRBG_INLINE void D2(Cx<V>* z, const typename V::T* inner, const typename V::T* outer, Cx<V>* G) {
    constexpr int B = MP / 4;
#pragma GCC unroll 8
    for (int s = 1; s < B; ++s) {
        const V c = V::loadTab(inner + 2 * nu * (s - 1)), sn = V::loadTab(inner + 2 * nu * (s - 1) + nu);
#pragma GCC unroll 4
        for (int r = 0; r < 4; ++r) z[r + 4 * s] = rot(z[r + 4 * s], c, sn);
    }
    Cx<V> P[4][B];
#pragma GCC unroll 4
    for (int r = 0; r < 4; ++r) {
        if constexpr (B == 4)
            F4(z[r], z[r + 4], z[r + 8], z[r + 12], P[r], 1);
        else
            F8(z + r, 4, P[r], 1);
    }
#pragma GCC unroll 8
    for (int t = 0; t < B; ++t) {
#pragma GCC unroll 4
        for (int r = 1; r < 4; ++r) {
            const typename V::T* p = outer + 2 * nu * (3 * t + r - 1);
            P[r][t] = rot(P[r][t], V::loadTab(p), V::loadTab(p + nu));
        }
        F4(P[0][t], P[1][t], P[2][t], P[3][t], G + t, B);
    }
}

// The kernels read their rows from `in`, inM elements apart from column inO
// on, and write rows of e->M elements from column o on.
template <class V, int MP>
QRBG_INLINE void env8Kernel(const Env8* e, typename V::T* out, const typename V::T* in, I32 inM, I32 inO, I32 g,
                            I32 o) {
    using T = typename V::T;
    constexpr int nu = VecOf<T>::type::lanes;
    const I32 M = e->M, n = e->n, Lm1 = e->Lm1, c = e->c;
    const T* tab = static_cast<const T*>(e->table);
    const T* outerTab = tab + 2 * nu * c * (MP / 4 - 1);
    {
        Cx<V> z[MP], G[MP];
        const T* re = in + (2 * g * MP) * inM + inO;
        const T* im = re + MP * inM;
#pragma GCC unroll 32
        for (int a = 0; a < MP; ++a) z[a] = {V::load(re + a * inM), V::load(im + a * inM)};
        if constexpr (MP == 8)
            D8<V, nu>(z, tab + 2 * nu * 7 * g, G);
        else
            D2<V, MP, nu>(z, tab + 2 * nu * (MP / 4 - 1) * g, outerTab + 2 * nu * 3 * (MP / 4) * g, G);
#pragma GCC unroll 32
        for (int t = 0; t < MP / 2; ++t) {
            const I32 q = g + n * t;
            G[t].re.store(out + (2 * q) * M + o);
            G[t].im.store(out + (2 * q + 1) * M + o);
        }
#pragma GCC unroll 32
        for (int t = MP / 2; t < MP; ++t) {
            const I32 q = Lm1 - (g + n * t);
            G[t].re.store(out + (2 * q) * M + o);
            G[t].im.neg().store(out + (2 * q + 1) * M + o);
        }
    }
}

// env8Kernel on kWide neighbouring lane groups, staged through the stack
// like hGroupStaged: rows leave as whole lines, and enter so too where they
// lie far apart (StageIn); densely packed input rows are read in place.
// With Block, kernel g is one of the B kernels from g0 on, and its output
// rows go to a block that holds, for each t, the run of B row pairs these
// kernels write, in the order of q (see splitThenSynthesis).
template <class V, int MP, bool StageIn, bool Stream, bool Block = false>
QRBG_INLINE void env8KernelStaged(const Env8* e, typename V::T* out, const typename V::T* in, I32 inM, I32 inO, I32 g,
                                  I32 o, I32 g0 = 0, I32 B = 0) {
    using T = typename V::T;
    using N = typename VecOf<T>::type;
    constexpr int nu = V::lanes, R = kLine<T>, W = R / nu, tn = N::lanes;
    const I32 M = e->M, n = e->n, Lm1 = e->Lm1, c = e->c;
    const T* tab = static_cast<const T*>(e->table);
    const T* outerTab = tab + 2 * tn * c * (MP / 4 - 1);
    alignas(32) T rows[2 * MP][R];
    const T* base = in + (2 * g * MP) * inM + inO;
    if constexpr (StageIn) {
#pragma GCC unroll 4
        for (int r = 0; r < 2 * MP; ++r)
            for (int j = 0; j < R / tn; ++j) N::load(base + r * inM + tn * j).store(rows[r] + tn * j);
    }
    for (int w = 0; w < W; ++w) {
        Cx<V> z[MP], G[MP];
        if constexpr (StageIn) {
#pragma GCC unroll 32
            for (int a = 0; a < MP; ++a) z[a] = {V::load(rows[a] + nu * w), V::load(rows[MP + a] + nu * w)};
        } else {
#pragma GCC unroll 32
            for (int a = 0; a < MP; ++a)
                z[a] = {V::load(base + a * inM + nu * w), V::load(base + (MP + a) * inM + nu * w)};
        }
        if constexpr (MP == 8)
            D8<V, tn>(z, tab + 2 * tn * 7 * g, G);
        else
            D2<V, MP, tn>(z, tab + 2 * tn * (MP / 4 - 1) * g, outerTab + 2 * tn * 3 * (MP / 4) * g, G);
        // Rows are reused for the results: t and MP + t, conjugated from MP/2 on.
#pragma GCC unroll 32
        for (int t = 0; t < MP; ++t) {
            G[t].re.store(rows[t] + nu * w);
            (t < MP / 2 ? G[t].im : G[t].im.neg()).store(rows[MP + t] + nu * w);
        }
    }
#pragma GCC unroll 4
    for (int t = 0; t < MP; ++t) {
        T* re;
        if constexpr (Block)
            re = out + t * (2 * B * M) + 2 * (t < MP / 2 ? g - g0 : g0 + B - 1 - g) * M + o;
        else
            re = out + (2 * (t < MP / 2 ? g + n * t : Lm1 - (g + n * t))) * M + o;
        for (int j = 0; j < R / tn; ++j) {
            putLine<Stream>(N::load(rows[t] + tn * j), re + tn * j);
            putLine<Stream>(N::load(rows[MP + t] + tn * j), re + M + tn * j);
        }
    }
}

template <class T, int MP>
void env8Kernels(const Env8* e, T* out, const T* in, I32 inM, I32 inO, I32 o0, I32 groups) {
    using N = typename VecOf<T>::type;
    using V = typename WideOf<T>::type;
    constexpr int nu = N::lanes, span = V::lanes / nu, lineGroups = kLine<T> / nu;
    const bool staged = groups % lineGroups == 0 && e->M * MP * 2 >= 1024;
    const bool stageIn = inM * I32(sizeof(T)) >= 1024, stream = streamed<T>(e->N) && wholeLines(out + o0, e->M);
    for (I32 g = 0; g < e->c; ++g) {
        if (staged) {
            for (I32 k = 0; k < groups; k += lineGroups) {
                const I32 i = inO + nu * k, o = o0 + nu * k;
                if (stageIn && stream)
                    env8KernelStaged<V, MP, true, true>(e, out, in, inM, i, g, o);
                else if (stageIn)
                    env8KernelStaged<V, MP, true, false>(e, out, in, inM, i, g, o);
                else if (stream)
                    env8KernelStaged<V, MP, false, true>(e, out, in, inM, i, g, o);
                else
                    env8KernelStaged<V, MP, false, false>(e, out, in, inM, i, g, o);
            }
            continue;
        }
        I32 k = 0;
        if constexpr (span > 1)
            for (; k + span <= groups; k += span) env8Kernel<V, MP>(e, out, in, inM, inO + nu * k, g, o0 + nu * k);
        for (; k < groups; ++k) env8Kernel<N, MP>(e, out, in, inM, inO + nu * k, g, o0 + nu * k);
    }
}

// The split kernels of a record, reading rows inM apart from column inO on;
// a record without table or with another rule is refused.
template <class T>
Status env8Run(const Env8* e, T* out, const T* in, I32 inM, I32 inO, I32 o, I32 groups) {
    if (!e->table) return StatusBadRule;
    switch (e->rule) {
        case 3: env8Kernels<T, 8>(e, out, in, inM, inO, o, groups); return StatusOk;
        case 4: env8Kernels<T, 16>(e, out, in, inM, inO, o, groups); return StatusOk;
        case 5: env8Kernels<T, 32>(e, out, in, inM, inO, o, groups); return StatusOk;
        default: return StatusBadRule;
    }
}

// ---- Last stage -----------------------------------------------------------------

// Columns c of rows 2q (u) and 2q+1 (w) for the nu lanes q = q0 + l: a
// transpose of nu-by-nu blocks of the scratch.
QRBG_INLINE void loadColumns(const float* rows, I32 m, int c4, V4f* u, V4f* w) {
    for (int part = 0; part < 2; ++part) {
        const float* p = rows + part * m + c4;
        __m128 r0 = _mm_load_ps(p), r1 = _mm_load_ps(p + 2 * m), r2 = _mm_load_ps(p + 4 * m),
               r3 = _mm_load_ps(p + 6 * m);
        _MM_TRANSPOSE4_PS(r0, r1, r2, r3);
        V4f* d = part ? w : u;
        d[c4] = {r0}, d[c4 + 1] = {r1}, d[c4 + 2] = {r2}, d[c4 + 3] = {r3};
    }
}
QRBG_INLINE void loadColumns(const double* rows, I32 m, int c2, V2d* u, V2d* w) {
    for (int part = 0; part < 2; ++part) {
        const double* p = rows + part * m + c2;
        const __m128d r0 = _mm_load_pd(p), r1 = _mm_load_pd(p + 2 * m);
        V2d* d = part ? w : u;
        d[c2] = {_mm_unpacklo_pd(r0, r1)}, d[c2 + 1] = {_mm_unpackhi_pd(r0, r1)};
    }
}
#if defined(__AVX__)
// The same for two neighbouring lane groups: the rows of the second group's
// lanes fill the high halves, and the transposition works half by half.
QRBG_INLINE void loadColumns(const float* rows, I32 m, int c4, V8f* u, V8f* w) {
    for (int part = 0; part < 2; ++part) {
        const float* p = rows + part * m + c4;
        const __m256 r0 = ld16x2(p, p + 8 * m), r1 = ld16x2(p + 2 * m, p + 10 * m),
                     r2 = ld16x2(p + 4 * m, p + 12 * m), r3 = ld16x2(p + 6 * m, p + 14 * m);
        const __m256 t0 = _mm256_unpacklo_ps(r0, r1), t1 = _mm256_unpacklo_ps(r2, r3);
        const __m256 t2 = _mm256_unpackhi_ps(r0, r1), t3 = _mm256_unpackhi_ps(r2, r3);
        V8f* d = part ? w : u;
        d[c4] = {_mm256_shuffle_ps(t0, t1, 0x44)}, d[c4 + 1] = {_mm256_shuffle_ps(t0, t1, 0xEE)};
        d[c4 + 2] = {_mm256_shuffle_ps(t2, t3, 0x44)}, d[c4 + 3] = {_mm256_shuffle_ps(t2, t3, 0xEE)};
    }
}
QRBG_INLINE void loadColumns(const double* rows, I32 m, int c2, V4d* u, V4d* w) {
    for (int part = 0; part < 2; ++part) {
        const double* p = rows + part * m + c2;
        const __m256d r0 = ld16x2(p, p + 4 * m), r1 = ld16x2(p + 2 * m, p + 6 * m);
        V4d* d = part ? w : u;
        d[c2] = {_mm256_unpacklo_pd(r0, r1)}, d[c2 + 1] = {_mm256_unpackhi_pd(r0, r1)};
    }
}
#endif

// Synthesis kernels of the lanes q = nu g .. from the 16-byte lane group g
// on (nu lanes of a 16-byte vector; a 32-byte one takes groups g and g + 1):
// the rotated columns, read from the group's rows (rows 2q and 2q + 1 of
// the scratch, m elements each), through T(m) into v[0 .. 2m-1]. Each group
// has its own rows of the table.
template <class V, int m>
QRBG_INLINE void env4Core(const Env4* e, const typename V::T* rows, I32 g, V* v) {
    using T = typename V::T;
    constexpr int nu = VecOf<T>::type::lanes;
    const I32 groupTab = 2 * nu * m;
    const T* tab = static_cast<const T*>(e->table) + g * groupTab;
    V u[m], w[m];
    Cx<V> z[m];
#pragma GCC unroll 8
    for (int c = 0; c < m; c += nu) loadColumns(rows, m, c, u, w);
#pragma GCC unroll 32
    for (int k = 0; k < m; ++k) {
        const int c = env4Column(m, k);
        z[c] = rot(Cx<V>{u[c], w[c]}, V::loadGroups(tab + 2 * nu * k, groupTab),
                   V::loadGroups(tab + 2 * nu * k + nu, groupTab));
    }
    Tk<V, m, m == 32>(z, v);
}

template <class V, int m>
QRBG_INLINE void env4Group(const Env4* e, typename V::T* dst, const typename V::T* in, I32 g) {
    constexpr int nu = V::lanes;
    const I32 L = e->L, q0 = VecOf<typename V::T>::type::lanes * g;
    V v[2 * m];
    env4Core<V, m>(e, in + 2 * q0 * m, g, v);
#pragma GCC unroll 32
    for (int t = 0; t < m; ++t) v[t].storeu(dst + q0 + L * t);
#pragma GCC unroll 32
    for (int t = 1; t <= m; ++t) v[2 * m - t].neg().reversed().storeu(dst + L - q0 - nu + L * (t - 1));
}

// kWide neighbouring groups whose destination rows lie far apart: results
// are collected on the stack and leave as whole lines. The rows of group g0
// and of those after it start at `rows`.
template <class V, int m, bool Stream>
QRBG_INLINE void env4GroupStaged(const Env4* e, typename V::T* dst, const typename V::T* rows, I32 g0) {
    using T = typename V::T;
    using N = typename VecOf<T>::type;
    constexpr int nu = V::lanes, R = kLine<T>, W = R / nu, nn = N::lanes, span = nu / nn;
    const I32 L = e->L, q0 = nn * g0;
    alignas(32) T up[m][R], down[m][R];
    for (int w = 0; w < W; ++w) {
        V v[2 * m];
        env4Core<V, m>(e, rows + 2 * nn * span * w * m, g0 + span * w, v);
#pragma GCC unroll 32
        for (int t = 0; t < m; ++t) v[t].store(up[t] + nu * w);
#pragma GCC unroll 32
        for (int t = 1; t <= m; ++t) v[2 * m - t].neg().reversed().store(down[t - 1] + nu * (W - 1 - w));
    }
#pragma GCC unroll 4
    for (int t = 0; t < m; ++t)
        for (int j = 0; j < R / nn; ++j) {
            if constexpr (Stream) {
                N::load(up[t] + nn * j).stream(dst + q0 + L * t + nn * j);
                N::load(down[t] + nn * j).stream(dst + L - q0 - R + L * t + nn * j);
            } else {
                N::load(up[t] + nn * j).storeu(dst + q0 + L * t + nn * j);
                N::load(down[t] + nn * j).storeu(dst + L - q0 - R + L * t + nn * j);
            }
        }
}

template <class T, int m>
void env4Kernels(const Env4* e, T* dst, const T* in) {
    using N = typename VecOf<T>::type;
    using V = typename WideOf<T>::type;
    constexpr int span = V::lanes / N::lanes, lineGroups = kLine<T> / N::lanes;
    I32 g = 0;
    // A destination far larger than the caches is written around them, where
    // its alignment allows; that leaves the caches to the plan's scratch.
    const bool stream = streamed<T>(e->N) && wholeLines(dst, e->L);
    if (e->L * I32(sizeof(T)) >= 1024) {
        if (stream) {
            for (; g + lineGroups <= e->groups; g += lineGroups)
                env4GroupStaged<V, m, true>(e, dst, in + 2 * N::lanes * g * m, g);
            _mm_sfence();
        } else {
            for (; g + lineGroups <= e->groups; g += lineGroups)
                env4GroupStaged<V, m, false>(e, dst, in + 2 * N::lanes * g * m, g);
        }
    }
    if constexpr (span > 1)
        for (; g + span <= e->groups; g += span) env4Group<V, m>(e, dst, in, g);
    for (; g < e->groups; ++g) env4Group<N, m>(e, dst, in, g);
}

// ---- The top level's split and the synthesis, fused ------------------------------

// Kernel g of the top level's split writes the row pairs q = g + n t and
// Lm1 - (g + n t), t < MP; the synthesis reads them a line of lane groups
// (B row pairs) at a time. For long transforms the two run by blocks: the
// split kernels of B neighbouring g write their MP runs of B row pairs into
// a block at the start of the scratch, and the synthesis reads each run
// from there while it is in the cache; the scratch's whole array is never
// written out and read back. Every kernel computes what it computes in two
// passes, from the same operands.
constexpr std::int64_t kFuseBytes = 512 << 10;

template <class T, int MP, int m>
void splitThenSynthesis(const Env8* e8, const Env4* e4, T* block, const T* in, T* dst, I32 groups) {
    using N = typename VecOf<T>::type;
    using V = typename WideOf<T>::type;
    constexpr int nu = N::lanes, lineGroups = kLine<T> / nu, B = nu * lineGroups;
    const I32 n = e8->n, Lm1 = e8->Lm1, M = e8->M;
    const bool stream = streamed<T>(e4->N) && wholeLines(dst, e4->L);
    for (I32 g0 = 0; g0 < e8->c; g0 += B) {
        for (I32 g = g0; g < g0 + B; ++g)
            for (I32 k = 0; k < groups; k += lineGroups)
                env8KernelStaged<V, MP, false, false, true>(e8, block, in, M, nu * k, g, nu * k, g0, B);
        for (int t = 0; t < MP; ++t) {
            const I32 q0 = t < MP / 2 ? g0 + n * t : Lm1 - (g0 + B - 1 + n * t);
            const T* rows = block + t * (2 * B * M);
            if (stream)
                env4GroupStaged<V, m, true>(e4, dst, rows, q0 / nu);
            else
                env4GroupStaged<V, m, false>(e4, dst, rows, q0 / nu);
        }
    }
}

template <class T, int MP>
void splitThenSynthesis(const Env8* e8, const Env4* e4, T* block, const T* in, T* dst, I32 groups) {
    switch (e4->rule) {
        case 4: splitThenSynthesis<T, MP, 8>(e8, e4, block, in, dst, groups); break;
        case 5: splitThenSynthesis<T, MP, 16>(e8, e4, block, in, dst, groups); break;
        default: splitThenSynthesis<T, MP, 32>(e8, e4, block, in, dst, groups); break;
    }
}

// Whether the top level's split and the synthesis run fused: a long
// transform whose split kernels read dense rows and write whole lines, in
// runs of row pairs that the synthesis groups tile, and whose block fits in
// the scratch.
template <class T>
bool fusable(const Env8* e8, const Env4* e4, I32 groups) {
    constexpr int nu = VecOf<T>::type::lanes, lineGroups = kLine<T> / nu, B = nu * lineGroups;
    if (!e8->table || e8->rule < 3 || e8->rule > 5 || !e4->table || e4->rule < 4 || e4->rule > 6) return false;
    const I32 MP = I32(1) << e8->rule;
    return std::int64_t(sizeof(T)) * e4->N >= kFuseBytes && groups % lineGroups == 0 && e8->M * MP * 2 >= 1024 &&
           e8->M * I32(sizeof(T)) < 1024 && e4->L * I32(sizeof(T)) >= 1024 && e8->n % B == 0 && e8->c % B == 0 &&
           e8->M == e4->m && e8->Lm1 == e4->L - 1 && 2 * e4->groups * nu == e4->L && groups * nu == e8->M &&
           std::int64_t(MP) * 2 * B * e8->M <= e4->N;
}

// ---- Direct kernels, N = 2 to 32 -------------------------------------------------

template <class T, int N, int m>
struct DirTw {
    static constexpr int L = N / m, K = L / 2;
    struct Tab {
        T c[K][m];
        T s[K][m];
    };
    static constexpr Tab tab = [] {
        Tab t{};
        for (int q = 0; q < K; ++q)
            for (int c = 0; c < m; ++c) {
                t.c[q][c] = cpi<T>((2 * q + 1) * (2 * c + 1), 4 * N);
                t.s[q][c] = spi<T>((2 * q + 1) * (2 * c + 1), 4 * N);
            }
        return t;
    }();
};

// The two stages with constants in the code: H(L) on m columns, then K
// rotations of m values and T(m). Everything is read before anything is
// written, so the source may be the destination.
template <class T, int N, int m>
void directKernel(const T* x, T* y) {
    using V = Sc<T>;
    constexpr int L = N / m, K = L / 2;
    using Tw = DirTw<T, N, m>;
    Cx<V> G[m][K];
#pragma GCC unroll 8
    for (int c = 0; c < m; ++c) {
        V v[L];
#pragma GCC unroll 16
        for (int i = 0; i < L; ++i) {
            const int p = c + 2 * m * i;
            v[i] = p < N ? V::loadu(x + p) : V::loadu(x + 2 * N - 1 - p).neg();
        }
        H<V, L, 1>(v, G[c]);
    }
#pragma GCC unroll 8
    for (int q = 0; q < K; ++q) {
        Cx<V> z[m];
        V v[2 * m];
#pragma GCC unroll 8
        for (int c = 0; c < m; ++c) z[c] = rotc(G[c][q], Tw::tab.c[q][c], Tw::tab.s[q][c]);
        Tk<V, m, false>(z, v);
#pragma GCC unroll 8
        for (int t = 0; t < m; ++t) v[t].storeu(y + q + L * t);
#pragma GCC unroll 8
        for (int t = 1; t <= m; ++t) v[2 * m - t].neg().storeu(y + L - 1 - q + L * (t - 1));
    }
}

template <class T>
void direct2(const T* x, T* y) {
    constexpr T c = cpi<T>(1, 8), s = spi<T>(1, 8);
    const T x0 = ld1(x), x1 = ld1(x + 1);
    st1(y, c * x0 + s * x1);
    st1(y + 1, s * x0 - c * x1);
}

// N = 4: the two rotations by 7 pi/16 and 5 pi/16 in three lifting steps
// each (tangent of the half angle, sine of the angle), then one butterfly.
template <class T>
void direct4(const T* x, T* y) {
    constexpr T t0 = tpi<T>(7, 32), s0 = spi<T>(7, 16);
    constexpr T t1 = tpi<T>(5, 32), s1 = spi<T>(5, 16);
    constexpr T h = kH<T>;
    const T a = ld1(x), b = ld1(x + 3), c = ld1(x + 1), d = ld1(x + 2);
    const T a1 = a - t0 * b, P0 = b + s0 * a1, Q0 = a1 - t0 * P0;
    const T c1 = c - t1 * d, P1 = d + s1 * c1, Q1 = c1 - t1 * P1;
    const T dp = h * (P0 - P1), sq = h * (Q0 + Q1);
    st1(y, P0 + P1);
    st1(y + 1, dp + sq);
    st1(y + 2, dp - sq);
    st1(y + 3, Q0 - Q1);
}

}  // namespace

// The compute operations of one precision in this form: the members of
// Ops<T> of the same names (nodes.h) in the 16-byte form.
template <class T>
struct Compute {
    static Status env4_compute(const Env4* e, T* dst, const T* in);
    static Status env5_compute(const Env5* e, T* out, const T* src);
    static Status env7_compute(const Env7* e, T* out, const T* src, I32 a, I32 b, I32 o, I32 groups);
    static Status env8_compute(const Env8* e, T* out, const T* in, I32 o, I32 groups);
    static Status env9_compute(const Env9* e, T* out, const T* src, I32 a, I32 b, I32 o, I32 groups);
    static Status compute(const T* src, T* dst, const Env1* spec);
    static void direct(I32 rule, const T* src, T* dst);
};

template <class T>
void Compute<T>::direct(I32 rule, const T* src, T* dst) {
    switch (rule) {
        case 1: direct2<T>(src, dst); break;
        case 2: direct4<T>(src, dst); break;
        case 3: directKernel<T, 8, 2>(src, dst); break;
        case 4: directKernel<T, 16, 4>(src, dst); break;
        default: directKernel<T, 32, 2>(src, dst); break;
    }
}

namespace {

// The first record of a list, if it is a node of kind k of this
// precision; otherwise null, which compute answers with StatusBadRule.
template <class T, class R>
const R* childOf(const EnvList* list, I32 k) {
    const auto* r = static_cast<const R*>(EnvList_get(list, 0));
    return r && r->h.del == Ops<T>::kindDel(k) ? r : nullptr;
}

}  // namespace

// Every operation tests its own rule and its children before it does any
// work, and hands a child's failure up unchanged: a plan whose tree was
// damaged answers StatusBadRule, and the destination, which only the last
// stage writes, stays untouched.

template <class T>
Status Compute<T>::env4_compute(const Env4* e, T* dst, const T* in) {
    if (!e->table) return StatusBadRule;
    switch (e->rule) {
        case 4: env4Kernels<T, 8>(e, dst, in); return StatusOk;
        case 5: env4Kernels<T, 16>(e, dst, in); return StatusOk;
        case 6: env4Kernels<T, 32>(e, dst, in); return StatusOk;
        default: return StatusBadRule;
    }
}

template <class T>
Status Compute<T>::env8_compute(const Env8* e, T* out, const T* in, I32 o, I32 groups) {
    return env8Run(e, out, in, e->M, o, o, groups);
}

template <class T>
Status Compute<T>::env9_compute(const Env9* e, T* out, const T* src, I32 a, I32 b, I32 o, I32 groups) {
    if (e->rule < 1 || e->rule > 7) return StatusBadRule;
    const I32 mp = e->mp, S = e->S, M = e->M;
    if (e->rule == 7) {
        const auto* child = childOf<T, Env7>(e->stage, 7);
        if (!child) return StatusBadRule;
        for (I32 j = 0; j < mp; ++j)
            if (const Status st = env7_compute(child, out, src, a + j * S, b - 2 * j * S, o + j * M, groups);
                st != StatusOk)
                return st;
        return StatusOk;
    }
    const HGroupFn<T> fn = HTable<T>::fn[e->rule];
    for (I32 j = 0; j < mp; ++j) {
        const I32 aj = a + j * S, bj = b - 2 * j * S;
        fn(out, e->outStride, src, aj, aj + bj, e->pointStride, o + j * M, groups, streamed<T>(e->N));
    }
    return StatusOk;
}

template <class T>
Status Compute<T>::env7_compute(const Env7* e, T* out, const T* src, I32 a, I32 b, I32 o, I32 groups) {
    if (e->rule != 1) return StatusBadRule;
    T* buf = static_cast<T*>(e->buffer);
    const auto* e9 = childOf<T, Env9>(e->stage9, 9);
    const auto* e8 = childOf<T, Env8>(e->stage8, 8);
    if (!buf || !e9 || !e8) return StatusBadRule;
    // A split whose first half is a fixed kernel keeps the columns of this
    // call packed in its buffer: rows of the groups' own nu * groups columns
    // instead of rows of all M, read back by the second half at once. Inside
    // a longer split (a slab of the columns of the level above) the half's
    // output then stays in the cache, where rows M apart would compete for
    // the same few cache sets; at the top level the two layouts coincide.
    const I32 cols = VecOf<T>::type::lanes * groups;
    if (e9->rule >= 1 && e9->rule <= 6 && e9->outStride == e9->mp * e9->M && e8->M == e9->M && cols <= e9->M) {
        const HGroupFn<T> fn = HTable<T>::fn[e9->rule];
        const bool stream = streamed<T>(e->L * cols);
        for (I32 j = 0; j < e9->mp; ++j) {
            const I32 aj = a + j * e9->S, bj = b - 2 * j * e9->S;
            fn(buf, e9->mp * cols, src, aj, aj + bj, e9->pointStride, j * cols, groups, stream);
        }
        return env8Run(e8, out, buf, cols, 0, o, groups);
    }
    if (const Status st = env9_compute(e9, buf, src, a, b, o, groups); st != StatusOk) return st;
    return env8_compute(e8, out, buf, o, groups);
}

template <class T>
Status Compute<T>::env5_compute(const Env5* e, T* out, const T* src) {
    if (e->rule < 1 || e->rule > 7) return StatusBadRule;
    const I32 twoNm1 = e->twoNm1;
    // Column group g has its sequences at a = nu g, mirrored at 2N-1-nu g.
    if (e->rule == 7) {
        const auto* child = childOf<T, Env7>(e->stage, 7);
        if (!child) return StatusBadRule;
        return env7_compute(child, out, src, 0, twoNm1, 0, e->groups);
    }
    HTable<T>::fn[e->rule](out, e->M, src, 0, twoNm1, e->S, 0, e->groups, streamed<T>(e->N));
    return StatusOk;
}

template <class T>
Status Compute<T>::compute(const T* src, T* dst, const Env1* spec) {
    if (spec->rule >= 1 && spec->rule <= 5) {
        direct(spec->rule, src, dst);
        return StatusOk;
    }
    if (spec->rule != 6) return StatusBadRule;
    T* buf = static_cast<T*>(spec->buffer);
    const auto* e3 = childOf<T, Env3>(spec->firstStage, 3);
    const auto* e2 = childOf<T, Env2>(spec->lastStage, 2);
    const auto* e5 = e3 ? childOf<T, Env5>(e3->stage, 5) : nullptr;
    const auto* e4 = e2 ? childOf<T, Env4>(e2->stage, 4) : nullptr;
    if (!buf || !e5 || !e4) return StatusBadRule;
    // A long transform whose first stage is split: the split's second half
    // and the synthesis may run fused.
    if (e5->rule == 7) {
        const auto* e7 = childOf<T, Env7>(e5->stage, 7);
        const auto* e9 = e7 && e7->rule == 1 ? childOf<T, Env9>(e7->stage9, 9) : nullptr;
        const auto* e8 = e7 && e7->rule == 1 ? childOf<T, Env8>(e7->stage8, 8) : nullptr;
        if (e7 && e7->buffer && e9 && e8 && fusable<T>(e8, e4, e5->groups)) {
            T* half = static_cast<T*>(e7->buffer);
            if (const Status st = env9_compute(e9, half, src, 0, e5->twoNm1, 0, e5->groups); st != StatusOk)
                return st;
            switch (e8->rule) {
                case 3: splitThenSynthesis<T, 8>(e8, e4, buf, half, dst, e5->groups); break;
                case 4: splitThenSynthesis<T, 16>(e8, e4, buf, half, dst, e5->groups); break;
                default: splitThenSynthesis<T, 32>(e8, e4, buf, half, dst, e5->groups); break;
            }
            _mm_sfence();
            return StatusOk;
        }
    }
    if (const Status st = env5_compute(e5, buf, src); st != StatusOk) return st;
    const Status st = env4_compute(e4, dst, buf);
    _mm_sfence();  // streamed lines are ordered before whatever the caller does next
    return st;
}

}  // namespace QRBG_ISA
}  // namespace qrbg::dct4
