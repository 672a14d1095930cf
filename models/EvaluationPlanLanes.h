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
#include <cstring>

#include "EvaluationPlan.h"
#include "LaneMath.h"

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

// q runs over a quantity's vectors, at lanes q*W ...
#define CHUNKS for (int q = 0; q < N; ++q)

namespace {
// The site-fraction product P of a group's M entries (0: as many as the
// group says) over L lanes: the fractions, prefix and suffix products, and
// Pi, the product without entry i -- nothing divided by a fraction.
template <int M, int L>
struct ProductLanes
{
    using V = typename Chunks<L>::V;
    static constexpr int W = Chunks<L>::W, N = Chunks<L>::N;
    static constexpr int Cap = M > 0 ? M : kMaxFactors;
    const int count;
    V yv[Cap][N], pre[Cap + 1][N], suf[Cap + 1][N], Pi[Cap][N];

    int entries() const { return M > 0 ? M : count; }

    ProductLanes(int n, const int* var, const double* __restrict y, size_t stride) : count(n)
    {
        const int m = entries();
        CHUNKS pre[0][q] = Splat<L>(1.0);
        for (int i = 0; i < m; ++i) {
            const double* yi = y + static_cast<size_t>(var[i]) * stride;
            CHUNKS
            {
                yv[i][q] = Load<L>(yi + q * W);
                pre[i + 1][q] = pre[i][q] * yv[i][q];
            }
        }
    }
    const V* P() const { return pre[entries()]; }

    // Pi, and into grad the derivatives of P*S in P's entries and of P*ST in T.
    void addGradient(const int* loc, const V* S, const V* ST, double* __restrict grad, int tIndex)
    {
        const int m = entries();
        CHUNKS suf[m][q] = Splat<L>(1.0);
        for (int i = m - 1; i >= 0; --i) CHUNKS suf[i][q] = suf[i + 1][q] * yv[i][q];
        for (int i = 0; i < m; ++i) {
            double* gi = grad + static_cast<size_t>(loc[i]) * L;
            CHUNKS
            {
                Pi[i][q] = pre[i][q] * suf[i + 1][q];
                AddTo<L>(gi + q * W, Pi[i][q] * S[q]);
            }
        }
        double* gT = grad + static_cast<size_t>(tIndex) * L;
        const V* p = P();
        CHUNKS AddTo<L>(gT + q * W, p[q] * ST[q]);
    }

    // Into hess (entry offsets off: pairs (i, e), i <= e, then (i, T)) the
    // second derivatives of P*S with S held: (i, e), i < e, the product
    // without both entries ((i, i) is 0, P being linear in each fraction);
    // (i, T), (T, T).
    void addHessian(const uint32_t* off, const V* S, const V* ST, const V* STT, double* __restrict hess,
                    size_t ttOffset) const
    {
        const int m = entries();
        int k = 0;
        for (int i = 0; i < m; ++i) {
            ++k;
            V run[N];
            CHUNKS run[q] = pre[i][q];
            for (int e = i + 1; e < m; ++e, ++k) {
                double* h = hess + static_cast<size_t>(off[k]) * L;
                CHUNKS
                {
                    AddTo<L>(h + q * W, run[q] * suf[e + 1][q] * S[q]);
                    run[q] *= yv[e][q];
                }
            }
        }
        for (int i = 0; i < m; ++i) {
            double* h = hess + static_cast<size_t>(off[k + i]) * L;
            CHUNKS AddTo<L>(h + q * W, Pi[i][q] * ST[q]);
        }
        double* hTT = hess + ttOffset * L;
        const V* p = P();
        CHUNKS AddTo<L>(hTT + q * W, p[q] * STT[q]);
    }

    // value += P*S; with Order >= 1 the gradient, with 2 the Hessian of P*S
    // with S held.
    template <int Order>
    void add(const int* loc, const uint32_t* off, const V* S, const V* ST, const V* STT, double* __restrict value,
             double* __restrict grad, double* __restrict hess, int tIndex, size_t ttOffset)
    {
        const V* p = P();
        CHUNKS AddTo<L>(value + q * W, p[q] * S[q]);
        if (Order >= 1) addGradient(loc, S, ST, grad, tIndex);
        if (Order >= 2) addHessian(off, S, ST, STT, hess, ttOffset);
    }

