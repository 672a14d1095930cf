// Phase evaluation: G of each phase of tests/corpus/models/evaluator.tdb
// against the model written out by hand, every derivative against finite
// differences of G, the molar quantities against their definitions, the
// magnetic term against the published Hillert-Jarl series, and the refusal of
// temperatures outside the ranges of the functions a phase uses.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "models/PhaseEvaluator.h"
#include "support/Differences.h"
#include "support/EvaluatorTestKit.h"
#include "support/HillertJarl.h"
#include "support/KernelTestKit.h"

namespace {

const double R = 8.3145;  // J/(mol K), the field's convention
const double P0 = 1e5;

double xlnx(double x) { return x > 0 ? x * std::log(x) : 0.0; }

// a + b*T + c*T*ln(T) + d*T^2 + e/T, as the file writes them
struct TPoly
{
    double a = 0, b = 0, c = 0, d = 0, e = 0;
    double operator()(double T) const { return a + b * T + c * T * std::log(T) + d * T * T + e / T; }
};

// R*T*ln(beta'+1)*g(T/TC') with negative sums divided by the factor afm.
double MagneticG(double T, double TC, double beta, double p, double afm)
{
    if (TC < 0) TC /= afm;
    if (beta < 0) beta /= afm;
    return TC == 0 ? 0.0 : R * T * std::log(beta + 1) * hj::g(T / TC, p);
}

const TPoly GA{-8000, 140, -25, -2e-3, 5e4}, GB{-5000, 120, -22, -1e-3, 1e5}, GC{-3000, 100, -20};
const TPoly L0{-20000, 6}, L1{3000, -2}, L2{-1500, 1.5};
const TPoly GAC{-30000, 10}, GBC{-25000, 8}, GAV{5000, -1}, GBV{4000, 0, 0, -1e-3};
const TPoly LABC0{-10000, 3}, LABC1{2000}, LACV{-7000, 2}, LREC{4000, -1.5};
const TPoly LAB{-5000}, T0{15000, -4}, T1{-8000, 2}, T2{6000};
const TPoly BCCL{-8000, 3}, FCCL{-6000, 2};
// reciprocal interactions of orders 1 and 2: G, TC and BMAGN
const TPoly LR1{3000, -2, 0.3}, LR2{-2500, 1.2, 0, 1e-3}, TCR1{2500, 0.4}, TCR2{-1800}, BMR1{4.0}, BMR2{-3.0};

// The file, with a gap opened between the two pieces of G(GAP,A;0) (300 to
// 700 K and 800 to 1000 K), which no TDB text can write.
kit::Loaded ReadPhases()
{
    kit::Loaded l = kit::ReadModel("evaluator.tdb");
    EXPECT_TRUE(l.ok && l.report.errorCount() == 0) << l.diagnostics();
    TThermFkt* gap = l.phase("GAP").functions->m_FktArray[0];
    EXPECT_EQ(gap->m_PolyIndex.m_nSize, 2);
    l.db->dataMgr.m_PolynomArray[gap->m_PolyIndex[1]]->m_dTLow = 800.0;
    return l;
}

// G of RECIP and RECMAG (y = A, B, C, VA).
double ReciprocalModel(const std::string& phase, const std::vector<double>& y, double T)
{
    const double a = y[0], b = y[1], c = y[2], v = y[3], d1 = a - b, d2 = c - v, abcv = a * b * c * v;
    const double ends = a * c * GAC(T) + b * c * GBC(T) + a * v * GAV(T) + b * v * GBV(T);
    if (phase == "RECIP")
        return ends + a * b * c * LABC0(T) + abcv * (LREC(T) + LR1(T) * d1 + LR2(T) * d2) +
               R * T * (3 * (xlnx(a) + xlnx(b)) + xlnx(c) + xlnx(v));
    const double TC = 800 * a * c + 300 * b * c + 1000 * a * v - 200 * b * v + abcv * (TCR1(T) * d1 + TCR2(T) * d2);
    const double beta = 1.5 * a * c + 0.5 * b * c + 2.0 * a * v + 0.3 * b * v + abcv * (BMR1(T) * d1 + BMR2(T) * d2);
    return ends + abcv * LR1(T) * d1 + MagneticG(T, TC, beta, 0.28, -3) + R * T * (xlnx(a) + xlnx(b) + xlnx(c) + xlnx(v));
}

// G of the phases above, written out from the model.
double Reference(const std::string& phase, const std::vector<double>& y, double T)
{
    if (phase == "RECIP" || phase == "RECMAG") return ReciprocalModel(phase, y, T);
    if (phase == "MOLEC") return -1000 * y[1] + 500 * y[2] + R * T * 2 * (xlnx(y[1]) + xlnx(y[2]));
    if (phase == "BCC_B2" || phase == "HCP_A3")
        return 1000 - 5 * T + MagneticG(T, -600, -1.8, 0.4, phase == "BCC_B2" ? -3 : -1);
    const double a = y[0], b = y[1], d = a - b;
    if (phase == "LIQUID")
        return a * (GA(T) + 12000 - 9 * T) + b * GB(T) + a * b * (L0(T) + L1(T) * d + L2(T) * d * d) +
               R * T * (xlnx(a) + xlnx(b));
    if (phase == "SUBL") {
        const double c = y[2], v = y[3];
        return a * c * GAC(T) + b * c * GBC(T) + a * v * GAV(T) + b * v * GBV(T) +
               a * b * c * (LABC0(T) + LABC1(T) * d) + a * c * v * LACV(T) + a * b * c * v * LREC(T) +
               R * T * (3 * (xlnx(a) + xlnx(b)) + xlnx(c) + xlnx(v));
    }
    if (phase == "TERN1" || phase == "TERN3") {
        const double c = y[2], e = (1 - a - b - c) / 3;
        double G = a * GA(T) + b * GB(T) + c * GC(T) + a * b * LAB(T) + R * T * (xlnx(a) + xlnx(b) + xlnx(c));
        if (phase == "TERN1") return G + a * b * c * T0(T);
        return G + a * b * c * ((a + e) * T0(T) + (b + e) * T1(T) + (c + e) * T2(T));
    }
    const double v = y[2];
    if (phase == "BCC_A2") {
        double TC = a * v * 1043 - b * v * 311.5 + a * b * v * (1650 + 0.05 * T + 550 * d);
        double beta = a * v * 2.22 - b * v * 0.3 + a * b * v * (-0.85 + 1e-4 * T);
        return a * v * GA(T) + b * v * GB(T) + a * b * v * BCCL(T) + R * T * (xlnx(a) + xlnx(b) + 3 * xlnx(v)) +
               MagneticG(T, TC, beta, 0.4, -1);
    }
    // FCC_A1
    double TC = -a * v * 201 + b * v * 633 - a * b * v * 1200;
    double beta = -a * v * 2.46 + b * v * 0.62 + a * b * v * 0.6;
    return a * v * GA(T) + b * v * GB(T) + a * b * v * FCCL(T) + R * T * (xlnx(a) + xlnx(b) + xlnx(v)) +
           MagneticG(T, TC, beta, 0.28, -3);
}

TEST(PhaseEvaluator, ValuesAndDerivativesAgreeWithTheModel)
{
    kit::Loaded l = ReadPhases();
    const struct
    {
        const char* name;
        const char* phase;
        std::vector<double> y;
        double T;
        double atoms = std::numeric_limits<double>::quiet_NaN();  // N: sites * fractions * atoms of the species
    } cases[] = {{"BinaryRK", "LIQUID", {0.3, 0.7}, 900},
                 {"BinaryRKHot", "LIQUID", {0.85, 0.15}, 1800},
                 {"Reciprocal", "SUBL", {0.4, 0.6, 0.7, 0.3}, 800, 3 * 1.0 + 0.7},
                 {"ReciprocalVacancyEndMember", "SUBL", {1, 0, 0, 1}, 700, 3.0},
                 {"MoleculeOfTwoAtoms", "MOLEC", {1, 0.25, 0.75}, 700, 1 + 2 * 0.25 * 2},
                 {"TernaryOneTerm", "TERN1", {0.2, 0.5, 0.3}, 1000},
                 {"TernaryMuggianu", "TERN3", {0.2, 0.5, 0.3}, 1000},
                 {"BccBelowTc", "BCC_A2", {0.7, 0.3, 1.0}, 600, 1.0},
                 {"BccAboveTc", "BCC_A2", {0.7, 0.3, 1.0}, 1600},
                 {"BccNegativeSumsBelow", "BCC_A2", {0.1, 0.9, 1.0}, 40},
                 {"BccNegativeSumsAbove", "BCC_A2", {0.1, 0.9, 1.0}, 150},
                 {"FccBelowTc", "FCC_A1", {0.2, 0.8, 1.0}, 150},
                 {"FccAboveTc", "FCC_A1", {0.2, 0.8, 1.0}, 500},
                 {"FccAntiferroBelow", "FCC_A1", {0.8, 0.2, 1.0}, 40},
                 {"FccAntiferroAbove", "FCC_A1", {0.8, 0.2, 1.0}, 300},
                 {"ReciprocalOrders", "RECIP", {0.7, 0.3, 0.8, 0.2}, 800},
                 {"ReciprocalOrdersNegativeDifferences", "RECIP", {0.35, 0.65, 0.25, 0.75}, 1500},
                 {"ReciprocalMagneticBelowTc", "RECMAG", {0.7, 0.3, 0.8, 0.2}, 400},
                 {"ReciprocalMagneticAboveTc", "RECMAG", {0.7, 0.3, 0.8, 0.2}, 1100},
                 // a zero fraction: see support/Differences.h
                 {"ReciprocalZeroA", "RECIP", {0, 1, 0.6, 0.4}, 800},
                 {"ReciprocalZeroVacancy", "RECIP", {0.3, 0.7, 1, 0}, 1200},
                 {"ReciprocalMagneticZeroVacancy", "RECMAG", {0.6, 0.4, 1, 0}, 400},
                 {"ReciprocalMagneticZeroA", "RECMAG", {0, 1, 0.8, 0.2}, 300},
                 {"AntiferroFactorNotFromTheNameBcc", "BCC_B2", {1, 1}, 150},
                 {"AntiferroFactorNotFromTheNameHcp", "HCP_A3", {1, 1}, 400}};
    for (const auto& c : cases)
        fd::CheckModel(*l.db, c.phase, c.T, c.y, Reference(c.phase, c.y, c.T), c.name, 1e-9, P0, R, c.atoms);
    PhaseEvaluator molec(*l.db, l.db->findPhase("MOLEC"));
    EXPECT_STREQ(molec.variableName(1), "C2");
    EXPECT_EQ(molec.findVariable(1, "va"), 2);
    EXPECT_EQ(molec.findVariable(0, "VA"), -1);
}

TEST(PhaseEvaluator, SiteFractionsOfZeroGiveTheLimit)
{
    kit::Loaded l = ReadPhases();
    ThermDatabase& db = *l.db;
    struct
    {
        const char* phase;
        std::vector<double> y;
    } cases[] = {{"LIQUID", {0, 1}},         {"SUBL", {1, 0, 1, 0}},        {"TERN3", {0, 0.4, 0.6}},
                 {"BCC_A2", {0, 1, 1}},      {"RECIP", {0, 1, 0.6, 0.4}},  {"RECIP", {0.3, 0.7, 1, 0}},
                 {"RECMAG", {0.6, 0.4, 1, 0}}, {"RECMAG", {0, 1, 0.8, 0.2}}};
    for (const auto& c : cases) {
        PhaseEvaluator ev(db, db.findPhase(c.phase));
        ev.setTemperature(900, P0);
        const int n = ev.variableCount();
        std::vector<double> yNear = c.y;
        for (double& v : yNear) v = v == 0 ? 1e-12 : v - 1e-12;
        PhaseProperties at, near;
        ASSERT_TRUE(ev.evaluate(c.y.data(), 2, at));
        ASSERT_TRUE(ev.evaluate(yNear.data(), 2, near));
        for (double h : at.hessian) EXPECT_TRUE(std::isfinite(h)) << c.phase;
        EXPECT_NEAR(at.G, near.G, 1e-6) << c.phase;
        EXPECT_NEAR(at.G, Reference(c.phase, c.y, 900), 1e-6) << c.phase;
        EXPECT_NEAR(at.SM, near.SM, 1e-8) << c.phase;
        // beside the ideal term (which diverges as ln y), the derivatives have finite limits
        for (int i = 0; i < n; ++i) {
            const double a = db.phases[db.findPhase(c.phase)].phase->m_SiteRatios[ev.variableSublattice(i)];
            auto rest = [&](const PhaseProperties& p, double y) {
                return p.dG_dy[i] - R * 900 * a * (std::log(std::max(y, 1e-30)) + 1);
            };
            EXPECT_NEAR(rest(at, c.y[i]), rest(near, yNear[i]), 1e-5 * (1 + std::fabs(rest(near, yNear[i]))))
                << c.phase << " variable " << i;
            for (int j = 0; j < i; ++j)
                EXPECT_NEAR(at.hessian[i * (n + 1) + j], near.hessian[i * (n + 1) + j], 1e-5)
                    << c.phase << " " << i << "," << j;
        }
    }
}

// The evaluator forms the derivatives of reciprocal parameters of orders 1
// and 2 itself; the phase's arrays must still hold everything the kernel puts
// there for other terms: d/dT of the site-fraction block and the third
// temperature derivative.
TEST(PhaseEvaluator, ReciprocalTermsCompleteThePhaseArrays)
{
    kit::Loaded l = ReadPhases();
    ThermDatabase& db = *l.db;
    const int ph = db.findPhase("RECIP");
    CVxPhase& phase = *db.phases[ph].phase;
    PhaseEvaluator ev(db, ph);
    const int n = ev.variableCount(), dim = n + 1, tp = phase.m_nTPos;
    const std::vector<double> y = {0.7, 0.3, 0.8, 0.2};
    const double T = 900;
    ev.setTemperature(T, P0);
    PhaseProperties out;
    ASSERT_TRUE(ev.evaluate(y.data(), 2, out));
    std::vector<double> hessGT(static_cast<size_t>(n * n));
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) hessGT[i * n + j] = phase.m_HessGT(i, j);
    const double d3G = phase.m_HessG(tp + 1, tp + 1);

