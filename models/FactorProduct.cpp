#include "FactorProduct.h"

double FactorProduct::value() const
{
    double w = 1.0;
    for (int j = 0; j < factors_; ++j) w *= value_[j];
    return w;
}

double FactorProduct::addDerivatives(double G, double GT, double GTT, int order, int n, double* grad, double* hess)
{
    const int m = factors_;
    pre_[0] = 1.0;
    for (int j = 0; j < m; ++j) pre_[j + 1] = pre_[j] * value_[j];
    suf_[m] = 1.0;
    for (int j = m - 1; j >= 0; --j) suf_[j] = suf_[j + 1] * value_[j];
    const double W = pre_[m];
    if (order < 1) return W;

    const int dim = n + 1;
    for (int j = 0; j < m; ++j) {
        const double others = pre_[j] * suf_[j + 1];
        for (int t = begin_[j]; t < begin_[j + 1]; ++t) {
            const double d = coef_[t] * others;
            grad[var_[t]] += G * d;
            if (order >= 2) {
                hess[var_[t] * dim + n] += GT * d;
                hess[n * dim + var_[t]] += GT * d;
            }
        }
    }
    grad[n] += GT * W;
    if (order < 2) return W;
    hess[n * dim + n] += GTT * W;

    // Each unordered pair of factors stands for both orders (j, l) and (l, j).
    for (int j = 0; j < m; ++j) {
        if (begin_[j] == begin_[j + 1]) continue;
        double between = 1.0;  // the factors strictly between j and l
        for (int l = j + 1; l < m; ++l) {
            const double rest = pre_[j] * between * suf_[l + 1];
            between *= value_[l];
            for (int s = begin_[j]; s < begin_[j + 1]; ++s) {
                for (int t = begin_[l]; t < begin_[l + 1]; ++t) {
                    const double h = G * coef_[s] * coef_[t] * rest;
                    hess[var_[s] * dim + var_[t]] += h;
                    hess[var_[t] * dim + var_[s]] += h;
                }
            }
        }
    }
    return W;
}
