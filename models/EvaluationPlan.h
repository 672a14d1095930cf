// The compiled evaluation plan of a phase: the same model as the kernel
// evaluator (parameters weighted by site fractions, ideal mixing, the
// magnetic term; see PhaseEvaluator.h for the model and its conventions),
// laid out for evaluation point after point.
//
// Parameters are grouped by their site-fraction product P = prod y (over the
// constituent entries) and their difference variables: a group is
//   P * S(d1, d2),   d1 = yA - yB, d2 = yC - yD   (Redlich-Kister, reciprocal)
// with S a polynomial whose coefficients are sums of parameter values at the
// current temperature -- a binary series summed in Horner form -- or
//   P * (c0 + cA*yA + cB*yB + cC*yC)               (Muggianu ternary)
// where the c's collect the three ternary parameters.  Derivatives of P come
// from prefix and suffix products (nothing is divided by a site fraction, so
// a fraction of exactly 0 gives the exact limit), and every group adds into
// the gradient and the upper triangle of the Hessian at offsets fixed when
// the plan was built.  TC and BMAGN groups add into spaces of their own over
// only the variables that occur in them, so the magnetic chain rule runs
// over those.
//
// Gradient and Hessian are over (y_0 ... y_(n-1), T); the Hessian is kept as
// its packed upper triangle, entry (r, c), r <= c, at r*dim - r*(r-1)/2 + c - r.
// Energies are per mole of formula units of the phase.
#ifndef MODELS_EVALUATIONPLAN_H
#define MODELS_EVALUATIONPLAN_H

#include <cstddef>
#include <cstdint>
#include <vector>

class EvaluationPlan
{
public:
    //! Gas constant of the ideal-mixing and magnetic terms [J/(mol K)] (the evaluator's)
    static constexpr double kGasConstant = 8.3145;
    //! Floor of the ideal-mixing derivatives (the evaluator's)
    static constexpr double kSiteFractionFloor = 1e-30;

    enum Target : uint8_t { kGibbs = 0, kCurie = 1, kMoment = 2 };
    enum Shape : uint8_t {
        kSeries,     //!< S = sum_k c_k d1^k (k = 0 only when there is no pair), Horner form
        kBivariate,  //!< S = sum_j c_j d1^i_j d2^k_j
        kMuggianu    //!< S = c0 + sum over the three ternary members c_m y_m
    };

    // Results of one point: G, gradient over (y..., T), packed Hessian.
    struct Point
    {
        double G = 0.0;
        std::vector<double> grad;  //!< dim values
        std::vector<double> hess;  //!< dim*(dim+1)/2 values
    };

    int variableCount() const { return n_; }
    int dimension() const { return n_ + 1; }
    size_t packedSize() const { return static_cast<size_t>(dimension()) * static_cast<size_t>(dimension() + 1) / 2; }
    static size_t packedIndex(int r, int c, int dim)
    {
        return static_cast<size_t>(r) * static_cast<size_t>(dim) - static_cast<size_t>(r) * static_cast<size_t>(r - 1) / 2 +
               static_cast<size_t>(c - r);
    }

    // Takes the parameter values of the current temperature (value, dT, dTT
    // per parameter, as root(i) of the temperature step gives them) into the
    // coefficients of the groups.
    template <class Values>
    void setTemperature(double T, Values parameter)
    {
        T_ = T;
        for (double& c : coef_) c = 0.0;
        for (const Contribution& k : contributions_) {
            const double* v = parameter(k.parameter);
            double* c = &coef_[3 * static_cast<size_t>(k.coef)];
            c[0] += k.weight * v[0];
            c[1] += k.weight * v[1];
            c[2] += k.weight * v[2];
        }
        temperatureChanged();
    }

    // One point at the temperature of the last setTemperature: y[v * stride]
    // is site fraction v.  order 0: G; 1: also grad; 2: also hess.  Writes
    // *G, grad[0 .. dim) and the packed hess[0 .. packedSize()), each
    // contiguous (the batch transposes blocks of points into its arrays).
    void evaluate(const double* y, size_t stride, int order, double* G, double* grad, double* hess);
    void evaluate(const double* y, size_t stride, int order, Point& out)
    {
        evaluate(y, stride, order, &out.G, out.grad.data(), out.hess.data());
    }
    void prepare(Point& out) const;

