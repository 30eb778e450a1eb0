#include "emit/variants.h"

#include <sstream>

#include "emit/printers.h"

namespace qrbgen::plans {

// Every generated kernel: the vector ones packed into wider registers; the
// scalar ones (the real and Hartley families) one value per lane where that
// pays, and otherwise, like the small 32fc kernels, in the three-operand
// encoding, which needs no register copies.
bool hasVariants(const KernelDesc&) { return true; }

namespace {

// The cost of a packing into `slots` slots (see tunables.h).
double cost(const WideProgram::Stats& s, int slots) {
    const int passes = (16 * slots + kDatapathBytes - 1) / kDatapathBytes;
    return s.applies * passes + s.gathers * kGatherCost;
}

// The cost of a scalar kernel packed into lanes: its operations, each
// counted as many times as the data path passes over its double register,
// its gathers, and in a 32f kernel its conversions between single and
// double registers (one lane each in the one-value kernel).
double laneCost(const KernelDag& k, const WideProgram& w, const LanePacking* p) {
    const WideProgram::Stats s = w.stats();
    const int conversions = laneConversions(k, w);
    if (p == nullptr) return s.applies + conversions;
    const int passes = (8 * p->slots + kDatapathBytes - 1) / kDatapathBytes;
    return s.applies * passes + s.gathers * p->gatherCost + conversions * conversionCost(p->slots);
}

}  // namespace

std::vector<VariantBuild> buildVariants(const KernelDag& k, const SchemeRow& s) {
    std::vector<VariantBuild> out;
    if (!hasVariants(k.desc)) return out;
    const bool scalar = s.id == SchemeId::Scalar32fc || s.id == SchemeId::Scalar64f || s.id == SchemeId::Scalar32f;
    const bool single = isSingle(k.desc.type);
    for (const VariantRow& row : kVariants) {
        VariantBuild v{&row, 1, {}, {}};
        BodyInfo body;
        if (scalar) {
            // The scalar network in the variant's encoding, or its values
            // side by side in lanes where that pays (the real and Hartley
            // kernels).
            v.stats = packDag(k.dag, 1).stats();
            const LanePacking* chosen = nullptr;
            WideProgram used;
            bool chains = false;
            if (s.id != SchemeId::Scalar32fc) {
                const std::vector<int> classes = lanePackClasses(k);
                const int spillLimit = single ? kLaneSpillBytes32 : kLaneSpillBytes64;
                double usedCost = laneCost(k, packDag(k.dag, 1, classes), nullptr);
                for (const LanePacking& p : row.lanes) {
                    if (p.slots == 0) break;
                    WideProgram w = packDag(k.dag, p.slots, classes);
                    const double c = laneCost(k, w, &p);
                    if (c > row.maxShare * usedCost) continue;
                    // The order that starts the longest chains first, where
                    // its values fit the stack (on AMD Zen 4 the packed
                    // kernels ran 1.5 to 5 % faster so, geometric means per
                    // family); otherwise the usual order, which keeps fewer
                    // values alive in most networks.
                    bool fits = false;
                    for (bool ch : {true, false})
                        if (!fits && laneSpillBytes(k, w, row.registers, 8 * p.slots, ch) <= spillLimit) {
                            fits = true;
                            chains = ch;
                        }
                    if (fits) {
                        chosen = &p;
                        used = std::move(w);
                        usedCost = c;
                    }
                }
            }
            if (chosen != nullptr) {
                v.slots = chosen->slots;
                v.stats = used.stats();
                body = printLanes(k, used, chosen->type, chosen->singleLanes, row.registers, chains);
            } else {
                body = printScalar(k, s, "qrbg::wide");
            }
        } else {
            // Packings narrowest first; a wider one replaces the one in hand
            // where it pays.
            const Packing* chosen = nullptr;
            WideProgram used;
            double usedCost = 0;
            for (const Packing& p : row.packings) {
                if (p.slots == 0) break;
                WideProgram w = packDag(k.dag, p.slots);
                const double c = cost(w.stats(), p.slots);
                if (chosen == nullptr || c <= row.maxShare * usedCost) {
                    chosen = &p;
                    used = std::move(w);
                    usedCost = c;
                }
            }
            v.slots = chosen->slots;
            v.stats = used.stats();
            const bool chains = row.registers >= kCriticalRegisters &&
                                wideStackTraffic(k.dag, used, row.registers, true) <=
                                    kCriticalTrafficShare * static_cast<double>(used.nodes.size());
            body = printWide(k, used, single ? chosen->type32 : chosen->type64, row.align, row.registers, chains);
        }
        v.text = "// " + kernelName(k.desc) + ", " + row.name + " variant: plan " + k.plan + ", " +
                 std::to_string(v.slots) + " slot" + (v.slots > 1 ? "s" : "") + " per register\n" + body.text +
                 printVariantFrame(k, body, row.name, row.align) + "\n";
        out.push_back(std::move(v));
    }
    return out;
}

std::string printBinding(const KernelDesc& k, const std::vector<VariantBuild>& v) {
    const std::string e = elemCType(k.type), name = kernelName(k), resolver = "resolve_" + name;
    const std::string sig = "(const " + e + "*, " + e + "*, int32_t)";
    std::ostringstream o;
    o << "#if QRBG_VARIANTS\nextern \"C\" {\n";
    for (const VariantBuild& b : v)
        o << "__attribute__((visibility(\"hidden\"))) Status " << internalName(k, b.row->name) << sig << ";\n";
    // QRBG_RESOLVER (qrbg_simd.h): C linkage, hidden, uninstrumented.
    o << "// The widest variant this processor runs, chosen once when the library loads.\n";
    o << "QRBG_RESOLVER Status (*" << resolver << "())" << sig << " {\n    __builtin_cpu_init();\n";
    for (auto it = v.rbegin(); it != v.rend(); ++it) {
        o << "    if (";
        for (int f = 0; f < 2 && it->row->features[f]; ++f)
            o << (f ? " && " : "") << "__builtin_cpu_supports(\"" << it->row->features[f] << "\")";
        o << ") return " << internalName(k, it->row->name) << ";\n";
    }
    o << "    return " << internalName(k, "sse2") << ";\n}\n";
    o << "QRBG_API Status " << name << "(const " << e << "* src, " << e << "* dst, int32_t flag) __attribute__((ifunc(\""
      << resolver << "\")));\n";
    o << "}\n#endif\n";
    return o.str();
}

}  // namespace qrbgen::plans
