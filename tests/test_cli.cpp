// The thermfn tool: argument parsing and formatting in process, the tool's
// commands through thermfn::run, and the binary itself for what only a
// process shows (exit codes, the streams kept apart, progress on a terminal).
#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <fcntl.h>
#include <pty.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>

#include <algorithm>

#include "cli/Arguments.h"
#include "cli/Composition.h"
#include "cli/Database.h"
#include "cli/Output.h"
#include "cli/Text.h"
#include "support/CliTestKit.h"

using namespace thermfn;
using namespace clitest;

namespace {

// Runs the binary in this process with standard output in outPath and, unless
// errPath is empty, standard error in errPath and standard input from /dev/null.
[[noreturn]] void execTool(const std::vector<std::string>& args, const std::string& outPath, const std::string& errPath)
{
    int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (out < 0) _exit(126);
    dup2(out, 1);
    if (!errPath.empty()) {
        int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644), in = open("/dev/null", O_RDONLY);
        if (err < 0 || in < 0) _exit(126);
        dup2(in, 0);
        dup2(err, 2);
    }
    std::vector<char*> argv = {const_cast<char*>(THERMFN_BINARY)};
    for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    execv(THERMFN_BINARY, argv.data());
    _exit(127);
}

// Runs the binary with standard output and error in files of their own.
ToolRun runBinary(const std::vector<std::string>& args)
{
    const std::string outPath = tempPath("binary.out"), errPath = tempPath("binary.err");
    const pid_t pid = fork();
    if (pid == 0) execTool(args, outPath, errPath);
    ToolRun r;
    int status = 0;
    if (pid > 0 && waitpid(pid, &status, 0) == pid && WIFEXITED(status)) r.code = WEXITSTATUS(status);
    r.out = slurp(outPath);
    r.err = slurp(errPath);
    std::remove(outPath.c_str());
    std::remove(errPath.c_str());
    return r;
}

// The line of a phase in the output of "phases".
std::string phaseLine(const std::string& out, const std::string& phase)
{
    for (const std::string& line : lines(out))
        if (line.rfind(phase + " ", 0) == 0) return line;
    return "";
}

// GHSERFE below 1811 K and its derivatives, from the published coefficients.
double ghserfe(double T, int order)
{
    const double a = 124.134, c = 23.5143, d = 0.00439752, e = 5.8927e-8, f = 77359;
    switch (order) {
    case 0: return 1225.7 + a * T - c * T * std::log(T) - d * T * T - e * T * T * T + f / T;
    case 1: return a - c * (std::log(T) + 1) - 2 * d * T - 3 * e * T * T - f / (T * T);
    case 2: return -c / T - 2 * d - 6 * e * T + 2 * f / (T * T * T);
    default: return c / (T * T) - 6 * e - 6 * f / (T * T * T * T);
    }
}

// ===========================================================================
// Parsing in process

TEST(CliParsing, TemperaturesAreInclusiveRangesThatKeepTheStop)
{
    EXPECT_EQ(parseTemperatures(" 298.15 "), std::vector<double>{298.15});
    EXPECT_EQ(parseTemperatures("500:500:10"), std::vector<double>{500.0});
    EXPECT_EQ(parseTemperatures("300:1000:300"), (std::vector<double>{300, 600, 900}));
    EXPECT_EQ(parseTemperatures("300:399.999:100"), std::vector<double>{300});
    // (1000.3 - 1000) / 0.1 is 2.99999999999 in binary: the stop must still be there, exactly
    EXPECT_EQ(parseTemperatures("1000:1000.3:0.1"), (std::vector<double>{1000, 1000.1, 1000.2, 1000.3}));
    EXPECT_EQ(parseTemperatures("0.1:0.7:0.1").back(), 0.7);  // 0.1 + 6 * 0.1 is 0.7000000000000001
    expectRefusals({{"abc", {"--T 'abc'", "expected a number"}}, {"300:400", {"start:stop:step"}},
                    {"300:400:10:5", {"start:stop:step"}}, {"300:400:0", {"step above 0"}},
                    {"300:400:-10", {"step above 0"}}, {"400:300:10", {"start 400 is above stop 300"}},
                    {"-5", {"above 0"}}, {"0", {"above 0"}}, {"nan", {"expected a number"}},
                    {"inf", {"expected a number"}}, {"1e999", {"out of the range"}},
                    {"300::10", {"stop", "got nothing"}}, {"300:6000:1e-6", {"more than 1e7"}}},
                   [](const std::string& s) { parseTemperatures(s); });
    checkTemperatureLimits({298.15, 1000, 6000}, 298.15, 6000);  // both limits are inside
    expectRefusals({{"250", {"250 K", "298.15 to 6000 K"}}, {"6000.5", {"6000.5 K"}}},
                   [](const std::string& s) { checkTemperatureLimits({300, std::stod(s)}, 298.15, 6000); });
}

