// What a TDB command feeds and where it ends, read from its words alone.
//
// Both work on text the reader could not take: a PARAMETER without its ")",
// a TYPE_DEFINITION with a bad structure factor, a command whose "!" is
// missing.  The reader uses them so that a command it refused still makes the
// phases it was meant for not evaluable, and a forgotten "!" is named as such
// instead of making the next command part of this one.
#ifndef TDB_TDBCOMMANDFEEDS_H
#define TDB_TDBCOMMANDFEEDS_H

#include <cstddef>
#include <string>
#include <vector>

namespace tdb {

struct CommandFeeds
{
    //! Upper-case names that may be phases this command is for; the caller
    //! keeps those that name a phase.  For a PARAMETER whose phase cannot be
    //! picked out (no "("), every word of the command is a candidate.
    std::vector<std::string> phaseNames;
    //! The type code a TYPE_DEFINITION declares (0 when none could be read).
    char typeCode = 0;
};

// text[begin, end) is the command after its keyword; keyword is the full
// upper-case keyword it was matched to, or empty when it matched none (then
// every word is a candidate phase name).
CommandFeeds commandFeeds(const std::string& text, size_t begin, size_t end, const std::string& keyword);

// Inside a data command text[begin, end) (from its keyword to its "!"), the
// offset of the first line after the first whose first word starts another
// data command (ELEMENT, SPECIES, FUNCTION, PARAMETER, PHASE, CONSTITUENT,
// TYPE_DEFINITION, TEMPERATURE_LIMITS, in full or abbreviated to at least
// four letters, followed by what that command takes): the "!" before it was
// forgotten.  std::string::npos when there is none.
size_t runOnCommandStart(const std::string& text, size_t begin, size_t end);

}  // namespace tdb

#endif
