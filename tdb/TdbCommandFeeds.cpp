#include "TdbCommandFeeds.h"

#include "AsciiText.h"
#include "TdbKeywords.h"

namespace tdb {

namespace {

bool isBlank(char c) { return isAsciiSpace(c); }

bool isNameChar(char c)
{
    return isAsciiAlnum(c) || c == '_' || c == '-' || c == '/' || c == '#';
}

// Words of text[begin, end) made of name characters, upper case.
std::vector<std::string> nameWords(const std::string& text, size_t begin, size_t end)
{
    std::vector<std::string> out;
    std::string word;
    for (size_t i = begin; i <= end; ++i) {
        if (i < end && isNameChar(text[i])) {
            word += toAsciiUpper(text[i]);
        } else if (!word.empty()) {
            out.push_back(word);
            word.clear();
        }
    }
    return out;
}

// The first blank-separated word at or after i, upper case.
std::string firstWord(const std::string& text, size_t i, size_t end, size_t* at = nullptr)
{
    while (i < end && isBlank(text[i])) ++i;
    if (at) *at = i;
    size_t start = i;
    while (i < end && !isBlank(text[i])) ++i;
    return upper(text.substr(start, i - start));
}

const char* const kDataCommands[] = {"ELEMENT",     "SPECIES",         "FUNCTION",          "PARAMETER",
                                     "PHASE",       "CONSTITUENT",     "TYPE_DEFINITION",   "TEMPERATURE_LIMITS"};

}  // namespace

CommandFeeds commandFeeds(const std::string& text, size_t begin, size_t end, const std::string& keyword)
{
    CommandFeeds feeds;
    if (keyword == "PARAMETER") {
        size_t open = text.find('(', begin);
        if (open != std::string::npos && open < end) {
            size_t i = open + 1;
            while (i < end && isBlank(text[i])) ++i;
            size_t start = i;
            while (i < end && !isBlank(text[i]) && std::string(",:&;)").find(text[i]) == std::string::npos) ++i;
            if (i > start) {
                feeds.phaseNames.push_back(upper(text.substr(start, i - start)));
                return feeds;
            }
        }
        feeds.phaseNames = nameWords(text, begin, end);
    } else if (keyword == "PHASE" || keyword == "CONSTITUENT") {
        std::string name = firstWord(text, begin, end);
        feeds.phaseNames.push_back(name.substr(0, name.find(':')));
    } else if (keyword == "TYPE_DEFINITION") {
        size_t at = 0;
        std::string code = firstWord(text, begin, end, &at);
        if (code.size() == 1) feeds.typeCode = text[at];
    } else if (keyword.empty()) {
        feeds.phaseNames = nameWords(text, begin, end);
    }
    return feeds;
}

size_t runOnCommandStart(const std::string& text, size_t begin, size_t end)
{
    size_t line = text.find('\n', begin);
    while (line != std::string::npos && line < end) {
        size_t i = line + 1;
        while (i < end && (text[i] == ' ' || text[i] == '\t' || text[i] == '\r')) ++i;
        size_t start = i;
        while (i < end && (isAsciiAlpha(text[i]) || text[i] == '_')) ++i;
        std::string word = upper(text.substr(start, i - start));
        size_t next = i;
        while (next < end && isBlank(text[next])) ++next;
        // "PARAMETER G(...", "FUNCTION GHSERFE ...", "TYPE_DEF % ...", "TEMP_LIM 298.15 ...": a
        // keyword, a blank, then what the command takes; a function of the
        // expression on a continuation line is followed by an operator instead.
        if (i > start && i < end && isBlank(text[i]) && next < end) {
            char c = text[next];
            for (const char* keyword : kDataCommands) {
                if (!(word == keyword || (word.size() >= 4 && abbreviates(word, keyword)))) continue;
                bool numeric = std::string(keyword) == "TEMPERATURE_LIMITS";
                bool digit = isAsciiDigit(c);
                bool operatorChar = std::string("+-*/;=.,)").find(c) != std::string::npos;
                if (numeric ? digit : !digit && !operatorChar) return start;
            }
        }
        line = text.find('\n', line + 1);
    }
    return std::string::npos;
}

}  // namespace tdb