TEST(CliParsing, CompositionsBySublatticeAndName)
{
    CompositionSpec c = parseComposition("fe=0.3, Ni = 0.7 : VA=1");
    using Pairs = std::vector<std::pair<std::string, double>>;
    ASSERT_EQ(c.sublattices.size(), 2u);
    EXPECT_EQ(c.sublattices[0], (Pairs{{"FE", 0.3}, {"NI", 0.7}}));
    EXPECT_EQ(c.sublattices[1], (Pairs{{"VA", 1.0}}));
    EXPECT_NO_THROW(parseComposition("A=0.1,B=0.2,C=0.7"));  // 1.0000000000000002 in binary
    EXPECT_NO_THROW(parseComposition("A=0.5000000005,B=0.5"));
    expectRefusals({{"A=0.500000002,B=0.5", {"sublattice 1", "sums to 1.000000002", "expected 1"}},
                    {"A=1:B=0.4,C=0.5", {"sublattice 2", "sums to 0.9"}}, {"", {"expected site fractions"}},
                    {"FE=1::VA=1", {"sublattice 2 is empty"}}, {"FE=1:", {"sublattice 2 is empty"}},
                    {"FE 1", {"expected NAME=value", "'FE 1'"}}, {"=1", {"expected NAME=value"}},
                    {"FE=0.5,", {"expected NAME=value"}}, {"FE=x", {"fraction of FE", "'x'"}},
                    {"FE=1.5,NI=-0.5", {"NI is negative"}}, {"FE=0.5,fe=0.5", {"FE is given twice"}}},
                   [](const std::string& s) { parseComposition(s); });

    // placed by name into the phase's order, whatever order and case were written
    const std::vector<std::vector<std::string>> phase = {{"CR", "FE", "NB"}, {"VA"}};
    EXPECT_EQ(resolveComposition(parseComposition("nb=0.25,Cr=0.75:va=1"), "BCC_A2", phase),
              (std::vector<double>{0.75, 0.0, 0.25, 1.0}));
    EXPECT_EQ(resolveComposition(parseComposition("B=1:A=1"), "LAVES", {{"A", "B"}, {"A", "B"}}),
              (std::vector<double>{0, 1, 1, 0}));
    expectRefusals({{"CR=0.5,NI=0.5:VA=1", {"sublattice 1 of BCC_A2 has no constituent NI", "expected one of CR, FE"}},
                    {"VA=1:VA=1", {"sublattice 1 of BCC_A2 has no constituent VA"}},
                    {"CR=1", {"has 2 sublattice(s) (CR, FE)(VA)", "gives 1"}}},
                   [](const std::string& s) { resolveComposition(parseComposition(s), "BCC_A2", {{"CR", "FE"}, {"VA"}}); });
}

