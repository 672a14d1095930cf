// Phase evaluation: G of each test phase against the model written out by
// hand, every derivative against finite differences of G, the molar
// quantities against their definitions, and the magnetic term against the
// published Hillert-Jarl series.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <ostream>
#include <string>
#include <vector>

#include "host/PhaseEvaluator.h"
#include "support/EvaluatorTestKit.h"

namespace {

using kit::TPoly;
const double R = 8.3145;  // J/(mol K), the field's convention
const double P0 = 1e5;

double xlnx(double x) { return x > 0 ? x * std::log(x) : 0.0; }

// g(tau) in the published form, p the structure factor.
double HillertJarl(double tau, double p)
{
    const double D = 518.0 / 1125.0 + 11692.0 / 15975.0 * (1.0 / p - 1.0);
    if (tau < 1.0)
        return 1.0 - (79.0 / (140.0 * p) / tau +
                      474.0 / 497.0 * (1.0 / p - 1.0) *
                          (std::pow(tau, 3) / 6 + std::pow(tau, 9) / 135 + std::pow(tau, 15) / 600)) /
                         D;
    return -(std::pow(tau, -5) / 10 + std::pow(tau, -15) / 315 + std::pow(tau, -25) / 1500) / D;
}

// R*T*ln(beta'+1)*g(T/TC') with negative sums divided by the factor afm.
double MagneticG(double T, double TC, double beta, double p, double afm)
{
    if (TC < 0) TC /= afm;
    if (beta < 0) beta /= afm;
    return TC == 0 ? 0.0 : R * T * std::log(beta + 1) * HillertJarl(T / TC, p);
}

const TPoly GA{-8000, 140, -25, -2e-3, 5e4}, GB{-5000, 120, -22, -1e-3, 1e5}, GC{-3000, 100, -20};
const TPoly L0{-20000, 6}, L1{3000, -2}, L2{-1500, 1.5};
const TPoly GAC{-30000, 10}, GBC{-25000, 8}, GAV{5000, -1}, GBV{4000, 0, 0, -1e-3};
const TPoly LABC0{-10000, 3}, LABC1{2000}, LACV{-7000, 2}, LREC{4000, -1.5};
const TPoly LAB{-5000}, T0{15000, -4}, T1{-8000, 2}, T2{6000};
const TPoly BCCL{-8000, 3}, FCCL{-6000, 2};

void Build(ThermDatabase& db)
{
    kit::DatabaseBuilder b(db);
    for (const char* e : {"A", "B", "C"}) b.element(e);
    b.element("VA", 0.0);
    b.element("C2", 2.0);
    const int ghserA = b.symbol("GHSERA", GA);
    int ph = b.phase("LIQUID", {{1, {"A", "B"}}});  // Redlich-Kister binary
    b.param(ph, "A", 0, 0, {12000, -9}, ghserA);
    b.param(ph, "B", 0, 0, GB);
    b.param(ph, "A,B", 0, 0, L0);
    b.param(ph, "A,B", 0, 1, L1);
    b.param(ph, "A,B", 0, 2, L2);
    ph = b.phase("SUBL", {{3, {"A", "B"}}, {1, {"C", "VA"}}});  // reciprocal, with vacancies
    b.param(ph, "A:C", 0, 0, GAC);
    b.param(ph, "B:C", 0, 0, GBC);
    b.param(ph, "A:VA", 0, 0, GAV);
    b.param(ph, "B:VA", 0, 0, GBV);
    b.param(ph, "A,B:C", 0, 0, LABC0);
    b.param(ph, "A,B:C", 0, 1, LABC1);
    b.param(ph, "A:C,VA", 0, 0, LACV);
    b.param(ph, "A,B:C,VA", 0, 0, LREC);
    for (const char* name : {"TERN1", "TERN3"}) {  // one ternary term; three Muggianu terms
        ph = b.phase(name, {{1, {"A", "B", "C"}}});
        b.param(ph, "A", 0, 0, {}, ghserA);
        b.param(ph, "B", 0, 0, GB);
        b.param(ph, "C", 0, 0, GC);
        b.param(ph, "A,B", 0, 0, LAB);
        b.param(ph, "A,B,C", 0, 0, T0);
        if (name[4] == '3') {
            b.param(ph, "A,B,C", 0, 1, T1);
            b.param(ph, "A,B,C", 0, 2, T2);
        }
    }
    ph = b.phase("BCC_A2", {{1, {"A", "B"}}, {3, {"VA"}}});
    db.phases[ph].phase->m_dMagneticP = 0.4;
    db.phases[ph].phase->m_dAFMFactor = -1;
    b.param(ph, "A:VA", 0, 0, {}, ghserA);
    b.param(ph, "B:VA", 0, 0, GB);
    b.param(ph, "A,B:VA", 0, 0, BCCL);
    b.param(ph, "A:VA", 10, 0, {1043});
    b.param(ph, "B:VA", 10, 0, {-311.5});
    b.param(ph, "A,B:VA", 10, 0, {1650, 0.05});
    b.param(ph, "A,B:VA", 10, 1, {550});
    b.param(ph, "A:VA", 20, 0, {2.22});
    b.param(ph, "B:VA", 20, 0, {-0.3});
    b.param(ph, "A,B:VA", 20, 0, {-0.85, 1e-4});
    ph = b.phase("FCC_A1", {{1, {"A", "B"}}, {1, {"VA"}}});
    db.phases[ph].phase->m_dMagneticP = 0.28;
    db.phases[ph].phase->m_dAFMFactor = -3;
    b.param(ph, "A:VA", 0, 0, GA);
    b.param(ph, "B:VA", 0, 0, GB);
    b.param(ph, "A,B:VA", 0, 0, FCCL);
    b.param(ph, "A:VA", 10, 0, {-201});
    b.param(ph, "B:VA", 10, 0, {633});
    b.param(ph, "A,B:VA", 10, 0, {-1200});
    b.param(ph, "A:VA", 20, 0, {-2.46});
    b.param(ph, "B:VA", 20, 0, {0.62});
    b.param(ph, "A,B:VA", 20, 0, {0.6});
    ph = b.phase("IDEAL", {{1, {"A", "B"}}});
    b.param(ph, "A", 0, 0, {});
    b.param(ph, "B", 0, 0, {});
    // pure magnetic element; the last two carry a factor their names would not give
    const char* magnetic[] = {"MAG", "BCC_B2", "HCP_A3"};
    const double afm[] = {-1, -3, -1}, tc[] = {1043, -600, -600}, bm[] = {2.22, -1.8, -1.8};
    for (int i = 0; i < 3; ++i) {
        ph = b.phase(magnetic[i], {{1, {"A"}}, {3, {"VA"}}});
        db.phases[ph].phase->m_dMagneticP = 0.4;
        db.phases[ph].phase->m_dAFMFactor = afm[i];
        b.param(ph, "A:VA", 0, 0, {1000, -5});
        b.param(ph, "A:VA", 10, 0, {tc[i]});
        b.param(ph, "A:VA", 20, 0, {bm[i]});
    }
    ph = b.phase("MOLEC", {{1, {"A"}}, {2, {"C2", "VA"}}});
    b.param(ph, "A:C2", 0, 0, {-1000});
    b.param(ph, "A:VA", 0, 0, {500});
    ASSERT_TRUE(b.bind());
}

// G of the phases above, written out from the model.
double Reference(const std::string& phase, const std::vector<double>& y, double T)
{
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

// Five-point central difference of f(delta) at delta = 0.
template <class F>
double D5(F f, double h)
{
    return (-f(2 * h) + 8 * f(h) - 8 * f(-h) + f(-2 * h)) / (12 * h);
}

// Property at x = (y..., T) after a fresh temperature step.
double At(PhaseEvaluator& ev, const std::vector<double>& x, double PhaseProperties::*what = &PhaseProperties::G)
{
    ev.setTemperature(x.back(), P0);
    PhaseProperties p;
    EXPECT_TRUE(ev.evaluate(x.data(), 0, p));
    return p.*what;
}

struct Case
{
    const char* name;
    const char* phase;
    std::vector<double> y;
    double T;
};

void PrintTo(const Case& c, std::ostream* os) { *os << c.phase << " at T = " << c.T; }

class EvaluatorCases : public ::testing::TestWithParam<Case>
{
};

TEST_P(EvaluatorCases, ValuesAndDerivativesAgreeWithTheModel)
{
    const Case c = GetParam();
    ThermDatabase db;
    Build(db);
    PhaseEvaluator ev(db, db.findPhase(c.phase));
    const int n = ev.variableCount();
    ASSERT_EQ(n, static_cast<int>(c.y.size()));
    ev.setTemperature(c.T, P0);
    PhaseProperties out;
    ASSERT_TRUE(ev.evaluate(c.y.data(), 2, out)) << ev.why();
    EXPECT_NEAR(out.G, Reference(c.phase, c.y, c.T), 1e-9 * (1 + std::fabs(out.G)));

    std::vector<double> x0 = c.y;
    x0.push_back(c.T);
    auto step = [&](int i) { return i < n ? 2.5e-4 : 0.05; };
    auto G = [&](int i, double di, int j, double dj) {
        std::vector<double> x = x0;
        x[i] += di;
        x[j] += dj;
        return At(ev, x);
    };
    const int dim = n + 1;
    for (int i = 0; i < dim; ++i) {
        const double fd = D5([&](double d) { return G(i, d, i, 0); }, step(i));
        const double an = i < n ? out.dG_dy[i] : out.dG_dT;
        EXPECT_NEAR(an, fd, 1e-6 * (1 + std::fabs(fd))) << "dG/dx" << i;
        for (int j = i; j < dim; ++j) {
            const double fd2 =
                D5([&](double di) { return D5([&](double dj) { return G(i, di, j, dj); }, step(j)); }, step(i));
            EXPECT_NEAR(out.hessian[i * dim + j], fd2, 1e-6 * (1 + std::fabs(fd2))) << "d2G at " << i << "," << j;
            EXPECT_EQ(out.hessian[i * dim + j], out.hessian[j * dim + i]);
        }
    }
    EXPECT_EQ(out.d2G_dT2, out.hessian[n * dim + n]);

    // molar quantities from their definitions, by differences in T of GM
    auto GM = [&](double d) {
        std::vector<double> x = x0;
        x[n] += d;
        return At(ev, x, &PhaseProperties::GM);
    };
    const double hT = 0.05;
    EXPECT_NEAR(out.SM, -D5(GM, hT), 1e-7 * (1 + std::fabs(out.SM)));
    EXPECT_NEAR(out.CPM, -c.T * D5([&](double d) { return D5([&](double e) { return GM(d + e); }, hT); }, hT),
                1e-6 * (1 + std::fabs(out.CPM)));
    EXPECT_NEAR(out.HM, out.GM + c.T * out.SM, 1e-9 * (1 + std::fabs(out.HM)));
}

INSTANTIATE_TEST_SUITE_P(
    Phases, EvaluatorCases,
    ::testing::Values(Case{"BinaryRK", "LIQUID", {0.3, 0.7}, 900}, Case{"BinaryRKHot", "LIQUID", {0.85, 0.15}, 1800},
                      Case{"Reciprocal", "SUBL", {0.4, 0.6, 0.7, 0.3}, 800},
                      Case{"TernaryOneTerm", "TERN1", {0.2, 0.5, 0.3}, 1000},
                      Case{"TernaryMuggianu", "TERN3", {0.2, 0.5, 0.3}, 1000},
                      Case{"BccBelowTc", "BCC_A2", {0.7, 0.3, 1.0}, 600},
                      Case{"BccAboveTc", "BCC_A2", {0.7, 0.3, 1.0}, 1600},
                      Case{"BccNegativeSumsBelow", "BCC_A2", {0.1, 0.9, 1.0}, 40},
                      Case{"BccNegativeSumsAbove", "BCC_A2", {0.1, 0.9, 1.0}, 150},
                      Case{"FccBelowTc", "FCC_A1", {0.2, 0.8, 1.0}, 150},
                      Case{"FccAboveTc", "FCC_A1", {0.2, 0.8, 1.0}, 500},
                      Case{"FccAntiferroBelow", "FCC_A1", {0.8, 0.2, 1.0}, 40},
                      Case{"FccAntiferroAbove", "FCC_A1", {0.8, 0.2, 1.0}, 300}),
    [](const ::testing::TestParamInfo<Case>& info) { return std::string(info.param.name); });

TEST(PhaseEvaluator, IdealMixingOfTwoConstituents)
{
    ThermDatabase db;
    Build(db);
    PhaseEvaluator ev(db, db.findPhase("IDEAL"));
    ev.setTemperature(1000, P0);
    PhaseProperties out;
    const double y[] = {0.25, 0.75};
    ASSERT_TRUE(ev.evaluate(y, 2, out));
    // 8.3145 * 1000 * (0.25 ln 0.25 + 0.75 ln 0.75), worked out separately
    EXPECT_NEAR(out.G, -4675.53555993, 1e-7);
    EXPECT_NEAR(out.SM, 4.67553555993, 1e-10);
    EXPECT_NEAR(out.HM, 0.0, 1e-9);
    EXPECT_NEAR(out.CPM, 0.0, 1e-12);
    EXPECT_NEAR(out.dG_dy[0], 8314.5 * (std::log(0.25) + 1), 1e-8);
    EXPECT_NEAR(out.hessian[0], 8314.5 / 0.25, 1e-8);
    EXPECT_NEAR(out.hessian[1], 0.0, 1e-12);
}

TEST(PhaseEvaluator, PureMagneticElementFollowsThePublishedSeries)
{
    ThermDatabase db;
    Build(db);
    // phase, TC' and beta' by hand (factor from the database, not from the name)
    struct
    {
        const char* phase;
        double TC, beta;
    } cases[] = {{"MAG", 1043, 2.22}, {"BCC_B2", 200, 0.6}, {"HCP_A3", 600, 1.8}};
    for (const auto& m : cases) {
        PhaseEvaluator ev(db, db.findPhase(m.phase));
        auto G = [&](double T) { return 1000 - 5 * T + R * T * std::log(m.beta + 1) * HillertJarl(T / m.TC, 0.4); };
        for (double tau : {0.3, 0.8, 0.999, 1.2, 2.5}) {
            const double T = tau * m.TC;
            ev.setTemperature(T, P0);
            PhaseProperties out;
            const double y[] = {1.0, 1.0};
            ASSERT_TRUE(ev.evaluate(y, 2, out));
            EXPECT_NEAR(out.G, G(T), 1e-9 * std::fabs(G(T))) << m.phase << " " << T;
            EXPECT_EQ(out.atoms, 1.0);
            EXPECT_NEAR(out.SM, -D5([&](double d) { return G(T + d); }, 1e-5 * T), 1e-7) << m.phase << " " << T;
        }
    }
}

TEST(PhaseEvaluator, HeatCapacityJumpsAtTheCurieTemperature)
{
    ThermDatabase db;
    Build(db);
    PhaseEvaluator ev(db, db.findPhase("MAG"));
    const double TC = 1043, y[] = {1.0, 1.0};
    PhaseProperties below, above;
    ev.setTemperature(TC * (1 - 1e-12), P0);
    ASSERT_TRUE(ev.evaluate(y, 2, below));
    ev.setTemperature(TC, P0);  // tau = 1 belongs to the upper series
    ASSERT_TRUE(ev.evaluate(y, 2, above));
    EXPECT_NEAR(below.G, above.G, 1e-6);
    // both series have the same slope at tau = 1 to the six digits of their constants
    EXPECT_NEAR(below.SM, above.SM, 1e-4);
    // Cp_mag = -R ln(beta+1) tau (2 g' + tau g''); g' is continuous, so the
    // jump is -R ln(beta+1) (g''_below - g''_above) at tau = 1
    const double p = 0.4, D = 518.0 / 1125.0 + 11692.0 / 15975.0 * (1 / p - 1);
    const double g2below = -(2 * 79.0 / (140 * p) + 474.0 / 497.0 * (1 / p - 1) * (1 + 8.0 / 15 + 14.0 / 40)) / D;
    const double g2above = -(3 + 240.0 / 315 + 650.0 / 1500) / D;
    const double jump = -R * std::log(3.22) * (g2below - g2above);
    EXPECT_GT(jump, 5.0);
    EXPECT_NEAR(below.CPM - above.CPM, jump, 1e-6 * jump);
}

TEST(PhaseEvaluator, SiteFractionsOfZeroGiveTheLimit)
{
    ThermDatabase db;
    Build(db);
    struct
    {
        const char* phase;
        std::vector<double> y;
    } cases[] = {{"LIQUID", {0, 1}}, {"SUBL", {1, 0, 1, 0}}, {"TERN3", {0, 0.4, 0.6}}, {"BCC_A2", {0, 1, 1}}};
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

TEST(PhaseEvaluator, AtomsPerFormulaUnitLeaveOutVacancies)
{
    ThermDatabase db;
    Build(db);
    struct
    {
        const char* phase;
        std::vector<double> y;
        double atoms;  // sum over sublattices of sites * fractions * atoms of the species
    } cases[] = {{"SUBL", {0.4, 0.6, 0.7, 0.3}, 3 * 1.0 + 0.7}, {"SUBL", {1, 0, 0, 1}, 3.0},
                 {"MOLEC", {1, 0.25, 0.75}, 1 + 2 * 0.25 * 2}, {"BCC_A2", {0.3, 0.7, 1}, 1.0}};
    for (const auto& c : cases) {
        PhaseEvaluator ev(db, db.findPhase(c.phase));
        ev.setTemperature(700, P0);
        PhaseProperties out;
        ASSERT_TRUE(ev.evaluate(c.y.data(), 2, out));
        EXPECT_DOUBLE_EQ(out.atoms, c.atoms) << c.phase;
        EXPECT_NEAR(out.GM * c.atoms, out.G, 1e-9 * std::fabs(out.G)) << c.phase;
        EXPECT_NEAR(-out.SM * c.atoms, out.dG_dT, 1e-12 * (1 + std::fabs(out.dG_dT))) << c.phase;
        EXPECT_NEAR(-out.CPM * c.atoms / 700, out.d2G_dT2, 1e-12) << c.phase;
    }
    PhaseEvaluator ev(db, db.findPhase("MOLEC"));
    EXPECT_STREQ(ev.variableName(1), "C2");
    EXPECT_EQ(ev.findVariable(1, "va"), 2);
    EXPECT_EQ(ev.findVariable(0, "VA"), -1);
}

TEST(PhaseEvaluator, LowerOrdersGiveTheSameNumbers)
{
    ThermDatabase db;
    Build(db);
    PhaseEvaluator ev(db, db.findPhase("BCC_A2"));
    ev.setTemperature(800, P0);
    const double y[] = {0.6, 0.4, 1.0};
    PhaseProperties o0, o1, o2;
    ASSERT_TRUE(ev.evaluate(y, 2, o2));
    ASSERT_TRUE(ev.evaluate(y, 1, o1));
    ASSERT_TRUE(ev.evaluate(y, 0, o0));
    EXPECT_EQ(o0.G, o2.G);
    EXPECT_EQ(o0.GM, o2.GM);
    EXPECT_TRUE(std::isnan(o0.SM));  // not asked for
    EXPECT_EQ(o1.dG_dT, o2.dG_dT);
    EXPECT_EQ(o1.dG_dy, o2.dG_dy);
    EXPECT_EQ(o1.HM, o2.HM);
    EXPECT_TRUE(std::isnan(o1.CPM));
}

TEST(PhaseEvaluator, PhaseMarkedNotEvaluableIsRefused)
{
    ThermDatabase db;
    Build(db);
    const int ph = db.findPhase("LIQUID");
    db.phases[ph].phase->m_bEvaluable = 0;
    db.phases[ph].phase->m_NotEvaluableWhy = "parameter G(LIQUID,A;0) could not be read";
    PhaseEvaluator ev(db, ph);
    EXPECT_FALSE(ev.evaluable());
    ev.setTemperature(1000, P0);
    PhaseProperties out;
    const double y[] = {0.5, 0.5};
    EXPECT_FALSE(ev.evaluate(y, 0, out));
    EXPECT_EQ(ev.why(), "parameter G(LIQUID,A;0) could not be read");
    EXPECT_EQ(out.G, 0.0);  // untouched
}

}  // namespace
