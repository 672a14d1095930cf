// Finite differences of a phase's G for the evaluation tests: every derivative
// the evaluator gives (gradient, Hessian with T last, SM, CPM, HM) against
// difference quotients of G at x = (y..., T), with tolerances that follow the
// rounding of G.  Every site fraction is an independent variable, as in the
// evaluator: a step in one fraction leaves the others alone.
#ifndef TESTS_SUPPORT_DIFFERENCES_H
#define TESTS_SUPPORT_DIFFERENCES_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "database/ThermDatabase.h"
#include "models/PhaseEvaluator.h"

namespace fd {

// Five-point first derivative: weights over 12h at offsets -2h, -h, +h, +2h.
const double kOffsets[4] = {-2.0, -1.0, 1.0, 2.0};
const double kWeights[4] = {1.0, -8.0, 8.0, -1.0};
// Sums of |weights| of the stencils, times h (first) or h_i*h_j (second
// derivatives): how much of the rounding of G a difference quotient carries.
const double kGain1 = 18.0 / 12.0;
const double kGainDiagonal = 64.0 / 12.0;
const double kGainCross = 4.0 / 3.0 + 1.0 / 12.0;

// Steps.  The gradient takes small steps (1e-6 in y, 1e-3 K), where the
// five-point truncation error is far below rounding.  Second differences
// divide rounding by h^2, so the Hessian takes 1e-4 in y and 0.5 K: the
// truncation error then stays below 1e-6 relative for fractions down to about
// 4e-3, and the T stencil (+-1 K) stays clear of range limits and breakpoints
// at the temperatures the tests choose.
const double kHy1 = 1e-6, kHT1 = 1e-3;
const double kHy2 = 1e-4, kHT2 = 0.5;

// Rounding of one evaluation of G, as a multiple of its scale: the terms of G
// are of the size of G or somewhat larger and cancel, so twenty ulps of the
// scale are allowed.  A difference quotient of weights w over steps h then
// carries up to kRounding * scale * sum|w| / prod(h).
const double kRounding = 20.0 * DBL_EPSILON;

// Five-point derivative of f along coordinate i of x, error O(h^4).
template <class F>
double D1(F& f, std::vector<double> x, int i, double h)
{
    const double x0 = x[i];
    double s = 0;
    for (int a = 0; a < 4; ++a) {
        x[i] = x0 + kOffsets[a] * h;
        s += kWeights[a] * f(x);
    }
    return s / (12.0 * h);
}

// Second derivative along i and j, error O(h^4), stencil within +-2h: for
// i == j the five-point formula; otherwise the four-point cross difference
// at steps h and 2h, extrapolated ((4 D(h) - D(2h)) / 3 cancels the h^2
// term), which takes 8 evaluations instead of the 16 of a nested stencil.
template <class F>
double D2(F& f, std::vector<double> x, int i, double hi, int j, double hj)
{
    if (i == j) {
        const double x0 = x[i];
        const double w[4] = {-1.0, 16.0, 16.0, -1.0};
        double s = -30.0 * f(x);
        for (int a = 0; a < 4; ++a) {
            x[i] = x0 + kOffsets[a] * hi;
            s += w[a] * f(x);
        }
        return s / (12.0 * hi * hi);
    }
    const double xi = x[i], xj = x[j];
    auto cross = [&](double k) {
        double s = 0;
        for (double a : {-1.0, 1.0})
            for (double b : {-1.0, 1.0}) {
                x[i] = xi + a * k * hi;
                x[j] = xj + b * k * hj;
                s += a * b * f(x);
            }
        return s / (4.0 * k * k * hi * hj);
    };
    return (4.0 * cross(1.0) - cross(2.0)) / 3.0;
}

// An interior composition of the evaluator's variables: fractions in
// proportion to 1, 2, 3, ... in the order of the variables, normalised per
// sublattice (a sublattice of one constituent gets 1).
inline std::vector<double> InteriorComposition(const PhaseEvaluator& ev)
{
    const int n = ev.variableCount();
    std::vector<double> y(static_cast<size_t>(n)), sums(static_cast<size_t>(n), 0.0);
    for (int i = 0; i < n; ++i) sums[static_cast<size_t>(ev.variableSublattice(i))] += 1.0 + i;
    for (int i = 0; i < n; ++i) y[static_cast<size_t>(i)] = (1.0 + i) / sums[static_cast<size_t>(ev.variableSublattice(i))];
    return y;
}

// Every derivative of phase phaseIndex at (y, T) against differences of G,
// and the molar quantities against their definitions.  R is the gas constant
// of the ideal term, which sets the scale of G's rounding.
inline void CheckAgainstDifferences(ThermDatabase& db, int phaseIndex, double T, const std::vector<double>& y,
                                    const std::string& where, double P = 101325.0, double R = 8.3145)
{
    PhaseEvaluator ev(db, phaseIndex);
    const int n = ev.variableCount(), dim = n + 1;
    ev.setTemperature(T, P);
    PhaseProperties out;
    ASSERT_TRUE(ev.evaluate(y.data(), 2, out)) << where << ": " << ev.why();
    ASSERT_TRUE(std::isfinite(out.G)) << where;
    ASSERT_EQ(static_cast<int>(out.dG_dy.size()), n) << where;
    ASSERT_EQ(static_cast<int>(out.hessian.size()), dim * dim) << where;

    // Properties at x = (y..., T), the temperature step run only when T
    // changed since the last call: steps in y then cost one evaluation.
    PhaseProperties at;
    double lastT = std::numeric_limits<double>::quiet_NaN();
    auto probe = [&](const std::vector<double>& x, int order) -> const PhaseProperties& {
        if (x.back() != lastT) ev.setTemperature(lastT = x.back(), P);
        if (!ev.evaluate(x.data(), order, at)) ADD_FAILURE() << "evaluate refused: " << ev.why();
        return at;
    };
    auto G = [&](const std::vector<double>& x) { return probe(x, 0).G; };
    std::vector<double> x0 = y;
    x0.push_back(T);
    // scale of the rounding in G: the value itself or the ideal term R*T*(sites), whichever is larger
    const CVxPhase& phase = *db.phases[static_cast<size_t>(phaseIndex)].phase;
    double sites = 0;
    for (int s = 0; s < phase.m_nSublatticeCount; ++s) sites += phase.m_SiteRatios[static_cast<size_t>(s)];
    const double scale = std::max(std::fabs(out.G), R * T * sites);
    // A fraction of exactly 0 is not stepped (the ideal-mixing term has no
    // derivative there): its Hessian entries come from differences of the
    // evaluator's gradient along the other variables.  Small fractions take
    // Hessian steps of a fiftieth of themselves, which keeps the truncation
    // error of the ideal term below 1e-6 relative.
    auto zero = [&](int i) { return i < n && y[static_cast<size_t>(i)] == 0.0; };
    auto h1 = [&](int i) { return i < n ? kHy1 : kHT1; };
    auto h2 = [&](int i) { return i < n ? std::min(kHy2, y[static_cast<size_t>(i)] / 50) : kHT2; };
    auto name = [&](int i) {
        return i < n ? std::string("y(") + ev.variableName(i) + "#" + std::to_string(ev.variableSublattice(i)) + ")"
                     : std::string("T");
    };
    for (int i = 0; i < dim; ++i) {
        const double an = i < n ? out.dG_dy[static_cast<size_t>(i)] : out.dG_dT;
        if (!zero(i)) {
            const double d1 = D1(G, x0, i, h1(i));
            EXPECT_NEAR(an, d1, 1e-7 * std::fabs(d1) + kRounding * scale * kGain1 / h1(i)) << where << ": dG/d" << name(i);
        }
        for (int j = i; j < dim; ++j) {
            const double hij = out.hessian[static_cast<size_t>(i * dim + j)];
            EXPECT_NEAR(hij, out.hessian[static_cast<size_t>(j * dim + i)], 1e-12 * (1.0 + std::fabs(hij)))
                << where << ": symmetry " << name(i) << name(j);
            if (zero(i) && zero(j)) continue;
            if (zero(i) || zero(j)) {
                const int z = zero(i) ? i : j, k = zero(i) ? j : i;
                auto gz = [&](const std::vector<double>& x) {
                    const PhaseProperties& p = probe(x, 1);
                    return z < n ? p.dG_dy[static_cast<size_t>(z)] : p.dG_dT;
                };
                const double d = D1(gz, x0, k, h2(k));
                EXPECT_NEAR(hij, d, 1e-6 * std::fabs(d) + kRounding * scale * kGain1 / h2(k))
                    << where << ": d2G/d" << name(i) << "d" << name(j) << " from the gradient";
                continue;
            }
            const double d2 = D2(G, x0, i, h2(i), j, h2(j));
            const double tol = 1e-6 * std::fabs(d2) + kRounding * scale * (i == j ? kGainDiagonal : kGainCross) / (h2(i) * h2(j));
            EXPECT_NEAR(hij, d2, tol) << where << ": d2G/d" << name(i) << "d" << name(j);
        }
    }
    EXPECT_EQ(out.d2G_dT2, out.hessian[static_cast<size_t>(n * dim + n)]) << where;

    // molar quantities by their definitions, from differences of GM in T
    const double N = out.atoms;
    ASSERT_GT(N, 0.0) << where;
    EXPECT_NEAR(out.GM * N, out.G, 1e-12 * scale) << where;
    const double gmScale = scale / N;
    auto GM = [&](const std::vector<double>& x) { return probe(x, 0).GM; };
    const double sm = -D1(GM, x0, n, kHT1);
    EXPECT_NEAR(out.SM, sm, 1e-7 * std::fabs(sm) + kRounding * gmScale * kGain1 / kHT1) << where << ": SM";
    const double cp = -T * D2(GM, x0, n, kHT2, n, kHT2);
    EXPECT_NEAR(out.CPM, cp, 1e-6 * std::fabs(cp) + T * kRounding * gmScale * kGainDiagonal / (kHT2 * kHT2))
        << where << ": CPM";
    EXPECT_NEAR(out.HM, out.GM + T * out.SM, 1e-12 * (gmScale + T * std::fabs(out.SM))) << where << ": HM";
}

// G of the named phase at (y, T) against the model written out (expected,
// within rel * |expected|) and, when given, its moles of atoms N and GM; lower orders
// give the same numbers as order 2 and leave what they were not asked for
// unset; then every derivative as above.
inline void CheckModel(ThermDatabase& db, const std::string& phase, double T, const std::vector<double>& y,
                       double expected, const std::string& where, double rel = 1e-10, double P = 101325.0,
                       double R = 8.3145, double atoms = std::numeric_limits<double>::quiet_NaN())
{
    const int p = db.findPhase(phase);
    ASSERT_GE(p, 0) << where;
    PhaseEvaluator ev(db, p);
    ASSERT_EQ(ev.variableCount(), static_cast<int>(y.size())) << where;
    ev.setTemperature(T, P);
    PhaseProperties o[3];
    for (int order = 0; order < 3; ++order) ASSERT_TRUE(ev.evaluate(y.data(), order, o[order])) << where << ": " << ev.why();
    EXPECT_NEAR(o[0].G, expected, rel * std::fabs(expected)) << where;
    if (!std::isnan(atoms)) {
        EXPECT_DOUBLE_EQ(o[0].atoms, atoms) << where;
        EXPECT_NEAR(o[0].GM, expected / atoms, rel * std::fabs(expected / atoms)) << where;
    }
    EXPECT_EQ(o[0].G, o[2].G) << where;
    EXPECT_EQ(o[0].GM, o[2].GM) << where;
    EXPECT_TRUE(std::isnan(o[0].SM)) << where;
    EXPECT_EQ(o[1].dG_dT, o[2].dG_dT) << where;
    EXPECT_EQ(o[1].dG_dy, o[2].dG_dy) << where;
    EXPECT_EQ(o[1].HM, o[2].HM) << where;
    EXPECT_TRUE(std::isnan(o[1].CPM)) << where;
    CheckAgainstDifferences(db, p, T, y, where, P, R);
}

// GM, SM, CPM and HM of a substance at T against its G(T) per mole of atoms
// written out (reference): S = -dG/dT and Cp = -T d2G/dT2 from differences of
// the reference, where the stencil (+-1 K) lies on one piece (smooth).
template <class F>
void CheckMolarAgainst(const PhaseProperties& out, F reference, double T, const std::string& where, bool smooth = true)
{
    const double G = reference(T);
    EXPECT_NEAR(out.GM, G, 1e-9 * std::fabs(G)) << where;
    EXPECT_NEAR(out.HM, out.GM + T * out.SM, 1e-9 * std::fabs(G)) << where << ": HM";
    if (!smooth) return;
    auto ref = [&](const std::vector<double>& x) { return reference(x[0]); };
    const std::vector<double> x{T};
    const double S = -D1(ref, x, 0, kHT1), Cp = -T * D2(ref, x, 0, kHT2, 0, kHT2);
    EXPECT_NEAR(out.SM, S, 1e-7 * std::fabs(S) + 1e-6) << where << ": SM";
    EXPECT_NEAR(out.CPM, Cp, 1e-6 * std::fabs(Cp) + 1e-5) << where << ": CPM";
}

}  // namespace fd

#endif