TEST(CliParsing, CommandLines)
{
    Options o = parseArguments({"eval", "db.tdb", "--phase", "BCC_A2", "--T", "300:500:100", "--T=1234", "--y",
                                "CR=1:VA=1", "--y=FE=1:VA=1", "--P", "2e5", "--json", "--hessian", "--cache", "c.thdb"});
    EXPECT_EQ(o.command, Command::Eval);
    EXPECT_EQ(o.database, "db.tdb");
    EXPECT_EQ(o.phase, "BCC_A2");
    EXPECT_EQ(o.temperatures, (std::vector<double>{300, 400, 500, 1234}));
    ASSERT_EQ(o.compositions.size(), 2u);
    EXPECT_EQ(o.compositions[1].sublattices[0][0].first, "FE");
    EXPECT_EQ(o.pressure, 2e5);
    EXPECT_EQ(o.format, Format::Json);
    EXPECT_TRUE(o.hessian);
    EXPECT_EQ(o.cachePath, "c.thdb");
    Options d = parseArguments({"eval", "--T", "1000", "db.tdb", "--y", "A=1", "--phase", "X", "--csv"});
    EXPECT_EQ(d.database, "db.tdb");  // positionals may come anywhere
    EXPECT_EQ(d.pressure, 101325.0);
    EXPECT_EQ(d.format, Format::Csv);
    EXPECT_FALSE(d.hessian);
    Options f = parseArguments({"function", "db.tdb", "GHSERFE", "--T", "300"});
    EXPECT_EQ(f.command, Command::Function);
    EXPECT_EQ(f.functionName, "GHSERFE");
    EXPECT_EQ(parseArguments({"list", "db.tdb", "--phase", "LIQUID"}).phase, "LIQUID");
    EXPECT_EQ(parseArguments({"phases", "db.tdb"}).command, Command::Phases);
    for (std::vector<std::string> help : {std::vector<std::string>{"--help"}, {"eval", "db.tdb", "-h"}, {"help"}})
        EXPECT_EQ(parseArguments(help).command, Command::Help);

    // the arguments as one string, split at blanks
    expectRefusals({{"", {"expected a command"}}, {"evaluate db", {"unknown command 'evaluate'", "eval"}},
                    {"phases", {"phases expects a database file"}}, {"phases a.tdb b.tdb", {"unexpected argument 'b.tdb'"}},
                    {"function a.tdb --T 300", {"a database file and a function name"}},
                    {"function a.tdb F", {"at least one --T"}}, {"eval a.tdb --T 300 --y A=1", {"--phase NAME"}},
                    {"eval a.tdb --T 300 --phase P", {"at least one --y"}},
                    {"eval a.tdb --y A=1 --phase P", {"at least one --T"}},
                    {"phases a.tdb --colour", {"unknown option --colour"}},
                    {"phases a.tdb --hessian", {"--hessian does not apply to phases"}},
                    {"list a.tdb --T 300", {"--T does not apply to list"}}, {"list a.tdb --phase", {"--phase expects a value"}},
                    {"list a.tdb --phase --cache x", {"--phase expects a value"}},
                    {"list a.tdb --phase A --phase B", {"--phase is given twice"}},
                    {"function a.tdb F --T 300 --json --csv", {"--json and --csv"}},
                    {"eval a.tdb --phase P --T 300 --y A=1 --hessian", {"--hessian needs --json or --csv"}},
                    {"function a.tdb F --T 300 --json=1", {"--json takes no value"}},
                    {"function a.tdb F --T 300 --P -1", {"--P", "above 0"}},
                    {"eval a.tdb --phase A --T 1000 --y A=1 --engine jit", {"--engine: expected plan or kernel"}},
                    {"eval a.tdb --phase A --T 1000 --y A=1 --points 5", {"--points does not apply to eval"}},
                    {"bench a.tdb", {"bench expects --phase NAME"}},
                    {"bench a.tdb --phase A --order 3", {"--order: expected 0, 1 or 2"}},
                    {"bench a.tdb --phase A --points 0", {"--points: expected a whole number"}},
                    {"bench a.tdb --phase A --points 2.5", {"--points: expected a whole number"}},
                    {"bench a.tdb --phase A --T 900 --vary-T 300:900", {"--T and --vary-T exclude each other"}},
                    {"bench a.tdb --phase A --vary-T 900:300", {"expected 0 < lo <= hi"}},
                    {"bench a.tdb --phase A --vary-T 900", {"expected lo:hi in K"}},
                    {"bench a.tdb --phase A --T 300:400:100", {"bench expects one --T"}}},
                   [](const std::string& s) {
                       std::vector<std::string> args;
                       for (const std::string& w : split(s, ' '))
                           if (!w.empty()) args.push_back(w);
                       parseArguments(args);
                   });
    expectRefusals({{"1 bar", {"--P", "'1 bar'"}}},
                   [](const std::string& s) { parseArguments({"function", "a.tdb", "F", "--T", "300", "--P", s}); });
}

// ===========================================================================
// Formatting in process

