// Word reader over a character pointer, as site-fraction linking uses it.
//
// Grammar of CopyWord, which the constituent-string linking relies on:
//  - leading white space (blank, tab, newline, carriage return) is skipped;
//  - the word is every character up to the first character of the delimiter
//    set or the end of the text;
//  - the delimiter IS consumed.  When the word ended at white space, further
//    white space is skipped too, and if the next character is a non-blank
//    delimiter (":" "," "%" ...) that one is consumed and becomes LastDelim,
//    so "FE ,NI" reads like "FE,NI".  After the consumed delimiter trailing
//    white space is skipped, so "FE: " ends the text like "FE:" does;
//  - LastDelim holds the delimiter that ended the word, or '\0' when the word
//    ran to the end of the text;
//  - the result is 0 (no word) when the word is empty or longer than nMaxLen
//    characters; the pointer is then left where the word started.
#ifndef HOST_MYSTRINGPARSER_H
#define HOST_MYSTRINGPARSER_H

#include "myCString.h"

class myStringParser
{
public:
    static char LastDelim;  //!< delimiter that ended the last word read

    myStringParser() = default;
    ~myStringParser() = default;

    // Advances p over blanks, tabs, newlines and carriage returns.
    static void SkipMyWS(char*& p);

    // bToUpper: convert the word to upper case; bAllowEmpty: an empty word
    // ended by a delimiter counts as read (result nonzero).
    int CopyWord(myCString& word, char*& p, const char* pszDelims, int nMaxLen, bool bToUpper,
                 bool bAllowEmpty);
};

#endif
