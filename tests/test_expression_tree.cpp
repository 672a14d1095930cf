// Expression trees on their own: the forward derivatives against central
// differences and closed forms, domain errors, the written form read back,
// and the cache records.
#include <gtest/gtest.h>

#include <QBuffer>
#include <QDataStream>

#include <cmath>
#include <string>
#include <vector>

#include "database/ArchiveBytes.h"
#include "database/ExpressionArchive.h"
#include "database/ExpressionTree.h"
#include "database/SymbolExpressions.h"
#include "tdb/TdbTreeParser.h"

namespace {

using Fault = ExpressionTree::Fault;

ExpressionTree Parse(const std::string& text)
{
    ExpressionTree tree;
    std::vector<int> refs;
    tdb::ExpressionError error;
    tdb::TreeParser parser(text, [](const std::string&) { return tdb::ExpressionParser::Symbol{}; });
    EXPECT_TRUE(parser.parse(0, text.size(), tree, refs, error)) << text << ": " << error.message;
    return tree;
}

struct Result
{
    Fault fault;
    Jet jet;
};

Result Eval(const ExpressionTree& tree, double T, double P = 1e5)
{
    std::vector<Jet> scratch(tree.nodes().size());
    Result r;
    int node = -1;
    r.fault = tree.evaluate(T, P, [](int, Jet&) {}, scratch.data(), r.jet, node);
    return r;
}

// Each order against the central difference of the order below it, and the
// pressure derivative against a difference in P: a wrong product or chain
// rule shows at the order where it is wrong.
TEST(TreeDerivatives, AgreeWithCentralDifferences)
{
    const struct
    {
        const char* expr;
        double T, P;
    } cases[] = {
        {"8.77*T*LN(EXP(155.14*T**(-1))-1.0)", 400.0, 1e5},  // Einstein
        {"3*T**2.5-T**(-0.5)", 700.0, 1e5},
        {"SQRT(T)*LN(T)", 900.0, 1e5},
        {"EXP(T/1000)/(1+T)", 1200.0, 1e5},
        {"(2*T)**(T/1000)", 800.0, 1e5},
        {"ABS(500-T)*T", 650.0, 1e5},  // away from its kink
        {"-(T**(-1))*-(3)-(-(T))", 350.0, 1e5},
        {"R*T*LN(1E-05*P)", 1000.0, 2e5},
        {"T*P**0.5+T**2*P", 600.0, 3e5},
        {"((T+1)*((T-2)*(T+3)))/((T))", 450.0, 1e5},
    };
    auto close = [](double exact, double diff, double scale) {
        return std::fabs(exact - diff) <= 1e-5 * std::max(std::fabs(exact), scale);
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.expr);
        ExpressionTree tree = Parse(c.expr);
        const double h = 1e-3 * c.T, hp = 1e-4 * c.P;
        Result mid = Eval(tree, c.T, c.P), up = Eval(tree, c.T + h, c.P), down = Eval(tree, c.T - h, c.P);
        ASSERT_EQ(mid.fault, Fault::None);
        EXPECT_PRED3(close, mid.jet.t, (up.jet.v - down.jet.v) / (2 * h), std::fabs(mid.jet.v) / c.T * 1e-3);
        EXPECT_PRED3(close, mid.jet.tt, (up.jet.t - down.jet.t) / (2 * h), std::fabs(mid.jet.t) / c.T * 1e-3);
        EXPECT_PRED3(close, mid.jet.ttt, (up.jet.tt - down.jet.tt) / (2 * h), std::fabs(mid.jet.tt) / c.T * 1e-3);
        Result pu = Eval(tree, c.T, c.P + hp), pd = Eval(tree, c.T, c.P - hp);
        EXPECT_PRED3(close, mid.jet.p, (pu.jet.v - pd.jet.v) / (2 * hp), std::fabs(mid.jet.v) / c.P * 1e-3);
    }
}

