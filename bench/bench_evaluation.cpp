// Temperature step of the kernel: power table, piece evaluation, range search
// and the on-demand pass over a symbol list.
#include <benchmark/benchmark.h>

#include <string>

#include "host/CVxDataMgr.h"
#include "thermfunctions/VxThermFunctions.h"

namespace {

TThermTPolynom* UnaryPiece(double tLow, double tHigh)
{
    // A + B*T + C*T*ln(T) + three powers: the shape of a typical unary
    TThermTPolynom* p = new TThermTPolynom;
    p->m_nSymbolList = 1;
    p->m_dTLow = tLow;
    p->m_dTHigh = tHigh;
    p->m_dA = 1225.7;
    p->m_dB = 124.134;
    p->m_dC = -23.5143;
    p->m_nPowerTerms = 3;
    p->m_adPowerCoef[0] = -0.00439752;
    p->m_anPowerExp[0] = 2;
    p->m_adPowerCoef[1] = -5.8927e-8;
    p->m_anPowerExp[1] = 3;
    p->m_adPowerCoef[2] = 77359;
    p->m_anPowerExp[2] = -1;
    return p;
}

void BM_CalcTValues(benchmark::State& state)
{
    double T = 1000.0;
    for (auto _ : state) {
        TK.CalcTValues(T);
        T += 1e-3;
        benchmark::DoNotOptimize(TK.m_pData);
    }
}
BENCHMARK(BM_CalcTValues);

void BM_PolynomCalc(benchmark::State& state)
{
    TThermTPolynom* p = UnaryPiece(298.15, 1811);
    TK.CalcTValues(1000.0);
    int nOrder = static_cast<int>(state.range(0));
    for (auto _ : state) benchmark::DoNotOptimize(p->Calc(1000.0, 1e5, nullptr, nOrder));
    delete p;
}
BENCHMARK(BM_PolynomCalc)->DenseRange(0, 3);

void BM_FunctionCalcPTValuesLevel2(benchmark::State& state)
{
    CVxDataMgr dm;
    TThermFktMgr m(const_cast<char*>("BCC_A2"), &dm);
    TThermFktData* d = new TThermFktData;
    d->m_nFktType = 0;
    dm.AddFktData(d);
    TThermFkt* f = m.AddFunction(new TThermFkt(d));
    f->m_pDataMgr = &dm;
    f->m_pSymbolMgr = dm.GetSymbolFktMgr();
    f->AddPolynom(UnaryPiece(298.15, 1000));
    f->AddPolynom(UnaryPiece(1000, 1811));
    f->AddPolynom(UnaryPiece(1811, 6000));
    TK.CalcTValues(1500.0);  // the second range: the search looks at two pieces
    for (auto _ : state) benchmark::DoNotOptimize(f->CalcPTValues(1500.0, 1e5, 2));
}
BENCHMARK(BM_FunctionCalcPTValuesLevel2);

void BM_SymbolListSaveCalcPTValues(benchmark::State& state)
{
    CVxDataMgr dm;
    for (int i = 0; i < 100; ++i) {
        TThermFkt* f = dm.AddSymbolFunction(("F" + std::to_string(i)).c_str());
        TThermTPolynom* p = UnaryPiece(298.15, 6000);
        // every third function refers to a later one, every function to an earlier one
        if (i > 0) {
            p->m_anSymbolIndex[p->m_nSymbolTerms] = i - 1;
            p->m_adSymbolFactor[p->m_nSymbolTerms++] = 0.5;
        }
        if (i % 3 == 0 && i + 5 < 100) {
            p->m_anSymbolIndex[p->m_nSymbolTerms] = i + 5;
            p->m_adSymbolFactor[p->m_nSymbolTerms++] = 1.0;
        }
        f->AddPolynom(p);
    }
    TThermFktMgr* sym = dm.GetSymbolFktMgr();
    TK.CalcTValues(1000.0);
    for (auto _ : state) benchmark::DoNotOptimize(sym->SaveCalcPTValues(1000.0, 1e5, 2));
    state.SetItemsProcessed(state.iterations() * 100);
}
BENCHMARK(BM_SymbolListSaveCalcPTValues);

}  // namespace

BENCHMARK_MAIN();
