// The tool on databases with expression trees and names without a
// definition: --set, --undefined-as-zero, domain errors, the pressure of a
// gas, and trees through the cache file.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "cli/Commands.h"

namespace {

struct ToolRun
{
    int code;
    std::string out, err;
};

ToolRun Tool(const std::vector<std::string>& args)
{
    std::ostringstream out, err;
    int code = thermfn::run(args, out, err);
    return ToolRun{code, out.str(), err.str()};
}

std::string Corpus(const std::string& name) { return std::string(THERM_TESTS_DIR) + "/corpus/tdb/" + name; }

// The first number of the first data line of a --csv function or eval output's column.
double CsvValue(const std::string& csv, const std::string& column)
{
    std::istringstream in(csv);
    std::string header, row;
    std::getline(in, header);
    std::getline(in, row);
    std::vector<std::string> names, values;
    std::istringstream h(header), r(row);
    for (std::string f; std::getline(h, f, ',');) names.push_back(f);
    for (std::string f; std::getline(r, f, ',');) values.push_back(f);
    for (size_t i = 0; i < names.size() && i < values.size(); ++i)
        if (names[i] == column) return std::stod(values[i]);
    ADD_FAILURE() << "no column " << column << " in\n" << csv;
    return NAN;
}

struct SetCase
{
    const char* name;
    std::vector<std::string> extra;  // options after the command
    int code;
    const char* inOut;  // text expected on standard output ("" for none)
    const char* inErr;  // text expected on standard error ("" for none)
    double G;           // G of the --csv output, NaN for none
};

void PrintTo(const SetCase& c, std::ostream* os) { *os << c.name; }

class UndefinedNamesInTheTool : public ::testing::TestWithParam<SetCase>
{
};

TEST_P(UndefinedNamesInTheTool, SetAndUndefinedAsZero)
{
    const SetCase& c = GetParam();
    std::vector<std::string> args = c.extra;
    for (std::string& a : args)
        if (a == "DB") a = Corpus("undefined_names.tdb");
    ToolRun r = Tool(args);
    EXPECT_EQ(r.code, c.code) << r.err;
    if (*c.inOut) {
        EXPECT_NE(r.out.find(c.inOut), std::string::npos) << r.out;
    }
    if (*c.inErr) {
        EXPECT_NE(r.err.find(c.inErr), std::string::npos) << r.err;
    }
    if (!std::isnan(c.G)) {
        EXPECT_DOUBLE_EQ(CsvValue(r.out, "G"), c.G) << r.out;
    }
}

const SetCase kSetCases[] = {
    {"RefusedWithoutValues", {"phases", "DB"}, 0, "undefined function 'VA4", "undefined function 'VA40'", NAN},
    {"EvalRefusedNamingThem", {"eval", "DB", "--phase", "P", "--T", "500", "--y", "A=1"}, 1, "", "VA40", NAN},
    // G = VA40*T + VA41 + ZERO
    {"AllZero", {"eval", "DB", "--phase", "P", "--T", "500", "--y", "A=1", "--undefined-as-zero", "--csv"}, 0, "",
     "ZERO (used at ", 0.0},
    {"SetAndZero",
     {"eval", "DB", "--phase", "P", "--T", "500", "--y", "A=1", "--set", "VA40=2", "--set=va41=7",
      "--undefined-as-zero", "--csv"},
     0, "", "ZERO (used at ", 2 * 500.0 + 7},
    {"NotSoDefinedName", {"phases", "DB", "--set", "GFIT=1"}, 2, "", "GFIT is not a symbol", NAN},
    {"MalformedSet", {"phases", "DB", "--set", "VA40"}, 2, "", "expected NAME=value", NAN},
};

INSTANTIATE_TEST_SUITE_P(Cases, UndefinedNamesInTheTool, ::testing::ValuesIn(kSetCases),
                         [](const ::testing::TestParamInfo<SetCase>& i) { return std::string(i.param.name); });

TEST(TreesInTheTool, DomainErrorExitsOneWithTheReason)
{
    const std::string path = ::testing::TempDir() + "/domain_" + std::to_string(getpid()) + ".tdb";
    {
        std::ofstream f(path);
        f << "ELEMENT A X 1 0 0 !\nFUNCTION GBAD 298.15 T*LN(T-1000); 6000 N !\n"
             "PHASE P % 1 1 ! CONSTITUENT P :A: !\nPARAMETER G(P,A;0) 298.15 GBAD#; 6000 N !\n";
    }
    for (const std::vector<std::string>& args :
         {std::vector<std::string>{"function", path, "GBAD", "--T", "500"},
          std::vector<std::string>{"eval", path, "--phase", "P", "--T", "500", "--y", "A=1"}}) {
        ToolRun r = Tool(args);
        EXPECT_EQ(r.code, 1) << args[0] << ": " << r.err;
        EXPECT_NE(r.err.find("T*LN(T-1000)"), std::string::npos) << r.err;
        EXPECT_NE(r.err.find("LN of a non-positive value"), std::string::npos) << r.err;
        EXPECT_EQ(r.out.find("nan"), std::string::npos) << r.out;
    }
    ToolRun fine = Tool({"function", path, "GBAD", "--T", "2000", "--csv"});
    EXPECT_EQ(fine.code, 0) << fine.err;
    std::remove(path.c_str());
}

TEST(TreesInTheTool, GasPressureAndCacheRoundTrip)
{
    const std::string cache = ::testing::TempDir() + "/gas_" + std::to_string(getpid()) + ".thdb";
    std::remove(cache.c_str());
    auto gm = [&](const char* P, bool useCache) {
        std::vector<std::string> args = {"eval", Corpus("gas_phase.tdb"), "--phase", "GAS", "--T", "1000", "--P", P,
                                         "--y", "C=1", "--csv"};
        if (useCache) args.insert(args.end(), {"--cache", cache});
        ToolRun r = Tool(args);
        EXPECT_EQ(r.code, 0) << r.err;
        return CsvValue(r.out, "GM");
    };
    const double lo = gm("1e5", false), hi = gm("2e5", false);
    // one carbon atom per gas species C: per mole of atoms = per mole of species
    EXPECT_NEAR(hi - lo, 8.3145 * 1000 * std::log(2.0), 1e-6);
    // written to the cache, then read from it: the same numbers
    EXPECT_DOUBLE_EQ(gm("2e5", true), hi);
    EXPECT_DOUBLE_EQ(gm("2e5", true), hi);
    ToolRun listing = Tool({"list", Corpus("gas_phase.tdb"), "--cache", cache});
    // the trees in database notation, with the command they came from
    EXPECT_NE(listing.out.find("FUNCTION RTLNP_R1 298.15 8.3145*T*LN(1E-05*P); 6000 N !  $ FUNCTION RTLNP"),
              std::string::npos)
        << listing.out;
    std::remove(cache.c_str());
}

}  // namespace