// The Einstein function a*T*ln(exp(th/T) - 1) against its closed-form
// derivatives, with x = th/T and e = exp(x):
//   G'   = a*ln(e - 1) - a*x*e/(e - 1)
//   G''  = -a*x^2*e / ((e - 1)^2 * T)          (so Cp = -T*G'' is Einstein's)
//   G''' from G'' = -(a/T)*q(x), q = x^2*e/(e - 1)^2, dx/dT = -x/T.
TEST(TreeRules, EinsteinMatchesClosedFormDerivatives)
{
    const double a = 8.77, th = 155.14;
    ExpressionTree tree = Parse("8.77*T*LN(EXP(155.14*T**(-1))-1.0)");
    for (double T : {120.0, 298.15, 1000.0, 3000.0}) {
        const double x = th / T, e = std::exp(x);
        const double G = a * T * std::log(e - 1.0);
        const double G1 = a * std::log(e - 1.0) - a * x * e / (e - 1.0);
        const double G2 = -a * x * x * e / ((e - 1.0) * (e - 1.0) * T);
        // dG2/dT = a/T^2 * q + (-a/T) * q'(x) * (-x/T)
        const double q = x * x * e / ((e - 1.0) * (e - 1.0));
        const double dq = (2 * x * e + x * x * e) / ((e - 1.0) * (e - 1.0)) - 2 * x * x * e * e / std::pow(e - 1.0, 3);
        const double G3 = a / (T * T) * q + a / T * dq * x / T;
        Result r = Eval(tree, T);
        ASSERT_EQ(r.fault, Fault::None);
        EXPECT_NEAR(r.jet.v, G, 1e-12 * std::fabs(G) + 1e-12) << T;
        EXPECT_NEAR(r.jet.t, G1, 1e-11 * std::fabs(G1) + 1e-12) << T;
        EXPECT_NEAR(r.jet.tt, G2, 1e-10 * std::fabs(G2)) << T;
        EXPECT_NEAR(r.jet.ttt, G3, 1e-9 * std::fabs(G3)) << T;
    }
}

// The rules themselves against hand-computed numbers: f = 2 + 3T + T^2 at
// T = 1 (f = 6, f' = 5, f'' = 2), g = T^3 at 1 (1, 3, 6, 6); and a negative
// base to a whole power, which is fine: (T-1000)**3 at 500.
TEST(TreeRules, ProductChainAndWholePowerByHand)
{
    const Jet f{6, 5, 2, 0, 0}, g{1, 3, 6, 6, 0};
    // (fg)' = 5*1+6*3, (fg)'' = 2*1+2*5*3+6*6, (fg)''' = 0+3*2*3+3*5*6+6*6
    const Jet fg = jet::multiply(f, g);
    // exp(g) at g = 1: e*(3), e*(9 + 6), e*(27 + 3*3*6 + 6)
    const double e = std::exp(1.0);
    const Jet h = jet::chain(g, e, e, e, e);
    Result r = Eval(Parse("(T-1000)**3"), 500.0);
    ASSERT_EQ(r.fault, Fault::None);
    const struct
    {
        Jet got;
        double v, t, tt, ttt;
    } cases[] = {{fg, 6, 23, 68, 144}, {h, e, 3 * e, 15 * e, 87 * e}, {r.jet, -125e6, 3 * 250000.0, 6 * -500.0, 6.0}};
    for (const auto& c : cases) {
        EXPECT_DOUBLE_EQ(c.got.v, c.v);
        EXPECT_DOUBLE_EQ(c.got.t, c.t);
        EXPECT_DOUBLE_EQ(c.got.tt, c.tt);
        EXPECT_DOUBLE_EQ(c.got.ttt, c.ttt);
    }
}

TEST(TreeDomainErrors, AreReportedNotPropagated)
{
    const struct
    {
        const char* expr;
        double T;
        Fault fault;
    } cases[] = {
        {"LN(T-1000)", 500.0, Fault::LnOfNonPositive},
        {"1/(T-500)", 500.0, Fault::DivisionByZero},
        {"SQRT(T-900)", 500.0, Fault::SqrtOfNegative},
        {"(T-1000)**0.5", 500.0, Fault::PowerOfNegative},  // a negative base to a non-integer
        {"EXP(T)", 1000.0, Fault::NotFinite},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.expr);
        Result r = Eval(Parse(c.expr), c.T);
        EXPECT_EQ(r.fault, c.fault);
        EXPECT_STRNE(ExpressionTree::faultText(r.fault), "");
        // a few kelvin away the same expression is fine
        Result fine = Eval(Parse(c.expr), c.T == 1000.0 ? 300.0 : c.T + 700.0);
        EXPECT_EQ(fine.fault, Fault::None);
        EXPECT_TRUE(std::isfinite(fine.jet.v) && std::isfinite(fine.jet.ttt));
    }
}

