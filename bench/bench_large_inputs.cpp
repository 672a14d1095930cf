// Reading time of inputs far larger than published databases: it must grow
// linearly with the input.  A 50 MB file of 400 000 FUNCTIONs, and a chain of
// products of constant functions defined in reverse order.
#include <benchmark/benchmark.h>

#include "SyntheticTdb.h"
#include "database/ThermDatabase.h"
#include "tdb/TdbReader.h"

namespace {

void ReadText(benchmark::State& state, const std::string& text)
{
    for (auto _ : state) {
        ThermDatabase db;
        tdb::ReadReport report;
        tdb::readTdbText(text, "synthetic.tdb", db, report);
        if (report.errorCount() != 0) state.SkipWithError(report.diagnostics.front().format().c_str());
        benchmark::DoNotOptimize(db.phases.size());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
    state.counters["MB"] = static_cast<double>(text.size()) / 1e6;
}

// Throughput over file sizes: bytes per second should stay flat.
void BM_ReadManyFunctions(benchmark::State& state)
{
    ReadText(state, synthetic::manyFunctions(static_cast<int>(state.range(0))));
}
BENCHMARK(BM_ReadManyFunctions)->Arg(25000)->Arg(100000)->Arg(400000)->Unit(benchmark::kMillisecond)->Iterations(1);

// Time per link should stay flat over the chain's length.
void BM_ReadReverseProductChain(benchmark::State& state)
{
    ReadText(state, synthetic::reverseProductChain(static_cast<int>(state.range(0))));
    state.counters["links"] = static_cast<double>(state.range(0));
}
BENCHMARK(BM_ReadReverseProductChain)->Arg(500)->Arg(2000)->Arg(8000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
