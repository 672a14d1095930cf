// The one way the tool fails: a message for standard error and an exit code.
#ifndef CLI_CLIERROR_H
#define CLI_CLIERROR_H

#include <stdexcept>
#include <string>

namespace thermfn {

// Exit codes: 0 success, 1 a valid request that could not be carried out
// (phase not evaluable, evaluation failed), 2 a request that is wrong in
// itself (usage, unknown names, values out of range, unreadable database).
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

// Ends the program with a one-line message on standard error.
class CliError : public std::runtime_error
{
public:
    CliError(int exitCode, const std::string& message) : std::runtime_error(message), exitCode_(exitCode) {}
    int exitCode() const { return exitCode_; }

private:
    int exitCode_;
};

}  // namespace thermfn

#endif
