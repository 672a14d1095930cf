// The eval grid as a stream: points reach the writer one by one in output
// order, a refused point is written as such with its reason (JSON entry,
// empty CSV fields, a table row) and the tool exits 1 after writing the rest.
#include <gtest/gtest.h>

#include <algorithm>

#include "cli/EvalWriter.h"
#include "database/ThermDatabase.h"
#include "support/CliTestKit.h"
#include "tdb/TdbReader.h"

namespace {

using clitest::has;

// G(P,A) = 100 + T from 300 K, G(P,B) = -50 from 1 K, both to 2000 K.
const char* const kGrid =
    "ELEMENT A X 1 0 0 !\nELEMENT B X 1 0 0 !\n"
    "PHASE P % 1 1 !\nCONSTITUENT P :A,B: !\n"
    "PARAMETER G(P,A;0) 300 100+T; 2000 N !\n"
    "PARAMETER G(P,B;0) 1 -50; 2000 N !\n";

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
        EXPECT_TRUE(has(why, "outside the temperature ranges of parameter G(P,A;0) (300 to 2000 K)")) << why;
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
    EXPECT_EQ(thermfn::streamGrid(db, opts, layout, rec, out, err), 2u) << "200 K for both: G(P,A) starts at 300 K";
    EXPECT_EQ(rec.begins, 1);
    EXPECT_EQ(rec.ends, 1);
    // composition by composition, temperatures in the order given; pure A and pure B by hand
    const std::vector<Event> expected = {{0, 200, true, 0}, {0, 400, false, 500}, {0, 600, false, 700},
                                         {1, 200, true, 0}, {1, 400, false, -50}, {1, 600, false, -50}};
    ASSERT_EQ(rec.events.size(), expected.size());
    for (size_t k = 0; k < expected.size(); ++k) {
        SCOPED_TRACE(k);
        EXPECT_EQ(rec.events[k].composition, expected[k].composition);
        EXPECT_EQ(rec.events[k].T, expected[k].T);
        EXPECT_EQ(rec.events[k].refused, expected[k].refused);
        EXPECT_NEAR(rec.events[k].G, expected[k].G, 1e-9);
    }
}

TEST(GridRefusals, AreWrittenInPlaceInEveryFormatAndExitOne)
{
    const std::vector<std::string> args = {"eval", clitest::tempFile("grid.tdb", kGrid), "--phase", "P", "--T", "200",
                                           "--T", "400", "--y", "A=1,B=0"};
    auto with = [&](const char* format) {
        std::vector<std::string> a = args;
        a.push_back(format);
        return a;
    };
    const std::vector<std::string> why = {"thermfn: P at 200 K, composition 1: refused: T = 200 K is outside",
                                          "thermfn: 1 of 2 points refused\n"};
    clitest::expectRuns({
        {"json", with("--json"), 1, why,
         {"{\"phase\":\"P\",\"T\":200,\"P\":101325,\"y\":[[[\"A\",1],[\"B\",0]]],\"refused\":\"T = 200 K is outside "
          "the temperature ranges of parameter G(P,A;0) (300 to 2000 K)\"},\n{\"phase\":\"P\",\"T\":400,",
          "\"G\":500,"}},
        // phase, T, P, two fractions, then 3 + 2 + 4 empty value fields
        {"csv", with("--csv"), 1, why, {"\nP,200,101325,1,0,,,,,,,,,\nP,400,101325,1,0,500,"}},
        {"table", args, 1, why, {"        200  refused: T = 200 K is outside", "        400         500.000        500.000"}},
    });
}

TEST(GridRefusals, BeyondAHundredReasonsOnlyTheCount)
{
    const clitest::ToolRun r = clitest::tool({"eval", clitest::tempFile("grid.tdb", kGrid), "--phase", "P", "--T",
                                              "1:150:1", "--y", "A=0.5,B=0.5", "--csv"});
    EXPECT_EQ(r.code, 1);
    size_t reasons = 0;
    for (size_t at = r.err.find(": refused: "); at != std::string::npos; at = r.err.find(": refused: ", at + 1))
        ++reasons;
    EXPECT_EQ(reasons, 100u);
    EXPECT_TRUE(has(r.err, "... and 50 more refused points (each is in the output)"));
    EXPECT_TRUE(has(r.err, "150 of 150 points refused"));
    EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 151) << "header and every point";
}

}  // namespace
