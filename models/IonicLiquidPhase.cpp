#include "IonicLiquidPhase.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "host/CVxGibbs.h"
#include "host/CVxPhase.h"
#include "host/myCString.h"
#include "thermfunctions/TThermFkt.h"
#include "thermfunctions/TThermFktMgr.h"

namespace {
constexpr int kTypeGibbs = 0;
constexpr double kFloor = 1e-30;  // as PhaseEvaluator::kSiteFractionFloor
}  // namespace

IonicLiquidPhase::IonicLiquidPhase(CVxPhase& phase, CVxGibbs& gibbs, TThermFktMgr& list, int n)
    : n_(n), vars_(static_cast<size_t>(n), Variable{Kind::Neutral, 0.0, 0.0}), yf_(static_cast<size_t>(n), 0.0),
      lnY_(static_cast<size_t>(n), 0.0), grad_(static_cast<size_t>(n + 1), 0.0),
      hess_(static_cast<size_t>((n + 1) * (n + 1)), 0.0)
{
    if (phase.m_nSublatticeCount != 2) {
        problem_ = "an ionic liquid has two sublattices, this phase " + std::to_string(phase.m_nSublatticeCount);
        return;
    }
    for (size_t s = 0; s < 2; ++s) {
        for (size_t i = 0; i < phase.m_Constituents[s].size(); ++i) {
            const int v = phase.m_VarPos[s][i], c = phase.m_Constituents[s][i];
            if (v < 0 || v >= n || c < 0 || c >= gibbs.GetElementCount()) continue;
            const TDMGRElementData& e = gibbs.m_ElementArray.ElementAt(c);
            Variable& var = vars_[static_cast<size_t>(v)];
            var.nu = std::abs(e.m_nCharge);
            var.atoms = e.m_dAtoms;
            const bool vacancy = std::string(e.m_szElementName) == "VA";
            if (s == 0) {
                var.kind = Kind::Cation;
                if (e.m_nCharge <= 0)
                    problem_ = std::string("'") + e.m_szElementName + "' in the cation sublattice has no positive charge";
            } else if (vacancy) {
                var.kind = Kind::Vacancy;
                vacancy_ = v;
            } else if (e.m_nCharge < 0) {
                var.kind = Kind::Anion;
            } else if (e.m_nCharge == 0) {
                var.kind = Kind::Neutral;
            } else {
                problem_ = std::string("'") + e.m_szElementName + "' in the anion sublattice has a positive charge";
            }
        }
    }
    for (int i = 0; i < list.m_FktArray.m_nSize; ++i) {
        TThermFkt* f = list.m_FktArray.m_pData[i];
        if (f->m_pFktData->m_bDoSet || f->m_pFktData->m_nFktType != kTypeGibbs) continue;
        parameters_.push_back(f);
    }
    // a weight that cannot be written as a product of linear factors
    for (size_t v = 0; v < yf_.size(); ++v) yf_[v] = 0.5;
    for (TThermFkt* f : parameters_)
        if (problem_.empty() && !buildWeight(*f, yf_.data())) {
            myCString text;
            f->CopyConstituentString(text);
            problem_ = std::string("the ionic-liquid weight of the parameter on ") + text.c_str() + " is not in the model";
        }
}

bool IonicLiquidPhase::buildWeight(const TThermFkt& f, const double* yf)
{
    const TThermFktData& d = *f.m_pFktData;
    product_.clear();
    if (d.m_bDisabled || f.m_pPhase == nullptr) return true;  // W = 1 is not used for these
    // the entries' variables by sublattice; -1 for a wildcard (the constant 1)
    int list[2][10], size[2] = {0, 0};
    for (int s = 0, e = 0; s < d.m_nSublattices && s < 2; ++s)
        for (int i = 0; i < d.m_nPerSublattice[s] && e < 10; ++i, ++e) list[s][size[s]++] = d.m_nVarPos[e];
    if (d.m_nSublattices != 2) return false;
    auto rank = [&](int v) {
        if (v < 0) return 3;
        switch (vars_[static_cast<size_t>(v)].kind) {
        case Kind::Anion: return 0;
        case Kind::Vacancy: return 1;
        default: return 2;
        }
    };
    std::stable_sort(list[1], list[1] + size[1], [&](int a, int b) { return rank(a) < rank(b); });
    bool anion = false, vacancy = false;
    for (int i = 0; i < size[1]; ++i) {
        anion = anion || (list[1][i] >= 0 && vars_[static_cast<size_t>(list[1][i])].kind == Kind::Anion);
        vacancy = vacancy || (list[1][i] >= 0 && list[1][i] == vacancy_);
    }
    // without an anion, a cation and the vacancy on its partner site are one
    // (metallic) constituent of fraction y_C * y_Va
    const bool pair = !anion && vacancy && vacancy_ >= 0 && size[0] > 0;

    auto fraction = [&](int v) {
        if (v < 0) {
            product_.factor(1.0);
            return;
        }
        product_.factor(yf[v]);
        product_.term(v, 1.0);
    };
    for (int i = 0; i < size[0]; ++i) {
        fraction(list[0][i]);
        if (pair) fraction(vacancy_);
    }
    for (int i = 0; i < size[1]; ++i)
        if (!(pair && list[1][i] == vacancy_)) fraction(list[1][i]);

    const int k = d.m_nOrder;
    const bool ternaryMember = d.m_nInteractionLevel == 2 && d.m_bRegular == 0;
    if (ternaryMember) {
        const int s = size[0] == 3 ? 0 : 1;
        if (k < 0 || k > 2) return false;
        const int* m = list[s];
        if (m[0] < 0 || m[1] < 0 || m[2] < 0) return false;
        product_.factor(yf[m[k]] + (1.0 - yf[m[0]] - yf[m[1]] - yf[m[2]]) / 3.0);
        for (int i = 0; i < 3; ++i) product_.term(m[i], i == k ? 2.0 / 3.0 : -1.0 / 3.0);
    } else if (k != 0) {
        if (d.m_nInteractionLevel != 1) return false;
        bool linked = true;
        auto difference = [&](int s) {
            const int a = list[s][0], b = list[s][1];
            linked = linked && a >= 0 && b >= 0;
            if (!linked) return;
            product_.factor(yf[a] - yf[b]);
            product_.term(a, 1.0);
            product_.term(b, -1.0);
        };
        if (size[0] == 2 && size[1] == 2) {
            // reciprocal: as in the other phases, order 1 takes the cations'
            // difference, order 2 that of the second sublattice
            if (k > 2) return false;
            difference(k == 1 ? 0 : 1);
        } else {
            for (int r = 0; r < k; ++r) difference(size[0] == 2 ? 0 : 1);
        }
        if (!linked) return false;
    }
    if (!anion) {
        double Q = 0.0;
        for (int v = 0; v < n_; ++v)
            if (vars_[static_cast<size_t>(v)].kind == Kind::Cation) Q += vars_[static_cast<size_t>(v)].nu * yf[v];
        product_.factor(Q);
        for (int v = 0; v < n_; ++v)
            if (vars_[static_cast<size_t>(v)].kind == Kind::Cation) product_.term(v, vars_[static_cast<size_t>(v)].nu);
    }
    return !product_.full();
}

