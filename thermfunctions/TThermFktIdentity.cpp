// Matching a function against a parameter description, and the report of
// parameters defined twice in one list.
#include "TThermFkt.h"
#include "TThermFktMgr.h"
#include "host/CVxDataMgr.h"
#include "host/myCString.h"
#include "host/my_stricmp.h"

int TThermFkt::CompareFuncData(char* pszType, char* /*pszOther*/, int nSpecies, int nOrder)
{
    const TThermFktData* d = m_pFktData;
    auto is = [pszType](const char* pszKey) { return my_stricmp(pszKey, pszType) == 0; };
    auto name = [this, d](const myCStringArray& names) { return names.m_pData[d->m_nNameIndex].m_pszBuffer; };
    switch (d->m_nFktType) {
    case 0: return is("G") && d->m_nOrder == nOrder;
    case 1: return is("L") && d->m_nOrder == nOrder;
    case 3: return is("IS") && d->m_nOrder == nOrder;
    case 5: return is("SE");
    case 10: return is("TC") && d->m_nOrder == nOrder;
    case 20: return (is("BMAGN") || is("BMAG")) && d->m_nOrder == nOrder;
    case 30: return is("HMVA");
    case 50: return is("MQ") && d->m_nSpeciesIndex == nSpecies;
    case 51: return is("MF") && d->m_nSpeciesIndex == nSpecies;
    case 52: return is("DQ") && d->m_nSpeciesIndex == nSpecies;
    case 53: return is("DF") && d->m_nSpeciesIndex == nSpecies;
    case 54: return is("VS");
    case 60: return is("CR") && d->m_nSpeciesIndex == nSpecies;
    case 100: return is(name(m_pDataMgr->m_SymbolNames1));
    case 101: return is(name(m_pDataMgr->m_SymbolNames2));
    case 102: return is(name(m_pDataMgr->m_SymbolNames3));
    default: return 1;  // a code without keyword matches every description
    }
}

namespace {
bool SameParameter(const TThermFktData* a, const TThermFktData* b)
{
    if (a->m_nFktType != b->m_nFktType || a->m_nInteractionLevel != b->m_nInteractionLevel ||
        a->m_nOrder != b->m_nOrder || a->m_nSublattices != b->m_nSublattices || a->m_bDoSet != b->m_bDoSet)
        return false;
    int e = 0;
    for (int s = 0; s < a->m_nSublattices && s < 8; ++s) {
        if (a->m_nPerSublattice[s] != b->m_nPerSublattice[s]) return false;
        for (int i = 0; i < a->m_nPerSublattice[s] && e < 10; ++i, ++e)
            if (a->m_nConstituent[e] != b->m_nConstituent[e]) return false;
    }
    return true;
}
}  // namespace

int TThermFktMgr::CheckForDoubleParameters(myCString* pReport)
{
    int nCount = 0;
    int n = m_FktArray.m_nSize;
    for (int i = 0; i < n - 1; ++i) {
        for (int j = i + 1; j < n; ++j) {
            TThermFkt* fi = m_FktArray.ElementAt(i);
            if (!SameParameter(fi->m_pFktData, m_FktArray.ElementAt(j)->m_pFktData)) continue;
            if (pReport != nullptr) {
                if (nCount == 0) {
                    *pReport = "\n*******    W A R N I N G    ******** \nThe following function(s) in FktMgr\n";
                    *pReport += "### ";
                    *pReport += m_szName;
                    *pReport += " ###\n";
                    *pReport += "are detected twice:\n";
                }
                myCString line("  ");
                fi->WriteOutFunktion(line, 1);
                *pReport += line;
                *pReport += "\n";
            }
            ++nCount;
        }
    }
    return nCount;
}
