// The temperature step of one phase: the value and first two temperature
// derivatives (the third on request) of exactly the functions the phase
// reads -- its model parameters and the symbol functions they refer to,
// through other symbols too -- each evaluated once per temperature.
//
// It reproduces the kernel's piece evaluation term by term: A + B*T +
// C*T*ln(T) + sum c*T^n + sum d*F(s), plus the R*T*ln(x), f*ln(g), f*exp(g)
// and pressure terms, which (as in the kernel) enter the value only.  The
// differences: powers of T come from one table built by multiplication for
// the exponents the phase uses, ln T is taken once, and the covering piece of
// every function is remembered with the temperature interval in which the
// kernel's range search would pick it, so a new temperature in that interval
// costs no search.
//
// Symbols that are no pieces (SymbolExpressions) take part as well: an
// expression tree is evaluated with its exact derivatives from the results of
// the functions it reads, which come before it; a name without a definition
// is the constant the user gave it, read at every step so that a new value
// takes effect at the next one.  A tree outside its range is 0, as in the
// kernel path.
//
// A function with pieces none of which covers T (the kernel would silently
// give 0), a tree meeting a domain error and a name without a value are
// flagged; refusedAt() then tells whether the phase reads it at T
// through the pieces in use, the same rule as the kernel evaluator's range
// check.  A disabled function is 0 by decision and never flagged.
#ifndef MODELS_TEMPERATURESTEP_H
#define MODELS_TEMPERATURESTEP_H

#include <cstddef>
#include <string>
#include <vector>

#include "database/ExpressionTree.h"

class TThermFkt;
class TThermFktMgr;
class CVxDataMgr;
class SymbolExpressions;

class TemperatureStep
{
public:
    TemperatureStep() = default;

    // Collects the functions: roots are the model parameters (slot i of the
    // result is root i), then the symbol functions they reach, evaluated in
    // dependency order.  Returns an empty string, or what cannot be taken
    // (a reference cycle or an index outside the symbol list).  expressions
    // tells which symbols are trees or names without a definition; it must
    // outlive the step and keep its trees.
    std::string build(const std::vector<TThermFkt*>& roots, TThermFktMgr& symbols, CVxDataMgr& dataMgr,
                      const SymbolExpressions* expressions = nullptr);

    // Evaluates every function at T [K], P [Pa]: derivatives up to 2, or 3 on
    // request.  Returns false when a function in use at T has no covering
    // piece (see above).  Allocates nothing.
    bool run(double T, double P, int derivatives = 2);

    //! Value, dF/dT, d2F/dT2, d3F/dT3 of root i after run (unit of the function).
    const double* root(int i) const { return &values_[4 * static_cast<size_t>(rootSlot_[static_cast<size_t>(i)])]; }
    int rootCount() const { return static_cast<int>(rootSlot_.size()); }
    //! Number of distinct functions evaluated per step.
    int functionCount() const { return static_cast<int>(functions_.size()); }
    //! Number of symbol functions among them.
    int symbolCount() const { return symbolCount_; }
    //! Heap bytes held by the step's tables.
    size_t bytes() const;

private:
    struct Piece
    {
        double lowerExclusive;  //!< largest upper limit of the pieces searched before this one
        double tLow, tHigh;     //!< the piece's own range [K]
        double A, B, C;
        int powerBegin, powerCount;
        int refBegin, refCount;
        int special;            //!< index into specials_, -1 for none
    };
    // The terms the kernel adds to the value only, with their symbol slots (-1 none).
    struct Special
    {
        bool rtln = false, ln = false, exp = false, p = false, tp = false, t2p = false;
        double rtlnFactor = 0, lnFactor = 0, lnArg = 0, expFactor = 0, expArg = 0, pCoef = 0, tpCoef = 0, t2pCoef = 0;
        int rtlnSlot = -1, lnFactorSlot = -1, lnArgSlot = -1, expFactorSlot = -1, expArgSlot = -1, pSlot = -1,
            tpSlot = -1, t2pSlot = -1;
    };
    struct Function
    {
        int pieceBegin = 0, pieceCount = 0;
        int current = -1;        //!< piece of the last step (relative), -1 none
        bool disabled = false;
        bool outside = false;    //!< has pieces, none covering the last T (or a refused tree or name)
        int tree = -1;           //!< index into trees_ for an expression tree, -1 otherwise
        int freeSymbol = -1;     //!< index into the free symbols for a name without a definition
        bool pieces = false;     //!< an enabled function of pieces: the common case, tested first
    };
    // An expression tree: what it is and the slots of the functions it reads.
    struct TreeFunction
    {
        const ExpressionTree* tree;
        double tLow, tHigh;
        int readBegin, readCount;  //!< into treeReads_
    };
    struct Power
    {
        double coef;
        int exponent;
    };
    struct Ref
    {
        double factor;
        int slot;
    };

    int slotOfSymbol(int symbol);
    void evaluate(size_t slot, double T, double P, int derivatives);
    void evaluatePiece(const Piece& q, double* out, double T, double P, int derivatives) const;
    void evaluateTree(Function& fn, double* out, double T, double P, int derivatives);
    bool inUseOutside();

    std::vector<Function> functions_;  //!< evaluation order: symbols (dependencies first), then roots
    std::vector<int> rootSlot_;        //!< slot of root i
    std::vector<Piece> pieces_;
    std::vector<Special> specials_;
    std::vector<Power> powers_;
    std::vector<Ref> refs_;
    std::vector<TreeFunction> trees_;
    std::vector<int> treeReads_;       //!< slots a tree reads, for the in-use check
    std::vector<int> symbolSlots_;     //!< slot of each symbol of the list (kept only when there are trees)
    std::vector<Jet> treeScratch_;     //!< one jet per node of the largest tree
    const SymbolExpressions* expressions_ = nullptr;
    std::vector<double> values_;       //!< 4 per slot: value and three T derivatives
    std::vector<double> powerTable_;   //!< T^e for e = lowExponent_ ... highExponent_
    int lowExponent_ = 0, highExponent_ = 0;
    double lnT_ = 0.0;                 //!< ln T of the current step
    int symbolCount_ = 0;
    std::vector<unsigned char> seen_;  //!< scratch of the in-use check, one per slot
    std::vector<int> stack_;
    // build scratch
    std::vector<int> symbolSlot_;      //!< slot of each symbol of the list, -1 not yet, -2 in progress
    TThermFktMgr* symbols_ = nullptr;
    CVxDataMgr* dataMgr_ = nullptr;
    std::string buildError_;
};

#endif
