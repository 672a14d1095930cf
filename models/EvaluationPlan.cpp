#include "EvaluationPlan.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "EinsteinTerm.h"
#include "SumComposition.h"
#include "TwoStateTerm.h"
#include "XiongMagnetic.h"

namespace {
constexpr int kMaxFactors = 10;  // constituent entries of one parameter record

// Packed index of the pair of entries (i, j) of a group of m entries.
inline int PairIndex(int i, int j, int m)
{
    if (j < i) std::swap(i, j);
    return i * m - i * (i - 1) / 2 + (j - i);
}
}  // namespace

// Every kernel below runs over L lanes: L = 1 is one point, L = kLanes a
// block.  Lane j of a quantity r sits at [r*L + j]; each statement is a loop
// over the lanes doing exactly what the one-point code does, so the lanes
// give the point results bit for bit.
#define LANES for (int j = 0; j < L; ++j)

void EvaluationPlan::prepare(Point& out) const
{
    out.grad.assign(static_cast<size_t>(dimension()), 0.0);
    out.hess.assign(packedSize(), 0.0);
}

size_t EvaluationPlan::bytes() const
{
    size_t b = sizeof(*this) + groups_.capacity() * sizeof(Group) + factorVar_.capacity() * sizeof(int) +
               factorLocal_.capacity() * sizeof(int) + pairOffset_.capacity() * sizeof(uint32_t) +
               coef_.capacity() * sizeof(double) + powers_.capacity() + contributions_.capacity() * sizeof(Contribution) +
               sites_.capacity() * sizeof(double) + magScratch_.capacity() * sizeof(double) +
               magOffset_.capacity() * sizeof(uint32_t) + (Ra_.capacity() + laneCoef_.capacity()) * sizeof(double);
    b += group_.capacity() * sizeof(int) +
         (weight_.capacity() + x_.capacity() + yx_.capacity() + eGrad_.capacity() + eHess_.capacity()) * sizeof(double);
    for (const Space* set : {spaces_, atX_, disordered_})
        for (int q = 0; q < 3; ++q)
            b += set[q].global.capacity() * sizeof(int) + (set[q].grad.capacity() + set[q].hess.capacity()) * sizeof(double);
    for (const Space& sp : propertySums_) b += (sp.grad.capacity() + sp.hess.capacity()) * sizeof(double);
    return b;
}

void EvaluationPlan::temperatureChanged()
{
    RT_ = kGasConstant * T_;
    invT_ = 1.0 / T_;
    lanesCurrent_ = false;
}

// The site-fraction product P of a group's M entries (0: as many as the
// group says) over L lanes: the fractions, prefix and suffix products, and
// Pi, the product without entry i -- nothing divided by a fraction.
template <int M, int L>
struct ProductLanes
{
    static constexpr int Cap = M > 0 ? M : kMaxFactors;
    const int count;
    double yv[Cap][L], pre[Cap + 1][L], suf[Cap + 1][L], Pi[Cap][L];

    int entries() const { return M > 0 ? M : count; }

    ProductLanes(int n, const int* var, const double* __restrict y, size_t stride) : count(n)
    {
        const int m = entries();
        LANES pre[0][j] = 1.0;
        for (int i = 0; i < m; ++i) {
            const double* yi = y + static_cast<size_t>(var[i]) * stride;
            LANES
            {
                yv[i][j] = yi[j];
                pre[i + 1][j] = pre[i][j] * yv[i][j];
            }
        }
    }
    const double* P() const { return pre[entries()]; }

    // Pi, and into grad the derivatives of P*S in P's entries and of P*ST in T.
    void addGradient(const int* loc, const double* S, const double* ST, double* __restrict grad, int tIndex)
    {
        const int m = entries();
        LANES suf[m][j] = 1.0;
        for (int i = m - 1; i >= 0; --i) LANES suf[i][j] = suf[i + 1][j] * yv[i][j];
        for (int i = 0; i < m; ++i) {
            double* gi = grad + static_cast<size_t>(loc[i]) * L;
            LANES
            {
                Pi[i][j] = pre[i][j] * suf[i + 1][j];
                gi[j] += Pi[i][j] * S[j];
            }
        }
        double* gT = grad + static_cast<size_t>(tIndex) * L;
        const double* p = P();
        LANES gT[j] += p[j] * ST[j];
    }

    // Into hess (entry offsets off: pairs (i, e), i <= e, then (i, T)) the
    // second derivatives of P*S with S held: (i, e), i < e, the product
    // without both entries ((i, i) is 0, P being linear in each fraction);
    // (i, T), (T, T).
    void addHessian(const uint32_t* off, const double* S, const double* ST, const double* STT,
                    double* __restrict hess, size_t ttOffset) const
    {
        const int m = entries();
        int k = 0;
        for (int i = 0; i < m; ++i) {
            ++k;
            double run[L];
            LANES run[j] = pre[i][j];
            for (int e = i + 1; e < m; ++e, ++k) {
                double* h = hess + static_cast<size_t>(off[k]) * L;
                LANES
                {
                    h[j] += run[j] * suf[e + 1][j] * S[j];
                    run[j] *= yv[e][j];
                }
            }
        }
        for (int i = 0; i < m; ++i) {
            double* h = hess + static_cast<size_t>(off[k + i]) * L;
            LANES h[j] += Pi[i][j] * ST[j];
        }
        double* hTT = hess + ttOffset * L;
        const double* p = P();
        LANES hTT[j] += p[j] * STT[j];
    }

