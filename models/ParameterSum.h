// The composition-weighted sum S(y, T) = sum_f G_f(T) * W_f(y) of a phase's
// parameters of one type (THETA, GD, NT, TC, BMAGN, ...), with its gradient
// and Hessian over (y_0 .. y_{n-1}, T), T at index n.
//
// The weights are those of the phase's Gibbs-energy and TC parameters: the
// kernel's (TThermFkt::Calc), except for reciprocal parameters of order 1
// and 2, which take the field's weight as in PhaseEvaluator.  Each weight is
// written as a product of linear factors (FactorProduct): the site fractions
// of the parameter's constituents (a wildcard is the constant 1); for a
// binary interaction of order k the k differences (y_A - y_B); for a
// reciprocal parameter of order 1 the difference of its first interacting
// sublattice, of order 2 that of its second; for a ternary interaction with
// orders Muggianu's y_k + (1 - y_A - y_B - y_C)/3.  The weights the kernel
// makes 0 (an order on an end member or on a ternary taken as regular) are
// left out.  Value and derivatives come from the same product.
//
// The site fractions are those the parameters are linked to (the phase's
// variables), set by the caller before evaluate().
#ifndef MODELS_PARAMETERSUM_H
#define MODELS_PARAMETERSUM_H

#include <vector>

#include "FactorProduct.h"

class TThermFkt;

class ParameterSum
{
public:
    //! Sum over n site-fraction variables; sizes the results (no allocation later).
    explicit ParameterSum(int n = 0);

    void add(TThermFkt* f) { parameters_.push_back(f); }
    bool empty() const { return parameters_.empty(); }
    const std::vector<TThermFkt*>& parameters() const { return parameters_; }

    // Sums the parameters at the temperature of the last temperature step of
    // their list.  order 0: value; 1: also gradient; 2: also Hessian.
    void evaluate(int order);

    double value() const { return value_; }
    //! dS/dx_r, r = 0..n (n: temperature)
    const double* gradient() const { return grad_.data(); }
    //! d2S/dx_r dx_c at r*(n+1)+c
    const double* hessian() const { return hess_.data(); }
    int variables() const { return n_; }

private:
    // Writes the weight of f as factors into product_; false when the kernel
    // weights f by 0 at every composition.
    bool buildWeight(const TThermFkt& f);

    int n_;
    std::vector<TThermFkt*> parameters_;
    double value_ = 0.0;
    std::vector<double> grad_, hess_;
    FactorProduct product_;
};

#endif
