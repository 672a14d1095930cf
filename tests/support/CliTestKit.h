// Running the thermfn tool inside a test program: in process through
// thermfn::run with standard output and error kept apart, database files
// written to the test's temporary folder, and the pieces of its output a
// test reads back (lines, JSON).
#ifndef TESTS_SUPPORT_CLITESTKIT_H
#define TESTS_SUPPORT_CLITESTKIT_H

#include <gtest/gtest.h>
#include <unistd.h>

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

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

// The tool's JSON, read with Qt's strict parser; a document that does not
// parse fails the test.
struct Json
{
    QJsonValue v;
    Json operator[](size_t i) const { return {v.toArray().at(static_cast<int>(i))}; }
    Json at(const char* key) const
    {
        EXPECT_TRUE(v.toObject().contains(key)) << key;
        return {v.toObject().value(key)};
    }
    size_t size() const { return static_cast<size_t>(v.isArray() ? v.toArray().size() : v.toObject().size()); }
    double num() const { return v.toDouble(); }
    std::string text() const { return v.toString().toStdString(); }
};

inline Json parseJson(const std::string& text)
{
    QJsonParseError error;
    QJsonDocument doc = QJsonDocument::fromJson(QByteArray::fromStdString(text), &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError) << error.errorString().toStdString() << " in " << text;
    return {doc.isArray() ? QJsonValue(doc.array()) : QJsonValue(doc.object())};
}

// A run of the tool and what it must give: the exit code and parts of
// standard error and output.  A failed run given no parts of output must
// print nothing at all.
struct Run
{
    const char* name;
    std::vector<std::string> args;
    int code;
    std::vector<std::string> err, out;
};

inline void expectRuns(const std::vector<Run>& runs)
{
    for (const Run& c : runs) {
        SCOPED_TRACE(c.name);
        const ToolRun r = tool(c.args);
        EXPECT_EQ(r.code, c.code) << r.err;
        for (const std::string& part : c.err) EXPECT_TRUE(has(r.err, part)) << r.err;
        for (const std::string& part : c.out) EXPECT_TRUE(has(r.out, part)) << r.out;
        if (c.code != 0 && c.out.empty()) {
            EXPECT_EQ(r.out, "") << "nothing is printed for a refused request";
        }
    }
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
