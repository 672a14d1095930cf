// The tool's bench command: its output in both forms on both engines.  That
// eval prints the same numbers on both engines is checked against the kernel
// path's JSON in python/tests (test_agreement) and, below the tool, by the
// batch and point comparisons of test_plan_exactness.  The refused arguments
// are with the other command lines (test_cli), bench's refused phases and
// temperatures with the other refusals.
#include <gtest/gtest.h>

#include <regex>

#include "support/CliTestKit.h"

namespace {

using clitest::has;
using clitest::kCrFe;
using clitest::tool;
using clitest::ToolRun;

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
