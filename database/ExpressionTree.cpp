#include "ExpressionTree.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace jet {

Jet add(const Jet& a, const Jet& b) { return Jet{a.v + b.v, a.t + b.t, a.tt + b.tt, a.ttt + b.ttt, a.p + b.p}; }

Jet subtract(const Jet& a, const Jet& b) { return Jet{a.v - b.v, a.t - b.t, a.tt - b.tt, a.ttt - b.ttt, a.p - b.p}; }

// Leibniz: (ab)^(n) = sum_k C(n,k) a^(k) b^(n-k)
Jet multiply(const Jet& a, const Jet& b)
{
    Jet r;
    r.v = a.v * b.v;
    r.t = a.t * b.v + a.v * b.t;
    r.tt = a.tt * b.v + 2.0 * a.t * b.t + a.v * b.tt;
    r.ttt = a.ttt * b.v + 3.0 * a.tt * b.t + 3.0 * a.t * b.tt + a.v * b.ttt;
    r.p = a.p * b.v + a.v * b.p;
    return r;
}

// Faa di Bruno to the third order:
//   h'   = phi' g'
//   h''  = phi'' g'^2 + phi' g''
//   h''' = phi''' g'^3 + 3 phi'' g' g'' + phi' g'''
Jet chain(const Jet& g, double value, double d1, double d2, double d3)
{
    Jet r;
    r.v = value;
    r.t = d1 * g.t;
    r.tt = d2 * g.t * g.t + d1 * g.tt;
    r.ttt = d3 * g.t * g.t * g.t + 3.0 * d2 * g.t * g.tt + d1 * g.ttt;
    r.p = d1 * g.p;
    return r;
}

}  // namespace jet

namespace {

bool isConstantJet(const Jet& j) { return j.t == 0.0 && j.tt == 0.0 && j.ttt == 0.0 && j.p == 0.0; }

// x**c for a constant exponent c; a negative base only for whole c.
ExpressionTree::Fault constantPower(const Jet& x, double c, Jet& out)
{
    const bool whole = c == std::floor(c);
    if (x.v < 0.0 && !whole) return ExpressionTree::Fault::PowerOfNegative;
    if (x.v == 0.0) {
        if (c < 0.0) return ExpressionTree::Fault::DivisionByZero;
        if (isConstantJet(x)) {
            out = Jet{c == 0.0 ? 1.0 : 0.0, 0, 0, 0, 0};
            return ExpressionTree::Fault::None;
        }
    }
    // phi^(k) = c (c-1) ... (c-k+1) x^(c-k); a vanishing coefficient leaves
    // its power out, so that x = 0 with a whole c gives the exact 0, not 0*inf.
    double coef[4] = {1.0, c, c * (c - 1.0), c * (c - 1.0) * (c - 2.0)};
    double d[4];
    for (int k = 0; k < 4; ++k) d[k] = coef[k] == 0.0 ? 0.0 : coef[k] * std::pow(x.v, c - k);
    out = jet::chain(x, d[0], d[1], d[2], d[3]);
    return ExpressionTree::Fault::None;
}

}  // namespace

int ExpressionTree::add(Op op, int left, int right, int symbol, double value)
{
    Node n;
    n.op = op;
    n.left = left;
    n.right = right;
    n.symbol = symbol;
    n.value = value;
    nodes_.push_back(n);
    return root();
}

int ExpressionTree::constant(double value) { return add(Op::Constant, -1, -1, -1, value); }
int ExpressionTree::temperature() { return add(Op::T, -1, -1, -1, 0.0); }
int ExpressionTree::pressure() { return add(Op::P, -1, -1, -1, 0.0); }
int ExpressionTree::symbol(int position) { return add(Op::Symbol, -1, -1, position, 0.0); }
int ExpressionTree::unary(Op op, int operand) { return add(op, operand, -1, -1, 0.0); }
int ExpressionTree::binary(Op op, int left, int right) { return add(op, left, right, -1, 0.0); }

std::vector<int> ExpressionTree::references() const
{
    std::vector<int> out;
    for (const Node& n : nodes_) {
        if (n.op != Op::Symbol) continue;
        bool seen = false;
        for (int s : out) seen = seen || s == n.symbol;
        if (!seen) out.push_back(n.symbol);
    }
    return out;
}

