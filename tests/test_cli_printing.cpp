// How the tool prints what people read: temperatures with the decimals they
// need to stay distinct, no negative zero in any format, and the phases
// report with the database's limits and each phase's range.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "cli/Commands.h"
#include "cli/Output.h"

namespace {

std::vector<std::string> Cells(const std::string& table, size_t row)
{
    std::istringstream lines(table);
    std::string line;
    for (size_t i = 0; i <= row; ++i) std::getline(lines, line);
    std::istringstream words(line);
    std::vector<std::string> cells;
    for (std::string w; words >> w;) cells.push_back(w);
    return cells;
}

struct PrintCase
{
    const char* name;
    double T;
    double value;
    const char* printedT;
    const char* printedValue;  //!< the function table's F column
};

void PrintTo(const PrintCase& c, std::ostream* os) { *os << c.name; }

class FunctionTableNumbers : public ::testing::TestWithParam<PrintCase>
{
};

TEST_P(FunctionTableNumbers, ReadBackAsWritten)
{
    const PrintCase& c = GetParam();
    std::ostringstream out;
    thermfn::writeFunctionTable(out, "F", {thermfn::FunctionPoint{c.T, 101325.0, c.value, -0.0, 0.0, -0.0}});
    std::vector<std::string> cells = Cells(out.str(), 2);  // title, header, the row
    ASSERT_EQ(cells.size(), 5u) << out.str();
    EXPECT_EQ(cells[0], c.printedT);
    EXPECT_EQ(std::strtod(cells[0].c_str(), nullptr), c.T) << "the printed T reads back as the same number";
    EXPECT_EQ(cells[1], c.printedValue);
    for (size_t k = 2; k < 5; ++k) EXPECT_EQ(cells[k], "0") << "derivative " << k - 1;
}

INSTANTIATE_TEST_SUITE_P(
    Values, FunctionTableNumbers,
    ::testing::Values(PrintCase{"WholeKelvin", 300.0, 1.5, "300", "1.5"},
                      PrintCase{"RoomTemperature", 298.15, -2.0, "298.15", "-2"},
                      PrintCase{"TenthOfAMicroKelvinApart", 300.0000001, 0.0, "300.0000001", "0"},
                      PrintCase{"BelowOneKelvin", 0.001, -0.0, "0.001", "0"},
                      PrintCase{"TinyNegativeStaysNegative", 1000.0, -1e-12, "1000", "-1e-12"}));

TEST(EvalTableNumbers, RoundedToZeroHasNoSign)
{
    thermfn::EvalResults r;
    r.phase = "P";
    r.sublatticeCount = 1;
    r.variables = {{0, "A"}};
    r.compositions = {{1.0}};
    thermfn::EvalPoint point;
    point.props.T = 298.15;
    point.props.P = 101325.0;
    point.props.atoms = 1.0;
    point.props.G = -0.0004;   // "%.3f" would print -0.000
    point.props.GM = -0.0004;
    point.props.SM = -0.000001;
    point.props.HM = 12.0;
    point.props.CPM = -0.0;
    r.points = {point};
    std::ostringstream out;
    thermfn::writeEvalTable(out, r);
    std::vector<std::string> cells = Cells(out.str(), 3);  // heading, names, units, the row
    EXPECT_EQ(cells, (std::vector<std::string>{"298.15", "0.000", "0.000", "0.00000", "12.000", "0.00000"}))
        << out.str();
}

}  // namespace

namespace {

// The phases report: the database's limits said to be the default when the
// file gives none, and each phase's own evaluable range.
struct PhasesCase
{
    const char* name;
    const char* limits;  //!< a TEMPERATURE_LIMITS command or ""
    const char* heading;
    const char* rowP;  //!< part of phase P's row
};

void PrintTo(const PhasesCase& c, std::ostream* os) { *os << c.name; }

class PhasesReport : public ::testing::TestWithParam<PhasesCase>
{
};

TEST_P(PhasesReport, ShowsLimitsAndEachPhasesRange)
{
    const PhasesCase& c = GetParam();
    std::string path = ::testing::TempDir() + "phases_" + std::to_string(getpid()) + "_" + c.name + ".tdb";
    std::ofstream(path) << c.limits
                        << "ELEMENT A X 1 0 0 !\n"
                           "FUNCTION INNER 1 100+T; 2000 N !\n"
                           "PHASE P % 1 1 ! CONSTITUENT P :A: !\n"
                           "PARAMETER G(P,A;0) 1 2*INNER; 4000 N !\n"
                           "PHASE BAD % 1 1 ! CONSTITUENT BAD :A: !\n"
                           "PARAMETER G(BAD,A;0) 1 NOSUCH; 4000 N !\n";
    std::ostringstream out, err;
    ASSERT_EQ(thermfn::run({"phases", path}, out, err), 0) << err.str();
    std::istringstream lines(out.str());
    std::string first;
    std::getline(lines, first);
    EXPECT_EQ(first, c.heading);
    EXPECT_NE(out.str().find(c.rowP), std::string::npos) << out.str();
    EXPECT_NE(out.str().find("BAD  "), std::string::npos);
    EXPECT_NE(out.str().find("  -  "), std::string::npos) << "a phase that is not evaluable has no range";
    // the same report when the database comes from its cache file (written, then loaded)
    const std::string cache = path + ".thdb";
    for (const char* pass : {"writing the cache", "loading the cache"}) {
        std::ostringstream cachedOut, cachedErr;
        ASSERT_EQ(thermfn::run({"phases", path, "--cache", cache}, cachedOut, cachedErr), 0) << cachedErr.str();
        EXPECT_EQ(cachedOut.str(), out.str()) << pass;
    }
    std::remove(cache.c_str());
    std::remove(path.c_str());
}

INSTANTIATE_TEST_SUITE_P(
    Files, PhasesReport,
    ::testing::Values(PhasesCase{"NoLimits", "",
                                 "2 phases; temperature limits default (298.15 to 6000 K; the file has no "
                                 "TEMPERATURE_LIMITS)",
                                 "1 to 2000 K"},
                      PhasesCase{"LimitsGiven", "TEMPERATURE_LIMITS 200 3000 !\n", "2 phases; temperature limits 200 to 3000 K",
                                 "1 to 2000 K"}),
    [](const ::testing::TestParamInfo<PhasesCase>& info) { return std::string(info.param.name); });

}  // namespace
