// Two-sublattice ionic liquid: G against the model written out here (site
// numbers P and Q, the weights of parameters with and without anions), its
// derivatives against differences, the limits of a pure salt and of a
// cation-vacancy liquid, and what the reader refuses.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "models/PhaseEvaluator.h"
#include "support/Differences.h"
#include "support/EvaluatorTestKit.h"

namespace {

const double R = PhaseEvaluator::kGasConstant;

// The elements and species of tests/corpus/models/slag.tdb and its SLAG:
// cations CA+2, FE+2, FE+3; anions O-2, S-2; the vacancy; neutrals S and S2.
kit::Loaded ReadSlag(const std::string& more = "") { return kit::ReadModel("slag.tdb", more); }

// Site fractions in the phase's order: CA+2, FE+2, FE+3 | O-2, S-2, VA, S, S2
struct Slag
{
    double ca, fe2, fe3, o, s2m, va, s, s2;
};

// G and N of SLAG, written out.
double SlagG(const Slag& y, double T, double* atoms = nullptr)
{
    auto xlnx = [](double x) { return x > 0 ? x * std::log(x) : 0.0; };
    const double Q = 2 * y.ca + 2 * y.fe2 + 3 * y.fe3;
    const double P = 2 * y.o + 2 * y.s2m + Q * y.va;
    const double cations = y.ca + y.fe2 + y.fe3;
    double G = y.ca * y.o * (-700000 + 100 * T) + y.fe2 * y.o * (-300000 + 60 * T) +
               y.fe3 * y.o * (-500000 + 90 * T) + y.ca * y.s2m * -500000 +
               y.fe2 * y.s2m * (-150000 - 2 * T * std::log(T)) + y.fe3 * y.s2m * -200000;
    G += Q * (y.va * (y.ca * (10000 - 10 * T) + y.fe2 * (12000 - 7 * T) + y.fe3 * (40000 - 7 * T)) +
              cations * (y.s * (1000 - 5 * T) + y.s2 * (3000 - 9 * T)));
    G += R * T * (P * (xlnx(y.ca) + xlnx(y.fe2) + xlnx(y.fe3)) +
                  Q * (xlnx(y.o) + xlnx(y.s2m) + xlnx(y.va) + xlnx(y.s) + xlnx(y.s2)));
    // with anions: as in any compound-energy phase
    G += y.ca * y.fe2 * y.o * (-20000 + 5000 * (y.ca - y.fe2));
    G += y.fe2 * y.o * y.s2m * (-10000 + 3 * T);
    G += y.fe2 * y.o * y.va * 30000;
    G += y.ca * y.fe2 * y.fe3 * y.o * 7000;
    G += y.ca * y.fe2 * y.o * y.s2m * ((y.ca - y.fe2) * 6000 + (y.o - y.s2m) * -2500);  // reciprocal
    // without: times Q, each cation paired with the vacancy where it is there
    G += Q * y.ca * y.va * y.fe2 * y.va * (-8000 + 3000 * (y.ca - y.fe2));
    G += Q * y.fe2 * y.va * y.s * -4000;
    G += Q * cations * y.s * y.s2 * -2000;
    const double muggianu = (1 - y.ca - y.fe2 - y.fe3) / 3;
    G += Q * y.ca * y.fe2 * y.fe3 * std::pow(y.va, 3) * ((y.ca + muggianu) * -9000 + (y.fe2 + muggianu) * (4000 + T));
    if (atoms) *atoms = P * cations + Q * (y.o + y.s2m + y.s + 2 * y.s2);
    return G;
}

std::vector<double> Fractions(const Slag& y) { return {y.ca, y.fe2, y.fe3, y.o, y.s2m, y.va, y.s, y.s2}; }

TEST(SlagModel, GFollowsTheModelAndDerivativesFollowDifferences)
{
    kit::Loaded l = ReadSlag();
    ASSERT_TRUE(l.ok);
    ASSERT_EQ(l.report.diagnostics.size(), 0u) << l.diagnostics();
    PhaseEvaluator ev(*l.db, l.db->findPhase("SLAG"));
    ASSERT_TRUE(ev.evaluable()) << ev.why();
    const char* names[] = {"CA+2", "FE+2", "FE+3", "O-2", "S-2", "VA", "S", "S2"};
    for (int i = 0; i < 8; ++i) EXPECT_STREQ(ev.variableName(i), names[i]);
    const struct
    {
        const char* name;
        Slag y;
        double T;
    } cases[] = {{"Everything", {0.3, 0.5, 0.2, 0.35, 0.25, 0.2, 0.12, 0.08}, 1700.0},
                 {"FewAnions", {0.6, 0.3, 0.1, 0.002, 0.001, 0.697, 0.2, 0.1}, 1500.0},
                 {"OxideAndVacancy", {0.45, 0.45, 0.1, 0.6, 0.001, 0.397, 0.001, 0.001}, 1900.0},
                 {"SulphideAndNeutral", {0.2, 0.7, 0.1, 0.002, 0.8, 0.003, 0.15, 0.045}, 1400.0}};
    for (const auto& c : cases) {
        const std::vector<double> y = Fractions(c.y);
        double N = 0;
        const double G = SlagG(c.y, c.T, &N);
        // N too; GM = G/N follows, as the checker holds GM*N to G
        fd::CheckModel(*l.db, "SLAG", c.T, y, G, c.name, 1e-10, 101325.0, R, N);
    }
}

TEST(IonicLimits, PureSaltIsItsEndMemberWithoutIdealTerm)
{
    kit::Loaded l = ReadSlag();
    ASSERT_TRUE(l.ok);
    PhaseEvaluator ev(*l.db, l.db->findPhase("SLAG"));
    ASSERT_TRUE(ev.evaluable()) << ev.why();
    struct
    {
        Slag y;
        double G, atoms;  // at 1000 K; (C^+nu)_nuA (A^-nuC)_nuC
    } cases[] = {{{1, 0, 0, 1, 0, 0, 0, 0}, -700000 + 100 * 1000.0, 4},
                 {{0, 0, 1, 1, 0, 0, 0, 0}, -500000 + 90 * 1000.0, 5},
                 {{0, 1, 0, 0, 1, 0, 0, 0}, -150000 - 2 * 1000.0 * std::log(1000.0), 4}};
    ev.setTemperature(1000.0, 101325.0);
    for (const auto& c : cases) {
        const std::vector<double> y = Fractions(c.y);
        PhaseProperties out;
        ASSERT_TRUE(ev.evaluate(y.data(), 2, out));
        EXPECT_NEAR(out.G, c.G, 1e-9 * std::fabs(c.G));
        EXPECT_EQ(out.atoms, c.atoms);
        EXPECT_TRUE(std::isfinite(out.CPM));
    }
}

TEST(IonicLimits, CationVacancyLiquidIsTheMetallicLiquid)
{
    // the same parameters on (CA+2,FE+2)(VA) and on the metallic (CA,FE):
    // in each template # is the phase, @ the charge and $ the vacancy sublattice
    std::string text = "PHASE ION:Y % 2 1 1 !\nCONSTITUENT ION : CA+2,FE+2 : VA : !\n"
                       "PHASE LIQ % 1 1 !\nCONSTITUENT LIQ : CA,FE : !\n";
    for (std::string p : {"G(#,CA@$;0) 1 10000-10*T+2*T*LN(T)", "G(#,FE@$;0) 1 12000-7*T", "L(#,CA@,FE@$;0) 1 -8000+T",
                          "L(#,CA@,FE@$;1) 1 3000", "L(#,CA@,FE@$;2) 1 -1500"})
        for (bool ionic : {true, false}) {
            std::string line = "PARAMETER ";
            for (char ch : p)
                line += ch == '#' ? (ionic ? "ION" : "LIQ") : ch == '@' ? (ionic ? "+2" : "") : ch == '$' ? (ionic ? ":VA" : "")
                                                                                                      : std::string(1, ch);
            text += line + "; 6000 N !\n";
        }
    kit::Loaded l = ReadSlag(text);
    ASSERT_TRUE(l.ok);
    ASSERT_EQ(l.report.diagnostics.size(), 0u) << l.diagnostics();
    PhaseEvaluator ion(*l.db, l.db->findPhase("ION")), liq(*l.db, l.db->findPhase("LIQ"));
    ASSERT_TRUE(ion.evaluable()) << ion.why();
    ASSERT_TRUE(liq.evaluable()) << liq.why();
    for (double T : {800.0, 2000.0}) {
        for (double x : {0.1, 0.5, 0.85}) {
            const std::vector<double> yi = {x, 1 - x, 1.0}, yl = {x, 1 - x};
            PhaseProperties a, b;
            ion.setTemperature(T, 101325.0);
            ASSERT_TRUE(ion.evaluate(yi.data(), 2, a));
            liq.setTemperature(T, 101325.0);
            ASSERT_TRUE(liq.evaluate(yl.data(), 2, b));
            EXPECT_NEAR(a.atoms, 2.0, 1e-15);  // Q = 2 cation sites per formula unit
            EXPECT_NEAR(a.GM, b.GM, 1e-10 * std::fabs(b.GM)) << T << " " << x;
            EXPECT_NEAR(a.SM, b.SM, 1e-10 * std::fabs(b.SM)) << T << " " << x;
            EXPECT_NEAR(a.CPM, b.CPM, 1e-10 * std::fabs(b.CPM)) << T << " " << x;
        }
    }
}

TEST(IonicRefusals, PhaseIsNotEvaluableWithTheReason)
{
    const struct
    {
        const char* phase;  // PHASE, CONSTITUENT and PARAMETER commands of ION
        const char* why;
    } cases[] = {
        {"PHASE ION:Y % 3 1 1 1 !\nCONSTITUENT ION : CA+2 : O-2 : VA : !\n",
         "an ionic liquid (:Y) has two sublattices, this one 3"},
        {"PHASE ION:Y % 2 1 1 !\nCONSTITUENT ION : CA+2,FE : O-2,VA : !\n",
         "'FE' in the cation sublattice has no positive charge"},
        {"PHASE ION:Y % 2 1 1 !\nCONSTITUENT ION : CA+2 : O-2,FE+2 : !\n",
         "'FE+2' in the anion sublattice has a positive charge"},
        {"PHASE ION:Y % 2 1 1 !\nCONSTITUENT ION : FE+2 : O-2,VA : !\nPARAMETER TC(ION,FE+2:VA;0) 1 300; 6000 N !\n",
         "parameter type TC is not in the ionic-liquid model"},
        {"TYPE_DEFINITION & GES A_P_D ION MAGNETIC -3 0.28 !\nPHASE ION:Y %& 2 1 1 !\nCONSTITUENT ION : FE+2 : O-2,VA : !\n",
         "a magnetic ionic liquid is not in the ionic-liquid model"}};
    for (const auto& c : cases) {
        kit::Loaded l = ReadSlag(c.phase);
        ASSERT_TRUE(l.ok);
        kit::ExpectRefused(*l.db, "ION", c.why);
    }
}

}  // namespace
