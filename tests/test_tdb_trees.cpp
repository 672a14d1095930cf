// Databases with expressions beyond the piece: the reader's trees, gas
// phases, the dialects other tools take, names without a definition, domain
// errors, and a temperature step with trees that leaves the heap alone.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "models/PhaseEvaluator.h"
#include "support/AllocationCounter.h"
#include "support/TdbTestKit.h"

namespace {

const double kR = 8.3145;  // gas constant of database expressions [J/(mol K)]

using kit::ReadCorpus;

// G and its three temperature derivatives of a symbol function, read through the kernel.
struct Values
{
    double v, t, tt, ttt;
};
Values Symbol(ThermDatabase& db, const char* name, double T, double P = 101325.0)
{
    return Values{kit::SymbolValue(db, name, T, 0, P), kit::SymbolValue(db, name, T, 1, P),
                  kit::SymbolValue(db, name, T, 2, P), kit::SymbolValue(db, name, T, 3, P)};
}

PhaseProperties EvaluatePure(ThermDatabase& db, const char* phase, double T, double P, std::string* why = nullptr)
{
    PhaseEvaluator ev(db, db.findPhase(phase));
    std::vector<double> y(static_cast<size_t>(ev.variableCount()), 1.0 / ev.variableCount());
    ev.setTemperature(T, P);
    PhaseProperties out;
    bool ok = ev.evaluable() && ev.evaluate(y.data(), 2, out);
    if (why != nullptr) *why = ok ? "" : ev.why();
    else EXPECT_TRUE(ok) << phase << " at " << T << ": " << ev.why();
    return out;
}

// Functions of the corpus files: value and derivatives worked out by hand.
TEST(TreeSnippets, ValueAndDerivativesByHand)
{
    const double T5 = 500.0;
    const struct
    {
        const char* file;
        const char* function;
        double T;
        Values expected;
    } cases[] = {
        // 10 + (1000 + T)*T
        {"function_times_t.tdb", "G1", T5, {10 + 1500 * T5, 1000 + 2 * T5, 2, 0}},
        // 10 + (1000 + T)*T*(1 + T) = 10 + 1000T + 1001T^2 + T^3
        {"function_times_t.tdb", "G2", T5,
         {10 + 1000 * T5 + 1001 * T5 * T5 + T5 * T5 * T5, 1000 + 2002 * T5 + 3 * T5 * T5, 2002 + 6 * T5, 6}},
        {"ln_and_exp.tdb", "F1", T5, {3 * std::log(T5), 3 / T5, -3 / (T5 * T5), 6 / (T5 * T5 * T5)}},
        {"ln_and_exp.tdb", "F2", T5, {std::exp(0.5), std::exp(0.5) / 1000, std::exp(0.5) / 1e6, std::exp(0.5) / 1e9}},
        // a power beyond the table, and seventeen references
        {"limits.tdb", "E1", 400.0,
         {std::pow(400.0, 31), 31 * std::pow(400.0, 30), 930 * std::pow(400.0, 29), 26970 * std::pow(400.0, 28)}},
        {"limits.tdb", "MANY", T5, {17 * T5, 17, 0, 0}},
        // R#*T + 500 + T: R# is the gas constant
        {"dialects.tdb", "RT2", T5, {kR * T5 + 500 + T5, kR + 1, 0, 0}},
    };
    auto near = [](double a, double b) { return std::fabs(a - b) <= 1e-12 * std::max(1.0, std::fabs(b)); };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.function);
        kit::Loaded l = ReadCorpus(c.file);
        ASSERT_TRUE(l.ok);
        Values v = Symbol(*l.db, c.function, c.T);
        EXPECT_PRED2(near, v.v, c.expected.v);
        EXPECT_PRED2(near, v.t, c.expected.t);
        EXPECT_PRED2(near, v.tt, c.expected.tt);
        EXPECT_PRED2(near, v.ttt, c.expected.ttt);
    }
}