    // value += P*S; with Order >= 1 the gradient, with 2 the Hessian of P*S
    // with S held.
    template <int Order>
    void add(const int* loc, const uint32_t* off, const double* S, const double* ST, const double* STT,
             double* __restrict value, double* __restrict grad, double* __restrict hess, int tIndex, size_t ttOffset)
    {
        const double* p = P();
        LANES value[j] += p[j] * S[j];
        if (Order >= 1) addGradient(loc, S, ST, grad, tIndex);
        if (Order >= 2) addHessian(off, S, ST, STT, hess, ttOffset);
    }

    // Into the gradient entry of direction entry a and the Hessian entries
    // (e, a) and (a, T): the terms of P * D, D = dS/dy_a (with DT = dD/dT)
    // held, times sign.
    void addDirection(int a, const int* loc, const uint32_t* off, const double* D, const double* DT, double sign,
                      double* __restrict grad, double* __restrict hess, int order) const
    {
        const int m = entries();
        const double* p = P();
        double* ga = grad + static_cast<size_t>(loc[a]) * L;
        LANES ga[j] += sign * (p[j] * D[j]);
        if (order < 2) return;
        for (int e = 0; e < m; ++e) {
            double* h = hess + static_cast<size_t>(off[PairIndex(e, a, m)]) * L;
            const double f = sign * (e == a ? 2.0 : 1.0);
            LANES h[j] += f * Pi[e][j] * D[j];
        }
        double* haT = hess + static_cast<size_t>(off[m * (m + 1) / 2 + a]) * L;
        LANES haT[j] += sign * (p[j] * DT[j]);
    }
};

// A series group P * sum_k c_k d^k (d = y_a - y_b; no d when the group has no
// pair) of M entries (0: as many as the group says): Horner for the series
// and its first two derivatives in d.
template <int Order, int M, bool Paired, int L>
void EvaluationPlan::evaluateSeries(const Group& g, const double* __restrict coef, const double* __restrict y,
                                    size_t stride, double* __restrict value, double* __restrict grad,
                                    double* __restrict hess, int tIndex, size_t ttOffset) const
{
    ProductLanes<M, L> P(g.factors, &factorVar_[static_cast<size_t>(g.factorBegin)], y, stride);
    const double* c = coef + 3 * static_cast<size_t>(g.coefBegin) * L;  // (3k + d)*L + j
    const int a = Paired ? g.direction[0] : 0, b = Paired ? g.direction[1] : 0;
    double S[L], ST[L], STT[L], s1[L], s1T[L], s2[L];
    const int K = Paired ? g.degree : 0;
    const double* top = c + 3 * K * L;
    double d[L];
    LANES
    {
        d[j] = P.yv[a][j] - P.yv[b][j];
        S[j] = top[j];
        ST[j] = top[L + j];
        STT[j] = top[2 * L + j];
        s1[j] = s1T[j] = s2[j] = 0.0;
    }
    for (int k = K - 1; k >= 0; --k) {
        const double* ck = c + 3 * k * L;
        LANES
        {
            if (Order >= 2) {
                s2[j] = s2[j] * d[j] + 2.0 * s1[j];
                s1T[j] = s1T[j] * d[j] + ST[j];
            }
            if (Order >= 1) s1[j] = s1[j] * d[j] + S[j];
            S[j] = S[j] * d[j] + ck[j];
            ST[j] = ST[j] * d[j] + ck[L + j];
            STT[j] = STT[j] * d[j] + ck[2 * L + j];
        }
    }
    const int* loc = &factorLocal_[static_cast<size_t>(g.factorBegin)];
    const uint32_t* off = &pairOffset_[static_cast<size_t>(g.pairBegin)];
    P.template add<Order>(loc, off, S, ST, STT, value, grad, hess, tIndex, ttOffset);
    if (Order < 1) return;
    if constexpr (Paired) {
        P.addDirection(a, loc, off, s1, s1T, 1.0, grad, hess, Order);
        P.addDirection(b, loc, off, s1, s1T, -1.0, grad, hess, Order);
        if (Order < 2) return;
        // S's own second derivative: s2 along (a, a), (b, b), -s2 along (a, b)
        const int m = P.entries();
        double* haa = hess + static_cast<size_t>(off[PairIndex(a, a, m)]) * L;
        double* hbb = hess + static_cast<size_t>(off[PairIndex(b, b, m)]) * L;
        double* hab = hess + static_cast<size_t>(off[PairIndex(a, b, m)]) * L;
        const double* p = P.P();
        LANES
        {
            const double Ps2 = p[j] * s2[j];
            haa[j] += Ps2;
            hbb[j] += Ps2;
            hab[j] -= Ps2;
        }
    }
}

