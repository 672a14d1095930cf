// The number of a TDB expression: digits with an optional point and an
// exponent written with E or D ("1.5D-3"), never followed directly by a letter
// or another point.  Shared by the piece parser and the tree parser.
#ifndef TDB_TDBNUMBER_H
#define TDB_TDBNUMBER_H

#include <cstddef>
#include <string>

namespace tdb {

// Reads the number at text[pos, end) and moves pos behind it.  False with
// the offset and the reason when it is malformed or out of range.
bool readExpressionNumber(const std::string& text, size_t& pos, size_t end, double& value, size_t& errorOffset,
                          std::string& error);

// The value of [begin, end) when it is a whole decimal number
// ([sign] digits [. digits] [E|D [sign] digits], E and D in either case)
// whose value one correctly rounded operation gives: at most 19 significant
// digits forming an integer up to 2^53, and a power of ten within 10^±22.
// The value is then the one strtod gives.  False for anything else, which
// the caller hands to strtod.
bool exactDecimal(const char* begin, const char* end, double& value);

}  // namespace tdb

#endif
