// A contribution F(s_1, ..., s_k, T) that depends on the composition only
// through parameter sums s_i(y, T) (ln theta, Delta G_d, TC, NT, beta, ...):
// its derivatives over (y_0 .. y_{n-1}, T) by the chain rule,
//   dF/dx_r       = sum_i F_i s_i,r + F_T [r = T]
//   d2F/dx_r dx_c = sum_i F_i s_i,rc + sum_ij F_ij s_i,r s_j,c
//                   + sum_i F_iT (s_i,r [c = T] + s_i,c [r = T]) + F_TT [r = T][c = T]
// where s_i,r already holds the sum's own temperature dependence at r = T.
#ifndef MODELS_SUMCOMPOSITION_H
#define MODELS_SUMCOMPOSITION_H

class ParameterSum;

//! F and its partials in (s_1 .. s_k, T): index i < k for s_i, index k for T.
struct SumPartials
{
    static constexpr int kMaxSums = 3;
    static constexpr int kDim = kMaxSums + 1;
    int sums = 0;                 //!< k
    double value = 0.0;           //!< F
    double first[kDim] = {};      //!< dF/ds_i, then dF/dT
    double second[kDim][kDim] = {};  //!< symmetric second partials, same indexing

    //! Zeroes everything for k sums.
    void reset(int k);
};

// Adds F's value, and for order >= 1 its gradient, for order >= 2 its Hessian
// over (y.., T) (dimension n + 1, row-major, T last), using the sums' own
// gradients and Hessians (evaluated at the same order).
void AddSumComposition(const SumPartials& F, const ParameterSum* const* sums, int order, int n, double& value,
                       double* grad, double* hess);

#endif
