// The tool on databases with expression trees and names without a
// definition: --set, --undefined-as-zero, domain errors, the pressure of a
// gas, and trees through the cache file.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

#include "support/CliTestKit.h"

namespace {

using clitest::corpus;
using clitest::csvValue;
using clitest::has;
using clitest::tool;
using clitest::ToolRun;

TEST(UndefinedNamesInTheTool, SetAndUndefinedAsZero)
{
    struct Case
    {
        const char* name;
        std::vector<std::string> args;
        int code;
        const char* out;
        const char* err;
        double G;  //!< of the --csv output, NaN for none
    };
    const std::string db = corpus("undefined_names.tdb");
    const std::vector<std::string> eval = {"eval", db, "--phase", "P", "--T", "500", "--y", "A=1"};
    auto evalWith = [&](std::vector<std::string> extra) {
        extra.insert(extra.begin(), eval.begin(), eval.end());
        return extra;
    };
    const Case cases[] = {
        {"phases name them", {"phases", db}, 0, "undefined function 'VA4", "undefined function 'VA40'", NAN},
        {"eval refused naming them", eval, 1, "", "VA40", NAN},
        // G = VA40*T + VA41 + ZERO
        {"all zero", evalWith({"--undefined-as-zero", "--csv"}), 0, "", "ZERO (used at ", 0.0},
        {"set and zero", evalWith({"--set", "VA40=2", "--set=va41=7", "--undefined-as-zero", "--csv"}), 0, "",
         "ZERO (used at ", 2 * 500.0 + 7},
        {"set of a defined name", {"phases", db, "--set", "GFIT=1"}, 2, "", "GFIT is not a symbol", NAN},
        {"malformed set", {"phases", db, "--set", "VA40"}, 2, "", "expected NAME=value", NAN},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const ToolRun r = tool(c.args);
        EXPECT_EQ(r.code, c.code) << r.err;
        EXPECT_TRUE(has(r.out, c.out)) << r.out;
        EXPECT_TRUE(has(r.err, c.err)) << r.err;
        if (!std::isnan(c.G)) {
            EXPECT_DOUBLE_EQ(csvValue(r.out, "G"), c.G) << r.out;
        }
    }
}

TEST(TreesInTheTool, DomainErrorExitsOneWithTheReason)
{
    const std::string path = clitest::tempFile(
        "domain.tdb", "ELEMENT A X 1 0 0 !\nFUNCTION GBAD 298.15 T*LN(T-1000); 6000 N !\n"
                      "PHASE P % 1 1 ! CONSTITUENT P :A: !\nPARAMETER G(P,A;0) 298.15 GBAD#; 6000 N !\n");
    for (const std::vector<std::string>& args : {std::vector<std::string>{"function", path, "GBAD", "--T", "500"},
                                                 {"eval", path, "--phase", "P", "--T", "500", "--y", "A=1"}}) {
        const ToolRun r = tool(args);
        EXPECT_EQ(r.code, 1) << args[0] << ": " << r.err;
        EXPECT_TRUE(has(r.err, "T*LN(T-1000)")) << r.err;
        EXPECT_TRUE(has(r.err, "LN of a non-positive value")) << r.err;
        EXPECT_FALSE(has(r.out, "nan")) << r.out;
    }
    EXPECT_EQ(tool({"function", path, "GBAD", "--T", "2000", "--csv"}).code, 0);
    std::remove(path.c_str());
}

TEST(TreesInTheTool, GasPressureAndCacheRoundTrip)
{
    const std::string gas = corpus("gas_phase.tdb"), cache = clitest::tempPath("gas.thdb");
    std::remove(cache.c_str());
    auto gm = [&](const char* P, bool useCache) {
        std::vector<std::string> args = {"eval", gas, "--phase", "GAS", "--T", "1000", "--P", P, "--y", "C=1", "--csv"};
        if (useCache) args.insert(args.end(), {"--cache", cache});
        const ToolRun r = tool(args);
        EXPECT_EQ(r.code, 0) << r.err;
        return csvValue(r.out, "GM");
    };
    const double lo = gm("1e5", false), hi = gm("2e5", false);
    // one carbon atom per gas species C: per mole of atoms = per mole of species
    EXPECT_NEAR(hi - lo, 8.3145 * 1000 * std::log(2.0), 1e-6);
    // written to the cache, then read from it: the same numbers
    EXPECT_DOUBLE_EQ(gm("2e5", true), hi);
    EXPECT_DOUBLE_EQ(gm("2e5", true), hi);
    // the trees in database notation, with the command they came from
    const std::string listing = tool({"list", gas, "--cache", cache}).out;
    EXPECT_TRUE(has(listing, "FUNCTION RTLNP_R1 298.15 8.3145*T*LN(1E-05*P); 6000 N !  $ FUNCTION RTLNP")) << listing;
    std::remove(cache.c_str());
}

}  // namespace
