// A database expression that the kernel's piece cannot hold (a product of two
// functions, EXP or LN of something T- or P-dependent, a non-integer power,
// SQRT, ...), kept as a tree and evaluated at a temperature and pressure with
// its exact first, second and third temperature derivatives and its first
// pressure derivative.
//
// Evaluation is forward mode: every node carries a Jet (value, d/dT, d2/dT2,
// d3/dT3, d/dP) and the derivatives of sums, products, quotients and of the
// elementary functions follow from those of their operands by the product and
// chain rules (Faa di Bruno to the third order).  The nodes are stored with
// every operand before the node that uses it, so one pass over the array into
// a scratch array of the same length evaluates the tree without recursion or
// allocation.
//
// A symbol node reads the stored results of a function of the symbol list
// (value and the three temperature derivatives); its pressure derivative is
// the one the caller supplies for that function (0 for functions that are
// kernel pieces, whose pressure derivative the kernel does not keep).
#ifndef DATABASE_EXPRESSIONTREE_H
#define DATABASE_EXPRESSIONTREE_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

//! Value and derivatives of one node at one temperature and pressure.
struct Jet
{
    double v = 0.0;    //!< value
    double t = 0.0;    //!< d/dT
    double tt = 0.0;   //!< d2/dT2
    double ttt = 0.0;  //!< d3/dT3
    double p = 0.0;    //!< d/dP
};

class ExpressionTree
{
public:
    enum class Op : int32_t {
        Constant,  //!< value
        T,         //!< temperature [K]
        P,         //!< pressure [Pa]
        Symbol,    //!< stored results of symbol-list function `symbol`
        Add,
        Subtract,
        Multiply,
        Divide,
        Negate,
        Power,     //!< left ** right
        Ln,
        Exp,
        Sqrt,
        Abs,
    };
    //! Why an evaluation has no finite result.
    enum class Fault : int32_t {
        None,
        LnOfNonPositive,      //!< LN of a value <= 0
        DivisionByZero,
        SqrtOfNegative,       //!< SQRT of a value < 0 (or of 0, whose derivative is infinite)
        PowerOfNegative,      //!< a negative base to a non-integer or T-dependent power
        NotFinite,            //!< an overflow or another non-finite value
    };

    struct Node
    {
        Op op = Op::Constant;
        int32_t left = -1;     //!< operand node (unary and binary operations)
        int32_t right = -1;    //!< second operand node (binary operations)
        int32_t symbol = -1;   //!< symbol-list position (Symbol)
        double value = 0.0;    //!< the number (Constant)
    };

    // --- building: each returns the new node's index; operands must exist ---
    int constant(double value);
    int temperature();
    int pressure();
    int symbol(int position);
    int unary(Op op, int operand);
    int binary(Op op, int left, int right);

    const std::vector<Node>& nodes() const { return nodes_; }
    std::vector<Node>& nodes() { return nodes_; }
    bool empty() const { return nodes_.empty(); }
    //! The root is the last node.
    int root() const { return static_cast<int>(nodes_.size()) - 1; }

    //! Symbol-list positions the tree reads, each once, in order of first use.
    std::vector<int> references() const;

    // Evaluates the tree at T [K] and P [Pa] into scratch (at least
    // nodes().size() elements).  symbolJet(position, jet) fills the results
    // of a symbol.  Returns Fault::None with the root's jet in result, or the
    // first fault met, with its node in faultNode.  Allocates nothing.
    template <typename SymbolJet>
    Fault evaluate(double T, double P, const SymbolJet& symbolJet, Jet* scratch, Jet& result, int& faultNode) const;

    //! Database notation ("8.77*T*LN(EXP(155.14*T**(-1))-1)"); symbols by name with a trailing '#'.
    std::string text(const std::function<std::string(int)>& symbolName) const;

    //! A short reason for the fault ("LN of a non-positive value").
    static const char* faultText(Fault fault);

private:
    int add(Op op, int left, int right, int symbol, double value);
    //! One operation from its operands' jets in scratch (not Symbol).
    static Fault evaluateNode(const Node& node, double T, double P, const Jet* scratch, Jet& out);

    std::vector<Node> nodes_;
};

namespace jet {
// Rules of forward differentiation, shared by the evaluation and its tests.
Jet add(const Jet& a, const Jet& b);
Jet subtract(const Jet& a, const Jet& b);
Jet multiply(const Jet& a, const Jet& b);
// phi(g) for an elementary function with phi', phi'', phi''' at g.v given as d1, d2, d3.
Jet chain(const Jet& g, double value, double d1, double d2, double d3);
}  // namespace jet

template <typename SymbolJet>
ExpressionTree::Fault ExpressionTree::evaluate(double T, double P, const SymbolJet& symbolJet, Jet* scratch,
                                               Jet& result, int& faultNode) const
{
    const int n = static_cast<int>(nodes_.size());
    for (int i = 0; i < n; ++i) {
        const Node& node = nodes_[static_cast<size_t>(i)];
        Fault fault = Fault::None;
        if (node.op == Op::Symbol) {
            scratch[i] = Jet{};
            symbolJet(node.symbol, scratch[i]);
        } else {
            fault = evaluateNode(node, T, P, scratch, scratch[i]);
        }
        if (fault == Fault::None) {
            const Jet& j = scratch[i];
            // a non-finite operand is reported where it arises, not where it is used
            if (!(j.v - j.v == 0.0 && j.t - j.t == 0.0 && j.tt - j.tt == 0.0 && j.ttt - j.ttt == 0.0 &&
                  j.p - j.p == 0.0))
                fault = Fault::NotFinite;
        }
        if (fault != Fault::None) {
            faultNode = i;
            return fault;
        }
    }
    result = n > 0 ? scratch[n - 1] : Jet{};
    faultNode = -1;
    return Fault::None;
}

#endif
