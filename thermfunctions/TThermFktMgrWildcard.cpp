// Expansion of parameters written with wildcard constituents into one
// concrete parameter per admitted element.
//
// Bookkeeping choices of this data manager:
//  - A generated parameter keeps the polynomial copies that TThermFkt::CreateClone
//    made for it (their symbol list set to the source's kind); no second set is
//    made, so no polynomial is left without a function.
//  - The source's record, changed in place while the candidates were tried, is
//    set back to its wildcard and removed from the data manager together with
//    the source, and so are its polynomials, unless a function of any list
//    registered with the data manager still uses them.
#include <cstring>

#include "TThermFkt.h"
#include "TThermFktMgr.h"
#include "TThermTPolynom.h"
#include "host/CVxDataMgr.h"
#include "host/CVxGibbs.h"
#include "host/CVxPhase.h"
#include "host/myCString.h"

namespace {

myCStringArray* TextTable(CVxDataMgr* pDm, int nKind)
{
    switch (nKind) {
    case 1: return &pDm->m_SourceTexts1;
    case 2: return &pDm->m_SourceTexts2;
    case 3: return &pDm->m_SourceTexts3;
    default: return nullptr;
    }
}

// True when a function of list other than pExcept refers to pExcept's record
// or to one of its polynomials.
bool ListShares(const TThermFktMgr& list, const TThermFkt* pExcept, bool bPolynoms)
{
    for (int j = 0; j < list.m_FktArray.m_nSize; ++j) {
        const TThermFkt* f = list.m_FktArray.m_pData[j];
        if (f == nullptr || f == pExcept) continue;
        if (!bPolynoms) {
            if (f->m_pFktData == pExcept->m_pFktData) return true;
            continue;
        }
        for (int a = 0; a < f->m_PolyIndex.m_nSize; ++a)
            for (int b = 0; b < pExcept->m_PolyIndex.m_nSize; ++b)
                if (f->m_PolyIndex.m_pData[a] == pExcept->m_PolyIndex.m_pData[b]) return true;
    }
    return false;
}

}  // namespace

// Records and polynomials may be shared beyond this list: a function copied
// with TThermFkt::CreateClone into another list shares the record, a list
// loaded from this one's stream shares records and polynomials.  Every list
// the data manager knows is asked, so nothing still in use is freed.
bool TThermFktMgr::SharesWithOthers(const TThermFkt* pFkt, bool bPolynoms) const
{
    if (ListShares(*this, pFkt, bPolynoms)) return true;
    const myCArray<TThermFktMgr*, TThermFktMgr*>& registry = m_pDataMgr->m_FktMgrRegistry;
    for (int m = 0; m < registry.m_nSize; ++m)
        if (registry.m_pData[m] != nullptr && registry.m_pData[m] != this &&
            ListShares(*registry.m_pData[m], pFkt, bPolynoms))
            return true;
    return false;
}

