// Composition-dependent evaluation: the gradient and Hessian a function adds
// into its phase's arrays must be the derivatives of the value it reports.
// Every check compares with finite differences of m_dAktVal_F (and of the
// arrays themselves for the second derivatives).
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "support/PhaseTestKit.h"

namespace {

// G(T) = 12000 - 8*T + 2.5*T*ln(T) - 1e-3*T^2 + 4e5/T, with three derivatives.
double G(double T, int k)
{
    switch (k) {
    case 0: return 12000 - 8 * T + 2.5 * T * std::log(T) - 1e-3 * T * T + 4e5 / T;
    case 1: return -8 + 2.5 * (std::log(T) + 1) - 2e-3 * T - 4e5 / (T * T);
    case 2: return 2.5 / T - 2e-3 + 8e5 / (T * T * T);
    default: return -2.5 / (T * T) - 2.4e6 / (T * T * T * T);
    }
}

// Every derivative f->Calc adds into its phase's arrays (gradient, Hessian
// with the third T derivative on the reserved diagonal slot, and for G the T
// derivative of the site-fraction block) against differences of its value
// m_dAktVal_F and of the arrays themselves, at T0 and the phase's fractions.
void CheckCalc(kit::SmallPhase& sp, TThermFkt* f, double T0)
{
    CVxPhase& ph = sp.phase;
    const bool bDo = f->m_pFktData->m_bDoSet != 0;
    const int nType = f->m_pFktData->m_nFktType, tp = ph.m_nTPos, nVar = bDo ? ph.m_nDoVarCount : ph.m_nVarCount;
    myCArray<double, double>& gradArr = nType == 10   ? (bDo ? ph.m_do_GradTC : ph.m_GradTC)
                                        : nType == 20 ? (bDo ? ph.m_do_GradBMAGN : ph.m_GradBMAGN)
                                                      : (bDo ? ph.m_do_GradG : ph.m_GradG);
    CVxMatrix& H = nType == 10   ? (bDo ? ph.m_do_HessTC : ph.m_HessTC)
                   : nType == 20 ? (bDo ? ph.m_do_HessBMAGN : ph.m_HessBMAGN)
                                 : (bDo ? ph.m_do_HessG : ph.m_HessG);
    CVxMatrix* HGT = nType == 10 || nType == 20 ? nullptr : bDo ? &ph.m_do_HessGT : &ph.m_HessGT;
    auto Y = [&](int v) -> double& { return bDo ? ph.m_DoY[v] : ph.m_Y[v]; };
    auto run = [&](double T, int nDeriv) {
        ph.ZeroResults();
        f->m_dValue = G(T, 0);
        f->m_dValueT = G(T, 1);
        f->m_dValueTT = G(T, 2);
        f->m_dValueTTT = G(T, 3);
        f->Calc(nDeriv, 1.0);
    };
    auto value = [&](double T) { return run(T, 0), f->m_dAktVal_F; };
    auto gradAt = [&](double T, int r) { return run(T, 1), gradArr.ElementAt(r); };
    // a function of y_v at T0, the fraction put back afterwards
    auto alongY = [&](int v, auto fn) {
        return [&, v, fn](double y) {
            const double y0 = Y(v);
            Y(v) = y;
            const double r = fn();
            Y(v) = y0;
            return r;
        };
    };

    const double hy = 1e-4, hT = 1e-2;
    run(T0, 2);
    const std::vector<double> grad(gradArr.m_pData, gradArr.m_pData + gradArr.m_nSize);
    const int dim = H.GetDimension();
    const std::vector<double> hess(H.m_Data.m_pData, H.m_Data.m_pData + dim * dim);
    std::vector<double> hessGT;
    if (HGT) hessGT.assign(HGT->m_Data.m_pData, HGT->m_Data.m_pData + dim * dim);
    const double tol = 1e-6 * (1.0 + std::fabs(G(T0, 0)));
    auto h = [&](int r, int c) { return hess[static_cast<size_t>(r * dim + c)]; };

    for (int v = 0; v < nVar; ++v)
        EXPECT_NEAR(grad[v], kit::Derivative5(alongY(v, [&] { return value(T0); }), Y(v), hy), tol) << "dF/dy at " << v;
    EXPECT_NEAR(grad[tp], kit::Derivative5(value, T0, hT), tol) << "dF/dT";
    // second derivatives: columns of variables from differences of the gradient
    for (int c = 0; c < nVar; ++c)
        for (int r = 0; r <= tp; ++r) {
            if (r >= nVar && r != tp) continue;
            const double fd = kit::Derivative5(alongY(c, [&, r] { return gradAt(T0, r); }), Y(c), hy);
            EXPECT_NEAR(h(r, c), fd, tol) << "d2F at (" << r << "," << c << ")";
            EXPECT_NEAR(h(c, r), fd, tol) << "symmetry at (" << c << "," << r << ")";
        }
    EXPECT_NEAR(h(tp, tp), kit::Derivative5([&](double T) { return gradAt(T, tp); }, T0, hT), tol) << "d2F/dT2";
    auto hessAt = [&](int r, int c) { return [&, r, c](double T) { return run(T, 2), H(r, c); }; };
    EXPECT_NEAR(h(tp + 1, tp + 1), kit::Derivative5(hessAt(tp, tp), T0, hT), tol) << "d3F/dT3";
    for (int r = 0; HGT && r < nVar; ++r)
        for (int c = 0; c < nVar; ++c)
            EXPECT_NEAR(hessGT[static_cast<size_t>(r * dim + c)], kit::Derivative5(hessAt(r, c), T0, hT), tol)
                << "d3F/dy dy dT at (" << r << "," << c << ")";
}

TEST(CalcDerivatives, MatchFiniteDifferencesForEveryFamily)
{
    const struct
    {
        const char* text;
        int nType, nOrder;
        bool bDo;
    } cases[] = {{"A:D", 0, 0, false},      // end member, two sublattices
                 {"A,B:D", 0, 0, false},    // regular interaction of order 0
                 {"A,B:D", 0, 1, false},    // order 1
                 {"B,C:E", 0, 2, false},    // order 2
                 {"A,C:VA", 0, 3, false},   // order 3
                 {"A,B:*", 0, 1, false},    // wildcard entry gives factor 1, no derivative
                 {"A,B,C:D", 0, 0, false},  // regular ternary
                 {"A,B:D", 10, 1, false},   // Curie temperature arrays
                 {"C:D,E", 20, 2, false},   // magnetic-moment arrays
                 {"A,B", 0, 1, true},       // do_ set
                 {"A,B,C", 0, 0, true},     // regular ternary in the do_ set
                 {"A,B:D", 3, 1, false}};   // IS with a constant power factor
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.text) + " type " + std::to_string(c.nType) + " order " + std::to_string(c.nOrder) +
                     (c.bDo ? " do-set" : ""));
        kit::SmallPhase sp;
        int nLink = 0;
        TThermFkt* f = sp.Add(c.text, c.nType, c.nOrder, c.bDo, &nLink);
        ASSERT_GT(nLink, 0);
        CheckCalc(sp, f, 850.0);
    }
}