// The database notation of a tree reads back as a tree with the same values.
TEST(TreeText, ReadsBackToTheSameValues)
{
    for (const char* e : {"8.77*T*LN(EXP(155.14*T**(-1))-1.0)", "-(T-3)*(T+2)/(T-(4-T))", "2**(T/500)-T**-2",
                          "SQRT(ABS(T-2000))+1E-05*P*T", "-T**2", "1-(2-(3-T))", "T/(2/T)"}) {
        ExpressionTree a = Parse(e);
        const std::string written = a.text([](int) { return std::string("S"); });
        ExpressionTree b = Parse(written);
        for (double T : {321.0, 1234.5}) {
            Result ra = Eval(a, T), rb = Eval(b, T);
            EXPECT_DOUBLE_EQ(ra.jet.v, rb.jet.v) << e << " written " << written;
            EXPECT_DOUBLE_EQ(ra.jet.ttt, rb.jet.ttt) << e << " written " << written;
        }
    }
    // constants are folded where they are read
    EXPECT_EQ(Parse("2*3+LN(1)*T").text([](int) { return std::string(); }), "6+0*T");
}

// --- cache records --------------------------------------------------------------

QByteArray Stored(const SymbolExpressions& expressions)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QDataStream out(&buffer);
    putSymbolExpressions(out, expressions);
    return bytes;
}

// Loads the records for a symbol list of that many functions; the error, or "" when they loaded whole.
std::string LoadError(const QByteArray& data, int symbols, SymbolExpressions& into)
{
    ByteReader in(data.constData(), data.constData() + data.size());
    readSymbolExpressions(in, into, symbols);
    if (in.ok() && in.left() == 0) return "";
    return in.error().empty() ? "(bytes left)" : in.error();
}

SymbolExpressions::TreeSymbol TreeOf(int symbol, ExpressionTree tree, const char* origin = "")
{
    SymbolExpressions::TreeSymbol t;
    t.symbol = symbol;
    t.tLow = 298.15;
    t.tHigh = 3000;
    t.origin = origin;
    t.tree = std::move(tree);
    return t;
}

TEST(TreeArchive, RoundTripAndDamagedRecords)
{
    SymbolExpressions src;
    src.addTree(TreeOf(1, Parse("8.77*T*LN(EXP(155.14*T**(-1))-1.0)"), "FUNCTION GCU"));
    SymbolExpressions::FreeSymbol f;
    f.symbol = 0;
    f.name = "VA40";
    f.usedAt = "x.tdb:3";
    f.value = -12.5;
    f.isSet = true;
    src.addFree(f);
    const QByteArray bytes = Stored(src);
    SymbolExpressions back;
    ASSERT_EQ(LoadError(bytes, 2, back), "");
    ASSERT_EQ(back.trees().size(), 1u);
    EXPECT_EQ(back.trees()[0].origin, "FUNCTION GCU");
    EXPECT_EQ(back.trees()[0].tHigh, 3000.0);
    EXPECT_DOUBLE_EQ(Eval(back.trees()[0].tree, 500).jet.ttt, Eval(src.trees()[0].tree, 500).jet.ttt);
    ASSERT_EQ(back.freeSymbols().size(), 1u);
    EXPECT_EQ(back.freeSymbols()[0].name, "VA40");
    EXPECT_EQ(back.freeSymbols()[0].value, -12.5);
    EXPECT_TRUE(back.freeSymbols()[0].isSet);

    // a tree reading a symbol the temperature step has not reached yet, and
    // an operand that does not precede its node
    ExpressionTree ahead, forward;
    ahead.symbol(1);
    forward.constant(1.0);
    forward.binary(ExpressionTree::Op::Add, 0, 5);  // operand 5 does not exist yet
    SymbolExpressions early, bad;
    early.addTree(TreeOf(0, ahead));
    bad.addTree(TreeOf(0, forward));
    const struct
    {
        QByteArray bytes;
        int symbols;
        const char* expected;
    } damaged[] = {{bytes, 1, "symbol of an expression tree 1 outside"},
                   {Stored(early), 2, "not evaluated before its tree"},
                   {Stored(bad), 2, "does not precede"}};
    for (const auto& d : damaged) {
        SymbolExpressions into;
        EXPECT_NE(LoadError(d.bytes, d.symbols, into).find(d.expected), std::string::npos) << d.expected;
    }
    // cut short anywhere: a message, never a crash
    for (int n = 0; n < bytes.size(); n += 7) {
        SymbolExpressions cut;
        EXPECT_NE(LoadError(bytes.left(n), 2, cut), "") << n;
    }
}

}  // namespace
