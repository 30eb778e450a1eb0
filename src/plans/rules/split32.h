// Lane moves of the split-form vector kernels (the kinds of Op::Shuf).
#pragma once

namespace qrbgen::plans {

enum ShufKind {
    ShufEven = 0,  // (a0, a2, b0, b2): real parts of two interleaved vectors
    ShufOdd,       // (a1, a3, b1, b3): imaginary parts
    UnpackLo,      // (a0, b0, a1, b1)
    UnpackHi,      // (a2, b2, a3, b3)
    MoveLH,        // (a0, a1, b0, b1)
    MoveHL,        // (b2, b3, a2, a3)
};

}  // namespace qrbgen::plans
