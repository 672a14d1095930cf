// Two-sublattice ionic liquid (C_i^{+nu_i})_P (A_j^{-nu_j}, Va, B_k^0)_Q, the
// model of M. Hillert, B. Jansson, B. Sundman and J. Agren, Metall. Trans. A 16
// (1985) 261-266, with the modification of B. Sundman, Calphad 15 (1991)
// 109-119 (neutrals and the vacancy weighted by Q).  Per mole of formula units:
//
//   Q = sum_i nu_i y_Ci,   P = sum_j nu_j y_Aj + Q y_Va   (the site numbers
//   that keep the phase neutral; nu the absolute charges of the species)
//   G = sum_i sum_j y_Ci y_Aj G_Ci:Aj + Q (y_Va sum_i y_Ci G_Ci:Va + sum_k y_Bk G_Bk)
//     + R T [P sum_i y_Ci ln y_Ci + Q (sum_j y_Aj ln y_Aj + y_Va ln y_Va + sum_k y_Bk ln y_Bk)]
//     + excess terms
//   N = P * sum_i y_Ci (atoms of C_i) + Q * sum_j y_j (atoms of anion or neutral j)
//
// Weights of the parameters (the excess terms as Sundman 1991 writes them).
// A parameter with an anion among its constituents is weighted as in any
// compound-energy phase: the product of its site fractions, times
// Redlich-Kister differences or Muggianu's ternary term.  A parameter without
// an anion (only the vacancy and neutrals in the second sublattice) is
// multiplied by Q, and where it holds the vacancy each cation forms one
// constituent with it, of fraction y_C * y_Va (the vacancy is not counted
// again):  G_C:Va -> Q y_C y_Va,  L_C1,C2:Va -> Q y_C1 y_C2 y_Va^2,
// L_C:Va,B -> Q y_C y_Va y_B,  G_B -> Q y_B,  L_B1,B2 -> Q y_B1 y_B2.  The
// differences and Muggianu terms take the site fractions themselves, so
// L_C1,C2:Va;k is weighted by Q y_C1 y_C2 y_Va^2 (y_C1 - y_C2)^k.  (The open
// tool of the field counts y_Va once more in the interactions of cations
// over the vacancy and scales their differences by y_Va; both forms reduce
// to the metallic liquid where y_Va = 1.)  Parameters written for the second
// sublattice only (neutrals: G(LIQ,S;0)) reach this model with a wildcard for
// the cations, expanded into one parameter per cation, so that their sum is
// weighted by (sum_i y_Ci) y_S Q, which is y_S Q wherever the cation
// fractions sum to 1.  In the second sublattice the differences take anions
// before the vacancy and the vacancy before neutrals.
//
// Derivatives: every site fraction is an independent variable (P and Q
// included), over (y_0 .. y_{n-1}, T).  Fractions below the floor are raised
// to it in the parameter weights and the derivatives of the ideal term, as in
// the other phase models; the ideal value takes the exact fractions.
#ifndef MODELS_IONICLIQUIDPHASE_H
#define MODELS_IONICLIQUIDPHASE_H

#include <string>
#include <vector>

#include "FactorProduct.h"

class CVxPhase;
class CVxGibbs;
class TThermFkt;
class TThermFktMgr;

class IonicLiquidPhase
{
public:
    //! CVxPhase::m_nModelType of a two-sublattice ionic liquid
    static constexpr int kModelType = 20;

    // The phase's regular-set parameters of type G over its n variables.
    IonicLiquidPhase(CVxPhase& phase, CVxGibbs& gibbs, TThermFktMgr& list, int n);

    //! Empty when the model can evaluate the phase; otherwise why not.
    const std::string& problem() const { return problem_; }

    // G [J per mole of formula units] and N [atoms per formula unit] at y (n
    // fractions, exact) and the temperature of the list's last temperature
    // step; order >= 1 fills gradient(), order >= 2 hessian().
    void evaluate(const double* y, int order, double T, double R, double& G, double& atoms);

    const double* gradient() const { return grad_.data(); }  //!< n + 1 values, T last
    const double* hessian() const { return hess_.data(); }   //!< (n + 1)^2 values, row-major

private:
    enum class Kind { Cation, Anion, Vacancy, Neutral };
    struct Variable
    {
        Kind kind;
        double nu;     //!< absolute charge
        double atoms;  //!< atoms per species
    };
    // Writes the weight of f into product_ at the floored fractions yf.
    bool buildWeight(const TThermFkt& f, const double* yf);

    int n_;
    int vacancy_ = -1;  //!< variable of the vacancy, -1 when the phase has none
    std::vector<Variable> vars_;
    std::vector<TThermFkt*> parameters_;
    std::vector<double> yf_, lnY_, grad_, hess_;
    FactorProduct product_;
    std::string problem_;
};

#endif
