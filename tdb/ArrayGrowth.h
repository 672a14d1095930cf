// Appending to the kernel's arrays without quadratic cost.
//
// A kernel array (myCArray) that is full grows by an eighth of its size, but by
// at most 1024 entries: appending n entries one at a time copies about
// n²/2048 of them, which dominates reading a file of hundreds of thousands of
// functions.  Before each append the reader sets the growth step of a large
// array to its size, so that a full block doubles and the copies stay linear;
// small arrays keep the kernel's automatic rule.
#ifndef TDB_ARRAYGROWTH_H
#define TDB_ARRAYGROWTH_H

#include "foundation/mfc_templates.h"

namespace tdb {

template <class Type, class Arg>
inline void growByDoubling(myCArray<Type, Arg>& array)
{
    array.m_nGrowBy = array.m_nSize < 1024 ? 0 : array.m_nSize;
}

}  // namespace tdb

#endif