TEST(CliOutput, NumbersRoundTripStringsAreEscapedColumnsAligned)
{
    for (double v : {0.1, 1.0 / 3.0, -44944.946809361951, 6.02214076e23, 5e-324, -1e-300}) {
        const std::string s = jsonNumber(v);
        EXPECT_EQ(std::strtod(s.c_str(), nullptr), v) << s;
        EXPECT_EQ(parseJson("[" + s + "]")[0].num(), v) << s;
        EXPECT_EQ(std::strtod(csvNumber(v).c_str(), nullptr), v);
    }
    EXPECT_EQ(jsonNumber(300.0), "300");
    EXPECT_EQ(jsonNumber(-0.0), "0");  // no negative zero in any format
    EXPECT_EQ(csvNumber(-0.0), "0");
    for (double v : {std::nan(""), HUGE_VAL, -HUGE_VAL}) EXPECT_EQ(jsonNumber(v), "null");
    EXPECT_EQ(csvNumber(std::nan("")), "nan");
    EXPECT_EQ(csvNumber(-HUGE_VAL), "-inf");
    const std::string nasty = "a\"b\\c\nd\te\x01";
    EXPECT_EQ(parseJson("[" + jsonString(nasty) + "]")[0].text(), nasty);
    EXPECT_EQ(csvField("BCC_A2"), "BCC_A2");
    EXPECT_EQ(csvField("a,b"), "\"a,b\"");
    EXPECT_EQ(csvField("say \"hi\""), "\"say \"\"hi\"\"\"");
    std::ostringstream out;
    writeAligned(out, {{"name", "value"}, {"LONGER_NAME", "1.5"}, {"X", "-123.25"}}, 1);
    EXPECT_EQ(out.str(), "name           value\nLONGER_NAME      1.5\nX            -123.25\n");
}

// Two compositions of a two-sublattice phase at one temperature, with
// made-up numbers, every one distinct, so that a value written in the wrong
// place shows in the text.
EvalResults sampleResults()
{
    EvalResults r;
    r.phase = "TEST_PHASE";
    r.sublatticeCount = 2;
    r.variables = {{0, "A"}, {0, "B"}, {1, "VA"}};
    r.compositions = {{0.25, 0.75, 1.0}, {0.5, 0.5, 1.0}};
    for (size_t c = 0; c < 2; ++c) {
        EvalPoint p;
        p.composition = c;
        const double k = static_cast<double>(c * 1000) + 300;
        PhaseProperties& q = p.props;
        q.T = 300;
        q.P = 101325;
        q.G = -k - 0.125;
        q.dG_dT = -k - 0.25;
        q.d2G_dT2 = -k - 0.375;
        q.dG_dy = {-k - 1, -k - 2, -k - 3};
        for (int i = 0; i < 16; ++i) q.hessian.push_back(i + 0.5);
        q.atoms = 1;
        q.GM = k + 0.5;
        q.SM = k + 0.625;
        q.HM = c == 1 ? std::nan("") : k + 0.75;  // a non-finite value keeps JSON valid
        q.CPM = k + 0.875;
        r.points.push_back(p);
    }
    return r;
}

