// Contributions of a phase computed from sums of property parameters, per
// mole of formula units, as newer assessments use them:
//   Einstein lattice term   from the THETA parameters (EinsteinTerm),
//   two-state liquid term   from the GD parameters    (TwoStateTerm),
//   magnetic term with Curie and Neel temperatures (XiongMagnetic) from the
//   TC, NT and BMAGN parameters, when the phase's magnetic type definition
//   has the antiferromagnetic factor 0.
// Each term is present when the phase has at least one parameter of its type
// (the magnetic term when the type definition selects it), whatever the
// composition; THETA, GD and NT are user-named parameter types (codes of
// 10000 and above, recognised by their keyword).
//
// evaluate() gives the sum of the terms with its gradient and Hessian over
// (y_0 .. y_{n-1}, T), T at index n, at the temperature of the last
// temperature step and the site fractions the parameters are linked to.
// Nothing is allocated after construction.
#ifndef MODELS_PROPERTYTERMS_H
#define MODELS_PROPERTYTERMS_H

#include <string>
#include <vector>

#include "ParameterSum.h"
#include "SumComposition.h"

class CVxDataMgr;
class CVxPhase;
class TThermFkt;
class TThermFktMgr;

class PropertyTerms
{
public:
    //! Parameter types whose keyword makes them part of these terms.
    static bool isModelKeyword(const std::string& upperKeyword);

    // The sum a parameter of the phase's regular set belongs to (kNone for
    // the others): THETA, GD, and with the magnetic model of Curie and Neel
    // temperatures its BMAGN, TC and NT.
    enum Sum { kNone = -1, kTheta = 0, kGd = 1, kBeta = 2, kCurie = 3, kNeel = 4 };
    static Sum sumOf(const CVxPhase& phase, const CVxDataMgr& dm, const TThermFkt& f);
    //! The phase's magnetic term is the Curie-Neel model's.
    static bool curieNeel(const CVxPhase& phase);

    // Takes the regular-set parameters of list (the phase's) over n variables.
    PropertyTerms(const CVxPhase& phase, const CVxDataMgr& dm, const TThermFktMgr& list, int n);

    bool empty() const { return !einstein_ && !twoState_ && !xiong_; }
    //! The phase's magnetic term is this model's, not the classic one.
    bool replacesClassicMagnetism() const { return xiong_; }
    //! True when f is one of the parameters the terms read.
    bool reads(const TThermFkt* f) const;

    void evaluate(double T, double R, int order);
    double value() const { return value_; }
    const double* gradient() const { return grad_.data(); }  //!< n + 1 values
    const double* hessian() const { return hess_.data(); }   //!< (n + 1)^2 values, row-major

private:
    int n_;
    double p_ = 0.0;  //!< magnetic structure factor
    bool einstein_ = false, twoState_ = false, xiong_ = false;
    ParameterSum theta_, gd_, tc_, nt_, beta_;
    SumPartials partials_;
    double value_ = 0.0;
    std::vector<double> grad_, hess_;
};

#endif