    // Into the gradient entry of direction entry a and the Hessian entries
    // (e, a) and (a, T): the terms of P * D, D = dS/dy_a (with DT = dD/dT)
    // held, times sign.
    void addDirection(int a, const int* loc, const uint32_t* off, const V* D, const V* DT, double sign,
                      double* __restrict grad, double* __restrict hess, int order) const
    {
        const int m = entries();
        const V* p = P();
        double* ga = grad + static_cast<size_t>(loc[a]) * L;
        CHUNKS AddTo<L>(ga + q * W, sign * (p[q] * D[q]));
        if (order < 2) return;
        for (int e = 0; e < m; ++e) {
            double* h = hess + static_cast<size_t>(off[PairIndex(e, a, m)]) * L;
            const double f = sign * (e == a ? 2.0 : 1.0);
            CHUNKS AddTo<L>(h + q * W, f * Pi[e][q] * D[q]);
        }
        double* haT = hess + static_cast<size_t>(off[m * (m + 1) / 2 + a]) * L;
        CHUNKS AddTo<L>(haT + q * W, sign * (p[q] * DT[q]));
    }
};
}  // namespace

// A series group with a pair and M entries, at order 1 or 2: the group's
// value, gradient and Hessian summed in registers a vector of lanes at a time,
// then each entry of the target's arrays updated once (the generic kernel
// below adds into an entry once per term, up to four times for the pair's
// own entry).  The terms are the generic kernel's: P*S with its product
// derivatives, P*D along the pair's two directions (D = +-dS/dd), and S's
// second derivative along the pair.
template <EvaluationPlan::Isa I, int Order, int M, int A, int B, int L>
void EvaluationPlan::evaluatePairedSeries(const Group& g, const double* __restrict coef, const double* __restrict y,
                                          size_t stride, double* __restrict value, double* __restrict grad,
                                          double* __restrict hess, int tIndex, size_t ttOffset) const
{
    using V = typename Chunks<L>::V;
    constexpr int W = Chunks<L>::W, N = Chunks<L>::N;
    constexpr int MM = M * (M + 1) / 2;
    const int* var = &factorVar_[static_cast<size_t>(g.factorBegin)];
    const int* loc = &factorLocal_[static_cast<size_t>(g.factorBegin)];
    const uint32_t* off = &pairOffset_[static_cast<size_t>(g.pairBegin)];
    const double* c = coef + 3 * static_cast<size_t>(g.coefBegin) * L;  // (3k + d)*L + j
    constexpr int a = A, b = B;
    const int K = g.degree;
    const double* top = c + 3 * K * L;
    for (int q = 0; q < N; ++q) {
        const size_t at = static_cast<size_t>(q) * W;
        V yv[M], pre[M + 1], suf[M + 1], Pi[M];
        pre[0] = suf[M] = Splat<L>(1.0);
        for (int i = 0; i < M; ++i) {
            yv[i] = Load<L>(y + static_cast<size_t>(var[i]) * stride + at);
            pre[i + 1] = pre[i] * yv[i];
        }
        for (int i = M - 1; i >= 0; --i) suf[i] = suf[i + 1] * yv[i];
        for (int i = 0; i < M; ++i) Pi[i] = pre[i] * suf[i + 1];
        const V P = pre[M];
        // the series and its first two derivatives in d = y_a - y_b, Horner
        const V d = yv[a] - yv[b];
        V S = Load<L>(top + at), ST = Load<L>(top + L + at), STT = Load<L>(top + 2 * L + at);
        V s1 = Splat<L>(0.0), s1T = s1, s2 = s1;
        for (int k = K - 1; k >= 0; --k) {
            const double* ck = c + 3 * k * L;
            if (Order >= 2) {
                s2 = s2 * d + 2.0 * s1;
                s1T = s1T * d + ST;
            }
            s1 = s1 * d + S;
            S = S * d + Load<L>(ck + at);
            ST = ST * d + Load<L>(ck + L + at);
            STT = STT * d + Load<L>(ck + 2 * L + at);
        }
        AddTo<L>(value + at, P * S);

        // the gradient as at order 1, so that both orders give the same numbers
        V gr[M];
        for (int i = 0; i < M; ++i) gr[i] = Pi[i] * S;
        const V Ps1 = P * s1;
        gr[a] += Ps1;
        gr[b] -= Ps1;
        for (int i = 0; i < M; ++i) AddTo<L>(grad + static_cast<size_t>(loc[i]) * L + at, gr[i]);
        AddTo<L>(grad + static_cast<size_t>(tIndex) * L + at, P * ST);
        if (Order < 2) continue;

        V h[MM], hT[M];
        for (int i = 0; i < M; ++i) hT[i] = Pi[i] * ST;
        const V Ps1T = P * s1T, Ps2 = P * s2;
        hT[a] += Ps1T;
        hT[b] -= Ps1T;
        // (i, e): the product without both entries times S; the pair's
        // directions through the product without one entry
        for (int i = 0; i < M; ++i) {
            V run = pre[i];
            h[PairIndex(i, i, M)] = Splat<L>(0.0);
            for (int e = i + 1; e < M; ++e) {
                h[PairIndex(i, e, M)] = run * suf[e + 1] * S;
                run *= yv[e];
            }
        }
        for (int e = 0; e < M; ++e) {
            h[PairIndex(e, a, M)] += (e == a ? 2.0 : 1.0) * Pi[e] * s1;
            h[PairIndex(e, b, M)] -= (e == b ? 2.0 : 1.0) * Pi[e] * s1;
        }
        h[PairIndex(a, a, M)] += Ps2;
        h[PairIndex(b, b, M)] += Ps2;
        h[PairIndex(a, b, M)] -= Ps2;

        for (int k = 0, i = 0; i < M; ++i)
            for (int e = i; e < M; ++e, ++k)
                if (e != i || i == a || i == b)  // (i, i) is 0 off the pair: P is linear in each fraction
                    AddTo<L>(hess + static_cast<size_t>(off[k]) * L + at, h[k]);
        for (int i = 0; i < M; ++i) AddTo<L>(hess + static_cast<size_t>(off[MM + i]) * L + at, hT[i]);
        AddTo<L>(hess + ttOffset * L + at, P * STT);
    }
}

