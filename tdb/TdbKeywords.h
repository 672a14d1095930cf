// Keywords of TDB files and their abbreviations.  Databases abbreviate every
// "_"-separated part of a keyword ("TYPE_DEF", "TEMP_LIM", "A_P_D", "PARA"),
// so a word matches a keyword when it has no more parts than the keyword and
// each of its parts begins the keyword's part at the same place.
#ifndef TDB_TDBKEYWORDS_H
#define TDB_TDBKEYWORDS_H

#include <string>
#include <vector>

namespace tdb {

//! True when word (upper case) is keyword or an abbreviation of it.
bool abbreviates(const std::string& word, const std::string& keyword);

//! The keyword of the list that word names: its index, -1 when none, -2 when
//! several match and none of them exactly.
int matchKeyword(const std::string& word, const std::vector<std::string>& keywords);

//! Upper-case copy (ASCII).
std::string upper(std::string s);

}  // namespace tdb

#endif
