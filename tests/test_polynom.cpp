// Temperature-range pieces: value against a plain pow/log evaluation and
// temperature derivatives against finite differences of the value; and the
// table of powers of the temperature that they read.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "support/KernelTestKit.h"

namespace {

// Runs before any other test of this program touches TK.
TEST(TempArray, StartsWithSixtyTwoZerosAndEveryEntryIsItsOwnPow)
{
    ASSERT_EQ(TK.m_nSize, 62);
    for (int i = 0; i < 62; ++i) EXPECT_EQ(TK[i], 0.0);
    EXPECT_EQ(TK.m_dTLnT, 0.0);
    for (double T : {1.0, 1e-3, 298.15, 1000.0, 1811.0, 6000.0}) {
        TK.CalcTValues(T);
        EXPECT_EQ(TK[0], 0.0);
        for (int n = -30; n <= 30; ++n) {
            double expected = std::pow(T, static_cast<double>(n));
            // bitwise: one pow per power, not a running product
            EXPECT_EQ(std::memcmp(&TK[n + 31], &expected, sizeof(double)), 0) << "T=" << T << " n=" << n;
        }
        EXPECT_EQ(TK.m_dTLnT, std::log(T) * T);
    }
    TK.CalcTValues(1.0);
    for (int i = 1; i < 62; ++i) EXPECT_EQ(TK[i], 1.0);
    EXPECT_EQ(TK.m_dTLnT, 0.0);
    TK.CalcTValues(1000.0);
    EXPECT_EQ(TK[32], 1000.0);
    EXPECT_EQ(TK[30], 1e-3);
    EXPECT_DOUBLE_EQ(TK[61], 1e90);
    EXPECT_DOUBLE_EQ(TK[1], 1e-90);
}

double At(TThermTPolynom& p, double T, int nDeriv, void* pSym = nullptr, double P = 1e5)
{
    TK.CalcTValues(T);
    return p.Calc(T, P, pSym, nDeriv);
}

// Independent evaluation of the constant, T, T*ln T and power terms.
double Straight(const TThermTPolynom& p, double T)
{
    double g = p.m_dA + p.m_dB * T + p.m_dC * T * std::log(T);
    for (int i = 0; i < p.m_nPowerTerms; ++i) g += p.m_adPowerCoef[i] * std::pow(T, p.m_anPowerExp[i]);
    return g;
}

TEST(Polynom, DefaultPieceIsZeroAndHasDocumentedLimits)
{
    TThermTPolynom p;
    EXPECT_EQ(p.m_dTLow, 298.16);
    EXPECT_EQ(p.m_dTHigh, 6000.0);
    EXPECT_EQ(p.m_nSymbolList, -1);
    for (int k = -1; k <= 4; ++k) EXPECT_EQ(At(p, 700.0, k), 0.0) << "order " << k;
}

TEST(Polynom, RandomPiecesValueAndDerivatives)
{
    std::mt19937 rng(12345);
    std::uniform_int_distribution<int> expDist(-27, 30);
    std::uniform_real_distribution<double> coef(-1.0, 1.0);
    std::uniform_real_distribution<double> tDist(300.0, 3000.0);
    for (int trial = 0; trial < 200; ++trial) {
        TThermTPolynom p;
        p.m_dA = 1e4 * coef(rng);
        p.m_dB = 100.0 * coef(rng);
        p.m_dC = 20.0 * coef(rng);
        p.m_nPowerTerms = 1 + trial % 10;
        double T = tDist(rng);
        for (int i = 0; i < p.m_nPowerTerms; ++i) {
            p.m_anPowerExp[i] = expDist(rng);
            // scale so every term is of order one at T: the sum stays well conditioned
            p.m_adPowerCoef[i] = coef(rng) * std::pow(T, -p.m_anPowerExp[i]) * 1e3;
        }
        double g0 = At(p, T, 0);
        EXPECT_NEAR(g0, Straight(p, T), 1e-9 * (1.0 + std::fabs(g0))) << "trial " << trial;
        for (int k = 1; k <= 3; ++k) {
            auto lower = [&](double t) { return At(p, t, k - 1); };
            double h = T * 1e-4;
            double fd = kit::Derivative5(lower, T, h);
            double an = At(p, T, k);
            double scale = std::fabs(At(p, T, k - 1)) / T + std::fabs(an) + 1e-6;
            EXPECT_NEAR(an, fd, 1e-5 * scale) << "trial " << trial << " order " << k;
        }
    }
}

TEST(Polynom, OptionalTermsContributeToTheValueOnly)
{
    const double R = VX_POLY_GAS_CONSTANT;
    const double T = 1000.0, P = 2.0e5;
    TThermTPolynom p;
    p.m_bRTLnTerm = 1;
    p.m_dRTLnFactor = std::exp(1.0);
    EXPECT_NEAR(At(p, T, 0, nullptr, P), R * T, 1e-9);
    p.m_dRTLnFactor = 1.0;
    EXPECT_EQ(At(p, T, 0, nullptr, P), 0.0);
    p.m_bRTLnTerm = 0;

    p.m_bLnTerm = 1;
    p.m_dLnFactor = 2.0;
    p.m_dLnArg = 5.0;
    EXPECT_NEAR(At(p, T, 0, nullptr, P), 2.0 * std::log(5.0), 1e-12);
    p.m_bLnTerm = 0;
    p.m_bExpTerm = 1;
    p.m_dExpFactor = 7.0;
    p.m_dExpArg = 0.0;
    EXPECT_DOUBLE_EQ(At(p, T, 0, nullptr, P), 7.0);
    p.m_dExpArg = -0.5;
    EXPECT_DOUBLE_EQ(At(p, T, 0, nullptr, P), 7.0 * std::exp(-0.5));
    p.m_bExpTerm = 0;

    // pressure terms need the master switch
    p.m_bPTerm = p.m_bTPTerm = p.m_bT2PTerm = 1;
    p.m_dPCoef = 1e-6;
    p.m_dTPCoef = 2e-9;
    p.m_dT2PCoef = 3e-12;
    EXPECT_EQ(At(p, T, 0, nullptr, P), 0.0);
    p.m_bPressureTerms = 1;
    EXPECT_NEAR(At(p, T, 0, nullptr, P), 1e-6 * P + 2e-9 * T * P + 3e-12 * T * T * P, 1e-12);
    for (int k = 1; k <= 3; ++k) EXPECT_EQ(At(p, T, k, nullptr, P), 0.0);
}

TEST(Polynom, SymbolTermsReadStoredValuesOfEveryOrder)
{
    CVxDataMgr dm;
    TThermFkt* s = dm.AddSymbolFunction("F1");
    s->m_dValue = 4.0;
    s->m_dValueT = 1.5;
    s->m_dValueTT = -0.25;
    s->m_dValueTTT = 0.125;
    TThermTPolynom p;
    kit::AddSymbolTerm(&p, 0, 2.5);
    TThermFktMgr* sym = dm.GetSymbolFktMgr();
    EXPECT_DOUBLE_EQ(At(p, 900.0, 0, sym), 10.0);
    EXPECT_DOUBLE_EQ(At(p, 900.0, 1, sym), 3.75);
    EXPECT_DOUBLE_EQ(At(p, 900.0, 2, sym), -0.625);
    EXPECT_DOUBLE_EQ(At(p, 900.0, 3, sym), 0.3125);
    // optional terms with a symbol multiply its stored value
    p.m_nSymbolTerms = 0;
    p.m_bLnTerm = 1;
    p.m_dLnFactor = 3.0;
    p.m_nLnFactorSymbol = 0;
    p.m_dLnArg = 0.5;
    p.m_nLnArgSymbol = 0;
    EXPECT_DOUBLE_EQ(At(p, 900.0, 0, sym), 3.0 * std::log(2.0) * 4.0);
}

TEST(Polynom, ChainsAppendEvaluateAndClear)
{
    TThermTPolynom* head = kit::Piece(300, 1000, 1.0);
    head->AppendPolynom(kit::Piece(1000, 3000, 2.0));
    TThermTPolynom* tail = kit::Piece(3000, 6000, 3.0);
    head->AppendPolynom(tail);
    ASSERT_EQ(head->m_pNext->m_pNext, tail);
    EXPECT_EQ(head->CalcLinked(1000, 0, nullptr, 0), 1.0);  // common limit: the lower piece
    EXPECT_EQ(head->CalcLinked(1001, 0, nullptr, 0), 2.0);
    EXPECT_EQ(head->CalcLinked(9000, 0, nullptr, 0), 3.0);  // above every range: the last
    EXPECT_EQ(head->CalcLinked(100, 0, nullptr, 0), 1.0);   // below every range: the first
    head->ClearChildren();
    EXPECT_EQ(head->m_pNext, nullptr);
    delete head;
}

}  // namespace
