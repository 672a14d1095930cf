#include "TdbReader.h"

#include <sstream>

namespace tdb {

std::string Diagnostic::format() const
{
    std::ostringstream out;
    out << file << ':' << line << ':' << column << ": " << (severity == Severity::Error ? "error" : "warning") << ": ";
    if (!command.empty()) out << command << ": ";
    out << message;
    return out.str();
}

int ReadReport::errorCount() const
{
    int n = 0;
    for (const Diagnostic& d : diagnostics) n += d.severity == Diagnostic::Severity::Error;
    return n;
}

int ReadReport::warningCount() const
{
    return static_cast<int>(diagnostics.size()) - errorCount();
}

std::string ReadReport::summary() const
{
    std::ostringstream out;
    out << elements << " elements, " << species << " species, " << functions << " functions, " << phases
        << " phases, " << parameters << " parameters";
    if (wildcardsGenerated) out << " (" << wildcardsGenerated << " generated from wildcards)";
    out << "; " << errorCount() << " errors, " << warningCount() << " warnings";
    if (notEvaluablePhases) out << "; " << notEvaluablePhases << " phases not evaluable";
    if (duplicatePairs) out << "; " << duplicatePairs << " parameters defined twice";
    return out.str();
}

}  // namespace tdb
