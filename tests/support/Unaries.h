// Unary Gibbs energies of pure elements in their stable structure relative to
// the element reference [J per mole of atoms], SGTE data: A.T. Dinsdale,
// "SGTE data for pure elements", CALPHAD 15 (1991) 317-425.  Written out here
// independently of any database file, as the reference the tests check against.
#ifndef TESTS_SUPPORT_UNARIES_H
#define TESTS_SUPPORT_UNARIES_H

#include <cmath>

namespace unary {

inline double GhserFe(double T)
{
    if (T < 1811.0)
        return 1225.7 + 124.134 * T - 23.5143 * T * std::log(T) - 0.00439752 * T * T - 5.8927e-8 * T * T * T +
               77359.0 / T;
    return -25383.581 + 299.31255 * T - 46.0 * T * std::log(T) + 2.29603e31 * std::pow(T, -9);
}

inline double GhserCr(double T)
{
    if (T < 2180.0)
        return -8856.94 + 157.48 * T - 26.908 * T * std::log(T) + 0.00189435 * T * T - 1.47721e-6 * T * T * T +
               139250.0 / T;
    return -34869.344 + 344.18 * T - 50.0 * T * std::log(T) - 2.88526e32 * std::pow(T, -9);
}

inline double GhserNb(double T)
{
    if (T < 2750.0)
        return -8519.353 + 142.045475 * T - 26.4711 * T * std::log(T) + 2.03475e-4 * T * T - 3.5012e-7 * T * T * T +
               93399.0 / T;
    return -37669.3 + 271.720843 * T - 41.77 * T * std::log(T) + 1.528238e32 * std::pow(T, -9);
}

inline double GhserSn(double T)  // body-centred tetragonal (white) tin
{
    const double lnT = std::log(T);
    if (T < 250.0)
        return -7958.517 + 122.765451 * T - 25.858 * T * lnT + 5.1185e-4 * T * T - 3.192767e-6 * T * T * T +
               18440.0 / T;
    if (T < 505.08)
        return -5855.135 + 65.443315 * T - 15.961 * T * lnT - 0.0188702 * T * T + 3.121167e-6 * T * T * T -
               61960.0 / T;
    if (T < 800.0)
        return 2524.724 + 4.005269 * T - 8.2590486 * T * lnT - 0.016814429 * T * T + 2.623131e-6 * T * T * T -
               1081244.0 / T - 1.2307e25 * std::pow(T, -9);
    return -8256.959 + 138.99688 * T - 28.4512 * T * lnT - 1.2307e25 * std::pow(T, -9);
}

}  // namespace unary

#endif
