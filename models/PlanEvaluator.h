// Evaluation of a phase through its compiled plan (EvaluationPlan with its
// TemperatureStep), with the kernel evaluator (PhaseEvaluator) as the
// reference path: chosen on request, and taken for a phase whose parameters
// the plan does not cover -- coverage() then says which.  Same model, same
// answers to rounding, same refusals and messages as PhaseEvaluator, plus
// batches of points.
//
// Batch layout (structure of arrays, `count` points):
//   y     n * count site fractions, variable v of point p at y[v*count + p]
//   G     count values [J per mole of formula units]
//   grad  (n+1) * count: dG/dy_v at grad[v*count + p], dG/dT at grad[n*count + p]
//   hess  (n+1)(n+2)/2 * count: the packed upper triangle over (y..., T),
//         entry (r, c), r <= c, at index EvaluationPlan::packedIndex(r, c, n+1)
// grad is read with order >= 1, hess with order 2 (either may be null below
// that).  Nothing is allocated per call.
#ifndef MODELS_PLANEVALUATOR_H
#define MODELS_PLANEVALUATOR_H

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "EvaluationPlan.h"
#include "PhaseEvaluator.h"
#include "TemperatureStep.h"

class ThermDatabase;

class PlanEvaluator
{
public:
    enum class Engine { kPlan, kKernel };

    // part as for PhaseEvaluator; a partitioned phase (Part::Whole) is
    // compiled as the partitioned model, its ordered or disordered part alone
    // as a plain phase.
    PlanEvaluator(ThermDatabase& db, int phaseIndex, Engine engine = Engine::kPlan,
                  PhaseEvaluator::Part part = PhaseEvaluator::Part::Whole);

    bool evaluable() const { return kernel_->evaluable(); }
    //! As PhaseEvaluator::why: the phase's reason, a refusal, or the range refusal of the last temperature.
    const std::string& why() const;
    //! True when points go through the plan.
    bool usesPlan() const { return planned_; }
    //! Empty when the plan covers the phase (or the kernel was asked for), else "not covered: ...".
    const std::string& coverage() const { return coverage_; }

    int variableCount() const { return kernel_->variableCount(); }
    int variableSublattice(int i) const { return kernel_->variableSublattice(i); }
    const char* variableName(int i) const { return kernel_->variableName(i); }
    int findVariable(int sublattice, const std::string& name) const { return kernel_->findVariable(sublattice, name); }

    void setTemperature(double T, double P);
    bool evaluate(const double* y, int order, PhaseProperties& out);

    //! count points at the temperature of the last setTemperature (layout above).
    bool evaluateBatch(const double* y, size_t count, int order, double* G, double* grad, double* hess);
    //! count points, point p at temperature T[p] and pressure P.
    bool evaluateBatch(const double* T, double P, const double* y, size_t count, int order, double* G, double* grad,
                       double* hess);

    //! Moles of atoms per mole of formula units at the fractions y[v * stride] (plan path).
    double atoms(const double* y, size_t stride) const;

    //! Heap bytes of the plan and its temperature step (0 on the kernel path).
    size_t planBytes() const
    {
        return planned_ ? plan_.bytes() + step_.bytes() +
                              (blockY_.capacity() + blockG_.capacity() + blockGrad_.capacity() + blockHess_.capacity()) * sizeof(double)
                        : 0;
    }
    const TemperatureStep& temperatureStep() const { return step_; }
    //! Test-only access, for breaking the plan on purpose.
    EvaluationPlan& planForTest() { return plan_; }

private:
    void build();
    bool stale() const;
    //! The argument checks of EvaluationRefusal; false with why_ set.
    bool checkCall(const void* y, int order);
    bool stepTo(double T, double P, int lane = -1);
    bool runBlock(const double* T, const double* y, size_t count, size_t p0, size_t b, int order, double* G,
                  double* grad, double* hess);
    void scatterKernel(int order, size_t count, size_t p, double* G, double* grad, double* hess) const;

    ThermDatabase& db_;
    int phaseIndex_;
    Engine engine_;
    PhaseEvaluator::Part part_;
    std::unique_ptr<PhaseEvaluator> kernel_;
    EvaluationPlan plan_;
    TemperatureStep step_;
    bool planned_ = false;
    std::string coverage_;
    int functionCount_ = 0;   //!< size of the parameter list the plan was built from
    int n_ = 0;
    double T_ = 0.0, P_ = 0.0;
    bool temperatureSet_ = false;
    std::string rangeWhy_;    //!< the kernel's range refusal of the current temperature
    std::string why_;
    EvaluationPlan::Point point_;    //!< scratch of one point
    PhaseProperties kernelPoint_;    //!< scratch of the kernel path in batches
    std::vector<double> atomsPerVariable_;  //!< atoms per formula unit for a unit fraction of each variable
    std::vector<double> yPoint_;     //!< scratch: one point's fractions gathered for the kernel path
    static constexpr size_t kBlock = EvaluationPlan::kLanes;  //!< points of a batch evaluated side by side
    std::vector<double> blockY_, blockG_, blockGrad_, blockHess_;  //!< scratch of one block
};

#endif
