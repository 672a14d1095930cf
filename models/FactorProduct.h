// Product of factors that are each linear in the site fractions, with its
// first and second derivatives.
//
// The composition weight of a model parameter is such a product: the site
// fractions of its constituents, Redlich-Kister differences (y_A - y_B),
// Muggianu's v_k = y_k + (1 - y_A - y_B - y_C)/3, and for the ionic liquid the
// site number Q = sum_i nu_i*y_i.  For W = prod_j f_j with f_j = c_j + sum_t a_jt*y_t:
//   dW/dy_v       = sum_j (sum_t a_jt [t = v]) * prod_{l != j} f_l
//   d2W/dy_v dy_w = sum_{j != l} a_jv * a_lw * prod_{m != j, l} f_m
// The products leaving out one or two factors come from prefix and suffix
// products, so nothing is divided by a site fraction and a fraction of 0
// gives the exact limit.
//
// Capacity is fixed (kMaxFactors factors, kMaxTerms linear terms in all) so
// that building and differentiating a product allocates nothing; full()
// tells when a factor or term did not fit.
#ifndef MODELS_FACTORPRODUCT_H
#define MODELS_FACTORPRODUCT_H

class FactorProduct
{
public:
    static constexpr int kMaxFactors = 32;
    static constexpr int kMaxTerms = 256;

    //! Starts an empty product (W = 1).
    void clear()
    {
        factors_ = 0;
        terms_ = 0;
        full_ = false;
        begin_[0] = 0;
    }
    //! Appends a factor with its current value; its terms follow with term().
    void factor(double value)
    {
        if (factors_ >= kMaxFactors) {
            full_ = true;
            return;
        }
        value_[factors_] = value;
        ++factors_;
        begin_[factors_] = terms_;
    }
    //! Adds coef * y_variable to the last factor's linear part (variable >= 0).
    void term(int variable, double coef)
    {
        if (factors_ == 0 || terms_ >= kMaxTerms) {
            full_ = true;
            return;
        }
        var_[terms_] = variable;
        coef_[terms_] = coef;
        ++terms_;
        begin_[factors_] = terms_;
    }
    bool full() const { return full_; }
    int factorCount() const { return factors_; }

    //! W, the product of the factor values.
    double value() const;

    // For F = G(T) * W(y), adds over the variables (y_0 .. y_{n-1}, T), T at
    // index n, row-major hess of dimension n + 1:
    //   order >= 1: grad[v] += G * dW/dy_v, grad[n] += GT * W;
    //   order >= 2: hess[v][w] += G * d2W, hess[v][n] = hess[n][v] += GT * dW/dy_v,
    //               hess[n][n] += GTT * W.
    // Returns W.  Variables must lie in 0 .. n-1.
    double addDerivatives(double G, double GT, double GTT, int order, int n, double* grad, double* hess);

private:
    int factors_ = 0;
    int terms_ = 0;
    bool full_ = false;
    double value_[kMaxFactors];
    int begin_[kMaxFactors + 1] = {0};  //!< terms of factor j: begin_[j] .. begin_[j+1]-1
    int var_[kMaxTerms];
    double coef_[kMaxTerms];
    double pre_[kMaxFactors + 1], suf_[kMaxFactors + 1];
};

#endif
