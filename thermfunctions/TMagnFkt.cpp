// Magnetic function g(tau) and its derivatives in the Curie temperature and T.
#include "TMagnFkt.h"

#include <cmath>

#include "host/CVxPhase.h"
#include "host/myCString.h"
#include "host/my_stricmp.h"

TMagnFkt::TMagnFkt()
    : m_dT(0.0),
      m_dHostSlot1(0.0),
      m_dD(0.0),
      m_dP(0.0),
      m_dG(0.0),
      m_dGdTC(0.0),
      m_dGdTC2(0.0),
      m_dGdTdTC(0.0),
      m_dGdTdTC2(0.0),
      m_dTau2GTau(0.0),
      m_dAFMFactor(-1.0),
      m_dBelowCoef{0.0, 0.0, 0.0, 0.0},
      m_dAboveCoef{0.0, 0.0, 0.0},
      m_dHostSlot2(0.0)
{
}

int TMagnFkt::Initialize(double p, CVxPhase* pPhase)
{
    m_dP = p;
    const double D = 0.46044444444444443 + 0.7318935837245696 * (1.0 / p - 1.0);
    m_dD = D;
    m_dBelowCoef[0] = -0.5642857142857143 / p / D;
    const double K = -0.9537223340040242 * (1.0 / p - 1.0) / D;
    m_dBelowCoef[1] = K / 6.0;
    m_dBelowCoef[2] = K / 135.0;
    m_dBelowCoef[3] = K / 600.0;
    m_dAboveCoef[0] = -0.1 / D;
    m_dAboveCoef[1] = -0.0031746031746031746 / D;
    m_dAboveCoef[2] = -0.0006666666666666666 / D;
    m_dAFMFactor = -1.0;
    if (pPhase != nullptr) {
        const char* pszName = pPhase->GetPhaseName(0);
        if (my_stricmp(pszName, "FCC_A1") == 0 || my_stricmp(pszName, "HCP_A3") == 0) m_dAFMFactor = -3.0;
    }
    return 0;
}

int TMagnFkt::Calc(double TC, int nDeriv)
{
    double TCp = TC;
    if (TC < 0.0) TCp = TC / m_dAFMFactor;
    const double tau = std::fabs(m_dT / TCp);
    if (nDeriv < 0 || nDeriv > 2) return 1;
    const double TC2 = TCp * TCp;
    if (tau < 1.0) {
        const double am1 = m_dBelowCoef[0], a3 = m_dBelowCoef[1], a9 = m_dBelowCoef[2], a15 = m_dBelowCoef[3];
        const double t2 = tau * tau, t3 = tau * tau * tau;
        const double t9 = std::pow(tau, 9.0), t15 = std::pow(tau, 15.0);
        m_dG = 1.0 + am1 / tau + a3 * t3 + a9 * t9 + a15 * t15;
        m_dTau2GTau = (79.0 / (140.0 * m_dP) -
                       (474.0 / 497.0) * (1.0 / m_dP - 1.0) *
                           (std::pow(tau, 4.0) * 0.5 + std::pow(tau, 10.0) / 15.0 + std::pow(tau, 16.0) / 40.0)) /
                      m_dD;
        if (nDeriv >= 1) m_dGdTC = (-am1 / tau + 3 * a3 * t3 + 9 * a9 * t9 + 15 * a15 * t15) / (-TCp);
        if (nDeriv == 2) {
            const double t8 = std::pow(tau, 8.0), t14 = std::pow(tau, 14.0);
            m_dGdTC2 = (12 * a3 * t3 + 90 * a9 * t9 + 240 * a15 * t15) / TC2;
            m_dGdTdTC = -(am1 / t2 + 9 * a3 * t2 + 81 * a9 * t8 + 225 * a15 * t14) / TC2;
            m_dGdTdTC2 = (36 * a3 * t2 + 810 * a9 * t8 + 3600 * a15 * t14) / (TC2 * TCp);
        }
    } else {
        const double b5 = m_dAboveCoef[0], b15 = m_dAboveCoef[1], b25 = m_dAboveCoef[2];
        const double tm5 = std::pow(tau, -5.0), tm15 = std::pow(tau, -15.0), tm25 = std::pow(tau, -25.0);
        m_dG = b5 * tm5 + b15 * tm15 + b25 * tm25;
        m_dTau2GTau = (std::pow(tau, -4.0) / 2.0 + std::pow(tau, -14.0) / 21.0 + std::pow(tau, -24.0) / 60.0) / m_dD;
        if (nDeriv >= 1) m_dGdTC = (-5 * b5 * tm5 - 15 * b15 * tm15 - 25 * b25 * tm25) / (-TCp);
        if (nDeriv == 2) {
            const double tm6 = std::pow(tau, -6.0), tm16 = std::pow(tau, -16.0), tm26 = std::pow(tau, -26.0);
            m_dGdTC2 = (20 * b5 * tm5 + 210 * b15 * tm15 + 600 * b25 * tm25) / TC2;
            m_dGdTdTC = -(25 * b5 * tm6 + 225 * b15 * tm16 + 625 * b25 * tm26) / TC2;
            m_dGdTdTC2 = -(100 * b5 * tm6 + 3150 * b15 * tm16 + 15000 * b25 * tm26) / (TC2 * TCp);
        }
    }
    return 1;
}

void TMagnFkt::WriteOutFunktion(myCString& out, int /*nMode*/)
{
    myCString line;
    out += "   magnetic function below Curie temperature\n";
    line.Format("   1%+.12g*TAO**(-1)%+.12g*TAO**(3)%+.12g*TAO**(9)%+.12g*TAO**(15)\n", m_dBelowCoef[0],
                m_dBelowCoef[1], m_dBelowCoef[2], m_dBelowCoef[3]);
    out += line;
    out += "   magnetic function above Curie temperature\n";
    line.Format("   %+.12g*TAO**(-5)%+.12g*TAO**(-15)%+.12g*TAO**(-25)\n\n", m_dAboveCoef[0], m_dAboveCoef[1],
                m_dAboveCoef[2]);
    out += line;
}
