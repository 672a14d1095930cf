// Running the thermfn tool inside a test program: in process through
// thermfn::run with standard output and error kept apart, and database files
// written to the test's temporary folder.
#ifndef TESTS_SUPPORT_CLITESTKIT_H
#define TESTS_SUPPORT_CLITESTKIT_H

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "cli/Commands.h"

namespace clitest {

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

inline std::string tempFile(const std::string& name, const std::string& text)
{
    const std::string path = tempPath(name);
    std::ofstream(path, std::ios::binary) << text;
    return path;
}

inline bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

}  // namespace clitest

#endif