// A Muggianu ternary group P * (c0 + sum_l c_l y_l) over the three members
// l (entries direction[l] of P) of M entries: S is linear in the members, so
// its second derivatives in y vanish.
template <int Order, int M, int L>
void EvaluationPlan::evaluateMuggianu(const Group& g, const double* __restrict coef, const double* __restrict y,
                                      size_t stride, double* __restrict value, double* __restrict grad,
                                      double* __restrict hess, int tIndex, size_t ttOffset) const
{
    ProductLanes<M, L> P(M, &factorVar_[static_cast<size_t>(g.factorBegin)], y, stride);
    const double* c = coef + 3 * static_cast<size_t>(g.coefBegin) * L;  // (3k + d)*L + j
    double S[L], ST[L], STT[L];
    LANES
    {
        S[j] = c[j];
        ST[j] = c[L + j];
        STT[j] = c[2 * L + j];
    }
    for (int l = 0; l < 3; ++l) {
        const double* cl = c + 3 * (l + 1) * L;
        const double* yl = P.yv[g.direction[l]];
        LANES
        {
            S[j] += cl[j] * yl[j];
            ST[j] += cl[L + j] * yl[j];
            STT[j] += cl[2 * L + j] * yl[j];
        }
    }
    const int* loc = &factorLocal_[static_cast<size_t>(g.factorBegin)];
    const uint32_t* off = &pairOffset_[static_cast<size_t>(g.pairBegin)];
    P.template add<Order>(loc, off, S, ST, STT, value, grad, hess, tIndex, ttOffset);
    if (Order < 1) return;
    for (int l = 0; l < 3; ++l) {
        const double* cl = c + 3 * (l + 1) * L;
        P.addDirection(g.direction[l], loc, off, cl, cl + L, 1.0, grad, hess, Order);
    }
}

// One group of the other shapes at one point: coefficient (k, d) at
// c[(3k + d)*cs], fractions at y[v*stride], gradient and Hessian entries at
// grad[r*os] and hess[k*os].
void EvaluationPlan::evaluateGroup(const Group& g, const double* c, size_t cs, const double* y, size_t stride,
                                   int order, double& value, double* grad, double* hess, size_t os, int tIndex,
                                   size_t ttOffset) const
{
    const int m = g.factors;
    const int* var = &factorVar_[static_cast<size_t>(g.factorBegin)];
    const int* loc = &factorLocal_[static_cast<size_t>(g.factorBegin)];
    double yv[kMaxFactors], pre[kMaxFactors + 1], suf[kMaxFactors + 1];
    pre[0] = 1.0;
    for (int i = 0; i < m; ++i) {
        yv[i] = y[static_cast<size_t>(var[i]) * stride];
        pre[i + 1] = pre[i] * yv[i];
    }
    const double P = pre[m];
    auto C = [c, cs](int k, int d) { return c[static_cast<size_t>(3 * k + d) * cs]; };
    const int nd = g.directions;

    // S and its T derivatives; along direction l: D = dS/dy, DT = d2S/dy dT;
    // E = d2S/dy dy' between directions.
    double S = 0.0, ST = 0.0, STT = 0.0;
    double D[4] = {0, 0, 0, 0}, DT[4] = {0, 0, 0, 0}, E[4][4] = {};
    switch (g.shape) {
    case kSeries:  // evaluateSeries
        break;
    case kBivariate: {
        const double d1 = yv[g.direction[0]] - yv[g.direction[1]];
        const double d2 = yv[g.direction[2]] - yv[g.direction[3]];
        double S1 = 0, S2 = 0, S11 = 0, S12 = 0, S22 = 0, S1T = 0, S2T = 0;
        const int8_t* pw = &powers_[2 * static_cast<size_t>(g.coefBegin)];
        // d^i with its first and second derivative factors, i small
        auto pow3 = [](double d, int i, double& p, double& p1, double& p2) {
            double r = 1.0;
            for (int k = 0; k < i - 2; ++k) r *= d;  // d^(i-2)
            p2 = i >= 2 ? i * (i - 1) * r : 0.0;
            const double r1 = i >= 2 ? r * d : 1.0;  // d^(i-1)
            p1 = i >= 1 ? i * r1 : 0.0;
            p = i >= 1 ? r1 * d : 1.0;
        };
        for (int k = 0; k < g.coefCount; ++k) {
            const double c0 = C(k, 0), c1 = C(k, 1), c2 = C(k, 2);
            double a, a1, a2, b, b1, b2;
            pow3(d1, pw[2 * k], a, a1, a2);
            pow3(d2, pw[2 * k + 1], b, b1, b2);
            S += c0 * a * b;
            ST += c1 * a * b;
            STT += c2 * a * b;
            S1 += c0 * a1 * b;
            S2 += c0 * a * b1;
            S11 += c0 * a2 * b;
            S12 += c0 * a1 * b1;
            S22 += c0 * a * b2;
            S1T += c1 * a1 * b;
            S2T += c1 * a * b1;
        }
        for (int l = 0; l < nd; ++l) {
            D[l] = S1 * g.e1[l] + S2 * g.e2[l];
            DT[l] = S1T * g.e1[l] + S2T * g.e2[l];
            for (int k = 0; k < nd; ++k)
                E[l][k] = S11 * g.e1[l] * g.e1[k] + S12 * (g.e1[l] * g.e2[k] + g.e2[l] * g.e1[k]) +
                          S22 * g.e2[l] * g.e2[k];
        }
        break;
    }
    case kMuggianu:
        S = C(0, 0);
        ST = C(0, 1);
        STT = C(0, 2);
        for (int l = 0; l < 3; ++l) {
            const double yl = yv[g.direction[l]];
            S += C(l + 1, 0) * yl;
            ST += C(l + 1, 1) * yl;
            STT += C(l + 1, 2) * yl;
            D[l] = C(l + 1, 0);
            DT[l] = C(l + 1, 1);
        }
        break;
    }
    value += P * S;
    if (order < 1) return;

    suf[m] = 1.0;
    for (int i = m - 1; i >= 0; --i) suf[i] = suf[i + 1] * yv[i];
    double Pi[kMaxFactors];  // dP/dy of entry i: the product without that factor
    for (int i = 0; i < m; ++i) {
        Pi[i] = pre[i] * suf[i + 1];
        grad[static_cast<size_t>(loc[i]) * os] += Pi[i] * S;
    }
    for (int l = 0; l < nd; ++l) grad[static_cast<size_t>(loc[g.direction[l]]) * os] += P * D[l];
    grad[static_cast<size_t>(tIndex) * os] += P * ST;
    if (order < 2) return;

    // Offsets of the group's entries: (i, j), i <= j, packed over the m
    // entries, then (i, T) for each entry.
    const uint32_t* off = &pairOffset_[static_cast<size_t>(g.pairBegin)];
    auto h = [hess, os](uint32_t k) -> double& { return hess[static_cast<size_t>(k) * os]; };
    const int mm = m * (m + 1) / 2;
    for (int i = 0; i < m; ++i) {
        double run = pre[i];  // product of the entries before i, then of those between i and j
        const int base = i * m - i * (i - 1) / 2 - i;
        for (int j = i + 1; j < m; ++j) {
            h(off[base + j]) += run * suf[j + 1] * S;
            run *= yv[j];
        }
    }
    for (int l = 0; l < nd; ++l) {
        const int a = g.direction[l];
        const double Dl = D[l];
        for (int j = 0; j < m; ++j) h(off[PairIndex(j, a, m)]) += (j == a ? 2.0 : 1.0) * Pi[j] * Dl;
        for (int k = l; k < nd; ++k) h(off[PairIndex(a, g.direction[k], m)]) += P * E[l][k];
        h(off[mm + a]) += P * DT[l];
    }
    for (int i = 0; i < m; ++i) h(off[mm + i]) += Pi[i] * ST;
    h(static_cast<uint32_t>(ttOffset)) += P * STT;
}

