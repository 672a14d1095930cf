#include "myCStringArray.h"

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
    if (nIndex >= m_nSize) {
        // copy first: text may live inside this array and move when it grows
        myCString copy(text);
        Grow(nIndex + 1);
        m_pData[nIndex] = copy;
        return;
    }
    m_pData[nIndex] = text;
}

int myCStringArray::Add(const myCString& text)
{
    int n = m_nSize;
    SetAtGrow(n, text);
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
