// Small builders shared by the kernel tests: a data manager with symbol
// functions and pieces, without going through a database file.
#ifndef TESTS_SUPPORT_KERNELTESTKIT_H
#define TESTS_SUPPORT_KERNELTESTKIT_H

#include <cmath>
#include <initializer_list>
#include <utility>

#include "host/CVxDataMgr.h"
#include "thermfunctions/VxThermFunctions.h"

namespace kit {

// A piece [tLow, tHigh] with A + B*T + C*T*ln(T) + sum c*T^n.
inline TThermTPolynom* Piece(double tLow, double tHigh, double a, double b = 0.0, double c = 0.0,
                             std::initializer_list<std::pair<double, int>> powers = {})
{
    TThermTPolynom* p = new TThermTPolynom;
    p->m_nSymbolList = 1;
    p->m_dTLow = tLow;
    p->m_dTHigh = tHigh;
    p->m_dA = a;
    p->m_dB = b;
    p->m_dC = c;
    for (const auto& pw : powers) {
        p->m_adPowerCoef[p->m_nPowerTerms] = pw.first;
        p->m_anPowerExp[p->m_nPowerTerms] = pw.second;
        ++p->m_nPowerTerms;
    }
    return p;
}

inline void AddSymbolTerm(TThermTPolynom* p, int nIndex, double dFactor)
{
    p->m_anSymbolIndex[p->m_nSymbolTerms] = nIndex;
    p->m_adSymbolFactor[p->m_nSymbolTerms] = dFactor;
    ++p->m_nSymbolTerms;
}

// A parameter function of type nType with its own record, not yet linked.
inline TThermFkt* Parameter(CVxDataMgr& dm, int nType = 0, int nOrder = 0)
{
    TThermFktData* pData = new TThermFktData;
    pData->m_nSourceKind = 1;
    pData->m_nFktType = nType;
    pData->m_nOrder = nOrder;
    int nIndex = dm.AddFktData(pData);
    TThermFkt* f = new TThermFkt(pData);
    f->m_nFktDataIndex = nIndex;
    f->m_pDataMgr = &dm;
    f->m_pSymbolMgr = dm.GetSymbolFktMgr();
    return f;
}

// Five-point central difference (error of order h^4).
template <class F>
double Derivative5(F fn, double x, double h)
{
    return (-fn(x + 2 * h) + 8.0 * fn(x + h) - 8.0 * fn(x - h) + fn(x - 2 * h)) / (12.0 * h);
}

}  // namespace kit

#endif
