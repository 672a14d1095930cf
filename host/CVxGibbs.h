// Gibbs-energy model of a phase: its own table of constituents (elements or
// species) in the numbering that function records store.
#ifndef HOST_CVXGIBBS_H
#define HOST_CVXGIBBS_H

#include "TDMGRElementData.h"
#include "foundation/mfc_templates.h"

class CVxGibbs
{
public:
    myCArray<TDMGRElementData, TDMGRElementData> m_ElementArray;  //!< constituents of the model
    int m_bShiftedOrders = 0;  //!< switches the shifted-order rule of interaction orders >= 8 on

    // Index of the constituent named pszName (case-insensitive), -1 if absent.
    int GetElementIndex(const char* pszName) const;
    // Appends a constituent (unless present) and returns its index.
    int AddElement(const TDMGRElementData& element);
    int GetElementCount() const { return m_ElementArray.m_nSize; }
    const char* GetElementName(int nIndex) const { return m_ElementArray.ElementAt(nIndex).m_szElementName; }
};

#endif