// Einstein copper: the same unary as a piece and as a tree.
TEST(EinsteinCopper, PolynomialStaysAPieceEinsteinFormIsATreeWithItsHeatCapacity)
{
    kit::Loaded l = ReadCorpus("einstein_copper.tdb");
    ASSERT_TRUE(l.ok);
    EXPECT_EQ(l.report.errorCount(), 0) << l.diagnostics();
    ThermDatabase& db = *l.db;
    // the polynomial: two pieces of its own, no tree
    const int poly = db.dataMgr.FindSymbolFunction("GCUPOLY");
    EXPECT_EQ(db.symbols().m_FktArray[poly]->m_PolyIndex.m_nSize, 2);
    EXPECT_EQ(db.expressions.trees().size(), 1u);
    // the Einstein form: a piece that refers to the tree GCUEIN_R1 with the factor 1
    TThermTPolynom& piece = kit::SymbolPiece(db, "GCUEIN");
    ASSERT_EQ(piece.m_nSymbolTerms, 1);
    EXPECT_EQ(piece.m_adSymbolFactor[0], 1.0);
    EXPECT_EQ(piece.m_anSymbolIndex[0], db.dataMgr.FindSymbolFunction("GCUEIN_R1"));
    EXPECT_EQ(db.expressions.trees()[0].origin, "FUNCTION GCUEIN");

    // through the phase model: S and Cp per mole of atoms of Einstein's form
    const double a = 8.77, th = 155.14;
    for (double T : {150.0, 298.15, 900.0}) {
        const double x = th / T, e = std::exp(x);
        const double G = -7000 + a * T * std::log(e - 1.0) - 0.002 * T * T;
        const double S = -(a * std::log(e - 1.0) - a * x * e / (e - 1.0) - 0.004 * T);
        const double Cp = a * x * x * e / ((e - 1.0) * (e - 1.0)) + 0.004 * T;
        PhaseProperties p = EvaluatePure(db, "CU_EINSTEIN", T, 101325.0);
        EXPECT_NEAR(p.GM, G, 1e-9 * std::fabs(G)) << T;
        EXPECT_NEAR(p.SM, S, 1e-9 * std::fabs(S)) << T;
        EXPECT_NEAR(p.CPM, Cp, 1e-9 * std::fabs(Cp)) << T;
    }
    // the piece path is untouched: the polynomial's value by hand at 500 K
    const double T = 500.0;
    const double g = -7770.458 + 130.485235 * T - 24.112392 * T * std::log(T) - .00265684 * T * T +
                     1.29223E-07 * T * T * T + 52478 / T;
    EXPECT_NEAR(EvaluatePure(db, "FCC_A1", T, 101325.0).G, g, 1e-9 * std::fabs(g));
}

TEST(GasPhase, DoublingThePressureAddsRTLn2PerMoleOfGasSpecies)
{
    kit::Loaded l = ReadCorpus("gas_phase.tdb");
    ASSERT_TRUE(l.ok);
    EXPECT_EQ(l.report.errorCount(), 0) << l.diagnostics();
    ThermDatabase& db = *l.db;
    PhaseEvaluator ev(db, db.findPhase("GAS"));
    ASSERT_TRUE(ev.evaluable()) << ev.why();
    const double mixtures[][2] = {{1.0, 0.0}, {0.0, 1.0}, {0.3, 0.7}};
    for (double T : {500.0, 2000.0})
        for (const auto& y : mixtures) {
            PhaseProperties lo, hi;
            ev.setTemperature(T, 1e5);
            ASSERT_TRUE(ev.evaluate(y, 2, lo)) << ev.why();
            ev.setTemperature(T, 2e5);
            ASSERT_TRUE(ev.evaluate(y, 2, hi)) << ev.why();
            // per mole of gas species (formula units of the one-site phase)
            EXPECT_NEAR(hi.G - lo.G, kR * T * std::log(2.0), 1e-9 * std::fabs(lo.G)) << T << " " << y[0];
            EXPECT_NEAR(hi.dG_dT - lo.dG_dT, kR * std::log(2.0), 1e-9) << T << " " << y[0];
            EXPECT_NEAR(hi.d2G_dT2, lo.d2G_dT2, 1e-12) << T;
        }
    // at the standard pressure of 1E5 Pa the pressure term is zero
    Values c = Symbol(db, "RTLNP", 800.0, 1e5);
    EXPECT_EQ(c.v, 0.0);
    EXPECT_EQ(c.t, 0.0);
}

