// The eval command: a phase on a grid of temperatures x compositions, each
// point written as soon as it is computed.
#include "cli/Commands.h"
#include "cli/EvalWriter.h"
#include "cli/Progress.h"
#include "cli/Text.h"
#include "database/ThermDatabase.h"
#include "models/PlanEvaluator.h"

namespace thermfn {

namespace {
// --ordered-part-only: a partitioned phase without its disordered part.
PhaseEvaluator::Part PartOf(const Options& opts)
{
    return opts.orderedPartOnly ? PhaseEvaluator::Part::OrderedOnly : PhaseEvaluator::Part::Whole;
}
}  // namespace

EvalResults prepareGrid(ThermDatabase& db, const Options& opts)
{
    const int index = requirePhase(db, opts.phase);
    const CVxPhase& phase = *db.phases[index].phase;
    PhaseEvaluator evaluator(db, index, PartOf(opts));
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
    return r;
}

size_t streamGrid(ThermDatabase& db, const Options& opts, const EvalResults& layout, EvalWriter& writer,
                  std::ostream& out, std::ostream& err)
{
    PlanEvaluator evaluator(db, db.findPhase(layout.phase),
                            opts.engine == Engine::Kernel ? PlanEvaluator::Engine::kKernel : PlanEvaluator::Engine::kPlan,
                            PartOf(opts));
    if (!evaluator.coverage().empty())
        err << "thermfn: note: phase " << layout.phase << ": " << evaluator.coverage()
            << "; evaluated by the kernel path\n";
    // Points go out in the order of the output (a block per composition), each
    // with its own temperature step, so that nothing of the grid is kept: the
    // memory is that of one point whatever the grid's size.
    const size_t total = layout.compositions.size() * opts.temperatures.size();
    ProgressBar progress(total);
    PhaseProperties props;
    size_t done = 0, refused = 0;
    constexpr size_t kReasonsShown = 100;
    writer.begin();
    for (size_t c = 0; c < layout.compositions.size(); ++c) {
        for (double T : opts.temperatures) {
            evaluator.setTemperature(T, opts.pressure);
            if (evaluator.evaluate(layout.compositions[c].data(), 2, props)) {
                writer.point(c, props);
            } else {
                writer.refused(c, T, opts.pressure, evaluator.why());
                if (++refused <= kReasonsShown)
                    err << "thermfn: " << layout.phase << " at " << temperature(T) << " K, composition " << c + 1
                        << ": refused: " << evaluator.why() << '\n';
            }
            progress.update(++done);
            if (!out) return refused;  // the caller reports the failed write
        }
    }
    writer.end();
    progress.finish();
    if (refused > kReasonsShown)
        err << "thermfn: ... and " << refused - kReasonsShown << " more refused points (each is in the output)\n";
    return refused;
}

}  // namespace thermfn
