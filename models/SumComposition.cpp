#include "SumComposition.h"

#include "ParameterSum.h"

void SumPartials::reset(int k)
{
    sums = k;
    value = 0.0;
    for (int i = 0; i < kDim; ++i) {
        first[i] = 0.0;
        for (int j = 0; j < kDim; ++j) second[i][j] = 0.0;
    }
}

void AddSumComposition(const SumPartials& F, const ParameterSum* const* sums, int order, int n, double& value,
                       double* grad, double* hess)
{
    value += F.value;
    if (order < 1) return;
    const int k = F.sums, dim = n + 1;
    for (int r = 0; r < dim; ++r) {
        double g = r == n ? F.first[k] : 0.0;
        for (int i = 0; i < k; ++i) g += F.first[i] * sums[i]->gradient()[r];
        grad[r] += g;
    }
    if (order < 2) return;
    for (int r = 0; r < dim; ++r) {
        for (int c = r; c < dim; ++c) {
            const bool rT = r == n, cT = c == n;
            double h = rT && cT ? F.second[k][k] : 0.0;
            for (int i = 0; i < k; ++i) {
                const double sir = sums[i]->gradient()[r], sic = sums[i]->gradient()[c];
                h += F.first[i] * sums[i]->hessian()[r * dim + c];
                for (int j = 0; j < k; ++j) h += F.second[i][j] * sir * sums[j]->gradient()[c];
                h += F.second[i][k] * ((cT ? sir : 0.0) + (rT ? sic : 0.0));
            }
            hess[r * dim + c] += h;
            if (c != r) hess[c * dim + r] += h;
        }
    }
}
