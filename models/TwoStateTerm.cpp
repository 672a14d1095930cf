#include "TwoStateTerm.h"

#include <cmath>

#include "SumComposition.h"

void TwoStateTerm::partials(double DG, double T, double R, SumPartials& F)
{
    F.reset(1);
    const double RT = R * T;
    const double x = DG / RT;
    // h = ln(1 + e^-x) and s = 1/(1 + e^x) = -dh/dx, each from the exponential
    // of -|x|
    const double e = std::exp(-std::fabs(x));
    const double h = x >= 0.0 ? std::log1p(e) : -x + std::log1p(e);
    const double s = x >= 0.0 ? e / (1.0 + e) : 1.0 / (1.0 + e);
    const double ss = e / ((1.0 + e) * (1.0 + e));  // s(1 - s), on either side
    F.value = -RT * h;
    F.first[0] = s;
    F.first[1] = -R * (h + s * x);
    F.second[0][0] = -ss / RT;
    F.second[0][1] = F.second[1][0] = ss * x / T;
    F.second[1][1] = -R * ss * x * x / T;
}
