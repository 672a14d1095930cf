#include "models/TemperatureCoverage.h"

#include <algorithm>
#include <cstdio>

#include "database/PieceReferences.h"
#include "database/ThermDatabase.h"
#include "models/PhaseEvaluator.h"
#include "thermfunctions/TThermFkt.h"
#include "thermfunctions/TThermTPolynom.h"

namespace {

using Set = TemperatureCoverage::Set;

Set normalised(Set s)
{
    std::sort(s.begin(), s.end(), [](const auto& a, const auto& b) { return a.low < b.low; });
    Set out;
    for (const auto& i : s) {
        if (!(i.low <= i.high)) continue;
        if (!out.empty() && i.low <= out.back().high)
            out.back().high = std::max(out.back().high, i.high);
        else
            out.push_back(i);
    }
    return out;
}

Set intersection(const Set& a, const Set& b)
{
    Set out;
    size_t i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        double low = std::max(a[i].low, b[j].low), high = std::min(a[i].high, b[j].high);
        if (low <= high) out.push_back({low, high});
        if (a[i].high < b[j].high) ++i; else ++j;
    }
    return out;
}


std::string number(double v)
{
    char buf[32];
    std::snprintf(buf, sizeof buf, "%g", v);
    return buf;
}

}  // namespace

TemperatureCoverage::TemperatureCoverage(ThermDatabase& db) : db_(db)
{
    const size_t n = static_cast<size_t>(std::max(0, db.symbols().m_FktArray.m_nSize));
    symbols_.assign(n, Set());
    state_.assign(n, 0);
    // symbols usually stand after what they read, so this order needs no deep recursion
    for (size_t s = 0; s < n; ++s) symbolComputed(static_cast<int>(s));
}

const TemperatureCoverage::Set& TemperatureCoverage::symbolComputed(int index) const
{
    static const Set none;
    if (index < 0 || static_cast<size_t>(index) >= symbols_.size()) return none;
    size_t s = static_cast<size_t>(index);
    if (state_[s] == 0) {
        state_[s] = 1;  // a function that reads itself has no value: its set stays empty
        const TThermFkt* f = db_.symbols().m_FktArray.m_pData[index];
        Set set = f ? compute(*f) : Set();
        symbols_[s] = std::move(set);
        state_[s] = 2;
    }
    return symbols_[s];
}

const TemperatureCoverage::Set& TemperatureCoverage::symbol(int index) const { return symbolComputed(index); }

TemperatureCoverage::Set TemperatureCoverage::compute(const TThermFkt& f) const
{
    if (f.m_pFktData && f.m_pFktData->m_bDisabled) return Set{{0.0, 1e300}};  // 0 by decision at every T
    // symbols that are no pieces: a tree has its range and what it reads; a
    // name without a definition has a value everywhere once it is given one
    const int self = f.m_pFktData ? f.m_pFktData->m_nNameIndex : -1;
    const bool isSymbol = self >= 0 && self < db_.symbols().m_FktArray.m_nSize &&
                          db_.symbols().m_FktArray.m_pData[self] == &f;
    if (isSymbol && db_.expressions.freeOf(self) != nullptr)
        return db_.expressions.freeOf(self)->isSet ? Set{{0.0, 1e300}} : Set();
    if (const SymbolExpressions::TreeSymbol* t = isSymbol ? db_.expressions.treeOf(self) : nullptr) {
        Set range{{t->tLow, t->tHigh}};
        for (int r : t->tree.references()) {
            bool inProgress = static_cast<size_t>(r) < state_.size() && state_[static_cast<size_t>(r)] == 1;
            range = inProgress ? Set() : intersection(range, symbolComputed(r));
        }
        return range;
    }
    Set all;
    auto& polys = db_.dataMgr.m_PolynomArray;
    for (int k = 0; k < f.m_PolyIndex.m_nSize; ++k) {
        const TThermTPolynom& p = *polys.ElementAt(f.m_PolyIndex.m_pData[k]);
        Set piece{{p.m_dTLow, p.m_dTHigh}};
        forEachPieceReference(p, [&](int r) {
            bool inProgress = static_cast<size_t>(r) < state_.size() && state_[static_cast<size_t>(r)] == 1;
            piece = inProgress ? Set() : intersection(piece, symbolComputed(r));
        });
        all.insert(all.end(), piece.begin(), piece.end());
    }
    return normalised(all);
}

TemperatureCoverage::Set TemperatureCoverage::function(const TThermFkt& f) const { return compute(f); }

TemperatureCoverage::Set TemperatureCoverage::phase(int phaseIndex) const
{
    // The evaluator decides which parameters a phase model sums (the
    // disordered part of a partitioned phase, magnetic and property terms);
    // the phase has a value where all of them do.
    PhaseEvaluator evaluator(db_, phaseIndex);
    Set set{{0.0, 1e300}};
    for (const TThermFkt* f : evaluator.modelParameters())
        if (!f->m_pFktData->m_bDisabled) set = intersection(set, compute(*f));
    return set;
}

bool TemperatureCoverage::contains(const Set& set, double T)
{
    for (const Interval& i : set)
        if (i.low <= T && T <= i.high) return true;
    return false;
}

std::string TemperatureCoverage::text(const Set& set)
{
    if (set.empty()) return "none";
    if (set.size() == 1 && set[0].low <= 0.0 && set[0].high >= 1e300) return "any";
    std::string out;
    for (size_t k = 0; k < set.size(); ++k) {
        if (k) out += k + 1 == set.size() ? " and " : ", ";
        out += number(set[k].low) + " to " + number(set[k].high);
    }
    return out + " K";
}

std::string TemperatureCoverage::symbolName(int index) const
{
    const auto& names = db_.dataMgr.m_SymbolNames1;
    return index >= 0 && index < names.m_nSize ? names.m_pData[index].c_str() : "number " + std::to_string(index);
}

std::string TemperatureCoverage::whyNot(const TThermFkt& f, const std::string& name, double T) const
{
    const TThermFkt* current = &f;
    std::string currentName = name;
    // follow the first function read at T that has no value there, down to the one whose own pieces miss T
    for (size_t depth = 0; depth <= symbols_.size(); ++depth) {
        if (contains(compute(*current), T)) return std::string();
        if (current->m_PolyIndex.m_nSize == 0)
            return "FUNCTION " + currentName + " has no temperature ranges (the reader could not take it)";
        const TThermTPolynom* at = nullptr;
        auto& polys = db_.dataMgr.m_PolynomArray;
        for (int k = 0; k < current->m_PolyIndex.m_nSize && !at; ++k) {
            const TThermTPolynom* p = polys.ElementAt(current->m_PolyIndex.m_pData[k]);
            if (p->m_dTLow <= T && T <= p->m_dTHigh) at = p;
        }
        if (!at)
            return "T = " + number(T) + " K is outside the temperature ranges of FUNCTION " + currentName + " (" +
                   text(compute(*current)) + ")";
        int next = -1;
        forEachPieceReference(*at, [&](int r) {
            if (next < 0 && !contains(symbolComputed(r), T)) next = r;
        });
        if (next < 0) break;
        current = db_.symbols().m_FktArray.m_pData[next];
        currentName = symbolName(next);
    }
    return "FUNCTION " + name + " refers to itself";
}