// A series group P * sum_k c_k d^k (d = y_a - y_b; no d when the group has no
// pair) of M entries (0: as many as the group says): Horner for the series
// and its first two derivatives in d.
template <EvaluationPlan::Isa I, int Order, int M, bool Paired, int L>
void EvaluationPlan::evaluateSeries(const Group& g, const double* __restrict coef, const double* __restrict y,
                                    size_t stride, double* __restrict value, double* __restrict grad,
                                    double* __restrict hess, int tIndex, size_t ttOffset) const
{
    using V = typename Chunks<L>::V;
    constexpr int W = Chunks<L>::W, N = Chunks<L>::N;
    if constexpr (Paired && M >= 2 && M <= 3 && Order >= 1) {
        // the pair's entries as template arguments, so that every index into
        // the group's local sums is known when compiling
        const int pair = g.direction[0] * M + g.direction[1];
        if (pair == 0 * M + 1)
            return evaluatePairedSeries<I, Order, M, 0, 1, L>(g, coef, y, stride, value, grad, hess, tIndex, ttOffset);
        if constexpr (M == 3) {
            if (pair == 0 * M + 2)
                return evaluatePairedSeries<I, Order, M, 0, 2, L>(g, coef, y, stride, value, grad, hess, tIndex, ttOffset);
            if (pair == 1 * M + 2)
                return evaluatePairedSeries<I, Order, M, 1, 2, L>(g, coef, y, stride, value, grad, hess, tIndex, ttOffset);
        }
    }
    ProductLanes<M, L> P(g.factors, &factorVar_[static_cast<size_t>(g.factorBegin)], y, stride);
    const double* c = coef + 3 * static_cast<size_t>(g.coefBegin) * L;  // (3k + d)*L + j
    const int a = Paired ? g.direction[0] : 0, b = Paired ? g.direction[1] : 0;
    V S[N], ST[N], STT[N], s1[N], s1T[N], s2[N];
    const int K = Paired ? g.degree : 0;
    const double* top = c + 3 * K * L;
    V d[N];
    CHUNKS
    {
        d[q] = P.yv[a][q] - P.yv[b][q];
        S[q] = Load<L>(top + q * W);
        ST[q] = Load<L>(top + L + q * W);
        STT[q] = Load<L>(top + 2 * L + q * W);
        s1[q] = s1T[q] = s2[q] = Splat<L>(0.0);
    }
    for (int k = K - 1; k >= 0; --k) {
        const double* ck = c + 3 * k * L;
        CHUNKS
        {
            if (Order >= 2) {
                s2[q] = s2[q] * d[q] + 2.0 * s1[q];
                s1T[q] = s1T[q] * d[q] + ST[q];
            }
            if (Order >= 1) s1[q] = s1[q] * d[q] + S[q];
            S[q] = S[q] * d[q] + Load<L>(ck + q * W);
            ST[q] = ST[q] * d[q] + Load<L>(ck + L + q * W);
            STT[q] = STT[q] * d[q] + Load<L>(ck + 2 * L + q * W);
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
        const V* p = P.P();
        CHUNKS
        {
            const V Ps2 = p[q] * s2[q];
            AddTo<L>(haa + q * W, Ps2);
            AddTo<L>(hbb + q * W, Ps2);
            Store<L>(hab + q * W, Load<L>(hab + q * W) - Ps2);
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
    using V = typename Chunks<L>::V;
    constexpr int W = Chunks<L>::W, N = Chunks<L>::N;
    ProductLanes<M, L> P(M, &factorVar_[static_cast<size_t>(g.factorBegin)], y, stride);
    const double* c = coef + 3 * static_cast<size_t>(g.coefBegin) * L;  // (3k + d)*L + j
    V S[N], ST[N], STT[N];
    CHUNKS
    {
        S[q] = Load<L>(c + q * W);
        ST[q] = Load<L>(c + L + q * W);
        STT[q] = Load<L>(c + 2 * L + q * W);
    }
    for (int l = 0; l < 3; ++l) {
        const double* cl = c + 3 * (l + 1) * L;
        const V* yl = P.yv[g.direction[l]];
        CHUNKS
        {
            S[q] += Load<L>(cl + q * W) * yl[q];
            ST[q] += Load<L>(cl + L + q * W) * yl[q];
            STT[q] += Load<L>(cl + 2 * L + q * W) * yl[q];
        }
    }
    const int* loc = &factorLocal_[static_cast<size_t>(g.factorBegin)];
    const uint32_t* off = &pairOffset_[static_cast<size_t>(g.pairBegin)];
    P.template add<Order>(loc, off, S, ST, STT, value, grad, hess, tIndex, ttOffset);
    if (Order < 1) return;
    for (int l = 0; l < 3; ++l) {
        const double* cl = c + 3 * (l + 1) * L;
        V D[N], DT[N];
        CHUNKS
        {
            D[q] = Load<L>(cl + q * W);
            DT[q] = Load<L>(cl + L + q * W);
        }
        P.addDirection(g.direction[l], loc, off, D, DT, 1.0, grad, hess, Order);
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
    // derivatives at the floored ones; ln y a vector of lanes at a time (LaneMath.h),
    // used where the fraction is neither 1 nor below the floor.
    constexpr int W = Chunks<L>::W, N = Chunks<L>::N;
    const double R = kGasConstant;
    using V = typename Chunks<L>::V;
    V sumYLnY[N];
    CHUNKS sumYLnY[q] = Splat<L>(0.0);
    for (int v = 0; v < n; ++v) {
        const size_t u = static_cast<size_t>(v);
        const double* yu = y + u * stride;
        const double a = sites_[u];
        double yf[L], lnyf[L];
        if constexpr (L == 1) {
            // a point takes the logarithm only where it is used
            const double yj = yu[0];
            yf[0] = yj;
            lnyf[0] = 0.0;
            if (yj < kSiteFractionFloor) {
                yf[0] = kSiteFractionFloor;
                lnyf[0] = lnFloor_;
                if (yj > 0.0) sumYLnY[0] = sumYLnY[0] + a * yj * LaneLog<1>(yj);
            } else if (yj != 1.0) {
                lnyf[0] = LaneLog<1>(yj);
                sumYLnY[0] = sumYLnY[0] + a * yj * lnyf[0];
            }
        } else {
            CHUNKS
            {
                const V yq = Load<L>(yu + q * W);
                const V ln = LaneLog<L>(yq);
                const auto tiny = yq < kSiteFractionFloor;
                Store<L>(yf + q * W, tiny ? Splat<L>(kSiteFractionFloor) : yq);
                Store<L>(lnyf + q * W, tiny ? Splat<L>(lnFloor_) : yq == 1.0 ? Splat<L>(0.0) : ln);
                const auto counted = (yq > 0.0) & (yq != 1.0);
                sumYLnY[q] = counted ? sumYLnY[q] + a * yq * ln : sumYLnY[q];
            }
        }
        if (Order >= 1) {
            double* gv = grad + u * L;
            CHUNKS AddTo<L>(gv + q * W, Load<L>(at.RT + q * W) * a * (Load<L>(lnyf + q * W) + 1.0));
        }
        if (Order >= 2) {
            const size_t row = packedIndex(v, v, dim);
            double* hvv = hess + row * L;
            double* hvT = hess + (row + static_cast<size_t>(n - v)) * L;
            const double Ra = Ra_[u];
            CHUNKS
            {
                AddTo<L>(hvv + q * W, Load<L>(at.RT + q * W) * a / Load<L>(yf + q * W));
                AddTo<L>(hvT + q * W, Ra * (Load<L>(lnyf + q * W) + 1.0));
            }
        }
    }
    CHUNKS Store<L>(G + q * W, Load<L>(sums[0] + q * W) + Load<L>(at.RT + q * W) * sumYLnY[q]);
    if (Order >= 1) {
        double* gT = grad + static_cast<size_t>(n) * L;
        CHUNKS AddTo<L>(gT + q * W, R * sumYLnY[q]);
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
    using V = typename Chunks<L>::V;
    constexpr int W = Chunks<L>::W, N = Chunks<L>::N;
    auto lanes = [](const double* x, int q) { return Load<L>(x + q * W); };
    const double R = magR_, invAfm = 1.0 / afm_;
    double kC[L], kB[L], lnB[L], lnB1[L], lnB2[L], g[L], gC[L], gCC[L], gTC[L], gT[L], gTT[L];
    CHUNKS
    {
        const V bt = lanes(beta, q);
        const V kb = bt < 0.0 ? Splat<L>(invAfm) : Splat<L>(1.0);
        Store<L>(kB + q * W, kb);
        Store<L>(lnB + q * W, LaneLog<L>(bt * kb + 1.0));
    }
    if constexpr (L == 1) {
        // a point takes its own side of tau = 1 only, by the same formulas
        const double T = at.T[0], invT = at.invT[0];
        kC[0] = TC[0] < 0.0 ? invAfm : 1.0;
        const double TCp = TC[0] * kC[0], betaP = beta[0] * kB[0];
        lnB1[0] = 1.0 / (betaP + 1.0);
        lnB2[0] = -lnB1[0] * lnB1[0];
        g[0] = gC[0] = gCC[0] = gTC[0] = gT[0] = gTT[0] = 0.0;
        if (TCp != 0.0) {
            const double invTC = 1.0 / TCp;
            const double tau = std::fabs(T * invTC);
            if (tau < 1.0) {
                const double am1 = below_[0], a3 = below_[1], a9 = below_[2], a15 = below_[3];
                const double itau = std::fabs(TCp * invT);
                const double t2 = tau * tau, t3 = t2 * tau, t6 = t3 * t3, t9 = t6 * t3, t15 = t9 * t6;
                g[0] = 1.0 + am1 * itau + a3 * t3 + a9 * t9 + a15 * t15;
                if (Order >= 1) gC[0] = -(-am1 * itau + 3 * a3 * t3 + 9 * a9 * t9 + 15 * a15 * t15) * invTC;
                if (Order >= 2) {
                    const double iTC2 = invTC * invTC, t8 = t6 * t2, t14 = t8 * t6;
                    gCC[0] = (12 * a3 * t3 + 90 * a9 * t9 + 240 * a15 * t15) * iTC2;
                    gTC[0] = -(am1 * itau * itau + 9 * a3 * t2 + 81 * a9 * t8 + 225 * a15 * t14) * iTC2;
                }
            } else {
                const double b5 = above_[0], b15 = above_[1], b25 = above_[2];
                const double tm1 = std::fabs(TCp * invT), tm2 = tm1 * tm1, tm5 = tm2 * tm2 * tm1, tm10 = tm5 * tm5;
                const double tm15 = tm10 * tm5, tm25 = tm15 * tm10;
                g[0] = b5 * tm5 + b15 * tm15 + b25 * tm25;
                if (Order >= 1) gC[0] = (5 * b5 * tm5 + 15 * b15 * tm15 + 25 * b25 * tm25) * invTC;
                if (Order >= 2) {
                    const double iTC2 = invTC * invTC;
                    gCC[0] = (20 * b5 * tm5 + 210 * b15 * tm15 + 600 * b25 * tm25) * iTC2;
                    gTC[0] = -(25 * b5 * tm5 + 225 * b15 * tm15 + 625 * b25 * tm25) * tm1 * iTC2;
                }
            }
            if (Order >= 1) gT[0] = -(TCp * invT) * gC[0];
            if (Order >= 2) gTT[0] = -(gT[0] + TCp * gTC[0]) * invT;
        }
        G[0] = G[0] + R * T * lnB[0] * g[0];
    } else {
        // g and its derivatives: both sides of tau = 1 on every lane, each lane
        // then taking its own (and 0 without a Curie temperature, where there is
        // no magnetic ordering), so that the lanes go a vector at a time.
        CHUNKS
        {
            const V T = lanes(at.T, q), invT = lanes(at.invT, q), tc = lanes(TC, q);
            const V kc = tc < 0.0 ? Splat<L>(invAfm) : Splat<L>(1.0);
            Store<L>(kC + q * W, kc);
            const V TCp = tc * kc, betaP = lanes(beta, q) * lanes(kB, q);
            const V lb1 = 1.0 / (betaP + 1.0);
            Store<L>(lnB1 + q * W, lb1);
            Store<L>(lnB2 + q * W, -lb1 * lb1);
            const V invTC = 1.0 / TCp;
            const V tau = Abs<L>(T * invTC);
            const auto ordered = TCp != 0.0;
            const auto below = tau < 1.0;
            const V zero = Splat<L>(0.0);
            // below: powers of tau; above: powers of 1/tau
            const double am1 = below_[0], a3 = below_[1], a9 = below_[2], a15 = below_[3];
            const V itau = Abs<L>(TCp * invT);
            const V t2 = tau * tau, t3 = t2 * tau, t6 = t3 * t3, t9 = t6 * t3, t15 = t9 * t6;
            const double b5 = above_[0], b15 = above_[1], b25 = above_[2];
            const V tm1 = Abs<L>(TCp * invT), tm2 = tm1 * tm1, tm5 = tm2 * tm2 * tm1, tm10 = tm5 * tm5;
            const V tm15 = tm10 * tm5, tm25 = tm15 * tm10;
            const V gq = ordered ? (below ? 1.0 + am1 * itau + a3 * t3 + a9 * t9 + a15 * t15
                                          : b5 * tm5 + b15 * tm15 + b25 * tm25)
                                 : zero;
            Store<L>(g + q * W, gq);
            Store<L>(G + q * W, lanes(G, q) + R * T * lanes(lnB, q) * gq);
            if (Order < 1) continue;
            const V gCq = ordered ? (below ? -(-am1 * itau + 3 * a3 * t3 + 9 * a9 * t9 + 15 * a15 * t15) * invTC
                                           : (5 * b5 * tm5 + 15 * b15 * tm15 + 25 * b25 * tm25) * invTC)
                                  : zero;
            const V gTq = ordered ? -(TCp * invT) * gCq : zero;
            Store<L>(gC + q * W, gCq);
            Store<L>(gT + q * W, gTq);
            if (Order < 2) continue;
            const V iTC2 = invTC * invTC, t8 = t6 * t2, t14 = t8 * t6;
            const V gCCq = ordered ? (below ? (12 * a3 * t3 + 90 * a9 * t9 + 240 * a15 * t15) * iTC2
                                            : (20 * b5 * tm5 + 210 * b15 * tm15 + 600 * b25 * tm25) * iTC2)
                                   : zero;
            const V gTCq = ordered ? (below ? -(am1 * itau * itau + 9 * a3 * t2 + 81 * a9 * t8 + 225 * a15 * t14) * iTC2
                                            : -(25 * b5 * tm5 + 225 * b15 * tm15 + 625 * b25 * tm25) * tm1 * iTC2)
                                   : zero;
            Store<L>(gCC + q * W, gCCq);
            Store<L>(gTC + q * W, gTCq);
            Store<L>(gTT + q * W, ordered ? -(gTq + TCp * gTCq) * invT : zero);
        }
    }
    if (Order < 1) return;

    // With F = ln(beta'+1) g, G_mag = R T F.  Over the local variables r (T
    // the last, index m), B_r and C_r the derivatives of beta' and TC':
    //   dG/dr      = s B_r + t C_r                       (+ R lnB (T gT + g) at T)
    //   d2G/dr dc  = U_r B_c + V_r C_c + b hb_rc + e hc_rc
    // with U_r = a B_r + c C_r, V_r = c B_r + d C_r, hb and hc the Hessians of
    // beta and TC, and the T column taking the terms of g's and of the
    // prefactor's own T dependence: p B_r + q C_r at (r, T), twice that and
    // R lnB (T gTT + 2 gT) at (T, T).  a .. e, p, q, s, t are the lane's
    // factors below: four products per Hessian entry instead of the expanded
    // chain rule's dozen.
    const Space& mc = spaces_[kCurie];
    const Space& mb = spaces_[kMoment];
    const int m = mc.n, md = m + 1, n = n_;
    V s[N], t[N];
    CHUNKS
    {
        const V RT = R * lanes(at.T, q);
        s[q] = RT * (lanes(lnB1, q) * lanes(g, q));
        t[q] = RT * (lanes(lnB, q) * lanes(gC, q));
    }
    // lane j of local variable r at [r*L + j]
    double* B = magScratch_.data();
    double* C = B + md * L;
    double* U = C + md * L;
    double* Vs = U + md * L;
    for (int r = 0; r < md; ++r) {
        const double* cr = &mc.grad[static_cast<size_t>(r) * L];
        const double* br = &mb.grad[static_cast<size_t>(r) * L];
        CHUNKS
        {
            Store<L>(B + r * L + q * W, lanes(kB, q) * lanes(br, q));
            Store<L>(C + r * L + q * W, lanes(kC, q) * lanes(cr, q));
        }
    }
    for (int r = 0; r < m; ++r) {
        double* gr = grad + static_cast<size_t>(mc.global[static_cast<size_t>(r)]) * L;
        CHUNKS AddTo<L>(gr + q * W, s[q] * lanes(B + r * L, q) + t[q] * lanes(C + r * L, q));
    }
    double* gTrow = grad + static_cast<size_t>(n) * L;
    CHUNKS AddTo<L>(gTrow + q * W, s[q] * lanes(B + m * L, q) + t[q] * lanes(C + m * L, q) +
                                       R * (lanes(lnB, q) * (lanes(at.T, q) * lanes(gT, q) + lanes(g, q))));
    if (Order < 2) return;

    V fb[N], fe[N], fp[N], fq[N];
    CHUNKS
    {
        const V T = lanes(at.T, q), RT = R * T;
        const V a = RT * (lanes(g, q) * lanes(lnB2, q)), c = RT * (lanes(lnB1, q) * lanes(gC, q)),
                d = RT * (lanes(lnB, q) * lanes(gCC, q));
        for (int r = 0; r < md; ++r) {
            const V Br = lanes(B + r * L, q), Cr = lanes(C + r * L, q);
            Store<L>(U + r * L + q * W, a * Br + c * Cr);
            Store<L>(Vs + r * L + q * W, c * Br + d * Cr);
        }
        fb[q] = RT * (lanes(g, q) * lanes(lnB1, q) * lanes(kB, q));
        fe[q] = RT * (lanes(lnB, q) * lanes(gC, q) * lanes(kC, q));
        fp[q] = R * (lanes(lnB1, q) * (T * lanes(gT, q) + lanes(g, q)));
        fq[q] = R * (lanes(lnB, q) * (T * lanes(gTC, q) + lanes(gC, q)));
    }
    const uint32_t* off = magOffset_.data();
    size_t k = 0;  // packed local index of (r, c)
    for (int r = 0; r < md; ++r) {
        for (int c = r; c < md; ++c, ++k) {
            const double* hc = &mc.hess[k * L];
            const double* hb = &mb.hess[k * L];
            double* h = hess + static_cast<size_t>(off[k]) * L;
            CHUNKS AddTo<L>(h + q * W, lanes(U + r * L, q) * lanes(B + c * L, q) + lanes(Vs + r * L, q) * lanes(C + c * L, q) +
                                           fb[q] * lanes(hb, q) + fe[q] * lanes(hc, q));
        }
        // the T column: (r, T), and (T, T) twice with g's second T derivative
        double* hT = hess + static_cast<size_t>(off[k - 1]) * L;
        CHUNKS
        {
            const V pq = fp[q] * lanes(B + r * L, q) + fq[q] * lanes(C + r * L, q);
            if (r < m)
                AddTo<L>(hT + q * W, pq);
            else
                AddTo<L>(hT + q * W, 2.0 * pq + R * (lanes(lnB, q) * (lanes(at.T, q) * lanes(gTT, q) + 2.0 * lanes(gT, q))));
        }
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
