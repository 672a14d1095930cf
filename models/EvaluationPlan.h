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
// over those.  Series and Muggianu groups run through kernels specialised
// by their entry count, whether they have a pair, and the derivative order.
//
// An order-disorder partitioned phase is the ordered parameter set over y,
// the same set again at the disordered arrangement y -> x, and the
// disordered part's set over x (PartitionedPhase.h has the model and its
// chain rule); ideal mixing and the one magnetic term are the plain model's.
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

    // What a group adds to: G, TC or beta of the phase's own parameters over
    // its fractions y, or (a partitioned phase) of its disordered part's over x.
    // The property sums of the Einstein, two-state and Curie-Neel terms
    // follow: THETA, GD, BMAGN, TC, NT (in PropertyTerms' order).
    enum Target : uint8_t { kGibbs = 0, kCurie = 1, kMoment = 2, kDisorderedGibbs = 3, kDisorderedCurie = 4,
                            kDisorderedMoment = 5, kFirstPropertySum = 6 };
    static constexpr int kPropertySums = 5;
    static constexpr int kTargets = kFirstPropertySum + kPropertySums;
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
        sumCoefficients(coef_, parameter);
        temperatureChanged();
    }

    // Blocks of kLanes points, lane j of variable v at y[v*kLanes + j]; G[j],
    // grad[r*kLanes + j], hess[k*kLanes + j] (k the packed index).  Each lane
    // is at the temperature of the last setTemperature, or at its own after
    // setLaneTemperature.  The arithmetic of a lane is the point's, operation
    // for operation, so a block gives the point results bit for bit; the
    // lanes only let the compiler run the points side by side.  Not for a
    // partitioned phase or one with property terms (blockable() false),
    // which go point by point.
    // 16: the fixed work of a group (its offsets, pointers, coefficients'
    // addresses) spread over more points than 8 take, while a block's arrays
    // stay within the first-level cache for all but the largest phases.
    static constexpr int kLanes = 16;
    bool blockable() const { return !partitioned_ && !propertyTerms_; }
    template <class Values>
    void setLaneTemperature(int lane, double T, Values parameter)
    {
        // summed contiguously, as setTemperature does, then spread into the lane
        const size_t L = kLanes, j = static_cast<size_t>(lane);
        sumCoefficients(laneSum_, parameter);
        for (size_t c = 0; c < laneSum_.size(); ++c) laneCoef_[c * L + j] = laneSum_[c];
        laneT_[j] = T;
        laneInvT_[j] = 1.0 / T;
        laneRT_[j] = kGasConstant * T;
        lanesCurrent_ = true;
    }
    void evaluateBlock(const double* y, int order, double* G, double* grad, double* hess);

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
    // Gibbs-energy group (of the disordered part's, for a partitioned phase)
    // to the next entry; kDropSeriesCoefficient drops the
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
        std::vector<double> grad;     //!< n + 1 (times kLanes for the magnetic spaces)
        std::vector<double> hess;     //!< packed (n+1)(n+2)/2 (likewise)
    };

    void temperatureChanged();
    template <class Values>
    void sumCoefficients(std::vector<double>& coef, Values parameter) const
    {
        for (double& c : coef) c = 0.0;
        for (const Contribution& k : contributions_) {
            const double* v = parameter(k.parameter);
            double* c = &coef[3 * static_cast<size_t>(k.coef)];
            c[0] += k.weight * v[0];
            c[1] += k.weight * v[1];
            c[2] += k.weight * v[2];
        }
    }
    // The block kernels exist twice: for the baseline instruction set and,
    // where the compiler can target it, for AVX2 (EvaluationPlanAvx2.cpp),
    // taken when the processor has it (PlanInstructionSet.h).  Both do the
    // same operations in the same order, without contraction into fused
    // multiply-adds, so they give the same bits.
    enum class Isa : uint8_t { kBaseline, kAvx2 };
    // Temperatures and coefficients of the lanes a kernel runs over: one
    // lane (a point) or kLanes.
    struct LaneState
    {
        const double* T;
        const double* invT;
        const double* RT;
        const double* coef;  //!< value, dT, dTT of coefficient c in lane j at coef[(3c + d)*lanes + j]
    };
    template <Isa I>
    void evaluateLaneBlock(const LaneState& at, const double* y, int order, double* G, double* grad, double* hess);
    void evaluateBlockAvx2(const LaneState& at, const double* y, int order, double* G, double* grad, double* hess);
    template <Isa I, int Order, int L>
    void evaluateLanes(const LaneState& at, const double* y, size_t stride, double* G, double* grad, double* hess);
    template <Isa I, int Order, int L>
    void evaluateGroups(Target target, const double* coef, const double* y, size_t stride, double* value,
                        double* grad, double* hess, int tIndex, size_t ttOffset) const;
    template <Isa I, int Order, int M, bool Paired, int L>
    void evaluateSeries(const Group& g, const double* __restrict coef, const double* __restrict y, size_t stride,
                        double* __restrict value, double* __restrict grad, double* __restrict hess, int tIndex,
                        size_t ttOffset) const;
    template <Isa I, int Order, int M, int A, int B, int L>
    void evaluatePairedSeries(const Group& g, const double* __restrict coef, const double* __restrict y, size_t stride,
                              double* __restrict value, double* __restrict grad, double* __restrict hess, int tIndex,
                              size_t ttOffset) const;
    template <Isa I, int Order, int M, int L>
    void evaluateMuggianu(const Group& g, const double* __restrict coef, const double* __restrict y, size_t stride,
                          double* __restrict value, double* __restrict grad, double* __restrict hess, int tIndex,
                          size_t ttOffset) const;
    void evaluateGroup(const Group& g, const double* c, size_t cs, const double* y, size_t stride, int order,
                       double& value, double* grad, double* hess, size_t os, int tIndex, size_t ttOffset) const;
    template <Isa I, int Order, int L>
    void addMagnetic(const LaneState& at, const double* __restrict TC, const double* __restrict beta,
                     double* __restrict G, double* __restrict grad, double* __restrict hess);
    template <int Order>
    void addPropertyTerms(const double* y, size_t stride, double* G, double* grad, double* hess);
    template <int Order>
    void addPartitioned(const double* y, size_t stride, double* sums, double* grad, double* hess);

    int n_ = 0;
    double T_ = 0.0;
    std::vector<Group> groups_;         //!< by target: Gibbs, Curie, moment
    int targetBegin_[kTargets + 1] = {};  //!< first group of each target, then the end
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
    std::vector<double> magScratch_;    //!< scratch of the magnetic chain rule: 4 * (m+1) * kLanes
    std::vector<uint32_t> magOffset_;   //!< packed offset in the phase's Hessian of each packed magnetic entry
    // of the current temperature
    double RT_ = 0.0, invT_ = 0.0;
    std::vector<double> Ra_;            //!< R*a_v of each variable
    // the lanes of a block: temperature, 1/T, R*T, coefficients; current
    // unless a new setTemperature has to be copied into every lane
    std::vector<double> laneCoef_;
    std::vector<double> laneSum_;       //!< scratch: one lane's coefficients, summed before they are spread
    double laneT_[kLanes] = {}, laneInvT_[kLanes] = {}, laneRT_[kLanes] = {};
    bool lanesCurrent_ = false;
    double lnFloor_ = 0.0;              //!< ln of the floor
    double magR_ = kGasConstant;        //!< R times the disordered formula units per formula unit (partitioned)

    // Partitioned (order-disorder) phase: G_ord(y) - G_ord(y -> x) + scale *
    // G_dis(x), TC and beta likewise unscaled, x_g = sum over the ordered
    // variables v of g of w_v y_v (see PartitionedPhase.h).  The ordered
    // parameters' TC and beta spaces are then over all n variables.
    bool partitioned_ = false;
    int nd_ = 0;                        //!< disordered variables
    double scale_ = 1.0;
    std::vector<int> group_;            //!< disordered variable of each ordered one
    std::vector<double> weight_;        //!< dx_g/dy_v
    std::vector<double> x_, yx_;        //!< scratch: x, and the y -> x arrangement over the ordered variables
    Space atX_[3];                      //!< scratch: the ordered parameters at y -> x (G, TC, beta), over n
    Space disordered_[3];               //!< scratch: the disordered parameters at x, over nd
    std::vector<double> eGrad_, eHess_; //!< scratch: one quantity's partitioned part over x, gradient and dense Hessian

    // Einstein, two-state and Curie-Neel terms (PropertyTerms.h): each a
    // function of property sums, each sum over all n variables.
    bool propertyTerms_ = false;
    bool einstein_ = false, twoState_ = false, curieNeel_ = false;
    Space propertySums_[kPropertySums];
};

#endif