    //! Heap bytes the plan holds (tables and scratch).
    size_t bytes() const;
    int groupCount() const { return static_cast<int>(groups_.size()); }

    // Test-only: breaks the plan on purpose, so that the exactness checks can
    // show they notice.  kShiftHessianOffset moves one Hessian offset of a
    // Gibbs-energy group to the next entry; kDropSeriesCoefficient drops the
    // highest coefficient of the first series of order >= 1.  Returns false
    // when the plan has nothing to break that way.
    enum Perturbation { kShiftHessianOffset, kDropSeriesCoefficient };
    bool perturbForTest(Perturbation p);

private:
    friend class PlanBuilder;

    struct Group
    {
        Target target;
        Shape shape;
        uint8_t factors;     //!< m: entries of P
        uint8_t directions;  //!< entries of P along which S varies (0..4)
        int degree;          //!< kSeries: highest power of d1
        int factorBegin;     //!< into factorVar_ (target-local variable of each entry) and factorGrad_
        int pairBegin;       //!< into pairOffset_: m*(m+1)/2 packed target offsets (i <= j), then m (i, T)
        int coefBegin;       //!< into coef_ (3 values each) and, for kBivariate, powers_
        int coefCount;
        int direction[4];    //!< entry of P of each direction
        int8_t e1[4], e2[4]; //!< coefficient of the direction's variable in d1 and d2
    };
    struct Contribution
    {
        int coef;       //!< coefficient the parameter adds to
        int parameter;  //!< root of the temperature step
        double weight;  //!< +-1 for a series, +-1 or 1/3-style weights for Muggianu
    };
    // One target space: its variables' global indices, gradient and packed Hessian.
    struct Space
    {
        int n = 0;                    //!< variables (T is local index n)
        std::vector<int> global;      //!< global variable of each local one
        std::vector<double> grad;     //!< n + 1
        std::vector<double> hess;     //!< packed (n+1)(n+2)/2
    };

    void temperatureChanged();
    template <int Order>
    void evaluateAt(const double* y, size_t stride, double* G, double* grad, double* hess);
    template <int Order>
    void evaluateGroups(Target target, const double* y, size_t stride, double& value, double* grad, double* hess,
                        int tIndex, size_t ttOffset);
    template <int Order, int M>
    void evaluateSeries(const Group& g, const double* y, size_t stride, double& value, double* grad, double* hess,
                        int tIndex, size_t ttOffset) const;
    void evaluateGroup(const Group& g, const double* y, size_t stride, int order, double& value, double* grad,
                       double* hess, int tIndex, size_t ttOffset) const;
    template <int Order>
    void addMagnetic(double TC, double beta, double* G, double* grad, double* hess);

    int n_ = 0;
    double T_ = 0.0;
    std::vector<Group> groups_;         //!< by target: Gibbs, Curie, moment
    int targetBegin_[4] = {0, 0, 0, 0}; //!< first group of each target, then the end
    std::vector<int> factorVar_;        //!< global variable of each entry of P
    std::vector<int> factorLocal_;      //!< its index in the group's target space
    std::vector<uint32_t> pairOffset_;  //!< packed offsets in the target space
    std::vector<double> coef_;          //!< 3 per coefficient: at T, d/dT, d2/dT2
    std::vector<int8_t> powers_;        //!< kBivariate: 2 per coefficient (power of d1, of d2)
    std::vector<Contribution> contributions_;
    std::vector<double> sites_;         //!< a_s of each variable's sublattice
    Space spaces_[3];
    bool magnetic_ = false;
    double afm_ = -1.0;                 //!< divisor of negative TC and beta sums
    double structureP_ = 0.0;           //!< structure factor p
    double below_[4] = {0, 0, 0, 0};    //!< g coefficients of tau^-1, tau^3, tau^9, tau^15
    double above_[3] = {0, 0, 0};       //!< g coefficients of tau^-5, tau^-15, tau^-25
    std::vector<double> magScratch_;    //!< scratch of the magnetic chain rule: 4 * (m+1)
    std::vector<uint32_t> magOffset_;   //!< packed offset in the phase's Hessian of each packed magnetic entry
    // of the current temperature
    double RT_ = 0.0, invT_ = 0.0;
    std::vector<double> RTa_, Ra_;      //!< R*T*a_v and R*a_v of each variable
    double lnFloor_ = 0.0;              //!< ln of the floor
};

#endif
