// What a database loaded from a cache file must satisfy before anything
// follows its indices, and its binding.
//
// The file's checksum catches accidental damage; these checks catch the rest
// (a file written by a faulty program, or damage the checksum happened to
// miss): every index that listing, linking and evaluation follow without a
// check of their own lies inside its array.
#ifndef DATABASE_ARCHIVECHECKS_H
#define DATABASE_ARCHIVECHECKS_H

#include <string>

class ThermDatabase;

//! False, with what is wrong in why, when an index or count is out of place.
bool checkArchivedDatabase(ThermDatabase& db, std::string& why);

//! Binds the symbol list and every phase's list as after reading the
//! database.  False, with why, when linking fails or the kernel reports
//! anything while binding: a cache that binds with complaints is not used.
bool bindArchivedDatabase(ThermDatabase& db, std::string& why);

#endif
