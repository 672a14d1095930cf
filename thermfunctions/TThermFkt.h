// Function object: a parameter or symbol function with its definition record,
// its temperature-range polynomials (by index into the data manager), its
// binding to a phase's site fractions and the results of the last evaluation.
#ifndef THERMFUNCTIONS_TTHERMFKT_H
#define THERMFUNCTIONS_TTHERMFKT_H

#include <cstdint>

#include "TThermFktData.h"
#include "foundation/mfc_templates.h"

class CVxDataMgr;
class CVxGibbs;
class CVxPhase;
class QDataStream;
class TThermFktMgr;
class TThermTPolynom;
class myCString;

//! Factor 1 that wildcard entries (and entries linked without a phase) point at.
extern double ConstantOneValue;

class TThermFkt
{
public:
    int32_t m_nFktDataIndex;        //!< index of the record in the data manager's record array
    TThermFktData* m_pFktData;      //!< the record (not owned)
    double m_dValue;                //!< value G at the last T, P (unit of the parameter, e.g. J/mol formula units)
    double m_dValueT;               //!< dG/dT
    double m_dValueTT;              //!< d2G/dT2
    double m_dValueTTT;             //!< d3G/dT3
    double m_dAktVal_F;             //!< composition-weighted value of the last Calc
    CVxDataMgr* m_pDataMgr;         //!< data manager (not owned)
    TThermFktMgr* m_pSymbolMgr;     //!< symbol-function list the polynomials refer to (not owned)
    CVxPhase* m_pPhase;             //!< phase the function is bound to (not owned)
    CVxGibbs* m_pGibbs;             //!< Gibbs model of that phase (not owned)
    int32_t m_nPolyIndex;           //!< 1-based position of the last polynomial the range search examined
    TThermTPolynom* m_pActPoly;     //!< polynomial of the last evaluation; null outside every range
    myCArray<int, int> m_PolyIndex; //!< indices of its polynomials in the data manager's array
    double* m_pY[10];               //!< regular set: site fraction of each constituent entry
    double* m_pDoY[10];             //!< do_ set: site fraction of each constituent entry

    TThermFkt();
    explicit TThermFkt(TThermFktData* pData);
    ~TThermFkt();

    void init();
    static double Pot(double x, int n);
    int LinkSymbols(void* pDataMgr, void* pGibbs);
    int HasWildCardElements();
    int AddPolynom(TThermTPolynom* pPoly);
    int Clear(unsigned int bRemovePolynoms);
    int NotifyPolyCleared(int nPolyIndex);
    int NotifyFktDataCleared(int nFktDataIndex);

    // Evaluation at temperature [K] and pressure [Pa]; nDeriv is a level 0..2.
    int CalcPTValues(double T, double P, int nDeriv);
    int SaveCalcPTValues(double T, double P, int nDeriv, int nSelfIndex);

    // Binding to the phase's site fractions.
    int LinkYPointer(CVxPhase* pPhase, CVxGibbs* pGibbs, char* pszConstituents);

    // Composition-weighted value and derivatives added into the phase's arrays.
    int Calc(int nDeriv, double dFactor);

    // Text notation.
    void CopyConstituentString(myCString& out);
    void WriteOutFunktion(myCString& out, int nMode);

    // Identity.
    int CompareFuncData(char* pszType, char* pszOther, int nSpecies, int nOrder);

    // Copy with its own polynomial copies, sharing the record.
    TThermFkt* CreateClone();

    // Binary record: bStore != 0 writes, 0 reads.
    int Serialize(QDataStream& ar, unsigned int bStore);

    TThermFkt(const TThermFkt&) = delete;
    TThermFkt& operator=(const TThermFkt&) = delete;
};

#endif
