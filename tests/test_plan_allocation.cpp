// The plan's hot paths leave the heap alone: the temperature step, a point,
// a batch at one temperature and a batch with a temperature per point, at
// every derivative order, on phases with and without a magnetic term, with
// expression trees and names given values, and on the kernel path taken for
// comparison.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "models/PlanEvaluator.h"
#include "support/TdbTestKit.h"

#include "support/AllocationCounter.h"

namespace {

struct Case
{
    const char* file;
    const char* phase;
    PlanEvaluator::Engine engine;
    const char* label;
    const char* given = nullptr;  //!< a name the file leaves undefined, given a value
};

// A published file, or one of the reader's corpus ("corpus/NAME").
std::unique_ptr<ThermDatabase> Load(const Case& c)
{
    const std::string file = c.file;
    const std::string path = file.rfind("corpus/", 0) == 0 ? std::string(THERM_TESTS_DIR) + "/corpus/tdb/" + file.substr(7)
                                                           : std::string(THERM_SHARED_DB_DIR) + "/" + file;
    auto db = std::make_unique<ThermDatabase>();
    tdb::ReadReport report;
    tdb::ReadOptions options;
    if (c.given) options.undefinedAsZero = true;
    EXPECT_TRUE(tdb::readTdbFile(path, *db, report, options)) << path;
    std::string error;
    if (c.given) {
        EXPECT_TRUE(db->setSymbolValue(c.given, -2500.0, error)) << error;
        db->expressions.setUnsetToZero();
    }
    return db;
}

void PrintTo(const Case& c, std::ostream* os) { *os << c.label; }

class PlanAllocation : public ::testing::TestWithParam<Case>
{
};

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
    // per sublattice equal fractions, one of them exactly 0 where there are several
    std::vector<double> y(static_cast<size_t>(n) * count, 0.0), T(count);
    for (int v = 0; v < n; ++v) {
        int members = 0;
        for (int w = 0; w < n; ++w) members += ev.variableSublattice(w) == ev.variableSublattice(v);
        for (size_t p = 0; p < count; ++p) y[static_cast<size_t>(v) * count + p] = 1.0 / members;
    }
    for (size_t p = 0; p < count; ++p) T[p] = 500.0 + 60.0 * static_cast<double>(p);
    std::vector<double> G(count), grad(static_cast<size_t>(dim) * count), hess(packed * count);
    std::vector<double> point(y.begin(), y.begin() + n);
    for (int v = 0; v < n; ++v) point[static_cast<size_t>(v)] = y[static_cast<size_t>(v) * count];
    PhaseProperties out;
    ev.setTemperature(800.0, 101325.0);
    // the first calls size out's vectors and the kernel path's scratch
    ASSERT_TRUE(ev.evaluate(point.data(), 2, out)) << ev.why();
    ASSERT_TRUE(ev.evaluateBatch(y.data(), count, 2, G.data(), grad.data(), hess.data())) << ev.why();

    const long before = g_nAllocations.load();
    bool ok = true;
    for (int order = 0; order <= 2; ++order) {
        ev.setTemperature(900.0 + order, 101325.0);
        ok &= ev.evaluate(point.data(), order, out);
        ok &= ev.evaluateBatch(y.data(), count, order, G.data(), grad.data(), hess.data());
        ok &= ev.evaluateBatch(T.data(), 101325.0, y.data(), count, order, G.data(), grad.data(), hess.data());
    }
    EXPECT_EQ(g_nAllocations.load() - before, 0);
    EXPECT_TRUE(ok) << ev.why();
    EXPECT_TRUE(std::isfinite(G[count - 1]) && G[count - 1] != 0.0);  // the batches really ran
}

INSTANTIATE_TEST_SUITE_P(
    Phases, PlanAllocation,
    ::testing::Values(Case{"crfe_bcc_magnetic.tdb", "BCC_A2", PlanEvaluator::Engine::kPlan, "CrFeMagneticPlan"},
                      Case{"COST507.tdb", "FCC_A1", PlanEvaluator::Engine::kPlan, "Cost507Fcc"},
                      Case{"COST507.tdb", "LIQUID", PlanEvaluator::Engine::kPlan, "Cost507Liquid"},
                      Case{"CrFeNb_Jacob2016.tdb", "BCC_A2", PlanEvaluator::Engine::kKernel, "CrFeNbKernelPath"},
                      Case{"corpus/einstein_copper.tdb", "CU_EINSTEIN", PlanEvaluator::Engine::kPlan, "EinsteinTree"},
                      Case{"corpus/gas_phase.tdb", "GAS", PlanEvaluator::Engine::kPlan, "GasTrees"},
                      Case{"alnipt.tdb", "LIQUID", PlanEvaluator::Engine::kPlan, "AlNiPtLiquidGivenVx45", "VX45"}),
    [](const ::testing::TestParamInfo<Case>& info) { return std::string(info.param.label); });

}  // namespace