// The documented key order and nesting, every number in its place, and the
// same document through a strict JSON parser.
TEST(CliOutput, EveryFormatPutsEveryNumberInItsPlace)
{
    const EvalResults r = sampleResults();
    std::ostringstream json, plain, csv, table;
    writeEvalJson(json, r, true);
    writeEvalJson(plain, r, false);
    writeEvalCsv(csv, r, true);
    writeEvalTable(table, r);
    const std::vector<std::string> jsonLines = lines(json.str());
    ASSERT_EQ(jsonLines.size(), 4u) << json.str();
    EXPECT_EQ(jsonLines[1],
              R"({"phase":"TEST_PHASE","T":300,"P":101325,"y":[[["A",0.25],["B",0.75]],[["VA",1]]],)"
              R"("G":-300.125,"dG_dT":-300.25,"d2G_dT2":-300.375,"dG_dy":[[["A",-301],["B",-302]],[["VA",-303]]],)"
              R"("GM":300.5,"SM":300.625,"HM":300.75,"CPM":300.875,)"
              R"("d2G_dydy":[[0.5,1.5,2.5,3.5],[4.5,5.5,6.5,7.5],[8.5,9.5,10.5,11.5],[12.5,13.5,14.5,15.5]]},)");
    EXPECT_EQ(parseJson(json.str()).size(), 2u);
    EXPECT_TRUE(parseJson(json.str())[1].at("HM").v.isNull());
    EXPECT_FALSE(has(plain.str(), "d2G_dydy"));
    const std::vector<std::string> csvLines = lines(csv.str());
    ASSERT_EQ(csvLines.size(), 3u) << csv.str();
    EXPECT_EQ(csvLines[0], "phase,T,P,y[1:A],y[1:B],y[2:VA],G,dG_dT,d2G_dT2,dG_dy[1:A],dG_dy[1:B],dG_dy[2:VA],"
                           "GM,SM,HM,CPM,d2G[1:A][1:A],d2G[1:A][1:B],d2G[1:A][2:VA],d2G[1:A][T],d2G[1:B][1:A],"
                           "d2G[1:B][1:B],d2G[1:B][2:VA],d2G[1:B][T],d2G[2:VA][1:A],d2G[2:VA][1:B],d2G[2:VA][2:VA],"
                           "d2G[2:VA][T],d2G[T][1:A],d2G[T][1:B],d2G[T][2:VA],d2G[T][T]");
    EXPECT_EQ(csvLines[1], "TEST_PHASE,300,101325,0.25,0.75,1,-300.125,-300.25,-300.375,-301,-302,-303,"
                           "300.5,300.625,300.75,300.875,0.5,1.5,2.5,3.5,4.5,5.5,6.5,7.5,8.5,9.5,10.5,11.5,"
                           "12.5,13.5,14.5,15.5");
    const char* units = "          T               G             GM                SM             HM               CPM\n"
                        "        [K]    [J/mol f.u.]    [J/mol at.]   [J/(K mol at.)]    [J/mol at.]   [J/(K mol at.)]\n";
    EXPECT_EQ(table.str(),
              std::string("TEST_PHASE  A=0.25,B=0.75 : VA=1  (1 mol of atoms per mol of formula units, P = 101325 Pa)\n") +
                  units + "        300        -300.125        300.500         300.62500        300.750         300.87500\n\n"
                  "TEST_PHASE  A=0.5,B=0.5 : VA=1  (1 mol of atoms per mol of formula units, P = 101325 Pa)\n" + units +
                  "        300       -1300.125       1300.500        1300.62500            nan        1300.87500\n");
}

// ===========================================================================
// The binary: exit codes and the two streams

TEST(CliBinary, ExitCodesAndStreamsKeptApart)
{
    ToolRun help = runBinary({"--help"}), none = runBinary({});
    EXPECT_EQ(help.code, 0);
    EXPECT_TRUE(has(help.out, "Usage: thermfn"));
    EXPECT_EQ(help.err, "");
    EXPECT_EQ(none.code, 2);
    EXPECT_EQ(none.out, "");
    EXPECT_TRUE(has(none.err, "Usage: thermfn"));
    ToolRun bad = runBinary({"eval", kCrFe, "--phase", "FCC_A1", "--T", "1000", "--y", "FE=1:VA=1"});
    EXPECT_EQ(bad.code, 2);
    EXPECT_EQ(bad.out, "");
    EXPECT_EQ(lines(bad.err).back(), "thermfn: unknown phase FCC_A1; expected one of BCC_A2") << bad.err;
    ToolRun good = runBinary({"function", kCrFe, "GHSERFE", "--T", "500", "--csv"});
    EXPECT_EQ(good.code, 0);
    EXPECT_EQ(good.err, "");
    EXPECT_EQ(lines(good.out).size(), 2u) << good.out;
}

TEST(CliBinary, ProgressOnlyOnATerminal)
{
    const std::vector<std::string> args = {"eval", kCrFe, "--phase", "BCC_A2", "--T", "300:2300:0.1",
                                           "--y", "CR=0.5,FE=0.5:VA=1", "--csv"};
    // redirected standard error: no bar, nothing at all
    ToolRun quiet = runBinary(args);
    ASSERT_EQ(quiet.code, 0);
    EXPECT_EQ(quiet.err, "");
    EXPECT_EQ(lines(quiet.out).size(), 1u + 20001u);
    // standard error on a terminal: the bar is drawn there, standard output stays clean
    const std::string outPath = tempPath("pty_out.csv");
    int master = -1;
    pid_t pid = forkpty(&master, nullptr, nullptr, nullptr);
    ASSERT_GE(pid, 0);
    if (pid == 0) execTool(args, outPath, "");
    std::string terminal;
    char buf[4096];
    for (;;) {
        ssize_t n = read(master, buf, sizeof buf);
        if (n > 0)
            terminal.append(buf, static_cast<size_t>(n));
        else if (!(n < 0 && errno == EINTR))
            break;  // EIO once the child has gone
    }
    int status = 0;
    waitpid(pid, &status, 0);
    close(master);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_TRUE(has(terminal, "/20001 points")) << terminal;
    EXPECT_EQ(slurp(outPath), quiet.out);
    std::remove(outPath.c_str());
}

