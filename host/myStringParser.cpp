#include "myStringParser.h"

#include <cstring>
#include <string>

char myStringParser::LastDelim = 0;

namespace {
bool IsWS(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
}  // namespace

void myStringParser::SkipMyWS(char*& p)
{
    if (p == nullptr) return;
    while (IsWS(*p)) ++p;
}

int myStringParser::CopyWord(myCString& word, char*& p, const char* pszDelims, int nMaxLen,
                             bool bToUpper, bool bAllowEmpty)
{
    word.Empty();
    if (p == nullptr) return 0;
    char* q = p;
    SkipMyWS(q);
    char* pStart = q;
    while (*q != 0 && std::strchr(pszDelims, *q) == nullptr) ++q;
    int nLen = static_cast<int>(q - pStart);
    if ((nLen == 0 && !(bAllowEmpty && *q != 0)) || nLen > nMaxLen) {
        LastDelim = *q;
        return 0;
    }
    std::string text(pStart, static_cast<size_t>(nLen));
    if (bToUpper)
        for (char& c : text)
            if (c >= 'a' && c <= 'z') c = static_cast<char>(c - ('a' - 'A'));
    word = text.c_str();

    char cDelim = *q;
    if (cDelim != 0) {
        ++q;
        if (IsWS(cDelim)) {
            SkipMyWS(q);
            if (*q != 0 && std::strchr(pszDelims, *q) != nullptr) {
                cDelim = *q;
                ++q;
            }
        }
        SkipMyWS(q);
    }
    LastDelim = cDelim;
    p = q;
    return 1;
}