    auto at = [&](double t) {
        ev.setTemperature(t, P0);
        PhaseProperties p;
        EXPECT_TRUE(ev.evaluate(y.data(), 2, p));
        return p;
    };
    const double h = 0.05;
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            // the ideal term's y-y block is R*T*a/y on the diagonal
            const double ideal = i == j ? R * phase.m_SiteRatios[ev.variableSublattice(i)] / y[i] : 0.0;
            const double fd = kit::Derivative5([&](double t) { return at(t).hessian[i * dim + j]; }, T, h);
            EXPECT_NEAR(hessGT[i * n + j], fd - ideal, 1e-6 * (1 + std::fabs(fd))) << i << "," << j;
        }
    }
    const double fd3 = kit::Derivative5([&](double t) { return at(t).d2G_dT2; }, T, h);
    EXPECT_NEAR(d3G, fd3, 1e-6 * (1 + std::fabs(fd3)));
    EXPECT_NE(d3G, 0.0);  // from LR1's T*ln(T), the only term with a third T derivative
}

// One temperature of a phase with limited ranges at y = 1: G when it evaluates,
// else the reason given.
struct RangeCase
{
    const char* phase;
    double T;
    double G;         // expected G when evaluable
    const char* why;  // expected reason of the refusal; empty when evaluable
};