void IonicLiquidPhase::evaluate(const double* y, int order, double T, double R, double& G, double& atoms)
{
    const int n = n_, dim = n + 1;
    for (int v = 0; v < n; ++v) {
        const size_t u = static_cast<size_t>(v);
        yf_[u] = y[v] < kFloor ? kFloor : y[v];
        lnY_[u] = std::log(yf_[u]);
    }
    if (order >= 1) std::fill(grad_.begin(), grad_.end(), 0.0);
    if (order >= 2) std::fill(hess_.begin(), hess_.end(), 0.0);

    // parameters
    G = 0.0;
    for (TThermFkt* f : parameters_) {
        if (f->m_pFktData->m_bDisabled || f->m_pPhase == nullptr || !buildWeight(*f, yf_.data())) continue;
        G += f->m_dValue * product_.addDerivatives(f->m_dValue, f->m_dValueT, f->m_dValueTT, order, n, grad_.data(),
                                                   hess_.data());
    }

    // site numbers, ideal mixing and atoms with the exact fractions
    const double yVa = vacancy_ >= 0 ? y[vacancy_] : 0.0;
    double Q = 0.0, anionCharge = 0.0, A = 0.0, B = 0.0, cationAtoms = 0.0, otherAtoms = 0.0;
    for (int v = 0; v < n; ++v) {
        const Variable& var = vars_[static_cast<size_t>(v)];
        const double yv = y[v], yLny = yv > 0.0 ? yv * std::log(yv) : 0.0;
        if (var.kind == Kind::Cation) {
            Q += var.nu * yv;
            A += yLny;
            cationAtoms += yv * var.atoms;
        } else {
            if (var.kind == Kind::Anion) anionCharge += var.nu * yv;
            B += yLny;
            otherAtoms += yv * var.atoms;
        }
    }
    const double P = anionCharge + Q * yVa;
    const double S = P * A + Q * B;
    G += R * T * S;
    atoms = P * cationAtoms + Q * otherAtoms;
    if (order < 1) return;

    // dS/dy_v = P_v A + P A_v + Q_v B + Q B_v, with the floored logarithms
    auto Pv = [&](int v) {
        const Variable& var = vars_[static_cast<size_t>(v)];
        if (var.kind == Kind::Cation) return var.nu * yVa;
        if (var.kind == Kind::Anion) return var.nu;
        return v == vacancy_ ? Q : 0.0;
    };
    auto Qv = [&](int v) {
        const Variable& var = vars_[static_cast<size_t>(v)];
        return var.kind == Kind::Cation ? var.nu : 0.0;
    };
    auto isCation = [&](int v) { return vars_[static_cast<size_t>(v)].kind == Kind::Cation; };
    auto Av = [&](int v) { return isCation(v) ? lnY_[static_cast<size_t>(v)] + 1.0 : 0.0; };
    auto Bv = [&](int v) { return isCation(v) ? 0.0 : lnY_[static_cast<size_t>(v)] + 1.0; };
    grad_[static_cast<size_t>(n)] += R * S;
    for (int v = 0; v < n; ++v) {
        const double dS = Pv(v) * A + P * Av(v) + Qv(v) * B + Q * Bv(v);
        grad_[static_cast<size_t>(v)] += R * T * dS;
        if (order >= 2) {
            hess_[static_cast<size_t>(v * dim + n)] += R * dS;
            hess_[static_cast<size_t>(n * dim + v)] += R * dS;
        }
    }
    if (order < 2) return;
    for (int v = 0; v < n; ++v) {
        for (int w = 0; w < n; ++w) {
            // P_vw is nu_i for the pair (cation i, vacancy); A and B are diagonal
            double Pvw = 0.0;
            if (isCation(v) && w == vacancy_) Pvw = vars_[static_cast<size_t>(v)].nu;
            if (isCation(w) && v == vacancy_) Pvw = vars_[static_cast<size_t>(w)].nu;
            double d2S = Pvw * A + Pv(v) * Av(w) + Pv(w) * Av(v) + Qv(v) * Bv(w) + Qv(w) * Bv(v);
            if (v == w) d2S += (isCation(v) ? P : Q) / yf_[static_cast<size_t>(v)];
            hess_[static_cast<size_t>(v * dim + w)] += R * T * d2S;
        }
    }
}
