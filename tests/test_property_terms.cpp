// Einstein, two-state and Curie-Neel magnetic terms: each against its formula
// written out here, its partials against differences, its limits; the
// parameter sums against their weights written out and their derivatives
// against differences; the terms in a phase evaluation; the reader's choice of model.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "models/EinsteinTerm.h"
#include "models/ParameterSum.h"
#include "models/PhaseEvaluator.h"
#include "models/PropertyTerms.h"
#include "models/SumComposition.h"
#include "models/TwoStateTerm.h"
#include "models/XiongMagnetic.h"
#include "support/Differences.h"
#include "support/KernelTestKit.h"
#include "support/EvaluatorTestKit.h"
#include "thermfunctions/TTempArray.h"

namespace {

const double R = PhaseEvaluator::kGasConstant;

// ---------------------------------------------------------------------------
// The terms as functions of their sums and T

// The published Curie-Neel g(tau), written out term by term.
double XiongG(double tau, double p)
{
    const double D = 0.33471979 + 0.49649686 * (1 / p - 1);
    if (tau <= 1)
        return 1 - (0.38438376 / (p * tau) + 0.63570895 * (1 / p - 1) *
                                                 (std::pow(tau, 3) / 6 + std::pow(tau, 9) / 135 +
                                                  std::pow(tau, 15) / 600 + std::pow(tau, 21) / 1617)) /
                       D;
    return -(std::pow(tau, -7) / 21 + std::pow(tau, -21) / 630 + std::pow(tau, -35) / 2975 +
             std::pow(tau, -49) / 8232) /
           D;
}

double EinsteinG(double lnTheta, double T)
{
    const double theta = std::exp(lnTheta);
    return 1.5 * R * theta + 3 * R * T * std::log(1 - std::exp(-theta / T));
}

double TwoStateG(double DG, double T) { return -R * T * std::log(1 + std::exp(-DG / (R * T))); }

double XiongMagG(double beta, double TC, double NT, double T, double p)
{
    const double gC = TC > 0 ? XiongG(T / TC, p) : 0.0, gN = NT > 0 ? XiongG(T / NT, p) : 0.0;
    return R * T * std::log(beta + 1) * (gC + gN);
}

// One term at its sums (then T): the partials the model gives and the formula
// written out; p is the structure factor of the magnetic term.
enum class Term { Einstein, TwoState, Xiong };

struct TermCase
{
    const char* name;
    Term term;
    std::vector<double> x;  // sums, then T
    double p;
};

void PrintTo(const TermCase& c, std::ostream* os) { *os << c.name; }

void Partials(const TermCase& c, const std::vector<double>& x, SumPartials& F)
{
    if (c.term == Term::Einstein) EinsteinTerm::partials(x[0], x[1], R, F);
    if (c.term == Term::TwoState) TwoStateTerm::partials(x[0], x[1], R, F);
    if (c.term == Term::Xiong) XiongMagnetic::partials(x[0], x[1], x[2], x[3], c.p, R, F);
}

double Formula(const TermCase& c, const std::vector<double>& x)
{
    return c.term == Term::Einstein   ? EinsteinG(x[0], x[1])
           : c.term == Term::TwoState ? TwoStateG(x[0], x[1])
                                      : XiongMagG(x[0], x[1], x[2], x[3], c.p);
}

using Terms = ::testing::TestWithParam<TermCase>;

TEST_P(Terms, ValueFollowsTheFormulaAndPartialsFollowDifferences)
{
    const TermCase& c = GetParam();
    const int dim = static_cast<int>(c.x.size());
    SumPartials F;
    Partials(c, c.x, F);
    const double G = Formula(c, c.x);
    EXPECT_NEAR(F.value, G, 1e-11 * (1 + std::fabs(G)));
    for (int i = 0; i < dim; ++i) {
        // steps relative to the variable, small enough to stay on one side of tau = 1
        const double h = 1e-5 * std::max(1.0, std::fabs(c.x[i]));
        auto along = [&](std::function<double(const SumPartials&)> what) {
            return [&, what](double v) {
                std::vector<double> x = c.x;
                x[i] = v;
                SumPartials Fi;
                Partials(c, x, Fi);
                return what(Fi);
            };
        };
        const double fd = kit::Derivative5(along([](const SumPartials& P) { return P.value; }), c.x[i], h);
        EXPECT_NEAR(F.first[i], fd, 1e-7 * std::fabs(fd) + 1e-9 * (1 + std::fabs(G)) / h) << "d/dx" << i;
        for (int j = 0; j < dim; ++j) {
            const double fd2 =
                kit::Derivative5(along([j](const SumPartials& P) { return P.first[j]; }), c.x[i], h);
            EXPECT_NEAR(F.second[i][j], fd2, 1e-7 * std::fabs(fd2) + 1e-9 * (1 + std::fabs(F.first[j])) / h)
                << "d2/dx" << i << "dx" << j;
            EXPECT_EQ(F.second[i][j], F.second[j][i]) << i << "," << j;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Models, Terms,
    ::testing::Values(TermCase{"EinsteinColdIron", Term::Einstein, {std::log(245.0), 150.0}, 0},
                      TermCase{"EinsteinWarm", Term::Einstein, {std::log(245.0), 1000.0}, 0},
                      TermCase{"EinsteinSmallTheta", Term::Einstein, {std::log(20.0), 2500.0}, 0},
                      TermCase{"TwoStateAboveRT", Term::TwoState, {20000.0, 1000.0}, 0},
                      TermCase{"TwoStateAtZero", Term::TwoState, {0.0, 700.0}, 0},
                      TermCase{"TwoStateBelowZero", Term::TwoState, {-8000.0, 1500.0}, 0},
                      // beta, TC, NT, T
                      TermCase{"XiongBelowBoth", Term::Xiong, {1.7, 1043.0, 600.0, 300.0}, 0.37},
                      TermCase{"XiongBetweenCurieAndNeel", Term::Xiong, {0.8, 1043.0, 600.0, 800.0}, 0.25},
                      TermCase{"XiongAboveBoth", Term::Xiong, {2.2, 300.0, 250.0, 1200.0}, 0.25},
                      TermCase{"XiongNegativeNeel", Term::Xiong, {1.7, 200.0, -200.0, 150.0}, 0.25}),
    [](const ::testing::TestParamInfo<TermCase>& i) { return std::string(i.param.name); });

TEST(TermLimits, TwoStateVanishesFarAboveRTIsMinusRTln2AtZeroAndFollowsDGFarBelow)
{
    SumPartials F;
    const double T = 800.0, RT = R * T;
    TwoStateTerm::partials(0.0, T, R, F);
    EXPECT_NEAR(F.value, -RT * std::log(2.0), 1e-12 * RT);
    EXPECT_NEAR(F.first[0], 0.5, 1e-15);  // half the states
    for (double DG : {50 * RT, 800 * RT, 1e7, 1e300}) {
        TwoStateTerm::partials(DG, T, R, F);
        EXPECT_LE(std::fabs(F.value), RT * std::exp(-DG / RT) * 1.0000001) << DG;
        EXPECT_TRUE(std::isfinite(F.first[1]) && std::isfinite(F.second[1][1])) << DG;
    }
    // far below: the liquid-like state alone, G = DG + RT*ln(1 + e^(DG/RT))
    for (double DG : {-50 * RT, -800 * RT, -1e7}) {
        TwoStateTerm::partials(DG, T, R, F);
        EXPECT_NEAR(F.value, DG, 1e-14 * std::fabs(DG) + RT * std::exp(DG / RT)) << DG;
        EXPECT_NEAR(F.first[0], 1.0, 1e-15) << DG;
        EXPECT_TRUE(std::isfinite(F.second[0][0]) && std::isfinite(F.second[1][1])) << DG;
    }
}

TEST(TermLimits, EinsteinHeatCapacityTendsTo3RAboveThetaAndToZeroBelow)
{
    const double theta = 245.0;
    struct
    {
        double T, cpOver3R, tol;
    } cases[] = {{100 * theta, 1.0, 1e-4}, {10 * theta, 1.0, 1e-2}, {theta / 50, 0.0, 1e-15}};
    for (const auto& c : cases) {
        SumPartials F;
        EinsteinTerm::partials(std::log(theta), c.T, R, F);
        EXPECT_NEAR(-c.T * F.second[1][1] / (3 * R), c.cpOver3R, c.tol) << c.T;
    }
    // the zero-point energy is what is left far below theta
    SumPartials F;
    EinsteinTerm::partials(std::log(theta), theta / 50, R, F);
    EXPECT_NEAR(F.value, 1.5 * R * theta, 1e-12 * R * theta);
}

TEST(TermLimits, XiongSeriesAndTheirSlopesMeetAtTauOne)
{
    for (double p : {0.37, 0.25}) {
        double g1b, g2b, g1a, g2a;
        const double below = XiongMagnetic::g(1.0, p, g1b, g2b);
        const double above = XiongMagnetic::g(1.0 + 1e-15, p, g1a, g2a);
        EXPECT_NEAR(below, above, 1e-7) << p;
        EXPECT_NEAR(g1b, g1a, 1e-6) << p;
        EXPECT_NEAR(below, XiongG(1.0, p), 1e-15) << p;
    }
}

TEST(TermLimits, XiongOrderingOfANonPositiveTemperatureSumIsZero)
{
    SumPartials F;
    XiongMagnetic::partials(1.5, -100.0, 0.0, 500.0, 0.28, R, F);
    EXPECT_EQ(F.value, 0.0);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(F.first[i], 0.0) << i;
}

// ---------------------------------------------------------------------------
// Parameter sums: weights of every kind of parameter, and their derivatives


// site fractions A, B, C | D, VA
const std::vector<double> kY = {0.5, 0.3, 0.2, 0.35, 0.65};

struct WeightCase
{
    const char* name;
    const char* parameters;  // THETA parameters
    // the weighted sum at y and T, written out
    std::function<double(const std::vector<double>&, double)> sum;
};

void PrintTo(const WeightCase& c, std::ostream* os) { *os << c.name; }

using Sums = ::testing::TestWithParam<WeightCase>;

TEST_P(Sums, ValueIsTheWeightedSumAndDerivativesFollowDifferences)
{
    const WeightCase& c = GetParam();
    kit::Loaded l = kit::ReadModel("terms.tdb", c.parameters);
    ASSERT_TRUE(l.ok);
    ASSERT_EQ(l.report.diagnostics.size(), 0u) << l.diagnostics();
    ThermDatabase::PhaseRecord& rec = l.phase("ALLOY");
    const int n = rec.phase->m_nVarCount;
    ASSERT_EQ(n, 5);
    ParameterSum sum(n);
    const int theta = 10000 + l.db->dataMgr.AddTypeKeyword("THETA");
    for (int i = 0; i < rec.functions->m_FktArray.m_nSize; ++i)
        if (rec.functions->m_FktArray[i]->m_pFktData->m_nFktType == theta) sum.add(rec.functions->m_FktArray[i]);
    ASSERT_FALSE(sum.empty());

    // x = (y..., T)
    auto at = [&](const std::vector<double>& x, int order) {
        for (int v = 0; v < n; ++v) rec.phase->m_Y[v] = x[static_cast<size_t>(v)];
        TK.CalcTValues(x[static_cast<size_t>(n)]);
        rec.functions->CalcPTValues(x[static_cast<size_t>(n)], 101325.0, 2);
        sum.evaluate(order);
    };
    std::vector<double> x0 = kY;
    x0.push_back(900.0);
    at(x0, 2);
    EXPECT_NEAR(sum.value(), c.sum(kY, 900.0), 1e-12);
    const std::vector<double> grad(sum.gradient(), sum.gradient() + n + 1);
    const std::vector<double> hess(sum.hessian(), sum.hessian() + (n + 1) * (n + 1));
    for (int i = 0; i <= n; ++i) {
        const double h = i < n ? 1e-4 : 0.5;
        auto along = [&](int what) {
            return [&, what](double v) {
                std::vector<double> x = x0;
                x[static_cast<size_t>(i)] = v;
                at(x, 1);
                return what < 0 ? sum.value() : sum.gradient()[what];
            };
        };
        EXPECT_NEAR(grad[static_cast<size_t>(i)], kit::Derivative5(along(-1), x0[static_cast<size_t>(i)], h), 1e-10)
            << "d/dx" << i;
        for (int j = 0; j <= n; ++j) {
            EXPECT_NEAR(hess[static_cast<size_t>(i * (n + 1) + j)],
                        kit::Derivative5(along(j), x0[static_cast<size_t>(i)], h), 1e-9)
                << "d2/dx" << i << "dx" << j;
            EXPECT_EQ(hess[static_cast<size_t>(i * (n + 1) + j)], hess[static_cast<size_t>(j * (n + 1) + i)]);
        }
    }
}

// y: A, B, C | D, VA
INSTANTIATE_TEST_SUITE_P(
    Weights, Sums,
    ::testing::Values(
        WeightCase{"EndMembers", "PARAMETER THETA(ALLOY,A:VA;0) 1 5.5+0.001*T; 6000 N !\n"
                                 "PARAMETER THETA(ALLOY,B:D;0) 1 4.0; 6000 N !\n",
                   [](const std::vector<double>& y, double T) { return y[0] * y[4] * (5.5 + 0.001 * T) + y[1] * y[3] * 4.0; }},
        WeightCase{"BinaryOrders", "PARAMETER THETA(ALLOY,A,B:VA;1) 1 0.3*T; 6000 N !\n"
                                   "PARAMETER THETA(ALLOY,A,C:VA;2) 1 0.7; 6000 N !\n"
                                   "PARAMETER THETA(ALLOY,B,C:D;3) 1 -0.4; 6000 N !\n",
                   [](const std::vector<double>& y, double T) {
                       return y[0] * y[1] * y[4] * (y[0] - y[1]) * 0.3 * T +
                              y[0] * y[2] * y[4] * std::pow(y[0] - y[2], 2) * 0.7 +
                              y[1] * y[2] * y[3] * std::pow(y[1] - y[2], 3) * -0.4;
                   }},
        WeightCase{"TernaryMembers", "PARAMETER THETA(ALLOY,A,B,C:VA;0) 1 1.1; 6000 N !\n"
                                     "PARAMETER THETA(ALLOY,A,B,C:VA;1) 1 2.1; 6000 N !\n"
                                     "PARAMETER THETA(ALLOY,A,B,C:VA;2) 1 3.1; 6000 N !\n",
                   [](const std::vector<double>& y, double) {
                       const double P = y[0] * y[1] * y[2] * y[4], m = (1 - y[0] - y[1] - y[2]) / 3;
                       return P * ((y[0] + m) * 1.1 + (y[1] + m) * 2.1 + (y[2] + m) * 3.1);
                   }},
        WeightCase{"Wildcard", "PARAMETER THETA(ALLOY,A,B:*;0) 1 0.9; 6000 N !\n",
                   [](const std::vector<double>& y, double) { return y[0] * y[1] * (y[3] + y[4]) * 0.9; }},
        // as the field weights them: order 1 by the first difference, order 2 by the second
        WeightCase{"Reciprocal", "PARAMETER THETA(ALLOY,A,B:D,VA;0) 1 0.5; 6000 N !\n"
                                 "PARAMETER THETA(ALLOY,A,B:D,VA;1) 1 0.25; 6000 N !\n"
                                 "PARAMETER THETA(ALLOY,A,B:D,VA;2) 1 -0.125; 6000 N !\n",
                   [](const std::vector<double>& y, double) {
                       const double P = y[0] * y[1] * y[3] * y[4];
                       return P * 0.5 + P * (y[0] - y[1]) * 0.25 + P * (y[3] - y[4]) * -0.125;
                   }}),
    [](const ::testing::TestParamInfo<WeightCase>& i) { return std::string(i.param.name); });

// ---------------------------------------------------------------------------
// The terms in a phase evaluation


// LIQUID of tests/corpus/models/terms.tdb at (yA, yB) and T, written out.
double LiquidG(double yA, double yB, double T)
{
    const double ideal = R * T * (yA * std::log(yA) + yB * std::log(yB));
    const double G = yA * (1000 - 5 * T) + yB * -2000 + yA * yB * -3000;
    const double lnTheta = yA * 5.5 + yB * 4.8 + yA * yB * (yA - yB) * 0.2;
    const double DG = yA * (40000 - 5 * T) + yB * 30000;
    const double TC = yA * 600, NT = yB * 400 - 300 * yA * yB, beta = yA * 1.7 + yB * 0.5;
    return G + ideal + EinsteinG(lnTheta, T) + TwoStateG(DG, T) + XiongMagG(beta, TC, NT, T, 0.25);
}

TEST(PhaseTerms, EvaluationAddsEveryTermWithDerivativesThatFollowDifferences)
{
    kit::Loaded l = kit::ReadModel("terms.tdb");
    ASSERT_TRUE(l.ok);
    ASSERT_EQ(l.report.diagnostics.size(), 0u) << l.diagnostics();
    // below and above the Neel temperature of this composition, and both ordered
    for (double T : {150.0, 250.0, 700.0})
        for (double yA : {0.3, 0.8})
            fd::CheckModel(*l.db, "LIQUID", T, {yA, 1 - yA}, LiquidG(yA, 1 - yA, T),
                           "T = " + std::to_string(T) + ", yA = " + std::to_string(yA), 1e-9, 101325.0, R);
}

// Fe in the Fe-Mn liquid of the published file: G with the Einstein, two-state
// and Curie-Neel terms, written out from the file's parameters.
double FemnLiquidIron(double T)
{
    const double G = 7103.20801 - .0019730116 * T * T + 1392.1182 - 8.2584018 * T;
    const double DG = 42754.9478 - 7.624 * T - 1.08230446 * T * std::log(T);
    return G + EinsteinG(std::log(245.0), T) + TwoStateG(DG, T) + XiongMagG(1.7, 200, -200, T, 0.25);
}

TEST(PhaseTerms, IronInThePublishedFeMnLiquid)
{
    kit::Loaded l = kit::ReadShared("femn.tdb");
    ASSERT_TRUE(l.ok);
    PhaseEvaluator ev(*l.db, l.db->findPhase("LIQUID"));
    ASSERT_TRUE(ev.evaluable()) << ev.why();
    const std::vector<double> y = {1.0, 0.0, 1.0};  // FE, MN : VA
    for (double T : {300.0, 1000.0, 1811.0, 2500.0}) {
        ev.setTemperature(T, 101325.0);
        PhaseProperties out;
        ASSERT_TRUE(ev.evaluate(y.data(), 2, out)) << ev.why();
        fd::CheckMolarAgainst(out, FemnLiquidIron, T, "Fe at " + std::to_string(T) + " K");
    }
}

// ---------------------------------------------------------------------------
// Which databases select the terms

TEST(Selection, NeelTemperaturesNeedTheMagneticTypeDefinitionOfFactorZero)
{
    const struct
    {
        const char* typeDefinition;  // for the phase's type code S
        const char* why;             // part of the reason; "" when evaluable
    } cases[] = {{"TYPE_DEFINITION S GES A_P_D BCC_A2 MAGNETIC 0 0.37 !", ""},
                 {"TYPE_DEFINITION S GES A_P_D BCC_A2 MAGNETIC -1 0.4 !",
                  "NT (Neel temperature) parameters with the classic magnetic model (factor -1)"},
                 {"", "NT (Neel temperature) parameters without a magnetic type definition of factor 0"}};
    for (const auto& c : cases) {
        kit::Loaded l = kit::ReadModel("terms.tdb", std::string(c.typeDefinition) +
                                                    "\nPHASE BCC_A2 %S 1 1 !\nCONSTITUENT BCC_A2 : A : !\n"
                                      "PARAMETER G(BCC_A2,A;0) 1 1000; 6000 N !\nPARAMETER TC(BCC_A2,A;0) 1 300; 6000 N !\n"
                                      "PARAMETER NT(BCC_A2,A;0) 1 200; 6000 N !\nPARAMETER BMAGN(BCC_A2,A;0) 1 1; 6000 N !\n");
        ASSERT_TRUE(l.ok);
        if (*c.why) {
            kit::ExpectRefused(*l.db, "BCC_A2", c.why);
        } else {
            EXPECT_TRUE(PhaseEvaluator(*l.db, l.db->findPhase("BCC_A2")).evaluable()) << c.typeDefinition;
        }
    }
}

}  // namespace
