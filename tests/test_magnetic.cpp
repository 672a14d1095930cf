// Magnetic function: g against the publication and its derivatives against
// finite differences on both sides of the Curie temperature, listing and
// factor choice.  That G stays continuous through the Curie temperature is
// checked on iron in BCC_A2 (test_phase_databases).
#include <gtest/gtest.h>

#include <cmath>

#include "host/CVxPhase.h"
#include "host/myCString.h"
#include "support/HillertJarl.h"
#include "support/KernelTestKit.h"

namespace {

double g(TMagnFkt& m, double T, double TC, int nDeriv = 0)
{
    m.m_dT = T;
    m.Calc(TC, nDeriv);
    return m.m_dG;
}

TEST(Magnetic, DerivativesMatchFiniteDifferencesOnBothSides)
{
    for (double p : {0.4, 0.28}) {
        TMagnFkt m;
        CVxPhase bcc("BCC_A2");
        m.Initialize(p, &bcc);
        const double TC = 1043.0;
        for (double T : {300.0, 800.0, 1000.0, 1100.0, 1500.0, 3000.0}) {
            m.m_dT = T;
            m.Calc(TC, 2);
            const TMagnFkt r = m;
            const double h = 1e-3;
            auto dTC = [&](double tc) { return g(m, T, tc); };
            EXPECT_NEAR(r.m_dGdTC, kit::Derivative5(dTC, TC, h), 1e-9) << T;
            auto dTC1 = [&](double tc) { g(m, T, tc, 1); return m.m_dGdTC; };
            EXPECT_NEAR(r.m_dGdTC2, kit::Derivative5(dTC1, TC, h), 1e-11) << T;
            auto dT1 = [&](double t) { g(m, t, TC, 1); return m.m_dGdTC; };
            EXPECT_NEAR(r.m_dGdTdTC, kit::Derivative5(dT1, T, h), 1e-11) << T;
            auto dT2 = [&](double t) { g(m, t, TC, 2); return m.m_dGdTC2; };
            EXPECT_NEAR(r.m_dGdTdTC2, kit::Derivative5(dT2, T, h), 1e-13) << T;
            EXPECT_NEAR(r.m_dG, hj::g(T / TC, p), 1e-13) << T;
            // tau^2 dg/dtau = -T dg/dTC
            EXPECT_NEAR(r.m_dTau2GTau, -T * r.m_dGdTC, 1e-12) << T;
        }
    }
}

TEST(Magnetic, AntiferromagneticFactorAndOrders)
{
    CVxPhase fcc("fcc_a1"), hcp("Hcp_A3"), bcc("BCC_A2");
    TMagnFkt m;
    m.Initialize(0.28, &fcc);
    EXPECT_EQ(m.m_dAFMFactor, -3.0);
    m.Initialize(0.28, &hcp);
    EXPECT_EQ(m.m_dAFMFactor, -3.0);
    m.Initialize(0.4, &bcc);
    EXPECT_EQ(m.m_dAFMFactor, -1.0);
    // TC = -300: |TC| for BCC, |TC|/3 for FCC
    EXPECT_EQ(g(m, 150.0, -300.0), g(m, 150.0, 300.0));
    m.Initialize(0.28, &fcc);
    EXPECT_EQ(g(m, 50.0, -300.0), g(m, 50.0, 100.0));

    m.m_dGdTC = m.m_dGdTC2 = 123.0;
    g(m, 50.0, 100.0, 0);
    EXPECT_EQ(m.m_dGdTC, 123.0);  // order 0 writes only g and tau^2 dg/dtau
    g(m, 50.0, 100.0, 1);
    EXPECT_NE(m.m_dGdTC, 123.0);
    EXPECT_EQ(m.m_dGdTC2, 123.0);
    m.m_dG = 7.0;
    EXPECT_EQ(m.Calc(100.0, 3), 1);
    EXPECT_EQ(m.m_dG, 7.0);
}

TEST(Magnetic, ListingOfTheSeries)
{
    TMagnFkt m;
    m.Initialize(0.4, nullptr);
    myCString out;
    m.WriteOutFunktion(out, 0);
    EXPECT_STREQ(out.m_pszBuffer,
                 "   magnetic function below Curie temperature\n"
                 "   1-0.905299382744*TAO**(-1)-0.153008346379*TAO**(3)-0.00680037095019*TAO**(9)"
                 "-0.00153008346379*TAO**(15)\n"
                 "   magnetic function above Curie temperature\n"
                 "   -0.0641731208021*TAO**(-5)-0.00203724193023*TAO**(-15)-0.000427820805348*TAO**(-25)\n\n");
}

}  // namespace
