#include "my_stricmp.h"

int my_stricmp(const char* psz1, const char* psz2)
{
    const unsigned char* p1 = reinterpret_cast<const unsigned char*>(psz1);
    const unsigned char* p2 = reinterpret_cast<const unsigned char*>(psz2);
    for (;; ++p1, ++p2) {
        int c1 = *p1, c2 = *p2;
        if (c1 >= 'a' && c1 <= 'z') c1 -= 'a' - 'A';
        if (c2 >= 'a' && c2 <= 'z') c2 -= 'a' - 'A';
        if (c1 != c2) return c1 - c2;
        if (c1 == 0) return 0;
    }
}
