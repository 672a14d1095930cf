// The table of powers of the temperature.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "thermfunctions/TTempArray.h"

namespace {

// Runs before any other test of this program touches TK.
TEST(TempArray, StartsWithSixtyTwoZeros)
{
    ASSERT_EQ(TK.m_nSize, 62);
    for (int i = 0; i < 62; ++i) EXPECT_EQ(TK[i], 0.0);
    EXPECT_EQ(TK.m_dTLnT, 0.0);
}

TEST(TempArray, EveryEntryIsItsOwnPow)
{
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

}  // namespace
