// What each fuzz target does with one input; shared by the libFuzzer programs
// (tests/fuzz/fuzz_*.cpp) and the regression test that replays every stored
// input (tests/test_fuzz_corpus.cpp).  An input may be refused with a
// message; the targets abort only on what must never happen, and the
// sanitizers catch the rest (crashes, overflows, undefined behaviour).
#ifndef TESTS_FUZZ_FUZZTARGETS_H
#define TESTS_FUZZ_FUZZTARGETS_H

#include <cstddef>
#include <cstdint>

namespace fuzz {

// The reader on arbitrary bytes, each diagnostic pointing into the text; then every evaluable phase evaluated at a
// temperature inside the database's limits, and the database round-tripped
// through a cache file, which must load and evaluate to the same numbers.
void readerInput(const uint8_t* data, size_t size);

// The cache loader on arbitrary bytes; whatever loads is listed and every
// evaluable phase evaluated.
void cacheInput(const uint8_t* data, size_t size);

// The tool's argument parsing on arbitrary words (separated by newlines),
// and composition parsing on the whole input.
void argumentsInput(const uint8_t* data, size_t size);

}  // namespace fuzz

#endif