// ===========================================================================
// The commands, in process

// A database with two unreadable parameters: the reader's diagnostics reach
// standard error, the broken phase says why it cannot be evaluated, and the
// intact phase still works.
TEST(CliRun, PhasesAndReadErrorsWhileTheRestStaysUsable)
{
    const std::string bcc = phaseLine(tool({"phases", kCrFe}).out, "BCC_A2");
    for (const char* part : {"1:3", "(CR,FE)(VA)", " 7 ", "yes"}) EXPECT_TRUE(has(bcc, part)) << bcc;  // seven parameters

    std::string text = slurp(kCrFe);
    ASSERT_FALSE(text.empty());
    if (text.back() != '\n') text += '\n';
    const int firstLine = static_cast<int>(std::count(text.begin(), text.end(), '\n')) + 3;
    const std::string path = clitest::tempFile("broken.tdb", text +
        "PHASE FCC_A1 % 2 1 1 !\nCONSTITUENT FCC_A1 :CR,FE:VA: !\n"
        "PARAMETER G(FCC_A1,FE:VA;0) 1 GHSERFE# + NOSUCH#; 6000 N !\n"
        "PARAMETER G(FCC_A1,CR:VA;0) 1 GHSERCR# +; 6000 N !\n");
    ToolRun phases = tool({"phases", path});
    EXPECT_EQ(phases.code, 0) << phases.err;
    for (int line : {firstLine, firstLine + 1})
        EXPECT_TRUE(has(phases.err, path + ":" + std::to_string(line) + ":")) << phases.err;
    EXPECT_TRUE(has(phases.err, "NOSUCH")) << phases.err;
    const std::string fccLine = phaseLine(phases.out, "FCC_A1");
    EXPECT_TRUE(has(fccLine, "no: ") && has(fccLine, "G(FCC_A1,FE:VA;0)")) << phases.out;
    EXPECT_TRUE(has(phaseLine(phases.out, "BCC_A2"), "yes")) << phases.out;

    ToolRun good = tool({"eval", path, "--phase", "BCC_A2", "--T", "1000", "--y", "FE=1:VA=1", "--json"});
    EXPECT_EQ(good.code, 0) << good.err;
    EXPECT_EQ(parseJson(good.out).size(), 1u);
    ToolRun fcc = tool({"eval", path, "--phase", "FCC_A1", "--T", "1000", "--y", "FE=1:VA=1"});
    EXPECT_EQ(fcc.code, 1);
    EXPECT_EQ(fcc.out, "");
    EXPECT_TRUE(has(fcc.err, "thermfn: phase FCC_A1 cannot be evaluated: ")) << fcc.err;
    std::remove(path.c_str());
}

TEST(CliRun, ListingAndDuplicateReport)
{
    ToolRun clean = tool({"list", kCrFe});
    ASSERT_EQ(clean.code, 0) << clean.err;
    const size_t symbols = clean.out.find("FunktionMgr: /SYMBOLS/ Fkt#: 4");
    const size_t bcc = clean.out.find("FunktionMgr: /BCC_A2/ Fkt#: 7");
    const size_t report = clean.out.find("Parameters defined twice:\n  none");
    EXPECT_TRUE(symbols < bcc && bcc < report && report != std::string::npos) << clean.out;

    // written the other way round, the interaction is the same parameter
    const std::string path =
        clitest::tempFile("duplicate.tdb", slurp(kCrFe) + "\nPARAMETER L(BCC_A2,FE,CR:VA;0) 1 2000; 10000 N !\n");
    ToolRun dup = tool({"list", path, "--phase", "bcc_a2"});
    ASSERT_EQ(dup.code, 0) << dup.err;
    EXPECT_FALSE(has(dup.out, "/SYMBOLS/")) << "--phase lists the phase only";
    EXPECT_TRUE(has(dup.out, "FunktionMgr: /BCC_A2/ Fkt#: 8")) << dup.out;
    const size_t detected = dup.out.find("detected twice:", dup.out.find("Parameters defined twice:"));
    ASSERT_NE(detected, std::string::npos) << dup.out;
    EXPECT_NE(dup.out.find("BCC_A2,CR,FE:VA;0", detected), std::string::npos) << dup.out;
    std::remove(path.c_str());
}

