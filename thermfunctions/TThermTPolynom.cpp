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

#include <cmath>

#include "TTempArray.h"
#include "TThermFktMgr.h"

double TThermTPolynom::Calc(double T, double P, void* pSymbolMgr, int nDeriv)
{
    TThermFktMgr* pSym = static_cast<TThermFktMgr*>(pSymbolMgr);
    double G;
    switch (nDeriv) {
    case 0: {
        G = (T * m_dB + m_dA) + m_dC * TK.m_dTLnT;
        for (int i = 0; i < m_nPowerTerms; ++i) G += m_adPowerCoef[i] * TK.ElementAt(m_anPowerExp[i] + 31);
        for (int j = 0; j < m_nSymbolTerms; ++j) G += pSym->GetFuncVal(m_anSymbolIndex[j], 0) * m_adSymbolFactor[j];
        if (m_bRTLnTerm) {
            double x = m_dRTLnFactor;
            if (m_nRTLnSymbol >= 0) x *= pSym->GetFuncVal(m_nRTLnSymbol, 0);
            G += (T * VX_POLY_GAS_CONSTANT) * std::log(x);
        }
        if (m_bLnTerm) {
            double g = m_dLnArg;
            if (m_nLnArgSymbol >= 0) g *= pSym->GetFuncVal(m_nLnArgSymbol, 0);
            double f = m_dLnFactor * std::log(g);
            if (m_nLnFactorSymbol >= 0) f *= pSym->GetFuncVal(m_nLnFactorSymbol, 0);
            G += f;
        }
        if (m_bExpTerm) {
            double g = m_dExpArg;
            if (m_nExpArgSymbol >= 0) g *= pSym->GetFuncVal(m_nExpArgSymbol, 0);
            double f = m_dExpFactor * std::exp(g);
            if (m_nExpFactorSymbol >= 0) f *= pSym->GetFuncVal(m_nExpFactorSymbol, 0);
            G += f;
        }
        if (m_bPressureTerms) {
            if (m_bPTerm) {
                double t = P * m_dPCoef;
                if (m_nPSymbol >= 0) t *= pSym->GetFuncVal(m_nPSymbol, 0);
                G += t;
            }
            if (m_bTPTerm) {
                double t = (P * m_dTPCoef) * T;
                if (m_nTPSymbol >= 0) t *= pSym->GetFuncVal(m_nTPSymbol, 0);
                G += t;
            }
            if (m_bT2PTerm) {
                double t = ((P * m_dT2PCoef) * T) * T;
                if (m_nT2PSymbol >= 0) t *= pSym->GetFuncVal(m_nT2PSymbol, 0);
                G += t;
            }
        }
        return G;
    }
    case 1:
        G = m_dB + m_dC * (std::log(T) + 1.0);
        for (int i = 0; i < m_nPowerTerms; ++i) {
            int n = m_anPowerExp[i];
            G += (static_cast<double>(n) * m_adPowerCoef[i]) * TK.ElementAt(n + 30);
        }
        break;
    case 2:
        G = m_dC / T;
        for (int i = 0; i < m_nPowerTerms; ++i) {
            int n = m_anPowerExp[i];
            G += (static_cast<double>(n * (n - 1)) * m_adPowerCoef[i]) * TK.ElementAt(n + 29);
        }
        break;
    case 3:
        G = -m_dC / (T * T);
        for (int i = 0; i < m_nPowerTerms; ++i) {
            int n = m_anPowerExp[i];
            G += (static_cast<double>(n * (n - 1) * (n - 2)) * m_adPowerCoef[i]) * TK.ElementAt(n + 28);
        }
        break;
    default: return 0.0;
    }
    for (int j = 0; j < m_nSymbolTerms; ++j) G += pSym->GetFuncVal(m_anSymbolIndex[j], nDeriv) * m_adSymbolFactor[j];
    return G;
}

double TThermTPolynom::CalcLinked(double T, double P, void* pSymbolMgr, int nDeriv)
{
    TThermTPolynom* pPoly = this;
    while (!(pPoly->m_dTHigh >= T) && pPoly->m_pNext != nullptr) pPoly = pPoly->m_pNext;
    return pPoly->Calc(T, P, pSymbolMgr, nDeriv);
}
