// Plan strings are checked before anything is built from them, and the
// constants are the correctly rounded values.
#include <gtest/gtest.h>

#include <stdexcept>

#include "ir/trig.h"
#include "tables/plan.h"
#include "tables/plan_table.h"

using namespace qrbgen::plans;

TEST(Plans, EveryRowOfTheTableParsesToItsLength) {
    for (const PlanRow& r : planTable()) {
        EXPECT_EQ(parsePlanFor(r.plan32fc, r.n).n, r.n) << r.plan32fc;
        EXPECT_EQ(parsePlanFor(r.plan64fc, r.n).n, r.n) << r.plan64fc;
    }
}

TEST(Plans, StructureAndLeafForms) {
    PlanNode p = parsePlan("G(3,5s,4)");
    ASSERT_EQ(p.kind, PlanNode::GT);
    EXPECT_EQ(p.n, 60);
    EXPECT_EQ(p.kids[0].kind, PlanNode::GT);  // G(a,b,c) is G(G(a,b),c)
    EXPECT_EQ(p.kids[0].n, 15);
    EXPECT_TRUE(p.kids[0].kids[1].sumDiff);
    EXPECT_EQ(p.kids[1].n, 4);
    EXPECT_EQ(p.str(), "G(G(3,5s),4)");
    EXPECT_TRUE(parsePlan("G(5s,7r)").kids[1].realRader);
    EXPECT_EQ(parsePlan("R13").kind, PlanNode::Rader);
    // A bare prime from 13 on is the prime network, a bare 7 or 11 the leaf;
    // a prime network may name the plans of its halves.
    const PlanNode g = parsePlan("G(13,2)");
    EXPECT_EQ(g.kids[0].kind, PlanNode::Rader);
    EXPECT_EQ(parsePlan("G(7,2)").kids[0].kind, PlanNode::Leaf);
    EXPECT_EQ(parsePlan("R11").kind, PlanNode::Rader);
    const PlanNode h = parsePlan("G(R29[G(4,7);G(2,7);O(2,7)],2)");
    EXPECT_EQ(h.kids[0].halves, "G(4,7);G(2,7);O(2,7)");
    EXPECT_EQ(h.str(), "G(R29[G(4,7);G(2,7);O(2,7)],2)");
    EXPECT_EQ(parsePlan("chirp 47").kind, PlanNode::Chirp);
    EXPECT_EQ(parsePlan("chirp 47").n, 47);
}

TEST(Plans, RefusesBadPlans) {
    // factors that do not multiply to N
    EXPECT_THROW(parsePlanFor("C(4,3)", 8), std::invalid_argument);
    EXPECT_THROW(parsePlanFor("G(5,2)", 20), std::invalid_argument);
    // Good-Thomas factors that are not coprime
    EXPECT_THROW(parsePlan("G(2,4)"), std::invalid_argument);
    EXPECT_THROW(parsePlan("G(3,C(3,3))"), std::invalid_argument);
    // malformed text and leaf forms
    EXPECT_THROW(parsePlan("C(4,2"), std::invalid_argument);
    EXPECT_THROW(parsePlan("G(4,)"), std::invalid_argument);
    EXPECT_THROW(parsePlan("7s"), std::invalid_argument);
    EXPECT_THROW(parsePlan("C(4,2)x"), std::invalid_argument);
    EXPECT_THROW(parsePlan("R15"), std::invalid_argument);
    EXPECT_THROW(parsePlan("R13[G(3,4)"), std::invalid_argument);
}

TEST(Constants, CorrectlyRoundedInBothPrecisions) {
    EXPECT_EQ(sinPiFrac(2, 3), 0.8660254037844386);
    EXPECT_EQ(cosPiFrac(2, 5), 0.30901699437494745);
    EXPECT_EQ(-cosPiFrac(4, 5), 0.80901699437494745);
    EXPECT_EQ(sinPiFrac(4, 5), 0.58778525229247314);
    EXPECT_EQ(cosPiFrac(2, 7), 0.62348980185873348);
    EXPECT_EQ(-cosPiFrac(6, 7), 0.90096886790241915);
    EXPECT_EQ(sinPiFrac(2, 7), 0.7818314824680298);
    EXPECT_EQ(sinPiFrac(6, 7), 0.43388373911755812);
    EXPECT_EQ(cosPiFrac(1, 4), 0.70710678118654752);
    EXPECT_EQ(sqrtFrac(5, 16), 0.55901699437494745);
    EXPECT_EQ(sinPiFracF(2, 3), 0.866025388f);
    EXPECT_EQ(sinPiFracF(2, 7), 0.781831503f);
    EXPECT_EQ(cosPiFracF(1, 4), 0.707106769f);
    EXPECT_EQ(-cosPiFracF(6, 7), 0.90096885f);
    // the twiddles of the length-9 split-form kernel
    EXPECT_EQ(cosPiFracF(2, 9), static_cast<float>(0.76604444311897804));
    EXPECT_EQ(sinPiFracF(8, 9), static_cast<float>(0.34202014332566873));
    // exact values at multiples of pi/2, symmetric values agree bit for bit
    EXPECT_EQ(cosPiFrac(1, 2), 0.0);
    EXPECT_EQ(sinPiFrac(1, 1), 0.0);
    EXPECT_EQ(cosPiFrac(2, 1), 1.0);
    EXPECT_EQ(cosPiFrac(3, 8), sinPiFrac(1, 8));
    EXPECT_EQ(cosPiFrac(7, 64), -cosPiFrac(57, 64));
    EXPECT_EQ(sinPiFrac(-3, 32), -sinPiFrac(3, 32));
}
