// Construction, reset, polynomial bookkeeping and index renumbering of a
// function object.
#include "TThermFkt.h"

#include "TThermFktMgr.h"
#include "TThermTPolynom.h"
#include "host/CVxDataMgr.h"
#include "host/CVxPhase.h"
#include "host/myCString.h"

double ConstantOneValue = 1.0;

TThermFkt::TThermFkt() { init(); }

TThermFkt::TThermFkt(TThermFktData* pData)
{
    init();
    m_pFktData = pData;
    if (pData != nullptr) {
        pData->m_bRegular = 1;
        pData->m_bDisabled = 0;
    }
}

TThermFkt::~TThermFkt()
{
    Clear(0);
    // m_PolyIndex releases its block; the polynomials stay in the data manager
}

void TThermFkt::init()
{
    m_nFktDataIndex = -1;
    m_pFktData = nullptr;
    m_dValue = m_dValueT = m_dValueTT = m_dValueTTT = 0.0;
    m_dAktVal_F = 0.0;
    m_pDataMgr = nullptr;
    m_pSymbolMgr = nullptr;
    m_pPhase = nullptr;
    m_pGibbs = nullptr;
    m_nPolyIndex = -1;
    m_pActPoly = nullptr;
    for (int i = 0; i < 10; ++i) {
        m_pY[i] = nullptr;
        m_pDoY[i] = nullptr;
    }
}

double TThermFkt::Pot(double x, int n)
{
    if (n == 0) return 1.0;
    if (n < 0) return 0.0;
    if (n == 1) return x;
    double r = x;
    for (int i = 1; i < n; ++i) r *= x;
    return r;
}

int TThermFkt::LinkSymbols(void* pDataMgr, void* pGibbs)
{
    m_pDataMgr = static_cast<CVxDataMgr*>(pDataMgr);
    m_pGibbs = static_cast<CVxGibbs*>(pGibbs);
    m_pSymbolMgr = m_pDataMgr ? m_pDataMgr->GetSymbolFktMgr() : nullptr;
    if (m_pFktData != nullptr) {
        m_pFktData->m_nSublattices = 0;
        m_pFktData->m_nConstituents = 0;
    }
    return 0;
}

int TThermFkt::HasWildCardElements()
{
    int n = 0;
    for (int i = 0; i < m_pFktData->m_nConstituents && i < 10; ++i)
        if (m_pFktData->m_nConstituent[i] == -1) ++n;
    return n;
}

int TThermFkt::AddPolynom(TThermTPolynom* pPoly)
{
    myCArray<TThermTPolynom*, TThermTPolynom*>& polys = m_pDataMgr->m_PolynomArray;
    int k = polys.m_nSize;
    polys.SetSize(k + 1, -1);
    polys.ElementAt(k) = pPoly;
    int n = m_PolyIndex.m_nSize;
    m_PolyIndex.SetSize(n + 1, -1);
    m_PolyIndex.ElementAt(n) = k;
    return 0;
}

int TThermFkt::Clear(unsigned int bRemovePolynoms)
{
    if (bRemovePolynoms == 0) return 0;
    // each removal renumbers our later indices too, so read each one when used
    for (int i = 0; i < m_PolyIndex.m_nSize; ++i) m_pDataMgr->SaveRemovePolynom(m_PolyIndex.ElementAt(i));
    m_PolyIndex.SetSize(0, -1);
    return 0;
}

int TThermFkt::NotifyPolyCleared(int nPolyIndex)
{
    for (int i = 0; i < m_PolyIndex.m_nSize; ++i)
        if (m_PolyIndex.m_pData[i] > nPolyIndex) --m_PolyIndex.m_pData[i];
    return 1;
}

int TThermFkt::NotifyFktDataCleared(int nFktDataIndex)
{
    if (m_nFktDataIndex == nFktDataIndex) {
        myCString msg;
        if (m_pPhase != nullptr)
            msg.Format("* SERIOUS CONFLICT * Deleting FktData which is still in use by '%s'!!!",
                       m_pPhase->GetPhaseName(0));
        else
            msg = "* SERIOUS CONFLICT * Deleting FktData which is still in use by '*** unknown ***'!!!";
        if (m_pDataMgr != nullptr && m_pDataMgr->m_pApp != nullptr) m_pDataMgr->m_pApp->WriteOut(msg, 1, 1);
        return 1;
    }
    if (nFktDataIndex < m_nFktDataIndex) --m_nFktDataIndex;
    return 1;
}
