#include "TTempArray.h"

#include <cmath>

// Static initialisation of the module: 62 zeroed elements.  The destructor of
// the global runs at program exit like that of any object of static storage.
TTempArray TK;

TTempArray::TTempArray()
{
    m_pData = nullptr;
    m_nSize = m_nMaxSize = m_nGrowBy = 0;
    SetSize(62, -1);
}

TTempArray::~TTempArray()
{
    // the base class releases the element block
}

void TTempArray::CalcTValues(double T)
{
    // One pow per power (not successive products), so that every entry carries
    // the rounding of a single pow call.
    for (int k = -30; k <= 30; ++k) ElementAt(k + 31) = std::pow(T, static_cast<double>(k));
    m_dTLnT = std::log(T) * T;
}