TEST(Dialects, MissingLimitsOrderAndAReferenceWhereNBelongs)
{
    kit::Loaded l = ReadCorpus("dialects.tdb");
    ASSERT_TRUE(l.ok);
    EXPECT_EQ(l.report.errorCount(), 0) << l.diagnostics();
    ASSERT_EQ(l.report.warningCount(), 1) << l.diagnostics();
    const tdb::Diagnostic& w = l.report.diagnostics.front();
    EXPECT_EQ(w.line, 8);
    EXPECT_EQ(w.column, 37);
    EXPECT_EQ(w.command, "FUNCTION GDUP");
    auto& liquid = l.phase("LIQUID");
    TThermFkt* g = kit::FindParameter(*liquid.functions, "G(LIQUID,AL;0)");
    ASSERT_NE(g, nullptr);
    TThermTPolynom& piece = *l.db->dataMgr.m_PolynomArray[g->m_PolyIndex[0]];
    EXPECT_EQ(piece.m_dTLow, 250.0);   // the database's limits
    EXPECT_EQ(piece.m_dTHigh, 5000.0);
    const double T = 700.0;
    EXPECT_NEAR(EvaluatePure(*l.db, "LIQUID", T, 101325.0).G, 1000 + 2 * T + kR * T + 500 + T, 1e-9);
}

TEST(UndefinedNames, RefusedUntilGivenValuesWhichTakeEffectAtTheNextStep)
{
    // without values promised, the phase that reads the names is not evaluable for good (the
    // file states where each use is refused and the phase's reason; the corpus test checks them)
    kit::Loaded plain = ReadCorpus("undefined_names.tdb");
    ASSERT_TRUE(plain.ok);
    EXPECT_TRUE(plain.phase("Q").phase->m_bEvaluable);
    ASSERT_NE(plain.find("undefined function 'VA41'"), nullptr);
    EXPECT_EQ(plain.find("undefined function 'VA41'")->command, "FUNCTION GFIT");
    // the caller promises values (as --set does): refused only while a value is missing
    tdb::ReadOptions options;
    options.givenSymbols = {"VA40", "VA41", "ZERO"};
    kit::Loaded l = ReadCorpus("undefined_names.tdb", options);
    ASSERT_TRUE(l.ok);
    EXPECT_EQ(l.report.errorCount(), 0) << l.diagnostics();
    ThermDatabase& db = *l.db;
    const int p = db.findPhase("P");
    EXPECT_EQ(db.unsetSymbolsUsedBy(p).size(), 3u);
    {
        PhaseEvaluator ev(db, p);
        EXPECT_FALSE(ev.evaluable());
        EXPECT_NE(ev.why().find("--set"), std::string::npos) << ev.why();
        EXPECT_TRUE(PhaseEvaluator(db, db.findPhase("Q")).evaluable());
    }
    std::string error;
    EXPECT_FALSE(db.setSymbolValue("GFIT", 1.0, error));  // a defined function is not settable
    EXPECT_NE(error.find("VA40"), std::string::npos) << error;
    ASSERT_TRUE(db.setSymbolValue("va40", 2.0, error)) << error;
    ASSERT_TRUE(db.setSymbolValue("VA41", 5.0, error)) << error;
    PhaseEvaluator ev(db, p);
    EXPECT_FALSE(ev.evaluable());  // ZERO is still without a value
    const std::string listed = db.expressions.setUnsetToZero();
    EXPECT_EQ(listed.find("VA40"), std::string::npos);
    EXPECT_NE(listed.find("ZERO (used at "), std::string::npos) << listed;
    ASSERT_TRUE(ev.evaluable()) << ev.why();
    const double y[] = {1.0};
    PhaseProperties out;
    ev.setTemperature(600.0, 1e5);
    ASSERT_TRUE(ev.evaluate(y, 2, out)) << ev.why();
    EXPECT_DOUBLE_EQ(out.G, 2.0 * 600 + 5);
    EXPECT_DOUBLE_EQ(out.dG_dT, 2.0);
    // the fitting loop: a new value, no new reading
    ASSERT_TRUE(db.setSymbolValue("VA40", -3.0, error));
    ev.setTemperature(600.0, 1e5);
    ASSERT_TRUE(ev.evaluate(y, 2, out));
    EXPECT_DOUBLE_EQ(out.G, -3.0 * 600 + 5);
    EXPECT_DOUBLE_EQ(out.dG_dT, -3.0);
}

