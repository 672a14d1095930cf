// Bad input to the database reader: the regression corpus (each file states
// the diagnostics it must give), files that are no text, and inputs built to
// be deep or long.  Mutated copies of the published databases are the fuzz
// target's (tests/fuzz), which the corpus replay and the fuzz run exercise.
// A diagnostic's printed form (file:line:column: error: command: message)
// is what the package raises (python/tests) and the tool prints with the
// read's summary (test_cli_refusals).
#include <gtest/gtest.h>

#include <dirent.h>

#include <sstream>

#include "support/TdbTestKit.h"

namespace {

std::vector<std::string> CorpusFiles()
{
    std::vector<std::string> files;
    std::string dir = std::string(THERM_TESTS_DIR) + "/corpus/tdb";
    if (DIR* d = opendir(dir.c_str())) {
        while (dirent* e = readdir(d)) {
            std::string n = e->d_name;
            if (n.size() > 4 && n.substr(n.size() - 4) == ".tdb") files.push_back(dir + "/" + n);
        }
        closedir(d);
    }
    std::sort(files.begin(), files.end());
    return files;
}

// Runs one temperature step and every composition evaluation the kernel offers
// on what the reader built; with the sanitizers this finds any index the
// reader let through that the kernel would follow out of bounds.
void Exercise(ThermDatabase& db)
{
    for (double T : {300.0, 1500.0}) {
        db.temperatureStep(T, 101325.0);
        for (auto& rec : db.phases) {
            if (!rec.phase->m_bEvaluable) continue;
            rec.functions->CalcPTValues(T, 101325.0, 2);
            rec.phase->ZeroResults();
            for (int i = 0; i < rec.functions->m_FktArray.m_nSize; ++i) rec.functions->m_FktArray[i]->Calc(2, 1.0);
        }
    }
    myCString listing;
    db.symbols().WriteOutFunktions(listing, 3);
    for (auto& rec : db.phases) rec.functions->WriteOutFunktions(listing, 11);
}

// The rest of a line of words, without its leading blanks.
std::string Rest(std::istringstream& words)
{
    std::string rest;
    std::getline(words, rest);
    size_t start = rest.find_first_not_of(' ');
    return start == std::string::npos ? "" : rest.substr(start);
}

// Each corpus file carries its expectations as comment lines:
//   $ EXPECT <line> <text of the message>          (a diagnostic of any severity)
//   $ ERROR <line>:<column> <text of the message>  (an error at exactly that place)
//   $ NOT_EVALUABLE <phase> [<text of its reason>]
//   $ PARAMETERS <phase> <count of parameters in its list>
// An error names its place, and every phase the command feeds carries the
// command, its line and the message in its reason.
TEST(TdbCorpus, EveryFileGivesTheDiagnosticsItStates)
{
    std::vector<std::string> files = CorpusFiles();
    ASSERT_GE(files.size(), 8u);
    for (const std::string& path : files) {
        SCOPED_TRACE(path);
        kit::Loaded l;
        l.ok = tdb::readTdbFile(path, *l.db, l.report);
        ASSERT_TRUE(l.ok);
        std::istringstream text(kit::Slurp(path));
        std::string line;
        int expectations = 0;
        while (std::getline(text, line)) {
            std::istringstream words(line);
            std::string dollar, what;
            words >> dollar >> what;
            if (dollar != "$") continue;
            if (what == "EXPECT" || what == "ERROR") {
                int at = 0, column = 0;
                char colon = 0;
                words >> at;
                if (what == "ERROR") words >> colon >> column;
                const std::string message = Rest(words);
                bool found = false;
                for (const auto& d : l.report.diagnostics)
                    found = found || (d.line == at && d.message.find(message) != std::string::npos && d.file == path &&
                                      (what == "EXPECT" || (d.column == column && colon == ':' &&
                                                            d.severity == tdb::Diagnostic::Severity::Error)));
                EXPECT_TRUE(found) << what << " at line " << at << ":" << column << " saying \"" << message
                                   << "\" not found; got:\n"
                                   << l.diagnostics();
                ++expectations;
            } else if (what == "NOT_EVALUABLE") {
                std::string phase;
                words >> phase;
                const std::string reason = Rest(words), why = l.phase(phase).phase->m_NotEvaluableWhy;
                EXPECT_FALSE(l.phase(phase).phase->m_bEvaluable) << phase;
                EXPECT_FALSE(why.empty());
                EXPECT_NE(why.find(reason), std::string::npos) << phase << " reason: " << why;
                ++expectations;
            } else if (what == "PARAMETERS") {
                std::string phase;
                int n = -1;
                words >> phase >> n;
                EXPECT_EQ(l.phase(phase).functions->m_FktArray.m_nSize, n) << l.diagnostics();
                ++expectations;
            }
        }
        EXPECT_GT(expectations, 0) << "the file states nothing";
        Exercise(*l.db);
    }
}

TEST(TdbCorpus, FilesThatAreNotTextOrMissingAreRefused)
{
    std::string binary("ELEMENT A X 1 0 0 !\n");
    binary += std::string("\0\x01\x02\x03", 4);
    kit::Loaded l = kit::ReadText(binary, "blob.tdb");
    EXPECT_FALSE(l.ok);
    ASSERT_EQ(l.report.errorCount(), 1);
    EXPECT_NE(l.report.diagnostics[0].message.find("not a text file"), std::string::npos);
    EXPECT_TRUE(l.db->phases.empty());

    kit::Loaded missing;
    missing.ok = tdb::readTdbFile("/nonexistent/dir/x.tdb", *missing.db, missing.report);
    EXPECT_FALSE(missing.ok);
    ASSERT_EQ(missing.report.errorCount(), 1);
    EXPECT_NE(missing.report.diagnostics[0].format().find("/nonexistent/dir/x.tdb"), std::string::npos);
}

TEST(TdbCorpus, LongReferenceChainsAndDeepNestingStayCheap)
{
    // forward references 3000 functions deep, each function referring to the
    // next two: read in dependency order, every function is evaluated once
    std::string chain;
    for (int i = 0; i < 3000; ++i)
        chain += "FUNCTION F" + std::to_string(i) + " 298.15 1+F" + std::to_string(i + 1) + "#-F" +
                 std::to_string(i + 2) + "#; 6000 N !\n";
    chain += "FUNCTION F3000 298.15 T; 6000 N !\nFUNCTION F3001 298.15 T; 6000 N !\n";
    chain += "ELEMENT A X 1 0 0 ! PHASE P % 1 1 ! CONSTITUENT P :A: !\n";
    chain += "PARAMETER G(P,A;0) 298.15 F0#; 6000 N !\n";
    kit::Loaded l = kit::ReadText(chain);
    ASSERT_EQ(l.report.errorCount(), 0) << l.diagnostics();
    Exercise(*l.db);
    // F_i = 1 + F_(i+1) - F_(i+2) with F3000 = F3001 = T: F2999 = 1, F2998 = 1 + 1 - T, ...
    EXPECT_DOUBLE_EQ(kit::SymbolValue(*l.db, "F2999", 500.0), 1.0);
    EXPECT_DOUBLE_EQ(kit::SymbolValue(*l.db, "F2998", 500.0), 2.0 - 500.0);
    // every reference now points to a function before it in the list
    TThermFktMgr& symbols = l.db->symbols();
    for (int i = 0; i < symbols.m_FktArray.m_nSize; ++i)
        for (int k = 0; k < symbols.m_FktArray[i]->m_PolyIndex.m_nSize; ++k) {
            TThermTPolynom& p = *l.db->dataMgr.m_PolynomArray[symbols.m_FktArray[i]->m_PolyIndex[k]];
            for (int t = 0; t < p.m_nSymbolTerms; ++t) EXPECT_LT(p.m_anSymbolIndex[t], i);
        }

    kit::Loaded cycle = kit::ReadText("FUNCTION A 298.15 1+B#; 6000 N !\nFUNCTION B 298.15 2*A#; 6000 N !\n"
                                      "FUNCTION C 298.15 3+C#; 6000 N !\n");
    const tdb::Diagnostic* d = cycle.find("refers to itself through A");
    ASSERT_NE(d, nullptr) << cycle.diagnostics();
    EXPECT_EQ(d->line, 2);
    ASSERT_NE(cycle.find("refers to itself"), nullptr);
    EXPECT_EQ(cycle.report.errorCount(), 2);

    std::string deep = "FUNCTION A 298.15 " + std::string(100000, '(') + "T" + std::string(100000, ')') +
                       "; 6000 N !\nFUNCTION B 298.15 " + std::string(100000, '-') + "T; 6000 N !\n";
    kit::Loaded n = kit::ReadText(deep);
    EXPECT_EQ(n.report.errorCount(), 2) << n.diagnostics();
    ASSERT_NE(n.find("expression nested too deeply"), nullptr);
}

}  // namespace
