// Cache file of a whole loaded database, so that a parsed database can be
// stored once and loaded again quickly.
//
// Layout (QDataStream, big-endian, Qt 6.0 stream version): the magic bytes
// "THDB", an int version (1), then the database limits and source name, the
// element table, the definition records (45 ints each), the polynomials and
// the symbol-function list in the kernel's own binary records, the text and
// name tables, and per phase its structure, its Gibbs-model table and its
// function list (again the kernel's record).
//
// Loading validates every index that evaluation would later follow (records,
// polynomials, symbol references, exponents, constituents) and rebinds the
// lists, so a damaged file gives a message and never a crash.  Load into a
// fresh ThermDatabase; after a failed load discard it (it is destructible but
// incomplete).  Saving writes a temporary file beside the target and renames
// it, so a failed save leaves an existing file untouched.
#ifndef DATABASE_DATABASEARCHIVE_H
#define DATABASE_DATABASEARCHIVE_H

#include <string>

class ThermDatabase;

bool saveDatabaseArchive(const ThermDatabase& db, const std::string& path, std::string& error);
bool loadDatabaseArchive(ThermDatabase& db, const std::string& path, std::string& error);

#endif
