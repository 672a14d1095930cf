#include "TdbKeywords.h"

#include "AsciiText.h"

namespace tdb {

std::string upper(std::string s)
{
    for (char& c : s) c = toAsciiUpper(c);
    return s;
}

bool abbreviates(const std::string& word, const std::string& keyword)
{
    if (word.empty()) return false;
    // part by part, in place: every command's keyword passes here
    size_t w = 0, k = 0;
    for (;;) {
        if (k > keyword.size()) return false;  // the word has more parts than the keyword
        size_t wEnd = word.find('_', w), kEnd = keyword.find('_', k);
        if (wEnd == std::string::npos) wEnd = word.size();
        if (kEnd == std::string::npos) kEnd = keyword.size();
        const size_t length = wEnd - w;
        if (length == 0 || length > kEnd - k || keyword.compare(k, length, word, w, length) != 0) return false;
        if (wEnd == word.size()) return true;
        w = wEnd + 1;
        k = kEnd + 1;
    }
}

int matchKeyword(const std::string& word, const std::vector<std::string>& keywords)
{
    int found = -1;
    for (size_t i = 0; i < keywords.size(); ++i) {
        if (word == keywords[i]) return static_cast<int>(i);
        if (abbreviates(word, keywords[i])) found = found == -1 ? static_cast<int>(i) : -2;
    }
    return found;
}

}  // namespace tdb
