// What thermfn refuses, and that it says so: no database at the path, a
// function or phase asked for outside the temperatures where its functions
// have a value (never a printed 0), and output that could not be written.
// Everything runs in process through thermfn::run.
#include <gtest/gtest.h>

#include <streambuf>

#include "support/CliTestKit.h"

namespace {

using clitest::has;
using clitest::tempFile;
using thermfn::kExitFailure;
using thermfn::kExitUsage;

// Functions starting at 1 K in a file without TEMPERATURE_LIMITS; INNER ends
// at 2000 K while OUTER, which reads it, goes on to 4000 K; BROKEN could not
// be read (the reason a function that reads it gives is the coverage's, in
// test_temperature_coverage) and leaves an error in the reader's summary.
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

// The runs that are not refused read the whole file, so the reader's summary
// of BROKEN ("1 errors") is on standard error.
TEST(Refusals, ExitWithTheCodeAndSayWhy)
{
    const std::string r = tempFile("ranges.tdb", kRanges), crFe = clitest::kCrFe;
    clitest::expectRuns({
        {"directory", {"phases", "/tmp"}, kExitUsage, {"no database found at /tmp: it is a directory"}, {}},
        {"empty file", {"phases", tempFile("empty.tdb", "")}, kExitUsage, {"no database found in"}, {}},
        {"only comments", {"list", tempFile("comments.tdb", "$ nothing but a comment\n\n")}, kExitUsage,
         {"holds no ELEMENT, SPECIES"}, {}},
        {"/dev/null", {"phases", "/dev/null"}, kExitUsage, {"no database found in /dev/null"}, {}},
        {"unknown function", {"function", r, "GHSERNI", "--T", "300"}, kExitUsage,
         {"unknown function GHSERNI; expected a FUNCTION of the database (INNER, OUTER"}, {}},
        {"unknown phase", {"list", r, "--phase", "SIGMA"}, kExitUsage, {"unknown phase SIGMA; expected one of P"}, {}},
        {"bench, unknown phase", {"bench", crFe, "--phase", "NOPE", "--points", "10"}, kExitUsage, {"NOPE"}, {}},
        {"bench below the limits", {"bench", crFe, "--phase", "BCC_A2", "--points", "10", "--vary-T", "100:900"},
         kExitUsage, {"temperature 100 K is outside the database's limits"}, {}},
        {"function above its ranges", {"function", r, "INNER", "--T", "1000:3000:1000"}, kExitFailure,
         {"FUNCTION INNER has no value: T = 3000 K is outside the temperature ranges of FUNCTION INNER (1 to 2000 K)"},
         {}},
        {"function reads one outside its ranges", {"function", r, "OUTER", "--T", "3000"}, kExitFailure,
         {"FUNCTION OUTER has no value: T = 3000 K is outside the temperature ranges of FUNCTION INNER"}, {}},
        // below the default limits but inside their own ranges: values, by hand
        {"function in its ranges", {"function", r, "OWN", "--T", "2", "--T", "2500", "--csv"}, 0, {"1 errors"},
         {"OWN,2,101325,5,0,0,0\nOWN,2500,101325,7,0,0,0\n"}},
        {"function reads one in its ranges", {"function", r, "OUTER", "--T", "100", "--csv"}, 0, {"1 errors"},
         {"OUTER,100,101325,400,2,0,0\n"}},  // 2*(100+T)
        {"phase in its ranges", {"eval", r, "--phase", "P", "--T", "100", "--y", "A=1", "--json"}, 0, {"1 errors"},
         {"\"G\":400,"}},
    });
}

// A stream that refuses every byte, as a full disk does.
class FullDisk : public std::streambuf
{
protected:
    int_type overflow(int_type) override { return traits_type::eof(); }
    std::streamsize xsputn(const char*, std::streamsize) override { return 0; }
};

TEST(Refusals, AFailedWriteIsReportedWithExitOne)
{
    FullDisk disk;
    std::ostream out(&disk);
    std::ostringstream err;
    EXPECT_EQ(thermfn::run({"function", tempFile("write.tdb", kRanges), "OWN", "--T", "300"}, out, err), kExitFailure);
    EXPECT_TRUE(has(err.str(), "the results could not be written to standard output")) << err.str();
}

}  // namespace
