#include "EvaluationRefusal.h"

const char* evaluationRefusal(const EvaluationCall& call)
{
    if (call.order < 0 || call.order > 2) return "derivative order must be 0, 1 or 2";
    if (call.y == nullptr && call.variableCount > 0) return "no site fractions given";
    if (!call.temperatureSet) return "setTemperature has not been called";
    if (call.variablesChanged) return "the phase's variables changed after the evaluator was built";
    if (call.parametersChanged) return "the phase's parameter list changed after the evaluator was built";
    return nullptr;
}
