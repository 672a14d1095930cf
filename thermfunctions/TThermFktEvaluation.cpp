// Evaluation of functions at temperature and pressure: range search, the
// plain and the on-demand variants, and the manager loops.
#include <cmath>

#include "TTempArray.h"
#include "TThermFkt.h"
#include "TThermFktMgr.h"
#include "TThermTPolynom.h"
#include "host/CVxDataMgr.h"

namespace {
// Range search shared by both variants.  Returns the covering piece or null
// (after zeroing the results); the evaluation itself is the caller's.
TThermTPolynom* FindPiece(TThermFkt& f, double T)
{
    TThermTPolynom* pCand = nullptr;
    myCArray<TThermTPolynom*, TThermTPolynom*>& polys = f.m_pDataMgr->m_PolynomArray;
    for (int i = 0; i < f.m_PolyIndex.m_nSize; ++i) {
        pCand = polys.ElementAt(f.m_PolyIndex.ElementAt(i));
        f.m_nPolyIndex = i + 1;
        if (!(T > pCand->m_dTHigh)) break;
    }
    // NaN fails both comparisons and so lands here too
    if (pCand == nullptr || !(pCand->m_dTHigh >= T) || T < pCand->m_dTLow) {
        f.m_dValue = f.m_dValueT = f.m_dValueTT = f.m_dValueTTT = f.m_dAktVal_F = 0.0;
        f.m_pActPoly = nullptr;
        return nullptr;
    }
    return pCand;
}

bool Disabled(TThermFkt& f)
{
    if (!f.m_pFktData->m_bDisabled) return false;
    f.m_dValue = f.m_dValueT = f.m_dValueTT = f.m_dValueTTT = f.m_dAktVal_F = 0.0;
    return true;
}
}  // namespace

int TThermFkt::CalcPTValues(double T, double P, int nDeriv)
{
    if (Disabled(*this)) return 1;
    TThermTPolynom* p = FindPiece(*this, T);
    if (p == nullptr) return 0;
    switch (nDeriv) {
    case 2:
        m_dValueTT = p->Calc(T, P, m_pSymbolMgr, 2);
        m_dValueTTT = p->Calc(T, P, m_pSymbolMgr, 3);
        // fall through
    case 1:
        m_dValueT = p->Calc(T, P, m_pSymbolMgr, 1);
        // fall through
    case 0:
        m_dValue = m_dAktVal_F = p->Calc(T, P, m_pSymbolMgr, 0);
        break;
    default: break;
    }
    m_pActPoly = p;
    return 0;
}

int TThermFkt::SaveCalcPTValues(double T, double P, int nDeriv, int nSelfIndex)
{
    if (Disabled(*this)) return 1;
    TThermTPolynom* p = FindPiece(*this, T);
    if (p == nullptr) return 0;
    switch (nDeriv) {
    case 2:
        m_dValueTT = p->SaveCalc(T, P, m_pSymbolMgr, 2, nSelfIndex);
        m_dValueTTT = p->SaveCalc(T, P, m_pSymbolMgr, 3, nSelfIndex);
        // fall through
    case 1:
        m_dValueT = p->SaveCalc(T, P, m_pSymbolMgr, 1, nSelfIndex);
        // fall through
    case 0:
        m_dValue = m_dAktVal_F = p->SaveCalc(T, P, m_pSymbolMgr, 0, nSelfIndex);
        break;
    default: break;
    }
    m_pActPoly = p;
    return 0;
}

double TThermTPolynom::SaveCalc(double T, double P, void* pSymbolMgr, int nDeriv, int nSelfIndex)
{
    if (nDeriv < 0 || nDeriv > 3) return 0.0;
    TThermFktMgr* pSym = static_cast<TThermFktMgr*>(pSymbolMgr);
    // Brings a forward reference up to date before Calc reads it.  Backward
    // references (and the function itself) were evaluated earlier in the pass.
    auto refresh = [&](int s, int k) {
        if (s > nSelfIndex) pSym->m_FktArray.ElementAt(s)->SaveCalcPTValues(T, P, k, s);
    };
    for (int j = 0; j < m_nSymbolTerms; ++j) refresh(m_anSymbolIndex[j], nDeriv);
    if (nDeriv == 0) {
        if (m_bRTLnTerm && m_nRTLnSymbol >= 0) refresh(m_nRTLnSymbol, 0);
        if (m_bLnTerm) {
            if (m_nLnArgSymbol >= 0) refresh(m_nLnArgSymbol, 0);
            if (m_nLnFactorSymbol >= 0) refresh(m_nLnFactorSymbol, 0);
        }
        if (m_bExpTerm) {
            if (m_nExpArgSymbol >= 0) refresh(m_nExpArgSymbol, 0);
            if (m_nExpFactorSymbol >= 0) refresh(m_nExpFactorSymbol, 0);
        }
        if (m_bPressureTerms) {
            if (m_bPTerm && m_nPSymbol >= 0) refresh(m_nPSymbol, 0);
            if (m_bTPTerm && m_nTPSymbol >= 0) refresh(m_nTPSymbol, 0);
            if (m_bT2PTerm && m_nT2PSymbol >= 0) refresh(m_nT2PSymbol, 0);
        }
    }
    // Every reference is current now: the sum is the plain one, term by term.
    return Calc(T, P, pSymbolMgr, nDeriv);
}

int TThermFktMgr::CalcPTValues(double T, double P, int nDeriv)
{
    int n = m_FktArray.m_nSize;
    for (int i = 0; i < n; ++i) m_FktArray.ElementAt(i)->CalcPTValues(T, P, nDeriv);
    return n != 0 ? 1 : 0;
}

int TThermFktMgr::SaveCalcPTValues(double T, double P, int nDeriv)
{
    int n = m_FktArray.m_nSize;
    for (int i = 0; i < n; ++i) m_FktArray.ElementAt(i)->SaveCalcPTValues(T, P, nDeriv, i);
    return n != 0 ? 1 : 0;
}
