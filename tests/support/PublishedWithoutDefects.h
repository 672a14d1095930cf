// A published database read without the parameters its file cannot give:
// those that refer to functions the file leaves undefined (commented out in
// the distributed text, e.g. VA31 of alnipt.tdb, ALTAB2 of COST507.tdb).  The
// reader refuses such a phase as a whole, rightly; the partitioned-model
// tests and benchmarks take the rest of the phase.  Each PARAMETER command
// the reader reported as an error is blanked (line breaks kept, so that
// locations stay) and the text is read again.
#ifndef TESTS_SUPPORT_PUBLISHEDWITHOUTDEFECTS_H
#define TESTS_SUPPORT_PUBLISHEDWITHOUTDEFECTS_H

#include <cctype>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "database/ThermDatabase.h"
#include "tdb/TdbReader.h"

namespace kit {

// Reads file of THERM_SHARED_DB_DIR into db; returns the number of parameter
// commands left out, -1 when the file cannot be read.
inline int ReadPublishedWithoutDefects(const std::string& file, ThermDatabase& db)
{
    const std::string path = std::string(THERM_SHARED_DB_DIR) + "/" + file;
    std::ifstream in(path, std::ios::binary);
    if (!in) return -1;
    std::stringstream buffer;
    buffer << in.rdbuf();
    std::string text = buffer.str();

    ThermDatabase first;
    tdb::ReadReport report;
    tdb::readTdbText(text, path, first, report);
    std::vector<size_t> lineStart{0};
    for (size_t i = 0; i < text.size(); ++i)
        if (text[i] == '\n') lineStart.push_back(i + 1);
    int removed = 0;
    for (const tdb::Diagnostic& d : report.diagnostics) {
        if (d.severity != tdb::Diagnostic::Severity::Error || d.command.rfind("PARAMETER ", 0) != 0) continue;
        if (d.line < 1 || static_cast<size_t>(d.line) > lineStart.size()) continue;
        size_t at = lineStart[static_cast<size_t>(d.line - 1)] + static_cast<size_t>(d.column > 0 ? d.column - 1 : 0);
        // back to the command's keyword, forward to its "!"
        auto keywordAt = [&](size_t i) {
            if (i > 0 && !std::isspace(static_cast<unsigned char>(text[i - 1]))) return false;
            for (size_t k = 0; k < 4; ++k)
                if (i + k >= text.size() || std::toupper(static_cast<unsigned char>(text[i + k])) != "PARA"[k])
                    return false;
            return true;
        };
        size_t begin = at;
        while (begin > 0 && !keywordAt(begin)) --begin;
        size_t end = text.find('!', at);
        if (end == std::string::npos) continue;
        for (size_t i = begin; i <= end; ++i)
            if (text[i] != '\n') text[i] = ' ';
        ++removed;
    }
    tdb::ReadReport again;
    tdb::readTdbText(text, path, db, again);
    return removed;
}

}  // namespace kit

#endif