// The groups of one target, each through the kernel of its shape.
template <int Order, int L>
void EvaluationPlan::evaluateGroups(Target target, const double* coef, const double* y, size_t stride, double* value,
                                    double* grad, double* hess, int tIndex, size_t ttOffset) const
{
    const int begin = targetBegin_[target], end = targetBegin_[target + 1];
    const Group* groups = groups_.data();
    for (int i = begin; i < end; ++i) {
        const Group& g = groups[i];
        if (g.shape == kSeries && g.directions == 0) {
            switch (g.factors) {
            case 1: evaluateSeries<Order, 1, false, L>(g, coef, y, stride, value, grad, hess, tIndex, ttOffset); break;
            case 2: evaluateSeries<Order, 2, false, L>(g, coef, y, stride, value, grad, hess, tIndex, ttOffset); break;
            case 3: evaluateSeries<Order, 3, false, L>(g, coef, y, stride, value, grad, hess, tIndex, ttOffset); break;
            default: evaluateSeries<Order, 0, false, L>(g, coef, y, stride, value, grad, hess, tIndex, ttOffset); break;
            }
        } else if (g.shape == kSeries) {
            switch (g.factors) {
            case 2: evaluateSeries<Order, 2, true, L>(g, coef, y, stride, value, grad, hess, tIndex, ttOffset); break;
            case 3: evaluateSeries<Order, 3, true, L>(g, coef, y, stride, value, grad, hess, tIndex, ttOffset); break;
            case 4: evaluateSeries<Order, 4, true, L>(g, coef, y, stride, value, grad, hess, tIndex, ttOffset); break;
            default: evaluateSeries<Order, 0, true, L>(g, coef, y, stride, value, grad, hess, tIndex, ttOffset); break;
            }
        } else if (g.shape == kMuggianu && g.factors == 3) {
            evaluateMuggianu<Order, 3, L>(g, coef, y, stride, value, grad, hess, tIndex, ttOffset);
        } else if (g.shape == kMuggianu && g.factors == 4) {
            evaluateMuggianu<Order, 4, L>(g, coef, y, stride, value, grad, hess, tIndex, ttOffset);
        } else {
            const double* c = coef + 3 * static_cast<size_t>(g.coefBegin) * L;
            LANES evaluateGroup(g, c + j, L, y + j, stride, Order, value[j], grad + j, hess + j, L, tIndex, ttOffset);
        }
    }
}

