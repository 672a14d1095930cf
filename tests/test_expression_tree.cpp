// Expression trees on their own: the forward derivatives against central
// differences and closed forms, domain errors, the written form read back,
// and the cache records.
#include <gtest/gtest.h>

#include <QBuffer>
#include <QDataStream>

#include <cmath>
#include <ostream>
#include <string>
#include <vector>

#include "database/ArchiveBytes.h"
#include "database/ExpressionArchive.h"
#include "database/ExpressionTree.h"
#include "database/SymbolExpressions.h"
#include "tdb/TdbTreeParser.h"

namespace {

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
    ExpressionTree::Fault fault;
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

// --- derivatives against central differences ------------------------------

struct DerivativeCase
{
    const char* name;
    const char* expr;
    double T;
    double P;
};

// Cases print by name, not as bytes.
void PrintTo(const DerivativeCase& c, std::ostream* os) { *os << c.name; }

class TreeDerivatives : public ::testing::TestWithParam<DerivativeCase>
{
};

// Each order against the central difference of the order below it, and the
// pressure derivative against a difference in P: a wrong product or chain
// rule shows at the order where it is wrong.
TEST_P(TreeDerivatives, AgreeWithCentralDifferences)
{
    const DerivativeCase& c = GetParam();
    ExpressionTree tree = Parse(c.expr);
    const double h = 1e-3 * c.T;
    Result mid = Eval(tree, c.T, c.P), up = Eval(tree, c.T + h, c.P), down = Eval(tree, c.T - h, c.P);
    ASSERT_EQ(mid.fault, ExpressionTree::Fault::None);
    auto close = [](double exact, double diff, double scale) {
        return std::fabs(exact - diff) <= 1e-5 * std::max(std::fabs(exact), scale);
    };
    const double d1 = (up.jet.v - down.jet.v) / (2 * h);
    const double d2 = (up.jet.t - down.jet.t) / (2 * h);
    const double d3 = (up.jet.tt - down.jet.tt) / (2 * h);
    EXPECT_PRED3(close, mid.jet.t, d1, std::fabs(mid.jet.v) / c.T * 1e-3) << c.expr;
    EXPECT_PRED3(close, mid.jet.tt, d2, std::fabs(mid.jet.t) / c.T * 1e-3) << c.expr;
    EXPECT_PRED3(close, mid.jet.ttt, d3, std::fabs(mid.jet.tt) / c.T * 1e-3) << c.expr;
    const double hp = 1e-4 * c.P;
    Result pu = Eval(tree, c.T, c.P + hp), pd = Eval(tree, c.T, c.P - hp);
    EXPECT_PRED3(close, mid.jet.p, (pu.jet.v - pd.jet.v) / (2 * hp), std::fabs(mid.jet.v) / c.P * 1e-3) << c.expr;
}

const DerivativeCase kDerivativeCases[] = {
    {"Einstein", "8.77*T*LN(EXP(155.14*T**(-1))-1.0)", 400.0, 1e5},
    {"NonIntegerPower", "3*T**2.5-T**(-0.5)", 700.0, 1e5},
    {"ProductOfSqrtAndLn", "SQRT(T)*LN(T)", 900.0, 1e5},
    {"Quotient", "EXP(T/1000)/(1+T)", 1200.0, 1e5},
    {"ExpressionExponent", "(2*T)**(T/1000)", 800.0, 1e5},
    {"AbsAwayFromItsKink", "ABS(500-T)*T", 650.0, 1e5},
    {"NestedSigns", "-(T**(-1))*-(3)-(-(T))", 350.0, 1e5},
    {"GasPressureTerm", "R*T*LN(1E-05*P)", 1000.0, 2e5},
    {"PressureTimesT", "T*P**0.5+T**2*P", 600.0, 3e5},
    {"NestedParentheses", "((T+1)*((T-2)*(T+3)))/((T))", 450.0, 1e5},
};

INSTANTIATE_TEST_SUITE_P(Cases, TreeDerivatives, ::testing::ValuesIn(kDerivativeCases),
                         [](const ::testing::TestParamInfo<DerivativeCase>& i) { return std::string(i.param.name); });

// The Einstein function a*T*ln(exp(th/T) - 1) against its closed-form
// derivatives, with x = th/T and e = exp(x):
//   G'   = a*ln(e - 1) - a*x*e/(e - 1)
//   G''  = -a*x^2*e / ((e - 1)^2 * T)          (so Cp = -T*G'' is Einstein's)
//   G''' from G'' = -(a/T)*q(x), q = x^2*e/(e - 1)^2, dx/dT = -x/T.
TEST(TreeEinstein, MatchesClosedFormDerivatives)
{
    const double a = 8.77, th = 155.14;
    ExpressionTree tree = Parse("8.77*T*LN(EXP(155.14*T**(-1))-1.0)");
    for (double T : {120.0, 298.15, 1000.0, 3000.0}) {
        const double x = th / T, e = std::exp(x);
        const double G = a * T * std::log(e - 1.0);
        const double G1 = a * std::log(e - 1.0) - a * x * e / (e - 1.0);
        const double G2 = -a * x * x * e / ((e - 1.0) * (e - 1.0) * T);
        // G2 = -a/T * q(x) with q = x^2 e/(e-1)^2; dG2/dT = a/T^2 * q + (-a/T) * q'(x) * (-x/T)
        const double q = x * x * e / ((e - 1.0) * (e - 1.0));
        const double dq = (2 * x * e + x * x * e) / ((e - 1.0) * (e - 1.0)) - 2 * x * x * e * e / std::pow(e - 1.0, 3);
        const double G3 = a / (T * T) * q + a / T * dq * x / T;
        Result r = Eval(tree, T);
        ASSERT_EQ(r.fault, ExpressionTree::Fault::None);
        EXPECT_NEAR(r.jet.v, G, 1e-12 * std::fabs(G) + 1e-12) << T;
        EXPECT_NEAR(r.jet.t, G1, 1e-11 * std::fabs(G1) + 1e-12) << T;
        EXPECT_NEAR(r.jet.tt, G2, 1e-10 * std::fabs(G2)) << T;
        EXPECT_NEAR(r.jet.ttt, G3, 1e-9 * std::fabs(G3)) << T;
    }
}

// The rules themselves against hand-computed numbers: f = 2 + 3T + T^2 at
// T = 1 (f = 6, f' = 5, f'' = 2), g = T^3 at 1 (1, 3, 6, 6).
TEST(TreeRules, ProductAndChainByHand)
{
    const Jet f{6, 5, 2, 0, 0}, g{1, 3, 6, 6, 0};
    const Jet fg = jet::multiply(f, g);
    // (fg)' = 5*1+6*3, (fg)'' = 2*1+2*5*3+6*6, (fg)''' = 0+3*2*3+3*5*6+6*6
    EXPECT_DOUBLE_EQ(fg.v, 6);
    EXPECT_DOUBLE_EQ(fg.t, 23);
    EXPECT_DOUBLE_EQ(fg.tt, 68);
    EXPECT_DOUBLE_EQ(fg.ttt, 144);
    // exp(g) at g = 1: e*(3), e*(9 + 6), e*(27 + 3*3*6 + 6)
    const double e = std::exp(1.0);
    const Jet h = jet::chain(g, e, e, e, e);
    EXPECT_DOUBLE_EQ(h.t, 3 * e);
    EXPECT_DOUBLE_EQ(h.tt, 15 * e);
    EXPECT_DOUBLE_EQ(h.ttt, 87 * e);
}

// --- domain errors ----------------------------------------------------------

struct DomainCase
{
    const char* name;
    const char* expr;
    double T;
    ExpressionTree::Fault fault;
};

// Cases print by name, not as bytes.
void PrintTo(const DomainCase& c, std::ostream* os) { *os << c.name; }

class TreeDomainErrors : public ::testing::TestWithParam<DomainCase>
{
};

TEST_P(TreeDomainErrors, AreReportedNotPropagated)
{
    const DomainCase& c = GetParam();
    Result r = Eval(Parse(c.expr), c.T);
    EXPECT_EQ(r.fault, c.fault) << c.expr;
    EXPECT_STRNE(ExpressionTree::faultText(r.fault), "");
    // a few kelvin away the same expression is fine
    Result fine = Eval(Parse(c.expr), c.T == 1000.0 ? 300.0 : c.T + 700.0);
    EXPECT_EQ(fine.fault, ExpressionTree::Fault::None) << c.expr;
    EXPECT_TRUE(std::isfinite(fine.jet.v) && std::isfinite(fine.jet.ttt));
}

const DomainCase kDomainCases[] = {
    {"LnOfNegative", "LN(T-1000)", 500.0, ExpressionTree::Fault::LnOfNonPositive},
    {"DivisionByZero", "1/(T-500)", 500.0, ExpressionTree::Fault::DivisionByZero},
    {"SqrtOfNegative", "SQRT(T-900)", 500.0, ExpressionTree::Fault::SqrtOfNegative},
    {"NegativeBaseToNonInteger", "(T-1000)**0.5", 500.0, ExpressionTree::Fault::PowerOfNegative},
    {"Overflow", "EXP(T)", 1000.0, ExpressionTree::Fault::NotFinite},
};

INSTANTIATE_TEST_SUITE_P(Cases, TreeDomainErrors, ::testing::ValuesIn(kDomainCases),
                         [](const ::testing::TestParamInfo<DomainCase>& i) { return std::string(i.param.name); });

// A negative base to a whole power is fine, with exact derivatives.
TEST(TreeRules, NegativeBaseToWholePower)
{
    Result r = Eval(Parse("(T-1000)**3"), 500.0);
    ASSERT_EQ(r.fault, ExpressionTree::Fault::None);
    EXPECT_DOUBLE_EQ(r.jet.v, -125e6);
    EXPECT_DOUBLE_EQ(r.jet.t, 3 * 250000.0);
    EXPECT_DOUBLE_EQ(r.jet.tt, 6 * -500.0);
    EXPECT_DOUBLE_EQ(r.jet.ttt, 6.0);
}

// --- written form -------------------------------------------------------------

// The database notation of a tree reads back as a tree with the same values.
TEST(TreeText, ReadsBackToTheSameValues)
{
    const char* exprs[] = {"8.77*T*LN(EXP(155.14*T**(-1))-1.0)", "-(T-3)*(T+2)/(T-(4-T))", "2**(T/500)-T**-2",
                           "SQRT(ABS(T-2000))+1E-05*P*T", "-T**2", "1-(2-(3-T))", "T/(2/T)"};
    for (const char* e : exprs) {
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

TEST(TreeArchive, RoundTripAndDamagedRecords)
{
    SymbolExpressions src;
    SymbolExpressions::TreeSymbol t;
    t.symbol = 1;
    t.tLow = 298.15;
    t.tHigh = 3000;
    t.origin = "FUNCTION GCU";
    t.tree = Parse("8.77*T*LN(EXP(155.14*T**(-1))-1.0)");
    src.addTree(t);
    SymbolExpressions::FreeSymbol f;
    f.symbol = 0;
    f.name = "VA40";
    f.usedAt = "x.tdb:3";
    f.value = -12.5;
    f.isSet = true;
    src.addFree(f);

    QByteArray bytes;
    {
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::WriteOnly);
        QDataStream out(&buffer);
        putSymbolExpressions(out, src);
    }
    auto load = [](const QByteArray& data, int symbols, SymbolExpressions& into, std::string& error) {
        ByteReader in(data.constData(), data.constData() + data.size());
        readSymbolExpressions(in, into, symbols);
        error = in.error();
        return in.ok() && in.left() == 0;
    };
    SymbolExpressions back;
    std::string error;
    ASSERT_TRUE(load(bytes, 2, back, error)) << error;
    ASSERT_EQ(back.trees().size(), 1u);
    EXPECT_EQ(back.trees()[0].origin, "FUNCTION GCU");
    EXPECT_EQ(back.trees()[0].tHigh, 3000.0);
    EXPECT_DOUBLE_EQ(Eval(back.trees()[0].tree, 500).jet.ttt, Eval(t.tree, 500).jet.ttt);
    ASSERT_EQ(back.freeSymbols().size(), 1u);
    EXPECT_EQ(back.freeSymbols()[0].name, "VA40");
    EXPECT_EQ(back.freeSymbols()[0].value, -12.5);
    EXPECT_TRUE(back.freeSymbols()[0].isSet);

    // a symbol outside the list, and an operand that does not precede its node
    SymbolExpressions small;
    EXPECT_FALSE(load(bytes, 1, small, error));
    EXPECT_NE(error.find("symbol of an expression tree 1 outside"), std::string::npos) << error;
    // a tree reading a symbol that the temperature step has not reached yet
    SymbolExpressions ahead;
    SymbolExpressions::TreeSymbol reader;
    reader.symbol = 0;
    reader.tLow = 298.15;
    reader.tHigh = 3000;
    reader.tree.symbol(1);
    ahead.addTree(reader);
    QByteArray aheadBytes;
    {
        QBuffer buffer(&aheadBytes);
        buffer.open(QIODevice::WriteOnly);
        QDataStream out(&buffer);
        putSymbolExpressions(out, ahead);
    }
    SymbolExpressions early;
    EXPECT_FALSE(load(aheadBytes, 2, early, error));
    EXPECT_NE(error.find("not evaluated before its tree"), std::string::npos) << error;
    SymbolExpressions bad;
    SymbolExpressions::TreeSymbol forward;
    forward.symbol = 0;
    forward.tLow = 298.15;
    forward.tHigh = 3000;
    forward.tree.constant(1.0);
    forward.tree.binary(ExpressionTree::Op::Add, 0, 5);  // operand 5 does not exist yet
    bad.addTree(forward);
    QByteArray damaged;
    {
        QBuffer buffer(&damaged);
        buffer.open(QIODevice::WriteOnly);
        QDataStream out(&buffer);
        putSymbolExpressions(out, bad);
    }
    SymbolExpressions broken;
    EXPECT_FALSE(load(damaged, 2, broken, error));
    EXPECT_NE(error.find("does not precede"), std::string::npos) << error;
    // cut short anywhere: a message, never a crash
    for (int n = 0; n < bytes.size(); n += 7) {
        SymbolExpressions cut;
        EXPECT_FALSE(load(bytes.left(n), 2, cut, error)) << n;
    }
}

}  // namespace
