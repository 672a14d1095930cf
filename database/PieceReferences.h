#ifndef THERM_DATABASE_PIECE_REFERENCES_H
#define THERM_DATABASE_PIECE_REFERENCES_H

// The symbol functions a piece reads for its value, in the order the kernel's
// piece evaluation reads them: the symbol terms, then the RT ln, ln, exp and
// pressure terms that carry a symbol.  Every walk over the symbol graph
// (ordering, reachability, temperature coverage, the temperature step) goes
// through this one list, so a new kind of reference is added in one place.

#include <algorithm>

#include "thermfunctions/TThermTPolynom.h"

//! Calls visit(index) for each symbol index >= 0 the piece reads.
template <class Visit>
void forEachPieceReference(const TThermTPolynom& p, Visit&& visit)
{
    const int terms = std::min(p.m_nSymbolTerms, static_cast<int>(sizeof p.m_anSymbolIndex / sizeof p.m_anSymbolIndex[0]));
    auto use = [&](int s) {
        if (s >= 0) visit(s);
    };
    for (int j = 0; j < terms; ++j) use(p.m_anSymbolIndex[j]);
    if (p.m_bRTLnTerm) use(p.m_nRTLnSymbol);
    if (p.m_bLnTerm) {
        use(p.m_nLnArgSymbol);
        use(p.m_nLnFactorSymbol);
    }
    if (p.m_bExpTerm) {
        use(p.m_nExpArgSymbol);
        use(p.m_nExpFactorSymbol);
    }
    if (p.m_bPressureTerms) {
        if (p.m_bPTerm) use(p.m_nPSymbol);
        if (p.m_bTPTerm) use(p.m_nTPSymbol);
        if (p.m_bT2PTerm) use(p.m_nT2PSymbol);
    }
}

#endif
