#include "CVxDataMgr.h"

#include "my_stricmp.h"
#include "thermfunctions/VxThermFunctions.h"

CVxDataMgr::CVxDataMgr(CVx_coreApp* pApp) : m_pApp(pApp ? pApp : &m_OwnApp), m_nActSourceKind(1)
{
    // the manager registers itself with us on construction
    m_pSymbolFktMgr = new TThermFktMgr(const_cast<char*>("SYMBOLS"), this);
}

CVxDataMgr::~CVxDataMgr()
{
    delete m_pSymbolFktMgr;
    m_pSymbolFktMgr = nullptr;
    for (int i = 0; i < m_PolynomArray.m_nSize; ++i) delete m_PolynomArray.m_pData[i];
    for (int i = 0; i < m_FktDataArray.m_nSize; ++i) delete m_FktDataArray.m_pData[i];
    // managers still registered belong to their owners; they must not use us any more
    for (int i = 0; i < m_FktMgrRegistry.m_nSize; ++i)
        if (m_FktMgrRegistry.m_pData[i]) m_FktMgrRegistry.m_pData[i]->m_pDataMgr = nullptr;
}

int CVxDataMgr::GetElementIndex(const char* pszName, unsigned int /*bAny*/) const
{
    if (pszName == nullptr) return -1;
    // the first letters first: binding a large database asks this thousands of times
    const int first = UpperAscii(static_cast<unsigned char>(pszName[0]));
    for (int i = 0; i < m_ElementArray.m_nSize; ++i) {
        const char* name = m_ElementArray.m_pData[i].m_szElementName;
        if (UpperAscii(static_cast<unsigned char>(name[0])) == first && my_stricmp(name, pszName) == 0) return i;
    }
    return -1;
}

int CVxDataMgr::AddElement(const TDMGRElementData& element)
{
    int n = GetElementIndex(element.m_szElementName, 1);
    if (n >= 0) return n;
    return m_ElementArray.Add(element);
}

int CVxDataMgr::AddFktData(TThermFktData* pData) { return m_FktDataArray.Add(pData); }

myCStringArray* CVxDataMgr::GetSourceTexts(int nSourceKind)
{
    switch (nSourceKind) {
    case 1: return &m_SourceTexts1;
    case 2: return &m_SourceTexts2;
    case 3: return &m_SourceTexts3;
    default: return nullptr;
    }
}

int CVxDataMgr::AddSourceText(int nSourceKind, const char* pszText)
{
    myCStringArray* pTable = GetSourceTexts(nSourceKind);
    if (pTable == nullptr) return -1;
    return pTable->Add(myCString(pszText));
}

int CVxDataMgr::AddSymbolName(const char* pszName)
{
    m_SymbolNames2.Add(pszName);
    m_SymbolNames3.Add(pszName);
    return m_SymbolNames1.Add(pszName);
}

int CVxDataMgr::FindSymbolName(const char* pszName) const
{
    for (int i = 0; i < m_SymbolNames1.m_nSize; ++i)
        if (my_stricmp(m_SymbolNames1.m_pData[i].m_pszBuffer, pszName) == 0) return i;
    return -1;
}

int CVxDataMgr::AddTypeKeyword(const char* pszKeyword)
{
    for (int i = 0; i < m_TypeKeywords.m_nSize; ++i)
        if (my_stricmp(m_TypeKeywords.m_pData[i].m_pszBuffer, pszKeyword) == 0) return i;
    return m_TypeKeywords.Add(myCString(pszKeyword));
}

void CVxDataMgr::SaveRemovePolynom(int nPolyIndex)
{
    // Only the piece itself is released: the data manager never follows
    // m_pNext, so a chain that a shallow copy still shares stays intact.
    delete m_PolynomArray.ElementAt(nPolyIndex);
    m_PolynomArray.RemoveAt(nPolyIndex, 1);
    for (int i = 0; i < m_FktMgrRegistry.m_nSize; ++i)
        if (m_FktMgrRegistry.m_pData[i]) m_FktMgrRegistry.m_pData[i]->NotifyPolyCleared(nPolyIndex);
}

void CVxDataMgr::RemoveFktData(int nFktDataIndex)
{
    delete m_FktDataArray.ElementAt(nFktDataIndex);
    m_FktDataArray.RemoveAt(nFktDataIndex, 1);
    for (int i = 0; i < m_FktMgrRegistry.m_nSize; ++i)
        if (m_FktMgrRegistry.m_pData[i]) m_FktMgrRegistry.m_pData[i]->NotifyFktDataCleared(nFktDataIndex);
}

void CVxDataMgr::RegisterFktMgr(TThermFktMgr* pMgr)
{
    for (int i = 0; i < m_FktMgrRegistry.m_nSize; ++i)
        if (m_FktMgrRegistry.m_pData[i] == pMgr) return;
    m_FktMgrRegistry.Add(pMgr);
}

void CVxDataMgr::UnregisterFktMgr(TThermFktMgr* pMgr)
{
    for (int i = 0; i < m_FktMgrRegistry.m_nSize; ++i)
        if (m_FktMgrRegistry.m_pData[i] == pMgr) {
            m_FktMgrRegistry.RemoveAt(i, 1);
            return;
        }
}

TThermFkt* CVxDataMgr::AddSymbolFunction(const char* pszName)
{
    int nPos = m_pSymbolFktMgr->m_FktArray.m_nSize;
    TThermFktData* pData = new TThermFktData;
    pData->m_nSourceKind = 1;
    pData->m_nFktType = 100;
    pData->m_nNameIndex = nPos;
    int nDataIndex = AddFktData(pData);
    TThermFkt* pFkt = new TThermFkt(pData);
    pFkt->m_nFktDataIndex = nDataIndex;
    pFkt->m_pDataMgr = this;
    pFkt->m_pSymbolMgr = m_pSymbolFktMgr;
    m_pSymbolFktMgr->AddFunction(pFkt);
    // the name tables stay in step with the list positions
    while (m_SymbolNames1.m_nSize < nPos) AddSymbolName("");
    AddSymbolName(pszName);
    return pFkt;
}
