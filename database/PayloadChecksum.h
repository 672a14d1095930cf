// Checksum of the cache file's payload: catches damage (flipped bits, cut or
// spliced files) before any byte of it is believed.
//
// A 64-bit sum over 8-byte words in four interleaved lanes, each step
// "xor the word in, rotate, multiply by an odd constant": every step is a
// bijection of the lane, so a change confined to one word always changes the
// result, and the lanes let the processor run four steps at once (loading a
// cache must stay much cheaper than parsing, and the payload is megabytes).
// It is no protection against deliberate forgery; the cache is the user's own.
#ifndef DATABASE_PAYLOADCHECKSUM_H
#define DATABASE_PAYLOADCHECKSUM_H

#include <cstddef>
#include <cstdint>

//! seed selects the starting state (0 for the cache file's checksum); other
//! seeds give further independent-looking sums of the same bytes.
uint64_t payloadChecksum(const char* data, size_t size, uint64_t seed = 0);

#endif