template <int Order, int L>
void EvaluationPlan::evaluateLanes(const LaneState& at, const double* y, size_t stride, double* G, double* grad,
                                   double* hess)
{
    const int n = n_, dim = n + 1;
    if (Order >= 1) std::fill(grad, grad + static_cast<size_t>(dim) * L, 0.0);
    if (Order >= 2) std::fill(hess, hess + packedSize() * L, 0.0);
    const size_t ttG = packedIndex(n, n, dim);
    double sums[3][L];  // parameters into G, TC, beta
    for (auto& s : sums) LANES s[j] = 0.0;
    evaluateGroups<Order, L>(kGibbs, at.coef, y, stride, sums[0], grad, hess, n, ttG);
    if (magnetic_) {
        Space& mc = spaces_[kCurie];
        Space& mb = spaces_[kMoment];
        const size_t md = static_cast<size_t>(mc.n) + 1;
        const size_t ttM = packedIndex(mc.n, mc.n, mc.n + 1);
        if (Order >= 1) {
            std::fill(mc.grad.begin(), mc.grad.begin() + md * L, 0.0);
            std::fill(mb.grad.begin(), mb.grad.begin() + md * L, 0.0);
        }
        if (Order >= 2) {
            std::fill(mc.hess.begin(), mc.hess.begin() + md * (md + 1) / 2 * L, 0.0);
            std::fill(mb.hess.begin(), mb.hess.begin() + md * (md + 1) / 2 * L, 0.0);
        }
        evaluateGroups<Order, L>(kCurie, at.coef, y, stride, sums[1], mc.grad.data(), mc.hess.data(), mc.n, ttM);
        evaluateGroups<Order, L>(kMoment, at.coef, y, stride, sums[2], mb.grad.data(), mb.hess.data(), mb.n, ttM);
    }
    if constexpr (L == 1) {
        if (partitioned_) addPartitioned<Order>(y, stride, &sums[0][0], grad, hess);
        if (propertyTerms_) addPropertyTerms<Order>(y, stride, &sums[0][0], grad, hess);
    }

    // Ideal mixing: the value with the exact fractions (0 ln 0 = 0), the
    // derivatives at the floored ones, ln y taken once per variable (none
    // for a fraction of exactly 1, nor below the floor).
    const double R = kGasConstant;
    double sumYLnY[L];
    LANES sumYLnY[j] = 0.0;
    for (int v = 0; v < n; ++v) {
        const size_t u = static_cast<size_t>(v);
        const double* yu = y + u * stride;
        const double a = sites_[u];
        double yf[L], lnyf[L];
        LANES
        {
            const double yj = yu[j];
            yf[j] = yj;
            lnyf[j] = 0.0;
            if (yj < kSiteFractionFloor) {
                yf[j] = kSiteFractionFloor;
                lnyf[j] = lnFloor_;
                if (yj > 0.0) sumYLnY[j] += a * yj * std::log(yj);
            } else if (yj != 1.0) {
                lnyf[j] = std::log(yj);
                sumYLnY[j] += a * yj * lnyf[j];
            }
        }
        if (Order >= 1) {
            double* gv = grad + u * L;
            LANES gv[j] += at.RT[j] * a * (lnyf[j] + 1.0);
        }
        if (Order >= 2) {
            const size_t row = packedIndex(v, v, dim);
            double* hvv = hess + row * L;
            double* hvT = hess + (row + static_cast<size_t>(n - v)) * L;
            const double Ra = Ra_[u];
            LANES
            {
                hvv[j] += at.RT[j] * a / yf[j];
                hvT[j] += Ra * (lnyf[j] + 1.0);
            }
        }
    }
    LANES G[j] = sums[0][j] + at.RT[j] * sumYLnY[j];
    if (Order >= 1) {
        double* gT = grad + static_cast<size_t>(n) * L;
        LANES gT[j] += R * sumYLnY[j];
    }
    if (magnetic_) addMagnetic<Order, L>(at, sums[1], sums[2], G, grad, hess);
}

void EvaluationPlan::evaluate(const double* y, size_t stride, int order, double* G, double* grad, double* hess)
{
    const LaneState at{&T_, &invT_, &RT_, coef_.data()};
    switch (order) {
    case 0: evaluateLanes<0, 1>(at, y, stride, G, grad, hess); break;
    case 1: evaluateLanes<1, 1>(at, y, stride, G, grad, hess); break;
    default: evaluateLanes<2, 1>(at, y, stride, G, grad, hess); break;
    }
}

void EvaluationPlan::evaluateBlock(const double* y, int order, double* G, double* grad, double* hess)
{
    constexpr size_t L = kLanes;
    if (!lanesCurrent_) {
        for (size_t c = 0; c < coef_.size(); ++c)
            for (size_t j = 0; j < L; ++j) laneCoef_[c * L + j] = coef_[c];
        for (size_t j = 0; j < L; ++j) {
            laneT_[j] = T_;
            laneInvT_[j] = invT_;
            laneRT_[j] = RT_;
        }
        lanesCurrent_ = true;
    }
    const LaneState at{laneT_, laneInvT_, laneRT_, laneCoef_.data()};
    switch (order) {
    case 0: evaluateLanes<0, kLanes>(at, y, L, G, grad, hess); break;
    case 1: evaluateLanes<1, kLanes>(at, y, L, G, grad, hess); break;
    default: evaluateLanes<2, kLanes>(at, y, L, G, grad, hess); break;
    }
}

