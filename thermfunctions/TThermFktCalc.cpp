// Composition-dependent evaluation: the function's value times its site-
// fraction factor, with first and second derivatives in the site fractions
// and temperature added into the phase's result arrays.
#include <cmath>

#include "TThermFkt.h"
#include "host/CVxGibbs.h"
#include "host/CVxPhase.h"

namespace {

enum Family { kR0, kR1, kRk, kTernary };

// The arrays one function adds into, chosen by its set and type.
struct Targets
{
    myCArray<double, double>* pGrad = nullptr;  // null: no derivatives for this type
    CVxMatrix* pHess = nullptr;
    CVxMatrix* pHessGT = nullptr;               // only Gibbs-energy terms (G, IS)
};

Targets ChooseTargets(CVxPhase* ph, int nType, bool bDo)
{
    Targets t;
    switch (nType) {
    case 0:
    case 3:
        t.pGrad = bDo ? &ph->m_do_GradG : &ph->m_GradG;
        t.pHess = bDo ? &ph->m_do_HessG : &ph->m_HessG;
        t.pHessGT = bDo ? &ph->m_do_HessGT : &ph->m_HessGT;
        break;
    case 10:
        t.pGrad = bDo ? &ph->m_do_GradTC : &ph->m_GradTC;
        t.pHess = bDo ? &ph->m_do_HessTC : &ph->m_HessTC;
        break;
    case 20:
        t.pGrad = bDo ? &ph->m_do_GradBMAGN : &ph->m_GradBMAGN;
        t.pHess = bDo ? &ph->m_do_HessBMAGN : &ph->m_HessBMAGN;
        break;
    case 5:
        t.pGrad = bDo ? &ph->m_do_GradG : &ph->m_GradG;
        t.pHess = bDo ? &ph->m_do_HessG : &ph->m_HessG;
        break;
    default: break;
    }
    return t;
}

}  // namespace

