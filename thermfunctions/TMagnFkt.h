// Dimensionless magnetic function g(tau) of the Hillert-Jarl form of Inden's
// model, tau = T/TC, with its derivatives in the Curie temperature and T.
// The host multiplies g by R*T*ln(beta+1) itself.
#ifndef THERMFUNCTIONS_TMAGNFKT_H
#define THERMFUNCTIONS_TMAGNFKT_H

class CVxPhase;
class myCString;

class TMagnFkt
{
public:
    double m_dT;            //!< temperature [K], set by the host before Calc
    double m_dHostSlot1;    //!< free for the host; zeroed at construction
    double m_dD;            //!< denominator D of the model
    double m_dP;            //!< structure factor p
    double m_dG;            //!< g(tau)
    double m_dGdTC;         //!< dg/dTC [1/K]
    double m_dGdTC2;        //!< d2g/dTC2 [1/K2]
    double m_dGdTdTC;       //!< d2g/dT dTC [1/K2]
    double m_dGdTdTC2;      //!< d3g/dT dTC2 [1/K3]
    double m_dTau2GTau;     //!< tau^2 dg/dtau
    double m_dAFMFactor;    //!< antiferromagnetic factor (-1 or -3)
    double m_dBelowCoef[4]; //!< coefficients of tau^-1, tau^3, tau^9, tau^15 below TC
    double m_dAboveCoef[3]; //!< coefficients of tau^-5, tau^-15, tau^-25 above TC
    double m_dHostSlot2;    //!< free for the host; zeroed at construction

    TMagnFkt();
    int Initialize(double p, CVxPhase* pPhase);
    int Calc(double TC, int nDeriv);
    void WriteOutFunktion(myCString& out, int nMode);
};

#endif
