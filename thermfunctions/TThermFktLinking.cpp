// Binding a function to its phase's site fractions from its constituent text.
#include "TThermFkt.h"
#include "host/CVxDataMgr.h"
#include "host/CVxGibbs.h"
#include "host/CVxPhase.h"
#include "host/myCString.h"
#include "host/myStringParser.h"

namespace {
bool AtEnd(const char* p) { return p == nullptr || *p == 0; }
}  // namespace

int TThermFkt::LinkYPointer(CVxPhase* pPhase, CVxGibbs* pGibbs, char* pszConstituents)
{
    TThermFktData* d = m_pFktData;
    m_pGibbs = pGibbs;
    char* pszText = pszConstituents;
    if (pszText == nullptr && d->m_nFktType != 5) {
        myCStringArray* pTable = nullptr;
        if (m_pDataMgr != nullptr) {
            switch (d->m_nSourceKind) {
            case 1: pTable = &m_pDataMgr->m_SourceTexts1; break;
            case 2: pTable = &m_pDataMgr->m_SourceTexts2; break;
            case 3: pTable = &m_pDataMgr->m_SourceTexts3; break;
            default: break;
            }
        }
        if (pTable == nullptr) return -1;  // nothing to parse
        pszText = pTable->ElementAt(d->m_nSourceIndex).m_pszBuffer;
    }
    m_pPhase = pPhase;
    d->m_bLinked = 0;
    d->m_nInteractPos[0] = d->m_nInteractPos[1] = d->m_nInteractPos[2] = -1;
    m_dAktVal_F = 0.0;
    if (d->m_nFktType == 5) {
        d->m_bLinked = 1;
        return d->m_nConstituents;
    }

    // First pass: words, element indices and variable positions.
    myStringParser parser;
    myCString word;
    char* p = pszText;
    d->m_nMaxPerSublattice = 0;
    d->m_nInteractionLevel = 0;
    int e = 0, k = 0, s = 0;
    for (;;) {
        myStringParser::SkipMyWS(p);
        if (s >= 8) return -1;  // a ninth sublattice does not fit the record
        d->m_nPerSublattice[s] = 0;
        if (!AtEnd(p)) {
            for (;;) {
                myStringParser::SkipMyWS(p);
                if (!parser.CopyWord(word, p, " %,:\n \t", 20, false, false)) return -1;
                bool bMore = !AtEnd(p) && myStringParser::LastDelim != ':';
                if (e >= 10) return -1;  // an eleventh entry does not fit
                int nDmIndex = m_pDataMgr ? m_pDataMgr->GetElementIndex(word.m_pszBuffer, 1) : -1;
                if (nDmIndex < 0) {
                    if (word.m_pszBuffer[0] != '*') return -1;
                    d->m_nConstituent[e] = -1;
                    d->m_nVarPos[e] = -1;
                } else if (pPhase == nullptr) {
                    d->m_nConstituent[e] = -1;
                    d->m_nVarPos[e] = -1;
                } else {
                    const TDMGRElementData& rec = m_pDataMgr->m_ElementArray.ElementAt(nDmIndex);
                    int nIndex = pGibbs ? pGibbs->GetElementIndex(rec.m_szElementName) : -1;
                    if (nIndex < 0) return -1;
                    d->m_nVarPos[e] = d->m_bDoSet ? pPhase->Get_do_VarPos(s, nIndex) : pPhase->GetVarPos(s, nIndex);
                    d->m_nConstituent[e] = nIndex;
                }
                d->m_nPerSublattice[s] += 1;
                if (d->m_nPerSublattice[s] == 2) {
                    if (k >= 3) return -1;  // a fourth interacting sublattice does not fit
                    d->m_nInteractPos[k] = e - 1;
                    ++k;
                }
                ++e;
                if (!bMore) break;
            }
        }
        if (d->m_nPerSublattice[s] > d->m_nMaxPerSublattice) d->m_nMaxPerSublattice = d->m_nPerSublattice[s];
        ++s;
        if (AtEnd(p)) break;
    }
    d->m_nConstituents = 0;
    d->m_nInteractionLevel = d->m_nMaxPerSublattice - 1;
    d->m_nSublattices = s;

    // Second pass: site-fraction pointers.
    e = 0;
    for (int sl = 0; sl < d->m_nSublattices; ++sl) {
        for (int i = 0; i < d->m_nPerSublattice[sl]; ++i, ++e) {
            if (d->m_nConstituent[e] >= 0 && pPhase != nullptr) {
                if (d->m_bDoSet)
                    m_pDoY[e] = pPhase->Get_doY_Pointer(sl, d->m_nConstituent[e]);
                else
                    m_pY[e] = pPhase->GetYPointer(sl, d->m_nConstituent[e]);
            } else {
                m_pY[e] = m_pDoY[e] = &ConstantOneValue;
            }
            d->m_nConstituents = e + 1;
            if ((d->m_bDoSet ? m_pDoY[e] : m_pY[e]) == nullptr) {
                myCString listing, msg;
                WriteOutFunktion(listing, 1);
                msg.Format("*** error *** illegal y[]/x[]-pointer in function: %s\n", listing.m_pszBuffer);
                m_pDataMgr->m_pApp->WriteOut(msg, 0, 0);
                d->m_bDisabled = 1;
                return 0;
            }
        }
    }
    d->m_bLinked = 1;
    return d->m_nConstituents;
}
