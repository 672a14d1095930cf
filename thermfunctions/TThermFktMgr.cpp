// Construction, ownership, value look-up, duplicate look-up and removal
// notices of a function manager.
#include "TThermFktMgr.h"

#include <cstdio>

#include "TThermFkt.h"
#include "host/CVxDataMgr.h"

TThermFktMgr::TThermFktMgr() : m_pDataMgr(nullptr) { m_szName[0] = 0; }

TThermFktMgr::TThermFktMgr(CVxDataMgr* pDataMgr) : m_pDataMgr(pDataMgr)
{
    m_szName[0] = 0;
    if (m_pDataMgr != nullptr) m_pDataMgr->RegisterFktMgr(this);
}

TThermFktMgr::TThermFktMgr(char* pszName, CVxDataMgr* pDataMgr) : m_pDataMgr(pDataMgr)
{
    // names longer than the buffer are truncated to 31 characters
    std::snprintf(m_szName, sizeof m_szName, "%s", pszName ? pszName : "");
    if (m_pDataMgr != nullptr) m_pDataMgr->RegisterFktMgr(this);
}

TThermFktMgr::~TThermFktMgr()
{
    Clear(0);
    // the data manager must no longer notify a manager that is gone
    if (m_pDataMgr != nullptr) m_pDataMgr->UnregisterFktMgr(this);
}

TThermFkt* TThermFktMgr::AddFunction(TThermFkt* pFkt)
{
    int n = m_FktArray.m_nSize;
    m_FktArray.SetSize(n + 1, -1);
    m_FktArray.ElementAt(n) = pFkt;
    return m_FktArray.ElementAt(m_FktArray.m_nSize - 1);
}

int TThermFktMgr::Clear(unsigned int bRemovePolynoms)
{
    // From the front.  A taken entry becomes null, which the removal notices
    // that a function's Clear(1) sends skip, instead of being removed at once:
    // closing the gap for every function made emptying a long list quadratic.
    for (int i = 0; i < m_FktArray.m_nSize; ++i) {
        TThermFkt* pFkt = m_FktArray.m_pData[i];
        m_FktArray.m_pData[i] = nullptr;
        if (pFkt != nullptr) {
            pFkt->Clear(bRemovePolynoms);
            delete pFkt;
        }
    }
    m_FktArray.RemoveAt(0, m_FktArray.m_nSize);
    return 0;
}

double TThermFktMgr::GetFuncVal(int nIndex, int nDeriv)
{
    TThermFkt* pFkt = m_FktArray.ElementAt(nIndex);
    switch (nDeriv) {
    case 0: return pFkt->m_dValue;
    case 1: return pFkt->m_dValueT;
    case 2: return pFkt->m_dValueTT;
    case 3: return pFkt->m_dValueTTT;
    default: return 0.0;
    }
}

int TThermFktMgr::NotifyPolyCleared(int nPolyIndex)
{
    for (int i = 0; i < m_FktArray.m_nSize; ++i)
        if (m_FktArray.m_pData[i] != nullptr) m_FktArray.m_pData[i]->NotifyPolyCleared(nPolyIndex);
    return 1;
}

int TThermFktMgr::NotifyFktDataCleared(int nFktDataIndex)
{
    for (int i = 0; i < m_FktArray.m_nSize; ++i)
        if (m_FktArray.m_pData[i] != nullptr) m_FktArray.m_pData[i]->NotifyFktDataCleared(nFktDataIndex);
    return 1;
}

int TThermFktMgr::GetDuplicateFunction(TThermFkt* pFkt)
{
    const TThermFktData* a = pFkt->m_pFktData;
    for (int i = 0; i < m_FktArray.m_nSize; ++i) {
        TThermFkt* pOther = m_FktArray.ElementAt(i);
        if (pOther == pFkt || pOther == nullptr) continue;
        const TThermFktData* b = pOther->m_pFktData;
        if (a->m_nFktType != b->m_nFktType || a->m_nNameIndex != b->m_nNameIndex) continue;
        if (a->m_nInteractionLevel != b->m_nInteractionLevel || a->m_nOrder != b->m_nOrder ||
            a->m_bRegular != b->m_bRegular || a->m_nSpeciesIndex != b->m_nSpeciesIndex ||
            a->m_bDoSet != b->m_bDoSet)
            continue;
        if (a->m_nSublattices != b->m_nSublattices || a->m_nConstituents != b->m_nConstituents) continue;
        bool bSame = true;
        for (int k = 0; k < a->m_nConstituents && k < 10 && bSame; ++k)
            bSame = a->m_nConstituent[k] == b->m_nConstituent[k];
        for (int s = 0; s < a->m_nSublattices && s < 8 && bSame; ++s)
            bSame = a->m_nPerSublattice[s] == b->m_nPerSublattice[s];
        if (bSame) return i;
    }
    return -1;
}
