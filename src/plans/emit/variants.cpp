#include "emit/variants.h"

#include <sstream>

#include "emit/printers.h"

namespace qrbgen::plans {

bool hasVariants(const KernelDesc& k) { return k.kind == Kind::CToC; }

namespace {

// Operations of a packing: its wide operations and gathers.
int cost(const WideProgram::Stats& s) { return s.applies + s.gathers; }

}  // namespace

std::vector<VariantBuild> buildVariants(const KernelDag& k, const SchemeRow& s) {
    std::vector<VariantBuild> out;
    if (!hasVariants(k.desc)) return out;
    const bool scalar = s.id == SchemeId::Scalar32fc;
    const bool single = isSingle(k.desc.type);
    // The 16-byte kernel, as a packing into one slot.
    const WideProgram narrow = packDag(k.dag, 1);
    int previous = cost(narrow.stats());
    for (const VariantRow& row : kVariants) {
        VariantBuild v{&row, 1, {}, {}};
        BodyInfo body;
        if (scalar) {
            // Scalar kernels have nothing to pack: the same operations in
            // the variant's encoding, where the variant must exist.
            if (!row.always) continue;
            v.stats = narrow.stats();
            body = printScalar(k, s, "qrbg::wide");
        } else {
            const WideProgram w = packDag(k.dag, row.slots);
            const bool pays = cost(w.stats()) <= row.maxShare * previous;
            if (!pays && !row.always) continue;
            const WideProgram& used = pays ? w : narrow;
            v.slots = pays ? row.slots : 1;
            v.stats = used.stats();
            const char* type = pays ? (single ? row.wide32 : row.wide64) : (single ? row.narrow32 : row.narrow64);
            body = printWide(k, used, type, row.align);
            previous = cost(v.stats);
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
    o << "// The widest variant this processor runs, chosen once when the library loads.\n";
    o << "static Status (*" << resolver << "())" << sig << " {\n    __builtin_cpu_init();\n";
    for (auto it = v.rbegin(); it != v.rend(); ++it)
        o << "    if (__builtin_cpu_supports(\"" << it->row->feature << "\")) return " << internalName(k, it->row->name)
          << ";\n";
    o << "    return " << internalName(k, "sse2") << ";\n}\n";
    o << "QRBG_API Status " << name << "(const " << e << "* src, " << e << "* dst, int32_t flag) __attribute__((ifunc(\""
      << resolver << "\")));\n";
    o << "}\n#endif\n";
    return o.str();
}

}  // namespace qrbgen::plans
