// The characters of a TDB expression as both expression readers see them
// (the piece reader in TdbExpression.cpp and the tree reader in
// TdbTreeParser.cpp): blanks, single characters, "**", numbers, names with
// an optional '#', the bound on nesting, and what may follow a complete
// expression.  Keeping them in one place keeps the two readers' messages and
// offsets the same for the same text.
#ifndef TDB_EXPRESSIONSCANNER_H
#define TDB_EXPRESSIONSCANNER_H

#include <cstddef>
#include <string>

#include "AsciiText.h"
#include "TdbExpression.h"
#include "TdbNumber.h"

namespace tdb {

// Thrown inside the expression readers only; they turn it into an ExpressionError.
struct ExpressionFailure
{
    size_t offset;        //!< offset in the text that the message blames
    std::string message;  //!< what is wrong or what was expected
};

class ExpressionScanner
{
public:
    ExpressionScanner(const std::string& text, size_t begin, size_t end) : text(text), pos(begin), end(end) {}

    const std::string& text;
    size_t pos;  //!< next character to read
    size_t end;  //!< one past the expression's last character

    // Guards one level of recursion (a sign or a parenthesis), so that no
    // input exhausts the stack.
    class Nest
    {
    public:
        explicit Nest(ExpressionScanner& s) : s_(s)
        {
            if (++s_.depth_ > kMaxNesting) throw ExpressionFailure{s_.pos, "expression nested too deeply"};
        }
        ~Nest() { --s_.depth_; }
        Nest(const Nest&) = delete;
        Nest& operator=(const Nest&) = delete;

    private:
        ExpressionScanner& s_;
    };

    void skipBlanks()
    {
        while (pos < end && isAsciiSpace(text[pos])) ++pos;
    }
    bool peek(char c)
    {
        skipBlanks();
        return pos < end && text[pos] == c;
    }
    bool peekPower()
    {
        skipBlanks();
        return pos + 1 < end && text[pos] == '*' && text[pos + 1] == '*';
    }
    void expect(char c, const char* what)
    {
        if (!peek(c)) throw ExpressionFailure{pos < end ? pos : end, std::string("expected ") + what};
        ++pos;
    }
    // The first character of an operand, after blanks; refuses the end of the text.
    char operandStart()
    {
        skipBlanks();
        if (pos >= end)
            throw ExpressionFailure{end, "expected a number, T, P, a function name or '(' at the end of the expression"};
        return text[pos];
    }
    bool atNumber() const
    {
        return isAsciiDigit(text[pos]) || (text[pos] == '.' && pos + 1 < end && isAsciiDigit(text[pos + 1]));
    }
    static bool startsName(char c) { return isAsciiAlpha(c) || c == '_'; }
    double number()
    {
        double v = 0.0;
        size_t at = 0;
        std::string why;
        if (!readExpressionNumber(text, pos, end, v, at, why)) throw ExpressionFailure{at, why};
        return v;
    }
    // A name in upper case; hash tells whether a '#' followed it.
    std::string name(bool& hash)
    {
        std::string name;
        while (pos < end && (isAsciiAlnum(text[pos]) || text[pos] == '_')) name += toAsciiUpper(text[pos++]);
        hash = pos < end && text[pos] == '#';
        if (hash) ++pos;
        return name;
    }
    [[noreturn]] static void unexpected(size_t at, char c)
    {
        throw ExpressionFailure{at, std::string("unexpected character '") + c + "' in the expression"};
    }
    // After the whole expression: nothing but blanks may follow.
    void finish()
    {
        skipBlanks();
        if (pos >= end) return;
        const char c = text[pos];
        if (c == ')') throw ExpressionFailure{pos, "unbalanced ')'"};
        throw ExpressionFailure{pos, std::string("unexpected '") + c + "' after a complete term (missing operator?)"};
    }

private:
    static constexpr int kMaxNesting = 200;
    int depth_ = 0;  //!< signs and parentheses being read
};

}  // namespace tdb

#endif