// G_mag = R*T*ln(beta'+1)*g(T/TC') with its chain rule over the variables of
// the TC and BMAGN parameters (one shared local space) and T.  g without pow:
// the powers of tau by multiplication, one division for 1/TC'.  g depends on
// T and TC' only through tau, so its T derivatives follow from those in TC'.
template <int Order, int L>
void EvaluationPlan::addMagnetic(const LaneState& at, const double* __restrict TC, const double* __restrict beta,
                                 double* __restrict G, double* __restrict grad, double* __restrict hess)
{
    const double R = magR_;
    double kC[L], kB[L], lnB[L], lnB1[L], lnB2[L], g[L], gC[L], gCC[L], gTC[L], gT[L], gTT[L];
    LANES
    {
        const double T = at.T[j], invT = at.invT[j];
        kC[j] = TC[j] < 0.0 ? 1.0 / afm_ : 1.0;
        kB[j] = beta[j] < 0.0 ? 1.0 / afm_ : 1.0;
        const double TCp = TC[j] * kC[j], betaP = beta[j] * kB[j];
        lnB[j] = std::log(betaP + 1.0);
        lnB1[j] = 1.0 / (betaP + 1.0);
        lnB2[j] = -lnB1[j] * lnB1[j];
        g[j] = gC[j] = gCC[j] = gTC[j] = gT[j] = gTT[j] = 0.0;
        // Without a Curie temperature there is no magnetic ordering: g = 0.
        if (TCp != 0.0) {
            const double invTC = 1.0 / TCp;
            const double tau = std::fabs(T * invTC);
            if (tau < 1.0) {
                const double am1 = below_[0], a3 = below_[1], a9 = below_[2], a15 = below_[3];
                const double itau = std::fabs(TCp * invT);
                const double t2 = tau * tau, t3 = t2 * tau, t6 = t3 * t3, t9 = t6 * t3, t15 = t9 * t6;
                g[j] = 1.0 + am1 * itau + a3 * t3 + a9 * t9 + a15 * t15;
                if (Order >= 1) gC[j] = -(-am1 * itau + 3 * a3 * t3 + 9 * a9 * t9 + 15 * a15 * t15) * invTC;
                if (Order >= 2) {
                    const double iTC2 = invTC * invTC, t8 = t6 * t2, t14 = t8 * t6;
                    gCC[j] = (12 * a3 * t3 + 90 * a9 * t9 + 240 * a15 * t15) * iTC2;
                    gTC[j] = -(am1 * itau * itau + 9 * a3 * t2 + 81 * a9 * t8 + 225 * a15 * t14) * iTC2;
                }
            } else {
                const double b5 = above_[0], b15 = above_[1], b25 = above_[2];
                const double tm1 = std::fabs(TCp * invT), tm2 = tm1 * tm1, tm5 = tm2 * tm2 * tm1, tm10 = tm5 * tm5;
                const double tm15 = tm10 * tm5, tm25 = tm15 * tm10;
                g[j] = b5 * tm5 + b15 * tm15 + b25 * tm25;
                if (Order >= 1) gC[j] = (5 * b5 * tm5 + 15 * b15 * tm15 + 25 * b25 * tm25) * invTC;
                if (Order >= 2) {
                    const double iTC2 = invTC * invTC;
                    gCC[j] = (20 * b5 * tm5 + 210 * b15 * tm15 + 600 * b25 * tm25) * iTC2;
                    gTC[j] = -(25 * b5 * tm5 + 225 * b15 * tm15 + 625 * b25 * tm25) * tm1 * iTC2;
                }
            }
            if (Order >= 1) gT[j] = -(TCp * invT) * gC[j];
            if (Order >= 2) gTT[j] = -(gT[j] + TCp * gTC[j]) * invT;
        }
        G[j] += R * T * lnB[j] * g[j];
    }
    if (Order < 1) return;

    const Space& mc = spaces_[kCurie];
    const Space& mb = spaces_[kMoment];
    const int m = mc.n, md = m + 1, n = n_;
    // lane j of local variable r at [r*L + j]
    double* dTC = magScratch_.data();
    double* dBeta = dTC + md * L;
    double* dg = dBeta + md * L;
    double* dLn = dg + md * L;
    for (int r = 0; r < md; ++r) {
        const double* cr = &mc.grad[static_cast<size_t>(r) * L];
        const double* br = &mb.grad[static_cast<size_t>(r) * L];
        LANES
        {
            dTC[r * L + j] = kC[j] * cr[j];
            dBeta[r * L + j] = kB[j] * br[j];
            dg[r * L + j] = gC[j] * dTC[r * L + j];
            dLn[r * L + j] = lnB1[j] * dBeta[r * L + j];
        }
    }
    double* dgm = dg + m * L;
    double* dLm = dLn + m * L;
    LANES dgm[j] += gT[j];
    for (int r = 0; r < m; ++r) {
        double* gr = grad + static_cast<size_t>(mc.global[static_cast<size_t>(r)]) * L;
        LANES gr[j] += R * (at.T[j] * (dLn[r * L + j] * g[j] + lnB[j] * dg[r * L + j]));
    }
    double* gTrow = grad + static_cast<size_t>(n) * L;
    LANES gTrow[j] += R * (lnB[j] * g[j] + at.T[j] * (dLm[j] * g[j] + lnB[j] * dgm[j]));
    if (Order < 2) return;
    const uint32_t* off = magOffset_.data();
    const double* dTm = dTC + m * L;
    const double* dBm = dBeta + m * L;
    size_t k = 0;  // packed local index of (r, c)
    for (int r = 0; r < m; ++r) {
        const double* Cr = dTC + r * L;
        const double* Br = dBeta + r * L;
        const double* Lr = dLn + r * L;
        const double* Gr = dg + r * L;
        for (int c = r; c < m; ++c, ++k) {
            const double* hc = &mc.hess[k * L];
            const double* hb = &mb.hess[k * L];
            double* h = hess + static_cast<size_t>(off[k]) * L;
            const double* Cc = dTC + c * L;
            const double* Bc = dBeta + c * L;
            const double* Lc = dLn + c * L;
            const double* Gc = dg + c * L;
            LANES
            {
                const double d2g = gCC[j] * Cr[j] * Cc[j] + gC[j] * kC[j] * hc[j];
                const double d2Ln = lnB2[j] * Br[j] * Bc[j] + lnB1[j] * kB[j] * hb[j];
                h[j] += R * at.T[j] * (d2Ln * g[j] + Lr[j] * Gc[j] + Lc[j] * Gr[j] + lnB[j] * d2g);
            }
        }
        // (r, T)
        const double* hc = &mc.hess[k * L];
        const double* hb = &mb.hess[k * L];
        double* h = hess + static_cast<size_t>(off[k]) * L;
        LANES
        {
            const double d2g = gCC[j] * Cr[j] * dTm[j] + gC[j] * kC[j] * hc[j] + gTC[j] * Cr[j];
            const double d2Ln = lnB2[j] * Br[j] * dBm[j] + lnB1[j] * kB[j] * hb[j];
            h[j] += R * (Lr[j] * g[j] + lnB[j] * Gr[j] +
                         at.T[j] * (d2Ln * g[j] + Lr[j] * dgm[j] + dLm[j] * Gr[j] + lnB[j] * d2g));
        }
        ++k;
    }
    // (T, T)
    const double* hc = &mc.hess[k * L];
    const double* hb = &mb.hess[k * L];
    double* h = hess + static_cast<size_t>(off[k]) * L;
    LANES
    {
        const double Cm = dTm[j];
        const double d2g = gCC[j] * Cm * Cm + gC[j] * kC[j] * hc[j] + 2.0 * gTC[j] * Cm + gTT[j];
        const double d2Ln = lnB2[j] * dBm[j] * dBm[j] + lnB1[j] * kB[j] * hb[j];
        h[j] += R * (2.0 * (dLm[j] * g[j] + lnB[j] * dgm[j]) +
                     at.T[j] * (d2Ln * g[j] + 2.0 * dLm[j] * dgm[j] + lnB[j] * d2g));
    }
}

