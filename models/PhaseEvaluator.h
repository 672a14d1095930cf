// Gibbs energy of one phase of a loaded database, with its derivatives in the
// site fractions and temperature, and the molar quantities per mole of atoms.
//
// Model (per mole of formula units of the phase):
//   G = sum of the Gibbs-energy parameters (type "G"/"L", weighted by the kernel)
//     + R*T * sum_s a_s sum_i y_si*ln(y_si)           (vacancies included)
//     + R*T * ln(beta' + 1) * g(T / TC')              (magnetic phases only)
// with R = PhaseEvaluator::kGasConstant for both the ideal and the magnetic
// term; TC and beta are the sums of the TC and BMAGN parameters, divided by the
// phase's antiferromagnetic factor where they are negative.
//
// Per mole of atoms: N = sum_s a_s sum_{i != VA} y_si * (atoms of species i),
// GM = G/N, SM = -dGM/dT, HM = GM + T*SM, CPM = -T*d2GM/dT2.  A composition
// of vacancies only (N = 0) gives non-finite molar quantities.
//
// Site-fraction derivatives treat every site fraction as an independent
// variable, with no constraint sum_i y_si = 1; a wildcard constituent of a
// parameter is the constant 1 (not the sum of its sublattice's fractions).
// Other tools writing the same energy differently agree with these numbers in
// values and in derivatives projected onto sum_i y_si = 1.
//
// Reciprocal parameters of order k = 1 or 2 (interactions in two sublattices,
// e.g. L(P,A,B:C,D;k), each pair sorted by name by the reader).  As the field
// weights them, order 1 is prod(y) * (yA - yB) and order 2 prod(y) * (yC - yD);
// higher orders are refused by the reader.  The kernel's own weighting
// (prod(y) * (yA - yB)^k * (yC - yD)^k) is left as it is: for these the
// evaluator forms the value and the site-fraction and temperature derivatives
// itself, into the same phase arrays (including d/dT of the site-fraction
// block and the third temperature derivative).
//
// Site fractions of zero.  The kernel's parameter derivatives divide the
// site-fraction product by single fractions, so for the parameter terms every
// fraction below kSiteFractionFloor is raised to it: the quotient then stays
// exact to rounding and the values change by about kSiteFractionFloor * G.
// The ideal-mixing value uses the exact fractions (0*ln 0 = 0); its
// derivatives R*T*a_s*(ln y + 1) and R*T*a_s/y use the raised fraction, so
// that they stay finite (large, as the true limits are infinite).
//
// Which functions count: those of the regular set with type code 0 (G and
// interaction parameters) into G, 10 (TC) and 20 (BMAGN) into the magnetic
// sums when the phase has a magnetic model.  THETA, GD and NT parameters, and
// TC and BMAGN under a magnetic type definition of factor 0, make the
// Einstein, two-state and Curie-Neel magnetic terms of PropertyTerms, which
// are added to G with their derivatives.  Interaction parameters of the
// kernel's type 1 carry a value without derivatives and do-set parameters
// count only for a partitioned phase (below); type 1 is left out.
//
// Temperature ranges.  The kernel gives a function whose ranges do not cover T
// the value 0, silently.  setTemperature therefore follows every parameter of
// the model and, through the pieces in use at T, every symbol function they
// read (also through other symbols); if one of them has pieces but none
// covering T, evaluate() refuses, and why() names the function and its ranges.
// A symbol read only by a piece of another temperature range does not count.
//
// Partitioned phases.  A phase with a disordered part (model code 10, its do_
// set holding the disordered phase's parameters) evaluates through the same
// calls: the parameter sums G, TC and beta are those of PartitionedPhase.h,
// ideal mixing is over the phase's own y, and the magnetic term comes from the
// partitioned TC and beta with the phase's magnetic model (the disordered
// phase's when the ordered one has none), multiplied like the disordered part
// by the disordered formula units per ordered formula unit (1 in the usual
// site ratios).  Part::OrderedOnly evaluates the ordered phase's own
// parameters only, as if it had no disordered part.
//
// Calling order: setTemperature(T, P) runs the kernel's temperature step (power
// table, symbol functions, the phase's parameter list); evaluate() then takes
// any number of compositions at that temperature.  setTemperature must be
// called again whenever another evaluator (or anything else) has run a
// temperature step in between, since the power table and the symbol values are
// shared by the whole database.
#ifndef MODELS_PHASEEVALUATOR_H
#define MODELS_PHASEEVALUATOR_H