TEST(CalcTernary, NonRegularMembersMatchFiniteDifferences)
{
    kit::SmallPhase sp;
    TThermFkt* f[3];
    for (int k = 0; k < 3; ++k) f[k] = sp.Add("A,B,C:E", 0, k);
    sp.list.SetRegularMode();
    for (int k = 0; k < 3; ++k) {
        ASSERT_EQ(f[k]->m_pFktData->m_bRegular, 0);
        CheckCalc(sp, f[k], 700.0);
        // value: P * (y_(p+k) + (1 - yA - yB - yC)/3) * G
        double yA = 0.2, yB = 0.5, yC = 0.3, yE = 0.35;
        double y[] = {yA, yB, yC};
        double w = (1 - yA - yB - yC) / 3.0 + y[k];
        f[k]->m_dValue = 10.0;
        f[k]->Calc(0, 1.0);
        EXPECT_NEAR(f[k]->m_dAktVal_F, yA * yB * yC * yE * w * 10.0, 1e-12);
    }
}

TEST(CalcReciprocal, ValueUsesBothDifferencesDerivativesTheFirstOnly)
{
    kit::SmallPhase sp;
    TThermFkt* f = sp.Add("A,B:D,E", 0, 1);
    EXPECT_EQ(f->m_pFktData->m_nInteractPos[0], 0);
    EXPECT_EQ(f->m_pFktData->m_nInteractPos[1], 2);
    const double yA = 0.2, yB = 0.5, yD = 0.45, yE = 0.35, g = 3.0;
    sp.phase.ZeroResults();
    f->m_dValue = g;
    f->m_dValueT = 0.0;
    f->Calc(1, 1.0);
    EXPECT_NEAR(f->m_dAktVal_F, yA * yB * yD * yE * (yA - yB) * (yD - yE) * g, 1e-14);
    // gradient of the y_A*y_B*y_D*y_E*(y_A - y_B)*G form
    const double P = yA * yB * yD * yE, d1 = yA - yB;
    EXPECT_NEAR(sp.phase.m_GradG[0], (P + P / yA * d1) * g, 1e-14);
    EXPECT_NEAR(sp.phase.m_GradG[1], (-P + P / yB * d1) * g, 1e-14);
    EXPECT_NEAR(sp.phase.m_GradG[3], P / yD * d1 * g, 1e-14);
    EXPECT_NEAR(sp.phase.m_GradG[4], P / yE * d1 * g, 1e-14);
}

