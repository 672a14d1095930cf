#include "EvaluationPlan.h"

#include <algorithm>
#include <cmath>

namespace {
constexpr int kMaxFactors = 10;  // constituent entries of one parameter record
}  // namespace

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
               magOffset_.capacity() * sizeof(uint32_t) + (RTa_.capacity() + Ra_.capacity()) * sizeof(double);
    for (const Space& s : spaces_)
        b += s.global.capacity() * sizeof(int) + (s.grad.capacity() + s.hess.capacity()) * sizeof(double);
    return b;
}

void EvaluationPlan::temperatureChanged()
{
    const double R = kGasConstant;
    RT_ = R * T_;
    invT_ = 1.0 / T_;
    lnFloor_ = std::log(kSiteFractionFloor);
    RTa_.resize(sites_.size());
    Ra_.resize(sites_.size());
    for (size_t v = 0; v < sites_.size(); ++v) {
        RTa_[v] = R * T_ * sites_[v];
        Ra_[v] = R * sites_[v];
    }
}

// Packed index of the pair of entries (i, j) of a group of m entries.
static inline int PairIndex(int i, int j, int m)
{
    if (j < i) std::swap(i, j);
    return i * m - i * (i - 1) / 2 + (j - i);
}

// A series group P * sum_k c_k d^k (d = y_a - y_b; no d when the group has no
// pair) of M entries (0: as many as the group says).  The same arithmetic as
// evaluateGroup, with the entry count known to the compiler and nothing but
// the series' own terms.
template <int Order, int M>
void EvaluationPlan::evaluateSeries(const Group& g, const double* y, size_t stride, double& value, double* grad,
                                    double* hess, int tIndex, size_t ttOffset) const
{
    const int m = M > 0 ? M : g.factors;
    constexpr int kCap = M > 0 ? M : kMaxFactors;
    const int* var = &factorVar_[static_cast<size_t>(g.factorBegin)];
    double yv[kCap], pre[kCap + 1];
    pre[0] = 1.0;
    for (int i = 0; i < m; ++i) {
        yv[i] = y[static_cast<size_t>(var[i]) * stride];
        pre[i + 1] = pre[i] * yv[i];
    }
    const double P = pre[m];
    const double* c = &coef_[3 * static_cast<size_t>(g.coefBegin)];
    const bool paired = g.directions != 0;
    double S, ST, STT, s1 = 0.0, s1T = 0.0, s2 = 0.0;
    if (!paired) {
        S = c[0];
        ST = c[1];
        STT = c[2];
    } else {
        const double d = yv[g.direction[0]] - yv[g.direction[1]];
        const int K = g.degree;
        const double* top = c + 3 * K;
        double s = top[0], sT = top[1], sTT = top[2];
        for (int k = K - 1; k >= 0; --k) {
            const double* ck = c + 3 * k;
            if (Order >= 2) {
                s2 = s2 * d + 2.0 * s1;
                s1T = s1T * d + sT;
            }
            if (Order >= 1) s1 = s1 * d + s;
            s = s * d + ck[0];
            sT = sT * d + ck[1];
            sTT = sTT * d + ck[2];
        }
        S = s;
        ST = sT;
        STT = sTT;
    }
    value += P * S;
    if (Order < 1) return;

    const int* loc = &factorLocal_[static_cast<size_t>(g.factorBegin)];
    double suf[kCap + 1], Pi[kCap];  // Pi: the product without entry i
    suf[m] = 1.0;
    for (int i = m - 1; i >= 0; --i) suf[i] = suf[i + 1] * yv[i];
    for (int i = 0; i < m; ++i) {
        Pi[i] = pre[i] * suf[i + 1];
        grad[loc[i]] += Pi[i] * S;
    }
    const int a = paired ? g.direction[0] : 0, b = paired ? g.direction[1] : 0;
    if (paired) {
        grad[loc[a]] += P * s1;
        grad[loc[b]] -= P * s1;
    }
    grad[tIndex] += P * ST;
    if (Order < 2) return;

    const uint32_t* off = &pairOffset_[static_cast<size_t>(g.pairBegin)];
    const int mm = m * (m + 1) / 2;
    // (i, j), i < j: the product without both entries; (i, i) is 0, P being linear in each fraction
    if (S != 0.0) {
        int k = 0;
        for (int i = 0; i < m; ++i) {
            ++k;
            double run = pre[i];
            for (int j = i + 1; j < m; ++j, ++k) {
                hess[off[k]] += run * suf[j + 1] * S;
                run *= yv[j];
            }
        }
    }
    if (paired) {
        for (int j = 0; j < m; ++j) {
            hess[off[PairIndex(j, a, m)]] += (j == a ? 2.0 : 1.0) * Pi[j] * s1;
            hess[off[PairIndex(j, b, m)]] -= (j == b ? 2.0 : 1.0) * Pi[j] * s1;
        }
        const double Ps2 = P * s2;
        hess[off[PairIndex(a, a, m)]] += Ps2;
        hess[off[PairIndex(b, b, m)]] += Ps2;
        hess[off[PairIndex(a, b, m)]] -= Ps2;
        hess[off[mm + a]] += P * s1T;
        hess[off[mm + b]] -= P * s1T;
    }
    for (int i = 0; i < m; ++i) hess[off[mm + i]] += Pi[i] * ST;
    hess[ttOffset] += P * STT;
}

