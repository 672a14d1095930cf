#include "TdbExpression.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <string_view>
#include <tuple>

#include "ExpressionScanner.h"
#include "RecycledBlocks.h"
#include "thermfunctions/TThermTPolynom.h"

namespace tdb {

using namespace std::string_view_literals;

namespace {

using Failure = ExpressionFailure;

enum class Special { None, Ln, Exp };

// One product c * T**tPow * LN(T)**lnT * P**pPow * R**r * F(sym) * [LN|EXP](argC * F(argSym)).
struct Mono
{
    double c = 1.0;
    int tPow = 0;
    int lnT = 0;
    int pPow = 0;
    int r = 0;
    int sym = -1;               //!< at most one function factor; two are refused when they meet
    Special special = Special::None;
    double argC = 0.0;          //!< constant of the LN/EXP argument
    int argSym = -1;            //!< function of the LN/EXP argument, or -1
    size_t offset = 0;          //!< where the text of this product starts

    bool isConstant() const
    {
        return tPow == 0 && lnT == 0 && pPow == 0 && r == 0 && sym < 0 && special == Special::None;
    }
    auto key() const { return std::make_tuple(tPow, lnT, pPow, r, sym, static_cast<int>(special), argC, argSym); }
};

using Sum = std::vector<Mono, RecycledBlocks<Mono>>;

// Folding constants must not turn finite numbers into an infinite or undefined
// coefficient (1E200*1E200, 1E308+1E308): that is refused like the literal 1E999.
const Mono& finite(const Mono& m)
{
    if (!std::isfinite(m.c))
        throw Failure{m.offset, "the constant arithmetic overflows (a value beyond the range of numbers)"};
    return m;
}

Sum constant(double c, size_t offset)
{
    Mono m;
    m.c = c;
    m.offset = offset;
    return Sum{m};
}

// LN of a constant is kept as a term until the R*T*LN(x) form has had its
// chance; everywhere else it is just the number.
Mono foldConstantLn(Mono m)
{
    if (m.special == Special::Ln && m.argSym < 0) {
        m.c *= std::log(m.argC);
        m.special = Special::None;
        m.argC = 0.0;
    }
    return finite(m);
}

// Adds the coefficients of products that differ only in their coefficient
// (in place: the first of equal products keeps the sum, in their order).
void normaliseInPlace(Sum& s)
{
    size_t kept = 0;
    for (size_t i = 0; i < s.size(); ++i) {
        bool merged = false;
        for (size_t k = 0; k < kept; ++k)
            if (s[k].key() == s[i].key()) {
                s[k].c += s[i].c;
                finite(s[k]);
                merged = true;
                break;
            }
        if (!merged) s[kept++] = s[i];
    }
    s.resize(kept);
}

Sum normalise(const Sum& s)
{
    Sum out = s;
    normaliseInPlace(out);
    return out;
}

Mono multiply(const Mono& a0, const Mono& b0)
{
    bool both = a0.special != Special::None && b0.special != Special::None;
    const Mono a = both ? foldConstantLn(a0) : a0;
    const Mono b = both ? foldConstantLn(b0) : b0;
    Mono m;
    m.offset = std::min(a.offset, b.offset);
    m.c = a.c * b.c;
    m.tPow = a.tPow + b.tPow;
    m.lnT = a.lnT + b.lnT;
    m.pPow = a.pPow + b.pPow;
    m.r = a.r + b.r;
    if (a.sym >= 0 && b.sym >= 0)
        throw Failure{b.offset, "a product of two functions is not in the term model (a function may only be "
                                "multiplied by a constant)"};
    m.sym = a.sym >= 0 ? a.sym : b.sym;
    if (a.special != Special::None && b.special != Special::None)
        throw Failure{b.offset, "a product of two LN or EXP terms is not in the term model"};
    const Mono& sp = a.special != Special::None ? a : b;
    m.special = sp.special;
    m.argC = sp.argC;
    m.argSym = sp.argSym;
    return finite(m);
}

Sum multiply(const Sum& a, const Sum& b)
{
    Sum out;
    out.reserve(a.size() * b.size());
    for (const Mono& x : a)
        for (const Mono& y : b) out.push_back(multiply(x, y));
    normaliseInPlace(out);
    return out;
}

// The single product of a sum that a divisor or an argument must be.
Mono single(const Sum& s, size_t offset, const char* what)
{
    Sum n = normalise(s);
    if (n.size() != 1) throw Failure{offset, std::string(what) + " must be a single term, not a sum"};
    return n.front();
}

Mono invert(const Mono& m)
{
    if (m.sym >= 0 || m.special != Special::None || m.lnT != 0 || m.pPow != 0)
        throw Failure{m.offset, "division by a function, LN, EXP or P is not in the term model"};
    if (m.c == 0.0) throw Failure{m.offset, "division by zero"};
    Mono inv = m;
    inv.c = 1.0 / m.c;
    inv.tPow = -m.tPow;
    inv.r = -m.r;
    return finite(inv);
}

// Folds the symbolic gas constant into the coefficient.
Mono foldR(Mono m)
{
    if (m.r != 0) {
        m.c *= std::pow(kDatabaseGasConstant, m.r);
        m.r = 0;
    }
    return finite(m);
}

Sum power(const Sum& base, const Sum& exponent, size_t offset)
{
    Sum e = normalise(exponent);
    if (e.size() != 1 || !foldR(e.front()).isConstant())
        throw Failure{offset, "an exponent must be a constant integer"};
    double x = foldR(e.front()).c;
    if (x != std::floor(x) || std::fabs(x) > 1000.0) throw Failure{offset, "an exponent must be a constant integer"};
    int n = static_cast<int>(x);
    Sum b = normalise(base);
    if (n == 0) return constant(1.0, offset);
    if (b.size() == 1) {
        Mono m = foldConstantLn(b.front());
        if (n < 0) {
            m = invert(m);
            n = -n;
        }
        if (n == 1) return Sum{m};
        if (m.sym >= 0) throw Failure{offset, "a power of a function is not in the term model"};
        if (m.special != Special::None) throw Failure{offset, "a power of an LN or EXP term is not in the term model"};
        Mono p = m;
        p.c = std::pow(m.c, n);
        p.tPow = m.tPow * n;
        p.lnT = m.lnT * n;
        p.pPow = m.pPow * n;
        p.r = m.r * n;
        return Sum{finite(p)};
    }
    if (n < 0) throw Failure{offset, "a negative power of a sum is not in the term model"};
    if (n > 8) throw Failure{offset, "a power above 8 of a sum is not expanded"};
    Sum out = b;
    for (int i = 1; i < n; ++i) out = multiply(out, b);
    return out;
}

struct Parser : ExpressionScanner
{
    Parser(const std::string& text, size_t begin, size_t end, const ExpressionParser::SymbolResolver& resolver,
           std::vector<int>& referenced)
        : ExpressionScanner(text, begin, end), resolver(resolver), referenced(referenced)
    {
    }
    const ExpressionParser::SymbolResolver& resolver;
    std::vector<int>& referenced;

