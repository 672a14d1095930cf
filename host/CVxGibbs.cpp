#include "CVxGibbs.h"

#include "my_stricmp.h"

int CVxGibbs::GetElementIndex(const char* pszName) const
{
    if (pszName == nullptr) return -1;
    for (int i = 0; i < m_ElementArray.m_nSize; ++i)
        if (my_stricmp(m_ElementArray.m_pData[i].m_szElementName, pszName) == 0) return i;
    return -1;
}

int CVxGibbs::AddElement(const TDMGRElementData& element)
{
    int n = GetElementIndex(element.m_szElementName);
    if (n >= 0) return n;
    return m_ElementArray.Add(element);
}
