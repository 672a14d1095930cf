// Binding whole lists and marking repeated ternary parameters non-regular.
#include "TThermFkt.h"
#include "TThermFktMgr.h"

int TThermFktMgr::LinkSymbols(void* pDataMgr, void* pGibbs)
{
    for (int i = 0; i < m_FktArray.m_nSize; ++i)
        if (m_FktArray.ElementAt(i)->LinkSymbols(pDataMgr, pGibbs) < 0) return -1;
    return m_FktArray.m_nSize;
}

int TThermFktMgr::LinkYPointers(CVxPhase* pPhase, CVxGibbs* pGibbs)
{
    for (int i = 0; i < m_FktArray.m_nSize; ++i)
        if (m_FktArray.ElementAt(i)->LinkYPointer(pPhase, pGibbs, nullptr) < 0) return -1;
    SetRegularMode();
    return m_FktArray.m_nSize;
}

int TThermFktMgr::SetRegularMode()
{
    int n = m_FktArray.m_nSize;
    for (int i = 0; i < n; ++i) {
        TThermFktData* ri = m_FktArray.ElementAt(i)->m_pFktData;
        if (ri->m_nInteractionLevel != 2 || !ri->m_bRegular) continue;
        for (int j = 0; j < n; ++j) {
            if (j == i) continue;
            TThermFktData* rj = m_FktArray.ElementAt(j)->m_pFktData;
            if (rj->m_nInteractionLevel != 2 || rj->m_nFktType != ri->m_nFktType) continue;
            if (rj->m_nConstituents != ri->m_nConstituents) continue;
            bool bSame = true;
            for (int k = 0; k < ri->m_nConstituents && bSame; ++k)
                bSame = ri->m_nConstituent[k] == rj->m_nConstituent[k];
            if (bSame) ri->m_bRegular = rj->m_bRegular = 0;
        }
    }
    return 1;
}
