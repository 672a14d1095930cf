#ifndef HOST_MY_STRICMP_H
#define HOST_MY_STRICMP_H

// Compares two NUL-terminated texts without regard to ASCII letter case:
// 0 when equal, negative or positive like strcmp otherwise.
int my_stricmp(const char* psz1, const char* psz2);

// The upper-case form of an ASCII letter; any other byte as it is.
inline int UpperAscii(int c) { return (c >= 'a' && c <= 'z') ? c - ('a' - 'A') : c; }

#endif
