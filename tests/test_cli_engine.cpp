// The tool's engine choice and its bench command: the plan and the kernel
// path giving the same eval output, and bench output in both forms.  The
// refused arguments of both are with the other command lines (test_cli),
// bench's refused phases and temperatures with the other refusals.
#include <gtest/gtest.h>

#include <regex>

#include "support/CliTestKit.h"

namespace {

using clitest::has;
using clitest::kCrFe;
using clitest::tool;
using clitest::ToolRun;

TEST(EngineChoice, PlanAndKernelPathPrintTheSameEval)
{
    std::vector<std::string> args = {"eval", kCrFe, "--phase", "BCC_A2", "--T", "300:1800:250", "--y",
                                     "CR=0.3,FE=0.7:VA=1", "--y", "CR=1:VA=1"};
    const ToolRun plan = tool(args);
    args.insert(args.end(), {"--engine", "kernel"});
    const ToolRun kernel = tool(args);
    ASSERT_EQ(plan.code, 0) << plan.err;
    ASSERT_EQ(kernel.code, 0) << kernel.err;
    // Numbers agree to 1e-12 of |G|; printed to the table's digits, they are the same text.
    EXPECT_EQ(plan.out, kernel.out);
    EXPECT_FALSE(has(plan.err, "not covered")) << plan.err;
}

TEST(Bench, ReportsPointsPerSecondOnBothEngines)
{
    for (const std::string engine : {"plan", "kernel"}) {
        const ToolRun r = tool({"bench", kCrFe, "--phase", "BCC_A2", "--points", "200", "--order", "1", "--json",
                                "--engine", engine});
        ASSERT_EQ(r.code, 0) << r.err;
        EXPECT_TRUE(has(r.out, "\"engine\": \"" + engine + "\"")) << r.out;
        std::smatch m;
        const std::regex figures("\"points_per_second\": ([0-9.e+]+), \"ns_per_point\": ([0-9.e+]+)");
        ASSERT_TRUE(std::regex_search(r.out, m, figures)) << r.out;
        const double perSecond = std::stod(m[1].str()), ns = std::stod(m[2].str());
        EXPECT_GT(perSecond, 0.0);
        EXPECT_NEAR(perSecond * ns, 1e9, 1e9 * 1e-4);  // the two figures describe the same measurement
        EXPECT_EQ(!has(r.out, "\"plan_bytes\": 0"), engine == "plan") << r.out;
    }
    const ToolRun text = tool({"bench", kCrFe, "--phase", "BCC_A2", "--points", "100", "--vary-T", "400:1600"});
    ASSERT_EQ(text.code, 0) << text.err;
    EXPECT_TRUE(has(text.out, "T from 400 to 1600 K per point, engine plan")) << text.out;
    EXPECT_TRUE(has(text.out, "points/s")) << text.out;
}

}  // namespace
