// Temperatures at which functions, parameters and phases have a value: the
// pieces' ranges intersected with those of the functions each piece reads,
// against sets written out by hand, and against the evaluator's own refusals.
// The functions and phases are in tests/corpus/models/coverage.tdb.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "models/PhaseEvaluator.h"
#include "models/TemperatureCoverage.h"
#include "support/TdbTestKit.h"

namespace {

kit::Loaded ReadCoverage()
{
    kit::Loaded l;
    l.ok = tdb::readTdbFile(std::string(THERM_TESTS_DIR) + "/corpus/models/coverage.tdb", *l.db, l.report);
    return l;
}

struct FunctionCase
{
    const char* name;
    const char* function;
    const char* set;  //!< the set as TemperatureCoverage::text writes it
    double T;         //!< a temperature to ask whyNot about; 0: none
    const char* why;  //!< what whyNot says at T, "" when T is covered
};

void PrintTo(const FunctionCase& c, std::ostream* os) { *os << c.name; }

using FunctionCoverage = ::testing::TestWithParam<FunctionCase>;

TEST_P(FunctionCoverage, IsThePiecesCutByWhatTheyReadAndARefusalNamesTheFunctionThatMissesT)
{
    const FunctionCase& c = GetParam();
    kit::Loaded l = ReadCoverage();
    ASSERT_TRUE(l.ok) << l.diagnostics();
    TemperatureCoverage coverage(*l.db);
    const int index = l.db->dataMgr.FindSymbolFunction(c.function);
    ASSERT_GE(index, 0);
    EXPECT_EQ(TemperatureCoverage::text(coverage.symbol(index)), c.set);
    if (c.T > 0) {
        EXPECT_EQ(coverage.whyNot(*l.db->symbols().m_FktArray[index], c.function, c.T), c.why);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Functions, FunctionCoverage,
    ::testing::Values(
        FunctionCase{"PiecesThatMeetAreJoined", "TWO", "298.15 to 3000 K", 3500.0,
                     "T = 3500 K is outside the temperature ranges of FUNCTION TWO (298.15 to 3000 K)"},
        FunctionCase{"CutByAFunctionItReads", "READS", "298.15 to 2000 K", 0, ""},
        FunctionCase{"OnlyThePieceThatReadsIsCut", "SPLIT", "298.15 to 4000 K", 0, ""},
        FunctionCase{"AGapWhereTheReadFunctionStartsLater", "GAP", "1 to 500 and 600 to 5000 K", 0, ""},
        FunctionCase{"GapsPassOnToReaders", "DEEP", "1 to 500 and 600 to 5000 K", 550.0,
                     "T = 550 K is outside the temperature ranges of FUNCTION LATE (600 to 5000 K)"},
        FunctionCase{"CoveredTwoLevelsDown", "DEEP", "1 to 500 and 600 to 5000 K", 700.0, ""},
        FunctionCase{"NotReadIsNowhere", "BROKEN", "none", 0, ""},
        FunctionCase{"ReadingTheUnreadOnlyWhereItDoesNot", "USESBROKEN", "1 to 100 K", 300.0,
                     "FUNCTION BROKEN has no temperature ranges (the reader could not take it)"}),
    [](const ::testing::TestParamInfo<FunctionCase>& info) { return std::string(info.param.name); });

// A phase's set is where every model parameter has a value, and the evaluator
// refuses exactly the temperatures outside it.
TEST(PhaseCoverage, IsWhereEveryModelParameterHasAValueAndAgreesWithTheEvaluatorsRefusals)
{
    kit::Loaded l = ReadCoverage();
    ASSERT_TRUE(l.ok) << l.diagnostics();
    TemperatureCoverage coverage(*l.db);
    const struct
    {
        const char* phase;
        const char* set;
    } cases[] = {// G(P,A) 298.15..3000, G(P,B) 298.15..2000, L 1..500 and 600..5000
                 {"P", "298.15 to 500 and 600 to 2000 K"},
                 {"Q", "1 to 6000 K"},
                 {"ORD", "298.15 to 1500 K"}};
    for (const auto& c : cases) {
        const int p = l.db->findPhase(c.phase);
        const TemperatureCoverage::Set set = coverage.phase(p);
        EXPECT_EQ(TemperatureCoverage::text(set), c.set);
        PhaseEvaluator ev(*l.db, p);
        ASSERT_TRUE(ev.evaluable()) << c.phase << ": " << ev.why();
        const std::vector<double> y(static_cast<size_t>(ev.variableCount()), 0.5);
        PhaseProperties out;
        for (double T : {0.5, 1.0, 200.0, 298.15, 499.0, 500.0, 550.0, 600.0, 1499.0, 1501.0, 1999.0, 2000.0, 2500.0,
                         6000.0, 7000.0}) {
            ev.setTemperature(T, 101325.0);
            EXPECT_EQ(ev.evaluate(y.data(), 0, out), TemperatureCoverage::contains(set, T))
                << c.phase << " at " << T << " K: " << ev.why();
        }
    }
}

}  // namespace
