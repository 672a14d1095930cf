#include "myCStringArray.h"

#include <functional>
#include <utility>

#include "foundation/mfc_templates.h"

myCStringArray::~myCStringArray() { delete[] m_pData; }

void myCStringArray::Grow(int nNewSize)
{
    if (nNewSize <= m_nSize) return;
    if (nNewSize > m_nMaxSize) {
        int nNewMax = m_nMaxSize < 8 ? 8 : m_nMaxSize * 2;
        if (nNewMax < nNewSize) nNewMax = nNewSize;
        myCString* pNew = new myCString[nNewMax];
        // hand the texts over instead of copying them: a table of many names grows cheaply
        for (int i = 0; i < m_nSize; ++i) {
            std::swap(pNew[i].m_pszBuffer, m_pData[i].m_pszBuffer);
            std::swap(pNew[i].m_nLength, m_pData[i].m_nLength);
            std::swap(pNew[i].m_nCapacity, m_pData[i].m_nCapacity);
        }
        delete[] m_pData;
        m_pData = pNew;
        m_nMaxSize = nNewMax;
    }
    for (int i = m_nSize; i < nNewSize; ++i) m_pData[i].Empty();
    m_nSize = nNewSize;
}

void myCStringArray::SetAtGrow(int nIndex, const myCString& text)
{
    MFC_VERIFY(nIndex >= 0);
    if (nIndex >= m_nSize && std::less_equal<const myCString*>()(m_pData, &text) &&
        std::less<const myCString*>()(&text, m_pData + m_nMaxSize)) {
        // text is an entry of this array, and the entries move when it grows: copy it first
        myCString copy(text);
        Grow(nIndex + 1);
        m_pData[nIndex] = copy;
        return;
    }
    Grow(nIndex + 1);
    m_pData[nIndex] = text;
}

int myCStringArray::Add(const myCString& text)
{
    int n = m_nSize;
    SetAtGrow(n, text);
    return n;
}

int myCStringArray::Add(const char* pszText)
{
    // growing hands the texts over to the new entries, so pszText stays valid
    // even when it is the text of one of them
    int n = m_nSize;
    Grow(n + 1);
    m_pData[n] = pszText;
    return n;
}

myCString& myCStringArray::ElementAt(int nIndex)
{
    MFC_VERIFY(nIndex >= 0 && nIndex < m_nSize);
    return m_pData[nIndex];
}

const myCString& myCStringArray::ElementAt(int nIndex) const
{
    MFC_VERIFY(nIndex >= 0 && nIndex < m_nSize);
    return m_pData[nIndex];
}

void myCStringArray::RemoveAll()
{
    delete[] m_pData;
    m_pData = nullptr;
    m_nSize = m_nMaxSize = 0;
}
