// Translation of one TDB expression (the text between a temperature limit and
// the next ";") into the terms of a temperature-range piece:
//   A + B*T + C*T*LN(T) + sum c*T**n + sum d*F# + R*T*LN(x) + f*LN(g)
//   + f*EXP(g) + p*P + q*T*P + r*T**2*P
// Constant products, quotients, powers, LN and EXP of constants and signs are
// folded; products of sums are multiplied out.  Whatever the piece cannot hold
// (a function times T, LN(T) or EXP of something T-dependent on its own, a
// product of two functions, an exponent outside -27..30, more than 10 powers
// or 16 function references) is refused with the offset of the offending text.
#ifndef TDB_TDBEXPRESSION_H
#define TDB_TDBEXPRESSION_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

class TThermTPolynom;

namespace tdb {

//! Gas constant that "R" stands for in database expressions [J/(mol K)].
//! The same value as the ideal-mixing term, so numbers agree with the open
//! reference tool; only the piece's own R*T*LN(x) term keeps the kernel's constant.
constexpr double kDatabaseGasConstant = 8.3145;

struct ExpressionError
{
    size_t offset = 0;     //!< offset in the text where the offending part starts
    std::string message;   //!< what is wrong or what was expected
};

class ExpressionParser
{
public:
    //! What a function name stands for.
    struct Symbol
    {
        int index = -1;          //!< symbol-list position, -1 when the name is unknown
        bool constant = false;   //!< true: use value instead of a reference
        double value = 0.0;      //!< the function's constant value when constant is set
    };
    //! Resolves an upper-case function name.
    using SymbolResolver = std::function<Symbol(const std::string&)>;

    ExpressionParser(const std::string& text, SymbolResolver resolver);

    // Parses text[begin, end) into piece (whose limits and symbol list the
    // caller sets).  Adds every symbol position the expression refers to to
    // referenced (names resolved to constants are not references).  Returns false with error filled when the expression cannot
    // be represented.
    bool parse(size_t begin, size_t end, TThermTPolynom& piece, std::vector<int>& referenced, ExpressionError& error);

private:
    struct Impl;
    const std::string& text_;
    SymbolResolver resolver_;
};

}  // namespace tdb

#endif
