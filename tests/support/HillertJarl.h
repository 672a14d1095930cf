// The magnetic function of M. Hillert and M. Jarl, CALPHAD 2 (1978) 227: the
// short series in tau = T/TC that approximate G. Inden's description
// (Physica 103B (1981) 82), written out from the publication as the tests'
// reference; tau = 1 belongs to the upper series.
#ifndef TESTS_SUPPORT_HILLERTJARL_H
#define TESTS_SUPPORT_HILLERTJARL_H

#include <cmath>

namespace hj {

//! Denominator D of the series for structure factor p.
inline double D(double p) { return 518.0 / 1125.0 + 11692.0 / 15975.0 * (1.0 / p - 1.0); }

//! g(tau) for structure factor p.
inline double g(double tau, double p)
{
    if (tau < 1.0)
        return 1.0 - (79.0 / (140.0 * p) / tau +
                      474.0 / 497.0 * (1.0 / p - 1.0) *
                          (std::pow(tau, 3) / 6.0 + std::pow(tau, 9) / 135.0 + std::pow(tau, 15) / 600.0)) /
                         D(p);
    return -(std::pow(tau, -5) / 10.0 + std::pow(tau, -15) / 315.0 + std::pow(tau, -25) / 1500.0) / D(p);
}

}  // namespace hj

#endif
