#include "EvaluationPlan.h"
#include "EvaluationPlanLanes.h"
#include "PlanInstructionSet.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "EinsteinTerm.h"
#include "SumComposition.h"
#include "TwoStateTerm.h"
#include "XiongMagnetic.h"

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
               magOffset_.capacity() * sizeof(uint32_t) + (Ra_.capacity() + laneCoef_.capacity() + laneSum_.capacity()) * sizeof(double);
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

void EvaluationPlan::evaluate(const double* y, size_t stride, int order, double* G, double* grad, double* hess)
{
    const LaneState at{&T_, &invT_, &RT_, coef_.data()};
    switch (order) {
    case 0: evaluateLanes<Isa::kBaseline, 0, 1>(at, y, stride, G, grad, hess); break;
    case 1: evaluateLanes<Isa::kBaseline, 1, 1>(at, y, stride, G, grad, hess); break;
    default: evaluateLanes<Isa::kBaseline, 2, 1>(at, y, stride, G, grad, hess); break;
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
    if (PlanUsesAvx2())
        evaluateBlockAvx2(at, y, order, G, grad, hess);
    else
        evaluateLaneBlock<Isa::kBaseline>(at, y, order, G, grad, hess);
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
        evaluateGroups<Isa::kBaseline, Order, 1>(static_cast<Target>(q), coef_.data(), yx_.data(), 1, &atX, A.grad.data(),
                                 A.hess.data(), n, ttA);
        evaluateGroups<Isa::kBaseline, Order, 1>(static_cast<Target>(q + 3), coef_.data(), x_.data(), 1, &dis, X.grad.data(),
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
        evaluateGroups<Isa::kBaseline, Order, 1>(static_cast<Target>(kFirstPropertySum + q), coef_.data(), y, stride, &value[q],
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
