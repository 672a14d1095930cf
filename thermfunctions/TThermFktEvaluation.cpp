// Evaluation of functions at temperature and pressure: range search, the
// plain and the on-demand variants, and the manager loops.
#include <cmath>

#include "TTempArray.h"
#include "TThermFkt.h"
#include "TThermFktMgr.h"
#include "TThermTPolynom.h"
#include "TThermTPolynomTerms.h"
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
    TThermFktMgr* pSym = static_cast<TThermFktMgr*>(pSymbolMgr);
    // A forward reference is brought up to date right before each read; a
    // backward one (and the function itself) was evaluated earlier in the
    // pass and is read as stored.  The value reads every reference at order
    // 0, the derivatives their symbol terms at the order being computed.
    return SumPieceTerms(*this, T, P, nDeriv, [&](int s, int k) {
        if (s > nSelfIndex) pSym->m_FktArray.ElementAt(s)->SaveCalcPTValues(T, P, k, s);
        return pSym->GetFuncVal(s, k);
    });
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
