// The eval command: a phase on a grid of temperatures x compositions.
#include "cli/Commands.h"
#include "cli/Progress.h"
#include "cli/Text.h"
#include "database/ThermDatabase.h"

namespace thermfn {


EvalResults computeGrid(ThermDatabase& db, const Options& opts)
{
    const int index = requirePhase(db, opts.phase);
    const CVxPhase& phase = *db.phases[index].phase;
    PhaseEvaluator evaluator(db, index);
    if (!evaluator.evaluable())
        throw CliError(kExitFailure, std::string("phase ") + phase.m_szPhaseName + " cannot be evaluated: " +
                                         evaluator.why());

    EvalResults r;
    r.phase = phase.m_szPhaseName;
    r.sublatticeCount = phase.m_nSublatticeCount;
    std::vector<std::vector<std::string>> constituents(static_cast<size_t>(r.sublatticeCount));
    for (int i = 0; i < evaluator.variableCount(); ++i) {
        VariableLabel v{evaluator.variableSublattice(i), evaluator.variableName(i)};
        constituents.at(static_cast<size_t>(v.sublattice)).push_back(v.name);
        r.variables.push_back(v);
    }
    for (const CompositionSpec& spec : opts.compositions)
        r.compositions.push_back(resolveComposition(spec, r.phase, constituents));

    // Results are stored composition by composition (the order of the output,
    // a block per composition reads best) but computed temperature by
    // temperature, since the temperature step is the expensive part and
    // serves every composition.
    const size_t temperatures = opts.temperatures.size();
    const size_t total = r.compositions.size() * temperatures;
    r.points.resize(total);
    ProgressBar progress(total);
    size_t done = 0;
    for (size_t t = 0; t < temperatures; ++t) {
        const double T = opts.temperatures[t];
        evaluator.setTemperature(T, opts.pressure);
        for (size_t c = 0; c < r.compositions.size(); ++c) {
            EvalPoint& point = r.points[c * temperatures + t];
            point.composition = c;
            if (!evaluator.evaluate(r.compositions[c].data(), 2, point.props))
                throw CliError(kExitFailure, "evaluation of " + r.phase + " at " + formatNumber("%g", T) +
                                                 " K failed: " + evaluator.why());
            progress.update(++done);
        }
    }
    progress.finish();
    return r;
}

}  // namespace thermfn
