// Opening a database as the tool does: parsing the TDB file, against loading
// the cache file written for it (reading and hashing the database to check
// that the cache is current included; releasing the database afterwards,
// the same for both, is not timed).  The largest published database and
// a synthetic 50 MB file of 400 000 functions.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>

#include "SyntheticTdb.h"
#include "cli/Database.h"
#include "database/ThermDatabase.h"

namespace {

std::string TempPath(const std::string& name) { return "/tmp/thermkernel_bench_" + std::to_string(getpid()) + "_" + name; }

void Open(benchmark::State& state, const std::string& tdb, const std::string& cache)
{
    std::ostringstream err;
    for (auto _ : state) {
        auto db = thermfn::openDatabase(tdb, cache, err);
        benchmark::DoNotOptimize(db->phases.size());
        state.PauseTiming();  // releasing the database costs the same either way
        db.reset();
        state.ResumeTiming();
    }
    std::ifstream f(tdb, std::ios::binary | std::ios::ate);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(f.tellg()));
}

void ParseAndLoad(benchmark::State& state, const std::string& tdb, bool fromCache)
{
    const std::string cache = TempPath("cache.thdb");
    if (fromCache) {
        std::ostringstream err;
        std::remove(cache.c_str());
        thermfn::openDatabase(tdb, cache, err);  // writes the cache
    }
    Open(state, tdb, fromCache ? cache : std::string());
    std::remove(cache.c_str());
}

void BM_OpenCost507(benchmark::State& state)
{
    ParseAndLoad(state, std::string(THERM_SHARED_DB_DIR) + "/COST507.tdb", state.range(0) != 0);
}
BENCHMARK(BM_OpenCost507)->ArgName("cache")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_OpenManyFunctions(benchmark::State& state)
{
    const std::string tdb = TempPath("many.tdb");
    {
        std::ofstream out(tdb, std::ios::binary);
        out << synthetic::manyFunctions(400000);
    }
    ParseAndLoad(state, tdb, state.range(0) != 0);
    std::remove(tdb.c_str());
}
BENCHMARK(BM_OpenManyFunctions)->ArgName("cache")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(1);

}  // namespace

BENCHMARK_MAIN();
