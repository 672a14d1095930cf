// Order-disorder partitioned phases: a hand-built binary B2 whose G is written
// out here, the disordered phase as an ordinary phase, the refusal of pairings
// that break the model, and on the published databases (read whole, the names
// their files leave undefined given values) the vanishing ordering energy,
// symmetry under permuted sublattices and derivatives against differences of G.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <sstream>
#include <memory>
#include <string>
#include <vector>

#include "cli/Arguments.h"
#include "cli/CliError.h"
#include "cli/Commands.h"
#include "cli/EvalWriter.h"
#include "cli/Output.h"
#include "database/PhasePartition.h"
#include "models/PhaseEvaluator.h"
#include "support/Differences.h"
#include "support/HillertJarl.h"
#include "support/EvaluatorTestKit.h"

namespace {

const double R = 8.3145;  // J/(mol K)
const double P0 = 101325.0;

double xlnx(double x) { return x > 0 ? x * std::log(x) : 0.0; }

// tests/corpus/models/b2.tdb: a binary Al-Fe B2_BCC with its disordered BCC_A2,
// both magnetic (p = 0.4, factor -1), the ordered part with a TC of its own.
// B2X, a 1:1:6 ordered phase, holds two formula units of the 1:3 BCC_A2.
kit::Loaded ReadB2()
{
    return kit::ReadModel("b2.tdb", "TYPE_DEFINITION C GES A_P_D B2X DIS_PART BCC_A2 !\n"
                                    "PHASE B2X %AC 3 1 1 6 !\nCONSTITUENT B2X :AL,FE:AL,FE:VA: !\n"
                                    "PARAMETER G(B2X,AL:FE:VA;0) 298.15 -5000; 6000 N !\n");
}

// The magnetic term R*T*ln(beta'+1)*g(T/TC') of a BCC phase (p = 0.4, factor -1).
double MagneticG(double T, double TC, double beta)
{
    if (TC < 0) TC = -TC;
    if (beta < 0) beta = -beta;
    return TC == 0 ? 0.0 : R * T * std::log(beta + 1) * hj::g(T / TC, 0.4);
}

// The disordered BCC_A2 per mole of formula units (AL, FE : VA), written out.
double DisorderedParameters(double T, double xAl, double xFe)
{
    const double gAl = -1000 + 2 * T, gFe = -2000 + 3 * T - 0.5 * T * std::log(T);
    return xAl * gAl + xFe * gFe + xAl * xFe * ((-30000 + 5 * T) + 4000 * (xAl - xFe));
}
double DisorderedG(double T, double xAl, double xFe)
{
    return DisorderedParameters(T, xAl, xFe) + R * T * (xlnx(xAl) + xlnx(xFe)) + MagneticG(T, 1043 * xFe, 2.22 * xFe);
}

// The partitioned B2, written out: y = (AL#1, FE#1, AL#2, FE#2, VA#3).
double OrderedParameters(double T, const double* y)
{
    return (-8000 + T) * (y[0] * y[3] + y[1] * y[2]);
}
double OrderedTC(const double* y) { return -200.0 * (y[0] * y[3] + y[1] * y[2]); }

double PartitionedG(double T, const double* y)
{
    const double xAl = 0.5 * (y[0] + y[2]), xFe = 0.5 * (y[1] + y[3]);
    const double yx[] = {xAl, xFe, xAl, xFe, 1.0};
    const double ordering = OrderedParameters(T, y) - OrderedParameters(T, yx);
    const double TC = 1043 * xFe + OrderedTC(y) - OrderedTC(yx);
    const double ideal = R * T * (0.5 * (xlnx(y[0]) + xlnx(y[1])) + 0.5 * (xlnx(y[2]) + xlnx(y[3])));
    return DisorderedParameters(T, xAl, xFe) + ordering + ideal + MagneticG(T, TC, 2.22 * xFe);
}
// Without the disordered part: the ordered parameters, its own TC and no moment (ln 1 = 0).
double OrderedOnlyG(double T, const double* y)
{
    return OrderedParameters(T, y) + R * T * (0.5 * (xlnx(y[0]) + xlnx(y[1])) + 0.5 * (xlnx(y[2]) + xlnx(y[3])));
}

// G of the hand-built phases against the model written out; for the whole
// phases also every derivative against differences, on both sides of the
// Curie point (TC of the disordered arrangement is 1043*x_Fe).
TEST(HandBuiltB2, GibbsEnergyAsWrittenOut)
{
    kit::Loaded l = ReadB2();
    ASSERT_TRUE(l.ok) << l.diagnostics();
    const int b2 = l.db->findPhase("B2_BCC");
    PhaseEvaluator whole(*l.db, b2), ordered(*l.db, b2, PhaseEvaluator::Part::OrderedOnly);
    ASSERT_TRUE(whole.evaluable()) << whole.why();
    ASSERT_TRUE(whole.partitioned());
    ASSERT_EQ(whole.variableCount(), 5);
    EXPECT_STREQ(whole.variableName(2), "AL");
    EXPECT_EQ(whole.variableSublattice(2), 1);
    ASSERT_TRUE(ordered.evaluable()) << ordered.why();
    EXPECT_FALSE(ordered.partitioned());
    PhasePartition partition;
    std::string why;
    ASSERT_TRUE(findPartition(*l.db, l.db->findPhase("B2X"), partition, why)) << why;
    EXPECT_DOUBLE_EQ(partition.scale, 2.0);

    const struct
    {
        const char* name;
        double T;
        std::vector<double> y;  // AL#1, FE#1, AL#2, FE#2, VA#3
    } cases[] = {{"Disordered_Below_TC", 600, {0.3, 0.7, 0.3, 0.7, 1}},
                 {"Ordered_Below_TC", 700, {0.1, 0.9, 0.6, 0.4, 1}},
                 {"Ordered_Above_TC", 1300, {0.2, 0.8, 0.7, 0.3, 1}},
                 {"FullyOrdered_ZeroFractions", 900, {1.0, 0.0, 0.0, 1.0, 1}},
                 {"FeRich_BothSides_Near_TC", 1000, {0.02, 0.98, 0.1, 0.9, 1}},
                 {"Ordered_Cold", 500, {0.15, 0.85, 0.55, 0.45, 1}},
                 {"Ordered_Hot", 1250, {0.15, 0.85, 0.55, 0.45, 1}},
                 {"ZeroAl_Cold", 500, {0.0, 1.0, 0.4, 0.6, 1}},
                 {"ZeroAl_Hot", 1250, {0.0, 1.0, 0.4, 0.6, 1}}};
    PhaseProperties out;
    for (const auto& c : cases) {
        // one mole of atoms per formula unit (0.5 + 0.5 sites, vacancies on the third)
        fd::CheckModel(*l.db, "B2_BCC", c.T, c.y, PartitionedG(c.T, c.y.data()), c.name, 1e-9, P0, R, 1.0);
        ordered.setTemperature(c.T, P0);
        ASSERT_TRUE(ordered.evaluate(c.y.data(), 0, out)) << ordered.why();
        const double expected = OrderedOnlyG(c.T, c.y.data());
        EXPECT_NEAR(out.G, expected, 1e-9 * std::fabs(expected)) << c.name;
    }
    for (double T : {400.0, 500.0, 1000.0, 1300.0, 1500.0})
        for (double xAl : {0.0, 0.2, 0.3, 0.6, 0.75}) {
            const std::string at = " T=" + std::to_string(T) + " xAl=" + std::to_string(xAl);
            // BCC_A2, named only as a disordered part, is an ordinary phase
            fd::CheckModel(*l.db, "BCC_A2", T, {xAl, 1 - xAl, 1.0}, DisorderedG(T, xAl, 1 - xAl), "BCC_A2" + at, 1e-8, P0, R);
            // B2X in a disordered arrangement counts every part of BCC_A2 twice, magnetism included
            fd::CheckModel(*l.db, "B2X", T, {xAl, 1 - xAl, xAl, 1 - xAl, 1.0}, 2.0 * DisorderedG(T, xAl, 1 - xAl),
                           "B2X" + at, 1e-9, P0, R, 2.0);
        }
}

// Keeps G of each point the tool computes.
struct Collect : thermfn::EvalWriter
{
    std::vector<double> G;
    void point(size_t, const PhaseProperties& p) override { G.push_back(p.G); }
    void refused(size_t, double, double, const std::string& why) override { ADD_FAILURE() << why; }
};

// The tool: phases names the disordered part, eval takes y of the ordered
// phase, with or without --ordered-part-only.
TEST(HandBuiltB2Tool, PhasesAndEvalWithAndWithoutTheDisorderedPart)
{
    kit::Loaded l = ReadB2();
    ASSERT_TRUE(l.ok) << l.diagnostics();
    std::ostringstream listing;
    thermfn::showPhases(*l.db, listing);
    EXPECT_NE(listing.str().find("yes, with disordered part BCC_A2"), std::string::npos) << listing.str();

    const double y[] = {0.1, 0.9, 0.6, 0.4, 1.0};
    const double T = 800.0;
    for (bool orderedOnly : {false, true}) {
        std::vector<std::string> args = {"eval", "b2.tdb", "--phase", "b2_bcc", "--T", "800",
                                         "--y", "AL=0.1,FE=0.9:AL=0.6,FE=0.4:VA=1"};
        if (orderedOnly) args.push_back("--ordered-part-only");
        const thermfn::Options opts = thermfn::parseArguments(args);
        EXPECT_EQ(opts.orderedPartOnly, orderedOnly);
        const thermfn::EvalResults layout = thermfn::prepareGrid(*l.db, opts);
        ASSERT_EQ(layout.compositions.size(), 1u);
        Collect points;
        std::ostringstream out, err;
        EXPECT_EQ(thermfn::streamGrid(*l.db, opts, layout, points, out, err), 0u) << err.str();
        ASSERT_EQ(points.G.size(), 1u);
        const double expected = orderedOnly ? OrderedOnlyG(T, y) : PartitionedG(T, y);
        EXPECT_NEAR(points.G[0], expected, 1e-9 * std::fabs(expected)) << orderedOnly;
    }
    try {
        thermfn::parseArguments({"phases", "b2.tdb", "--ordered-part-only"});
        ADD_FAILURE() << "phases took --ordered-part-only";
    } catch (const thermfn::CliError& e) {
        EXPECT_NE(std::string(e.what()).find("does not apply to phases"), std::string::npos) << e.what();
    }
}

// ---------------------------------------------------------------------------
// Pairings the model cannot take are refused with the reason.

TEST(RefusedPairing, OrderedPhaseIsNotEvaluableAndSaysWhyTheDisorderedOneStaysOrdinary)
{
    const std::string elements = "ELEMENT VA VACUUM 0 0 0 !\nELEMENT AL FCC_A1 26.98 0 0 !\nELEMENT FE BCC_A2 55.85 0 0 !\n"
                                 "ELEMENT NI FCC_A1 58.69 0 0 !\nELEMENT C GRAPHITE 12.011 0 0 !\n";
    const std::string pairing = "TYPE_DEFINITION B GES A_P_D ORD DIS_PART DIS !\n";
    const std::string dis2 = "PHASE DIS %B 2 1 3 !\nCONSTITUENT DIS :AL,FE:VA: !\n";
    const struct
    {
        std::string tdb;     // after the elements
        const char* reason;  // part of why()
    } cases[] = {
        {pairing + "PHASE DIS %B 3 1 1 3 !\nCONSTITUENT DIS :AL,FE:AL:VA: !\n"
                   "PHASE ORD %B 4 0.5 0.5 1 3 !\nCONSTITUENT ORD :AL,FE:AL,FE:AL:VA: !\n",
         "has 3 sublattices"},
        {pairing + dis2 + "PHASE ORD %B 2 1 3 !\nCONSTITUENT ORD :AL,FE:VA: !\n", "no more sublattices"},
        {pairing + dis2 + "PHASE ORD %B 3 0.5 0.5 3 !\nCONSTITUENT ORD :AL,FE:AL,FE:C,VA: !\n", "differs from sublattice 2"},
        {pairing + dis2 + "PHASE ORD %B 3 0.5 0.5 1 !\nCONSTITUENT ORD :AL,FE:AL,FE:VA: !\n", "site ratios"},
        {pairing + dis2 + "PHASE ORD %B 3 0.5 0.5 3 !\nCONSTITUENT ORD :AL,FE,NI:AL,FE:VA: !\n", "NI of sublattice 1"},
        {"TYPE_DEFINITION B GES A_P_D ORD DIS_PART NOSUCH !\n" + dis2 +
             "PHASE ORD %B 3 0.5 0.5 3 !\nCONSTITUENT ORD :AL,FE:AL,FE:VA: !\n",
         "NOSUCH is not a phase"}};
    for (const auto& c : cases) {
        kit::Loaded l = kit::ReadText(elements + c.tdb);
        ASSERT_TRUE(l.ok) << l.diagnostics();
        kit::ExpectRefused(*l.db, "ORD", c.reason);
        EXPECT_TRUE(PhaseEvaluator(*l.db, l.db->findPhase("DIS")).evaluable()) << c.reason;
    }
}

// ---------------------------------------------------------------------------
// Every partitioned phase of the published databases

struct Published
{
    const char* name;
    const char* file;
    const char* ordered;
    std::vector<const char*> elements;  //!< substitutional constituents the compositions use
    std::vector<double> temperatures;   //!< K
    const char* defect;                 //!< a parameter whose function the file leaves undefined
    const char* function;               //!< "function NAME is not defined" of a name it reads
};

std::unique_ptr<ThermDatabase> ReadPromisingValues(const char* file)
{
    bool ok = false;
    std::unique_ptr<ThermDatabase> db = kit::ReadPromisingValues(std::string(THERM_SHARED_DB_DIR) + "/" + file, true, &ok);
    EXPECT_TRUE(ok) << file;
    return db;
}
using kit::GiveValues;

void PrintTo(const Published& c, std::ostream* os) { *os << c.name; }

using Mixes = std::vector<std::map<std::string, double>>;

// Fractions of ev's variables: sublattice s from bySublattice[s], the
// interstitial one (if any) vacancies only.
std::vector<double> Arrangement(PhaseEvaluator& ev, int interstitial, const Mixes& bySublattice)
{
    static const std::map<std::string, double> vacancies{{"VA", 1.0}};
    std::vector<double> y(static_cast<size_t>(ev.variableCount()), 0.0);
    for (int v = 0; v < ev.variableCount(); ++v) {
        const int s = ev.variableSublattice(v);
        const std::map<std::string, double>& m = s == interstitial ? vacancies : bySublattice[static_cast<size_t>(s)];
        auto it = m.find(ev.variableName(v));
        if (it != m.end()) y[static_cast<size_t>(v)] = it->second;
    }
    return y;
}

// Normalised weights w_k = 1 + shift*k over the elements (0 at zeroAt).
std::map<std::string, double> Mix(const std::vector<const char*>& elements, double shift, int zeroAt = -1)
{
    std::map<std::string, double> m;
    double sum = 0;
    for (size_t k = 0; k < elements.size(); ++k) {
        const double w = static_cast<int>(k) == zeroAt ? 0.0 : 1.0 + shift * static_cast<double>(k);
        m[elements[k]] = w;
        sum += w;
    }
    for (auto& e : m) e.second /= sum;
    return m;
}

class PublishedPartitioned : public ::testing::TestWithParam<Published>
{
protected:
    void SetUp() override
    {
        db_ = ReadPromisingValues(GetParam().file);
        ASSERT_FALSE(db_->expressions.freeSymbols().empty()) << "the file now defines every name it uses";
        GiveValues(*db_);
        ordered_ = db_->findPhase(GetParam().ordered);
        ASSERT_GE(ordered_, 0);
        std::string why;
        ASSERT_TRUE(findPartition(*db_, ordered_, partition_, why)) << why;
        ASSERT_TRUE(PhaseEvaluator(*db_, ordered_).evaluable());
        sublattices_ = db_->phases[static_cast<size_t>(ordered_)].phase->m_Constituents.size();
    }

