// The lane kernels of the compiled plan (EvaluationPlan.h): the groups'
// products and series, ideal mixing and the magnetic chain rule over L
// lanes.  Included by EvaluationPlan.cpp, which instantiates them for the
// baseline instruction set (blocks and single points), and by
// EvaluationPlanAvx2.cpp, which instantiates the block kernels again under
// AVX2 (the Isa template argument keeps the two apart at link time).  The
// helpers below have internal linkage on purpose: each of the two files
// gets its own copy, compiled for its own instruction set.
#ifndef MODELS_EVALUATIONPLANLANES_H
#define MODELS_EVALUATIONPLANLANES_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "EvaluationPlan.h"

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

namespace {
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
}  // namespace

// A series group P * sum_k c_k d^k (d = y_a - y_b; no d when the group has no
// pair) of M entries (0: as many as the group says): Horner for the series
// and its first two derivatives in d.
template <EvaluationPlan::Isa I, int Order, int M, bool Paired, int L>
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
template <EvaluationPlan::Isa I, int Order, int M, int L>
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

// The groups of one target, each through the kernel of its shape.
template <EvaluationPlan::Isa I, int Order, int L>
void EvaluationPlan::evaluateGroups(Target target, const double* coef, const double* y, size_t stride, double* value,
                                    double* grad, double* hess, int tIndex, size_t ttOffset) const
{
    const int begin = targetBegin_[target], end = targetBegin_[target + 1];
    const Group* groups = groups_.data();
    for (int i = begin; i < end; ++i) {
        const Group& g = groups[i];
        if (g.shape == kSeries && g.directions == 0) {
            switch (g.factors) {
            case 1: evaluateSeries<I, Order, 1, false, L>(g, coef, y, stride, value, grad, hess, tIndex, ttOffset); break;
            case 2: evaluateSeries<I, Order, 2, false, L>(g, coef, y, stride, value, grad, hess, tIndex, ttOffset); break;
            case 3: evaluateSeries<I, Order, 3, false, L>(g, coef, y, stride, value, grad, hess, tIndex, ttOffset); break;
            default: evaluateSeries<I, Order, 0, false, L>(g, coef, y, stride, value, grad, hess, tIndex, ttOffset); break;
            }
        } else if (g.shape == kSeries) {
            switch (g.factors) {
            case 2: evaluateSeries<I, Order, 2, true, L>(g, coef, y, stride, value, grad, hess, tIndex, ttOffset); break;
            case 3: evaluateSeries<I, Order, 3, true, L>(g, coef, y, stride, value, grad, hess, tIndex, ttOffset); break;
            case 4: evaluateSeries<I, Order, 4, true, L>(g, coef, y, stride, value, grad, hess, tIndex, ttOffset); break;
            default: evaluateSeries<I, Order, 0, true, L>(g, coef, y, stride, value, grad, hess, tIndex, ttOffset); break;
            }
        } else if (g.shape == kMuggianu && g.factors == 3) {
            evaluateMuggianu<I, Order, 3, L>(g, coef, y, stride, value, grad, hess, tIndex, ttOffset);
        } else if (g.shape == kMuggianu && g.factors == 4) {
            evaluateMuggianu<I, Order, 4, L>(g, coef, y, stride, value, grad, hess, tIndex, ttOffset);
        } else {
            const double* c = coef + 3 * static_cast<size_t>(g.coefBegin) * L;
            LANES evaluateGroup(g, c + j, L, y + j, stride, Order, value[j], grad + j, hess + j, L, tIndex, ttOffset);
        }
    }
}

template <EvaluationPlan::Isa I, int Order, int L>
void EvaluationPlan::evaluateLanes(const LaneState& at, const double* y, size_t stride, double* G, double* grad,
                                   double* hess)
{
    const int n = n_, dim = n + 1;
    if (Order >= 1) std::fill(grad, grad + static_cast<size_t>(dim) * L, 0.0);
    if (Order >= 2) std::fill(hess, hess + packedSize() * L, 0.0);
    const size_t ttG = packedIndex(n, n, dim);
    double sums[3][L];  // parameters into G, TC, beta
    for (auto& s : sums) LANES s[j] = 0.0;
    evaluateGroups<I, Order, L>(kGibbs, at.coef, y, stride, sums[0], grad, hess, n, ttG);
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
        evaluateGroups<I, Order, L>(kCurie, at.coef, y, stride, sums[1], mc.grad.data(), mc.hess.data(), mc.n, ttM);
        evaluateGroups<I, Order, L>(kMoment, at.coef, y, stride, sums[2], mb.grad.data(), mb.hess.data(), mb.n, ttM);
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
    if (magnetic_) addMagnetic<I, Order, L>(at, sums[1], sums[2], G, grad, hess);
}

// G_mag = R*T*ln(beta'+1)*g(T/TC') with its chain rule over the variables of
// the TC and BMAGN parameters (one shared local space) and T.  g without pow:
// the powers of tau by multiplication, one division for 1/TC'.  g depends on
// T and TC' only through tau, so its T derivatives follow from those in TC'.
template <EvaluationPlan::Isa I, int Order, int L>
void EvaluationPlan::addMagnetic(const LaneState& at, const double* __restrict TC, const double* __restrict beta,
                                 double* __restrict G, double* __restrict grad, double* __restrict hess)
{
    const double R = magR_, invAfm = 1.0 / afm_;
    double kC[L], kB[L], lnB[L], lnB1[L], lnB2[L], g[L], gC[L], gCC[L], gTC[L], gT[L], gTT[L];
    LANES
    {
        const double T = at.T[j], invT = at.invT[j];
        kC[j] = TC[j] < 0.0 ? invAfm : 1.0;
        kB[j] = beta[j] < 0.0 ? invAfm : 1.0;
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

template <EvaluationPlan::Isa I>
void EvaluationPlan::evaluateLaneBlock(const LaneState& at, const double* y, int order, double* G, double* grad,
                                       double* hess)
{
    switch (order) {
    case 0: evaluateLanes<I, 0, kLanes>(at, y, kLanes, G, grad, hess); break;
    case 1: evaluateLanes<I, 1, kLanes>(at, y, kLanes, G, grad, hess); break;
    default: evaluateLanes<I, 2, kLanes>(at, y, kLanes, G, grad, hess); break;
    }
}

#endif
