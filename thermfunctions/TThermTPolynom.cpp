// Construction and chaining of temperature-range pieces.
#include "TThermTPolynom.h"

TThermTPolynom::TThermTPolynom()
    : m_pNext(nullptr),
      m_nSymbolList(-1),
      m_dTLow(298.16),
      m_dTHigh(6000.0),
      m_nPowerTerms(0),
      m_nSymbolTerms(0),
      m_dA(0.0),
      m_dB(0.0),
      m_dC(0.0),
      m_bRTLnTerm(0),
      m_dRTLnFactor(0.0),
      m_nRTLnSymbol(-1),
      m_bLnTerm(0),
      m_dLnFactor(0.0),
      m_nLnFactorSymbol(-1),
      m_dLnArg(0.0),
      m_nLnArgSymbol(-1),
      m_bExpTerm(0),
      m_dExpFactor(0.0),
      m_nExpFactorSymbol(-1),
      m_dExpArg(0.0),
      m_nExpArgSymbol(-1),
      m_bPressureTerms(0),
      m_bPTerm(0),
      m_dPCoef(0.0),
      m_nPSymbol(-1),
      m_bTPTerm(0),
      m_dTPCoef(0.0),
      m_nTPSymbol(-1),
      m_bT2PTerm(0),
      m_dT2PCoef(0.0),
      m_nT2PSymbol(-1)
{
    for (int i = 0; i < 10; ++i) {
        m_adPowerCoef[i] = 0.0;
        m_anPowerExp[i] = -1;
    }
    for (int j = 0; j < 16; ++j) {
        m_adSymbolFactor[j] = 0.0;
        m_anSymbolIndex[j] = -1;
    }
}

// Releases nothing: the pieces after this one belong to the chain's owner.
TThermTPolynom::~TThermTPolynom() {}

void TThermTPolynom::AppendPolynom(TThermTPolynom* pPoly)
{
    TThermTPolynom* pLast = this;
    while (pLast->m_pNext != nullptr) pLast = pLast->m_pNext;
    pLast->m_pNext = pPoly;
}

void TThermTPolynom::ClearChildren()
{
    if (m_pNext != nullptr) {
        m_pNext->ClearChildren();  // release the chain from its end backwards
        delete m_pNext;
        m_pNext = nullptr;
    }
}

#include "TThermFktMgr.h"
#include "TThermTPolynomTerms.h"

double TThermTPolynom::Calc(double T, double P, void* pSymbolMgr, int nDeriv)
{
    TThermFktMgr* pSym = static_cast<TThermFktMgr*>(pSymbolMgr);
    return SumPieceTerms(*this, T, P, nDeriv, [pSym](int s, int k) { return pSym->GetFuncVal(s, k); });
}

double TThermTPolynom::CalcLinked(double T, double P, void* pSymbolMgr, int nDeriv)
{
    TThermTPolynom* pPoly = this;
    while (!(pPoly->m_dTHigh >= T) && pPoly->m_pNext != nullptr) pPoly = pPoly->m_pNext;
    return pPoly->Calc(T, P, pSymbolMgr, nDeriv);
}
