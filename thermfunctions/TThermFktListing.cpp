// Text notation of pieces, functions and function lists.
#include <cmath>

#include "TThermFkt.h"
#include "TThermFktMgr.h"
#include "TThermTPolynom.h"
#include "host/CVxDataMgr.h"
#include "host/CVxGibbs.h"
#include "host/CVxPhase.h"
#include "host/myCString.h"

namespace {

myCStringArray* SymbolNames(CVxDataMgr* pDm, int nList)
{
    if (pDm == nullptr) return nullptr;
    switch (nList) {
    case 1: return &pDm->m_SymbolNames1;
    case 2: return &pDm->m_SymbolNames2;
    case 3: return &pDm->m_SymbolNames3;
    default: return nullptr;
    }
}

// Name of a symbol reference; the caller's data keeps the index valid.
const char* Name(myCStringArray* pNames, int nIndex) { return pNames->m_pData[nIndex].m_pszBuffer; }

void AppendF(myCString& out, const char* pszFormat, double d)
{
    myCString t;
    t.Format(pszFormat, d);
    out += t;
}

void AppendFS(myCString& out, const char* pszFormat, double d, const char* psz)
{
    myCString t;
    t.Format(pszFormat, d, psz);
    out += t;
}

// A coefficient with an optional symbol: "%+.12g" or "%+.12g*NAME#".
void AppendCoef(myCString& out, myCStringArray* pNames, double d, int nSymbol)
{
    if (nSymbol < 0)
        AppendF(out, "%+.12g", d);
    else
        AppendFS(out, "%+.12g*%s#", d, Name(pNames, nSymbol));
}

}  // namespace

void TThermFkt::CopyConstituentString(myCString& out)
{
    int s = 0, c = 0;
    for (int k = 0; k < m_pFktData->m_nConstituents; ++k) {
        if (c == m_pFktData->m_nPerSublattice[s]) {
            out += ":";
            ++s;
            c = 0;
        } else if (c > 0) {
            out += ",";
        }
        int e = m_pFktData->m_nConstituent[k];
        if (e < 0)
            out += "*";
        else if (m_pPhase != nullptr)
            out += m_pPhase->m_pGibbsModel->m_ElementArray.ElementAt(e).m_szElementName;
        ++c;
    }
}

void TThermTPolynom::WriteOutPoly(myCString& out, int nMode, void* pDataMgr)
{
    myCStringArray* pNames = SymbolNames(static_cast<CVxDataMgr*>(pDataMgr), m_nSymbolList);
    AppendF(out, "%g ", m_dTLow);
    bool bWritten = false;
    if (m_dA != 0.0) {  // a NaN coefficient compares unequal and is written
        AppendF(out, "%+.12g", m_dA);
        bWritten = true;
    }
    if (m_dB != 0.0) {
        AppendF(out, "%+.12g*T", m_dB);
        bWritten = true;
    }
    if (m_dC != 0.0) {
        AppendF(out, "%+.12g*T*LN(T)", m_dC);
        bWritten = true;
    }
    for (int i = 0; i < m_nPowerTerms; ++i) {
        myCString t;
        t.Format("%+.12g*T**(%+d)", m_adPowerCoef[i], m_anPowerExp[i]);
        out += t;
        bWritten = true;
    }
    for (int j = 0; j < m_nSymbolTerms; ++j) {
        if (m_adSymbolFactor[j] != 0.0) {
            AppendFS(out, "%+.12g*%s#", m_adSymbolFactor[j], Name(pNames, m_anSymbolIndex[j]));
        } else {
            // A zero factor still names its symbol, so that the listing shows
            // the reference the definition holds: "+0*NAME#".
            myCString t;
            t.Format("+0*%s#", Name(pNames, m_anSymbolIndex[j]));
            out += t;
        }
        bWritten = true;
    }
    if (m_bRTLnTerm) {
        if (m_nRTLnSymbol < 0)
            AppendF(out, "+R*T*LN(%+.12g)", m_dRTLnFactor);
        else
            AppendFS(out, "+R*T*LN(%+.12g*%s#)", m_dRTLnFactor, Name(pNames, m_nRTLnSymbol));
        bWritten = true;
    }
    if (m_bLnTerm) {
        AppendCoef(out, pNames, m_dLnFactor, m_nLnFactorSymbol);
        out += "*LN(";
        AppendCoef(out, pNames, m_dLnArg, m_nLnArgSymbol);
        out += ")";
        bWritten = true;
    }
    if (m_bExpTerm) {
        AppendCoef(out, pNames, m_dExpFactor, m_nExpFactorSymbol);
        out += "*EXP(";
        AppendCoef(out, pNames, m_dExpArg, m_nExpArgSymbol);
        out += ")";
        bWritten = true;
    }
    if (m_bPressureTerms) {
        if (m_bPTerm) {
            if (m_nPSymbol >= 0)
                AppendFS(out, "%+.12g*%s#*P", m_dPCoef, Name(pNames, m_nPSymbol));
            else
                AppendF(out, "%+.12g*P", m_dPCoef);
        }
        if (m_bTPTerm) {
            if (m_nTPSymbol >= 0)
                AppendFS(out, "%+.12g*%s#*T*P", m_dTPCoef, Name(pNames, m_nTPSymbol));
            else
                AppendF(out, "%+.12g*T*P", m_dTPCoef);
        }
        if (m_bT2PTerm) {
            if (m_nT2PSymbol >= 0)
                AppendFS(out, "%+.12g*%s#*T**2*P", m_dT2PCoef, Name(pNames, m_nT2PSymbol));
            else
                AppendF(out, "%+.12g*T**2*P", m_dT2PCoef);
        }
    } else if (!bWritten) {
        AppendF(out, "%1.1f", 0.0);
    }
    out += "; ";
    AppendF(out, "%g", m_dTHigh);
    if (m_pNext != nullptr) {
        out += "\n\t\t";
        m_pNext->WriteOutPoly(out, nMode, pDataMgr);
    }
}

