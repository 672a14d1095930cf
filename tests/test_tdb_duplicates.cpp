// Parameters defined more than once: each repeat is a warning naming both
// places, the evaluation sums every definition (which is what the warning
// says), and a file full of repeats gives a hundred warnings and a count.
#include <gtest/gtest.h>

#include <string>

#include "models/PhaseEvaluator.h"
#include "support/TdbTestKit.h"

namespace {

const char* const kHead =
    "ELEMENT A X 1 0 0 !\nELEMENT B X 1 0 0 !\nPHASE P % 1 1 !\nCONSTITUENT P :A,B: !\n";  // 4 lines

TEST(DuplicateParameters, AreNamedWithBothPlacesAndSummed)
{
    const std::string twice = "defined twice, at dup.tdb:5 and at dup.tdb:";
    const struct
    {
        const char* name;
        std::string parameters;  //!< from line 5 on
        int pairs;
        std::vector<std::string> warnings;  //!< "line: message", in order
        double gPureA;                      //!< G of pure A at 500 K
    } cases[] = {
        {"twice", "PARAMETER G(P,A;0) 1 10; 6000 N !\nPARAMETER G(P,A;0) 1 20+T; 6000 N !\n", 1,
         {"6: PARAMETER G(P,A;0): " + twice + "6; both are summed"}, 10.0 + 20.0 + 500.0},
        {"three times is three pairs",
         "PARAMETER G(P,A;0) 1 10; 6000 N !\nPARAMETER G(P,B;0) 1 10; 6000 N !\n"
         "PARAMETER G(P,A;0) 1 20; 6000 N !\nPARAMETER G(P,A;0) 1 30; 6000 N !\n",
         3,
         {"7: PARAMETER G(P,A;0): " + twice + "7; both are summed",
          "8: PARAMETER G(P,A;0): " + twice + "8; both are summed"},
         10.0 + 20.0 + 30.0},
        {"other order or constituents are other parameters",
         "PARAMETER L(P,A,B;0) 1 5; 6000 N !\nPARAMETER L(P,A,B;1) 1 5; 6000 N !\nPARAMETER G(P,B;0) 1 5; 6000 N !\n",
         0, {}, 0.0},
        {"mobilities of other species are other parameters",
         "PARAMETER MQ(P&A,A;0) 1 5; 6000 N !\nPARAMETER MQ(P&B,A;0) 1 5; 6000 N !\n", 0, {}, 0.0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        kit::Loaded l = kit::ReadText(kHead + c.parameters, "dup.tdb");
        ASSERT_TRUE(l.ok);
        EXPECT_EQ(l.report.errorCount(), 0) << l.diagnostics();
        EXPECT_EQ(l.report.duplicatePairs, c.pairs);
        std::vector<std::string> got;
        for (const tdb::Diagnostic& d : l.report.diagnostics) {
            EXPECT_EQ(d.severity, tdb::Diagnostic::Severity::Warning);
            got.push_back(std::to_string(d.line) + ": " + (d.command.empty() ? "" : d.command + ": ") + d.message);
        }
        EXPECT_EQ(got, c.warnings);
        EXPECT_EQ(l.db->app.AllText().find("detected twice"), std::string::npos) << "no second, unplaced report";
        // both definitions count
        PhaseEvaluator ev(*l.db, l.db->findPhase("P"));
        ev.setTemperature(500.0, 101325.0);
        const double y[] = {1.0, 0.0};
        PhaseProperties out;
        ASSERT_TRUE(ev.evaluate(y, 0, out)) << ev.why();
        EXPECT_NEAR(out.G, c.gPureA, 1e-9);
    }
}

// A parameter repeated 150 times: 149 repeats, 11175 pairs, 100 warnings and one count.
TEST(DuplicateParameters, BeyondAHundredOnlyTheCount)
{
    std::string text = kHead;
    for (int k = 0; k < 150; ++k) text += "PARAMETER G(P,B;0) 1 " + std::to_string(k) + "; 6000 N !\n";
    kit::Loaded l = kit::ReadText(text, "many.tdb");
    EXPECT_EQ(l.report.duplicatePairs, 150 * 149 / 2);
    ASSERT_EQ(l.report.diagnostics.size(), 101u);
    int placed = 0;
    for (const tdb::Diagnostic& d : l.report.diagnostics)
        placed += d.message.find("defined twice, at many.tdb:5 and at many.tdb:") != std::string::npos;
    EXPECT_EQ(placed, 100);
    EXPECT_NE(l.diagnostics().find("49 more repeated parameters not shown (11175 pairs in all)"), std::string::npos)
        << l.diagnostics();
}

}  // namespace