// One group of any shape: value P*S into value, and with order >= 1 its
// gradient, with order 2 its Hessian, into the target space's arrays (T at
// local index tIndex).
void EvaluationPlan::evaluateGroup(const Group& g, const double* y, size_t stride, int order, double& value,
                                   double* grad, double* hess, int tIndex, size_t ttOffset) const
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
    const double* c = &coef_[3 * static_cast<size_t>(g.coefBegin)];
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
        for (int j = 0; j < g.coefCount; ++j) {
            const double* cj = c + 3 * j;
            double a, a1, a2, b, b1, b2;
            pow3(d1, pw[2 * j], a, a1, a2);
            pow3(d2, pw[2 * j + 1], b, b1, b2);
            S += cj[0] * a * b;
            ST += cj[1] * a * b;
            STT += cj[2] * a * b;
            S1 += cj[0] * a1 * b;
            S2 += cj[0] * a * b1;
            S11 += cj[0] * a2 * b;
            S12 += cj[0] * a1 * b1;
            S22 += cj[0] * a * b2;
            S1T += cj[1] * a1 * b;
            S2T += cj[1] * a * b1;
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
        S = c[0];
        ST = c[1];
        STT = c[2];
        for (int l = 0; l < 3; ++l) {
            const double* cl = c + 3 * (l + 1);
            const double yl = yv[g.direction[l]];
            S += cl[0] * yl;
            ST += cl[1] * yl;
            STT += cl[2] * yl;
            D[l] = cl[0];
            DT[l] = cl[1];
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
        grad[loc[i]] += Pi[i] * S;
    }
    for (int l = 0; l < nd; ++l) grad[loc[g.direction[l]]] += P * D[l];
    grad[tIndex] += P * ST;
    if (order < 2) return;

    // Offsets of the group's entries: (i, j), i <= j, packed over the m
    // entries, then (i, T) for each entry.
    const uint32_t* off = &pairOffset_[static_cast<size_t>(g.pairBegin)];
    const int mm = m * (m + 1) / 2;
    if (S != 0.0) {
        for (int i = 0; i < m; ++i) {
            double run = pre[i];  // product of the entries before i, then of those between i and j
            const int base = i * m - i * (i - 1) / 2 - i;
            for (int j = i + 1; j < m; ++j) {
                hess[off[base + j]] += run * suf[j + 1] * S;
                run *= yv[j];
            }
        }
    }
    for (int l = 0; l < nd; ++l) {
        const int a = g.direction[l];
        const double Dl = D[l];
        for (int j = 0; j < m; ++j) hess[off[PairIndex(j, a, m)]] += (j == a ? 2.0 : 1.0) * Pi[j] * Dl;
        for (int k = l; k < nd; ++k) hess[off[PairIndex(a, g.direction[k], m)]] += P * E[l][k];
        hess[off[mm + a]] += P * DT[l];
    }
    for (int i = 0; i < m; ++i) hess[off[mm + i]] += Pi[i] * ST;
    hess[ttOffset] += P * STT;
}

