#include "SymbolExpressions.h"

#include <algorithm>
#include <cstdio>

#include "host/CVxDataMgr.h"
#include "thermfunctions/TThermFkt.h"
#include "thermfunctions/TThermFktMgr.h"

void SymbolExpressions::addTree(TreeSymbol tree)
{
    trees_.push_back(std::move(tree));
    treeAt_.clear();
}

void SymbolExpressions::addFree(FreeSymbol free)
{
    free_.push_back(std::move(free));
    freeAt_.clear();
}

void SymbolExpressions::renumber(const std::vector<int>& oldToNew)
{
    auto map = [&](int s) { return s >= 0 && s < static_cast<int>(oldToNew.size()) ? oldToNew[s] : s; };
    for (TreeSymbol& t : trees_) {
        t.symbol = map(t.symbol);
        for (ExpressionTree::Node& n : t.tree.nodes())
            if (n.op == ExpressionTree::Op::Symbol) n.symbol = map(n.symbol);
    }
    for (FreeSymbol& f : free_) f.symbol = map(f.symbol);
    treeAt_.clear();
    freeAt_.clear();
}

void SymbolExpressions::index(int symbolCount)
{
    const size_t n = static_cast<size_t>(symbolCount);
    treeAt_.assign(n, -1);
    freeAt_.assign(n, -1);
    fault_.assign(n, ExpressionTree::Fault::None);
    faultNode_.assign(n, -1);
    dP_.assign(n, 0.0);
    size_t largest = 0;
    for (size_t k = 0; k < trees_.size(); ++k) {
        const int s = trees_[k].symbol;
        if (s >= 0 && s < symbolCount) treeAt_[static_cast<size_t>(s)] = static_cast<int>(k);
        largest = std::max(largest, trees_[k].tree.nodes().size());
    }
    for (size_t k = 0; k < free_.size(); ++k) {
        const int s = free_[k].symbol;
        if (s >= 0 && s < symbolCount) freeAt_[static_cast<size_t>(s)] = static_cast<int>(k);
    }
    scratch_.assign(largest, Jet{});
}

const SymbolExpressions::TreeSymbol* SymbolExpressions::treeOf(int s) const
{
    for (const TreeSymbol& t : trees_)
        if (t.symbol == s) return &t;
    return nullptr;
}

const SymbolExpressions::FreeSymbol* SymbolExpressions::freeOf(int s) const
{
    for (const FreeSymbol& f : free_)
        if (f.symbol == s) return &f;
    return nullptr;
}

bool SymbolExpressions::setValue(const std::string& name, double value, std::string& error)
{
    for (FreeSymbol& f : free_)
        if (f.name == name) {
            f.value = value;
            f.isSet = true;
            return true;
        }
    std::string names;
    for (const FreeSymbol& f : free_) names += (names.empty() ? "" : ", ") + f.name;
    error = name + " is not a symbol the database uses without defining it" +
            (names.empty() ? std::string(" (it has none)") : " (those are: " + names + ")");
    return false;
}

std::string SymbolExpressions::setUnsetToZero()
{
    std::string list;
    for (FreeSymbol& f : free_) {
        if (f.isSet) continue;
        f.value = 0.0;
        f.isSet = true;
        list += "  " + f.name + " (used at " + f.usedAt + ")\n";
    }
    return list;
}