    Sum parseSum()
    {
        skipBlanks();
        if (pos >= end) throw Failure{end, "expected an expression"};
        Sum s = parseProduct();
        for (;;) {
            skipBlanks();
            if (pos >= end || (text[pos] != '+' && text[pos] != '-')) break;
            Sum rhs = parseProduct();  // the sign is taken as unary minus of the product
            s.insert(s.end(), rhs.begin(), rhs.end());
        }
        return s;
    }

    Sum parseProduct()
    {
        Sum s = parseUnary();
        for (;;) {
            skipBlanks();
            if (pos >= end) break;
            if (text[pos] == '*' && !(pos + 1 < end && text[pos + 1] == '*')) {
                ++pos;
                Sum factor = parseUnary();
                if (s.size() == 1 && factor.size() == 1)
                    s.front() = multiply(s.front(), factor.front());  // the common case, without a new sum
                else
                    s = multiply(s, factor);
            } else if (text[pos] == '/') {
                size_t at = ++pos;
                Sum d = parseUnary();
                s = multiply(s, Sum{invert(single(d, at, "a divisor"))});
            } else {
                break;
            }
        }
        return s;
    }

    Sum parseUnary()
    {
        Nest guard(*this);
        skipBlanks();
        if (pos < end && (text[pos] == '+' || text[pos] == '-')) {
            bool negative = text[pos] == '-';
            ++pos;
            Sum s = parseUnary();
            if (negative)
                for (Mono& m : s) m.c = -m.c;
            return s;
        }
        return parsePower();
    }

    Sum parsePower()
    {
        Sum base = parsePrimary();
        if (peekPower()) {
            size_t at = pos;
            pos += 2;
            Sum e = parseUnary();
            return power(base, e, at);
        }
        return base;
    }

