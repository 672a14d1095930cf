// The tool on databases with expression trees and names without a
// definition: --set, --undefined-as-zero, domain errors, the pressure of a
// gas, and trees through the cache file.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

#include "support/CliTestKit.h"

namespace {

using clitest::corpus;
using clitest::parseJson;
using clitest::has;
using clitest::tool;
using clitest::ToolRun;

TEST(UndefinedNamesInTheTool, SetAndUndefinedAsZero)
{
    const std::string db = corpus("undefined_names.tdb");
    const std::vector<std::string> eval = {"eval", db, "--phase", "P", "--T", "500", "--y", "A=1"};
    auto evalWith = [&](std::vector<std::string> extra) {
        extra.insert(extra.begin(), eval.begin(), eval.end());
        return extra;
    };
    clitest::expectRuns({
        {"eval refused naming them", eval, 1, {"VA40"}, {}},
        // G = VA40*T + VA41 + ZERO
        {"all zero", evalWith({"--undefined-as-zero", "--json"}), 0, {"ZERO (used at "}, {"\"G\":0,"}},
        {"set and zero", evalWith({"--set", "VA40=2", "--set=va41=7", "--undefined-as-zero", "--json"}), 0,
         {"ZERO (used at "}, {"\"G\":1007,"}},  // 2*500 + 7
        {"set of a defined name", {"phases", db, "--set", "GFIT=1"}, 2, {"GFIT is not a symbol"}, {}},
        {"malformed set", {"phases", db, "--set", "VA40"}, 2, {"expected NAME=value"}, {}},
    });
}

// A value outside a function's domain refuses the point with the reason,
// never a printed nan; where the function is defined it has a value.
TEST(TreesInTheTool, DomainErrorExitsOneWithTheReason)
{
    const std::string path = clitest::tempFile(
        "domain.tdb", "ELEMENT A X 1 0 0 !\nFUNCTION GBAD 298.15 T*LN(T-1000); 6000 N !\n"
                      "PHASE P % 1 1 ! CONSTITUENT P :A: !\nPARAMETER G(P,A;0) 298.15 GBAD#; 6000 N !\n");
    const std::vector<std::string> why = {"T*LN(T-1000)", "LN of a non-positive value"};
    clitest::expectRuns({
        {"function", {"function", path, "GBAD", "--T", "500"}, 1, why, {}},
        {"phase", {"eval", path, "--phase", "P", "--T", "500", "--y", "A=1"}, 1, why,
         {"        500  refused: function GBAD_R1 (FUNCTION GBAD) = T*LN(T-1000) cannot be evaluated"}},
        {"inside the domain", {"function", path, "GBAD", "--T", "2000", "--csv"}, 0, {}, {"GBAD,2000,101325,"}},
    });
    std::remove(path.c_str());
}

TEST(TreesInTheTool, GasPressureAndCacheRoundTrip)
{
    const std::string gas = corpus("gas_phase.tdb"), cache = clitest::tempPath("gas.thdb");
    std::remove(cache.c_str());
    auto gm = [&](const char* P, bool useCache) {
        std::vector<std::string> args = {"eval", gas, "--phase", "GAS", "--T", "1000", "--P", P, "--y", "C=1", "--json"};
        if (useCache) args.insert(args.end(), {"--cache", cache});
        const ToolRun r = tool(args);
        EXPECT_EQ(r.code, 0) << r.err;
        return parseJson(r.out)[0].at("GM").num();
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
