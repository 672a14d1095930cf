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
               sites_.capacity() * sizeof(double) + lnY_.capacity() * sizeof(double) +
               magScratch_.capacity() * sizeof(double);
    for (const Space& s : spaces_)
        b += s.global.capacity() * sizeof(int) + (s.grad.capacity() + s.hess.capacity()) * sizeof(double);
    return b;
}

// One group: value P*S into value, and with order >= 1 its gradient, with
// order 2 its Hessian, into the target space's arrays (T at local index tIndex).
void EvaluationPlan::evaluateGroup(const Group& g, const double* y, size_t stride, int order, double& value,
                                   double* grad, double* hess, int tIndex, size_t ttOffset)
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
    case kSeries:
        if (nd == 0) {
            S = c[0];
            ST = c[1];
            STT = c[2];
        } else {
            const double d = yv[g.direction[0]] - yv[g.direction[1]];
            const int K = g.degree;
            const double* top = c + 3 * K;
            double s = top[0], s1 = 0.0, s2 = 0.0, sT = top[1], s1T = 0.0, sTT = top[2];
            for (int k = K - 1; k >= 0; --k) {
                const double* ck = c + 3 * k;
                s2 = s2 * d + 2.0 * s1;
                s1 = s1 * d + s;
                s = s * d + ck[0];
                s1T = s1T * d + sT;
                sT = sT * d + ck[1];
                sTT = sTT * d + ck[2];
            }
            S = s;
            ST = sT;
            STT = sTT;
            D[0] = s1;
            D[1] = -s1;
            DT[0] = s1T;
            DT[1] = -s1T;
            E[0][0] = E[1][1] = s2;
            E[0][1] = E[1][0] = -s2;
        }
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
    auto pair = [m](int i, int j) {
        if (j < i) std::swap(i, j);
        return i * m - i * (i - 1) / 2 + (j - i);
    };
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
        for (int j = 0; j < m; ++j) hess[off[pair(j, a)]] += (j == a ? 2.0 : 1.0) * Pi[j] * Dl;
        for (int k = l; k < nd; ++k) hess[off[pair(a, g.direction[k])]] += P * E[l][k];
        hess[off[mm + a]] += P * DT[l];
    }
    for (int i = 0; i < m; ++i) hess[off[mm + i]] += Pi[i] * ST;
    hess[ttOffset] += P * STT;
}

void EvaluationPlan::evaluate(const double* y, size_t stride, int order, Point& out)
{
    const int n = n_, dim = n + 1;
    double* grad = out.grad.data();
    double* hess = out.hess.data();
    if (order >= 1) std::fill(out.grad.begin(), out.grad.end(), 0.0);
    if (order >= 2) std::fill(out.hess.begin(), out.hess.end(), 0.0);
    Space& mag = spaces_[kCurie];
    Space& mom = spaces_[kMoment];
    if (magnetic_) {
        if (order >= 1) {
            std::fill(mag.grad.begin(), mag.grad.end(), 0.0);
            std::fill(mom.grad.begin(), mom.grad.end(), 0.0);
        }
        if (order >= 2) {
            std::fill(mag.hess.begin(), mag.hess.end(), 0.0);
            std::fill(mom.hess.begin(), mom.hess.end(), 0.0);
        }
    }
    const size_t ttG = packedIndex(n, n, dim);
    const size_t ttM = packedIndex(mag.n, mag.n, mag.n + 1);
    double sums[3] = {0.0, 0.0, 0.0};  // parameters into G, TC, beta
    for (const Group& g : groups_) {
        if (g.target == kGibbs)
            evaluateGroup(g, y, stride, order, sums[0], grad, hess, n, ttG);
        else
            evaluateGroup(g, y, stride, order, sums[g.target], spaces_[g.target].grad.data(),
                          spaces_[g.target].hess.data(), mag.n, ttM);
    }

    // Ideal mixing: the value with the exact fractions (0 ln 0 = 0), the
    // derivatives at the floored ones, ln y taken once per variable.
    const double R = kGasConstant, T = T_;
    double sumYLnY = 0.0;
    for (int v = 0; v < n; ++v) {
        const double yv = y[static_cast<size_t>(v) * stride];
        const double a = sites_[static_cast<size_t>(v)];
        const double yf = yv < kSiteFractionFloor ? kSiteFractionFloor : yv;
        const double lnyf = std::log(yf);
        if (yv > 0.0) sumYLnY += a * yv * (yv < kSiteFractionFloor ? std::log(yv) : lnyf);
        if (order >= 1) grad[v] += R * T * a * (lnyf + 1.0);
        if (order >= 2) {
            hess[packedIndex(v, v, dim)] += R * T * a / yf;
            hess[packedIndex(v, n, dim)] += R * a * (lnyf + 1.0);
        }
    }
    out.G = sums[0] + R * T * sumYLnY;
    if (order >= 1) grad[n] += R * sumYLnY;
    if (magnetic_) addMagnetic(order, sums[1], sums[2], out);
}

