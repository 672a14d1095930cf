#include "myCString.h"

#include <cstdarg>
#include <cstdio>
#include <cstddef>
#include <cstring>

namespace {
char g_szEmpty[1] = {0};
}

myCString::myCString() : m_pszBuffer(g_szEmpty), m_nLength(0), m_nCapacity(0) {}

myCString::myCString(const char* psz) : myCString() { *this = psz; }

myCString::myCString(const myCString& other) : myCString() { *this = other; }

myCString::~myCString()
{
    if (m_nCapacity > 0) delete[] m_pszBuffer;
}

void myCString::Reserve(int nChars)
{
    if (nChars + 1 <= m_nCapacity) return;
    int nNewCap = m_nCapacity > 0 ? m_nCapacity : 16;
    while (nNewCap < nChars + 1) nNewCap *= 2;
    char* pNew = new char[nNewCap];
    std::memcpy(pNew, m_pszBuffer, static_cast<size_t>(m_nLength) + 1);
    if (m_nCapacity > 0) delete[] m_pszBuffer;
    m_pszBuffer = pNew;
    m_nCapacity = nNewCap;
}

void myCString::Append(const char* psz, int nLen)
{
    if (nLen <= 0) return;
    if (m_nCapacity > 0 && psz >= m_pszBuffer && psz < m_pszBuffer + m_nCapacity) {
        // appending a part of ourselves: the block may move when it grows
        ptrdiff_t nOffset = psz - m_pszBuffer;
        Reserve(m_nLength + nLen);
        psz = m_pszBuffer + nOffset;
    } else {
        Reserve(m_nLength + nLen);
    }
    std::memmove(m_pszBuffer + m_nLength, psz, static_cast<size_t>(nLen));
    m_nLength += nLen;
    m_pszBuffer[m_nLength] = 0;
}

void myCString::Empty()
{
    if (m_nCapacity > 0) m_pszBuffer[0] = 0;
    m_nLength = 0;
}

myCString& myCString::operator=(const char* psz)
{
    if (psz == m_pszBuffer) return *this;
    int nLen = psz ? static_cast<int>(std::strlen(psz)) : 0;
    if (psz != nullptr && psz >= m_pszBuffer && psz < m_pszBuffer + m_nLength) {
        // assigning a tail of ourselves
        std::memmove(m_pszBuffer, psz, static_cast<size_t>(nLen) + 1);
        m_nLength = nLen;
        return *this;
    }
    Empty();
    Append(psz, nLen);
    return *this;
}

myCString& myCString::operator=(const myCString& other)
{
    if (&other == this) return *this;
    Empty();
    Append(other.m_pszBuffer, other.m_nLength);
    return *this;
}

myCString& myCString::operator+=(const char* psz)
{
    if (psz == nullptr) return *this;
    Append(psz, static_cast<int>(std::strlen(psz)));
    return *this;
}

myCString& myCString::operator+=(const myCString& other)
{
    Append(other.m_pszBuffer, other.m_nLength);
    return *this;
}

void myCString::Format(const char* pszFormat, ...)
{
    char szLocal[256];
    va_list args;
    va_start(args, pszFormat);
    int nLen = std::vsnprintf(szLocal, sizeof szLocal, pszFormat, args);
    va_end(args);
    if (nLen < 0) {
        Empty();
        return;
    }
    if (nLen < static_cast<int>(sizeof szLocal)) {
        Empty();
        Append(szLocal, nLen);
        return;
    }
    // longer than the local buffer: format again into our own storage
    char* pBig = new char[static_cast<size_t>(nLen) + 1];
    va_start(args, pszFormat);
    std::vsnprintf(pBig, static_cast<size_t>(nLen) + 1, pszFormat, args);
    va_end(args);
    Empty();
    Append(pBig, nLen);
    delete[] pBig;
}
