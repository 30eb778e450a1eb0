#include "emit/literals.h"

#include <cstdio>

namespace qrbgen::plans {

std::string lit(double v) {
    if (v == 1.0) return "1.0";
    char buf[64];
    std::snprintf(buf, sizeof buf, "%a", v);
    return buf;
}

std::string litF(float v) {
    if (v == 1.0f) return "1.0f";
    char buf[64];
    std::snprintf(buf, sizeof buf, "%af", static_cast<double>(v));
    return buf;
}

std::string litIn(double v, bool single) { return single ? litF(static_cast<float>(v)) : lit(v); }

}  // namespace qrbgen::plans
