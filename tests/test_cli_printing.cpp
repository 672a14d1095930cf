// How the tool prints numbers people read: temperatures with the decimals
// they need to stay distinct, and no negative zero in any format.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

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
