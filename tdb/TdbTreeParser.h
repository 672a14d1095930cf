// Reading of a TDB expression into an expression tree, for the expressions
// the kernel's piece cannot hold exactly.  Takes everything a database writes:
// + - * / ** with any operands, unary signs anywhere, parentheses, numbers
// with E or D exponents, T, P, R (the gas constant of database expressions),
// function names with or without '#', and LN (LOG), EXP, SQRT, ABS.
// Operations on constants are folded, so that a division by a constant zero
// or the LN of a non-positive constant is refused here with its offset, not
// at a temperature.
#ifndef TDB_TDBTREEPARSER_H
#define TDB_TDBTREEPARSER_H

#include <cstddef>
#include <string>
#include <vector>

#include "TdbExpression.h"
#include "database/ExpressionTree.h"

namespace tdb {

class TreeParser
{
public:
    //! resolver: as for the piece parser; a constant-valued name is still read as a reference.
    TreeParser(const std::string& text, ExpressionParser::SymbolResolver resolver);

    // Parses text[begin, end) into tree (which must be empty).  Adds every
    // symbol position read to referenced.  False with error filled on a
    // syntax error, an unknown name, or a constant domain error.
    bool parse(size_t begin, size_t end, ExpressionTree& tree, std::vector<int>& referenced, ExpressionError& error);

private:
    const std::string& text_;
    ExpressionParser::SymbolResolver resolver_;
};

}  // namespace tdb

#endif
