// Temperatures at which functions, parameters and phases have a value: the
// pieces' ranges intersected with those of the functions each piece reads,
// against sets written out by hand, and against the evaluator's own refusals.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "models/PhaseEvaluator.h"
#include "models/TemperatureCoverage.h"
#include "support/TdbTestKit.h"

namespace {

const char* const kFunctions =
    "ELEMENT A X 1 0 0 !\nELEMENT B X 1 0 0 !\n"
    "FUNCTION TWO 298.15 1; 1000 Y 2; 3000 N !\n"             // 298.15..3000 in two pieces
    "FUNCTION READS 1 2*TWO; 2000 N !\n"                      // its own 1..2000 cut by TWO
    "FUNCTION SPLIT 1 TWO; 1000 Y 5; 4000 N !\n"              // TWO below 1000, alone above
    "FUNCTION LATE 600 1; 5000 N !\n"
    "FUNCTION GAP 1 7; 500 Y LATE; 5000 N !\n"                // 1..500, then 600..5000 through LATE
    "FUNCTION DEEP 1 GAP+1; 5000 N !\n"
    "FUNCTION BROKEN 1 1E200*1E200; 5000 N !\n"
    "FUNCTION USESBROKEN 1 1; 100 Y BROKEN; 5000 N !\n"
    "PHASE P % 1 1 !\nCONSTITUENT P :A,B: !\n"
    "PARAMETER G(P,A;0) 1 TWO; 6000 N !\n"
    "PARAMETER G(P,B;0) 1 READS; 6000 N !\n"
    "PARAMETER L(P,A,B;0) 1 GAP; 6000 N !\n"
    "PHASE Q % 1 1 !\nCONSTITUENT Q :A: !\n"
    "PARAMETER G(Q,A;0) 1 1; 6000 N !\n"
    "PARAMETER TC(Q,A;0) 1 100; 400 N !\n"  // Q has no magnetic model: TC does not count
    // an ordered phase evaluated with its disordered part: both parts' ranges count
    "TYPE_DEFINITION B GES A_P_D ORD DIS_PART DIS !\n"
    "PHASE DIS %B 1 1 !\nCONSTITUENT DIS :A,B: !\n"
    "PARAMETER G(DIS,A;0) 1 1; 1500 N !\n"
    "PARAMETER G(DIS,B;0) 1 2; 6000 N !\n"
    "PHASE ORD %B 2 0.5 0.5 !\nCONSTITUENT ORD :A,B:A,B: !\n"
    "PARAMETER G(ORD,A:B;0) 1 TWO; 6000 N !\n";

struct SetCase
{
    const char* name;
    const char* function;
    const char* text;  //!< the set as TemperatureCoverage::text writes it
};

void PrintTo(const SetCase& c, std::ostream* os) { *os << c.name; }

class FunctionCoverage : public ::testing::TestWithParam<SetCase>
{
};

TEST_P(FunctionCoverage, IsThePiecesCutByWhatTheyRead)
{
    kit::Loaded l = kit::ReadText(kFunctions);
    TemperatureCoverage coverage(*l.db);
    int index = l.db->dataMgr.FindSymbolFunction(GetParam().function);
    ASSERT_GE(index, 0);
    EXPECT_EQ(TemperatureCoverage::text(coverage.symbol(index)), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Functions, FunctionCoverage,
    ::testing::Values(SetCase{"PiecesThatMeetAreJoined", "TWO", "298.15 to 3000 K"},
                      SetCase{"CutByAFunctionItReads", "READS", "298.15 to 2000 K"},
                      SetCase{"OnlyThePieceThatReadsIsCut", "SPLIT", "298.15 to 4000 K"},
                      SetCase{"AGapWhereTheReadFunctionStartsLater", "GAP", "1 to 500 and 600 to 5000 K"},
                      SetCase{"GapsPassOnToReaders", "DEEP", "1 to 500 and 600 to 5000 K"},
                      SetCase{"NotReadIsNowhere", "BROKEN", "none"},
                      SetCase{"ReadingTheUnreadOnlyWhereItDoesNot", "USESBROKEN", "1 to 100 K"}),
    [](const ::testing::TestParamInfo<SetCase>& info) { return std::string(info.param.name); });

TEST(PhaseCoverage, IsWhereEveryModelParameterHasAValue)
{
    kit::Loaded l = kit::ReadText(kFunctions);
    TemperatureCoverage coverage(*l.db);
    // G(P,A) 298.15..3000, G(P,B) 298.15..2000, L 1..500 and 600..5000
    EXPECT_EQ(TemperatureCoverage::text(coverage.phase(l.db->findPhase("P"))), "298.15 to 500 and 600 to 2000 K");
    EXPECT_EQ(TemperatureCoverage::text(coverage.phase(l.db->findPhase("Q"))), "1 to 6000 K");
    EXPECT_EQ(TemperatureCoverage::text(coverage.phase(l.db->findPhase("ORD"))), "298.15 to 1500 K");
}

// The evaluator refuses exactly the temperatures outside the phase's set.
TEST(PhaseCoverage, AgreesWithTheEvaluatorsRefusals)
{
    kit::Loaded l = kit::ReadText(kFunctions);
    TemperatureCoverage coverage(*l.db);
    for (const char* name : {"P", "Q", "ORD"}) {
        int p = l.db->findPhase(name);
        TemperatureCoverage::Set set = coverage.phase(p);
        PhaseEvaluator ev(*l.db, p);
        ASSERT_TRUE(ev.evaluable()) << name << ": " << ev.why();
        const std::vector<double> y(static_cast<size_t>(ev.variableCount()), 0.5);
        PhaseProperties out;
        for (double T : {0.5, 1.0, 200.0, 298.15, 499.0, 500.0, 550.0, 600.0, 1499.0, 1501.0, 1999.0, 2000.0, 2500.0, 6000.0, 7000.0}) {
            ev.setTemperature(T, 101325.0);
            EXPECT_EQ(ev.evaluate(y.data(), 0, out), TemperatureCoverage::contains(set, T)) << name << " at " << T << " K: "
                                                                                      << ev.why();
        }
    }
}

struct WhyCase
{
    const char* name;
    const char* function;
    double T;
    const char* why;  //!< "" when T is covered
};

void PrintTo(const WhyCase& c, std::ostream* os) { *os << c.name; }

class FunctionRefusal : public ::testing::TestWithParam<WhyCase>
{
};

TEST_P(FunctionRefusal, NamesTheFunctionWhosePiecesMissT)
{
    const WhyCase& c = GetParam();
    kit::Loaded l = kit::ReadText(kFunctions);
    TemperatureCoverage coverage(*l.db);
    int index = l.db->dataMgr.FindSymbolFunction(c.function);
    ASSERT_GE(index, 0);
    EXPECT_EQ(coverage.whyNot(*l.db->symbols().m_FktArray[index], c.function, c.T), c.why);
}

INSTANTIATE_TEST_SUITE_P(
    Functions, FunctionRefusal,
    ::testing::Values(
        WhyCase{"Covered", "DEEP", 700.0, ""},
        WhyCase{"OwnRange", "TWO", 3500.0, "T = 3500 K is outside the temperature ranges of FUNCTION TWO (298.15 to 3000 K)"},
        WhyCase{"TwoLevelsDown", "DEEP", 550.0,
                "T = 550 K is outside the temperature ranges of FUNCTION LATE (600 to 5000 K)"},
        WhyCase{"NotRead", "USESBROKEN", 300.0,
                "FUNCTION BROKEN has no temperature ranges (the reader could not take it)"}),
    [](const ::testing::TestParamInfo<WhyCase>& info) { return std::string(info.param.name); });

}  // namespace
