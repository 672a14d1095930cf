// The parameter terms of an order-disorder partitioned phase (model code 10):
//   G  = G_ord(y) - G_ord(y -> x) + scale * G_dis(x)
//   TC = TC_ord(y) - TC_ord(y -> x) + TC_dis(x),   beta likewise,
// per mole of formula units of the ordered phase, where x are the disordered
// phase's site fractions formed from y (PhasePartition.h), G_dis(x) its
// parameters, which the ordered phase carries as its do_ set, and
// G_ord(y -> x) the ordered phase's own parameters with every substitutional
// sublattice set to x, so that the ordering energy vanishes for a disordered
// arrangement.  Ideal mixing (over y) and the magnetic term (from the totals
// TC and beta) are the plain model's; PhaseEvaluator adds them.
//
// Derivatives.  x is linear in y: every ordered variable v belongs to one
// disordered variable g(v) (its constituent in the disordered first
// sublattice, or its interstitial twin) with weight w_v = a_s / sum a_s (1 for
// interstitials), x_g = sum_{v in g} w_v y_v, and in the y -> x arrangement
// each ordered variable u takes the value x_g(u).  So the chain rule has no
// second-derivative terms:
//   dG/dy_v        = dG_ord/dy_v + w_v E_g(v)
//   d2G/dy_v dy_w  = d2G_ord/dy_v dy_w + w_v w_w E_g(v)g(w)
// with E = scale * (derivatives of G_dis over x) - (derivatives of
// G_ord(y -> x) summed over the ordered variables of each group); likewise
// in T.  The work is done in the space of the disordered variables and
// added into the phase's regular result arrays, where the plain model reads
// its parameter sums.
//
// Site fractions: the caller puts the raised fractions (PhaseEvaluator's
// floor) in the phase's regular fractions; x and the y -> x arrangement are
// formed from them and raised to the same floor.  Nothing is allocated per
// point.
#ifndef MODELS_PARTITIONEDPHASE_H
#define MODELS_PARTITIONEDPHASE_H

#include <string>
#include <vector>

#include "database/PhasePartition.h"

class CVxPhase;
class ThermDatabase;

class PartitionedPhase
{
public:
    // The partitioned model of ordered phase number `partition.ordered` of db;
    // ok() false (with why()) when a variable has no place in the do_ set.
    PartitionedPhase(ThermDatabase& db, const PhasePartition& partition, double floor);

    bool ok() const { return why_.empty(); }
    const std::string& why() const { return why_; }
    //! disordered formula units per ordered formula unit
    double scale() const { return partition_.scale; }
    //! disordered-variable count, the weight and disordered variable of ordered variable v
    int disorderedCount() const { return nd_; }
    double weight(int v) const { return weight_[static_cast<size_t>(v)]; }
    int group(int v) const { return group_[static_cast<size_t>(v)]; }

    // Sums the partitioned parameter terms at the regular fractions of the
    // phase (left as they were).  sumSet(doSet, TC, beta) must zero nothing,
    // sum the parameters of one set into the phase's result arrays of that set
    // and return the G sum (TC and beta sums through its arguments).  Leaves
    // the derivatives of G, TC and beta in the regular result arrays and
    // returns G; TC and beta are the partitioned totals.
    template <class SumSet>
    double sum(int order, bool magnetic, SumSet&& sumSet, double& TC, double& beta)
    {
        double tc = 0.0, b = 0.0;
        setDisorderedArrangement();
        zeroResults();
        const double gAtX = sumSet(false, tc, b);
        takeOrderedAtX(order, magnetic, gAtX, tc, b);
        zeroResults();
        tc = b = 0.0;
        const double gDis = sumSet(true, tc, b);
        takeDisordered(order, magnetic, gDis, tc, b);
        restoreOrdered();
        zeroResults();
        TC = beta = 0.0;
        const double g = sumSet(false, TC, beta);
        return addInto(order, magnetic, g, TC, beta);
    }

private:
    // One quantity (G, TC or beta) in the disordered variables, T last.
    struct Space
    {
        double value = 0.0;
        std::vector<double> grad;  //!< nd + 1
        std::vector<double> hess;  //!< (nd + 1)^2, row-major
    };

    void zeroResults();
    void setDisorderedArrangement();
    void restoreOrdered();
    void takeOrderedAtX(int order, bool magnetic, double g, double tc, double beta);
    void takeDisordered(int order, bool magnetic, double g, double tc, double beta);
    double addInto(int order, bool magnetic, double g, double& tc, double& beta);

    CVxPhase& phase_;
    PhasePartition partition_;
    double floor_;
    int n_ = 0;                    //!< ordered (regular) variables
    int nd_ = 0;                   //!< disordered (do_) variables
    std::vector<int> group_;       //!< do_ variable of each ordered variable
    std::vector<double> weight_;   //!< dx_g(v)/dy_v
    std::vector<double> y_;        //!< the regular fractions while the y -> x arrangement is set
    std::vector<double> x_;        //!< x (raised), nd values
    Space space_[3];               //!< G, TC, beta
    std::string why_;
};

#endif