TEST(CliRun, FunctionValueAndDerivatives)
{
    ToolRun r = tool({"function", kCrFe, "ghserfe", "--T", "500:1500:500", "--json"});
    ASSERT_EQ(r.code, 0) << r.err;
    const Json doc = parseJson(r.out);
    ASSERT_EQ(doc.size(), 3u);
    for (size_t i = 0; i < 3; ++i) {
        const double T = 500.0 * static_cast<double>(i + 1);
        EXPECT_EQ(doc[i].at("function").text(), "GHSERFE");
        EXPECT_EQ(doc[i].at("T").num(), T);
        const char* keys[] = {"F", "dF_dT", "d2F_dT2", "d3F_dT3"};
        for (int k = 0; k < 4; ++k)
            EXPECT_NEAR(doc[i].at(keys[k]).num(), ghserfe(T, k), 1e-9 * std::fabs(ghserfe(T, k))) << keys[k];
    }
}

// Pure Cr and pure Fe in BCC_A2 against the tool's own GHSERCR and GHSERFE:
// the magnetic and ideal terms of pure Cr are below 1 J at 2000 K, while
// GHSERCR and GHSERFE differ by kilojoules, so a swapped order shows.  The
// per-atom quantities of a phase of three atoms per formula unit follow G.
TEST(CliRun, EvalPutsEachFractionOnItsConstituentAndDividesByTheAtoms)
{
    ToolRun eval = tool({"eval", kCrFe, "--phase", "BCC_A2", "--T", "2000", "--y", "cr=1:va=1", "--y", "FE=1:VA=1", "--json"});
    ASSERT_EQ(eval.code, 0) << eval.err;
    const double gCr = parseJson(tool({"function", kCrFe, "GHSERCR", "--T", "2000", "--json"}).out)[0].at("F").num();
    const double gFe = parseJson(tool({"function", kCrFe, "GHSERFE", "--T", "2000", "--json"}).out)[0].at("F").num();
    ASSERT_GT(std::fabs(gCr - gFe), 1000.0);
    const Json points = parseJson(eval.out);
    ASSERT_EQ(points.size(), 2u);
    EXPECT_EQ(points[0].at("y")[0][0][0].text(), "CR");
    EXPECT_EQ(points[0].at("y")[0][0][1].num(), 1.0);
    EXPECT_EQ(points[1].at("y")[0][1][1].num(), 1.0);
    EXPECT_NEAR(points[0].at("G").num(), gCr, 1.0);
    EXPECT_NEAR(points[1].at("G").num(), gFe, 500.0);

    // LAVES_C15 (CR,FE,NB)2(CR,FE,NB)1: three atoms per formula unit
    ToolRun laves = tool({"eval", kCrFeNb, "--phase", "laves_c15", "--T", "1200", "--y",
                          "FE=0.6,NB=0.3,CR=0.1:NB=0.7,FE=0.3", "--json", "--hessian"});
    ASSERT_EQ(laves.code, 0) << laves.err;
    const Json o = parseJson(laves.out)[0];
    EXPECT_EQ(o.at("y")[1][2][1].num(), 0.7);
    const double G = o.at("G").num(), N = 3.0, T = 1200;
    EXPECT_NEAR(o.at("GM").num() * N, G, 1e-9 * std::fabs(G));
    EXPECT_NEAR(o.at("SM").num(), -o.at("dG_dT").num() / N, 1e-9);
    EXPECT_NEAR(o.at("HM").num(), o.at("GM").num() + T * o.at("SM").num(), 1e-7);
    EXPECT_NEAR(o.at("CPM").num(), -T * o.at("d2G_dT2").num() / N, 1e-9);
    EXPECT_EQ(o.at("d2G_dydy")[6][6].num(), o.at("d2G_dT2").num());
}

// ===========================================================================
// Cache files

