// Digest of a database file's bytes: the key under which its cache is kept.
// A cache is used only for a database whose bytes give the same digest, so an
// edit is noticed whatever the file's modification time says.
#ifndef DATABASE_CONTENTDIGEST_H
#define DATABASE_CONTENTDIGEST_H

#include <string>

//! SHA-1 of the bytes, as 40 lower-case hex digits.  It names content, as
//! version control does; nobody gains from forging a collision with their
//! own database, and the fastest digest Qt offers after MD4 keeps loading a
//! cache cheap (the digest is taken at every use).
std::string contentDigest(const std::string& bytes);

#endif
