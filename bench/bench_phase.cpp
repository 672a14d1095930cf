// Points per second of the phase evaluation: G only, G + gradient, and
// G + gradient + Hessian, for BCC_A2 of a magnetic binary (Cr-Fe) and of
// the ternary Cr-Fe-Nb, FCC_A1 of the largest published database, and the
// partitioned B2 and L1_2 phases next to their disordered phases, at a fixed
// temperature (many compositions share one temperature step) and with a new
// temperature per point.
#include <benchmark/benchmark.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "models/PhaseEvaluator.h"
#include "database/ThermDatabase.h"
#include "tdb/TdbReader.h"

namespace {

struct Case
{
    std::string file, phase;
    std::unique_ptr<ThermDatabase> db;
    std::unique_ptr<PhaseEvaluator> ev;
    std::vector<std::vector<double>> points;  //!< compositions, variable order
};

Case& Load(const char* file, const char* phase)
{
    static std::vector<std::unique_ptr<Case>> cache;
    for (auto& c : cache)
        if (c->file == file && c->phase == phase) return *c;
    auto c = std::make_unique<Case>();
    c->file = file;
    c->phase = phase;
    c->db = std::make_unique<ThermDatabase>();
    // the partitioned phases of these files read names the files leave undefined: whole, with those as 0
    tdb::ReadReport report;
    tdb::ReadOptions options;
    options.undefinedAsZero = true;
    tdb::readTdbFile(std::string(THERM_SHARED_DB_DIR) + "/" + file, *c->db, report, options);
    c->db->expressions.setUnsetToZero();
    c->ev = std::make_unique<PhaseEvaluator>(*c->db, c->db->findPhase(phase));
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> u(0.05, 1.0);
    const int n = c->ev->variableCount();
    for (int k = 0; k < 1024; ++k) {
        std::vector<double> y(static_cast<size_t>(n));
        std::vector<double> sum(16, 0.0);
        for (int i = 0; i < n; ++i) sum[static_cast<size_t>(c->ev->variableSublattice(i))] += (y[static_cast<size_t>(i)] = u(rng));
        for (int i = 0; i < n; ++i) y[static_cast<size_t>(i)] /= sum[static_cast<size_t>(c->ev->variableSublattice(i))];
        c->points.push_back(y);
    }
    cache.push_back(std::move(c));
    return *cache.back();
}

// range(0): derivative order 0, 1, 2; range(1): 1 = a new temperature per point
template <const char* File, const char* Phase>
void BM_Phase(benchmark::State& state)
{
    Case& c = Load(File, Phase);
    const int order = static_cast<int>(state.range(0));
    const bool newT = state.range(1) != 0;
    PhaseProperties out;
    c.ev->setTemperature(1200.0, 101325.0);
    c.ev->evaluate(c.points[0].data(), order, out);  // sizes the result vectors once
    size_t k = 0;
    double T = 1200.0;
    for (auto _ : state) {
        if (newT) {
            T = T < 1700.0 ? T + 0.5 : 900.0;
            c.ev->setTemperature(T, 101325.0);
        }
        c.ev->evaluate(c.points[k].data(), order, out);
        benchmark::DoNotOptimize(out.G);
        k = (k + 1) & 1023;
    }
    state.counters["points/s"] = benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
    state.counters["variables"] = c.ev->variableCount();
}

const char kCrFe[] = "crfe_bcc_magnetic.tdb";
const char kBcc[] = "BCC_A2";
const char kCrFeNb[] = "CrFeNb_Jacob2016.tdb";
const char kCost[] = "COST507.tdb";
const char kFcc[] = "FCC_A1";

void Args(benchmark::internal::Benchmark* b)
{
    b->ArgNames({"order", "newT"});
    for (int newT : {0, 1})
        for (int order : {0, 1, 2}) b->Args({order, newT});
}

BENCHMARK_TEMPLATE(BM_Phase, kCrFe, kBcc)->Apply(Args);
BENCHMARK_TEMPLATE(BM_Phase, kCrFeNb, kBcc)->Apply(Args);
BENCHMARK_TEMPLATE(BM_Phase, kCost, kFcc)->Apply(Args);

// Partitioned phases (ordered parameters at y and at x, the disordered part
// through the do_ set) next to their disordered phases evaluated alone.
const char kAlNiPt[] = "alnipt.tdb";
const char kB2[] = "BCC_B2";
const char kL12[] = "FCC_L12";
BENCHMARK_TEMPLATE(BM_Phase, kCost, kB2)->Apply(Args);
BENCHMARK_TEMPLATE(BM_Phase, kCost, kBcc)->Apply(Args);
BENCHMARK_TEMPLATE(BM_Phase, kAlNiPt, kL12)->Apply(Args);
BENCHMARK_TEMPLATE(BM_Phase, kAlNiPt, kFcc)->Apply(Args);

}  // namespace

BENCHMARK_MAIN();