class CliCache : public ::testing::Test
{
protected:
    void SetUp() override
    {
        mkdir(dir_.c_str(), 0755);
        writeFile(db_, slurp(kCrFe));
    }
    void TearDown() override
    {
        for (const std::string& p : {db_, cache_, dir_ + "/notes.txt", dir_ + "/other.tdb"}) std::remove(p.c_str());
        rmdir(dir_.c_str());
    }
    ToolRun eval(const std::string& cache)
    {
        std::vector<std::string> args = {"eval", db_, "--phase", "BCC_A2", "--T", "300:1800:300", "--y",
                                         "CR=0.3,FE=0.7:VA=1", "--json"};
        if (!cache.empty()) args.insert(args.end(), {"--cache", cache});
        return tool(args);
    }
    ToolRun phases(const std::string& db) { return tool({"phases", db, "--cache", cache_}); }
    std::string dir_ = tempPath("cache_dir"), db_ = dir_ + "/crfe.tdb", cache_ = dir_ + "/crfe.thdb";
};

TEST_F(CliCache, WrittenThenUsedInsteadOfTheDatabase)
{
    ToolRun plain = eval("");
    ASSERT_EQ(plain.code, 0) << plain.err;
    EXPECT_EQ(eval(cache_).out, plain.out);
    EXPECT_TRUE(isCacheFile(cache_));
    EXPECT_EQ(eval(cache_).err, "");  // loaded silently
    EXPECT_EQ(eval(cache_).out, plain.out);
    // a cache never stands in for a database that is gone
    std::remove(db_.c_str());
    ToolRun gone = eval(cache_);
    EXPECT_EQ(gone.code, 2);
    EXPECT_EQ(gone.out, "");
}

TEST_F(CliCache, NotACacheIsKeptADamagedOneMadeAgain)
{
    const std::string notes = dir_ + "/notes.txt";
    writeFile(notes, "my notes\n");
    ToolRun r = eval(notes);
    EXPECT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(parseJson(r.out).size(), 6u);
    EXPECT_TRUE(has(r.err, "not a database cache")) << r.err;
    EXPECT_EQ(slurp(notes), "my notes\n");

    writeFile(cache_, std::string("THDB") + std::string(40, '\x7f'));
    ToolRun damaged = eval(cache_);
    EXPECT_EQ(damaged.code, 0) << damaged.err;
    EXPECT_TRUE(has(damaged.err, "cannot be used")) << damaged.err;
    ToolRun again = eval(cache_);  // now a good one: loaded silently
    EXPECT_EQ(again.err, "");
    EXPECT_EQ(again.out, damaged.out);
}

TEST_F(CliCache, ACacheOfAnotherOrAChangedDatabaseIsReplaced)
{
    ASSERT_EQ(phases(db_).code, 0);
    const std::string other = dir_ + "/other.tdb";
    writeFile(other, slurp(kCrFeNb));
    ToolRun r = phases(other);
    EXPECT_TRUE(has(r.err, "was made from")) << r.err;
    EXPECT_TRUE(has(r.out, "MU_PHASE")) << r.out;
    EXPECT_EQ(phases(other).err, "");

    ASSERT_EQ(phases(db_).code, 0);
    // a database file with one phase more, carrying an older time than the cache (as a copy with "cp -p" does)
    writeFile(db_, slurp(kCrFe) + "\nPHASE FCC_A1 % 2 1 1 !\nCONSTITUENT FCC_A1 :CR,FE:VA: !\n");
    struct timeval old[2] = {{1000000000, 0}, {1000000000, 0}};
    ASSERT_EQ(utimes(db_.c_str(), old), 0);
    ToolRun changed = phases(db_);
    EXPECT_TRUE(has(changed.err, "changed since cache")) << changed.err;
    EXPECT_TRUE(has(changed.out, "FCC_A1")) << changed.out;
}

TEST(CliData, BundledDatabaseIsTheSharedFileUnchanged)
{
    const std::string bundled = std::string(THERM_DATA_DIR) + "/CrFeNb_Jacob2016.tdb";
    ASSERT_FALSE(slurp(bundled).empty());
    EXPECT_EQ(slurp(bundled), slurp(kCrFeNb));
    ToolRun r = tool({"phases", bundled});
    ASSERT_EQ(r.code, 0) << r.err;
    for (const char* phase : {"BCC_A2", "FCC_A1", "LIQUID", "LAVES_C14", "SIGMA"})
        EXPECT_TRUE(has(phaseLine(r.out, phase), " yes")) << phase << "\n" << r.out;
}

}  // namespace
