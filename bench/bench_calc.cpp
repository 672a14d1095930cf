// Composition-dependent evaluation of single parameters and the magnetic function.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "host/CVxDataMgr.h"
#include "host/CVxGibbs.h"
#include "host/CVxPhase.h"
#include "thermfunctions/VxThermFunctions.h"

namespace {

// (A,B,C)(D,E) phase with one parameter on the given text.
struct Setup
{
    CVxDataMgr dm;
    CVxGibbs gibbs;
    CVxPhase phase{"BCC_A2", &gibbs};
    TThermFktMgr list{const_cast<char*>("BCC_A2"), &dm};
    std::vector<TThermFkt*> fkts;

    explicit Setup(const std::vector<std::pair<std::string, int>>& params)
    {
        for (const char* n : {"A", "B", "C", "D", "E"}) {
            TDMGRElementData e;
            std::memset(&e, 0, sizeof e);
            std::strcpy(e.m_szElementName, n);
            gibbs.AddElement(e);
            dm.AddElement(e);
        }
        phase.AddSublattice(1);
        phase.AddSublattice(3);
        for (int i = 0; i < 3; ++i) phase.AddConstituent(0, i);
        for (int i = 3; i < 5; ++i) phase.AddConstituent(1, i);
        phase.SetupVariables();
        const double y[] = {0.2, 0.5, 0.3, 0.6, 0.4};
        for (int i = 0; i < 5; ++i) phase.m_Y[i] = y[i];
        for (const auto& p : params) {
            TThermFktData* d = new TThermFktData;
            d->m_nSourceKind = 1;
            d->m_nFktType = 0;
            d->m_nOrder = p.second;
            d->m_nSourceIndex = dm.AddSourceText(1, p.first.c_str());
            int idx = dm.AddFktData(d);
            TThermFkt* f = list.AddFunction(new TThermFkt(d));
            f->m_nFktDataIndex = idx;
            f->m_pDataMgr = &dm;
            fkts.push_back(f);
        }
        list.LinkYPointers(&phase, &gibbs);
        for (TThermFkt* f : fkts) {
            f->m_dValue = -12000.0;
            f->m_dValueT = 5.0;
            f->m_dValueTT = -0.01;
            f->m_dValueTTT = 1e-5;
        }
    }
};

void Run(benchmark::State& state, const std::vector<std::pair<std::string, int>>& params)
{
    Setup s(params);
    TThermFkt* f = s.fkts.back();
    int nDeriv = static_cast<int>(state.range(0));
    for (auto _ : state) {
        f->Calc(nDeriv, 1.0);
        benchmark::DoNotOptimize(f->m_dAktVal_F);
    }
}

void BM_EndMember(benchmark::State& st) { Run(st, {{"A:D", 0}}); }
void BM_BinaryOrder2(benchmark::State& st) { Run(st, {{"A,B:D", 2}}); }
void BM_Reciprocal(benchmark::State& st) { Run(st, {{"A,B:D,E", 1}}); }
void BM_NonRegularTernary(benchmark::State& st) { Run(st, {{"A,B,C:D", 0}, {"A,B,C:D", 1}, {"A,B,C:D", 2}}); }
BENCHMARK(BM_EndMember)->DenseRange(0, 2);
BENCHMARK(BM_BinaryOrder2)->DenseRange(0, 2);
BENCHMARK(BM_Reciprocal)->DenseRange(0, 2);
BENCHMARK(BM_NonRegularTernary)->DenseRange(0, 2);

void BM_MagneticOrder2(benchmark::State& state)
{
    CVxPhase bcc("BCC_A2");
    TMagnFkt m;
    m.Initialize(0.4, &bcc);
    double T = 800.0;
    for (auto _ : state) {
        m.m_dT = T;
        m.Calc(1043.0, 2);
        T = T < 1500.0 ? T + 1.0 : 800.0;  // both sides of the Curie temperature
        benchmark::DoNotOptimize(m.m_dGdTdTC2);
    }
}
BENCHMARK(BM_MagneticOrder2);

}  // namespace

BENCHMARK_MAIN();
