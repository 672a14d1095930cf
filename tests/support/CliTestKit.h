// Running the thermfn tool inside a test program: in process through
// thermfn::run with standard output and error kept apart, database files
// written to the test's temporary folder, and the pieces of its output a
// test reads back (lines, a CSV column).
#ifndef TESTS_SUPPORT_CLITESTKIT_H
#define TESTS_SUPPORT_CLITESTKIT_H

#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "cli/CliError.h"
#include "cli/Commands.h"

namespace clitest {

inline const std::string kCrFe = std::string(THERM_SHARED_DB_DIR) + "/crfe_bcc_magnetic.tdb";
inline const std::string kCrFeNb = std::string(THERM_SHARED_DB_DIR) + "/CrFeNb_Jacob2016.tdb";

inline std::string corpus(const std::string& name) { return std::string(THERM_TESTS_DIR) + "/corpus/tdb/" + name; }

struct ToolRun
{
    int code = -1;
    std::string out, err;
};

inline ToolRun tool(const std::vector<std::string>& args)
{
    std::ostringstream out, err;
    const int code = thermfn::run(args, out, err);
    return {code, out.str(), err.str()};
}

// The file name carries the process id, so that the runs of two build
// configurations at once do not meet.
inline std::string tempPath(const std::string& name)
{
    return ::testing::TempDir() + "thermfn_" + std::to_string(::getpid()) + "_" + name;
}

inline void writeFile(const std::string& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}

inline std::string tempFile(const std::string& name, const std::string& text)
{
    writeFile(tempPath(name), text);
    return tempPath(name);
}

inline std::string slurp(const std::string& path)
{
    std::ifstream f(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
}

inline bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

inline std::vector<std::string> lines(const std::string& text)
{
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) out.push_back(line);
    return out;
}

// The value in the named column of the first data row of --csv output.
inline double csvValue(const std::string& csv, const std::string& column)
{
    const std::vector<std::string> rows = lines(csv);
    std::vector<std::string> names, values;
    if (rows.size() > 1) {
        std::istringstream h(rows[0]), r(rows[1]);
        for (std::string f; std::getline(h, f, ',');) names.push_back(f);
        for (std::string f; std::getline(r, f, ',');) values.push_back(f);
    }
    for (size_t i = 0; i < names.size() && i < values.size(); ++i)
        if (names[i] == column) return std::stod(values[i]);
    ADD_FAILURE() << "no column " << column << " in\n" << csv;
    return NAN;
}

// A call that must throw CliError with the exit code kExitUsage and a
// one-line message holding every fragment.
struct Refusal
{
    std::string input;
    std::vector<const char*> fragments;
};

template <class F>
void expectRefusals(const std::vector<Refusal>& cases, F call)
{
    for (const Refusal& c : cases) {
        try {
            call(c.input);
            ADD_FAILURE() << "no CliError for '" << c.input << "'";
        } catch (const thermfn::CliError& e) {
            const std::string message = e.what();
            EXPECT_EQ(e.exitCode(), thermfn::kExitUsage) << message;
            EXPECT_FALSE(has(message, "\n")) << "one line: " << message;
            for (const char* f : c.fragments) EXPECT_TRUE(has(message, f)) << "'" << f << "' in: " << message;
        }
    }
}

}  // namespace clitest

#endif