int TThermFktMgr::ExpandWildcardFunctions(bool bLinkDuplicates)
{
    if (m_FktArray.m_nSize == 0) return 0;
    CVxDataMgr* pDm = m_pDataMgr;

    // Pass 1: widen all-wildcard parameters to the phase's sublattice count.
    for (int i = 0; i < m_FktArray.m_nSize; ++i) {
        TThermFkt* F = m_FktArray.ElementAt(i);
        TThermFktData* R = F->m_pFktData;
        CVxPhase* P = F->m_pPhase;
        if (P == nullptr) return -1;
        if (F->HasWildCardElements() == 0) continue;
        myCString s;
        F->CopyConstituentString(s);
        if (R->m_nSublattices == P->m_nSublatticeCount) continue;
        for (int c = 0; c < s.m_nLength; ++c) {
            char ch = s.m_pszBuffer[c];
            if (ch != '*' && ch != ':' && ch != ' ') {
                myCString listing, msg;
                F->WriteOutFunktion(listing, 1);
                msg.Format("*** ERROR *** error expanding wildcards '%s', illegal expression", listing.m_pszBuffer);
                pDm->m_pApp->WriteOut(msg, 1, 1);
                return -1;
            }
        }
        for (int k = R->m_nSublattices; k < P->m_nSublatticeCount; ++k) s += ":*";
        if (myCStringArray* pTable = TextTable(pDm, R->m_nSourceKind)) pTable->ElementAt(R->m_nSourceIndex) = s;
        F->LinkYPointer(P, P->m_pGibbsModel, s.m_pszBuffer);
    }

    // Pass 2: one wildcard at a time, fewest wildcards first.
    int nGenerated = 0, nDuplicates = 0;
    int w = 10000;
    int i = 0;
    while (i < m_FktArray.m_nSize) {
        if (i == 0) {
            w = 10000;
            for (int j = 0; j < m_FktArray.m_nSize; ++j) {
                int n = m_FktArray.ElementAt(j)->HasWildCardElements();
                if (n > 0 && n < w) w = n;
            }
        }
        TThermFkt* F = m_FktArray.ElementAt(i);
        TThermFktData* R = F->m_pFktData;
        CVxPhase* P = F->m_pPhase;
        int s = -1, k = -1;
        if (F->HasWildCardElements() == w && P != nullptr && R->m_nSublattices > 0) {
            int e = 0;
            for (int sl = 0; sl < R->m_nSublattices && k < 0; ++sl)
                for (int j = 0; j < R->m_nPerSublattice[sl]; ++j, ++e)
                    if (R->m_nConstituent[e] == -1) {
                        s = sl;
                        k = e;
                        break;
                    }
        }
        if (k < 0) {
            ++i;
            continue;
        }
        const int N = F->m_pGibbs->m_ElementArray.m_nSize;
        for (int e = 0; e < N; ++e) {
            if (P->Is(s, e) == 0) continue;
            R->m_nConstituent[k] = e;
            int d = GetDuplicateFunction(F);
            if (d != -1 && !bLinkDuplicates) continue;
            TThermFkt* Q = F->CreateClone();
            TThermFktData* pData = new TThermFktData(*R);
            Q->m_nFktDataIndex = pDm->m_FktDataArray.Add(pData);
            Q->m_pFktData = pData;
            for (int p = 0; p < Q->m_PolyIndex.m_nSize; ++p)
                pDm->m_PolynomArray.ElementAt(Q->m_PolyIndex.ElementAt(p))->m_nSymbolList = R->m_nSourceKind;
            myCString text;
            Q->CopyConstituentString(text);
            if (myCStringArray* pTable = TextTable(pDm, pData->m_nSourceKind)) {
                pTable->SetAtGrow(pTable->m_nSize, text);
                pData->m_nSourceIndex = pTable->m_nSize - 1;
            }
            m_FktArray.InsertAt(i + 1, Q, 1);
            ++nGenerated;
            if (d != -1) ++nDuplicates;
        }
        // remove the source, its polynomials and (when no one else uses it) its record
        int nRecord = F->m_nFktDataIndex;
        R->m_nConstituent[k] = -1;  // a list that shares the record keeps its wildcard
        const bool bShared = SharesWithOthers(F, false);
        F->Clear(SharesWithOthers(F, true) ? 0 : 1);
        delete F;
        m_FktArray.RemoveAt(i, 1);
        if (!bShared && nRecord >= 0 && nRecord < pDm->m_FktDataArray.m_nSize &&
            pDm->m_FktDataArray.ElementAt(nRecord) == R)
            pDm->RemoveFktData(nRecord);
        i = 0;
    }
    if (nDuplicates != 0 && bLinkDuplicates) {
        myCString msg;
        msg.Format("  *** duplicate parameters linked in phase '%s'", m_szName);
        pDm->m_pApp->WriteOut(msg, 1, 1);
    }
    return nGenerated;
}