// The partitioned parts of G, TC and beta: -(ordered parameters at y -> x)
// + f * (disordered parameters at x), f the scale for G and 1 for TC and
// beta, formed over x and added to the sums and to the arrays over y (the
// phase's for G, the magnetic spaces, which are over all of y here, for TC
// and beta).  x is linear in y, so the chain rule is w_v, w_v w_w.
template <int Order>
void EvaluationPlan::addPartitioned(const double* y, size_t stride, double* sums, double* grad, double* hess)
{
    const int n = n_, nd = nd_, D = nd + 1;
    for (int g = 0; g < nd; ++g) x_[static_cast<size_t>(g)] = 0.0;
    for (int v = 0; v < n; ++v)
        x_[static_cast<size_t>(group_[static_cast<size_t>(v)])] += weight_[static_cast<size_t>(v)] * y[static_cast<size_t>(v) * stride];
    for (int v = 0; v < n; ++v) yx_[static_cast<size_t>(v)] = x_[static_cast<size_t>(group_[static_cast<size_t>(v)])];
    const size_t ttA = packedIndex(n, n, n + 1), ttD = packedIndex(nd, nd, D);
    const int quantities = magnetic_ ? 3 : 1;
    double* eg = eGrad_.data();
    double* eh = eHess_.data();
    for (int q = 0; q < quantities; ++q) {
        Space& A = atX_[q];
        Space& X = disordered_[q];
        if (Order >= 1) {
            std::fill(A.grad.begin(), A.grad.end(), 0.0);
            std::fill(X.grad.begin(), X.grad.end(), 0.0);
        }
        if (Order >= 2) {
            std::fill(A.hess.begin(), A.hess.end(), 0.0);
            std::fill(X.hess.begin(), X.hess.end(), 0.0);
        }
        double atX = 0.0, dis = 0.0;
        evaluateGroups<Order, 1>(static_cast<Target>(q), coef_.data(), yx_.data(), 1, &atX, A.grad.data(),
                                 A.hess.data(), n, ttA);
        evaluateGroups<Order, 1>(static_cast<Target>(q + 3), coef_.data(), x_.data(), 1, &dis, X.grad.data(),
                                 X.hess.data(), nd, ttD);
        const double f = q == 0 ? scale_ : 1.0;
        sums[q] += -atX + f * dis;
        if (Order < 1) continue;
        double* tg = q == 0 ? grad : spaces_[q].grad.data();
        double* th = q == 0 ? hess : spaces_[q].hess.data();
        auto groupOf = [&](int r) { return r < n ? group_[static_cast<size_t>(r)] : nd; };
        auto weightOf = [&](int r) { return r < n ? weight_[static_cast<size_t>(r)] : 1.0; };
        for (int j = 0; j < D; ++j) eg[j] = f * X.grad[static_cast<size_t>(j)];
        for (int r = 0; r <= n; ++r) eg[groupOf(r)] -= A.grad[static_cast<size_t>(r)];
        for (int r = 0; r <= n; ++r) tg[r] += weightOf(r) * eg[groupOf(r)];
        if (Order < 2) continue;
        size_t k = 0;
        for (int r = 0; r < D; ++r)
            for (int c = r; c < D; ++c, ++k) eh[r * D + c] = eh[c * D + r] = f * X.hess[k];
        k = 0;
        for (int r = 0; r <= n; ++r)
            for (int c = r; c <= n; ++c, ++k) {
                const int gr = groupOf(r), gc = groupOf(c);
                const double a = A.hess[k];
                eh[gr * D + gc] -= a;
                if (r != c) eh[gc * D + gr] -= a;
            }
        k = 0;
        for (int r = 0; r <= n; ++r) {
            const double wr = weightOf(r);
            const double* row = eh + groupOf(r) * D;
            for (int c = r; c <= n; ++c, ++k) th[k] += wr * weightOf(c) * row[groupOf(c)];
        }
    }
}

