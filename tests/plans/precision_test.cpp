// The single-precision rule as an analysis: it takes the same decisions as
// the scalar 32fc kernels of lengths 3 and 5 and gives the 32f split of the
// forward table. (The built kernels against the small kernels evaluated by
// hand are in the real kernel tests.)
#include <gtest/gtest.h>

#include <cstring>
#include <regex>
#include <set>
#include <sstream>

#include "emit/precision.h"
#include "emit/printers.h"
#include "real_test_util.h"
#include "tables/real_tables.h"

using namespace qrbgen::plans;

namespace {

bool sameBits(float a, float b) { return std::memcmp(&a, &b, sizeof a) == 0; }

}  // namespace

namespace qrbgen::plans {
void PrintTo(const Split32f& s, std::ostream* os) {
    *os << "{" << s.singleAdds << ", " << s.singleMuls << ", " << s.doubleAdds << ", " << s.doubleMuls << ", "
        << s.widenings << ", " << s.narrowings << "}";
}
}  // namespace qrbgen::plans

// The scalar 32fc kernels of lengths 3 and 5 print, per node, a single
// operation, a double one kept as double, or a double one rounded at once,
// and widen exactly the singles that meet a double operation.
TEST(Precision, TakesTheDecisionsOfTheScalar32fcKernels) {
    const std::regex line(R"(^\s*const (float|double) v(\d+) = (.*);$)");
    const std::regex widening(R"(static_cast<double>\((v\d+|s)\))");
    for (int n : {3, 5}) {
        for (bool inverse : {false, true}) {
            const KernelDesc desc{Kind::CToC, Type::C32, n, inverse};
            const KernelDag k = buildKernel(desc, schemeFor(desc));
            const PrecisionPlan p = analysePrecision(k.dag);
            std::istringstream code(printScalar(k, schemeFor(desc)).text);
            std::set<std::string> widenedInCode;
            int ops = 0;
            for (std::string text; std::getline(code, text);) {
                std::smatch m;
                for (auto it = std::sregex_iterator(text.begin(), text.end(), widening); it != std::sregex_iterator(); ++it)
                    widenedInCode.insert((*it)[1]);
                if (!std::regex_match(text, m, line) || m[3].str().rfind("qrbg::ld1", 0) == 0) continue;
                const int id = std::stoi(m[2]);
                ++ops;
                const bool roundedInCode = m[1] == "float" && m[3].str().rfind("static_cast<float>(", 0) == 0;
                EXPECT_EQ(p.dbl[id] != 0, m[1] == "double" || roundedInCode) << n << " v" << id;
                EXPECT_EQ(p.rounded[id] != 0, roundedInCode) << n << " v" << id;
            }
            const OpCounts c = k.dag.counts();
            EXPECT_EQ(ops, c.add + c.sub + c.mul);
            std::set<std::string> widened;
            for (std::size_t i = 0; i < p.widened.size(); ++i)
                if (p.widened[i]) widened.insert(k.dag.node(static_cast<int>(i)).op == Op::Scale ? "s" : "v" + std::to_string(i));
            EXPECT_EQ(widened, widenedInCode) << n;
        }
    }
}

// The doubling of the inverse kernels is a single constant: its product
// with a single stays single, while 0.5 keeps its product double.
TEST(Precision, SingleConstantsStaySingle) {
    Dag d;
    const Ref x = d.input(0), y = d.input(1);
    d.output(0, d.scale(d.add(d.mulC(2.0, x), y)));
    d.output(1, d.scale(d.mulC(0.5, y)));
    const Split32f asDoubling = analysePrecision(d, {2.0}).split;
    EXPECT_EQ(asDoubling, (Split32f{1, 2, 0, 2, 2, 1}));  // y and s widened, 0.5 y s rounded once
    const Split32f asNetworkConstant = analysePrecision(d).split;
    EXPECT_EQ(asNetworkConstant, (Split32f{0, 0, 1, 4, 3, 2}));
    const PrecisionPlan p = analysePrecision(d, {2.0});
    const std::vector<float> out = evaluate32f(d, p, {0.1f, 0.3f}, 0.7f);
    EXPECT_TRUE(sameBits(out[0], (2.0f * 0.1f + 0.3f) * 0.7f));
    EXPECT_TRUE(sameBits(out[1], static_cast<float>(0.5 * double(0.3f) * double(0.7f))));
}

// The split counts a negated store of a double expression as a double
// subtraction and one of a single as a single one, so it holds which
// imaginary parts come out negated, not only how many.
TEST(Precision, SplitOfTheForwardTable) {
    for (const ForwardRealRow& row : forwardRealTable()) {
        if (hasRaderPart(row.plan)) {
            // The prime networks divide their work between the precisions
            // in their own way: there only the totals are held.
            const KernelDag k = forwardKernel(row.n);
            const Split32f s = analysePrecision(k.dag).split;
            const OpCounts c = k.dag.counts();
            EXPECT_EQ(s.singleAdds + s.doubleAdds, c.add + c.sub + negations(k.dag)) << row.n;
            EXPECT_EQ(s.singleMuls + s.doubleMuls, c.mul) << row.n;
            continue;
        }
        for (Type type : {Type::F64, Type::F32}) {
            const KernelDag k = forwardKernel(row.n, type);
            EXPECT_EQ(analysePrecision(k.dag).split, row.split32f) << row.n;
        }
    }
}