    std::unique_ptr<ThermDatabase> db_ = std::make_unique<ThermDatabase>();
    int ordered_ = -1;
    size_t sublattices_ = 0;
    PhasePartition partition_;
};

// As distributed, a parameter refers to a function the file leaves undefined:
// the phase is refused naming it, not evaluated with a 0 in its place.  Read
// with the promise of values it is refused until they are given, then the
// same evaluator takes the phase, partitioned.
TEST_P(PublishedPartitioned, RefusedUntilTheUndefinedNamesHaveValues)
{
    const Published& c = GetParam();
    kit::Loaded l = kit::ReadShared(c.file);
    PhaseEvaluator distributed(*l.db, l.db->findPhase(c.ordered));
    EXPECT_FALSE(distributed.evaluable());
    EXPECT_NE(distributed.why().find(c.defect), std::string::npos) << distributed.why();
    EXPECT_EQ(distributed.why().find("partition"), std::string::npos) << distributed.why();

    std::unique_ptr<ThermDatabase> db = ReadPromisingValues(c.file);
    PhaseEvaluator ev(*db, db->findPhase(c.ordered));
    EXPECT_FALSE(ev.evaluable());
    EXPECT_NE(ev.why().find(c.function), std::string::npos) << ev.why();
    GiveValues(*db);
    EXPECT_TRUE(ev.evaluable()) << ev.why();
    EXPECT_TRUE(ev.partitioned());
}

// COST507's L(BCC_B2,TI:AL,TA:VA;0) = L(BCC_B2,AL,TA:TI:VA;0) = -ALTAB2 enter
// the ordered part only: a change d of ALTAB2 changes G at the next
// temperature step by -d (yTI' yAL'' yTA'' + yAL' yTA' yTI'' - 2 xTI xAL xTA),
// x the mean of the two sublattices (site ratios 0.5:0.5).
TEST(PublishedPartitionedValues, ChangedNameTakesEffectAtTheNextStep)
{
    std::unique_ptr<ThermDatabase> db = ReadPromisingValues("COST507.tdb");
    GiveValues(*db);
    PhaseEvaluator ev(*db, db->findPhase("BCC_B2"));
    ASSERT_TRUE(ev.evaluable()) << ev.why();
    const std::map<std::string, double> s1{{"TI", 0.5}, {"AL", 0.3}, {"TA", 0.2}}, s2{{"TI", 0.1}, {"AL", 0.4}, {"TA", 0.5}};
    const std::vector<double> y = Arrangement(ev, 2, {s1, s2});
    auto x = [&](const char* e) { return 0.5 * (s1.at(e) + s2.at(e)); };
    const double weight = s1.at("TI") * s2.at("AL") * s2.at("TA") + s1.at("AL") * s1.at("TA") * s2.at("TI") -
                          2 * x("TI") * x("AL") * x("TA");
    PhaseProperties a, b;
    std::string error;
    for (double T : {600.0, 1500.0}) {
        ASSERT_TRUE(db->setSymbolValue("ALTAB2", -8000.0, error)) << error;
        ev.setTemperature(T, P0);
        ASSERT_TRUE(ev.evaluate(y.data(), 1, a)) << ev.why();
        ASSERT_TRUE(db->setSymbolValue("altab2", -2000.0, error)) << error;
        ev.setTemperature(T, P0);
        ASSERT_TRUE(ev.evaluate(y.data(), 1, b)) << ev.why();
        EXPECT_NEAR(b.G - a.G, -6000.0 * weight, 1e-9 * std::fabs(a.G)) << "T=" << T;
        EXPECT_NEAR(b.dG_dT, a.dG_dT, 1e-9 * std::fabs(a.dG_dT)) << "a constant has no T derivative";
    }
}

TEST_P(PublishedPartitioned, OrderingEnergyVanishesForADisorderedArrangement)
{
    const Published& c = GetParam();
    PhaseEvaluator ord(*db_, ordered_), dis(*db_, partition_.disordered);
    ASSERT_TRUE(dis.evaluable()) << dis.why();
    PhaseProperties po, pd;
    for (double shift : {0.7, -0.15}) {
        for (int zeroAt : {-1, 0}) {
            const std::map<std::string, double> x = Mix(c.elements, shift, zeroAt);
            const std::vector<double> y = Arrangement(ord, partition_.interstitial, Mixes(sublattices_, x));
            const std::vector<double> yd = Arrangement(dis, 1, {x});
            for (double T : c.temperatures) {
                ord.setTemperature(T, P0);
                ASSERT_TRUE(ord.evaluate(y.data(), 1, po)) << ord.why();
                dis.setTemperature(T, P0);
                ASSERT_TRUE(dis.evaluate(yd.data(), 1, pd)) << dis.why();
                const double tol = 1e-9 * std::max(std::fabs(pd.G), R * T);
                EXPECT_NEAR(po.G, partition_.scale * pd.G, tol) << c.name << " T=" << T << " shift=" << shift;
                EXPECT_NEAR(po.dG_dT, partition_.scale * pd.dG_dT, 1e-9 * std::max(std::fabs(pd.dG_dT), R))
                    << c.name << " T=" << T;
                EXPECT_NEAR(po.GM, pd.GM, tol) << c.name << " T=" << T;
            }
        }
    }
}

TEST_P(PublishedPartitioned, PermutedSublatticesLeaveGUnchanged)
{
    const Published& c = GetParam();
    PhaseEvaluator ev(*db_, ordered_);
    const std::vector<int>& sub = partition_.substitutional;
    Mixes mixes(sublattices_);
    const double shifts[] = {0.9, -0.2, 0.4, -0.1};
    for (size_t k = 0; k < sub.size(); ++k)
        mixes[static_cast<size_t>(sub[k])] = Mix(c.elements, shifts[k % 4], static_cast<int>(k % 2));
    std::vector<int> perm(sub.size());
    for (size_t k = 0; k < perm.size(); ++k) perm[k] = static_cast<int>(k);
    PhaseProperties ref, out;
    for (double T : c.temperatures) {
        ev.setTemperature(T, P0);
        const std::vector<double> y0 = Arrangement(ev, partition_.interstitial, mixes);
        ASSERT_TRUE(ev.evaluate(y0.data(), 0, ref)) << ev.why();
        int checked = 0;
        std::vector<int> p = perm;
        do {
            Mixes permuted = mixes;
            for (size_t k = 0; k < sub.size(); ++k)
                permuted[static_cast<size_t>(sub[k])] = mixes[static_cast<size_t>(sub[static_cast<size_t>(p[k])])];
            const std::vector<double> y = Arrangement(ev, partition_.interstitial, permuted);
            ASSERT_TRUE(ev.evaluate(y.data(), 0, out)) << ev.why();
            EXPECT_NEAR(out.G, ref.G, 1e-10 * std::max(std::fabs(ref.G), R * T)) << c.name << " T=" << T;
            ++checked;
        } while (std::next_permutation(p.begin(), p.end()));
        EXPECT_EQ(checked, sub.size() == 4 ? 24 : 2);
    }
}

// A fraction of exactly 0 is not stepped (see support/Differences.h).
TEST_P(PublishedPartitioned, DerivativesAgreeWithDifferences)
{
    const Published& c = GetParam();
    PhaseEvaluator ev(*db_, ordered_);
    const std::vector<int>& sub = partition_.substitutional;
    for (int zeroAt : {-1, 1}) {
        Mixes mixes(sublattices_);
        for (size_t k = 0; k < sub.size(); ++k)
            mixes[static_cast<size_t>(sub[k])] =
                Mix(c.elements, 1.3 - 0.5 * static_cast<double>(k), k == 0 ? zeroAt : -1);
        const std::vector<double> y = Arrangement(ev, partition_.interstitial, mixes);
        for (double T : c.temperatures)
            fd::CheckAgainstDifferences(*db_, ordered_, T, y,
                                        std::string(c.name) + " T=" + std::to_string(T) + " zero=" + std::to_string(zeroAt), P0, R);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Files, PublishedPartitioned,
    ::testing::Values(
        // BCC_A2 is magnetic: 300 K lies below the Curie point of the mixes, 1250 K above;
        // both clear of the unaries' breakpoints (Al 700 and 933.47 K, Ta 1300 K)
        Published{"COST507_BCC_B2", "COST507.tdb", "BCC_B2", {"FE", "AL", "NI", "CR"}, {300.0, 1250.0}, "L(BCC_B2,TI:AL,TA:VA;0)",
                  "function ALTAB2 is not defined"},
        Published{"AlNiPt_FCC_L12", "alnipt.tdb", "FCC_L12", {"AL", "NI", "PT"}, {800.0, 1400.0}, "G(FCC_L12,NI:NI:AL:PT:VA;0)",
                  "is not defined in the database"}),
    [](const ::testing::TestParamInfo<Published>& info) { return std::string(info.param.name); });

}  // namespace