// The Einstein, two-state and Curie-Neel terms: each property sum from its
// groups over (y, T), the term's partials in its sums and T, and the chain
// rule (SumComposition.h) into G and its packed derivatives.
template <int Order>
void EvaluationPlan::addPropertyTerms(const double* y, size_t stride, double* G, double* grad, double* hess)
{
    const int n = n_, dim = n + 1;
    const size_t tt = packedIndex(n, n, dim);
    double value[kPropertySums] = {};
    for (int q = 0; q < kPropertySums; ++q) {
        Space& sp = propertySums_[q];
        if (sp.grad.empty()) continue;
        if (Order >= 1) std::fill(sp.grad.begin(), sp.grad.end(), 0.0);
        if (Order >= 2) std::fill(sp.hess.begin(), sp.hess.end(), 0.0);
        evaluateGroups<Order, 1>(static_cast<Target>(kFirstPropertySum + q), coef_.data(), y, stride, &value[q],
                                 sp.grad.data(), sp.hess.data(), n, tt);
    }
    SumPartials F;
    const double R = kGasConstant, T = T_;
    auto add = [&](std::initializer_list<int> sums) {
        const Space* s[SumPartials::kMaxSums];
        int k = 0;
        for (int q : sums) s[k++] = &propertySums_[q];
        *G += F.value;
        if (Order < 1) return;
        for (int r = 0; r < dim; ++r) {
            double g = r == n ? F.first[k] : 0.0;
            for (int i = 0; i < k; ++i) g += F.first[i] * s[i]->grad[static_cast<size_t>(r)];
            grad[r] += g;
        }
        if (Order < 2) return;
        size_t e = 0;
        for (int r = 0; r < dim; ++r)
            for (int c = r; c < dim; ++c, ++e) {
                const bool rT = r == n, cT = c == n;
                double h = rT && cT ? F.second[k][k] : 0.0;
                for (int i = 0; i < k; ++i) {
                    const double sir = s[i]->grad[static_cast<size_t>(r)], sic = s[i]->grad[static_cast<size_t>(c)];
                    h += F.first[i] * s[i]->hess[e];
                    for (int j = 0; j < k; ++j) h += F.second[i][j] * sir * s[j]->grad[static_cast<size_t>(c)];
                    h += F.second[i][k] * ((cT ? sir : 0.0) + (rT ? sic : 0.0));
                }
                hess[e] += h;
            }
    };
    constexpr int theta = 0, gd = 1, beta = 2, tc = 3, nt = 4;  // PropertyTerms::Sum
    if (einstein_) {
        EinsteinTerm::partials(value[theta], T, R, F);
        add({theta});
    }
    if (twoState_) {
        TwoStateTerm::partials(value[gd], T, R, F);
        add({gd});
    }
    if (curieNeel_) {
        XiongMagnetic::partials(value[beta], value[tc], value[nt], T, structureP_, R, F);
        add({beta, tc, nt});
    }
}

bool EvaluationPlan::perturbForTest(Perturbation p)
{
    // a partitioned phase's G is mostly its disordered part's
    const Target gibbs = partitioned_ ? kDisorderedGibbs : kGibbs;
    const size_t packed = partitioned_ ? static_cast<size_t>(nd_ + 1) * static_cast<size_t>(nd_ + 2) / 2 : packedSize();
    for (Group& g : groups_) {
        if (p == kShiftHessianOffset && g.target == gibbs && g.factors >= 2) {
            uint32_t& o = pairOffset_[static_cast<size_t>(g.pairBegin) + 1];  // entries (0, 1)
            o = static_cast<uint32_t>((o + 1) % packed);
            return true;
        }
        if (p == kDropSeriesCoefficient && g.shape == kSeries && g.degree >= 1) {
            --g.degree;
            return true;
        }
    }
    return false;
}
