// Reader of TDB thermodynamic databases: fills a ThermDatabase (elements,
// species, symbol functions, phases with their Gibbs models, phase objects and
// bound parameter lists).
//
// Reading never stops at the first problem: every command that cannot be taken
// is reported with file, line, column, the command and the reason, and the rest
// of the file is read.  A parameter that could not be read makes its phase not
// evaluable (CVxPhase::m_bEvaluable = 0 with the reason), so that no phase is
// ever evaluated without one of its parameters.
#ifndef TDB_TDBREADER_H
#define TDB_TDBREADER_H

#include <string>
#include <vector>

class ThermDatabase;

namespace tdb {

struct Diagnostic
{
    enum class Severity { Warning, Error };
    Severity severity = Severity::Error;
    std::string file;     //!< file name as given to the reader
    int line = 0;         //!< 1-based line where the offending text starts
    int column = 0;       //!< 1-based column where the offending text starts
    std::string command;  //!< the command, shortened (e.g. "PARAMETER G(BCC_A2,FE:VA;0)")
    std::string message;  //!< what was expected or what is wrong

    //! "file:line:column: error: COMMAND: message"
    std::string format() const;
};

struct ReadReport
{
    std::vector<Diagnostic> diagnostics;  //!< in file order
    int elements = 0;             //!< ELEMENT commands taken
    int species = 0;              //!< SPECIES commands taken
    int functions = 0;            //!< symbol functions defined
    int phases = 0;               //!< phases defined
    int parameters = 0;           //!< parameters taken (before wildcard expansion)
    int wildcardsGenerated = 0;   //!< concrete parameters generated from wildcard parameters
    int duplicatePairs = 0;       //!< parameter pairs defined twice (reported through the application)
    int notEvaluablePhases = 0;   //!< phases marked not evaluable

    int errorCount() const;
    int warningCount() const;
    //! One-line summary: counts of what was read, errors and warnings.
    std::string summary() const;
};

//! Choices of the caller that change what the reader reports.
struct ReadOptions
{
    //! Names (upper case) the caller gives a value to (--set): their use without a definition is no error.
    std::vector<std::string> givenSymbols;
    //! Every name used without a definition will be 0 (--undefined-as-zero): no error per use.
    bool undefinedAsZero = false;
};

// Reads the TDB file at path into db, which must be empty.  Returns false when
// the file cannot be used at all (missing, unreadable, not text); otherwise
// true, with every problem in report.  db.sourceName is set to path.
bool readTdbFile(const std::string& path, ThermDatabase& db, ReadReport& report);
bool readTdbFile(const std::string& path, ThermDatabase& db, ReadReport& report, const ReadOptions& options);

// The same for text already in memory; fileName names it in diagnostics.
bool readTdbText(const std::string& text, const std::string& fileName, ThermDatabase& db, ReadReport& report);
bool readTdbText(const std::string& text, const std::string& fileName, ThermDatabase& db, ReadReport& report,
                 const ReadOptions& options);

}  // namespace tdb

#endif
