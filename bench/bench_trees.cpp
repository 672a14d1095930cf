// Cost of one temperature step of the symbol functions with and without
// expression trees: 40 unaries written as kernel pieces (the polynomial form)
// against the same 40 with an Einstein term that needs a tree, and the
// published COST507 database (pieces and a few trees) for scale.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "database/ThermDatabase.h"
#include "thermfunctions/TThermFkt.h"
#include "tdb/TdbReader.h"

namespace {

std::string Unaries(bool einstein)
{
    std::string text = "ELEMENT CU FCC_A1 63.546 5004.1 33.15 !\n";
    for (int i = 0; i < 40; ++i) {
        const std::string k = std::to_string(i);
        text += "FUNCTION G" + k + " 100 -7770.458+130.485235*T-24.112392*T*LN(T)-.00265684*T**2+" + k +
                "E-07*T**3+52478*T**(-1)" + (einstein ? "+8.77*T*LN(EXP(155.14*T**(-1))-1.0)" : "") +
                "; 6000 N !\n";
    }
    return text;
}

ThermDatabase& Database(int which)
{
    static std::unique_ptr<ThermDatabase> dbs[3];
    if (!dbs[which]) {
        dbs[which] = std::make_unique<ThermDatabase>();
        tdb::ReadReport report;
        if (which < 2)
            tdb::readTdbText(Unaries(which == 1), "unaries.tdb", *dbs[which], report);
        else
            tdb::readTdbFile(std::string(THERM_SHARED_DB_DIR) + "/COST507.tdb", *dbs[which], report);
    }
    return *dbs[which];
}

// range(0): 0 = 40 pieces, 1 = 40 pieces each referring to a tree, 2 = COST507
void BM_TemperatureStep(benchmark::State& state)
{
    ThermDatabase& db = Database(static_cast<int>(state.range(0)));
    double T = 300.0;
    for (auto _ : state) {
        db.temperatureStep(T, 101325.0);
        benchmark::DoNotOptimize(db.symbols().m_FktArray.m_pData[0]->m_dValue);
        T = T < 2900.0 ? T + 1.0 : 300.0;
    }
    state.counters["symbols"] = db.symbols().m_FktArray.m_nSize;
    state.counters["trees"] = static_cast<double>(db.expressions.trees().size());
}
BENCHMARK(BM_TemperatureStep)->Arg(0)->Arg(1)->Arg(2);

}  // namespace

BENCHMARK_MAIN();