#include <memory>
#include <string>
#include <vector>

#include "thermfunctions/TMagnFkt.h"

class IonicLiquidPhase;
class PropertyTerms;
class ThermDatabase;
class CVxGibbs;
class CVxPhase;
class PartitionedPhase;
class TThermFkt;
class TThermFktMgr;

//! Results of one composition at one temperature and pressure.
struct PhaseProperties
{
    double T = 0.0;       //!< temperature [K]
    double P = 0.0;       //!< pressure [Pa]
    double G = 0.0;       //!< Gibbs energy [J per mole of formula units]
    double dG_dT = 0.0;   //!< dG/dT [J/K per mole of formula units]          (order >= 1)
    double d2G_dT2 = 0.0; //!< d2G/dT2 [J/K^2 per mole of formula units]      (order >= 2)
    //! dG/dy per site-fraction variable, in the phase's variable order [J per mole of formula units] (order >= 1)
    std::vector<double> dG_dy;
    //! (n+1)x(n+1) second derivatives, row-major, variables then T last (order >= 2)
    std::vector<double> hessian;
    double atoms = 0.0;   //!< N: moles of atoms per mole of formula units
    double GM = 0.0;      //!< Gibbs energy [J per mole of atoms]
    double SM = 0.0;      //!< entropy [J/K per mole of atoms]                 (order >= 1)
    double HM = 0.0;      //!< enthalpy [J per mole of atoms]                  (order >= 1)
    double CPM = 0.0;     //!< heat capacity [J/K per mole of atoms]           (order >= 2)
};

class PhaseEvaluator
{
public:
    //! Gas constant of the ideal-mixing and magnetic terms [J/(mol K)]
    static constexpr double kGasConstant = 8.3145;
    //! Site fractions below this are raised to it for the parameter terms only
    static constexpr double kSiteFractionFloor = 1e-30;

    //! What of a partitioned phase to evaluate (other phases ignore it).
    enum class Part { Whole, OrderedOnly };

    // Binds to phase number phaseIndex of db (which must outlive the evaluator).
    PhaseEvaluator(ThermDatabase& db, int phaseIndex, Part part = Part::Whole);
    ~PhaseEvaluator();
    PhaseEvaluator(const PhaseEvaluator&) = delete;
    PhaseEvaluator& operator=(const PhaseEvaluator&) = delete;

    //! True when the phase evaluates with its disordered part.
    bool partitioned() const { return partitioned_ != nullptr; }
    //! The parameters whose temperature ranges decide whether T can be
    //! evaluated (what the range check of setTemperature follows).
    const std::vector<TThermFkt*>& modelParameters() const { return modelParameters_; }

    //! False when the reader marked the phase not evaluable, or while a name the
    //! phase reads has no definition and no value; why() gives the reason.
    bool evaluable() const;
    //! The phase's reason when it is not evaluable; else the reason of the last
    //! refusal of evaluate(), or after setTemperature the reason why T cannot be
    //! evaluated (a function's temperature ranges); empty when there is none.
    const std::string& why() const;

    //! Number of site-fraction variables n (regular set).
    int variableCount() const;
    //! Sublattice and constituent name of variable i.
    int variableSublattice(int i) const;
    const char* variableName(int i) const;
    //! Index of the variable for constituent name in sublattice s, -1 when absent.
    int findVariable(int sublattice, const std::string& name) const;

    // Temperature step: TK, symbol functions (on demand), the phase's list;
    // then the check that the functions in use cover T (see above).
    void setTemperature(double T, double P);

