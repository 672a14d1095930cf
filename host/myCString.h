// Growable NUL-terminated text of the host.  The kernel reads m_pszBuffer and
// m_nLength directly, so the buffer is never null ("" when empty).
#ifndef HOST_MYCSTRING_H
#define HOST_MYCSTRING_H

class myCString
{
public:
    char* m_pszBuffer;  //!< the text, NUL-terminated, never null
    int m_nLength;      //!< number of characters before the NUL
    int m_nCapacity;    //!< bytes available in m_pszBuffer, NUL included

    myCString();
    myCString(const char* psz);
    myCString(const myCString& other);
    ~myCString();

    myCString& operator=(const char* psz);
    myCString& operator=(const myCString& other);
    myCString& operator+=(const char* psz);
    myCString& operator+=(const myCString& other);

    // Replaces the content with the printf-style formatting of the arguments
    // (built on vsnprintf, so every standard conversion behaves as in printf).
    void Format(const char* pszFormat, ...)
#if defined(__GNUC__)
        __attribute__((format(printf, 2, 3)))
#endif
        ;

    int GetLength() const { return m_nLength; }
    bool IsEmpty() const { return m_nLength == 0; }
    const char* c_str() const { return m_pszBuffer; }
    void Empty();

private:
    void Reserve(int nChars);
    void Append(const char* psz, int nLen);
};

#endif