namespace {

// Header of a function: "G(FCC_A1,FE:VA;0)" and its relatives.
void AppendHeader(TThermFkt& f, myCString& out, const myCString& constituents)
{
    TThermFktData* d = f.m_pFktData;
    myCString t;
    if (d->m_nSourceKind == 3 && d->m_nFktType >= 10000) {
        const char* pszKey = f.m_pDataMgr->m_TypeKeywords.m_pData[d->m_nFktType - 10000].m_pszBuffer;
        const char* pszPhase = f.m_pPhase->GetPhaseName(0);
        if (constituents.m_nLength > 0) {
            t.Format("%s(%s,", pszKey, pszPhase);
            out += t;
            out += constituents;
            t.Format(";%d)", d->m_nOrder);
            out += t;
        } else {
            t.Format("%s(%s", pszKey, pszPhase);
            out += t;
            out += ")";
        }
        return;
    }
    if (d->m_nFktType >= 100 && d->m_nFktType <= 102) {
        // named functions list their name, with or without a phase
        out += SymbolNames(f.m_pDataMgr, d->m_nFktType - 99)->m_pData[d->m_nNameIndex];
        return;
    }
    if (f.m_pPhase == nullptr) {
        out += "invalid function";
        return;
    }
    const char* P = d->m_bDoSet ? f.m_pPhase->m_szDoName : f.m_pPhase->GetPhaseName(0);
    const char* pszKey = nullptr;
    bool bSpecies = false;
    switch (d->m_nFktType) {
    case 0: pszKey = "G"; break;
    case 1: pszKey = "L"; break;
    case 3: pszKey = "IS"; break;
    case 10: pszKey = "TC"; break;
    case 20: pszKey = "BMAGN"; break;
    case 30: pszKey = "HMVA"; break;
    case 50: pszKey = "MQ"; bSpecies = true; break;
    case 51: pszKey = "MF"; bSpecies = true; break;
    case 52: pszKey = "DQ"; bSpecies = true; break;
    case 53: pszKey = "DF"; bSpecies = true; break;
    case 60: pszKey = "CR"; bSpecies = true; break;
    case 5:
        t.Format("SE(%s)", P);
        out += t;
        return;
    case 54:
        t.Format("VS(%s", P);
        out += t;
        t.Format(";%d)", d->m_nOrder);
        out += t;
        return;
    default: return;
    }
    if (bSpecies) {
        const char* E = f.m_pPhase->m_pGibbsModel->m_ElementArray.ElementAt(d->m_nSpeciesIndex).m_szElementName;
        t.Format("%s(%s&%s,", pszKey, P, E);
    } else {
        t.Format("%s(%s,", pszKey, P);
    }
    out += t;
    out += constituents;
    t.Format(";%d)", d->m_nOrder);
    out += t;
}

}  // namespace

void TThermFkt::WriteOutFunktion(myCString& out, int nMode)
{
    int n = m_PolyIndex.m_nSize;
    myCString constituents;
    CopyConstituentString(constituents);
    myCString t;
    if (nMode & 4) {
        t.Format("%d ", m_pFktData->m_bDisabled ? 0 : 1);
        out += t;
    }
    if (nMode & 1) {
        AppendHeader(*this, out, constituents);
        if (m_pFktData->m_nInteractionLevel == 2 && (nMode & 8))
            out += m_pFktData->m_bRegular ? "(reg) " : "(non-reg) ";
        if (nMode == 1) return;
        out += ": ";
    }
    if (nMode & 8) {
        if (m_pFktData->m_bDisabled) out += "### disabled ### ";
        t.Format("AktVal_T: %g, AktVal_F: %g, PolyIndex: %d", m_dValue, m_dAktVal_F, m_nPolyIndex);
        out += t;
    }
    if (nMode & 2) {
        for (int i = 0; i < n; ++i) {
            if (out.m_nLength > 0) out += "\n";
            if (nMode & 8) out += "   ";
            m_pDataMgr->m_PolynomArray.ElementAt(m_PolyIndex.ElementAt(i))->WriteOutPoly(out, nMode, m_pDataMgr);
            out += (i < n - 1) ? " Y " : " N ";
        }
    }
}

void TThermFktMgr::WriteOutFunktions(myCString& out, int nMode)
{
    int n = m_FktArray.m_nSize;
    myCString t;
    t.Format("\nFunktionMgr: /%s/ Fkt#: %d\n\n", m_szName, n);
    out += t;
    for (int i = 0; i < n; ++i) {
        m_FktArray.ElementAt(i)->WriteOutFunktion(out, nMode);
        out += "\n";
    }
}
