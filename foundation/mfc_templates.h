// Growable array of plain (trivially copyable) elements.
//
// Every list of the thermodynamic-function module and of the host data it
// touches is one of these.  Elements are moved with byte copies, new elements
// are zero bytes, and no constructor or destructor of TYPE ever runs: an array
// of pointers never owns its pointees.
//
// The bounds check of ElementAt/operator[] stays active in every build type
// (it does not use <cassert>, which NDEBUG would remove): an index outside the
// array is a programming error and stops the process.
#ifndef FOUNDATION_MFC_TEMPLATES_H
#define FOUNDATION_MFC_TEMPLATES_H

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <type_traits>

namespace mfc_detail {
// Prints the failed condition with the header and the operation's signature
// and stops the process.  Kept out of line of the hot accessors.
[[noreturn]] inline void AssertionFailed(const char* pszExpr, const char* pszFunction, int nLine)
{
    std::fprintf(stderr, "mfc_templates:%d: %s: Assertion `%s' failed.\n", nLine, pszFunction, pszExpr);
    std::fflush(stderr);
    std::abort();
}
}  // namespace mfc_detail

#define MFC_VERIFY(expr)                                                        \
    do {                                                                        \
        if (!(expr)) mfc_detail::AssertionFailed(#expr, __PRETTY_FUNCTION__, __LINE__); \
    } while (0)

template <class TYPE, class ARG_TYPE>
class myCArray
{
    static_assert(std::is_trivially_copyable<TYPE>::value,
                  "myCArray moves its elements with byte copies");

public:
    TYPE* m_pData = nullptr;  //!< element block (array-new), null when empty
    int m_nSize = 0;          //!< number of live elements
    int m_nMaxSize = 0;       //!< capacity of the block in elements
    int m_nGrowBy = 0;        //!< growth step; 0 = automatic rule

    myCArray() = default;
    ~myCArray()
    {
        if (m_pData != nullptr) delete[] reinterpret_cast<unsigned char*>(m_pData);
    }
    myCArray(const myCArray&) = delete;
    myCArray& operator=(const myCArray&) = delete;

    int GetSize() const { return m_nSize; }

    TYPE& ElementAt(int nIndex)
    {
        MFC_VERIFY(nIndex >= 0 && nIndex < m_nSize);
        return m_pData[nIndex];
    }
    const TYPE& ElementAt(int nIndex) const
    {
        MFC_VERIFY(nIndex >= 0 && nIndex < m_nSize);
        return m_pData[nIndex];
    }
    TYPE& operator[](int nIndex)
    {
        MFC_VERIFY(nIndex >= 0 && nIndex < m_nSize);
        return m_pData[nIndex];
    }
    const TYPE& operator[](int nIndex) const
    {
        MFC_VERIFY(nIndex >= 0 && nIndex < m_nSize);
        return m_pData[nIndex];
    }

    void SetSize(int nNewSize, int nGrowBy = -1)
    {
        if (nGrowBy != -1) m_nGrowBy = nGrowBy;
        if (nNewSize == 0) {
            Release();
            m_nSize = m_nMaxSize = 0;
            return;
        }
        if (m_pData == nullptr) {
            m_pData = Allocate(nNewSize);
            m_nSize = m_nMaxSize = nNewSize;
            return;
        }
        if (nNewSize <= m_nMaxSize) {
            if (nNewSize > m_nSize)
                std::memset(static_cast<void*>(m_pData + m_nSize), 0,
                            sizeof(TYPE) * static_cast<size_t>(nNewSize - m_nSize));
            m_nSize = nNewSize;
            return;
        }
        int nGrow = m_nGrowBy;
        if (nGrow == 0) {
            nGrow = m_nSize / 8;
            nGrow = (nGrow < 4) ? 4 : ((nGrow > 1024) ? 1024 : nGrow);
        }
        int nNewMax = (nNewSize < m_nMaxSize + nGrow) ? m_nMaxSize + nGrow : nNewSize;
        MFC_VERIFY(nNewMax >= m_nMaxSize);
        TYPE* pNewData = Allocate(nNewMax);
        std::memcpy(static_cast<void*>(pNewData), static_cast<const void*>(m_pData),
                    sizeof(TYPE) * static_cast<size_t>(m_nSize));
        MFC_VERIFY(nNewSize > m_nSize);
        // the new block is zero already; the range m_nSize .. nNewSize-1 stays zero
        Release();
        m_pData = pNewData;
        m_nSize = nNewSize;
        m_nMaxSize = nNewMax;
    }

    void InsertAt(int nIndex, ARG_TYPE newElement, int nCount = 1)
    {
        if (nIndex >= m_nSize) {
            SetSize(nIndex + nCount, -1);
        } else {
            int nOldSize = m_nSize;
            SetSize(nOldSize + nCount, -1);
            std::memmove(static_cast<void*>(m_pData + nIndex + nCount),
                         static_cast<const void*>(m_pData + nIndex),
                         sizeof(TYPE) * static_cast<size_t>(nOldSize - nIndex));
            std::memset(static_cast<void*>(m_pData + nIndex), 0, sizeof(TYPE) * static_cast<size_t>(nCount));
        }
        for (int i = 0; i < nCount; ++i) m_pData[nIndex + i] = newElement;
    }

    void RemoveAt(int nIndex, int nCount = 1)
    {
        int nMoveCount = m_nSize - (nIndex + nCount);
        if (nMoveCount > 0)
            std::memmove(static_cast<void*>(m_pData + nIndex),
                         static_cast<const void*>(m_pData + nIndex + nCount),
                         sizeof(TYPE) * static_cast<size_t>(nMoveCount));
        m_nSize -= nCount;
    }

    // Appends with the array's own growth rule; returns the new element's index.
    int Add(ARG_TYPE newElement)
    {
        int n = m_nSize;
        SetSize(n + 1, -1);
        m_pData[n] = newElement;
        return n;
    }

private:
    // Zero-filled block of n elements; raw bytes, so no TYPE constructor runs.
    static TYPE* Allocate(int n)
    {
        size_t nBytes = sizeof(TYPE) * static_cast<size_t>(n);
        unsigned char* p = new unsigned char[nBytes];
        std::memset(p, 0, nBytes);
        return reinterpret_cast<TYPE*>(p);
    }
    void Release()
    {
        if (m_pData != nullptr) delete[] reinterpret_cast<unsigned char*>(m_pData);
        m_pData = nullptr;
    }
};

#endif
