#include "ParameterSum.h"

#include <algorithm>

#include "thermfunctions/TThermFkt.h"

ParameterSum::ParameterSum(int n)
    : n_(n), grad_(static_cast<size_t>(n + 1), 0.0), hess_(static_cast<size_t>((n + 1) * (n + 1)), 0.0)
{
}

bool ParameterSum::buildWeight(const TThermFkt& f)
{
    const TThermFktData& d = *f.m_pFktData;
    const int n = std::min(d.m_nConstituents, 10), k = d.m_nOrder;
    const int p = d.m_nInteractPos[0], q = d.m_nInteractPos[1];
    const int* a = d.m_nVarPos;
    auto y = [&](int e) { return *f.m_pY[e]; };
    auto linear = [&](int e, double coef) {
        if (a[e] >= 0) product_.term(a[e], coef);
    };
    auto difference = [&](int first) {
        product_.factor(y(first) - y(first + 1));
        linear(first, 1.0);
        linear(first + 1, -1.0);
    };

    product_.clear();
    for (int e = 0; e < n; ++e) {
        product_.factor(y(e));
        linear(e, 1.0);
    }
    const bool ternaryMember = d.m_nInteractionLevel == 2 && d.m_bRegular == 0;
    if (ternaryMember) {
        if (p < 0 || p + 2 >= n || k < 0 || k > 2) return false;
        product_.factor(y(p + k) + (1.0 - y(p) - y(p + 1) - y(p + 2)) / 3.0);
        for (int e = p; e <= p + 2; ++e) linear(e, e == p + k ? 2.0 / 3.0 : -1.0 / 3.0);
    } else if (k != 0) {
        if (d.m_nInteractionLevel != 1 || p < 0 || p + 1 >= n) return false;
        if (q >= 0 && q + 1 < n && (k == 1 || k == 2)) {
            difference(k == 1 ? p : q);  // reciprocal: the field's weight
        } else {
            for (int r = 0; r < k; ++r) difference(p);
        }
    }
    return !product_.full();
}

void ParameterSum::evaluate(int order)
{
    value_ = 0.0;
    if (order >= 1) std::fill(grad_.begin(), grad_.end(), 0.0);
    if (order >= 2) std::fill(hess_.begin(), hess_.end(), 0.0);
    for (TThermFkt* f : parameters_) {
        f->m_dAktVal_F = 0.0;
        if (f->m_pFktData->m_bDisabled || f->m_pPhase == nullptr || !buildWeight(*f)) continue;
        const double W =
            product_.addDerivatives(f->m_dValue, f->m_dValueT, f->m_dValueTT, order, n_, grad_.data(), hess_.data());
        f->m_dAktVal_F = f->m_dValue * W;  // the value it contributes, as the kernel would show it
        value_ += f->m_dAktVal_F;
    }
}
