// What thermfn refuses, and that it says so: no database at the path, a
// function or phase asked for outside the temperatures where its functions
// have a value (never a printed 0), and output that could not be written.
// Everything runs in process through thermfn::run.
#include <gtest/gtest.h>

#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

#include "cli/CliError.h"
#include "support/CliTestKit.h"

namespace {

using clitest::ToolRun;
const auto TempFile = clitest::tempFile;
const auto RunTool = clitest::tool;

// Functions starting at 1 K in a file without TEMPERATURE_LIMITS; INNER ends
// at 2000 K while OUTER, which reads it, goes on to 4000 K; BROKEN could not
// be read and USESBROKEN reads it.
const char* const kRanges =
    "ELEMENT A X 1 0 0 !\n"
    "FUNCTION INNER 1 100+T; 2000 N !\n"
    "FUNCTION OUTER 1 2*INNER; 4000 N !\n"
    "FUNCTION OWN 1 5; 1000 Y 7; 3000 N !\n"
    "FUNCTION BROKEN 1 1E200*1E200; 3000 N !\n"
    "FUNCTION USESBROKEN 1 3+BROKEN; 3000 N !\n"
    "PHASE P % 1 1 !\n"
    "CONSTITUENT P :A: !\n"
    "PARAMETER G(P,A;0) 1 OUTER; 4000 N !\n";

struct RefusalCase
{
    const char* name;
    std::vector<std::string> args;  //!< "@" stands for the kRanges file
    int code;
    const char* err;  //!< part of standard error ("" for none expected)
};

void PrintTo(const RefusalCase& c, std::ostream* os) { *os << c.name; }

class Refusals : public ::testing::TestWithParam<RefusalCase>
{
};

TEST_P(Refusals, ExitWithTheCodeAndSayWhy)
{
    const RefusalCase& c = GetParam();
    static const std::string ranges = TempFile("ranges.tdb", kRanges);
    static const std::string empty = TempFile("empty.tdb", "");
    static const std::string comments = TempFile("comments.tdb", "$ nothing but a comment\n\n");
    std::vector<std::string> args;
    for (const std::string& a : c.args)
        args.push_back(a == "@" ? ranges : a == "@empty" ? empty : a == "@comments" ? comments : a);
    ToolRun r = RunTool(args);
    EXPECT_EQ(r.code, c.code) << r.err;
    if (*c.err) {
        EXPECT_NE(r.err.find(c.err), std::string::npos) << r.err;
    } else {
        EXPECT_EQ(r.err, "");
    }
    if (c.code != 0) {
        EXPECT_EQ(r.out, "") << "nothing is printed for a refused request";
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, Refusals,
    ::testing::Values(
        RefusalCase{"Directory", {"phases", "/tmp"}, thermfn::kExitUsage, "no database found at /tmp: it is a directory"},
        RefusalCase{"EmptyFile", {"phases", "@empty"}, thermfn::kExitUsage, "no database found in"},
        RefusalCase{"OnlyComments", {"list", "@comments"}, thermfn::kExitUsage, "holds no ELEMENT, SPECIES"},
        RefusalCase{"DevNull", {"phases", "/dev/null"}, thermfn::kExitUsage, "no database found in /dev/null"},
        RefusalCase{"UnknownFunction", {"function", "@", "GHSERNI", "--T", "300"}, thermfn::kExitUsage,
                    "unknown function GHSERNI; expected a FUNCTION of the database (INNER, OUTER"},
        RefusalCase{"UnknownPhase", {"list", "@", "--phase", "SIGMA"}, thermfn::kExitUsage,
                    "unknown phase SIGMA; expected one of P"},
        RefusalCase{"FunctionAboveItsRanges",
                    {"function", "@", "INNER", "--T", "1000:3000:1000"},
                    thermfn::kExitFailure,
                    "FUNCTION INNER has no value: T = 3000 K is outside the temperature ranges of FUNCTION INNER "
                    "(1 to 2000 K)"},
        RefusalCase{"FunctionReadsOneOutsideItsRanges",
                    {"function", "@", "OUTER", "--T", "3000"},
                    thermfn::kExitFailure,
                    "FUNCTION OUTER has no value: T = 3000 K is outside the temperature ranges of FUNCTION INNER"},
        RefusalCase{"FunctionTheReaderCouldNotTake",
                    {"function", "@", "BROKEN", "--T", "300"},
                    thermfn::kExitFailure,
                    "FUNCTION BROKEN has no temperature ranges (the reader could not take it)"},
        RefusalCase{"FunctionReadsOneTheReaderCouldNotTake",
                    {"function", "@", "USESBROKEN", "--T", "300"},
                    thermfn::kExitFailure,
                    "FUNCTION USESBROKEN has no value: FUNCTION BROKEN has no temperature ranges"},
        RefusalCase{"FunctionBelowTheDefaultLimitsButInItsRanges",
                    {"function", "@", "OWN", "--T", "2", "--T", "2500"},
                    0,
                    "1 errors"},  // the reader's summary of BROKEN; the values themselves are fine
        RefusalCase{"PhaseBelowTheDefaultLimitsButInItsRanges",
                    {"eval", "@", "--phase", "P", "--T", "100", "--y", "A=1", "--json"},
                    0,
                    "1 errors"}),
    [](const ::testing::TestParamInfo<RefusalCase>& info) { return std::string(info.param.name); });

// Values inside the ranges, against the expressions written out.
TEST(RefusalsLeaveValues, FunctionAndPhaseInsideTheirRanges)
{
    const std::string path = TempFile("values.tdb", kRanges);
    ToolRun f = RunTool({"function", path, "OWN", "--T", "2", "--T", "2500", "--csv"});
    ASSERT_EQ(f.code, 0) << f.err;
    EXPECT_NE(f.out.find("OWN,2,101325,5,0,0,0\n"), std::string::npos) << f.out;
    EXPECT_NE(f.out.find("OWN,2500,101325,7,0,0,0\n"), std::string::npos) << f.out;
    ToolRun g = RunTool({"function", path, "OUTER", "--T", "100", "--csv"});
    ASSERT_EQ(g.code, 0) << g.err;
    EXPECT_NE(g.out.find("OUTER,100,101325,400,2,0,0\n"), std::string::npos) << g.out;  // 2*(100+T)
}

// A stream that refuses every byte, as a full disk does.
class FullDisk : public std::streambuf
{
protected:
    int_type overflow(int_type) override { return traits_type::eof(); }
    std::streamsize xsputn(const char*, std::streamsize) override { return 0; }
};

TEST(RefusalsOfOutput, AFailedWriteIsReportedWithExitOne)
{
    const std::string path = TempFile("write.tdb", kRanges);
    FullDisk disk;
    std::ostream out(&disk);
    std::ostringstream err;
    int code = thermfn::run({"function", path, "OWN", "--T", "300"}, out, err);
    EXPECT_EQ(code, thermfn::kExitFailure);
    EXPECT_NE(err.str().find("the results could not be written to standard output"), std::string::npos)
        << err.str();
}

}  // namespace