// G_mag = R*T*ln(beta'+1)*g(T/TC') with its chain rule over the variables of
// the TC and BMAGN parameters (one shared local space) and T.  g without pow:
// the powers of tau by multiplication.  g depends on T and TC' only through
// tau, so its T derivatives follow from those in TC'.
void EvaluationPlan::addMagnetic(int order, double TC, double beta, Point& out)
{
    const double R = kGasConstant, T = T_;
    const double kC = TC < 0.0 ? 1.0 / afm_ : 1.0, kB = beta < 0.0 ? 1.0 / afm_ : 1.0;
    const double TCp = TC * kC, betaP = beta * kB;
    const double lnB = std::log(betaP + 1.0), lnB1 = 1.0 / (betaP + 1.0), lnB2 = -lnB1 * lnB1;
    double g = 0.0, gC = 0.0, gCC = 0.0, gTC = 0.0, gT = 0.0, gTT = 0.0;
    // Without a Curie temperature there is no magnetic ordering: g = 0.
    if (TCp != 0.0) {
        const double tau = std::fabs(T / TCp);
        const double TC2 = TCp * TCp;
        if (tau < 1.0) {
            const double am1 = below_[0], a3 = below_[1], a9 = below_[2], a15 = below_[3];
            const double t2 = tau * tau, t3 = t2 * tau, t6 = t3 * t3, t9 = t6 * t3, t15 = t9 * t6;
            g = 1.0 + am1 / tau + a3 * t3 + a9 * t9 + a15 * t15;
            gC = (-am1 / tau + 3 * a3 * t3 + 9 * a9 * t9 + 15 * a15 * t15) / (-TCp);
            if (order >= 2) {
                const double t8 = t6 * t2, t14 = t8 * t6;
                gCC = (12 * a3 * t3 + 90 * a9 * t9 + 240 * a15 * t15) / TC2;
                gTC = -(am1 / t2 + 9 * a3 * t2 + 81 * a9 * t8 + 225 * a15 * t14) / TC2;
            }
        } else {
            const double b5 = above_[0], b15 = above_[1], b25 = above_[2];
            const double tm1 = 1.0 / tau, tm2 = tm1 * tm1, tm5 = tm2 * tm2 * tm1, tm10 = tm5 * tm5;
            const double tm15 = tm10 * tm5, tm25 = tm15 * tm10;
            g = b5 * tm5 + b15 * tm15 + b25 * tm25;
            gC = (-5 * b5 * tm5 - 15 * b15 * tm15 - 25 * b25 * tm25) / (-TCp);
            if (order >= 2) {
                gCC = (20 * b5 * tm5 + 210 * b15 * tm15 + 600 * b25 * tm25) / TC2;
                gTC = -(25 * b5 * tm5 * tm1 + 225 * b15 * tm15 * tm1 + 625 * b25 * tm25 * tm1) / TC2;
            }
        }
        gT = -(TCp / T) * gC;
        gTT = -(gT + TCp * gTC) / T;
    }
    out.G += R * T * lnB * g;
    if (order < 1) return;

    const Space& mc = spaces_[kCurie];
    const Space& mb = spaces_[kMoment];
    const int m = mc.n, md = m + 1, n = n_, dim = n + 1;
    double* dTC = magScratch_.data();
    double* dBeta = dTC + md;
    double* dg = dBeta + md;
    double* dLn = dg + md;
    for (int r = 0; r < md; ++r) {
        dTC[r] = kC * mc.grad[static_cast<size_t>(r)];
        dBeta[r] = kB * mb.grad[static_cast<size_t>(r)];
        dg[r] = gC * dTC[r] + (r == m ? gT : 0.0);
        dLn[r] = lnB1 * dBeta[r];
    }
    auto global = [&](int r) { return r < m ? mc.global[static_cast<size_t>(r)] : n; };
    for (int r = 0; r < md; ++r)
        out.grad[static_cast<size_t>(global(r))] += R * ((r == m ? lnB * g : 0.0) + T * (dLn[r] * g + lnB * dg[r]));
    if (order < 2) return;
    size_t k = 0;  // packed local index of (r, c)
    for (int r = 0; r < md; ++r) {
        for (int c = r; c < md; ++c, ++k) {
            const double dr = r == m ? 1.0 : 0.0, dc = c == m ? 1.0 : 0.0;
            const double Cr = dTC[r], Cc = dTC[c];
            const double d2g = gCC * Cr * Cc + gC * kC * mc.hess[k] + gTC * (Cr * dc + Cc * dr) + gTT * dr * dc;
            const double d2Ln = lnB2 * dBeta[r] * dBeta[c] + lnB1 * kB * mb.hess[k];
            out.hess[packedIndex(global(r), global(c), dim)] +=
                R * (dr * (dLn[c] * g + lnB * dg[c]) + dc * (dLn[r] * g + lnB * dg[r]) +
                     T * (d2Ln * g + dLn[r] * dg[c] + dLn[c] * dg[r] + lnB * d2g));
        }
    }
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
