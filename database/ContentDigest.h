// Digest of a database file's bytes: the key under which its cache is kept.
// A cache is used only for a database whose bytes give the same digest, so an
// edit is noticed whatever the file's modification time says.
#ifndef DATABASE_CONTENTDIGEST_H
#define DATABASE_CONTENTDIGEST_H

#include <string>

//! 128 bits of the bytes, as 32 lower-case hex digits: the payload checksum
//! taken twice, from two different starting states.  Each of its steps is a
//! bijection, so an edit of one 8-byte word always changes both halves.  It
//! guards against accidental edits, not forgery (nobody gains from forging a
//! collision with their own database), and it runs at memory speed: the
//! digest is taken at every use of a cache, and SHA-1 cost a sixth of the
//! loading time.
std::string contentDigest(const std::string& bytes);

#endif