TEST(DomainErrors, RefuseWithFunctionExpressionTemperatureAndReason)
{
    kit::Loaded l = kit::ReadText("ELEMENT A X 1 0 0 !\n"
                                  "FUNCTION GBAD 298.15 LN(T-1000)*T+1/(T-1500); 6000 N !\n"
                                  "PHASE P % 1 1 ! CONSTITUENT P :A: !\n"
                                  "PARAMETER G(P,A;0) 298.15 GBAD#; 6000 N !\n");
    ASSERT_EQ(l.report.errorCount(), 0) << l.diagnostics();
    struct Case
    {
        double T;
        const char* reason;
    };
    for (const Case& c : {Case{500.0, "LN of a non-positive value"}, Case{1500.0, "division by zero"}}) {
        std::string why;
        PhaseProperties out = EvaluatePure(*l.db, "P", c.T, 1e5, &why);
        EXPECT_NE(why.find("GBAD"), std::string::npos) << why;
        EXPECT_NE(why.find("LN(T-1000)*T+1/(T-1500)"), std::string::npos) << why;
        EXPECT_NE(why.find("T = " + std::to_string(static_cast<int>(c.T)) + " K"), std::string::npos) << why;
        EXPECT_NE(why.find(c.reason), std::string::npos) << why;
        EXPECT_FALSE(std::isnan(out.G));
    }
    std::string why;
    PhaseProperties fine = EvaluatePure(*l.db, "P", 2000.0, 1e5, &why);
    EXPECT_EQ(why, "");
    EXPECT_NEAR(fine.G, std::log(1000.0) * 2000 + 1 / 500.0, 1e-9);
}

TEST(TreeStep, TemperatureStepAndEvaluationAllocateNothing)
{
    kit::Loaded l = ReadCorpus("einstein_copper.tdb");
    ASSERT_TRUE(l.ok);
    kit::Loaded gas = ReadCorpus("gas_phase.tdb");
    ASSERT_TRUE(gas.ok);
    PhaseEvaluator cu(*l.db, l.db->findPhase("CU_EINSTEIN"));
    PhaseEvaluator g(*gas.db, gas.db->findPhase("GAS"));
    const double yCu[] = {1.0}, yGas[] = {0.4, 0.6};
    PhaseProperties out;
    cu.setTemperature(300.0, 1e5);
    ASSERT_TRUE(cu.evaluate(yCu, 2, out)) << cu.why();
    g.setTemperature(300.0, 1e5);
    ASSERT_TRUE(g.evaluate(yGas, 2, out)) << g.why();
    const long before = g_nAllocations.load();
    double sum = 0.0;
    for (double T = 300.0; T < 3000.0; T += 50.0) {
        cu.setTemperature(T, 1e5);
        cu.evaluate(yCu, 2, out);
        sum += out.CPM;
        g.setTemperature(T, 2e5);
        g.evaluate(yGas, 2, out);
        sum += out.G;
    }
    EXPECT_EQ(g_nAllocations.load() - before, 0);
    EXPECT_TRUE(std::isfinite(sum));
}

}  // namespace
