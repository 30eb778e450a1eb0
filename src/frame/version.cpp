// The version record. It is constant data fixed at build time; the library
// has no other global, so a loaded library is ready at once.
#include "qrbgen.h"

namespace {

const LibVersion s_libVer = {
    6,    // major
    1,    // minor
    137,  // buildMajor
    336,  // buildMinor: a value of its own, not derived from the version text
    {'v', '8', '\0', '\0'},
    "libqrbgenv8.so.6.1",
    "6.1 build 137.56",
    "Mar 17 2010",
};

}  // namespace

extern "C" QRBG_API const LibVersion* qrbgenGetLibVersion(void) { return &s_libVer; }