TEST(CalcShiftedOrders, EvenShiftedOrderTakesTheMagnitudeOfG)
{
    kit::SmallPhase sp;
    TThermFkt* f = sp.Add("A,B:D", 0, 10);
    sp.gibbs.m_bShiftedOrders = 1;
    const double yA = 0.2, yB = 0.5, yD = 0.45, P = yA * yB * yD, d1 = yA - yB;
    sp.phase.ZeroResults();
    f->m_dValue = -5.0;
    f->m_dValueT = 0.0;
    f->Calc(2, 1.0);
    EXPECT_EQ(f->m_dValue, 5.0);
    EXPECT_NEAR(f->m_dAktVal_F, d1 * d1 * P * 5.0, 1e-14);
    EXPECT_NEAR(sp.phase.m_GradG[0], (P / yA * d1 * d1 + 2 * d1 * P) * 5.0, 1e-14);
    // second derivatives keep the stored order 10 and the original G
    double h01 = std::pow(d1, 10) * P / (yA * yB) + 10 * std::pow(d1, 9) * (P / yA * -1 + P / yB * 1) +
                 90 * std::pow(d1, 8) * P * -1;
    EXPECT_NEAR(sp.phase.m_HessG(0, 1), -5.0 * h01, 1e-14);  // without the flag: see test_kernel_faults
}

TEST(CalcTargets, TypesReachOnlyTheirArrays)
{
    kit::SmallPhase sp;
    TThermFkt* L = sp.Add("A,B:D", 1, 0);
    TThermFkt* se = sp.Add("", 5, 0);
    TThermFkt* user = sp.Add("A:D", 10000, 0);
    user->m_pFktData->m_nSpeciesIndex = 2;
    sp.phase.m_dSEDivisor = 4.0;
    const int tp = sp.phase.m_nTPos;
    auto set = [](TThermFkt* f) {
        f->m_dValue = 8.0;
        f->m_dValueT = 2.0;
        f->m_dValueTT = 12.0;
        f->m_dValueTTT = 20.0;
    };
    sp.phase.ZeroResults();
    set(L);
    L->Calc(2, 1.0);
    EXPECT_NEAR(L->m_dAktVal_F, 0.2 * 0.5 * 0.45 * 8.0, 1e-14);
    double sum = 0;
    for (int i = 0; i <= tp; ++i) sum += std::fabs(sp.phase.m_GradG[i]) + std::fabs(sp.phase.m_HessG(i, i));
    EXPECT_EQ(sum, 0.0);

    set(se);
    se->Calc(2, 1.0);
    EXPECT_EQ(sp.phase.m_GradG[tp], 0.5);
    EXPECT_EQ(sp.phase.m_HessG(tp, tp), 3.0);
    EXPECT_EQ(sp.phase.m_HessG(tp + 1, tp + 1), 5.0);
    EXPECT_EQ(sp.phase.m_GradG[0], 0.0);

    set(user);
    user->Calc(1, 1.0);
    EXPECT_NEAR(sp.phase.m_SpeciesDT[2], 0.2 * 0.45 * 2.0, 1e-14);
    user->m_pFktData->m_nSpeciesIndex = -1;
    sp.phase.ZeroResults();
    user->Calc(2, 1.0);
    EXPECT_EQ(sp.phase.m_SpeciesDT[2], 0.0);
}

TEST(CalcScaling, FactorAppliesOnEntryAndExit)
{
    kit::SmallPhase sp;
    TThermFkt* f = sp.Add("A:D", 0, 0);
    f->m_dValue = 3.0;
    f->m_dValueT = 1.0;
    sp.phase.ZeroResults();
    EXPECT_EQ(f->Calc(1, -1.0), 0);
    EXPECT_NEAR(f->m_dAktVal_F, -0.2 * 0.45 * 3.0, 1e-15);
    EXPECT_NEAR(sp.phase.m_GradG[0], -0.45 * 3.0, 1e-15);
    EXPECT_EQ(f->m_dValue, 3.0);
    EXPECT_EQ(f->Calc(3, 2.0), 0);  // not an order: only the scaling, twice
    EXPECT_EQ(f->m_dValue, 12.0);
    EXPECT_EQ(f->m_dAktVal_F, 0.0);
    f->m_pFktData->m_bDisabled = 1;
    EXPECT_EQ(f->Calc(2, 2.0), 1);
    EXPECT_EQ(f->m_dValue, 12.0);
    f->m_pPhase = nullptr;
    EXPECT_EQ(f->Calc(2, 2.0), 0);
}

}  // namespace
