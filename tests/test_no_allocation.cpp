// A full evaluation pass at a new temperature must not touch the heap.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "support/KernelTestKit.h"

#include "support/AllocationCounter.h"

TEST(NoAllocation, TemperatureStepOfSymbolsAndParameters)
{
    CVxDataMgr dm;
    for (int i = 0; i < 20; ++i) {
        TThermFkt* f = dm.AddSymbolFunction(("S" + std::to_string(i)).c_str());
        TThermTPolynom* p = kit::Piece(200, 1000, -8000 + i, 100, -20, {{1e-3, 2}, {2e5, -1}});
        kit::AddSymbolTerm(p, (i + 7) % 20, 0.5);  // forward and backward references
        f->AddPolynom(p);
        f->AddPolynom(kit::Piece(1000, 6000, -9000, 120, -22, {{1e30, -9}}));
    }
    TThermFktMgr params(const_cast<char*>("BCC_A2"), &dm);
    for (int i = 0; i < 10; ++i) {
        TThermFkt* f = params.AddFunction(kit::Parameter(dm));
        TThermTPolynom* p = kit::Piece(200, 6000, 1000.0 * i, 2.0);
        kit::AddSymbolTerm(p, i, 1.0);
        f->AddPolynom(p);
    }
    long nBefore = g_nAllocations.load();
    for (double T = 300; T < 3000; T += 50) {
        TK.CalcTValues(T);
        dm.GetSymbolFktMgr()->SaveCalcPTValues(T, 1e5, 2);
        params.CalcPTValues(T, 1e5, 2);
    }
    EXPECT_EQ(g_nAllocations.load() - nBefore, 0);
    EXPECT_NE(params.GetFuncVal(3, 0), 0.0);  // the pass really evaluated something
}

#include "support/PhaseTestKit.h"

TEST(NoAllocation, CompositionEvaluationOfEveryFamily)
{
    kit::SmallPhase sp;
    TThermFkt* f[] = {sp.Add("A:D", 0, 0),        sp.Add("A,B:D", 0, 1),   sp.Add("A,B:D,E", 0, 3),
                      sp.Add("A,B,C:D", 0, 0),    sp.Add("A,B,C:D", 0, 1), sp.Add("A,B:D", 10, 1),
                      sp.Add("C:D,E", 20, 2),     sp.Add("A,B", 0, 2, true)};
    sp.list.SetRegularMode();
    TMagnFkt magn;
    magn.Initialize(0.28, &sp.phase);
    long nBefore = g_nAllocations.load();
    double sum = 0;
    for (int step = 0; step < 100; ++step) {
        sp.phase.ZeroResults();
        for (TThermFkt* fk : f) {
            fk->m_dValue = -1000.0 - step;
            fk->m_dValueT = 3.0;
            fk->Calc(2, 1.0);
            sum += fk->m_dAktVal_F;
        }
        magn.m_dT = 500.0 + 10 * step;
        magn.Calc(900.0, 2);
    }
    EXPECT_EQ(g_nAllocations.load() - nBefore, 0);
    EXPECT_NE(sum, 0.0);
}

#include "models/PhaseEvaluator.h"
#include "support/Differences.h"
#include "support/TdbTestKit.h"

TEST(NoAllocation, PhaseEvaluationOnceResultsAreSized)
{
    struct
    {
        const char* file;
        const char* name;
    } cases[] = {{"CrFeNb_Jacob2016.tdb", "BCC_A2"},    {"CrFeNb_Jacob2016.tdb", "FCC_A1"},
                 {"CrFeNb_Jacob2016.tdb", "MU_PHASE"},  {"CrFeNb_Jacob2016.tdb", "LAVES_C14"},
                 {"femn.tdb", "LIQUID"},                // Einstein, two-state and Curie-Neel terms
                 {"alnipt.tdb", "FCC_L12"}};            // partitioned into ordered and disordered parts
    for (const auto& c : cases) {
        ThermDatabase db;
        tdb::ReadReport report;
        tdb::ReadOptions options;
        options.undefinedAsZero = true;  // the partitioned phases read names their files leave undefined
        ASSERT_TRUE(tdb::readTdbFile(std::string(THERM_SHARED_DB_DIR) + "/" + c.file, db, report, options)) << c.file;
        db.expressions.setUnsetToZero();
        const char* name = c.name;
        PhaseEvaluator ev(db, db.findPhase(name));
        ASSERT_TRUE(ev.evaluable()) << name;
        const std::vector<double> y = fd::InteriorComposition(ev);
        PhaseProperties out;
        ev.setTemperature(900.0, 101325.0);
        ASSERT_TRUE(ev.evaluate(y.data(), 2, out)) << name << ": " << ev.why();
        long nBefore = g_nAllocations.load();
        double sum = 0.0;
        bool ok = true;
        for (double T = 400.0; T < 1800.0; T += 100.0) {
            ev.setTemperature(T, 101325.0);
            for (int order = 0; order <= 2; ++order) {
                ok = ev.evaluate(y.data(), order, out) && ok;
                sum += out.G;
            }
        }
        EXPECT_EQ(g_nAllocations.load() - nBefore, 0) << name;
        EXPECT_TRUE(ok) << name << ": " << ev.why();
        EXPECT_TRUE(std::isfinite(sum)) << name;
    }
}