ExpressionTree::Fault ExpressionTree::evaluateNode(const Node& node, double T, double P, const Jet* scratch,
                                                   Jet& out)
{
    switch (node.op) {
    case Op::Constant:
        out = Jet{node.value, 0, 0, 0, 0};
        return Fault::None;
    case Op::T:
        out = Jet{T, 1.0, 0, 0, 0};
        return Fault::None;
    case Op::P:
        out = Jet{P, 0, 0, 0, 1.0};
        return Fault::None;
    case Op::Symbol:
        return Fault::None;  // filled by the caller
    default:
        break;
    }
    const Jet& a = scratch[node.left];
    switch (node.op) {
    case Op::Add:
        out = jet::add(a, scratch[node.right]);
        return Fault::None;
    case Op::Subtract:
        out = jet::subtract(a, scratch[node.right]);
        return Fault::None;
    case Op::Multiply:
        out = jet::multiply(a, scratch[node.right]);
        return Fault::None;
    case Op::Divide: {
        const Jet& b = scratch[node.right];
        if (b.v == 0.0) return Fault::DivisionByZero;
        // 1/b: (1/x)' = -1/x^2, '' = 2/x^3, ''' = -6/x^4
        const double r = 1.0 / b.v;
        const Jet inverse = jet::chain(b, r, -r * r, 2.0 * r * r * r, -6.0 * r * r * r * r);
        out = jet::multiply(a, inverse);
        return Fault::None;
    }
    case Op::Negate:
        out = Jet{-a.v, -a.t, -a.tt, -a.ttt, -a.p};
        return Fault::None;
    case Op::Power: {
        const Jet& e = scratch[node.right];
        if (isConstantJet(e)) return constantPower(a, e.v, out);
        // x**e = exp(e*ln x): a T- or P-dependent exponent needs a positive base
        if (!(a.v > 0.0)) return Fault::PowerOfNegative;
        const double lx = std::log(a.v), r = 1.0 / a.v;
        const Jet lnx = jet::chain(a, lx, r, -r * r, 2.0 * r * r * r);
        const Jet u = jet::multiply(e, lnx);
        const double ex = std::exp(u.v);
        out = jet::chain(u, ex, ex, ex, ex);
        return Fault::None;
    }
    case Op::Ln: {
        if (!(a.v > 0.0)) return Fault::LnOfNonPositive;
        const double r = 1.0 / a.v;
        out = jet::chain(a, std::log(a.v), r, -r * r, 2.0 * r * r * r);
        return Fault::None;
    }
    case Op::Exp: {
        const double ex = std::exp(a.v);
        out = jet::chain(a, ex, ex, ex, ex);
        return Fault::None;
    }
    case Op::Sqrt: {
        if (a.v < 0.0 || (a.v == 0.0 && !isConstantJet(a))) return Fault::SqrtOfNegative;
        const double s = std::sqrt(a.v);
        if (s == 0.0) {
            out = Jet{};
            return Fault::None;
        }
        // s' = 1/(2s), s'' = -1/(4 s^3), s''' = 3/(8 s^5)
        const double r = 1.0 / s;
        out = jet::chain(a, s, 0.5 * r, -0.25 * r * r * r, 0.375 * r * r * r * r * r);
        return Fault::None;
    }
    case Op::Abs: {
        const double sign = a.v < 0.0 ? -1.0 : 1.0;
        out = Jet{sign * a.v, sign * a.t, sign * a.tt, sign * a.ttt, sign * a.p};
        return Fault::None;
    }
    default:
        return Fault::NotFinite;
    }
}

const char* ExpressionTree::faultText(Fault fault)
{
    switch (fault) {
    case Fault::None: return "no fault";
    case Fault::LnOfNonPositive: return "LN of a non-positive value";
    case Fault::DivisionByZero: return "division by zero";
    case Fault::SqrtOfNegative: return "SQRT of a negative value (or of 0, where its derivative is infinite)";
    case Fault::PowerOfNegative: return "a negative base raised to a non-integer or T- or P-dependent power";
    case Fault::NotFinite: return "the result is not finite (overflow)";
    }
    return "unknown fault";
}

namespace {

// Shortest text that reads back as the same double.
std::string number(double v)
{
    char buf[40];
    for (int digits = 6; digits <= 17; ++digits) {
        std::snprintf(buf, sizeof buf, "%.*g", digits, v);
        if (std::strtod(buf, nullptr) == v) break;
    }
    std::string s = buf;
    // the reader takes "1E-05" and "1e-05" alike; write the database's capital E
    for (char& c : s)
        if (c == 'e') c = 'E';
    return s;
}

// Binding strength of a node in the written form: sums 1, products 2, powers 3, atoms 4.
int strength(const ExpressionTree::Node& n)
{
    using Op = ExpressionTree::Op;
    switch (n.op) {
    case Op::Add:
    case Op::Subtract:
    case Op::Negate: return 1;
    case Op::Multiply:
    case Op::Divide: return 2;
    case Op::Power: return 3;
    case Op::Constant: return n.value < 0.0 ? 1 : 4;
    default: return 4;
    }
}

}  // namespace

std::string ExpressionTree::text(const std::function<std::string(int)>& symbolName) const
{
    if (nodes_.empty()) return "0";
    std::vector<std::string> t(nodes_.size());
    auto wrap = [&](int i, int need) {
        const std::string& s = t[static_cast<size_t>(i)];
        return strength(nodes_[static_cast<size_t>(i)]) < need ? "(" + s + ")" : s;
    };
    for (size_t i = 0; i < nodes_.size(); ++i) {
        const Node& n = nodes_[i];
        switch (n.op) {
        case Op::Constant: t[i] = number(n.value); break;
        case Op::T: t[i] = "T"; break;
        case Op::P: t[i] = "P"; break;
        case Op::Symbol: t[i] = symbolName(n.symbol) + "#"; break;
        case Op::Add: t[i] = wrap(n.left, 1) + "+" + wrap(n.right, 1); break;
        case Op::Subtract: t[i] = wrap(n.left, 1) + "-" + wrap(n.right, 2); break;
        case Op::Multiply: t[i] = wrap(n.left, 2) + "*" + wrap(n.right, 2); break;
        case Op::Divide: t[i] = wrap(n.left, 2) + "/" + wrap(n.right, 3); break;
        case Op::Negate: t[i] = "-" + wrap(n.left, 2); break;
        case Op::Power: t[i] = wrap(n.left, 4) + "**" + wrap(n.right, 4); break;
        case Op::Ln: t[i] = "LN(" + t[static_cast<size_t>(n.left)] + ")"; break;
        case Op::Exp: t[i] = "EXP(" + t[static_cast<size_t>(n.left)] + ")"; break;
        case Op::Sqrt: t[i] = "SQRT(" + t[static_cast<size_t>(n.left)] + ")"; break;
        case Op::Abs: t[i] = "ABS(" + t[static_cast<size_t>(n.left)] + ")"; break;
        }
    }
    return t.back();
}