// The groups of one target, each through the kernel of its shape.
template <int Order>
void EvaluationPlan::evaluateGroups(Target target, const double* y, size_t stride, double& value, double* grad,
                                    double* hess, int tIndex, size_t ttOffset)
{
    const int begin = targetBegin_[target], end = targetBegin_[target + 1];
    const Group* groups = groups_.data();
    for (int i = begin; i < end; ++i) {
        const Group& g = groups[i];
        if (g.shape == kSeries) {
            switch (g.factors) {
            case 1: evaluateSeries<Order, 1>(g, y, stride, value, grad, hess, tIndex, ttOffset); break;
            case 2: evaluateSeries<Order, 2>(g, y, stride, value, grad, hess, tIndex, ttOffset); break;
            case 3: evaluateSeries<Order, 3>(g, y, stride, value, grad, hess, tIndex, ttOffset); break;
            case 4: evaluateSeries<Order, 4>(g, y, stride, value, grad, hess, tIndex, ttOffset); break;
            default: evaluateSeries<Order, 0>(g, y, stride, value, grad, hess, tIndex, ttOffset); break;
            }
        } else {
            evaluateGroup(g, y, stride, Order, value, grad, hess, tIndex, ttOffset);
        }
    }
}

template <int Order>
void EvaluationPlan::evaluateAt(const double* y, size_t stride, double* G, double* grad, double* hess)
{
    const int n = n_, dim = n + 1;
    if (Order >= 1) std::fill(grad, grad + dim, 0.0);
    if (Order >= 2) std::fill(hess, hess + packedSize(), 0.0);
    const size_t ttG = packedIndex(n, n, dim);
    double sums[3] = {0.0, 0.0, 0.0};  // parameters into G, TC, beta
    evaluateGroups<Order>(kGibbs, y, stride, sums[0], grad, hess, n, ttG);
    if (magnetic_) {
        Space& mc = spaces_[kCurie];
        Space& mb = spaces_[kMoment];
        const size_t ttM = packedIndex(mc.n, mc.n, mc.n + 1);
        if (Order >= 1) {
            std::fill(mc.grad.begin(), mc.grad.end(), 0.0);
            std::fill(mb.grad.begin(), mb.grad.end(), 0.0);
        }
        if (Order >= 2) {
            std::fill(mc.hess.begin(), mc.hess.end(), 0.0);
            std::fill(mb.hess.begin(), mb.hess.end(), 0.0);
        }
        evaluateGroups<Order>(kCurie, y, stride, sums[1], mc.grad.data(), mc.hess.data(), mc.n, ttM);
        evaluateGroups<Order>(kMoment, y, stride, sums[2], mb.grad.data(), mb.hess.data(), mb.n, ttM);
    }

    // Ideal mixing: the value with the exact fractions (0 ln 0 = 0), the
    // derivatives at the floored ones, ln y taken once per variable (none
    // for a fraction of exactly 1, nor below the floor).
    const double R = kGasConstant;
    double sumYLnY = 0.0;
    for (int v = 0; v < n; ++v) {
        const size_t u = static_cast<size_t>(v);
        const double yv = y[u * stride];
        double yf = yv, lnyf = 0.0;
        if (yv < kSiteFractionFloor) {
            yf = kSiteFractionFloor;
            lnyf = lnFloor_;
            if (yv > 0.0) sumYLnY += sites_[u] * yv * std::log(yv);
        } else if (yv != 1.0) {
            lnyf = std::log(yv);
            sumYLnY += sites_[u] * yv * lnyf;
        }
        if (Order >= 1) grad[v] += RTa_[u] * (lnyf + 1.0);
        if (Order >= 2) {
            const size_t row = packedIndex(v, v, dim);
            hess[row] += RTa_[u] / yf;
            hess[row + static_cast<size_t>(n - v)] += Ra_[u] * (lnyf + 1.0);
        }
    }
    *G = sums[0] + RT_ * sumYLnY;
    if (Order >= 1) grad[n] += R * sumYLnY;
    if (magnetic_) addMagnetic<Order>(sums[1], sums[2], G, grad, hess);
}

