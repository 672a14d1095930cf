#include "TdbTreeParser.h"

#include "ExpressionScanner.h"

#include <cmath>
#include <cstdlib>

namespace tdb {

namespace {

using Failure = ExpressionFailure;

using Op = ExpressionTree::Op;

struct Parser : ExpressionScanner
{
    Parser(const std::string& text, size_t begin, size_t end, const ExpressionParser::SymbolResolver& resolver,
           ExpressionTree& tree, std::vector<int>& referenced)
        : ExpressionScanner(text, begin, end), resolver(resolver), tree(tree), referenced(referenced)
    {
    }
    const ExpressionParser::SymbolResolver& resolver;
    ExpressionTree& tree;
    std::vector<int>& referenced;

    const ExpressionTree::Node& node(int i) const { return tree.nodes()[static_cast<size_t>(i)]; }
    bool isConstant(int i) const { return node(i).op == Op::Constant; }
    double valueOf(int i) const { return node(i).value; }

    // Replaces the operand nodes just built (the tail of the array from
    // `first` on) by the folded constant.
    int fold(size_t first, double value, size_t offset)
    {
        if (!std::isfinite(value)) throw Failure{offset, "the constant arithmetic overflows (a value beyond the range of numbers)"};
        tree.nodes().resize(first);
        return tree.constant(value);
    }

    int unary(Op op, int a, size_t first, size_t offset)
    {
        if (isConstant(a)) {
            const double x = valueOf(a);
            switch (op) {
            case Op::Negate: return fold(first, -x, offset);
            case Op::Ln:
                if (!(x > 0.0)) throw Failure{offset, "LN of a non-positive constant"};
                return fold(first, std::log(x), offset);
            case Op::Exp: return fold(first, std::exp(x), offset);
            case Op::Sqrt:
                if (x < 0.0) throw Failure{offset, "SQRT of a negative constant"};
                return fold(first, std::sqrt(x), offset);
            case Op::Abs: return fold(first, std::fabs(x), offset);
            default: break;
            }
        }
        return tree.unary(op, a);
    }

    int binary(Op op, int a, int b, size_t first, size_t offset)
    {
        if (op == Op::Divide && isConstant(b) && valueOf(b) == 0.0) throw Failure{offset, "division by zero"};
        if (isConstant(a) && isConstant(b)) {
            const double x = valueOf(a), y = valueOf(b);
            switch (op) {
            case Op::Add: return fold(first, x + y, offset);
            case Op::Subtract: return fold(first, x - y, offset);
            case Op::Multiply: return fold(first, x * y, offset);
            case Op::Divide:
                if (y == 0.0) throw Failure{offset, "division by zero"};
                return fold(first, x / y, offset);
            case Op::Power:
                if (x < 0.0 && y != std::floor(y))
                    throw Failure{offset, "a negative constant raised to a non-integer power"};
                if (x == 0.0 && y < 0.0) throw Failure{offset, "division by zero (0 to a negative power)"};
                return fold(first, std::pow(x, y), offset);
            default: break;
            }
        }
        return tree.binary(op, a, b);
    }

    int sum()
    {
        skipBlanks();
        if (pos >= end) throw Failure{end, "expected an expression"};
        const size_t first = tree.nodes().size();
        int s = product();
        for (;;) {
            skipBlanks();
            if (pos >= end || (text[pos] != '+' && text[pos] != '-')) break;
            const size_t offset = pos;
            const Op op = text[pos] == '+' ? Op::Add : Op::Subtract;
            ++pos;
            int rhs = product();
            s = binary(op, s, rhs, first, offset);
        }
        return s;
    }

    int product()
    {
        const size_t first = tree.nodes().size();
        int s = signedFactor();
        for (;;) {
            skipBlanks();
            if (pos >= end) break;
            const size_t offset = pos;
            if (text[pos] == '*' && !(pos + 1 < end && text[pos + 1] == '*')) {
                ++pos;
                int rhs = signedFactor();
                s = binary(Op::Multiply, s, rhs, first, offset);
            } else if (text[pos] == '/') {
                ++pos;
                int rhs = signedFactor();
                s = binary(Op::Divide, s, rhs, first, offset);
            } else {
                break;
            }
        }
        return s;
    }

    int signedFactor()
    {
        Nest guard(*this);
        skipBlanks();
        if (pos < end && (text[pos] == '+' || text[pos] == '-')) {
            const size_t offset = pos;
            const bool negative = text[pos] == '-';
            ++pos;
            const size_t first = tree.nodes().size();
            int a = signedFactor();
            return negative ? unary(Op::Negate, a, first, offset) : a;
        }
        return power();
    }

    int power()
    {
        const size_t first = tree.nodes().size();
        int base = primary();
        if (peekPower()) {
            const size_t offset = pos;
            pos += 2;
            int exponent = signedFactor();
            return binary(Op::Power, base, exponent, first, offset);
        }
        return base;
    }

    int primary()
    {
        const char c = operandStart();
        const size_t offset = pos;
        if (atNumber()) return tree.constant(number());
        if (c == '(') {
            Nest guard(*this);
            ++pos;
            int s = sum();
            expect(')', "')'");
            return s;
        }
        if (startsName(c)) {
            bool hash = false;
            const std::string name = ExpressionScanner::name(hash);
            if (!hash && (name == "LN" || name == "LOG" || name == "EXP" || name == "SQRT" || name == "ABS") &&
                peek('(')) {
                Nest guard(*this);
                ++pos;
                const size_t first = tree.nodes().size();
                int arg = sum();
                expect(')', "')' after the argument");
                const Op op = name == "EXP" ? Op::Exp : name == "SQRT" ? Op::Sqrt : name == "ABS" ? Op::Abs : Op::Ln;
                return unary(op, arg, first, offset);
            }
            if (!hash && name == "T") return tree.temperature();
            if (!hash && name == "P") return tree.pressure();
            if (!hash && name == "R") return tree.constant(kDatabaseGasConstant);
            ExpressionParser::Symbol sym = resolver(name);
            if (sym.index < 0) {
                // "R#" with no FUNCTION R: some databases write the gas constant so
                if (name == "R") return tree.constant(kDatabaseGasConstant);
                throw Failure{offset, "undefined function '" + name + "'"};
            }
            referenced.push_back(sym.index);
            return tree.symbol(sym.index);
        }
        unexpected(offset, c);
    }
};

}  // namespace

TreeParser::TreeParser(const std::string& text, ExpressionParser::SymbolResolver resolver)
    : text_(text), resolver_(std::move(resolver))
{
}

bool TreeParser::parse(size_t begin, size_t end, ExpressionTree& tree, std::vector<int>& referenced,
                       ExpressionError& error)
{
    Parser p(text_, begin, end, resolver_, tree, referenced);
    try {
        p.sum();
        p.finish();
    } catch (const Failure& f) {
        error.offset = f.offset;
        error.message = f.message;
        return false;
    }
    return true;
}

}  // namespace tdb