    Sum parsePrimary()
    {
        const char c = operandStart();
        const size_t at = pos;
        if (atNumber()) return constant(number(), at);
        if (c == '(') {
            Nest guard(*this);
            ++pos;
            Sum s = parseSum();
            expect(')', "')'");
            return s;
        }
        if (startsName(c)) {
            bool hash = false;
            const std::string name = ExpressionScanner::name(hash);
            if (!hash && (name == "LN"sv || name == "LOG"sv || name == "EXP"sv) && peek('(')) {
                ++pos;
                size_t argAt = pos;
                Sum arg = parseSum();
                expect(')', "')' after the argument");
                return name == "EXP"sv ? exponential(arg, argAt, at) : logarithm(arg, argAt, at);
            }
            Mono m;
            m.offset = at;
            if (!hash && name == "T"sv) {
                m.tPow = 1;
            } else if (!hash && name == "P"sv) {
                m.pPow = 1;
            } else if (!hash && name == "R"sv) {
                m.r = 1;
            } else {
                ExpressionParser::Symbol sym = resolver(name);
                if (sym.index < 0) {
                    if (name != "R") throw Failure{at, "undefined function '" + name + "'"};
                    m.r = 1;  // "R#" with no FUNCTION R: the gas constant, as some databases write it
                    return Sum{m};
                }
                if (sym.constant) return constant(sym.value, at);
                referenced.push_back(sym.index);
                m.sym = sym.index;
            }
            return Sum{m};
        }
        unexpected(at, c);
    }

    // The argument of LN or EXP: a constant, or a constant times one function.
    Mono argument(const Sum& arg, size_t argAt, const char* fn)
    {
        Sum a = normalise(arg);
        if (a.size() != 1)
            throw Failure{argAt, std::string(fn) + " of a sum is not in the term model"};
        Mono m = foldConstantLn(foldR(a.front()));
        if (m.tPow != 0 || m.lnT != 0 || m.pPow != 0 || m.special != Special::None)
            throw Failure{argAt, std::string(fn) + " of a T- or P-dependent argument is not in the term model"};
        return m;
    }

    Sum logarithm(const Sum& arg, size_t argAt, size_t at)
    {
        Sum a = normalise(arg);
        // LN(T) and LN(c*T): only usable next to T, which the mapping checks
        if (a.size() == 1) {
            Mono t = foldR(a.front());
            if (t.tPow == 1 && t.lnT == 0 && t.pPow == 0 && t.sym < 0 && t.special == Special::None) {
                if (t.c <= 0.0) throw Failure{argAt, "LN of a non-positive argument"};
                Mono lnT;
                lnT.lnT = 1;
                lnT.offset = at;
                Sum s{lnT};
                if (t.c != 1.0) s.push_back(constant(std::log(t.c), at).front());
                return s;
            }
        }
        Mono m = argument(arg, argAt, "LN");
        if (m.sym < 0 && !(m.c > 0.0)) throw Failure{argAt, "LN of a non-positive constant"};
        return special(Special::Ln, m, at);
    }

    // LN or EXP of the argument m (a constant, or a constant times a function).
    static Sum special(Special kind, const Mono& m, size_t at)
    {
        Mono f;
        f.offset = at;
        f.special = kind;
        f.argC = m.c;
        f.argSym = m.sym;
        return Sum{f};
    }

