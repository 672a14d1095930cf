// Copies of functions: one function with its own polynomial copies, and a
// whole list filtered for another phase.
#include "TThermFkt.h"
#include "TThermFktMgr.h"
#include "TThermTPolynom.h"
#include "host/CVxDataMgr.h"
#include "host/CVxPhase.h"
#include "host/myCString.h"

TThermFkt* TThermFkt::CreateClone()
{
    TThermFkt* c = new TThermFkt;
    c->m_nFktDataIndex = m_nFktDataIndex;
    c->m_pFktData = m_pFktData;
    c->m_pDataMgr = m_pDataMgr;
    c->m_pSymbolMgr = m_pSymbolMgr;
    c->m_pPhase = m_pPhase;
    c->m_pGibbs = m_pGibbs;
    c->m_nPolyIndex = m_nPolyIndex;
    for (int i = 0; i < 10; ++i) {
        c->m_pY[i] = m_pY[i];
        c->m_pDoY[i] = m_pDoY[i];
    }
    c->m_pActPoly = nullptr;
    myCArray<TThermTPolynom*, TThermTPolynom*>& polys = m_pDataMgr->m_PolynomArray;
    c->m_PolyIndex.SetSize(m_PolyIndex.m_nSize, -1);
    for (int k = 0; k < m_PolyIndex.m_nSize; ++k) {
        TThermTPolynom* pCopy = new TThermTPolynom(*polys.ElementAt(m_PolyIndex.ElementAt(k)));
        c->m_PolyIndex.ElementAt(k) = polys.Add(pCopy);
    }
    return c;
}

TThermFktMgr* TThermFktMgr::CreateClone(int nSourceKind, unsigned int bCopyPolynoms, CVxPhase* pPhase)
{
    TThermFktMgr* pResult = new TThermFktMgr(m_szName, m_pDataMgr);
    int nSavedKind = m_pDataMgr->m_nActSourceKind;
    m_pDataMgr->m_nActSourceKind = nSourceKind;
    for (int i = 0; i < m_FktArray.m_nSize; ++i) {
        TThermFkt* F = m_FktArray.ElementAt(i);
        TThermFktData* R = F->m_pFktData;
        myCString text;
        F->CopyConstituentString(text);
        bool bAdmissible = true;
        if (text.m_nLength > 0 && pPhase != nullptr) {
            int e = 0;
            for (int s = 0; s < R->m_nSublattices; ++s) {
                for (int j = 0; j < R->m_nPerSublattice[s]; ++j, ++e) {
                    int nElem = R->m_nConstituent[e];
                    bool bOk = pPhase->Is(s, nElem) > 0;
                    if (!bOk && F->m_pPhase != nullptr && F->m_pPhase->m_nModelType == 10)
                        bOk = pPhase->do_Is(s, nElem) > 0;
                    if (!bOk) bAdmissible = false;  // the other entries are still tested
                }
            }
        }
        if (nSourceKind == 2 && pPhase != nullptr && pPhase->IsElement(R->m_nSpeciesIndex) == 0) continue;
        if (!bAdmissible) continue;

        TThermFkt* c = new TThermFkt;
        c->m_pDataMgr = m_pDataMgr;
        TThermFktData* pData = new TThermFktData(*R);
        c->m_nFktDataIndex = m_pDataMgr->m_FktDataArray.Add(pData);
        c->m_pFktData = pData;
        c->m_pSymbolMgr = F->m_pSymbolMgr;
        c->m_pPhase = F->m_pPhase;
        pResult->AddFunction(c);
        c->m_PolyIndex.SetSize(F->m_PolyIndex.m_nSize, -1);
        for (int k = 0; k < F->m_PolyIndex.m_nSize; ++k) {
            int nSrc = F->m_PolyIndex.ElementAt(k);
            if (bCopyPolynoms) {
                TThermTPolynom* pCopy = new TThermTPolynom(*m_pDataMgr->m_PolynomArray.ElementAt(nSrc));
                pCopy->m_nSymbolList = nSourceKind;
                c->m_PolyIndex.ElementAt(k) = m_pDataMgr->m_PolynomArray.Add(pCopy);
            } else {
                c->m_PolyIndex.ElementAt(k) = nSrc;
            }
        }
    }
    m_pDataMgr->m_nActSourceKind = nSavedKind;
    return pResult;
}