    // One composition (y in variable order, n values) at the temperature of the
    // last setTemperature.  order 0: G, GM; 1: also dG_dT, dG_dy, SM, HM;
    // 2: also d2G_dT2, hessian, CPM; quantities above the requested order are
    // set to NaN (the vectors are sized at every order).  Reuses out's
    // vectors: once they have their size, nothing is allocated.  Returns false
    // (with why()) for a phase that is not evaluable, a null y, an order
    // outside 0..2, no temperature set yet, a phase whose variables or
    // parameter list changed since the evaluator was built, or a temperature
    // outside the ranges of a function in use.
    bool evaluate(const double* y, int order, PhaseProperties& out);

private:
    void checkTemperatureRanges();
    //! evaluate() of a two-sublattice ionic liquid (IonicLiquidPhase)
    bool evaluateIonicLiquid(const double* y, int order, PhaseProperties& out);
    // Sums the parameters of one set (regular or do_) into that set's result
    // arrays at the phase's site fractions; returns the G sum, the TC and beta
    // sums through the arguments.
    double sumParameters(bool doSet, int order, double& TC, double& beta);

    ThermDatabase& db_;     //!< the database (symbol list, phases)
    CVxPhase* phase_;       //!< the phase (owned by db_), null for an unknown index
    CVxGibbs* gibbs_;       //!< its Gibbs model (constituent names and atoms)
    TThermFktMgr* list_;    //!< its parameter list
    int phaseIndex_;        //!< position of the phase in db_.phases
    int n_ = 0;             //!< number of site-fraction variables at construction
    double T_ = 0.0;        //!< temperature of the last setTemperature [K]
    double P_ = 0.0;        //!< pressure of the last setTemperature [Pa]
    bool temperatureSet_ = false;  //!< a temperature step has run
    TMagnFkt magnetic_;     //!< g(tau) of the phase's structure factor (dimensionless)
    bool magneticModel_ = false;   //!< the phase has a magnetic term (structure factor > 0)
    double afm_ = -1.0;     //!< divisor of negative TC and beta sums; 1 when the database's factor is 0
    std::vector<double> atomsPerVariable_;    //!< atoms per species at each variable position [-]
    std::vector<double> sitesPerVariable_;    //!< sites of its sublattice per formula unit, per variable
    std::vector<int> sublatticeOfVariable_;   //!< sublattice index of each variable
    std::vector<int> constituentOfVariable_;  //!< Gibbs-model index of each variable
    // Scratch of evaluate, sized in the constructor so that evaluate does not
    // allocate: ln of the raised site fractions (n values), and over
    // (y..., T) the gradients of TC' [K], beta' [-], g [-] and ln(beta'+1) [-].
    std::vector<double> lnY_, dTC_, dBeta_, dg_, dLn_;
    int functionCount_ = 0;             //!< size of the parameter list at construction
    //! per parameter of the list: a reciprocal term of order 1 or 2 whose value and derivatives are formed here
    std::vector<unsigned char> reciprocal_;
    //! the parameters that make up the model (regular set, types summed by evaluate)
    std::vector<TThermFkt*> modelParameters_;
    //! scratch of the range check: symbols already looked at, and those still to follow
    std::vector<unsigned char> symbolSeen_;
    std::vector<int> symbolStack_;
    //! Einstein, two-state and Curie-Neel magnetic terms (empty when the phase has none)
    std::unique_ptr<PropertyTerms> terms_;
    //! the ionic-liquid model of a phase of that type, else null
    std::unique_ptr<IonicLiquidPhase> ionic_;
    //! symbol positions of the names without a definition that the phase reads (set by the user or not)
    std::vector<int> freeSymbols_;
    mutable std::string freeWhy_;  //!< why evaluable() is false for a name without a value
    std::string rangeWhy_;  //!< why T is outside a range of a function in use; empty when covered
    std::string why_;       //!< reason of the last refusal other than a not-evaluable phase
    std::unique_ptr<PartitionedPhase> partitioned_;  //!< the partitioned model; null for other phases
    std::string partitionWhy_;  //!< why a phase with a disordered part cannot be partitioned; empty otherwise
    double magneticScale_ = 1.0;  //!< formula units of the magnetic model per formula unit of the phase
};

#endif