int TThermFkt::Calc(int nDeriv, double dFactor)
{
    if (m_pPhase == nullptr) return 0;
    TThermFktData* d = m_pFktData;
    if (d->m_bDisabled) {
        m_dAktVal_F = 0.0;
        return 1;
    }
    m_dValue *= dFactor;
    m_dValueT *= dFactor;
    m_dValueTT *= dFactor;
    m_dValueTTT *= dFactor;
    const bool bDo = d->m_bDoSet != 0;
    double* const* y = bDo ? m_pDoY : m_pY;
    m_dAktVal_F = 0.0;

    CVxPhase* ph = m_pPhase;
    const int n = d->m_nConstituents;
    const int k = d->m_nOrder;
    const int p = d->m_nInteractPos[0];
    const int q = d->m_nInteractPos[1];
    const int T = ph->m_nTPos;
    const int* a = d->m_nVarPos;
    const int nType = d->m_nFktType;

    // composition quantities
    double d1 = 0.0, d2 = 1.0, w = 0.0;
    if (d->m_nInteractionLevel == 1) {
        d1 = *y[p] - *y[p + 1];
        if (q >= 0) d2 = *y[q] - *y[q + 1];
    }
    const bool bTernary = d->m_nInteractionLevel == 2 && d->m_bRegular == 0;
    if (bTernary) w = ((1.0 - *y[p] - *y[p + 1] - *y[p + 2]) / 3.0) + *y[p + k];
    double P = 1.0;
    for (int e = 0; e < n; ++e) P *= *y[e];
    if (nType == 3) P *= std::pow(ph->m_dISBase, ph->m_dISExponent);
    auto delta = [p](int e) { return e == p ? 1.0 : (e == p + 1 ? -1.0 : 0.0); };
    auto eps = [p, k](int e) {
        if (e == p + k) return 0.6666666666666667;
        if (e == p || e == p + 1 || e == p + 2) return -0.3333333333333333;
        return 0.0;
    };
    // The derivative formulas test the regular flag alone (a record that is
    // non-regular at another level takes the ternary form with w = 0).
    const Family fam = d->m_bRegular == 0 ? kTernary : (k == 0 ? kR0 : (k == 1 ? kR1 : kRk));

    // First derivative of the composition factor for entry e and of its
    // temperature weight, for a Redlich-Kister power kk (the cross terms of the
    // second derivatives use the stored order, the gradient the effective one).
    auto dFactor_dy = [&](int e, int kk) {
        switch (fam) {
        case kR0: return P / *y[e];
        case kR1: return delta(e) * P + (P / *y[e]) * d1;
        case kRk: return (P / *y[e]) * Pot(d1, kk) + kk * Pot(d1, kk - 1) * P * delta(e);
        default: return (P / *y[e]) * w + P * eps(e);
        }
    };
    auto tWeight = [&](int kk) {
        switch (fam) {
        case kR0: return P;
        case kR1: return d1 * P;
        case kRk: return Pot(d1, kk) * P;
        default: return w * P;
        }
    };

    const double G0 = m_dValue;  // second derivatives use G before the sign rule
    int kEff = k;
    // The rule is the phase's Gibbs model's, not that of the Gibbs object the
    // function was linked with (linking may be given another one).
    const CVxGibbs* pModel = ph->m_pGibbsModel;
    if (fam == kRk && k >= 8 && pModel != nullptr && pModel->m_bShiftedOrders) {
        kEff = k - 8;
        if (kEff % 2 == 0 && m_dValue < 0.0) m_dValue = -m_dValue;
    }
    const Targets tg = ChooseTargets(ph, nType, bDo);
    const bool bYDerivs = tg.pGrad != nullptr && nType != 5;

    if (nDeriv == 2) {
        if (bYDerivs) {
            CVxMatrix& H = *tg.pHess;
            const double G = G0, GT = m_dValueT;
            for (int i = 0; i < n; ++i) {
                if (a[i] < 0) continue;
                for (int j = (fam == kR0 ? i + 1 : i); j < n; ++j) {
                    if (a[j] < 0) continue;
                    double h;
                    const double yi = *y[i], yj = *y[j];
                    if (i != j) {
                        switch (fam) {
                        case kR0: h = P / (yi * yj); break;
                        case kR1: h = (P / yi) * delta(j) + (P / yj) * delta(i) + d1 * P / (yi * yj); break;
                        case kRk:
                            h = Pot(d1, k) * P / (yi * yj) +
                                k * Pot(d1, k - 1) * ((P / yi) * delta(j) + (P / yj) * delta(i)) +
                                k * (k - 1) * Pot(d1, k - 2) * P * delta(i) * delta(j);
                            break;
                        default: h = (P / yi) * eps(j) + (P / yj) * eps(i) + w * P / (yi * yj); break;
                        }
                    } else {
                        switch (fam) {
                        case kR1: h = delta(i) * P / yi; break;
                        case kRk:
                            h = 0.5 * (2.0 * k * Pot(d1, k - 1) * (P / yi) * delta(i) +
                                       k * (k - 1) * Pot(d1, k - 2) * P * delta(i) * delta(i));
                            break;
                        default: h = eps(i) * P / yi; break;
                        }
                    }
                    H(a[i], a[j]) += G * h;
                    H(a[j], a[i]) += G * h;
                    if (tg.pHessGT != nullptr) {
                        (*tg.pHessGT)(a[i], a[j]) += GT * h;
                        (*tg.pHessGT)(a[j], a[i]) += GT * h;
                    }
                }
            }
            for (int e = 0; e < n; ++e) {
                if (a[e] < 0) continue;
                const double c = dFactor_dy(e, k);
                H(a[e], T) += c * GT;
                H(T, a[e]) += c * GT;
            }
            const double s = tWeight(k);
            H(T, T) += s * m_dValueTT;
            H(T + 1, T + 1) += s * m_dValueTTT;
        } else if (nType == 5) {
            (*tg.pHess)(T, T) += m_dValueTT / ph->m_dSEDivisor;
            (*tg.pHess)(T + 1, T + 1) += m_dValueTTT / ph->m_dSEDivisor;
        }
    }
    if (nDeriv == 1 || nDeriv == 2) {
        const double G = m_dValue;  // after the sign rule
        const double t = tWeight(kEff);
        if (bYDerivs) {
            myCArray<double, double>& grad = *tg.pGrad;
            for (int e = 0; e < n; ++e) {
                if (a[e] < 0) continue;
                const double g = dFactor_dy(e, kEff);
                grad.ElementAt(a[e]) += g * G;
            }
            grad.ElementAt(T) += t * m_dValueT;
        } else if (nType == 5) {
            tg.pGrad->ElementAt(T) += m_dValueT / ph->m_dSEDivisor;
        } else if (nType >= 10000 && d->m_nSpeciesIndex >= 0) {
            ph->m_SpeciesDT.ElementAt(d->m_nSpeciesIndex) += t * m_dValueT;
        }
    }
    if (nDeriv >= 0 && nDeriv <= 2) {
        const double G = m_dValue;
        if (bTernary)
            m_dAktVal_F = P * w * G;
        else if (k == 1)
            m_dAktVal_F = P * d1 * d2 * G;
        else if (k == 2)
            m_dAktVal_F = P * d1 * d1 * d2 * d2 * G;
        else if (k == 0)
            m_dAktVal_F = P * G;
        else
            m_dAktVal_F = Pot(d1, kEff) * P * G;
    }
    m_dValue *= dFactor;
    m_dValueT *= dFactor;
    m_dValueTT *= dFactor;
    m_dValueTTT *= dFactor;
    return 0;
}
