// The hot paths leave the heap alone once their results have their size: the
// kernel's composition evaluation of every family of parameters, and (with the
// temperature step of symbols and parameters on the kernel path) a point, a batch
// at one temperature and a batch with a temperature per point at every
// derivative order, on the plan and on the kernel path, on phases with and
// without magnetic and property terms, partitioned ones, expression trees and
// names given values, and the refusal of a temperature outside the ranges.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "models/PlanEvaluator.h"
#include "support/PhaseTestKit.h"
#include "support/EvaluatorTestKit.h"

#include "support/AllocationCounter.h"

namespace {

TEST(NoAllocation, CompositionEvaluationOfEveryFamily)
{
    kit::SmallPhase sp;
    TThermFkt* f[] = {sp.Add("A:D", 0, 0),     sp.Add("A,B:D", 0, 1),   sp.Add("A,B:D,E", 0, 3),
                      sp.Add("A,B,C:D", 0, 0), sp.Add("A,B,C:D", 0, 1), sp.Add("A,B:D", 10, 1),
                      sp.Add("C:D,E", 20, 2),  sp.Add("A,B", 0, 2, true)};
    sp.list.SetRegularMode();
    TMagnFkt magn;
    magn.Initialize(0.28, &sp.phase);
    const long before = g_nAllocations.load();
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
    EXPECT_EQ(g_nAllocations.load() - before, 0);
    EXPECT_NE(sum, 0.0);
}

struct Case
{
    const char* file;  //!< a published file, or one of the reader's corpus ("corpus/NAME")
    const char* phase;
    PlanEvaluator::Engine engine;
    const char* label;
    bool giveValues = false;  //!< the names the file leaves undefined get values
};

void PrintTo(const Case& c, std::ostream* os) { *os << c.label; }

std::unique_ptr<ThermDatabase> Load(const Case& c)
{
    const std::string file = c.file;
    const std::string path = file.rfind("corpus/", 0) == 0 ? std::string(THERM_TESTS_DIR) + "/corpus/tdb/" + file.substr(7)
                                                           : std::string(THERM_SHARED_DB_DIR) + "/" + file;
    bool ok = false;
    std::unique_ptr<ThermDatabase> db = kit::ReadPromisingValues(path, c.giveValues, &ok);
    EXPECT_TRUE(ok) << path;
    if (c.giveValues) kit::GiveValues(*db);
    return db;
}

using PlanAllocation = ::testing::TestWithParam<Case>;

TEST_P(PlanAllocation, NoneAfterTheFirstCall)
{
    const Case& c = GetParam();
    std::unique_ptr<ThermDatabase> db = Load(c);
    const int i = db->findPhase(c.phase);
    ASSERT_GE(i, 0);
    PlanEvaluator ev(*db, i, c.engine);
    ASSERT_TRUE(ev.evaluable()) << ev.why();
    EXPECT_EQ(ev.usesPlan(), c.engine == PlanEvaluator::Engine::kPlan) << ev.coverage();
    const int n = ev.variableCount(), dim = n + 1;
    const size_t count = 16, packed = static_cast<size_t>(dim * (dim + 1) / 2);
    // equal fractions within each sublattice, the same at every point
    std::vector<double> y(static_cast<size_t>(n) * count, 0.0), T(count), point(static_cast<size_t>(n));
    for (int v = 0; v < n; ++v) {
        int members = 0;
        for (int w = 0; w < n; ++w) members += ev.variableSublattice(w) == ev.variableSublattice(v);
        point[static_cast<size_t>(v)] = 1.0 / members;
        for (size_t p = 0; p < count; ++p) y[static_cast<size_t>(v) * count + p] = 1.0 / members;
    }
    for (size_t p = 0; p < count; ++p) T[p] = 500.0 + 60.0 * static_cast<double>(p);
    std::vector<double> G(count), grad(static_cast<size_t>(dim) * count), hess(packed * count);
    PhaseProperties out;
    ev.setTemperature(800.0, 101325.0);
    // the first calls size out's vectors and the kernel path's scratch
    ASSERT_TRUE(ev.evaluate(point.data(), 2, out)) << ev.why();
    ASSERT_TRUE(ev.evaluateBatch(y.data(), count, 2, G.data(), grad.data(), hess.data())) << ev.why();

    long before = g_nAllocations.load();
    bool ok = true;
    double sum = 0.0;
    // across the pieces of the published functions, at every order
    for (double t = 400.0; t < 1800.0; t += 100.0)
        for (int order = 0; order <= 2; ++order) {
            ev.setTemperature(t - order, 101325.0);
            ok &= ev.evaluate(point.data(), order, out);
            sum += out.G;
            ok &= ev.evaluateBatch(y.data(), count, order, G.data(), grad.data(), hess.data());
            ok &= ev.evaluateBatch(T.data(), 101325.0, y.data(), count, order, G.data(), grad.data(), hess.data());
        }
    EXPECT_EQ(g_nAllocations.load() - before, 0);
    EXPECT_TRUE(ok) << ev.why();
    EXPECT_TRUE(std::isfinite(sum));
    EXPECT_TRUE(std::isfinite(G[count - 1]) && G[count - 1] != 0.0);  // the batches really ran

    // refusing a temperature outside the ranges leaves the heap alone too
    ev.setTemperature(1e5, 101325.0);
    before = g_nAllocations.load();
    const bool refused = !ev.evaluate(point.data(), 2, out);
    EXPECT_EQ(g_nAllocations.load() - before, 0);
    EXPECT_TRUE(refused);
    EXPECT_NE(ev.why(), "");
}

INSTANTIATE_TEST_SUITE_P(
    Phases, PlanAllocation,
    ::testing::Values(Case{"crfe_bcc_magnetic.tdb", "BCC_A2", PlanEvaluator::Engine::kPlan, "CrFeMagneticPlan"},
                      Case{"COST507.tdb", "FCC_A1", PlanEvaluator::Engine::kPlan, "Cost507Fcc"},
                      Case{"COST507.tdb", "LIQUID", PlanEvaluator::Engine::kPlan, "Cost507Liquid"},
                      Case{"corpus/einstein_copper.tdb", "CU_EINSTEIN", PlanEvaluator::Engine::kPlan, "EinsteinTree"},
                      Case{"corpus/gas_phase.tdb", "GAS", PlanEvaluator::Engine::kPlan, "GasTrees"},
                      Case{"alnipt.tdb", "LIQUID", PlanEvaluator::Engine::kPlan, "AlNiPtLiquidGivenValues", true},
                      Case{"CrFeNb_Jacob2016.tdb", "BCC_A2", PlanEvaluator::Engine::kKernel, "CrFeNbBccKernel"},
                      Case{"CrFeNb_Jacob2016.tdb", "FCC_A1", PlanEvaluator::Engine::kKernel, "CrFeNbFccKernel"},
                      Case{"CrFeNb_Jacob2016.tdb", "MU_PHASE", PlanEvaluator::Engine::kKernel, "CrFeNbMuKernel"},
                      // Einstein, two-state and Curie-Neel terms
                      Case{"femn.tdb", "LIQUID", PlanEvaluator::Engine::kKernel, "FeMnLiquidKernel"},
                      // partitioned into ordered and disordered parts
                      Case{"alnipt.tdb", "FCC_L12", PlanEvaluator::Engine::kKernel, "AlNiPtL12Kernel", true}),
    [](const ::testing::TestParamInfo<Case>& info) { return std::string(info.param.label); });

}  // namespace
