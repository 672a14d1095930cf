// The thermfn tool: argument parsing and formatting in process, then the
// binary end to end (exit codes, standard output and error kept apart, JSON
// that parses with the documented nesting, values consistent with each other).
#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <pty.h>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "cli/Arguments.h"
#include "cli/Composition.h"
#include "cli/Database.h"
#include "cli/Output.h"
#include "cli/Text.h"

using namespace thermfn;

namespace {

// ---------------------------------------------------------------------------
// A small strict JSON reader: enough to check what the tool writes.
struct Json
{
    enum class Type { Null, Bool, Number, String, Array, Object } type = Type::Null;
    bool boolean = false;
    double number = 0.0;
    std::string text;
    std::vector<Json> items;
    std::vector<std::pair<std::string, Json>> members;  // in the order written

    const Json& operator[](size_t i) const { return items.at(i); }
    const Json* find(const std::string& key) const
    {
        for (const auto& m : members)
            if (m.first == key) return &m.second;
        return nullptr;
    }
    const Json& at(const std::string& key) const
    {
        const Json* j = find(key);
        if (!j) throw std::runtime_error("missing key " + key);
        return *j;
    }
    bool isArray() const { return type == Type::Array; }
    bool isNumber() const { return type == Type::Number; }
};

class JsonParser
{
public:
    explicit JsonParser(const std::string& s) : s_(s) {}

    // Throws std::runtime_error with the offset on any deviation from JSON.
    Json parseDocument()
    {
        Json j = value();
        blanks();
        if (pos_ != s_.size()) fail("trailing text");
        return j;
    }

private:
    [[noreturn]] void fail(const std::string& what)
    {
        throw std::runtime_error("JSON: " + what + " at offset " + std::to_string(pos_));
    }
    void blanks()
    {
        while (pos_ < s_.size() && std::strchr(" \t\r\n", s_[pos_])) ++pos_;
    }
    bool literal(const char* word)
    {
        size_t n = std::strlen(word);
        if (s_.compare(pos_, n, word) != 0) return false;
        pos_ += n;
        return true;
    }
    Json value()
    {
        blanks();
        if (pos_ >= s_.size()) fail("unexpected end");
        Json j;
        char c = s_[pos_];
        if (c == '{') {
            j.type = Json::Type::Object;
            ++pos_;
            blanks();
            if (pos_ < s_.size() && s_[pos_] == '}') return ++pos_, j;
            for (;;) {
                blanks();
                if (pos_ >= s_.size() || s_[pos_] != '"') fail("expected a key");
                std::string key = string();
                blanks();
                if (pos_ >= s_.size() || s_[pos_++] != ':') fail("expected ':'");
                j.members.emplace_back(key, value());
                blanks();
                if (pos_ < s_.size() && s_[pos_] == ',') { ++pos_; continue; }
                if (pos_ < s_.size() && s_[pos_] == '}') return ++pos_, j;
                fail("expected ',' or '}'");
            }
        }
        if (c == '[') {
            j.type = Json::Type::Array;
            ++pos_;
            blanks();
            if (pos_ < s_.size() && s_[pos_] == ']') return ++pos_, j;
            for (;;) {
                j.items.push_back(value());
                blanks();
                if (pos_ < s_.size() && s_[pos_] == ',') { ++pos_; continue; }
                if (pos_ < s_.size() && s_[pos_] == ']') return ++pos_, j;
                fail("expected ',' or ']'");
            }
        }
        if (c == '"') {
            j.type = Json::Type::String;
            j.text = string();
            return j;
        }
        if (literal("null")) return j;
        if (literal("true")) { j.type = Json::Type::Bool; j.boolean = true; return j; }
        if (literal("false")) { j.type = Json::Type::Bool; return j; }
        // number: -?(0|[1-9][0-9]*)(\.[0-9]+)?([eE][+-]?[0-9]+)?
        size_t start = pos_;
        if (s_[pos_] == '-') ++pos_;
        if (pos_ < s_.size() && s_[pos_] == '0') ++pos_;
        else if (pos_ < s_.size() && std::isdigit(static_cast<unsigned char>(s_[pos_]))) digits();
        else fail("expected a value");
        if (pos_ < s_.size() && s_[pos_] == '.') { ++pos_; if (!digits()) fail("digits after '.'"); }
        if (pos_ < s_.size() && (s_[pos_] == 'e' || s_[pos_] == 'E')) {
            ++pos_;
            if (pos_ < s_.size() && (s_[pos_] == '+' || s_[pos_] == '-')) ++pos_;
            if (!digits()) fail("digits in exponent");
        }
        j.type = Json::Type::Number;
        j.number = std::strtod(s_.substr(start, pos_ - start).c_str(), nullptr);
        return j;
    }
    bool digits()
    {
        size_t start = pos_;
        while (pos_ < s_.size() && std::isdigit(static_cast<unsigned char>(s_[pos_]))) ++pos_;
        return pos_ > start;
    }
    std::string string()
    {
        ++pos_;  // opening quote
        std::string out;
        while (pos_ < s_.size() && s_[pos_] != '"') {
            char c = s_[pos_++];
            if (static_cast<unsigned char>(c) < 0x20) fail("control character in string");
            if (c != '\\') { out += c; continue; }
            if (pos_ >= s_.size()) fail("unfinished escape");
            char e = s_[pos_++];
            switch (e) {
            case '"': out += '"'; break;
            case '\\': out += '\\'; break;
            case '/': out += '/'; break;
            case 'n': out += '\n'; break;
            case 'r': out += '\r'; break;
            case 't': out += '\t'; break;
            case 'b': out += '\b'; break;
            case 'f': out += '\f'; break;
            case 'u': {
                if (pos_ + 4 > s_.size()) fail("short \\u escape");
                out += static_cast<char>(std::stoi(s_.substr(pos_, 4), nullptr, 16));
                pos_ += 4;
                break;
            }
            default: fail("unknown escape");
            }
        }
        if (pos_ >= s_.size()) fail("unterminated string");
        ++pos_;
        return out;
    }

