// The argument checks both phase evaluators (PhaseEvaluator and PlanEvaluator)
// make before computing a point, so that both refuse the same calls with the
// same words.
#ifndef MODELS_EVALUATIONREFUSAL_H
#define MODELS_EVALUATIONREFUSAL_H

struct EvaluationCall
{
    int order = 0;                   //!< derivative order asked for
    const void* y = nullptr;         //!< the site fractions given
    int variableCount = 0;           //!< variables of the phase when the evaluator was built
    bool temperatureSet = false;     //!< a temperature step has run
    bool variablesChanged = false;   //!< the phase's variables differ from those at construction
    bool parametersChanged = false;  //!< the phase's parameter list differs from that at construction
};

// Why the call cannot go ahead, or nullptr when it can.
const char* evaluationRefusal(const EvaluationCall& call);

#endif
