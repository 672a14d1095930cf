#include "XiongMagnetic.h"

#include <cmath>

#include "SumComposition.h"

double XiongMagnetic::g(double tau, double p, double& g1, double& g2)
{
    const double D = 0.33471979 + 0.49649686 * (1.0 / p - 1.0);
    if (tau <= 1.0) {
        const double A = 0.38438376 / p, B = 0.63570895 * (1.0 / p - 1.0);
        const double t2 = tau * tau, t3 = t2 * tau, t6 = t3 * t3, t7 = t6 * tau, t8 = t7 * tau, t9 = t6 * t3;
        const double t13 = t9 * t3 * tau, t14 = t13 * tau, t15 = t14 * tau, t19 = t15 * t3 * tau, t20 = t19 * tau,
                     t21 = t20 * tau;
        g1 = -(-A / t2 + B * (t2 / 2.0 + t8 / 15.0 + t14 / 40.0 + t20 / 77.0)) / D;
        g2 = -(2.0 * A / t3 + B * (tau + 8.0 * t7 / 15.0 + 14.0 * t13 / 40.0 + 20.0 * t19 / 77.0)) / D;
        return 1.0 - (A / tau + B * (t3 / 6.0 + t9 / 135.0 + t15 / 600.0 + t21 / 1617.0)) / D;
    }
    const double r = 1.0 / tau, r7 = std::pow(r, 7), r14 = r7 * r7, r21 = r14 * r7, r28 = r14 * r14, r35 = r28 * r7,
                 r42 = r21 * r21, r49 = r42 * r7;
    g1 = (r7 / 3.0 + r21 / 30.0 + r35 / 85.0 + r49 / 168.0) * r / D;
    g2 = -(8.0 * r7 / 3.0 + 22.0 * r21 / 30.0 + 36.0 * r35 / 85.0 + 50.0 * r49 / 168.0) * r * r / D;
    return -(r7 / 21.0 + r21 / 630.0 + r35 / 2975.0 + r49 / 8232.0) / D;
}

namespace {
// g(T/C) and its partials in (C, T); all 0 for C <= 0.
struct Ordering
{
    double g = 0, gC = 0, gT = 0, gCC = 0, gCT = 0, gTT = 0;
    Ordering(double C, double T, double p)
    {
        if (!(C > 0.0)) return;
        const double tau = T / C;
        double g1 = 0.0, g2 = 0.0;
        g = XiongMagnetic::g(tau, p, g1, g2);
        gT = g1 / C;
        gC = -g1 * tau / C;
        gTT = g2 / (C * C);
        gCT = -(g2 * tau + g1) / (C * C);
        gCC = (g2 * tau * tau + 2.0 * g1 * tau) / (C * C);
    }
};
}  // namespace

void XiongMagnetic::partials(double beta, double TC, double NT, double T, double p, double R, SumPartials& F)
{
    F.reset(3);
    const Ordering c(TC, T, p), n(NT, T, p);
    const double L = std::log(beta + 1.0), L1 = 1.0 / (beta + 1.0), L2 = -L1 * L1;
    const double G = c.g + n.g, GT = c.gT + n.gT, GTT = c.gTT + n.gTT;
    enum { kB = 0, kC = 1, kN = 2, kT = 3 };
    F.value = R * T * L * G;
    F.first[kB] = R * T * L1 * G;
    F.first[kC] = R * T * L * c.gC;
    F.first[kN] = R * T * L * n.gC;
    F.first[kT] = R * L * G + R * T * L * GT;
    F.second[kB][kB] = R * T * L2 * G;
    F.second[kB][kC] = F.second[kC][kB] = R * T * L1 * c.gC;
    F.second[kB][kN] = F.second[kN][kB] = R * T * L1 * n.gC;
    F.second[kB][kT] = F.second[kT][kB] = R * L1 * G + R * T * L1 * GT;
    F.second[kC][kC] = R * T * L * c.gCC;
    F.second[kN][kN] = R * T * L * n.gCC;
    F.second[kC][kT] = F.second[kT][kC] = R * L * c.gC + R * T * L * c.gCT;
    F.second[kN][kT] = F.second[kT][kN] = R * L * n.gC + R * T * L * n.gCT;
    F.second[kT][kT] = 2.0 * R * L * GT + R * T * L * GTT;
}
