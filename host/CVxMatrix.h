// Square block of doubles stored row by row.  Element access is unchecked:
// the owner sizes it to cover every index that is written.
#ifndef HOST_CVXMATRIX_H
#define HOST_CVXMATRIX_H

#include <cstring>

#include "foundation/mfc_templates.h"

class CVxMatrix
{
public:
    myCArray<double, double> m_Data;  //!< n*n doubles, row-major
    int m_nCols = 0;                  //!< column count (== row count)

    // n x n, all zero.
    void SetDimension(int n)
    {
        m_Data.SetSize(0, -1);
        if (n > 0) m_Data.SetSize(n * n, -1);
        m_nCols = n;
    }
    void Zero()
    {
        if (m_Data.m_nSize > 0)
            std::memset(m_Data.m_pData, 0, sizeof(double) * static_cast<size_t>(m_Data.m_nSize));
    }
    int GetDimension() const { return m_nCols; }
    double& operator()(int r, int c) { return m_Data.m_pData[r * m_nCols + c]; }
    double operator()(int r, int c) const { return m_Data.m_pData[r * m_nCols + c]; }
};

#endif
