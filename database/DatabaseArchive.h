// Cache file of a whole loaded database, so that a parsed database can be
// stored once and loaded again quickly.
//
// Layout: a header of 24 bytes, big-endian — the magic bytes "THDB", an int
// version, the payload's length (int64) and its checksum (uint64, see
// PayloadChecksum.h) — then the payload, a list of sections, each a 4-byte
// tag, an int64 length and that many bytes:
//   SRCE  source name, digest of the database's bytes, temperature limits
//         and whether they are the reader's defaults
//   ELEM  the element table
//   RECS  the definition records (45 ints each)
//   TEXT  the constituent texts, the symbol-name tables, the type keywords
//   POLY  the pieces, in the kernel's piece records
//   SYMB  the symbol-function list, in the kernel's function-list record
//   PHAS  per phase its structure, its Gibbs-model table and its function list
//   EXPR  the expression trees and the names used without a definition
//         (ExpressionArchive.h)
// Sections are found by tag, so a later version can add one without moving
// the others; a section of an unknown tag is skipped.  Any change of what a
// section holds raises the version, and a cache of another version is
// refused (the tool then reads the database again and writes a new one).
//
// Loading reads the whole file, rejects a checksum mismatch, validates every
// count and every index that listing and evaluation later follow, and binds
// the lists as after reading the database; a kernel message while binding
// rejects the file too.  A damaged file gives a message naming it and never a
// crash.  Load into a fresh ThermDatabase; after a failed load discard it (it
// is destructible but incomplete).
//
// Saving writes a temporary file beside the target and renames it over the
// target, keeping the target's permissions: readers see the old file or the
// new one, never a mixture, and a failed save leaves an existing file as it
// was.
#ifndef DATABASE_DATABASEARCHIVE_H
#define DATABASE_DATABASEARCHIVE_H

#include <cstddef>
#include <string>

class ThermDatabase;

//! Version written into, and the only one accepted from, a cache file.
//! 3: the EXPR section; 4: SRCE says whether the temperature limits are the reader's defaults.
constexpr int kDatabaseArchiveVersion = 4;

bool saveDatabaseArchive(const ThermDatabase& db, const std::string& path, std::string& error);
bool loadDatabaseArchive(ThermDatabase& db, const std::string& path, std::string& error);

//! The bytes saveDatabaseArchive writes.
std::string databaseArchiveBytes(const ThermDatabase& db);
//! loadDatabaseArchive on bytes in memory; name stands for the file in messages.
bool loadDatabaseArchiveBytes(ThermDatabase& db, const char* data, size_t size, const std::string& name,
                              std::string& error);

#endif