void EvaluationPlan::evaluate(const double* y, size_t stride, int order, double* G, double* grad, double* hess)
{
    switch (order) {
    case 0: evaluateAt<0>(y, stride, G, grad, hess); break;
    case 1: evaluateAt<1>(y, stride, G, grad, hess); break;
    default: evaluateAt<2>(y, stride, G, grad, hess); break;
    }
}

// G_mag = R*T*ln(beta'+1)*g(T/TC') with its chain rule over the variables of
// the TC and BMAGN parameters (one shared local space) and T.  g without pow:
// the powers of tau by multiplication, one division for 1/TC'.  g depends on
// T and TC' only through tau, so its T derivatives follow from those in TC'.
template <int Order>
void EvaluationPlan::addMagnetic(double TC, double beta, double* G, double* grad, double* hess)
{
    const double R = kGasConstant, T = T_;
    const double kC = TC < 0.0 ? 1.0 / afm_ : 1.0, kB = beta < 0.0 ? 1.0 / afm_ : 1.0;
    const double TCp = TC * kC, betaP = beta * kB;
    const double lnB = std::log(betaP + 1.0);
    double g = 0.0, gC = 0.0, gCC = 0.0, gTC = 0.0, gT = 0.0, gTT = 0.0;
    // Without a Curie temperature there is no magnetic ordering: g = 0.
    if (TCp != 0.0) {
        const double invTC = 1.0 / TCp;
        const double tau = std::fabs(T * invTC);
        if (tau < 1.0) {
            const double am1 = below_[0], a3 = below_[1], a9 = below_[2], a15 = below_[3];
            const double itau = std::fabs(TCp * invT_);
            const double t2 = tau * tau, t3 = t2 * tau, t6 = t3 * t3, t9 = t6 * t3, t15 = t9 * t6;
            g = 1.0 + am1 * itau + a3 * t3 + a9 * t9 + a15 * t15;
            if (Order >= 1) gC = -(-am1 * itau + 3 * a3 * t3 + 9 * a9 * t9 + 15 * a15 * t15) * invTC;
            if (Order >= 2) {
                const double iTC2 = invTC * invTC, t8 = t6 * t2, t14 = t8 * t6;
                gCC = (12 * a3 * t3 + 90 * a9 * t9 + 240 * a15 * t15) * iTC2;
                gTC = -(am1 * itau * itau + 9 * a3 * t2 + 81 * a9 * t8 + 225 * a15 * t14) * iTC2;
            }
        } else {
            const double b5 = above_[0], b15 = above_[1], b25 = above_[2];
            const double tm1 = std::fabs(TCp * invT_), tm2 = tm1 * tm1, tm5 = tm2 * tm2 * tm1, tm10 = tm5 * tm5;
            const double tm15 = tm10 * tm5, tm25 = tm15 * tm10;
            g = b5 * tm5 + b15 * tm15 + b25 * tm25;
            if (Order >= 1) gC = (5 * b5 * tm5 + 15 * b15 * tm15 + 25 * b25 * tm25) * invTC;
            if (Order >= 2) {
                const double iTC2 = invTC * invTC;
                gCC = (20 * b5 * tm5 + 210 * b15 * tm15 + 600 * b25 * tm25) * iTC2;
                gTC = -(25 * b5 * tm5 + 225 * b15 * tm15 + 625 * b25 * tm25) * tm1 * iTC2;
            }
        }
        if (Order >= 1) gT = -(TCp * invT_) * gC;
        if (Order >= 2) gTT = -(gT + TCp * gTC) * invT_;
    }
    *G += R * T * lnB * g;
    if (Order < 1) return;

    const double lnB1 = 1.0 / (betaP + 1.0), lnB2 = -lnB1 * lnB1;
    const Space& mc = spaces_[kCurie];
    const Space& mb = spaces_[kMoment];
    const int m = mc.n, md = m + 1, n = n_;
    double* dTC = magScratch_.data();
    double* dBeta = dTC + md;
    double* dg = dBeta + md;
    double* dLn = dg + md;
    for (int r = 0; r < md; ++r) {
        dTC[r] = kC * mc.grad[static_cast<size_t>(r)];
        dBeta[r] = kB * mb.grad[static_cast<size_t>(r)];
        dg[r] = gC * dTC[r];
        dLn[r] = lnB1 * dBeta[r];
    }
    dg[m] += gT;
    for (int r = 0; r < m; ++r) grad[mc.global[static_cast<size_t>(r)]] += R * (T * (dLn[r] * g + lnB * dg[r]));
    grad[n] += R * (lnB * g + T * (dLn[m] * g + lnB * dg[m]));
    if (Order < 2) return;
    const double RT = R * T;
    const uint32_t* off = magOffset_.data();
    size_t k = 0;  // packed local index of (r, c)
    for (int r = 0; r < m; ++r) {
        const double Cr = dTC[r], Br = dBeta[r], Lr = dLn[r], Gr = dg[r];
        for (int c = r; c < m; ++c, ++k) {
            const double d2g = gCC * Cr * dTC[c] + gC * kC * mc.hess[k];
            const double d2Ln = lnB2 * Br * dBeta[c] + lnB1 * kB * mb.hess[k];
            hess[off[k]] += RT * (d2Ln * g + Lr * dg[c] + dLn[c] * Gr + lnB * d2g);
        }
        // (r, T)
        const double d2g = gCC * Cr * dTC[m] + gC * kC * mc.hess[k] + gTC * Cr;
        const double d2Ln = lnB2 * Br * dBeta[m] + lnB1 * kB * mb.hess[k];
        hess[off[k]] += R * (Lr * g + lnB * Gr + T * (d2Ln * g + Lr * dg[m] + dLn[m] * Gr + lnB * d2g));
        ++k;
    }
    // (T, T)
    const double Cm = dTC[m];
    const double d2g = gCC * Cm * Cm + gC * kC * mc.hess[k] + 2.0 * gTC * Cm + gTT;
    const double d2Ln = lnB2 * dBeta[m] * dBeta[m] + lnB1 * kB * mb.hess[k];
    hess[off[k]] += R * (2.0 * (dLn[m] * g + lnB * dg[m]) + T * (d2Ln * g + 2.0 * dLn[m] * dg[m] + lnB * d2g));
}

bool EvaluationPlan::perturbForTest(Perturbation p)
{
    for (Group& g : groups_) {
        if (p == kShiftHessianOffset && g.target == kGibbs && g.factors >= 2) {
            uint32_t& o = pairOffset_[static_cast<size_t>(g.pairBegin) + 1];  // entries (0, 1)
            o = static_cast<uint32_t>((o + 1) % packedSize());
            return true;
        }
        if (p == kDropSeriesCoefficient && g.shape == kSeries && g.degree >= 1) {
            --g.degree;
            return true;
        }
    }
    return false;
}
