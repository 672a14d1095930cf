// The symbol functions of a database that are not kernel pieces: expression
// trees, and symbols the database uses without defining them (free symbols,
// given a constant by the user).  Both live in the kernel's symbol list as
// functions without pieces, so every piece that refers to them reads their
// results through the list as it reads any other symbol; the temperature
// step writes those results.
//
// The temperature step goes through the symbol list in its order (the reader
// puts it in dependency order, each function after those it reads): a piece
// function is evaluated by the kernel, a tree from the stored results of the
// functions before it, a free symbol is its constant.  A database without
// trees or free symbols takes the kernel's own pass unchanged.
//
// Refusals are recorded, never propagated: a tree whose evaluation meets a
// domain error (LN of a non-positive value, a division by zero, a non-finite
// result) keeps zeros as its results and its fault; a free symbol without a
// value is zero and unset.  Whoever reads a symbol's results asks refusal()
// for the ones it uses.
#ifndef DATABASE_SYMBOLEXPRESSIONS_H
#define DATABASE_SYMBOLEXPRESSIONS_H

#include <string>
#include <vector>

#include "database/ExpressionTree.h"

class CVxDataMgr;
class TThermFktMgr;

class SymbolExpressions
{
public:
    //! A tree that stands for a symbol within a temperature range.
    struct TreeSymbol
    {
        int symbol = -1;        //!< position in the symbol list
        double tLow = 0.0;      //!< range where the tree applies [K]; outside it the results are 0
        double tHigh = 0.0;
        ExpressionTree tree;
        std::string origin;     //!< the command it came from, e.g. "PARAMETER G(LIQUID,CU;0)"
    };
    //! A name the database uses but does not define.
    struct FreeSymbol
    {
        int symbol = -1;        //!< position in the symbol list
        std::string name;
        std::string usedAt;     //!< where it is used, "file:line" separated by ", "
        double value = 0.0;     //!< its constant once set (J per mole of formula units where it is an energy)
        bool isSet = false;
    };

    // --- filled by the reader (and the cache) ---
    void addTree(TreeSymbol tree);
    void addFree(FreeSymbol free);
    //! After the symbol list was reordered: position old becomes oldToNew[old].
    void renumber(const std::vector<int>& oldToNew);

    const std::vector<TreeSymbol>& trees() const { return trees_; }
    const std::vector<FreeSymbol>& freeSymbols() const { return free_; }
    bool empty() const { return trees_.empty() && free_.empty(); }

    //! The tree of symbol position s, null when s is no tree.
    const TreeSymbol* treeOf(int s) const;
    //! The free symbol at position s, null when s is none.
    const FreeSymbol* freeOf(int s) const;

    // --- values of free symbols: take effect at the next temperature step ---
    //! Sets free symbol name (upper case); false with error when the database has no such free symbol.
    bool setValue(const std::string& name, double value, std::string& error);
    //! Sets every free symbol without a value to 0; returns "NAME (used at ...)" per symbol set, one a line.
    std::string setUnsetToZero();

    // Temperature step of the symbol list (the power table already holds T):
    // see the class comment.  Allocates nothing once it has run for the
    // list's current size.
    void step(TThermFktMgr& symbols, double T, double P);

    //! treeOf by position, without a search; valid after a step over the current list.
    const TreeSymbol* treeAt(int s) const
    {
        return s >= 0 && static_cast<size_t>(s) < treeAt_.size() && treeAt_[static_cast<size_t>(s)] >= 0
                   ? &trees_[static_cast<size_t>(treeAt_[static_cast<size_t>(s)])]
                   : nullptr;
    }
    //! True when s is a free symbol without a value; no allocation.
    bool isUnsetFree(int s) const;
    //! True when refusal(s) is not empty; no allocation.
    bool hasRefusal(int s) const;
    //! Why the results of symbol s at the last step cannot be used; empty when they can.
    std::string refusal(int s, const CVxDataMgr& names) const;
    //! Pressure derivative of symbol s at the last step (trees; 0 for other symbols).
    double pressureDerivative(int s) const;

private:
    void index(int symbolCount);

    std::vector<TreeSymbol> trees_;
    std::vector<FreeSymbol> free_;
    // per symbol position, rebuilt when the list's size changes
    std::vector<int> treeAt_;    //!< index into trees_, or -1
    std::vector<int> freeAt_;    //!< index into free_, or -1
    std::vector<ExpressionTree::Fault> fault_;  //!< of the last step
    std::vector<int> faultNode_;
    std::vector<double> dP_;
    double lastT_ = 0.0;
    std::vector<Jet> scratch_;   //!< one jet per node of the largest tree
};

#endif
