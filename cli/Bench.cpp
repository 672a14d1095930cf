// The bench command: what a phase costs per point on this machine.  Seeded
// random interior compositions (every fraction above 0, each sublattice
// summing to 1), evaluated as one batch at one temperature or with a
// temperature per point, timed with a steady clock and repeated until the
// measurement spans at least a fifth of a second.
#include <chrono>
#include <ostream>
#include <random>
#include <vector>

#include "cli/Commands.h"
#include "cli/Text.h"
#include "database/ThermDatabase.h"
#include "models/PlanEvaluator.h"

namespace thermfn {

namespace {
constexpr double kDefaultBenchT = 1000.0;  // K
constexpr double kMinSeconds = 0.2;
}  // namespace

void runBench(ThermDatabase& db, const Options& opts, std::ostream& out, std::ostream& err)
{
    const int index = requirePhase(db, opts.phase);
    const CVxPhase& phase = *db.phases[static_cast<size_t>(index)].phase;
    const bool kernelPath = opts.engine == Engine::Kernel;
    PlanEvaluator ev(db, index, kernelPath ? PlanEvaluator::Engine::kKernel : PlanEvaluator::Engine::kPlan);
    if (!ev.evaluable())
        throw CliError(kExitFailure, std::string("phase ") + phase.m_szPhaseName + " cannot be evaluated: " + ev.why());
    if (!ev.coverage().empty())
        err << "thermfn: note: phase " << phase.m_szPhaseName << ": " << ev.coverage()
            << "; evaluated by the kernel path\n";

    const double T = opts.temperatures.empty() ? kDefaultBenchT : opts.temperatures[0];
    if (opts.varyT)
        checkTemperatureLimits({opts.varyLow, opts.varyHigh}, db.defaultTLow, db.defaultTHigh);
    else
        checkTemperatureLimits({T}, db.defaultTLow, db.defaultTHigh);

    const size_t count = opts.benchPoints;
    const int n = ev.variableCount(), dim = n + 1;
    std::mt19937_64 rng(20261123);
    std::uniform_real_distribution<double> u(0.05, 1.0);
    std::vector<double> y(static_cast<size_t>(n) * count), temperatures(opts.varyT ? count : 0);
    for (size_t p = 0; p < count; ++p) {
        for (int v = 0; v < n; ++v) y[static_cast<size_t>(v) * count + p] = u(rng);
        if (opts.varyT) temperatures[p] = opts.varyLow + (opts.varyHigh - opts.varyLow) * (u(rng) - 0.05) / 0.95;
    }
    // each sublattice to 1
    std::vector<double> sums(static_cast<size_t>(dim));
    for (size_t p = 0; p < count; ++p) {
        std::fill(sums.begin(), sums.end(), 0.0);
        for (int v = 0; v < n; ++v) sums[static_cast<size_t>(ev.variableSublattice(v))] += y[static_cast<size_t>(v) * count + p];
        for (int v = 0; v < n; ++v) y[static_cast<size_t>(v) * count + p] /= sums[static_cast<size_t>(ev.variableSublattice(v))];
    }
    const int order = opts.benchOrder;
    std::vector<double> G(count), grad(order >= 1 ? static_cast<size_t>(dim) * count : 0),
        hess(order >= 2 ? static_cast<size_t>(dim) * static_cast<size_t>(dim + 1) / 2 * count : 0);

    auto once = [&]() {
        bool ok;
        if (opts.varyT) {
            ok = ev.evaluateBatch(temperatures.data(), opts.pressure, y.data(), count, order, G.data(), grad.data(),
                                  hess.data());
        } else {
            ev.setTemperature(T, opts.pressure);
            ok = ev.evaluateBatch(y.data(), count, order, G.data(), grad.data(), hess.data());
        }
        if (!ok)
            throw CliError(kExitFailure, std::string("evaluation of ") + phase.m_szPhaseName + " failed: " + ev.why());
    };
    once();  // warm-up: caches, and a refusal before any timing
    using Clock = std::chrono::steady_clock;
    size_t rounds = 0;
    const Clock::time_point start = Clock::now();
    double seconds = 0.0;
    do {
        once();
        ++rounds;
        seconds = std::chrono::duration<double>(Clock::now() - start).count();
    } while (seconds < kMinSeconds);
    const double evaluated = static_cast<double>(rounds) * static_cast<double>(count);
    const double perSecond = evaluated / seconds, ns = 1e9 * seconds / evaluated;
    const char* engine = ev.usesPlan() ? "plan" : "kernel";

    if (opts.format == Format::Json) {
        out << "{\"phase\": \"" << phase.m_szPhaseName << "\", \"engine\": \"" << engine << "\", \"points\": " << count
            << ", \"order\": " << order << ", ";
        if (opts.varyT)
            out << "\"T_low\": " << formatNumber("%.17g", opts.varyLow)
                << ", \"T_high\": " << formatNumber("%.17g", opts.varyHigh) << ", ";
        else
            out << "\"T\": " << formatNumber("%.17g", T) << ", ";
        out << "\"points_per_second\": " << formatNumber("%.6g", perSecond)
            << ", \"ns_per_point\": " << formatNumber("%.6g", ns) << ", \"plan_bytes\": " << ev.planBytes() << "}\n";
        return;
    }
    out << phase.m_szPhaseName << ": " << count << " points, order " << order << ", "
        << (opts.varyT ? "T from " + formatNumber("%g", opts.varyLow) + " to " + formatNumber("%g", opts.varyHigh) +
                             " K per point"
                       : "T = " + formatNumber("%g", T) + " K")
        << ", engine " << engine << "\n"
        << formatNumber("%.4g", perSecond) << " points/s, " << formatNumber("%.4g", ns) << " ns per point";
    if (ev.usesPlan()) out << ", plan " << ev.planBytes() << " bytes";
    out << "\n";
}

}  // namespace thermfn
