// The compiled plan against the kernel path: points per second (items/s) for
// Cr-Fe BCC_A2 (magnetic binary), Cr-Fe-Nb BCC_A2 and COST507 FCC_A1, at
// orders 0 (G), 1 (+gradient), 2 (+Hessian); batched at one temperature,
// point by point at one temperature, and batched with a temperature per
// point; and the temperature step alone.  The counter plan_bytes is the heap
// the plan and its temperature step hold; the label names the block kernels'
// instruction set.
//
//   build-rel/bin/bench_plan --benchmark_filter=...
#include <benchmark/benchmark.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "database/ThermDatabase.h"
#include "models/PlanEvaluator.h"
#include "models/PlanInstructionSet.h"
#include "tdb/TdbReader.h"

namespace {

constexpr size_t kPoints = 1024;

struct Case
{
    std::unique_ptr<ThermDatabase> db;
    std::unique_ptr<PlanEvaluator> ev[2];  //!< plan, kernel
    std::vector<double> y;                 //!< kPoints compositions, structure of arrays
    std::vector<double> T;                 //!< a temperature per point [K]
    std::vector<double> G, grad, hess;     //!< batch results
    std::vector<std::vector<double>> points;
};

Case& Load(const std::string& file, const std::string& phase)
{
    static std::vector<std::pair<std::string, std::unique_ptr<Case>>> cache;
    for (auto& c : cache)
        if (c.first == file + "/" + phase) return *c.second;
    auto c = std::make_unique<Case>();
    c->db = std::make_unique<ThermDatabase>();
    tdb::ReadReport report;
    tdb::readTdbFile(std::string(THERM_SHARED_DB_DIR) + "/" + file, *c->db, report);
    const int index = c->db->findPhase(phase);
    c->ev[0] = std::make_unique<PlanEvaluator>(*c->db, index, PlanEvaluator::Engine::kPlan);
    c->ev[1] = std::make_unique<PlanEvaluator>(*c->db, index, PlanEvaluator::Engine::kKernel);
    PlanEvaluator& ev = *c->ev[0];
    const int n = ev.variableCount(), dim = n + 1;
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> u(0.05, 1.0), t(600.0, 1650.0);  // within every range of COST507
    c->y.assign(static_cast<size_t>(n) * kPoints, 0.0);
    for (size_t p = 0; p < kPoints; ++p) {
        std::vector<double> y(static_cast<size_t>(n)), sum(16, 0.0);
        for (int i = 0; i < n; ++i)
            sum[static_cast<size_t>(ev.variableSublattice(i))] += (y[static_cast<size_t>(i)] = u(rng));
        for (int i = 0; i < n; ++i) {
            y[static_cast<size_t>(i)] /= sum[static_cast<size_t>(ev.variableSublattice(i))];
            c->y[static_cast<size_t>(i) * kPoints + p] = y[static_cast<size_t>(i)];
        }
        c->points.push_back(y);
        c->T.push_back(t(rng));
    }
    c->G.assign(kPoints, 0.0);
    c->grad.assign(static_cast<size_t>(dim) * kPoints, 0.0);
    c->hess.assign(static_cast<size_t>(dim) * static_cast<size_t>(dim + 1) / 2 * kPoints, 0.0);
    cache.emplace_back(file + "/" + phase, std::move(c));
    return *cache.back().second;
}

enum Mode { kBatch, kPointByPoint, kBatchNewT, kStep };

// args: engine (0 plan, 1 kernel), order, mode
void Run(benchmark::State& state, const std::string& file, const std::string& phase)
{
    Case& c = Load(file, phase);
    PlanEvaluator& ev = *c.ev[state.range(0)];
    const int order = static_cast<int>(state.range(1));
    const Mode mode = static_cast<Mode>(state.range(2));
    PhaseProperties out;
    ev.setTemperature(1200.0, 101325.0);
    if (!ev.evaluate(c.points[0].data(), order, out)) {
        state.SkipWithError(ev.why().c_str());
        return;
    }
    size_t k = 0;
    double Tstep = 1000.0;
    for (auto _ : state) {
        switch (mode) {
        case kBatch:
            if (!ev.evaluateBatch(c.y.data(), kPoints, order, c.G.data(), c.grad.data(), c.hess.data())) {
                state.SkipWithError(ev.why().c_str());
                return;
            }
            benchmark::DoNotOptimize(c.G.data());
            break;
        case kPointByPoint:
            for (size_t p = 0; p < kPoints; ++p) {
                ev.evaluate(c.points[p].data(), order, out);
                benchmark::DoNotOptimize(out.G);
            }
            break;
        case kBatchNewT:
            if (!ev.evaluateBatch(c.T.data(), 101325.0, c.y.data(), kPoints, order, c.G.data(), c.grad.data(),
                                  c.hess.data())) {
                state.SkipWithError(ev.why().c_str());  // a refusal would time nothing
                return;
            }
            benchmark::DoNotOptimize(c.G.data());
            break;
        case kStep:
            Tstep = c.T[k++ % kPoints];
            ev.setTemperature(Tstep, 101325.0);
            benchmark::ClobberMemory();
            break;
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * (mode == kStep ? 1 : static_cast<int64_t>(kPoints)));
    state.counters["plan_bytes"] = static_cast<double>(c.ev[0]->planBytes());
    state.SetLabel(PlanInstructionSetName());  // the block kernels batches ran on (THERM_PLAN_BASELINE=1: baseline)
}

void Args(benchmark::internal::Benchmark* b)
{
    b->ArgNames({"kernel", "order", "mode"});
    for (int engine : {0, 1})
        for (int mode : {kBatch, kPointByPoint, kBatchNewT})
            for (int order : {0, 1, 2}) b->Args({engine, order, mode});
    for (int engine : {0, 1}) b->Args({engine, 2, kStep});
}

void BM_CrFe_BCC(benchmark::State& s) { Run(s, "crfe_bcc_magnetic.tdb", "BCC_A2"); }
void BM_CrFeNb_BCC(benchmark::State& s) { Run(s, "CrFeNb_Jacob2016.tdb", "BCC_A2"); }
void BM_COST507_FCC(benchmark::State& s) { Run(s, "COST507.tdb", "FCC_A1"); }

BENCHMARK(BM_CrFe_BCC)->Apply(Args);
BENCHMARK(BM_CrFeNb_BCC)->Apply(Args);
BENCHMARK(BM_COST507_FCC)->Apply(Args);

}  // namespace

BENCHMARK_MAIN();
