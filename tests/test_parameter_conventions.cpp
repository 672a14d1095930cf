// The field's conventions for interaction parameters, through the reader and
// the phase evaluation: constituents of a sublattice sorted by name (the sign
// of odd orders, the member of a ternary, listing and duplicates), and the
// weights of reciprocal parameters of orders 1 and 2.  Values are written out
// by hand, derivatives checked against differences of G.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "models/PhaseEvaluator.h"
#include "support/Differences.h"
#include "support/EvaluatorTestKit.h"

namespace {

const double R = 8.3145;
const double P0 = 101325.0;

double xlnx(double x) { return x > 0 ? x * std::log(x) : 0.0; }

// tests/corpus/models/sorted.tdb writes the constituents out of order.
kit::Loaded ReadSorted(const std::string& more = "") { return kit::ReadModel("sorted.tdb", more); }

// G of the two phases per mole of formula units; y in the variables' order
// (A, B, C for LIQ; A, B : C, D for REC).
double Model(const std::string& phase, const std::vector<double>& y, double T)
{
    const double a = y[0], b = y[1];
    if (phase == "LIQ") {
        const double c = y[2], e = (1 - a - b - c) / 3;
        return a * b * (1000 + T) * (a - b) + a * b * c * (700 * (a + e) - 400 * (c + e)) +
               R * T * (xlnx(a) + xlnx(b) + xlnx(c));
    }
    const double c = y[2], d = y[3], abcd = a * b * c * d;
    return -100 * a * c - 200 * b * c - 300 * a * d - 400 * b * d +
           abcd * (250 + (500 + 2 * T) * (a - b) + (-300 + T * std::log(T)) * (c - d)) +
           R * T * (xlnx(a) + xlnx(b) + 2 * (xlnx(c) + xlnx(d)));
}

TEST(SortedConstituents, ValueAndDerivativesFollowTheSortedOrder)
{
    kit::Loaded l = ReadSorted();
    ASSERT_TRUE(l.ok) << l.diagnostics();
    ASSERT_EQ(l.report.errorCount(), 0) << l.diagnostics();
    const struct
    {
        const char* name;
        const char* phase;
        std::vector<double> y;
        double T;
    } cases[] = {{"BinaryOddOrder", "LIQ", {0.7, 0.2, 0.1}, 900},
                 {"TernaryMembers", "LIQ", {0.25, 0.35, 0.4}, 1300},
                 {"ReciprocalOrdersOneAndTwo", "REC", {0.7, 0.3, 0.8, 0.2}, 800},
                 {"ReciprocalNegativeDifferences", "REC", {0.35, 0.65, 0.25, 0.75}, 1500}};
    for (const auto& c : cases) fd::CheckModel(*l.db, c.phase, c.T, c.y, Model(c.phase, c.y, c.T), c.name, 1e-9, P0, R);
}

TEST(SortedConstituents, ListingAndDuplicatesSeeTheCanonicalForm)
{
    kit::Loaded l = ReadSorted("PARAMETER L(LIQ,A,B;1) 1 1000+T; 6000 N !\n");
    ASSERT_TRUE(l.ok) << l.diagnostics();
    EXPECT_EQ(l.report.duplicatePairs, 1) << l.diagnostics();
    TThermFktMgr& liq = *l.phase("LIQ").functions;
    EXPECT_NE(kit::FindParameter(liq, "G(LIQ,A,B;1)"), nullptr);
    EXPECT_EQ(kit::FindParameter(liq, "G(LIQ,B,A;1)"), nullptr);
    EXPECT_NE(kit::FindParameter(liq, "G(LIQ,A,B,C;2)"), nullptr);
    EXPECT_NE(kit::FindParameter(*l.phase("REC").functions, "G(REC,A,B:C,D;1)"), nullptr);
}

// COST507's HCP_A3 carries G(HCP_A3,AL,TI:N,VA;1) = -37300 + 100*T.  With the
// parameter switched off, G changes by exactly its published weight
// y_AL*y_TI*y_N*y_VA*(y_AL - y_TI)*(-37300 + 100*T).
TEST(ReciprocalWeights, Cost507Hcp)
{
    kit::Loaded l = kit::ReadShared("COST507.tdb");
    ASSERT_TRUE(l.ok) << l.diagnostics();
    const int ph = l.db->findPhase("HCP_A3");
    ASSERT_GE(ph, 0);
    TThermFkt* recip = kit::FindParameter(*l.phase("HCP_A3").functions, "G(HCP_A3,AL,TI:N,VA;1)");
    ASSERT_NE(recip, nullptr);
    PhaseEvaluator ev(*l.db, ph);
    ASSERT_TRUE(ev.evaluable()) << ev.why();
    std::vector<double> y(static_cast<size_t>(ev.variableCount()), 1e-3);
    const int al = ev.findVariable(0, "AL"), ti = ev.findVariable(0, "TI"), n = ev.findVariable(1, "N"),
              va = ev.findVariable(1, "VA");
    ASSERT_TRUE(al >= 0 && ti >= 0 && n >= 0 && va >= 0);
    y[al] = 0.55;
    y[ti] = 0.3;
    y[n] = 0.15;
    y[va] = 0.8;
    const double T = 1100;
    PhaseProperties with, without;
    ev.setTemperature(T, P0);
    ASSERT_TRUE(ev.evaluate(y.data(), 1, with)) << ev.why();
    recip->m_pFktData->m_bDisabled = 1;
    ev.setTemperature(T, P0);
    ASSERT_TRUE(ev.evaluate(y.data(), 1, without)) << ev.why();
    const double L = -37300 + 100 * T, P = 0.55 * 0.3 * 0.15 * 0.8;
    EXPECT_NEAR(with.G - without.G, P * (0.55 - 0.3) * L, 1e-6);
    EXPECT_NEAR(with.dG_dT - without.dG_dT, P * (0.55 - 0.3) * 100, 1e-8);
    // d/dy_AL of y_AL^2*y_TI*y_N*y_VA - y_AL*y_TI^2*y_N*y_VA
    EXPECT_NEAR(with.dG_dy[al] - without.dG_dy[al], (2 * 0.55 * 0.3 - 0.3 * 0.3) * 0.15 * 0.8 * L, 1e-6);
}

}  // namespace
