#include "TdbKeywords.h"

#include <cctype>

namespace tdb {

namespace {
std::vector<std::string> parts(const std::string& s)
{
    std::vector<std::string> out(1);
    for (char c : s) {
        if (c == '_')
            out.emplace_back();
        else
            out.back() += c;
    }
    return out;
}
}  // namespace

std::string upper(std::string s)
{
    for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return s;
}

bool abbreviates(const std::string& word, const std::string& keyword)
{
    if (word.empty()) return false;
    std::vector<std::string> w = parts(word), k = parts(keyword);
    if (w.size() > k.size()) return false;
    for (size_t i = 0; i < w.size(); ++i) {
        if (w[i].empty() || w[i].size() > k[i].size()) return false;
        if (k[i].compare(0, w[i].size(), w[i]) != 0) return false;
    }
    return true;
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
