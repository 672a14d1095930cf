// A phase of the host: sublattices with site ratios, the constituents of each
// sublattice (regular set and do_ set), the site fractions, and the result
// arrays into which the phase's functions add value derivatives.
//
// Variable numbering (both sets): the site fractions of the set in sublattice
// order, constituents in the order they were added; then the temperature at
// m_nTPos (one position shared by both sets, after the larger of the two),
// and m_nTPos + 1 reserved for the third temperature derivative, which the
// functions store on the diagonal (m_nTPos + 1, m_nTPos + 1).  Every vector
// and matrix of both sets therefore has m_nTPos + 2 rows and columns.
//
// Call SetupVariables() after the structure is complete.  It (re)allocates
// the site fractions: pointers handed out before stay valid until the next
// SetupVariables(), after which the phase's functions must be linked again.
#ifndef HOST_CVXPHASE_H
#define HOST_CVXPHASE_H

#include <string>
#include <vector>

#include "CVxGibbs.h"
#include "CVxMatrix.h"
#include "foundation/mfc_templates.h"

class CVxPhase
{
public:
    char m_szPhaseName[64];   //!< the phase's name, upper case
    char m_szDoName[64];      //!< name under which the do_ set is listed
    int m_nSublatticeCount;   //!< number of sublattices
    int m_nModelType;         //!< model code; 10 = ordered phase with a do_ (disordered) set
    CVxGibbs* m_pGibbsModel;  //!< the phase's Gibbs model (not owned)

    // Structure.
    std::vector<double> m_SiteRatios;                //!< sites of each sublattice [per formula unit]
    std::vector<std::vector<int>> m_Constituents;    //!< Gibbs-model indices per sublattice, regular set
    std::vector<std::vector<int>> m_DoConstituents;  //!< Gibbs-model indices per sublattice, do_ set
    std::vector<std::vector<int>> m_VarPos;          //!< variable positions, parallel to m_Constituents
    std::vector<std::vector<int>> m_DoVarPos;        //!< do_ positions, parallel to m_DoConstituents
    int m_nVarCount;                                 //!< number of regular site-fraction variables
    int m_nDoVarCount;                               //!< number of do_ site-fraction variables

    // Site fractions, indexed by variable position.
    myCArray<double, double> m_Y;    //!< regular site fractions [-]
    myCArray<double, double> m_DoY;  //!< do_ site fractions [-]

    // Result arrays, regular set (Gibbs terms per mole of formula units).
    myCArray<double, double> m_GradG;       //!< dG/dv [J/mol formula units per unit of v]
    CVxMatrix m_HessG;                      //!< d2G/dv dw
    CVxMatrix m_HessGT;                     //!< d/dT of the site-fraction block of m_HessG
    myCArray<double, double> m_GradTC;      //!< gradient of the TC sum [K]
    CVxMatrix m_HessTC;                     //!< second derivatives of the TC sum
    myCArray<double, double> m_GradBMAGN;   //!< gradient of the magnetic-moment sum [Bohr magnetons]
    CVxMatrix m_HessBMAGN;                  //!< second derivatives of the magnetic-moment sum
    // Result arrays, do_ set.
    myCArray<double, double> m_do_GradG;
    CVxMatrix m_do_HessG;
    CVxMatrix m_do_HessGT;
    myCArray<double, double> m_do_GradTC;
    CVxMatrix m_do_HessTC;
    myCArray<double, double> m_do_GradBMAGN;
    CVxMatrix m_do_HessBMAGN;

    int m_nTPos;                          //!< variable position of the temperature
    double m_dSEDivisor;                  //!< divides the temperature derivatives of "SE" functions
    double m_dISBase;                     //!< "IS" functions scale by pow(m_dISBase, m_dISExponent)
    double m_dISExponent;
    myCArray<double, double> m_SpeciesDT; //!< per Gibbs-model constituent: dF/dT of user-typed functions

    // Model data the database gives the phase.
    std::string m_TypeCodes;       //!< type codes of the phase as the database wrote them (e.g. "G", "A", "L")
    double m_dMagneticP;           //!< structure factor p of the magnetic model; 0 = no magnetic term
    double m_dAFMFactor;           //!< antiferromagnetic factor (-1 BCC, -3 FCC/HCP) from the database
    int m_bEvaluable;              //!< 0 when the phase needs a model the kernel does not have
    std::string m_NotEvaluableWhy; //!< why it is not evaluable (empty when evaluable)

    CVxPhase();
    explicit CVxPhase(const char* pszName, CVxGibbs* pGibbs = nullptr);
    CVxPhase(const CVxPhase&) = delete;
    CVxPhase& operator=(const CVxPhase&) = delete;

    void SetName(const char* pszName);

    // Structure building; call SetupVariables() afterwards.
    int AddSublattice(double dSites);                       //!< returns the sublattice index
    int AddConstituent(int nSublattice, int nElement);      //!< regular set; returns its place in the sublattice
    int AddDoConstituent(int nSublattice, int nElement);    //!< do_ set (creates do_ sublattices as needed)
    void SetupVariables();

    // Sets every result array (both sets) and m_SpeciesDT to zero.
    void ZeroResults();
    int GetMatrixDimension() const { return m_nTPos + 2; }

    // Interface the function module calls.
    char* GetPhaseName(int nWhich);
    int GetVarPos(int nSublattice, int nElement) const;
    int Get_do_VarPos(int nSublattice, int nElement) const;
    double* GetYPointer(int nSublattice, int nElement);
    double* Get_doY_Pointer(int nSublattice, int nElement);
    // 1 when the element may occupy the sublattice, 0 otherwise.  A wildcard
    // (-1) may occupy every existing sublattice.
    int Is(int nSublattice, int nElement) const;
    int do_Is(int nSublattice, int nElement) const;
    // 1 when the element is a constituent of any sublattice (either set).
    int IsElement(int nElement) const;
};

#endif
