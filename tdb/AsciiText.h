// Character classes of database text.  TDB files are ASCII: these answer as
// the <cctype> functions do in the "C" locale, but inline (the reader asks
// several times per byte of a large file) and whatever locale the program
// that embeds the reader has set.
#ifndef TDB_ASCIITEXT_H
#define TDB_ASCIITEXT_H

namespace tdb {

inline bool isAsciiDigit(char c) { return c >= '0' && c <= '9'; }
inline bool isAsciiAlpha(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
inline bool isAsciiAlnum(char c) { return isAsciiDigit(c) || isAsciiAlpha(c); }
//! Blank, tab, line feed, vertical tab, form feed, carriage return.
inline bool isAsciiSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
inline char toAsciiUpper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

}  // namespace tdb

#endif
