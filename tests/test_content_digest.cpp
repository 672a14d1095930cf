// The digest that keys a cache to its database's bytes: equal bytes give equal
// digests, and each kind of edit a user makes (a changed, inserted, removed or
// moved character, words swapped or changed so that a plain sum would not
// notice) gives a digest of its own.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <set>
#include <string>

#include "database/ContentDigest.h"

namespace {

std::string Original()
{
    std::string s;
    for (int i = 0; i < 200; ++i) s += static_cast<char>('A' + (i * 7) % 26);
    return s;
}

TEST(ContentDigest, EachKindOfEditGivesADigestOfItsOwn)
{
    const struct
    {
        const char* name;
        std::function<void(std::string&)> edit;
    } edits[] = {
        {"last character changed", [](std::string& s) { s.back() = '!'; }},
        {"first bit flipped", [](std::string& s) { s[0] ^= 1; }},
        {"character inserted", [](std::string& s) { s.insert(50, "x"); }},
        {"character removed", [](std::string& s) { s.erase(50, 1); }},
        {"nul appended", [](std::string& s) { s.push_back('\0'); }},
        {"cut short", [](std::string& s) { s.pop_back(); }},
        {"words of one lane swapped", [](std::string& s) { std::swap_ranges(s.begin(), s.begin() + 8, s.begin() + 32); }},
        {"neighbour words swapped", [](std::string& s) { std::swap_ranges(s.begin(), s.begin() + 8, s.begin() + 8); }},
        // cancels in an exclusive-or of the words
        {"same change in two words", [](std::string& s) { s[0] ^= 0x20, s[32] ^= 0x20; }},
        {"lines moved", [](std::string& s) { s = s.substr(100) + s.substr(0, 100); }},
    };
    const std::string original = Original();
    for (const auto& e : edits) {
        std::string edited = original;
        e.edit(edited);
        ASSERT_NE(edited, original) << e.name;
        EXPECT_NE(contentDigest(edited), contentDigest(original)) << e.name;
    }
}

TEST(ContentDigest, EqualBytesEqualDigestsAndEveryOneByteEditIsSeen)
{
    const std::string original = Original();
    const std::string digest = contentDigest(original);
    EXPECT_EQ(contentDigest(std::string(original)), digest);
    EXPECT_EQ(digest.size(), 32u);
    EXPECT_EQ(digest.find_first_not_of("0123456789abcdef"), std::string::npos) << digest;
    std::set<std::string> seen{digest, contentDigest("")};
    for (size_t at = 0; at < original.size(); ++at) {
        std::string edited = original;
        edited[at] = static_cast<char>(edited[at] + 1);
        EXPECT_TRUE(seen.insert(contentDigest(edited)).second) << "a second digest like this one at " << at;
    }
}

}  // namespace