void SymbolExpressions::step(TThermFktMgr& symbols, double T, double P)
{
    if (empty()) {
        symbols.SaveCalcPTValues(T, P, 2);
        return;
    }
    const int n = symbols.m_FktArray.m_nSize;
    if (static_cast<int>(treeAt_.size()) != n || static_cast<int>(freeAt_.size()) != n) index(n);
    lastT_ = T;
    TThermFkt* const* list = symbols.m_FktArray.m_pData;
    auto store = [](TThermFkt& f, const Jet& j) {
        f.m_dValue = j.v;
        f.m_dAktVal_F = j.v;
        f.m_dValueT = j.t;
        f.m_dValueTT = j.tt;
        f.m_dValueTTT = j.ttt;
    };
    auto symbolJet = [&](int s, Jet& j) {
        const TThermFkt& f = *list[s];
        j.v = f.m_dValue;
        j.t = f.m_dValueT;
        j.tt = f.m_dValueTT;
        j.ttt = f.m_dValueTTT;
        j.p = dP_[static_cast<size_t>(s)];
    };
    for (int i = 0; i < n; ++i) {
        const size_t u = static_cast<size_t>(i);
        TThermFkt& f = *list[i];
        if (treeAt_[u] >= 0) {
            const TreeSymbol& t = trees_[static_cast<size_t>(treeAt_[u])];
            Jet result;
            fault_[u] = ExpressionTree::Fault::None;
            if (T >= t.tLow && T <= t.tHigh)
                fault_[u] = t.tree.evaluate(T, P, symbolJet, scratch_.data(), result, faultNode_[u]);
            if (fault_[u] != ExpressionTree::Fault::None) result = Jet{};
            store(f, result);
            dP_[u] = result.p;
        } else if (freeAt_[u] >= 0) {
            const FreeSymbol& fs = free_[static_cast<size_t>(freeAt_[u])];
            store(f, Jet{fs.isSet ? fs.value : 0.0, 0, 0, 0, 0});
        } else {
            f.SaveCalcPTValues(T, P, 2, i);
        }
    }
}

bool SymbolExpressions::isUnsetFree(int s) const
{
    const size_t u = static_cast<size_t>(s);
    if (s >= 0 && u < freeAt_.size()) return freeAt_[u] >= 0 && !free_[static_cast<size_t>(freeAt_[u])].isSet;
    const FreeSymbol* f = freeOf(s);  // before the first step
    return f != nullptr && !f->isSet;
}

bool SymbolExpressions::hasRefusal(int s) const
{
    if (s < 0) return false;
    const size_t u = static_cast<size_t>(s);
    if (u < freeAt_.size() && freeAt_[u] >= 0) return !free_[static_cast<size_t>(freeAt_[u])].isSet;
    return u < fault_.size() && fault_[u] != ExpressionTree::Fault::None;
}

std::string SymbolExpressions::refusal(int s, const CVxDataMgr& dm) const
{
    if (s < 0) return std::string();
    const size_t u = static_cast<size_t>(s);
    std::string name = s < dm.m_SymbolNames1.m_nSize ? dm.m_SymbolNames1.m_pData[s].c_str() : "";
    const FreeSymbol* free = u < freeAt_.size() ? (freeAt_[u] >= 0 ? &free_[static_cast<size_t>(freeAt_[u])] : nullptr)
                                                : freeOf(s);  // before the first step
    if (free != nullptr) {
        const FreeSymbol& f = *free;
        if (f.isSet) return std::string();
        return "function " + f.name + " is not defined in the database (used at " + f.usedAt +
               "); give it a value with --set " + f.name + "=VALUE or --undefined-as-zero";
    }
    if (u < treeAt_.size() && treeAt_[u] >= 0 && fault_[u] != ExpressionTree::Fault::None) {
        const TreeSymbol& t = trees_[static_cast<size_t>(treeAt_[u])];
        auto symbolName = [&dm](int k) {
            return std::string(k >= 0 && k < dm.m_SymbolNames1.m_nSize ? dm.m_SymbolNames1.m_pData[k].c_str() : "?");
        };
        char at[64];
        std::snprintf(at, sizeof at, "%g", lastT_);
        std::string where = t.origin.empty() ? "" : " (" + t.origin + ")";
        return "function " + name + where + " = " + t.tree.text(symbolName) + " cannot be evaluated at T = " + at +
               " K: " + ExpressionTree::faultText(fault_[u]);
    }
    return std::string();
}

double SymbolExpressions::pressureDerivative(int s) const
{
    return s >= 0 && static_cast<size_t>(s) < dP_.size() ? dP_[static_cast<size_t>(s)] : 0.0;
}