TEST(PhaseEvaluator, TemperaturesOutsideTheRangesOfFunctionsInUseAreRefused)
{
    const RangeCase cases[] = {
        // a symbol read by the parameter; the upper limit belongs to the range, and a refusal passes
        {"SYM", 500, 100 - 2 * 500.0 + (-2000 + 5 * 500.0), ""},
        {"SYM", 1500, 0, "T = 1500 K is outside the temperature ranges of function GLIM (300 to 1000 K)"},
        {"SYM", 250, 0, "T = 250 K is outside the temperature ranges of function GLIM (300 to 1000 K)"},
        {"SYM", 500, 100 - 2 * 500.0 + (-2000 + 5 * 500.0), ""},
        {"SYM", 1000, 100 - 2 * 1000.0 + (-2000 + 5 * 1000.0), ""},
        // a symbol reached through another symbol
        {"DEEP", 600, 100 + 2 * (-2000 + 5 * 600.0), ""},
        {"DEEP", 1200, 0, "T = 1200 K is outside the temperature ranges of function GLIM (300 to 1000 K)"},
        // the parameter's own pieces, joined where they meet, and a gap between two pieces
        {"OWN", 700, 10, ""},
        {"OWN", 1500, 0, "T = 1500 K is outside the temperature ranges of parameter G(OWN,A;0) (300 to 1000 K)"},
        {"GAP", 750, 0,  // the gap ReadPhases opens

         "T = 750 K is outside the temperature ranges of parameter G(GAP,A;0) (300 to 700 K, 800 to 1000 K)"},
        {"GAP", 850, 21, ""},
        // a Curie temperature counts like any other parameter of the model
        {"MAGR", 600, -50 + R * 600 * std::log(2.0) * hj::g(600 / 500.0, 0.28), ""},
        {"MAGR", 1500, 0, "T = 1500 K is outside the temperature ranges of parameter TC(MAGR,A;0) (300 to 1000 K)"},
        // GHIGH does not cover 500 K and GLIM not 2000 K, but neither is read there
        {"SPLIT", 500, -2000 + 5 * 500.0, ""},
        {"SPLIT", 2000, 7000, ""},
        {"SPLIT", 4000, 0, "T = 4000 K is outside the temperature ranges of parameter G(SPLIT,A;0) (1 to 3000 K)"},
    };
    kit::Loaded l = ReadPhases();
    ThermDatabase& db = *l.db;
    std::map<std::string, std::unique_ptr<PhaseEvaluator>> evaluators;  // one per phase, used in turn
    for (const RangeCase& c : cases) {
        std::unique_ptr<PhaseEvaluator>& ev = evaluators[c.phase];
        if (!ev) ev = std::make_unique<PhaseEvaluator>(db, db.findPhase(c.phase));
        ev->setTemperature(c.T, P0);
        PhaseProperties out;
        const double y[] = {1.0};
        EXPECT_EQ(ev->evaluate(y, 2, out), *c.why == 0) << c.phase << " at " << c.T;
        EXPECT_EQ(ev->why(), c.why) << c.phase << " at " << c.T;
        EXPECT_NEAR(*c.why == 0 ? out.G : c.G, c.G, 1e-9) << c.phase << " at " << c.T;
    }
}

TEST(PhaseEvaluator, ReasonsOfRefusalTakeTheirTurn)
{
    kit::Loaded l = ReadPhases();
    ThermDatabase& db = *l.db;
    const int ph = db.findPhase("SYM");
    PhaseEvaluator ev(db, ph);
    ev.setTemperature(1500, P0);
    PhaseProperties out;
    const double y[] = {1.0};
    EXPECT_FALSE(ev.evaluate(y, 3, out));  // a wrong call is reported as such
    EXPECT_EQ(ev.why(), "derivative order must be 0, 1 or 2");
    EXPECT_FALSE(ev.evaluate(y, 0, out));
    EXPECT_EQ(ev.why(), "T = 1500 K is outside the temperature ranges of function GLIM (300 to 1000 K)");
    db.phases[ph].phase->m_bEvaluable = 0;
    db.phases[ph].phase->m_NotEvaluableWhy = "no reason";
    out.G = 7.0;
    EXPECT_FALSE(ev.evaluable());
    EXPECT_FALSE(ev.evaluate(y, 0, out));
    EXPECT_EQ(ev.why(), "no reason");  // the phase's own reason comes first
    EXPECT_EQ(out.G, 7.0);             // and nothing is written
}

}  // namespace
