// Data manager of the host: owns every definition record and every
// temperature-range polynomial, the element table, the constituent texts of
// the parameters, the symbol-name tables, the user-named type keywords and the
// one symbol-function list.  It keeps a registry of the function managers
// built on it, so that removing a polynomial or a record renumbers the
// indices of every function that refers to the arrays.
//
// Symbol names: the three symbol-name tables are kept identical, each entry i
// naming function i of the symbol-function list.  A polynomial's
// m_nSymbolList (1, 2 or 3) therefore always resolves its references to the
// right names, whichever source kind a clone or an expansion gave it.
#ifndef HOST_CVXDATAMGR_H
#define HOST_CVXDATAMGR_H

#include "CVx_coreApp.h"
#include "TDMGRElementData.h"
#include "foundation/mfc_templates.h"
#include "myCStringArray.h"

struct TThermFktData;
class TThermTPolynom;
class TThermFktMgr;

class CVxDataMgr
{
public:
    CVx_coreApp* m_pApp;  //!< receives the module's messages (never null)
    int m_nActSourceKind; //!< source kind (1, 2 or 3) currently worked on

    myCArray<TThermTPolynom*, TThermTPolynom*> m_PolynomArray;  //!< owned polynomials
    myCArray<TThermFktData*, TThermFktData*> m_FktDataArray;    //!< owned definition records
    myCArray<TDMGRElementData, TDMGRElementData> m_ElementArray; //!< elements and species of the database

    myCStringArray m_SourceTexts1;  //!< constituent texts of parameters of source kind 1 (G, L, TC, BMAGN, ...)
    myCStringArray m_SourceTexts2;  //!< ... of source kind 2 (mobility parameters that name a species)
    myCStringArray m_SourceTexts3;  //!< ... of source kind 3 (user-named parameter types)
    myCStringArray m_SymbolNames1;  //!< names of the symbol functions (type 100), by list position
    myCStringArray m_SymbolNames2;  //!< same names (type 101)
    myCStringArray m_SymbolNames3;  //!< same names (type 102)
    myCStringArray m_TypeKeywords;  //!< keyword of user-named type 10000 + k at entry k

    TThermFktMgr* m_pSymbolFktMgr;                          //!< the symbol-function list (owned)
    myCArray<TThermFktMgr*, TThermFktMgr*> m_FktMgrRegistry; //!< managers to notify (not owned)

    explicit CVxDataMgr(CVx_coreApp* pApp = nullptr);
    ~CVxDataMgr();
    CVxDataMgr(const CVxDataMgr&) = delete;
    CVxDataMgr& operator=(const CVxDataMgr&) = delete;

    TThermFktMgr* GetSymbolFktMgr() { return m_pSymbolFktMgr; }

    // Index of the element or species named pszName in m_ElementArray
    // (case-insensitive), -1 when unknown.  The second argument is reserved.
    int GetElementIndex(const char* pszName, unsigned int bAny = 1) const;
    // Appends an element record unless the name is known; returns its index.
    int AddElement(const TDMGRElementData& element);

    // Takes ownership of a record and returns its index.
    int AddFktData(TThermFktData* pData);
    // Appends to the constituent-text table of source kind 1, 2 or 3; returns the entry index, -1 for another kind.
    int AddSourceText(int nSourceKind, const char* pszText);
    myCStringArray* GetSourceTexts(int nSourceKind);
    // Appends a name to all three symbol-name tables; returns its index.
    int AddSymbolName(const char* pszName);
    // Index of a symbol name (case-insensitive), -1 when unknown.
    int FindSymbolName(const char* pszName) const;
    // Appends a symbol function named pszName to the symbol-function list: a
    // record of type 100 whose m_nNameIndex is the function's list position,
    // owned by this data manager, and the name at the same position of the
    // symbol-name tables.  Returns the function (owned by the list).
    class TThermFkt* AddSymbolFunction(const char* pszName);
    // List position of the symbol function named pszName (case-insensitive), -1 when unknown.
    int FindSymbolFunction(const char* pszName) const { return FindSymbolName(pszName); }
    // Index of a user-named type keyword, appending it when new.
    int AddTypeKeyword(const char* pszKeyword);

    // Removes polynomial n, closes the gap and notifies every registered manager.
    void SaveRemovePolynom(int nPolyIndex);
    // Removes record n, closes the gap and notifies every registered manager.
    void RemoveFktData(int nFktDataIndex);

    void RegisterFktMgr(TThermFktMgr* pMgr);
    void UnregisterFktMgr(TThermFktMgr* pMgr);

private:
    CVx_coreApp m_OwnApp;  //!< used when no application object is given
};

#endif
