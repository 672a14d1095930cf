#include "EinsteinTerm.h"

#include <cmath>

#include "SumComposition.h"

void EinsteinTerm::partials(double L, double T, double R, SumPartials& F)
{
    F.reset(1);
    const double theta = std::exp(L);
    const double u = theta / T;
    // b = 1/(e^u - 1) = d ln(1 - e^-u)/du, and db/du = -b(1 + b); for large u
    // both underflow to 0 instead of overflowing.
    const double b = 1.0 / std::expm1(u);
    const double bb = b * (1.0 + b);
    const double lnTerm = std::log1p(-std::exp(-u));
    // partials in theta and T
    const double E_th = 1.5 * R + 3.0 * R * b;
    const double E_T = 3.0 * R * (lnTerm - u * b);
    const double E_thth = -3.0 * R * bb / T;
    const double E_thT = 3.0 * R * bb * u / T;
    const double E_TT = -3.0 * R * u * u * bb / T;
    F.value = 1.5 * R * theta + 3.0 * R * T * lnTerm;
    // theta = exp(L): d/dL = theta d/dtheta
    F.first[0] = E_th * theta;
    F.first[1] = E_T;
    F.second[0][0] = E_thth * theta * theta + E_th * theta;
    F.second[0][1] = F.second[1][0] = E_thT * theta;
    F.second[1][1] = E_TT;
}