    Sum exponential(const Sum& arg, size_t argAt, size_t at)
    {
        Mono m = argument(arg, argAt, "EXP");
        if (m.sym < 0) {
            double v = std::exp(m.c);
            if (!std::isfinite(v)) throw Failure{argAt, "EXP of a constant overflows"};
            return constant(v, at);
        }
        return special(Special::Exp, m, at);
    }
};

// Adds c to the slot whose key is key (a power or a function), taking a new
// slot when there is none; repeated powers and references share one slot.
void addToSlot(int32_t* keys, double* coefs, int32_t& used, int limit, int key, double c, size_t offset,
               const char* full)
{
    int i = 0;
    while (i < used && keys[i] != key) ++i;
    if (i == used) {
        if (i == limit) throw Failure{offset, full};
        keys[i] = key;
        coefs[i] = 0.0;
        ++used;
    }
    coefs[i] += c;
}

// Puts every product into its slot of the piece.
void assign(const Sum& sum, TThermTPolynom& piece)
{
    for (const Mono& raw : sum) {
        // R*T*LN(x) keeps its own term; any other R is a number
        if (raw.r == 1 && raw.tPow == 1 && raw.lnT == 0 && raw.pPow == 0 && raw.sym < 0 &&
            raw.special == Special::Ln) {
            double x = raw.argC;
            int xSym = raw.argSym;
            if (raw.c != 1.0) {
                if (xSym >= 0)
                    throw Failure{raw.offset, "R*T*LN(x) of a function is only in the term model with the factor 1"};
                x = std::pow(raw.argC, raw.c);  // c*R*T*LN(a) = R*T*LN(a**c)
                if (!std::isfinite(x) || x <= 0.0) throw Failure{raw.offset, "R*T*LN(x): the folded argument overflows"};
            }
            if (piece.m_bRTLnTerm) {
                if (xSym >= 0 || piece.m_nRTLnSymbol >= 0)
                    throw Failure{raw.offset, "more than one R*T*LN term with a function argument"};
                piece.m_dRTLnFactor *= x;
            } else {
                piece.m_bRTLnTerm = 1;
                piece.m_dRTLnFactor = x;
                piece.m_nRTLnSymbol = xSym;
            }
            continue;
        }
        Mono m = foldConstantLn(foldR(raw));
        if (m.c == 0.0 && !m.isConstant()) continue;  // "+0*T**2" adds nothing
        if (m.special != Special::None) {
            if (m.tPow != 0 || m.lnT != 0 || m.pPow != 0)
                throw Failure{m.offset, std::string(m.special == Special::Ln ? "LN" : "EXP") +
                                            "(...) multiplied by T, LN(T) or P is not in the term model"};
            if (m.special == Special::Ln) {
                if (piece.m_bLnTerm) throw Failure{m.offset, "more than one LN term of a function"};
                piece.m_bLnTerm = 1;
                piece.m_dLnFactor = m.c;
                piece.m_nLnFactorSymbol = m.sym;
                piece.m_dLnArg = m.argC;
                piece.m_nLnArgSymbol = m.argSym;
            } else {
                if (piece.m_bExpTerm) throw Failure{m.offset, "more than one EXP term of a function"};
                piece.m_bExpTerm = 1;
                piece.m_dExpFactor = m.c;
                piece.m_nExpFactorSymbol = m.sym;
                piece.m_dExpArg = m.argC;
                piece.m_nExpArgSymbol = m.argSym;
            }
            continue;
        }
        if (m.pPow != 0) {
            if (m.pPow != 1 || m.lnT != 0 || m.tPow < 0 || m.tPow > 2)
                throw Failure{m.offset, "only P, T*P and T**2*P are in the term model as pressure terms"};
            int32_t* flag = m.tPow == 0 ? &piece.m_bPTerm : m.tPow == 1 ? &piece.m_bTPTerm : &piece.m_bT2PTerm;
            double* coef = m.tPow == 0 ? &piece.m_dPCoef : m.tPow == 1 ? &piece.m_dTPCoef : &piece.m_dT2PCoef;
            int32_t* sym = m.tPow == 0 ? &piece.m_nPSymbol : m.tPow == 1 ? &piece.m_nTPSymbol : &piece.m_nT2PSymbol;
            if (*flag && *sym != m.sym)
                throw Failure{m.offset, "two pressure terms of the same power of T with different functions"};
            *coef = *flag ? *coef + m.c : m.c;
            *sym = m.sym;
            *flag = 1;
            piece.m_bPressureTerms = 1;
            continue;
        }
        if (m.sym >= 0) {
            if (m.tPow != 0 || m.lnT != 0)
                throw Failure{m.offset, "a function multiplied by T or LN(T) is not in the term model"};
            addToSlot(piece.m_anSymbolIndex, piece.m_adSymbolFactor, piece.m_nSymbolTerms, 16, m.sym, m.c, m.offset,
                      "more than 16 function references in one range");
            continue;
        }
        if (m.lnT != 0) {
            if (m.lnT != 1 || m.tPow != 1)
                throw Failure{m.offset, "LN(T) is only in the term model as T*LN(T)"};
            piece.m_dC += m.c;
            continue;
        }
        if (m.tPow == 0) {
            piece.m_dA += m.c;
        } else if (m.tPow == 1) {
            piece.m_dB += m.c;
        } else {
            if (m.tPow < -27 || m.tPow > 30)
                throw Failure{m.offset, "exponent " + std::to_string(m.tPow) + " of T is outside -27..30"};
            addToSlot(piece.m_anPowerExp, piece.m_adPowerCoef, piece.m_nPowerTerms, 10, m.tPow, m.c, m.offset,
                      "more than 10 powers of T in one range");
        }
        if (!std::isfinite(piece.m_dA) || !std::isfinite(piece.m_dB) || !std::isfinite(piece.m_dC))
            finite(Mono{piece.m_dA + piece.m_dB + piece.m_dC, 0, 0, 0, 0, -1, Special::None, 0.0, -1, raw.offset});
    }
}

}  // namespace

ExpressionParser::ExpressionParser(const std::string& text, SymbolResolver resolver)
    : text_(text), resolver_(std::move(resolver))
{
}

bool ExpressionParser::parse(size_t begin, size_t end, TThermTPolynom& piece, std::vector<int>& referenced,
                             ExpressionError& error)
{
    Parser p(text_, begin, end, resolver_, referenced);
    try {
        Sum s = p.parseSum();
        p.finish();
        normaliseInPlace(s);
        assign(s, piece);
    } catch (const Failure& f) {
        error.offset = f.offset;
        error.message = f.message;
        return false;
    }
    return true;
}

}  // namespace tdb
