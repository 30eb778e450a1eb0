// The stand-alone prime kernels of 32fc, as data: the complex Rader form
// with the plans of its two halves, and the chirp form with its transform
// length.
#pragma once

namespace qrbgen::plans {

// Complex Rader form of a prime p, M = p - 1. The first half transforms the
// gathered sequence x[g^q mod p] forward by `first`, a split (a, b) whose
// first stage runs across a rows of b lanes; the second half transforms
// back by `second`, the split (b, a) of the same kind, whose first stage
// runs across the b registers that the first half leaves.
struct ComplexRaderRow {
    int p;
    int g;  // primitive root
    const char* first;
    const char* second;
};

// Chirp form of a prime p: two transforms of length L on rows of four
// consecutive elements, the splits (L/4, 4) forward and (4, L/4) back. The
// stage across the rows has the plan `rows` in the first, on the filled
// rows, and `rowsBack` in the second, for the rows that hold outputs.
struct ChirpRow {
    int p;
    int L;
    const char* rows;
    const char* rowsBack;
};

// Null where the prime has no such form.
const ComplexRaderRow* complexRaderRow(int p);
const ChirpRow* chirpRow(int p);

}  // namespace qrbgen::plans
