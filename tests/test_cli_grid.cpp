// The eval grid as a stream: points reach the writer one by one in output
// order, a refused point is written as such with its reason (JSON entry,
// empty CSV fields, a table row) and the tool exits 1 after writing the rest.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "cli/Commands.h"
#include "cli/EvalWriter.h"
#include "tdb/TdbReader.h"
#include "database/ThermDatabase.h"
#include "support/CliTestKit.h"

namespace {

// G(P,A) = 100 + T from 300 K, G(P,B) = -50 from 1 K, both to 2000 K.
const char* const kGrid =
    "ELEMENT A X 1 0 0 !\nELEMENT B X 1 0 0 !\n"
    "PHASE P % 1 1 !\nCONSTITUENT P :A,B: !\n"
    "PARAMETER G(P,A;0) 300 100+T; 2000 N !\n"
    "PARAMETER G(P,B;0) 1 -50; 2000 N !\n";

std::string GridFile()
{
    static const std::string path = clitest::tempFile("grid.tdb", kGrid);
    return path;
}

struct Event
{
    size_t composition;
    double T;
    bool refused;
    double G;
};

class Recorder : public thermfn::EvalWriter
{
public:
    std::vector<Event> events;
    int begins = 0, ends = 0;
    void begin() override { ++begins; }
    void point(size_t c, const PhaseProperties& p) override { events.push_back({c, p.T, false, p.G}); }
    void refused(size_t c, double T, double, const std::string& why) override
    {
        EXPECT_NE(why.find("outside the temperature ranges of parameter G(P,A;0) (300 to 2000 K)"),
                  std::string::npos)
            << why;
        events.push_back({c, T, true, 0.0});
    }
    void end() override { ++ends; }
};

TEST(GridStream, PointsInOutputOrderWithRefusalsInPlace)
{
    ThermDatabase db;
    tdb::ReadReport report;
    ASSERT_TRUE(tdb::readTdbText(kGrid, "grid.tdb", db, report));
    thermfn::Options opts = thermfn::parseArguments(
        {"eval", "grid.tdb", "--phase", "P", "--T", "200", "--T", "400:600:200", "--y", "A=1,B=0", "--y", "A=0,B=1"});
    thermfn::EvalResults layout = thermfn::prepareGrid(db, opts);
    EXPECT_TRUE(layout.points.empty());
    Recorder rec;
    std::ostringstream out, err;
    size_t refused = thermfn::streamGrid(db, opts, layout, rec, out, err);
    EXPECT_EQ(refused, 2u) << "200 K for both compositions: G(P,A) starts at 300 K";
    EXPECT_EQ(rec.begins, 1);
    EXPECT_EQ(rec.ends, 1);
    // composition by composition, temperatures in the order given; pure A and pure B by hand
    const std::vector<Event> expected = {{0, 200, true, 0}, {0, 400, false, 500}, {0, 600, false, 700},
                                         {1, 200, true, 0}, {1, 400, false, -50}, {1, 600, false, -50}};
    ASSERT_EQ(rec.events.size(), expected.size());
    for (size_t k = 0; k < expected.size(); ++k) {
        EXPECT_EQ(rec.events[k].composition, expected[k].composition) << k;
        EXPECT_EQ(rec.events[k].T, expected[k].T) << k;
        EXPECT_EQ(rec.events[k].refused, expected[k].refused) << k;
        EXPECT_NEAR(rec.events[k].G, expected[k].G, 1e-9) << k;
    }
}

struct FormatCase
{
    const char* name;
    const char* format;                 //!< "" for the table
    std::vector<std::string> contains;  //!< lines (or parts) of standard output
};

void PrintTo(const FormatCase& c, std::ostream* os) { *os << c.name; }

class GridRefusals : public ::testing::TestWithParam<FormatCase>
{
};

TEST_P(GridRefusals, AreWrittenInPlaceAndExitOne)
{
    const FormatCase& c = GetParam();
    std::vector<std::string> args = {"eval", GridFile(), "--phase", "P", "--T", "200", "--T", "400", "--y", "A=1,B=0"};
    if (*c.format) args.push_back(c.format);
    std::ostringstream out, err;
    EXPECT_EQ(thermfn::run(args, out, err), 1);
    for (const std::string& part : c.contains) EXPECT_NE(out.str().find(part), std::string::npos) << out.str();
    EXPECT_NE(err.str().find("thermfn: P at 200 K, composition 1: refused: T = 200 K is outside"), std::string::npos)
        << err.str();
    EXPECT_NE(err.str().find("thermfn: 1 of 2 points refused\n"), std::string::npos) << err.str();
}

INSTANTIATE_TEST_SUITE_P(
    Formats, GridRefusals,
    ::testing::Values(
        FormatCase{"Json",
                   "--json",
                   {"{\"phase\":\"P\",\"T\":200,\"P\":101325,\"y\":[[[\"A\",1],[\"B\",0]]],\"refused\":\"T = 200 K is "
                    "outside the temperature ranges of parameter G(P,A;0) (300 to 2000 K)\"},\n{\"phase\":\"P\","
                    "\"T\":400,",
                    "\"G\":500,"}},
        // phase, T, P, two fractions, then 3 + 2 + 4 empty value fields
        FormatCase{"Csv", "--csv", {"\nP,200,101325,1,0,,,,,,,,,\nP,400,101325,1,0,500,"}},
        FormatCase{"Table", "", {"        200  refused: T = 200 K is outside", "        400         500.000        500.000"}}),
    [](const ::testing::TestParamInfo<FormatCase>& info) { return std::string(info.param.name); });

TEST(GridRefusalsSummary, BeyondAHundredReasonsOnlyTheCount)
{
    std::ostringstream out, err;
    int code = thermfn::run({"eval", GridFile(), "--phase", "P", "--T", "1:150:1", "--y", "A=0.5,B=0.5", "--csv"},
                            out, err);
    EXPECT_EQ(code, 1);
    size_t reasons = 0;
    for (size_t at = err.str().find(": refused: "); at != std::string::npos; at = err.str().find(": refused: ", at + 1))
        ++reasons;
    EXPECT_EQ(reasons, 100u);
    EXPECT_NE(err.str().find("... and 50 more refused points (each is in the output)"), std::string::npos);
    EXPECT_NE(err.str().find("150 of 150 points refused"), std::string::npos);
    const std::string text = out.str();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 151) << "header and every point";
}

}  // namespace
