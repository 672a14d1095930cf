// Named, ordered list of owned function objects: a phase's parameter list or
// the symbol-function list.  A function's position is its number; symbol
// references in polynomials are positions in the symbol-function list.
#ifndef THERMFUNCTIONS_TTHERMFKTMGR_H
#define THERMFUNCTIONS_TTHERMFKTMGR_H

#include "foundation/mfc_templates.h"

class CVxDataMgr;
class CVxGibbs;
class CVxPhase;
class QDataStream;
class TThermFkt;
class myCString;

class TThermFktMgr
{
public:
    char m_szName[32];                         //!< name (the phase's for a phase list), NUL-terminated
    CVxDataMgr* m_pDataMgr;                    //!< data manager (not owned)
    myCArray<TThermFkt*, TThermFkt*> m_FktArray; //!< owned functions in list order

    TThermFktMgr();
    explicit TThermFktMgr(CVxDataMgr* pDataMgr);
    // A name longer than 31 characters is truncated to 31.
    TThermFktMgr(char* pszName, CVxDataMgr* pDataMgr);
    virtual ~TThermFktMgr();

    TThermFkt* AddFunction(TThermFkt* pFkt);
    int Clear(unsigned int bRemovePolynoms);
    double GetFuncVal(int nIndex, int nDeriv);
    int NotifyPolyCleared(int nPolyIndex);
    int NotifyFktDataCleared(int nFktDataIndex);
    int GetDuplicateFunction(TThermFkt* pFkt);

    int CalcPTValues(double T, double P, int nDeriv);
    int SaveCalcPTValues(double T, double P, int nDeriv);

    int LinkSymbols(void* pDataMgr, void* pGibbs);
    int LinkYPointers(CVxPhase* pPhase, CVxGibbs* pGibbs);
    int SetRegularMode();

    void WriteOutFunktions(myCString& out, int nMode);
    int CheckForDoubleParameters(myCString* pReport);

    TThermFktMgr* CreateClone(int nSourceKind, unsigned int bCopyPolynoms, CVxPhase* pPhase);
    int ExpandWildcardFunctions(bool bLinkDuplicates);
    // True when another function, of this list or of any list registered with
    // the data manager, refers to pFkt's record (bPolynoms false) or to one of
    // its polynomials (bPolynoms true).
    bool SharesWithOthers(const TThermFkt* pFkt, bool bPolynoms) const;

    int Serialize(QDataStream& ar, unsigned int bStore);

    TThermFktMgr(const TThermFktMgr&) = delete;
    TThermFktMgr& operator=(const TThermFktMgr&) = delete;
};

#endif
