// One temperature range of a thermodynamic function with its terms:
//   G(T,P) = A + B*T + C*T*ln(T) + sum c_i*T^n_i + sum d_j*F(s_j)
//            [+ R*T*ln(x)] [+ f*ln(g)] [+ f*exp(g)] [+ p*P + q*T*P + r*T^2*P]
// Energies are those of the function the piece belongs to (for Gibbs-energy
// parameters: J per mole of formula units of the phase's model).
#ifndef THERMFUNCTIONS_TTHERMTPOLYNOM_H
#define THERMFUNCTIONS_TTHERMTPOLYNOM_H

#include <cstdint>

class myCString;
class QDataStream;

//! Gas constant of the polynomial's R*T*ln(x) term [J/mol/K]
constexpr double VX_POLY_GAS_CONSTANT = 8.314472145136097;

class TThermTPolynom
{
public:
    TThermTPolynom* m_pNext;          //!< next piece of the chain (next higher range), null at the end
    int32_t m_nSymbolList;            //!< symbol-name list (1, 2, 3) that names the references in listings
    double m_dTLow;                   //!< lower limit of the range [K]
    double m_dTHigh;                  //!< upper limit of the range [K]
    int32_t m_nPowerTerms;            //!< used power-term slots, 0 ... 10
    int32_t m_nSymbolTerms;           //!< used symbol-term slots, 0 ... 16
    double m_dA;                      //!< constant term
    double m_dB;                      //!< coefficient of T
    double m_dC;                      //!< coefficient of T*ln(T)
    double m_adPowerCoef[10];         //!< coefficient c_i of c_i*T^n_i
    int32_t m_anPowerExp[10];         //!< exponent n_i
    double m_adSymbolFactor[16];      //!< factor d_j of d_j*F(s_j)
    int32_t m_anSymbolIndex[16];      //!< index s_j in the symbol-function list
    int32_t m_bRTLnTerm;              //!< R*T*ln(x) present
    double m_dRTLnFactor;             //!< constant of x
    int32_t m_nRTLnSymbol;            //!< symbol of x, or -1
    int32_t m_bLnTerm;                //!< f*ln(g) present
    double m_dLnFactor;               //!< constant of f
    int32_t m_nLnFactorSymbol;        //!< symbol of f, or -1
    double m_dLnArg;                  //!< constant of g
    int32_t m_nLnArgSymbol;           //!< symbol of g, or -1
    int32_t m_bExpTerm;               //!< f*exp(g) present
    double m_dExpFactor;              //!< constant of f
    int32_t m_nExpFactorSymbol;       //!< symbol of f, or -1
    double m_dExpArg;                 //!< constant of g
    int32_t m_nExpArgSymbol;          //!< symbol of g, or -1
    int32_t m_bPressureTerms;         //!< master switch of the three pressure terms
    int32_t m_bPTerm;                 //!< p*P present
    double m_dPCoef;                  //!< constant of p [per Pa]
    int32_t m_nPSymbol;               //!< symbol of p, or -1
    int32_t m_bTPTerm;                //!< q*T*P present
    double m_dTPCoef;                 //!< constant of q
    int32_t m_nTPSymbol;              //!< symbol of q, or -1
    int32_t m_bT2PTerm;               //!< r*T^2*P present
    double m_dT2PCoef;                //!< constant of r
    int32_t m_nT2PSymbol;             //!< symbol of r, or -1

    TThermTPolynom();
    ~TThermTPolynom();

    // Value (nDeriv 0) or nDeriv-th temperature derivative (1..3) at T [K], P [Pa].
    double Calc(double T, double P, void* pSymbolMgr, int nDeriv);
    // Calc of the chain member that covers T.
    double CalcLinked(double T, double P, void* pSymbolMgr, int nDeriv);
    // Calc that first brings forward-referenced symbol functions up to date.
    double SaveCalc(double T, double P, void* pSymbolMgr, int nDeriv, int nSelfIndex);
    void AppendPolynom(TThermTPolynom* pPoly);
    void ClearChildren();

    // Text notation of this piece and the chain behind it.
    void WriteOutPoly(myCString& out, int nMode, void* pDataMgr);
    // Binary record: bStore != 0 writes, 0 reads.
    int Serialize(QDataStream& ar, unsigned int bStore);
};

#endif
