// Placeholder main job until the phase evaluation exists: fills the power
// table at a few temperatures and prints some of its entries.
#include <cstdio>

#include "thermfunctions/VxThermFunctions.h"

int main()
{
    const double temps[] = {298.15, 1000.0, 1811.0};
    for (double T : temps) {
        TK.CalcTValues(T);
        std::printf("T=%-8g T^-2=%-14.6e T^-1=%-14.6e T^1=%-10g T^2=%-12g T^3=%-14.6e T*ln(T)=%.6f\n", T,
                    TK[29], TK[30], TK[32], TK[33], TK[34], TK.m_dTLnT);
    }
    return 0;
}
