// The two-pass split-form kernels of 32fc: a transform of length M = a*b,
// a pointwise product of its bins, and a transform back, all in split
// registers (the prime kernels: complex Rader form and chirp form).
//
//   rows       a registers of b lanes, loaded and split;
//   first      the split (a, b) forward: a-point stage across the rows, 4x4
//              transposes, twiddles of a Cooley-Tukey split as lane-wise
//              products, b-point stage across the columns;
//   centre     a lane-wise product of every bin, in the b registers of
//              each block of four first-stage bins;
//   second     the split (b, a) backward: b-point stage across those
//              registers, twiddles, transposes back, a-point stage across
//              the rows;
//   output     interleave, scale and store.
//
// The centre needs no lane move: the second split reads its input where
// the first leaves its output, which holds when both are Cooley-Tukey or
// both Good-Thomas with their factors exchanged.
#pragma once
#include <vector>

#include "rules/kernel.h"
#include "rules/split_stages.h"
#include "rules/index_maps.h"

namespace qrbgen::plans {

class TwoPassSplit {
public:
    TwoPassSplit(KernelDag& k, const PlanNode& first, const PlanNode& second);
    virtual ~TwoPassSplit() = default;
    void build();

protected:
    // The source element at row i, lane t of the first pass, or -1 where the
    // lane holds an exact zero, or kDataZero where it holds a zero that the
    // first pass transforms as data (nothing is read for it).
    static constexpr int kDataZero = -2;
    virtual int inputElement(int row, int lane) const = 0;
    // A row chunk as loaded, before the first pass.
    virtual CVec beforeFirst(int /*row*/, int /*chunk*/, CVec v) { return v; }
    // The product of the centre for block j, register k2: lane t holds the
    // bin firstBin(j, t, k2), or padding.
    virtual CVec centre(int block, int k2, CVec v) = 0;
    // A row chunk of the second pass's result, before the scale.
    virtual CVec afterSecond(int /*row*/, int /*chunk*/, CVec v) { return v; }
    // The destination element of row i, lane t of the result, or -1 if the
    // lane is not stored.
    virtual int outputElement(int row, int lane) const = 0;

    // The bin of the first pass at block j, lane t, register k2, or -1 for
    // a padding lane.
    int firstBin(int block, int lane, int k2) const;

    KernelDag& k_;
    Dag& d_;
    ComplexNet fwd_, back_;
    const PlanNode first_, second_;
    const SplitMap m1_, m2_;
    const int a_, b_, chunks_, blocks_;

private:
    CVec loadRow(int row, int chunk);
    Ref load(Move mv);
    // Lane-wise twiddles of a Cooley-Tukey split on the registers of block
    // j: register r, lane t takes the root (r * (4 j + t)) / M of `net`;
    // register 0 only where the block has padding lanes, by a mask.
    void laneTwiddles(std::vector<CVec>& regs, int block, const ComplexNet& net, int M);
    void storeRow(int row, int chunk, CVec v);
};

}  // namespace qrbgen::plans
