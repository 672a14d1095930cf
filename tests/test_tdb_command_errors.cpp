// An error in a command makes every phase the command feeds not evaluable,
// with the command and its line in the reason: a PARAMETER whose ")" or "!"
// is missing, a "!" hidden in a comment, a magnetic type definition that
// cannot be taken, constant arithmetic that overflows, and functions that
// reach a parameter only through other functions.  Those files of
// tests/corpus/tdb state each error's place and each phase's reason, which
// the corpus test checks (test_tdb_errors.cpp); here the phases next to them
// keep their exact values, and the pieces that find where a broken command
// ends and which phases it feeds.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "models/PhaseEvaluator.h"
#include "support/TdbTestKit.h"
#include "tdb/TdbCommandFeeds.h"

namespace {

using kit::ReadCorpus;

// The phases beside a broken command are read in full: their Gibbs energy
// per mole of formula units against the sum written out by hand.
struct SurvivorCase
{
    const char* name;
    const char* file;
    const char* phase;
    std::vector<double> y;
    double T;
    double G;  //!< J per mole of formula units
};

void Check(const SurvivorCase& c)
{
    SCOPED_TRACE(c.name);
    kit::Loaded l = ReadCorpus(c.file);
    ASSERT_TRUE(l.ok);
    int index = l.db->findPhase(c.phase);
    ASSERT_GE(index, 0);
    PhaseEvaluator ev(*l.db, index);
    ASSERT_TRUE(ev.evaluable()) << ev.why();
    ev.setTemperature(c.T, 101325.0);
    PhaseProperties out;
    ASSERT_TRUE(ev.evaluate(c.y.data(), 0, out)) << ev.why();
    EXPECT_NEAR(out.G, c.G, 1e-9 * std::fabs(c.G) + 1e-9);
}

const double kR = PhaseEvaluator::kGasConstant;

TEST(CommandErrorNeighbours, KeepTheirExactValues)
{
    const SurvivorCase cases[] = {
        {"CommandAfterHiddenBang", "comment_hides_bang.tdb", "Q", {1.0}, 300.0, 3000.0},
        // G(Q,A) = -100, G(Q,B) = GB = 2000, ideal mixing of a half each
        {"CommandsAfterMissingBangs", "missing_bang_mid_file.tdb", "Q", {0.5, 0.5}, 1000.0,
         0.5 * -100.0 + 0.5 * 2000.0 + kR * 1000.0 * std::log(0.5)},
        {"PhaseWithoutTheBrokenTypeCode", "magnetic_structure_factor.tdb", "S", {1.0}, 500.0, 1000.0},
        {"LargeButFiniteProduct", "constant_overflow.tdb", "S", {1.0}, 500.0, 1e300},
    };
    for (const SurvivorCase& c : cases) Check(c);
}

// Where a data command that lost its "!" runs into the next one.
struct RunOnCase
{
    const char* name;
    const char* text;
    const char* next;  //!< the text where the next command starts, "" for none
};

TEST(RunOnCommands, StartWhereALineBeginsWithACommand)
{
    const RunOnCase cases[] = {
        {"Parameter", "PARAMETER G(P,A;0) 298.15 1;\n 6000 N\nPARAMETER G(P,B;0) 1; 6000 N", "PARAMETER G(P,B;0) 1; 6000 N"},
        {"AbbreviatedFunction", "FUNCTION F 298.15 1; 6000 N\n  FUNCT G 298.15 2; 6000 N", "FUNCT G 298.15 2; 6000 N"},
        {"TypeDefinitionWithSymbolCode", "ELEMENT A X 1 0 0\nTYPE_DEF % SEQ *", "TYPE_DEF % SEQ *"},
        {"TemperatureLimitsTakeNumbers", "ELEMENT A X 1 0 0\nTEMP_LIM 300 3000", "TEMP_LIM 300 3000"},
        {"FunctionReferenceWithOperator", "FUNCTION F 298.15 1\n  PARA *2; 6000 N", ""},
        {"FunctionReferenceWithDigits", "FUNCTION F 298.15 1\n  +FUNC1#; 6000 N", ""},
        {"NameGluedToDigits", "FUNCTION F 298.15\n FUNC1 + 2; 6000 N", ""},
        {"ShortWordIsNoAbbreviation", "FUNCTION F 298.15 1\nPAR G(P,A;0); 6000 N", ""},
        {"FirstLineIsTheCommandItself", "PARAMETER PARAMETER G(P,A;0) 1; 6000 N", ""},
        {"BlankLinesAndNoCommand", "FUNCTION F 298.15 1;\n\n   \n 6000 N", ""},
        {"TemperatureLimitsWithoutNumber", "FUNCTION F 298.15 1\nTEMP + 1; 6000 N", ""},
    };
    for (const RunOnCase& c : cases) {
        const std::string text = c.text;
        const size_t at = tdb::runOnCommandStart(text, 0, text.size());
        EXPECT_EQ(at == std::string::npos ? "" : text.substr(at), c.next) << c.name;
    }
}

// Which phases a command's words name, also when the command is malformed.
struct FeedsCase
{
    const char* name;
    const char* keyword;
    const char* body;
    std::vector<std::string> phases;
    char typeCode;
};

TEST(CommandFeeds, NameThePhaseOrTypeCode)
{
    const FeedsCase cases[] = {
        {"Parameter", "PARAMETER", " G(fcc_a1,FE:VA;0) 298.15 1; 6000 N", {"FCC_A1"}, 0},
        {"ParameterWithSpecies", "PARAMETER", " MQ( BCC_A2&FE,FE:VA;0", {"BCC_A2"}, 0},
        {"ParameterWithoutParenthesis", "PARAMETER", " G FCC_A1,FE;0", {"G", "FCC_A1", "FE", "0"}, 0},
        {"PhaseWithSuffix", "PHASE", " LIQUID:L % 1 1.0", {"LIQUID"}, 0},
        {"Constituent", "CONSTITUENT", " BCC_A2 :FE,CR:VA:", {"BCC_A2"}, 0},
        {"TypeDefinition", "TYPE_DEFINITION", " & GES A_P_D BCC_A2 MAGNETIC -1 0", {}, '&'},
        {"TypeDefinitionWithLongCode", "TYPE_DEFINITION", " AB GES A_P_D X MAGNETIC", {}, 0},
        {"FunctionFeedsThroughItsUsers", "FUNCTION", " GHSERFE 298.15 1; 6000 N", {}, 0},
        {"UnknownCommand", "", " BCC_A2 X", {"BCC_A2", "X"}, 0},
    };
    for (const FeedsCase& c : cases) {
        const std::string body = c.body;
        tdb::CommandFeeds feeds = tdb::commandFeeds(body, 0, body.size(), c.keyword);
        EXPECT_EQ(feeds.phaseNames, c.phases) << c.name;
        EXPECT_EQ(feeds.typeCode, c.typeCode) << c.name;
    }
}

}  // namespace
