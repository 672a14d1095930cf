// The tool's engine choice and its bench command: argument errors, the plan
// and the kernel path giving the same eval output, bench output in both
// forms, and the note when a phase is evaluated by the kernel path.
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

#include "cli/Arguments.h"
#include "support/CliTestKit.h"

using namespace thermfn;
using clitest::ToolRun;

namespace {

const std::string kCrFe = std::string(THERM_SHARED_DB_DIR) + "/crfe_bcc_magnetic.tdb";

ToolRun Tool(const std::vector<std::string>& args) { return clitest::tool(args); }

struct BadArgs
{
    const char* label;
    std::vector<std::string> args;
    const char* message;
};

void PrintTo(const BadArgs& b, std::ostream* os) { *os << b.label; }

class EngineArguments : public ::testing::TestWithParam<BadArgs>
{
};

TEST_P(EngineArguments, AreRefusedWithTheReason)
{
    const BadArgs& c = GetParam();
    try {
        parseArguments(c.args);
        FAIL() << "accepted";
    } catch (const CliError& e) {
        EXPECT_EQ(e.exitCode(), kExitUsage);
        EXPECT_NE(std::string(e.what()).find(c.message), std::string::npos) << e.what();
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, EngineArguments,
    ::testing::Values(
        BadArgs{"UnknownEngine", {"eval", "db", "--phase", "A", "--T", "1000", "--y", "A=1", "--engine", "jit"},
                "--engine: expected plan or kernel"},
        BadArgs{"OrderThree", {"bench", "db", "--phase", "A", "--order", "3"}, "--order: expected 0, 1 or 2"},
        BadArgs{"ZeroPoints", {"bench", "db", "--phase", "A", "--points", "0"}, "--points: expected a whole number"},
        BadArgs{"FractionalPoints", {"bench", "db", "--phase", "A", "--points", "2.5"}, "--points: expected a whole"},
        BadArgs{"BothTemperatures", {"bench", "db", "--phase", "A", "--T", "900", "--vary-T", "300:900"},
                "--T and --vary-T exclude each other"},
        BadArgs{"ReversedRange", {"bench", "db", "--phase", "A", "--vary-T", "900:300"}, "expected 0 < lo <= hi"},
        BadArgs{"RangeWithoutColon", {"bench", "db", "--phase", "A", "--vary-T", "900"}, "expected lo:hi in K"},
        BadArgs{"NoPhase", {"bench", "db"}, "bench expects --phase NAME"},
        BadArgs{"TwoTemperatures", {"bench", "db", "--phase", "A", "--T", "300:400:100"}, "bench expects one --T"},
        BadArgs{"PointsOnEval", {"eval", "db", "--phase", "A", "--T", "1000", "--y", "A=1", "--points", "5"},
                "does not apply to eval"}),
    [](const ::testing::TestParamInfo<BadArgs>& info) { return std::string(info.param.label); });

TEST(EngineChoice, PlanAndKernelPathPrintTheSameEval)
{
    const std::vector<std::string> base = {"eval", kCrFe, "--phase", "BCC_A2", "--T", "300:1800:250", "--y",
                                           "CR=0.3,FE=0.7:VA=1", "--y", "CR=1:VA=1"};
    ToolRun plan = Tool(base);
    std::vector<std::string> kernelArgs = base;
    kernelArgs.push_back("--engine");
    kernelArgs.push_back("kernel");
    ToolRun kernel = Tool(kernelArgs);
    ASSERT_EQ(plan.code, 0) << plan.err;
    ASSERT_EQ(kernel.code, 0) << kernel.err;
    // Numbers agree to 1e-12 of |G|; printed to the table's digits, they are the same text.
    EXPECT_EQ(plan.out, kernel.out);
    EXPECT_EQ(plan.err.find("not covered"), std::string::npos) << plan.err;
}

TEST(Bench, ReportsPointsPerSecondOnBothEngines)
{
    for (const char* engine : {"plan", "kernel"}) {
        ToolRun r = Tool({"bench", kCrFe, "--phase", "BCC_A2", "--points", "200", "--order", "1", "--json", "--engine",
                      engine});
        ASSERT_EQ(r.code, 0) << r.err;
        EXPECT_NE(r.out.find(std::string("\"engine\": \"") + engine + "\""), std::string::npos) << r.out;
        std::smatch m;
        ASSERT_TRUE(std::regex_search(r.out, m, std::regex("\"points_per_second\": ([0-9.e+]+), \"ns_per_point\": "
                                                           "([0-9.e+]+)")))
            << r.out;
        const double perSecond = std::stod(m[1].str()), ns = std::stod(m[2].str());
        EXPECT_GT(perSecond, 0.0);
        EXPECT_NEAR(perSecond * ns, 1e9, 1e9 * 1e-4);  // the two figures describe the same measurement
        EXPECT_EQ(r.out.find("\"plan_bytes\": 0") == std::string::npos, std::string(engine) == "plan") << r.out;
    }
    ToolRun text = Tool({"bench", kCrFe, "--phase", "BCC_A2", "--points", "100", "--vary-T", "400:1600"});
    ASSERT_EQ(text.code, 0) << text.err;
    EXPECT_NE(text.out.find("T from 400 to 1600 K per point, engine plan"), std::string::npos) << text.out;
    EXPECT_NE(text.out.find("points/s"), std::string::npos) << text.out;
}

TEST(Bench, RefusesTemperaturesOutsideTheDatabaseAndUnknownPhases)
{
    ToolRun low = Tool({"bench", kCrFe, "--phase", "BCC_A2", "--points", "10", "--vary-T", "100:900"});
    EXPECT_EQ(low.code, kExitUsage);
    EXPECT_NE(low.err.find("temperature 100 K is outside the database's limits"), std::string::npos) << low.err;
    ToolRun unknown = Tool({"bench", kCrFe, "--phase", "NOPE", "--points", "10"});
    EXPECT_EQ(unknown.code, kExitUsage);
    EXPECT_NE(unknown.err.find("NOPE"), std::string::npos) << unknown.err;
}

}  // namespace
