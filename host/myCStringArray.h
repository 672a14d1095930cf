// Array of host strings.  The kernel reads m_pData and m_nSize directly.
#ifndef HOST_MYCSTRINGARRAY_H
#define HOST_MYCSTRINGARRAY_H

#include "myCString.h"

class myCStringArray
{
public:
    myCString* m_pData = nullptr;  //!< first entry (array-new), null when empty
    int m_nSize = 0;               //!< number of entries
    int m_nMaxSize = 0;            //!< capacity in entries

    myCStringArray() = default;
    ~myCStringArray();
    myCStringArray(const myCStringArray&) = delete;
    myCStringArray& operator=(const myCStringArray&) = delete;

    int GetSize() const { return m_nSize; }
    // Stores a copy of text at nIndex, growing the array to nIndex + 1 entries
    // when needed (entries in between are empty).
    void SetAtGrow(int nIndex, const myCString& text);
    // Appends a copy; returns its index.
    int Add(const myCString& text);
    int Add(const char* pszText);
    // Checked access: an index outside the array stops the process.
    myCString& ElementAt(int nIndex);
    const myCString& ElementAt(int nIndex) const;
    myCString& operator[](int nIndex) { return ElementAt(nIndex); }
    const myCString& operator[](int nIndex) const { return ElementAt(nIndex); }
    void RemoveAll();

private:
    void Grow(int nNewSize);
};

#endif
