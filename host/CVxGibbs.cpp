#include "CVxGibbs.h"

#include "my_stricmp.h"

int CVxGibbs::GetElementIndex(const char* pszName) const
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

int CVxGibbs::AddElement(const TDMGRElementData& element)
{
    int n = GetElementIndex(element.m_szElementName);
    if (n >= 0) return n;
    return m_ElementArray.Add(element);
}
