// Compiles a phase's bound parameter list into an evaluation plan and its
// temperature step.  Takes exactly the parameters the kernel evaluator sums
// (regular set, and the do_ set of a partitioned phase; types G/L, TC/BMAGN
// with a magnetic model, and the property sums of the Einstein, two-state
// and Curie-Neel terms; not disabled) with the kernel's weighting of each
// shape.  A parameter whose shape the
// plan does not reproduce is reported, and the phase is then evaluated by the
// kernel path.
#ifndef MODELS_PLANBUILDER_H
#define MODELS_PLANBUILDER_H

#include <string>

class ThermDatabase;
class EvaluationPlan;
class TemperatureStep;
struct PhasePartition;

class PlanBuilder
{
public:
    // Returns an empty string when the whole phase is covered, otherwise
    // "not covered: <what>" (plan and step are then unusable).  With a
    // partition, the phase is compiled as the partitioned model of its pair.
    static std::string build(ThermDatabase& db, int phaseIndex, EvaluationPlan& plan, TemperatureStep& step,
                             const PhasePartition* partition = nullptr);
};

#endif
