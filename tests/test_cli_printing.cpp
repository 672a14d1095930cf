// How the tool prints what people read: temperatures with the decimals they
// need to stay distinct, no negative zero in any format, and the phases
// report with the database's limits and each phase's range.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include "cli/Output.h"
#include "support/CliTestKit.h"

namespace {

using clitest::has;

// The blank-separated cells of one line of a table.
std::vector<std::string> cells(const std::string& table, size_t row)
{
    const std::vector<std::string> rows = clitest::lines(table);
    std::istringstream words(row < rows.size() ? rows[row] : "");
    std::vector<std::string> out;
    for (std::string w; words >> w;) out.push_back(w);
    return out;
}

TEST(FunctionTableNumbers, ReadBackAsWritten)
{
    struct Case
    {
        double T, value;
        const char* printedT;
        const char* printedValue;  //!< the F column
    };
    const Case cases[] = {
        {300.0, 1.5, "300", "1.5"},
        {298.15, -2.0, "298.15", "-2"},
        {300.0000001, 0.0, "300.0000001", "0"},  // a tenth of a microkelvin apart
        {0.001, -0.0, "0.001", "0"},
        {1000.0, -1e-12, "1000", "-1e-12"},  // a tiny negative value stays negative
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.printedT);
        std::ostringstream out;
        thermfn::writeFunctionTable(out, "F", {thermfn::FunctionPoint{c.T, 101325.0, c.value, -0.0, 0.0, -0.0}});
        const std::vector<std::string> row = cells(out.str(), 2);  // title, header, the row
        ASSERT_EQ(row.size(), 5u) << out.str();
        EXPECT_EQ(row[0], c.printedT);
        EXPECT_EQ(std::strtod(row[0].c_str(), nullptr), c.T) << "the printed T reads back as the same number";
        EXPECT_EQ(row[1], c.printedValue);
        for (size_t k = 2; k < 5; ++k) EXPECT_EQ(row[k], "0") << "derivative " << k - 1;
    }
}

TEST(EvalTableNumbers, RoundedToZeroHasNoSign)
{
    thermfn::EvalResults r;
    r.phase = "P";
    r.sublatticeCount = 1;
    r.variables = {{0, "A"}};
    r.compositions = {{1.0}};
    thermfn::EvalPoint point;
    PhaseProperties& q = point.props;
    q.T = 298.15;
    q.P = 101325.0;
    q.atoms = 1.0;
    q.G = q.GM = -0.0004;  // "%.3f" would print -0.000
    q.SM = -0.000001;
    q.HM = 12.0;
    q.CPM = -0.0;
    r.points = {point};
    std::ostringstream out;
    thermfn::writeEvalTable(out, r);
    const std::vector<std::string> row = {"298.15", "0.000", "0.000", "0.00000", "12.000", "0.00000"};
    EXPECT_EQ(cells(out.str(), 3), row) << out.str();  // heading, names, units, the row
}

// The phases report: the database's limits said to be the default when the
// file gives none, and each phase's own evaluable range; the same report
// when the database comes from its cache file (written, then loaded).
TEST(PhasesReport, ShowsLimitsAndEachPhasesRange)
{
    struct Case
    {
        const char* limits;  //!< a TEMPERATURE_LIMITS command or ""
        const char* heading;
    };
    const Case cases[] = {
        {"", "2 phases; temperature limits default (298.15 to 6000 K; the file has no TEMPERATURE_LIMITS)"},
        {"TEMPERATURE_LIMITS 200 3000 !\n", "2 phases; temperature limits 200 to 3000 K"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.heading);
        const std::string path = clitest::tempFile("phases.tdb", std::string(c.limits) +
                                                                     "ELEMENT A X 1 0 0 !\n"
                                                                     "FUNCTION INNER 1 100+T; 2000 N !\n"
                                                                     "PHASE P % 1 1 ! CONSTITUENT P :A: !\n"
                                                                     "PARAMETER G(P,A;0) 1 2*INNER; 4000 N !\n"
                                                                     "PHASE BAD % 1 1 ! CONSTITUENT BAD :A: !\n"
                                                                     "PARAMETER G(BAD,A;0) 1 NOSUCH; 4000 N !\n");
        const clitest::ToolRun r = clitest::tool({"phases", path});
        ASSERT_EQ(r.code, 0) << r.err;
        EXPECT_EQ(r.out.substr(0, r.out.find('\n')), c.heading);
        EXPECT_TRUE(has(r.out, "1 to 2000 K")) << r.out;
        EXPECT_TRUE(has(r.out, "BAD  "));
        EXPECT_TRUE(has(r.out, "  -  ")) << "a phase that is not evaluable has no range";
        const std::string cache = path + ".thdb";
        std::remove(cache.c_str());
        for (const char* pass : {"writing the cache", "loading the cache"}) {
            const clitest::ToolRun cached = clitest::tool({"phases", path, "--cache", cache});
            ASSERT_EQ(cached.code, 0) << cached.err;
            EXPECT_EQ(cached.out, r.out) << pass;
        }
        std::remove(cache.c_str());
        std::remove(path.c_str());
    }
}

}  // namespace