    const std::string& s_;
    size_t pos_ = 0;
};

Json parseJson(const std::string& text)
{
    return JsonParser(text).parseDocument();
}

// ---------------------------------------------------------------------------
// Running the binary.
struct RunResult
{
    int exitCode = -1;
    std::string out, err;
};

std::string tempPath(const std::string& name)
{
    return ::testing::TempDir() + "thermfn_test_" + std::to_string(getpid()) + "_" + name;
}

std::string slurp(const std::string& path)
{
    std::ifstream f(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
}

void spit(const std::string& path, const std::string& bytes)
{
    std::ofstream f(path, std::ios::binary | std::ios::trunc);
    f << bytes;
}

// Runs the tool with standard output and error in files of their own, so
// that they cannot be confused and neither pipe can fill up.
RunResult runTool(const std::vector<std::string>& args)
{
    static int counter = 0;
    const std::string outPath = tempPath("out" + std::to_string(counter));
    const std::string errPath = tempPath("err" + std::to_string(counter));
    ++counter;
    pid_t pid = fork();
    if (pid == 0) {
        int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        int in = open("/dev/null", O_RDONLY);
        if (out < 0 || err < 0 || in < 0) _exit(126);
        dup2(in, 0);
        dup2(out, 1);
        dup2(err, 2);
        std::vector<char*> argv;
        argv.push_back(const_cast<char*>(THERMFN_BINARY));
        for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        execv(THERMFN_BINARY, argv.data());
        _exit(127);
    }
    RunResult r;
    int status = 0;
    if (pid > 0 && waitpid(pid, &status, 0) == pid && WIFEXITED(status)) r.exitCode = WEXITSTATUS(status);
    r.out = slurp(outPath);
    r.err = slurp(errPath);
    std::remove(outPath.c_str());
    std::remove(errPath.c_str());
    return r;
}

std::string sharedDb(const std::string& name)
{
    return std::string(THERM_SHARED_DB_DIR) + "/" + name;
}

const std::string kCrFe = sharedDb("crfe_bcc_magnetic.tdb");
const std::string kCrFeNb = sharedDb("CrFeNb_Jacob2016.tdb");

std::vector<std::string> lines(const std::string& text)
{
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) out.push_back(line);
    return out;
}

size_t count(const std::string& text, const std::string& what)
{
    size_t n = 0;
    for (size_t p = text.find(what); p != std::string::npos; p = text.find(what, p + 1)) ++n;
    return n;
}

// Expects CliError with the exit code and every fragment in its message.
template <class F>
void expectCliError(F fn, int exitCode, std::initializer_list<const char*> fragments)
{
    try {
        fn();
        ADD_FAILURE() << "no CliError";
    } catch (const CliError& e) {
        EXPECT_EQ(e.exitCode(), exitCode) << e.what();
        std::string message = e.what();
        EXPECT_EQ(message.find('\n'), std::string::npos) << "one line: " << message;
        for (const char* f : fragments)
            EXPECT_NE(message.find(f), std::string::npos) << "'" << f << "' in: " << message;
    }
}

// GHSERFE below 1811 K and its derivatives, from the published coefficients.
struct Ghserfe
{
    static double g(double T)
    {
        return 1225.7 + 124.134 * T - 23.5143 * T * std::log(T) - 0.00439752 * T * T - 5.8927e-8 * T * T * T +
               77359 / T;
    }
    static double dg(double T)
    {
        return 124.134 - 23.5143 * (std::log(T) + 1) - 2 * 0.00439752 * T - 3 * 5.8927e-8 * T * T - 77359 / (T * T);
    }
    static double d2g(double T) { return -23.5143 / T - 2 * 0.00439752 - 6 * 5.8927e-8 * T + 2 * 77359 / (T * T * T); }
    static double d3g(double T) { return 23.5143 / (T * T) - 6 * 5.8927e-8 - 6 * 77359 / (T * T * T * T); }
};

// ===========================================================================
// Temperatures

TEST(CliTemperatures, SingleValueAndInclusiveRange)
{
    EXPECT_EQ(parseTemperatures("1234"), std::vector<double>{1234.0});
    EXPECT_EQ(parseTemperatures(" 298.15 "), std::vector<double>{298.15});
    std::vector<double> t = parseTemperatures("300:2000:100");
    ASSERT_EQ(t.size(), 18u);
    for (size_t i = 0; i < t.size(); ++i) EXPECT_EQ(t[i], 300.0 + 100.0 * static_cast<double>(i));
    EXPECT_EQ(parseTemperatures("500:500:10"), std::vector<double>{500.0});
}

TEST(CliTemperatures, StopNotReachedIsNotAdded)
{
    EXPECT_EQ(parseTemperatures("300:1000:300"), (std::vector<double>{300, 600, 900}));
    EXPECT_EQ(parseTemperatures("300:399.999:100"), std::vector<double>{300});
}

TEST(CliTemperatures, RoundingInTheStepCountKeepsTheStop)
{
    // (1000.3 - 1000) / 0.1 is 2.99999999999 in binary: the stop must still be there, exactly.
    std::vector<double> t = parseTemperatures("1000:1000.3:0.1");
    ASSERT_EQ(t.size(), 4u);
    EXPECT_EQ(t.back(), 1000.3);
    std::vector<double> u = parseTemperatures("0.1:0.7:0.1");
    ASSERT_EQ(u.size(), 7u);
    EXPECT_EQ(u.back(), 0.7);
    for (size_t i = 1; i < u.size(); ++i) EXPECT_GT(u[i], u[i - 1]);
}

TEST(CliTemperatures, BadInputNamesWhatWasExpected)
{
    expectCliError([] { parseTemperatures("abc"); }, kExitUsage, {"--T 'abc'", "expected a number"});
    expectCliError([] { parseTemperatures("300:400"); }, kExitUsage, {"start:stop:step"});
    expectCliError([] { parseTemperatures("300:400:10:5"); }, kExitUsage, {"start:stop:step"});
    expectCliError([] { parseTemperatures("300:400:0"); }, kExitUsage, {"step above 0"});
    expectCliError([] { parseTemperatures("300:400:-10"); }, kExitUsage, {"step above 0"});
    expectCliError([] { parseTemperatures("400:300:10"); }, kExitUsage, {"start 400 is above stop 300"});
    expectCliError([] { parseTemperatures("-5"); }, kExitUsage, {"above 0"});
    expectCliError([] { parseTemperatures("0"); }, kExitUsage, {"above 0"});
    expectCliError([] { parseTemperatures("nan"); }, kExitUsage, {"expected a number"});
    expectCliError([] { parseTemperatures("inf"); }, kExitUsage, {"expected a number"});
    expectCliError([] { parseTemperatures("1e999"); }, kExitUsage, {"out of the range"});
    expectCliError([] { parseTemperatures("300::10"); }, kExitUsage, {"stop", "got nothing"});
    expectCliError([] { parseTemperatures("300:6000:1e-6"); }, kExitUsage, {"more than 1e7"});
}

TEST(CliTemperatures, LimitsOfTheDatabase)
{
    checkTemperatureLimits({298.15, 1000, 6000}, 298.15, 6000);  // both limits are inside
    expectCliError([] { checkTemperatureLimits({300, 250, 7000}, 298.15, 6000); }, kExitUsage,
                   {"250 K", "298.15 to 6000 K"});
    expectCliError([] { checkTemperatureLimits({6000.5}, 298.15, 6000); }, kExitUsage, {"6000.5 K"});
}

// ===========================================================================
// Compositions

TEST(CliComposition, SublatticesPairsAndUpperCase)
{
    CompositionSpec c = parseComposition("fe=0.3, Ni = 0.7 : VA=1");
    ASSERT_EQ(c.sublattices.size(), 2u);
    ASSERT_EQ(c.sublattices[0].size(), 2u);
    EXPECT_EQ(c.sublattices[0][0].first, "FE");
    EXPECT_EQ(c.sublattices[0][0].second, 0.3);
    EXPECT_EQ(c.sublattices[0][1].first, "NI");
    EXPECT_EQ(c.sublattices[0][1].second, 0.7);
    ASSERT_EQ(c.sublattices[1].size(), 1u);
    EXPECT_EQ(c.sublattices[1][0].first, "VA");
    EXPECT_EQ(c.sublattices[1][0].second, 1.0);
}

TEST(CliComposition, SumToleranceIsOneInABillion)
{
    EXPECT_NO_THROW(parseComposition("A=0.1,B=0.2,C=0.7"));  // 1.0000000000000002 in binary
    EXPECT_NO_THROW(parseComposition("A=0.5000000005,B=0.5"));
    expectCliError([] { parseComposition("A=0.500000002,B=0.5"); }, kExitUsage,
                   {"sublattice 1", "sums to 1.000000002", "expected 1"});
    expectCliError([] { parseComposition("A=1:B=0.4,C=0.5"); }, kExitUsage, {"sublattice 2", "sums to 0.9"});
}

TEST(CliComposition, BadInputNamesWhatWasExpected)
{
    expectCliError([] { parseComposition(""); }, kExitUsage, {"expected site fractions"});
    expectCliError([] { parseComposition("FE=1::VA=1"); }, kExitUsage, {"sublattice 2 is empty"});
    expectCliError([] { parseComposition("FE=1:"); }, kExitUsage, {"sublattice 2 is empty"});
    expectCliError([] { parseComposition("FE 1"); }, kExitUsage, {"expected NAME=value", "'FE 1'"});
    expectCliError([] { parseComposition("=1"); }, kExitUsage, {"expected NAME=value"});
    expectCliError([] { parseComposition("FE=0.5,"); }, kExitUsage, {"expected NAME=value"});
    expectCliError([] { parseComposition("FE=x"); }, kExitUsage, {"fraction of FE", "'x'"});
    expectCliError([] { parseComposition("FE=1.5,NI=-0.5"); }, kExitUsage, {"NI is negative"});
    expectCliError([] { parseComposition("FE=0.5,fe=0.5"); }, kExitUsage, {"FE is given twice"});
}

TEST(CliComposition, ResolvedIntoThePhaseOrderWithZeros)
{
    const std::vector<std::vector<std::string>> phase = {{"CR", "FE", "NB"}, {"VA"}};
    // Written in another order and case than the phase's: placed by name.
    EXPECT_EQ(resolveComposition(parseComposition("nb=0.25,Cr=0.75:va=1"), "BCC_A2", phase),
              (std::vector<double>{0.75, 0.0, 0.25, 1.0}));
    const std::vector<std::vector<std::string>> two = {{"A", "B"}, {"A", "B"}};
    EXPECT_EQ(resolveComposition(parseComposition("B=1:A=1"), "LAVES", two), (std::vector<double>{0, 1, 1, 0}));
}

TEST(CliComposition, UnknownConstituentOrSublatticeCount)
{
    const std::vector<std::vector<std::string>> phase = {{"CR", "FE"}, {"VA"}};
    expectCliError([&] { resolveComposition(parseComposition("CR=0.5,NI=0.5:VA=1"), "BCC_A2", phase); }, kExitUsage,
                   {"sublattice 1 of BCC_A2 has no constituent NI", "expected one of CR, FE"});
    // VA is a constituent of the second sublattice only.
    expectCliError([&] { resolveComposition(parseComposition("VA=1:VA=1"), "BCC_A2", phase); }, kExitUsage,
                   {"sublattice 1 of BCC_A2 has no constituent VA"});
    expectCliError([&] { resolveComposition(parseComposition("CR=1"), "BCC_A2", phase); }, kExitUsage,
                   {"has 2 sublattice(s) (CR, FE)(VA)", "gives 1"});
}

// ===========================================================================
// Command line

TEST(CliArguments, EvalWithEverything)
{
    Options o = parseArguments({"eval", "db.tdb", "--phase", "BCC_A2", "--T", "300:500:100", "--T=1234", "--y",
                                "CR=1:VA=1", "--y=FE=1:VA=1", "--P", "2e5", "--json", "--hessian", "--cache",
                                "c.thdb"});
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
}

TEST(CliArguments, OtherCommandsAndHelp)
{
    Options f = parseArguments({"function", "db.tdb", "GHSERFE", "--T", "300"});
    EXPECT_EQ(f.command, Command::Function);
    EXPECT_EQ(f.functionName, "GHSERFE");
    EXPECT_EQ(parseArguments({"list", "db.tdb", "--phase", "LIQUID"}).phase, "LIQUID");
    EXPECT_EQ(parseArguments({"phases", "db.tdb"}).command, Command::Phases);
    EXPECT_EQ(parseArguments({"--help"}).command, Command::Help);
    EXPECT_EQ(parseArguments({"eval", "db.tdb", "-h"}).command, Command::Help);
    EXPECT_EQ(parseArguments({"help"}).command, Command::Help);
}

TEST(CliArguments, BadInputNamesWhatWasExpected)
{
    using V = std::vector<std::string>;
    expectCliError([] { parseArguments(V{}); }, kExitUsage, {"expected a command"});
    expectCliError([] { parseArguments(V{"evaluate", "db"}); }, kExitUsage, {"unknown command 'evaluate'", "eval"});
    expectCliError([] { parseArguments(V{"phases"}); }, kExitUsage, {"phases expects a database file"});
    expectCliError([] { parseArguments(V{"phases", "a.tdb", "b.tdb"}); }, kExitUsage, {"unexpected argument 'b.tdb'"});
    expectCliError([] { parseArguments(V{"function", "a.tdb", "--T", "300"}); }, kExitUsage,
                   {"a database file and a function name"});
    expectCliError([] { parseArguments(V{"function", "a.tdb", "F"}); }, kExitUsage, {"at least one --T"});
    expectCliError([] { parseArguments(V{"eval", "a.tdb", "--T", "300", "--y", "A=1"}); }, kExitUsage,
                   {"--phase NAME"});
    expectCliError([] { parseArguments(V{"eval", "a.tdb", "--T", "300", "--phase", "P"}); }, kExitUsage,
                   {"at least one --y"});
    expectCliError([] { parseArguments(V{"eval", "a.tdb", "--y", "A=1", "--phase", "P"}); }, kExitUsage,
                   {"at least one --T"});
    expectCliError([] { parseArguments(V{"phases", "a.tdb", "--colour"}); }, kExitUsage, {"unknown option --colour"});
    expectCliError([] { parseArguments(V{"phases", "a.tdb", "--hessian"}); }, kExitUsage,
                   {"--hessian does not apply to phases"});
    expectCliError([] { parseArguments(V{"list", "a.tdb", "--T", "300"}); }, kExitUsage,
                   {"--T does not apply to list"});
    expectCliError([] { parseArguments(V{"list", "a.tdb", "--phase"}); }, kExitUsage, {"--phase expects a value"});
    expectCliError([] { parseArguments(V{"list", "a.tdb", "--phase", "--cache", "x"}); }, kExitUsage,
                   {"--phase expects a value"});
    expectCliError([] { parseArguments(V{"list", "a.tdb", "--phase", "A", "--phase", "B"}); }, kExitUsage,
                   {"--phase is given twice"});
    expectCliError([] { parseArguments(V{"function", "a.tdb", "F", "--T", "300", "--json", "--csv"}); }, kExitUsage,
                   {"--json and --csv"});
    expectCliError([] { parseArguments(V{"eval", "a.tdb", "--phase", "P", "--T", "300", "--y", "A=1", "--hessian"}); },
                   kExitUsage, {"--hessian needs --json or --csv"});
    expectCliError([] { parseArguments(V{"function", "a.tdb", "F", "--T", "300", "--json=1"}); }, kExitUsage,
                   {"--json takes no value"});
    expectCliError([] { parseArguments(V{"function", "a.tdb", "F", "--T", "300", "--P", "-1"}); }, kExitUsage,
                   {"--P", "above 0"});
    expectCliError([] { parseArguments(V{"function", "a.tdb", "F", "--T", "300", "--P", "1 bar"}); }, kExitUsage,
                   {"--P", "'1 bar'"});
}

// ===========================================================================
// Formatting

TEST(CliOutput, NumbersRoundTripAndNonFiniteIsNull)
{
    for (double v : {0.1, 1.0 / 3.0, -44944.946809361951, 6.02214076e23, 5e-324, -0.0}) {
        std::string s = jsonNumber(v);
        EXPECT_EQ(std::strtod(s.c_str(), nullptr), v) << s;
        EXPECT_NO_THROW(parseJson(s)) << s;
        EXPECT_EQ(std::strtod(csvNumber(v).c_str(), nullptr), v);
    }
    EXPECT_EQ(jsonNumber(300.0), "300");
    EXPECT_EQ(jsonNumber(std::nan("")), "null");
    EXPECT_EQ(jsonNumber(HUGE_VAL), "null");
    EXPECT_EQ(jsonNumber(-HUGE_VAL), "null");
    EXPECT_EQ(csvNumber(std::nan("")), "nan");
    EXPECT_EQ(csvNumber(-HUGE_VAL), "-inf");
}

TEST(CliOutput, StringsAreEscapedAndFieldsQuoted)
{
    const std::string nasty = "a\"b\\c\nd\te\x01";
    EXPECT_EQ(parseJson(jsonString(nasty)).text, nasty);
    EXPECT_EQ(jsonString("BCC_A2"), "\"BCC_A2\"");
    EXPECT_EQ(csvField("BCC_A2"), "BCC_A2");
    EXPECT_EQ(csvField("a,b"), "\"a,b\"");
    EXPECT_EQ(csvField("say \"hi\""), "\"say \"\"hi\"\"\"");
}

TEST(CliOutput, AlignedColumns)
{
    std::ostringstream out;
    writeAligned(out, {{"name", "value"}, {"LONGER_NAME", "1.5"}, {"X", "-123.25"}}, 1);
    EXPECT_EQ(out.str(),
              "name           value\n"
              "LONGER_NAME      1.5\n"
              "X            -123.25\n");
}

// A two-sublattice result with made-up numbers, every one distinct, so that
// a value written in the wrong place is noticed.
EvalResults sampleResults(double nanAt = -1)
{
    EvalResults r;
    r.phase = "TEST_PHASE";
    r.sublatticeCount = 2;
    r.variables = {{0, "A"}, {0, "B"}, {1, "VA"}};
    r.compositions = {{0.25, 0.75, 1.0}, {0.5, 0.5, 1.0}};
    for (size_t c = 0; c < 2; ++c)
        for (double T : {300.0, 400.0}) {
            EvalPoint p;
            p.composition = c;
            double k = static_cast<double>(c * 1000) + T;
            p.props.T = T;
            p.props.P = 101325;
            p.props.G = -k - 0.1;
            p.props.dG_dT = -k - 0.2;
            p.props.d2G_dT2 = -k - 0.3;
            p.props.dG_dy = {-k - 1, -k - 2, -k - 3};
            for (int i = 0; i < 16; ++i) p.props.hessian.push_back(k + i / 100.0);
            p.props.atoms = 1;
            p.props.GM = k + 0.4;
            p.props.SM = k + 0.5;
            p.props.HM = T == nanAt ? std::nan("") : k + 0.6;
            p.props.CPM = k + 0.7;
            r.points.push_back(p);
        }
    return r;
}

TEST(CliOutput, JsonHasTheDocumentedKeysAndNesting)
{
    EvalResults r = sampleResults();
    std::ostringstream out;
    writeEvalJson(out, r, true);
    Json doc = parseJson(out.str());
    ASSERT_TRUE(doc.isArray());
    ASSERT_EQ(doc.items.size(), r.points.size());
    const std::vector<std::string> keys = {"phase", "T", "P", "y", "G", "dG_dT", "d2G_dT2", "dG_dy",
                                           "GM", "SM", "HM", "CPM", "d2G_dydy"};
    for (size_t k = 0; k < r.points.size(); ++k) {
        const Json& o = doc[k];
        const PhaseProperties& p = r.points[k].props;
        ASSERT_EQ(o.members.size(), keys.size());
        for (size_t i = 0; i < keys.size(); ++i) EXPECT_EQ(o.members[i].first, keys[i]);
        EXPECT_EQ(o.at("phase").text, "TEST_PHASE");
        EXPECT_EQ(o.at("T").number, p.T);
        EXPECT_EQ(o.at("G").number, p.G);
        EXPECT_EQ(o.at("dG_dT").number, p.dG_dT);
        EXPECT_EQ(o.at("d2G_dT2").number, p.d2G_dT2);
        EXPECT_EQ(o.at("GM").number, p.GM);
        EXPECT_EQ(o.at("SM").number, p.SM);
        EXPECT_EQ(o.at("HM").number, p.HM);
        EXPECT_EQ(o.at("CPM").number, p.CPM);
        for (const char* key : {"y", "dG_dy"}) {
            const Json& nested = o.at(key);
            const std::vector<double>& values = std::string(key) == "y" ? r.compositions[r.points[k].composition]
                                                                        : p.dG_dy;
            ASSERT_EQ(nested.items.size(), 2u) << key;
            ASSERT_EQ(nested[0].items.size(), 2u) << key;
            ASSERT_EQ(nested[1].items.size(), 1u) << key;
            EXPECT_EQ(nested[0][0][0].text, "A");
            EXPECT_EQ(nested[0][1][0].text, "B");
            EXPECT_EQ(nested[1][0][0].text, "VA");
            EXPECT_EQ(nested[0][0][1].number, values[0]);
            EXPECT_EQ(nested[0][1][1].number, values[1]);
            EXPECT_EQ(nested[1][0][1].number, values[2]);
        }
        const Json& h = o.at("d2G_dydy");
        ASSERT_EQ(h.items.size(), 4u);
        for (size_t i = 0; i < 4; ++i) {
            ASSERT_EQ(h[i].items.size(), 4u);
            for (size_t j = 0; j < 4; ++j) EXPECT_EQ(h[i][j].number, p.hessian[i * 4 + j]);
        }
    }
    std::ostringstream plain;
    writeEvalJson(plain, r, false);
    EXPECT_EQ(parseJson(plain.str())[0].find("d2G_dydy"), nullptr);
}

TEST(CliOutput, NonFiniteValuesKeepJsonValid)
{
    std::ostringstream out;
    writeEvalJson(out, sampleResults(400), false);
    Json doc = parseJson(out.str());
    EXPECT_EQ(doc[1].at("HM").type, Json::Type::Null);
    EXPECT_TRUE(doc[0].at("HM").isNumber());
}

TEST(CliOutput, CsvHeaderAndRows)
{
    EvalResults r = sampleResults();
    std::ostringstream out;
    writeEvalCsv(out, r, true);
    std::vector<std::string> rows = lines(out.str());
    ASSERT_EQ(rows.size(), 1 + r.points.size());
    std::vector<std::string> header = split(rows[0], ',');
    const size_t n = 3;
    EXPECT_EQ(header.size(), 3 + n + 3 + n + 4 + (n + 1) * (n + 1));
    EXPECT_EQ(header[3], "y[1:A]");
    EXPECT_EQ(header[5], "y[2:VA]");
    EXPECT_EQ(header[9], "dG_dy[1:A]");
    EXPECT_EQ(header[16], "d2G[1:A][1:A]");
    EXPECT_EQ(header.back(), "d2G[T][T]");
    for (size_t k = 0; k < r.points.size(); ++k) {
        std::vector<std::string> f = split(rows[k + 1], ',');
        ASSERT_EQ(f.size(), header.size());
        std::map<std::string, std::string> byName;
        for (size_t i = 0; i < f.size(); ++i) byName[header[i]] = f[i];
        const PhaseProperties& p = r.points[k].props;
        EXPECT_EQ(std::strtod(byName["T"].c_str(), nullptr), p.T);
        EXPECT_EQ(std::strtod(byName["y[1:B]"].c_str(), nullptr), r.compositions[r.points[k].composition][1]);
        EXPECT_EQ(std::strtod(byName["G"].c_str(), nullptr), p.G);
        EXPECT_EQ(std::strtod(byName["dG_dy[2:VA]"].c_str(), nullptr), p.dG_dy[2]);
        EXPECT_EQ(std::strtod(byName["CPM"].c_str(), nullptr), p.CPM);
        EXPECT_EQ(std::strtod(byName["d2G[1:B][T]"].c_str(), nullptr), p.hessian[1 * 4 + 3]);
    }
    std::ostringstream plain;
    writeEvalCsv(plain, r, false);
    EXPECT_EQ(split(lines(plain.str())[0], ',').size(), 3 + n + 3 + n + 4);
}

TEST(CliOutput, TableHasABlockPerCompositionWithUnits)
{
    EvalResults r = sampleResults();
    std::ostringstream out;
    writeEvalTable(out, r);
    std::string text = out.str();
    EXPECT_EQ(count(text, "TEST_PHASE  A=0.25,B=0.75 : VA=1"), 1u);
    EXPECT_EQ(count(text, "TEST_PHASE  A=0.5,B=0.5 : VA=1"), 1u);
    EXPECT_EQ(count(text, "[J/mol at.]"), 4u);  // GM and HM in both blocks
    EXPECT_EQ(count(text, "[K]"), 2u);
    // Rows in block order, each with the numbers of its own point.
    std::vector<std::vector<double>> data;
    for (const std::string& line : lines(text)) {
        double v[6];
        if (std::sscanf(line.c_str(), "%lf %lf %lf %lf %lf %lf", &v[0], &v[1], &v[2], &v[3], &v[4], &v[5]) == 6)
            data.emplace_back(v, v + 6);
    }
    ASSERT_EQ(data.size(), r.points.size());
    for (size_t k = 0; k < data.size(); ++k) {
        const PhaseProperties& p = r.points[k].props;
        EXPECT_EQ(data[k], (std::vector<double>{p.T, p.G, p.GM, p.SM, p.HM, p.CPM})) << k;
    }
}

// ===========================================================================
// End to end

TEST(CliRun, HelpAndNoArguments)
{
    RunResult help = runTool({"--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_NE(help.out.find("Usage: thermfn"), std::string::npos);
    EXPECT_EQ(help.err, "");
    RunResult none = runTool({});
    EXPECT_EQ(none.exitCode, 2);
    EXPECT_EQ(none.out, "");
    EXPECT_NE(none.err.find("Usage: thermfn"), std::string::npos);
}

TEST(CliRun, BadRequestsExitWithTwoAndAOneLineMessage)
{
    struct Case
    {
        std::vector<std::string> args;
        const char* message;
    };
    const std::vector<Case> cases = {
        {{"eval", kCrFe, "--phase", "FCC_A1", "--T", "1000", "--y", "FE=1:VA=1"},
         "unknown phase FCC_A1; expected one of BCC_A2"},
        {{"eval", kCrFe, "--phase", "BCC_A2", "--T", "1000", "--y", "FE=0.5,NI=0.5:VA=1"}, "has no constituent NI"},
        {{"eval", kCrFe, "--phase", "BCC_A2", "--T", "1000", "--y", "FE=0.5,CR=0.4:VA=1"}, "sums to 0.9"},
        {{"eval", kCrFe, "--phase", "BCC_A2", "--T", "1000:300:100", "--y", "FE=1:VA=1"}, "above stop"},
        {{"function", kCrFe, "GHSERNI", "--T", "1000"}, "unknown function GHSERNI"},
        {{"list", kCrFe, "--phase", "SIGMA"}, "unknown phase SIGMA"},
        {{"phases", tempPath("does_not_exist.tdb")}, "cannot read database"},
        {{"phases", kCrFe, "--T", "300"}, "--T does not apply to phases"},
    };
    for (const Case& c : cases) {
        RunResult r = runTool(c.args);
        EXPECT_EQ(r.exitCode, 2) << c.message;
        EXPECT_EQ(r.out, "") << c.message;
        std::vector<std::string> errLines = lines(r.err);
        ASSERT_FALSE(errLines.empty()) << c.message;
        EXPECT_EQ(errLines.back().rfind("thermfn: ", 0), 0u) << r.err;
        EXPECT_NE(errLines.back().find(c.message), std::string::npos) << r.err;
    }
}

TEST(CliRun, PhasesListsTheBccPhase)
{
    RunResult r = runTool({"phases", kCrFe});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    bool found = false;
    for (const std::string& line : lines(r.out)) {
        if (line.rfind("BCC_A2 ", 0) != 0) continue;
        found = true;
        EXPECT_NE(line.find("1:3"), std::string::npos) << line;
        EXPECT_NE(line.find("(CR,FE)(VA)"), std::string::npos) << line;
        EXPECT_NE(line.find(" 7 "), std::string::npos) << line;  // the file has seven parameters
        EXPECT_NE(line.find("yes"), std::string::npos) << line;
    }
    EXPECT_TRUE(found) << r.out;
}

// A database with two unreadable parameters: the reader's diagnostics reach
// standard error, the broken phase says why it cannot be evaluated, and the
// intact phase still works.
TEST(CliRun, ReadErrorsAreShownAndTheRestStaysUsable)
{
    std::string text = slurp(kCrFe);
    ASSERT_FALSE(text.empty());
    if (text.back() != '\n') text += '\n';
    const int firstLine = static_cast<int>(count(text, "\n")) + 3;
    text += "PHASE FCC_A1 % 2 1 1 !\n"
            "CONSTITUENT FCC_A1 :CR,FE:VA: !\n"
            "PARAMETER G(FCC_A1,FE:VA;0) 1 GHSERFE# + NOSUCH#; 6000 N !\n"
            "PARAMETER G(FCC_A1,CR:VA;0) 1 GHSERCR# +; 6000 N !\n";
    const std::string path = tempPath("broken.tdb");
    spit(path, text);

    RunResult phases = runTool({"phases", path});
    EXPECT_EQ(phases.exitCode, 0) << phases.err;
    EXPECT_NE(phases.err.find(path + ":" + std::to_string(firstLine) + ":"), std::string::npos) << phases.err;
    EXPECT_NE(phases.err.find(path + ":" + std::to_string(firstLine + 1) + ":"), std::string::npos) << phases.err;
    EXPECT_NE(phases.err.find("NOSUCH"), std::string::npos) << phases.err;
    bool sawFcc = false;
    for (const std::string& line : lines(phases.out)) {
        if (line.rfind("FCC_A1 ", 0) == 0) {
            sawFcc = true;
            EXPECT_NE(line.find("no: "), std::string::npos) << line;
            EXPECT_NE(line.find("G(FCC_A1,FE:VA;0)"), std::string::npos) << line;
        }
        if (line.rfind("BCC_A2 ", 0) == 0) {
            EXPECT_NE(line.find("yes"), std::string::npos) << line;
        }
    }
    EXPECT_TRUE(sawFcc) << phases.out;

    RunResult bcc = runTool({"eval", path, "--phase", "BCC_A2", "--T", "1000", "--y", "FE=1:VA=1", "--json"});
    EXPECT_EQ(bcc.exitCode, 0) << bcc.err;
    EXPECT_EQ(parseJson(bcc.out).items.size(), 1u);
    RunResult fcc = runTool({"eval", path, "--phase", "FCC_A1", "--T", "1000", "--y", "FE=1:VA=1"});
    EXPECT_EQ(fcc.exitCode, 1);
    EXPECT_EQ(fcc.out, "");
    EXPECT_NE(fcc.err.find("thermfn: phase FCC_A1 cannot be evaluated: "), std::string::npos) << fcc.err;
    std::remove(path.c_str());
}

TEST(CliRun, ListingAndDuplicateReport)
{
    RunResult clean = runTool({"list", kCrFe});
    ASSERT_EQ(clean.exitCode, 0) << clean.err;
    size_t symbols = clean.out.find("FunktionMgr: /SYMBOLS/ Fkt#: 4");
    size_t bcc = clean.out.find("FunktionMgr: /BCC_A2/ Fkt#: 7");
    size_t report = clean.out.find("Parameters defined twice:\n  none");
    EXPECT_NE(symbols, std::string::npos) << clean.out;
    EXPECT_NE(bcc, std::string::npos) << clean.out;
    EXPECT_NE(report, std::string::npos) << clean.out;
    EXPECT_LT(symbols, bcc);
    EXPECT_LT(bcc, report);
    EXPECT_NE(clean.out.find("GHSERFE"), std::string::npos);

    std::string text = slurp(kCrFe) + "\nPARAMETER L(BCC_A2,CR,FE:VA;0) 1 2000; 10000 N !\n";
    const std::string path = tempPath("duplicate.tdb");
    spit(path, text);
    RunResult dup = runTool({"list", path, "--phase", "bcc_a2"});
    ASSERT_EQ(dup.exitCode, 0) << dup.err;
    EXPECT_EQ(dup.out.find("/SYMBOLS/"), std::string::npos) << "--phase lists the phase only";
    EXPECT_NE(dup.out.find("FunktionMgr: /BCC_A2/ Fkt#: 8"), std::string::npos) << dup.out;
    size_t twice = dup.out.find("Parameters defined twice:");
    ASSERT_NE(twice, std::string::npos);
    size_t detected = dup.out.find("detected twice:", twice);
    ASSERT_NE(detected, std::string::npos) << dup.out;
    EXPECT_NE(dup.out.find("BCC_A2,CR,FE:VA;0", detected), std::string::npos) << dup.out;
    std::remove(path.c_str());
}

TEST(CliRun, FunctionValueAndDerivatives)
{
    RunResult r = runTool({"function", kCrFe, "ghserfe", "--T", "500:1500:500", "--json"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    Json doc = parseJson(r.out);
    ASSERT_EQ(doc.items.size(), 3u);
    for (size_t i = 0; i < 3; ++i) {
        const Json& o = doc[i];
        double T = 500.0 * static_cast<double>(i + 1);
        EXPECT_EQ(o.at("function").text, "GHSERFE");
        EXPECT_EQ(o.at("T").number, T);
        EXPECT_NEAR(o.at("F").number, Ghserfe::g(T), 1e-9 * std::fabs(Ghserfe::g(T)));
        EXPECT_NEAR(o.at("dF_dT").number, Ghserfe::dg(T), 1e-9 * std::fabs(Ghserfe::dg(T)));
        EXPECT_NEAR(o.at("d2F_dT2").number, Ghserfe::d2g(T), 1e-9 * std::fabs(Ghserfe::d2g(T)));
        EXPECT_NEAR(o.at("d3F_dT3").number, Ghserfe::d3g(T), 1e-9 * std::fabs(Ghserfe::d3g(T)));
    }
    RunResult csv = runTool({"function", kCrFe, "GHSERFE", "--T", "500:1500:500", "--csv"});
    ASSERT_EQ(csv.exitCode, 0);
    std::vector<std::string> rows = lines(csv.out);
    ASSERT_EQ(rows.size(), 4u);
    EXPECT_EQ(rows[0], "function,T,P,F,dF_dT,d2F_dT2,d3F_dT3");
    EXPECT_EQ(std::strtod(split(rows[2], ',')[3].c_str(), nullptr), doc[1].at("F").number);
}

// The grid written as JSON: documented structure, exact temperatures and
// fractions, and quantities that agree with each other and with finite
// differences across the temperatures and compositions of the grid itself.
TEST(CliRun, EvalJsonIsConsistent)
{
    // LAVES_C15 (CR,FE,NB)2(CR,FE,NB)1: three atoms per formula unit, so
    // that per-formula-unit and per-atom quantities differ.
    const double h = 1e-4;
    char y0[128], yPlus[128], yMinus[128];
    std::snprintf(y0, sizeof y0, "FE=0.6,NB=0.3,CR=0.1:NB=0.7,FE=0.3");
    std::snprintf(yPlus, sizeof yPlus, "FE=%.17g,NB=%.17g,CR=0.1:NB=0.7,FE=0.3", 0.6 + h, 0.3 - h);
    std::snprintf(yMinus, sizeof yMinus, "FE=%.17g,NB=%.17g,CR=0.1:NB=0.7,FE=0.3", 0.6 - h, 0.3 + h);
    RunResult r = runTool({"eval", kCrFeNb, "--phase", "laves_c15", "--T", "1199:1201:1", "--y", y0, "--y", yPlus,
                           "--y", yMinus, "--json", "--hessian"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.err, "");
    Json doc = parseJson(r.out);
    ASSERT_EQ(doc.items.size(), 9u);

    // Index the points by (composition text, T) through their own "y" and "T".
    auto fraction = [](const Json& o, size_t s, const std::string& name) {
        for (const Json& pair : o.at("y")[s].items)
            if (pair[0].text == name) return pair[1].number;
        return std::nan("");
    };
    auto point = [&](double feFraction, double T) -> const Json& {
        for (const Json& o : doc.items)
            if (o.at("T").number == T && fraction(o, 0, "FE") == feFraction) return o;
        throw std::runtime_error("point missing");
    };

    for (const Json& o : doc.items) {
        EXPECT_EQ(o.at("phase").text, "LAVES_C15");
        EXPECT_EQ(o.at("P").number, 101325.0);
        // y: both sublattices, constituents in the phase's order CR, FE, NB, unnamed ones 0.
        const Json& y = o.at("y");
        ASSERT_EQ(y.items.size(), 2u);
        for (size_t s = 0; s < 2; ++s) {
            ASSERT_EQ(y[s].items.size(), 3u);
            EXPECT_EQ(y[s][0][0].text, "CR");
            EXPECT_EQ(y[s][1][0].text, "FE");
            EXPECT_EQ(y[s][2][0].text, "NB");
        }
        EXPECT_EQ(fraction(o, 0, "CR"), 0.1);
        EXPECT_EQ(fraction(o, 1, "CR"), 0.0);
        EXPECT_EQ(fraction(o, 1, "NB"), 0.7);
        const Json& g = o.at("dG_dy");
        ASSERT_EQ(g.items.size(), 2u);
        for (size_t s = 0; s < 2; ++s) {
            ASSERT_EQ(g[s].items.size(), 3u);
            for (size_t i = 0; i < 3; ++i) {
                EXPECT_EQ(g[s][i][0].text, y[s][i][0].text);
                EXPECT_TRUE(g[s][i][1].isNumber());
            }
        }
        // Per mole of atoms: N = 3 here.
        const double G = o.at("G").number, N = 3.0, T = o.at("T").number;
        EXPECT_NEAR(o.at("GM").number * N, G, 1e-9 * std::fabs(G));
        EXPECT_NEAR(o.at("SM").number, -o.at("dG_dT").number / N, 1e-9);
        EXPECT_NEAR(o.at("HM").number, o.at("GM").number + T * o.at("SM").number, 1e-7);
        EXPECT_NEAR(o.at("CPM").number, -T * o.at("d2G_dT2").number / N, 1e-9);
        // Hessian: (n+1) x (n+1), n = 6, symmetric, T last.
        const Json& H = o.at("d2G_dydy");
        ASSERT_EQ(H.items.size(), 7u);
        for (size_t i = 0; i < 7; ++i) {
            ASSERT_EQ(H[i].items.size(), 7u);
            for (size_t j = 0; j < i; ++j)
                EXPECT_NEAR(H[i][j].number, H[j][i].number, 1e-6 * (1 + std::fabs(H[i][j].number)));
        }
        EXPECT_NEAR(H[6][6].number, o.at("d2G_dT2").number, 1e-12 * std::fabs(o.at("d2G_dT2").number));
    }

    // Temperature derivatives against differences over the grid's own temperatures.
    const Json& lo = point(0.6, 1199), &mid = point(0.6, 1200), &hi = point(0.6, 1201);
    EXPECT_NEAR(mid.at("dG_dT").number, (hi.at("G").number - lo.at("G").number) / 2, 1e-3);
    EXPECT_NEAR(mid.at("d2G_dT2").number, hi.at("G").number - 2 * mid.at("G").number + lo.at("G").number, 1e-5);
    // The T column of the Hessian is d(dG/dy)/dT, in the order of "y" flattened.
    const Json& H = mid.at("d2G_dydy");
    for (size_t s = 0, v = 0; s < 2; ++s)
        for (size_t i = 0; i < 3; ++i, ++v) {
            double fd = (hi.at("dG_dy")[s][i][1].number - lo.at("dG_dy")[s][i][1].number) / 2;
            EXPECT_NEAR(H[v][6].number, fd, 1e-4 * (1 + std::fabs(fd))) << "variable " << v;
        }
    // Along FE up, NB down in sublattice 1: d(dG/dy_FE)/dh = H[FE][FE] - H[FE][NB] (variables 1 and 2).
    const Json& plus = point(0.6 + h, 1200), &minus = point(0.6 - h, 1200);
    for (size_t v = 0; v < 6; ++v) {
        size_t s = v / 3, i = v % 3;
        double fd = (plus.at("dG_dy")[s][i][1].number - minus.at("dG_dy")[s][i][1].number) / (2 * h);
        double expected = H[v][1].number - H[v][2].number;
        EXPECT_NEAR(fd, expected, 1e-4 * (1 + std::fabs(expected))) << "variable " << v;
    }
    EXPECT_NEAR((plus.at("G").number - minus.at("G").number) / (2 * h),
                mid.at("dG_dy")[0][1][1].number - mid.at("dG_dy")[0][2][1].number, 1e-3);
}

TEST(CliRun, EvalPutsEachFractionOnItsConstituent)
{
    // Pure Cr and pure Fe in BCC_A2 against the tool's own GHSERCR and GHSERFE:
    // the magnetic and ideal terms of pure Cr are below 1 J at 2000 K, while
    // GHSERCR and GHSERFE differ by kilojoules, so a swapped order shows.
    RunResult eval = runTool({"eval", kCrFe, "--phase", "BCC_A2", "--T", "2000", "--y", "cr=1:va=1", "--y",
                              "FE=1:VA=1", "--json"});
    RunResult cr = runTool({"function", kCrFe, "GHSERCR", "--T", "2000", "--json"});
    RunResult fe = runTool({"function", kCrFe, "GHSERFE", "--T", "2000", "--json"});
    ASSERT_EQ(eval.exitCode, 0) << eval.err;
    ASSERT_EQ(cr.exitCode, 0);
    ASSERT_EQ(fe.exitCode, 0);
    Json points = parseJson(eval.out);
    ASSERT_EQ(points.items.size(), 2u);
    double gCr = parseJson(cr.out)[0].at("F").number, gFe = parseJson(fe.out)[0].at("F").number;
    ASSERT_GT(std::fabs(gCr - gFe), 1000.0);
    // Points come in the order of the --y options.
    const Json& pureCr = points[0];
    const Json& pureFe = points[1];
    EXPECT_EQ(pureCr.at("y")[0][0][0].text, "CR");
    EXPECT_EQ(pureCr.at("y")[0][0][1].number, 1.0);
    EXPECT_EQ(pureCr.at("y")[0][1][1].number, 0.0);
    EXPECT_EQ(pureFe.at("y")[0][0][1].number, 0.0);
    EXPECT_EQ(pureFe.at("y")[0][1][1].number, 1.0);
    EXPECT_NEAR(pureCr.at("G").number, gCr, 1.0);
    EXPECT_NEAR(pureFe.at("G").number, gFe, 500.0);
}

TEST(CliRun, TableAndCsvAgreeWithJson)
{
    const std::vector<std::string> base = {"eval", kCrFe, "--phase", "BCC_A2", "--T", "300:1500:600",
                                           "--y", "CR=0.3,FE=0.7:VA=1", "--y", "CR=0.9,FE=0.1:VA=1"};
    auto with = [&](std::initializer_list<const char*> extra) {
        std::vector<std::string> a = base;
        a.insert(a.end(), extra.begin(), extra.end());
        return runTool(a);
    };
    RunResult json = with({"--json"}), csv = with({"--csv"}), table = with({});
    ASSERT_EQ(json.exitCode, 0) << json.err;
    ASSERT_EQ(csv.exitCode, 0) << csv.err;
    ASSERT_EQ(table.exitCode, 0) << table.err;
    Json doc = parseJson(json.out);
    ASSERT_EQ(doc.items.size(), 6u);

    std::vector<std::string> rows = lines(csv.out);
    ASSERT_EQ(rows.size(), 7u);
    std::vector<std::string> header = split(rows[0], ',');
    for (size_t k = 0; k < 6; ++k) {
        std::vector<std::string> f = split(rows[k + 1], ',');
        ASSERT_EQ(f.size(), header.size());
        for (size_t c = 0; c < header.size(); ++c) {
            if (header[c] == "T" || header[c] == "G" || header[c] == "GM" || header[c] == "CPM") {
                EXPECT_EQ(std::strtod(f[c].c_str(), nullptr), doc[k].at(header[c]).number) << header[c];
            }
        }
    }

    // The table: a heading per composition, then rows whose GM and CPM are
    // the JSON values rounded as printed.
    std::vector<std::string> t = lines(table.out);
    std::vector<std::vector<double>> data;
    for (const std::string& line : t) {
        double T, G, GM, SM, HM, CPM;
        if (std::sscanf(line.c_str(), "%lf %lf %lf %lf %lf %lf", &T, &G, &GM, &SM, &HM, &CPM) == 6)
            data.push_back({T, G, GM, SM, HM, CPM});
    }
    ASSERT_EQ(data.size(), 6u) << table.out;
    EXPECT_EQ(count(table.out, "BCC_A2  CR=0.3,FE=0.7 : VA=1"), 1u) << table.out;
    EXPECT_EQ(count(table.out, "BCC_A2  CR=0.9,FE=0.1 : VA=1"), 1u) << table.out;
    EXPECT_NE(table.out.find("[J/(K mol at.)]"), std::string::npos);
    for (size_t k = 0; k < 6; ++k) {
        const Json* match = nullptr;
        for (const Json& o : doc.items)
            if (o.at("T").number == data[k][0] && o.at("y")[0][0][1].number == (k < 3 ? 0.3 : 0.9)) match = &o;
        ASSERT_NE(match, nullptr) << k;
        EXPECT_NEAR(data[k][2], match->at("GM").number, 0.0006);
        EXPECT_NEAR(data[k][5], match->at("CPM").number, 0.000006);
    }
}

TEST(CliRun, ProgressOnlyOnATerminal)
{
    const std::vector<std::string> args = {"eval", kCrFe, "--phase", "BCC_A2", "--T", "300:2300:0.1",
                                           "--y", "CR=0.5,FE=0.5:VA=1", "--csv"};
    // Redirected standard error: no bar, nothing at all.
    RunResult quiet = runTool(args);
    ASSERT_EQ(quiet.exitCode, 0);
    EXPECT_EQ(quiet.err, "");
    EXPECT_EQ(lines(quiet.out).size(), 1u + 20001u);

    // Standard error on a terminal: the bar is drawn there, standard output stays clean.
    const std::string outPath = tempPath("pty_out.csv");
    int master = -1;
    pid_t pid = forkpty(&master, nullptr, nullptr, nullptr);
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (out < 0) _exit(126);
        dup2(out, 1);
        std::vector<char*> argv = {const_cast<char*>(THERMFN_BINARY)};
        for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        execv(THERMFN_BINARY, argv.data());
        _exit(127);
    }
    std::string terminal;
    char buf[4096];
    for (;;) {
        ssize_t n = read(master, buf, sizeof buf);
        if (n > 0) terminal.append(buf, static_cast<size_t>(n));
        else if (n < 0 && errno == EINTR) continue;
        else break;  // EIO once the child has gone
    }
    int status = 0;
    waitpid(pid, &status, 0);
    close(master);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_NE(terminal.find("/20001 points"), std::string::npos) << terminal;
    std::string out = slurp(outPath);
    EXPECT_EQ(out.find("points"), std::string::npos);
    EXPECT_EQ(out, quiet.out);
    std::remove(outPath.c_str());
}

// ===========================================================================
// Cache files

class CliCache : public ::testing::Test
{
protected:
    void SetUp() override
    {
        dir_ = tempPath("cache_dir");
        mkdir(dir_.c_str(), 0755);
        db_ = dir_ + "/crfe.tdb";
        cache_ = dir_ + "/crfe.thdb";
        spit(db_, slurp(kCrFe));
    }
    void TearDown() override
    {
        for (const std::string& p : {db_, cache_, dir_ + "/notes.txt", dir_ + "/other.tdb"}) std::remove(p.c_str());
        rmdir(dir_.c_str());
    }
    std::vector<std::string> evalArgs(const std::string& db) const
    {
        return {"eval", db, "--phase", "BCC_A2", "--T", "300:1800:300", "--y", "CR=0.3,FE=0.7:VA=1", "--json"};
    }
    std::vector<std::string> withCache(std::vector<std::string> args, const std::string& cache) const
    {
        args.push_back("--cache");
        args.push_back(cache);
        return args;
    }
    std::string dir_, db_, cache_;
};

TEST_F(CliCache, WrittenThenUsedInsteadOfTheDatabase)
{
    RunResult plain = runTool(evalArgs(db_));
    ASSERT_EQ(plain.exitCode, 0) << plain.err;
    RunResult first = runTool(withCache(evalArgs(db_), cache_));
    ASSERT_EQ(first.exitCode, 0) << first.err;
    EXPECT_EQ(first.out, plain.out);
    EXPECT_TRUE(isCacheFile(cache_));

    // With the database gone only the cache can give the same answer.
    std::remove(db_.c_str());
    RunResult second = runTool(withCache(evalArgs(db_), cache_));
    ASSERT_EQ(second.exitCode, 0) << second.err;
    EXPECT_EQ(second.out, plain.out);
    RunResult without = runTool(evalArgs(db_));
    EXPECT_EQ(without.exitCode, 2);
}

TEST_F(CliCache, AFileThatIsNotACacheIsNeverOverwritten)
{
    const std::string notes = dir_ + "/notes.txt";
    spit(notes, "my notes\n");
    RunResult r = runTool(withCache(evalArgs(db_), notes));
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(parseJson(r.out).items.size(), 6u);
    EXPECT_NE(r.err.find("not a database cache"), std::string::npos) << r.err;
    EXPECT_EQ(slurp(notes), "my notes\n");
}

TEST_F(CliCache, ADamagedCacheIsMadeAgain)
{
    spit(cache_, std::string("THDB") + std::string(40, '\x7f'));
    RunResult r = runTool(withCache(evalArgs(db_), cache_));
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_NE(r.err.find("cannot be used"), std::string::npos) << r.err;
    // Now a good one: the next run loads it silently.
    RunResult again = runTool(withCache(evalArgs(db_), cache_));
    EXPECT_EQ(again.exitCode, 0);
    EXPECT_EQ(again.err, "");
    EXPECT_EQ(again.out, r.out);
}

TEST_F(CliCache, ACacheOfAnotherDatabaseIsReplaced)
{
    ASSERT_EQ(runTool(withCache({"phases", db_}, cache_)).exitCode, 0);
    const std::string other = dir_ + "/other.tdb";
    spit(other, slurp(kCrFeNb));
    RunResult r = runTool(withCache({"phases", other}, cache_));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_NE(r.err.find("was made from"), std::string::npos) << r.err;
    EXPECT_NE(r.out.find("MU_PHASE"), std::string::npos) << r.out;
    RunResult again = runTool(withCache({"phases", other}, cache_));
    EXPECT_EQ(again.err, "");
    EXPECT_EQ(again.out, r.out);
}

TEST_F(CliCache, AChangedDatabaseIsReadAgain)
{
    ASSERT_EQ(runTool(withCache({"phases", db_}, cache_)).exitCode, 0);
    // A newer database file with one phase more.
    sleep(1);
    spit(db_, slurp(kCrFe) + "\nPHASE FCC_A1 % 2 1 1 !\nCONSTITUENT FCC_A1 :CR,FE:VA: !\n");
    RunResult r = runTool(withCache({"phases", db_}, cache_));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_NE(r.err.find("changed after cache"), std::string::npos) << r.err;
    EXPECT_NE(r.out.find("FCC_A1"), std::string::npos) << r.out;
}

// ===========================================================================
// The bundled database

TEST(CliData, BundledDatabaseIsTheSharedFileUnchanged)
{
    std::string bundled = slurp(std::string(THERM_DATA_DIR) + "/CrFeNb_Jacob2016.tdb");
    ASSERT_FALSE(bundled.empty());
    EXPECT_EQ(bundled, slurp(kCrFeNb));
    RunResult r = runTool({"phases", std::string(THERM_DATA_DIR) + "/CrFeNb_Jacob2016.tdb"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    for (const char* phase : {"BCC_A2 ", "FCC_A1 ", "LIQUID ", "LAVES_C14 ", "SIGMA "}) {
        bool evaluable = false;
        for (const std::string& line : lines(r.out))
            if (line.rfind(phase, 0) == 0) evaluable = line.find(" yes") != std::string::npos;
        EXPECT_TRUE(evaluable) << phase << "\n" << r.out;
    }
}

}  // namespace
