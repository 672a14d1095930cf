// Points per second of the C interface's batch call (tk_evaluate): 10^5
// random interior compositions of Cr-Fe-Nb BCC_A2 at one temperature, and
// with a temperature per point, G + gradient + Hessian and the molar
// quantities.  Compare with bench_phase (the evaluator point by point) and
// with the Python package, which makes this same call.
#include <benchmark/benchmark.h>

#include <random>
#include <string>
#include <vector>

#include "include/thermkernel.h"

namespace {

constexpr size_t kPoints = 100000;

struct Case
{
    tk_database* db = nullptr;
    tk_context* ctx = nullptr;
    int phase = -1;
    size_t n = 0;
    std::vector<double> y, T;
    std::vector<double> G, dG_dT, d2G_dT2, dG_dy, hessian, GM, SM, HM, CPM;

    Case()
    {
        const std::string path = std::string(THERM_DATA_DIR) + "/CrFeNb_Jacob2016.tdb";
        tk_database_open(path.c_str(), 0, &db);
        tk_context_create(db, &ctx);
        tk_phase_find(ctx, "BCC_A2", &phase);
        int count = 0;
        tk_phase_variable_count(ctx, phase, &count);
        n = static_cast<size_t>(count);  // CR, FE, NB : VA
        std::mt19937 rng(7);
        std::uniform_real_distribution<double> u(0.05, 1.0);
        for (size_t p = 0; p < kPoints; ++p) {
            double a = u(rng), b = u(rng), c = u(rng), sum = a + b + c;
            y.insert(y.end(), {a / sum, b / sum, c / sum, 1.0});
            T.push_back(900.0 + 0.008 * static_cast<double>(p));
        }
        for (auto* v : {&G, &dG_dT, &d2G_dT2, &GM, &SM, &HM, &CPM}) v->resize(kPoints);
        dG_dy.resize(kPoints * n);
        hessian.resize(kPoints * (n + 1) * (n + 1));
    }
};

Case& data()
{
    static Case c;
    return c;
}

// range(0): derivative order; range(1): 1 = a temperature per point
void BM_CBatch(benchmark::State& state)
{
    Case& c = data();
    const int order = static_cast<int>(state.range(0));
    const bool perPoint = state.range(1) != 0;
    tk_outputs out{c.G.data(), c.dG_dT.data(), c.d2G_dT2.data(), c.dG_dy.data(), c.hessian.data(),
                   c.GM.data(), c.SM.data(),    c.HM.data(),      c.CPM.data()};
    const double T = 1200.0;
    for (auto _ : state) {
        int status = tk_evaluate(c.ctx, c.phase, kPoints, perPoint ? c.T.data() : &T, perPoint ? kPoints : 1,
                                 101325.0, c.y.data(), static_cast<ptrdiff_t>(c.n), 1, order, &out);
        if (status != TK_OK) state.SkipWithError(tk_context_message(c.ctx));
        benchmark::DoNotOptimize(c.G.data());
    }
    state.counters["points/s"] = benchmark::Counter(static_cast<double>(state.iterations() * kPoints),
                                                    benchmark::Counter::kIsRate);
}

BENCHMARK(BM_CBatch)->ArgNames({"order", "newT"})->Args({0, 0})->Args({2, 0})->Args({2, 1})->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
