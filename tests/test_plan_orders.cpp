// A lower derivative order gives the order-2 numbers bit for bit on the
// compiled plan: G at order 0, G and the gradient at order 1, for points and
// for batches (the kernels specialised by order must do the same arithmetic
// for what the orders share); and a batch of whole blocks and a part of one
// gives each point's own numbers.  Every planned phase of the published
// databases.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "models/PlanEvaluator.h"
#include "support/TdbTestKit.h"

namespace {

bool Same(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

class PlanOrders : public ::testing::TestWithParam<const char*>
{
};

TEST_P(PlanOrders, LowerOrdersGiveTheOrderTwoNumbers)
{
    kit::Loaded l = kit::ReadShared(GetParam());
    ASSERT_TRUE(l.ok) << l.diagnostics();
    int planned = 0;
    for (int i = 0; i < static_cast<int>(l.db->phases.size()); ++i) {
        PlanEvaluator ev(*l.db, i);
        if (!ev.evaluable() || !ev.usesPlan()) continue;
        const std::string name = l.db->phases[static_cast<size_t>(i)].phase->m_szPhaseName;
        const size_t n = static_cast<size_t>(ev.variableCount()), dim = n + 1, packed = dim * (dim + 1) / 2;
        const size_t count = 2 * EvaluationPlan::kLanes + 3;
        std::mt19937 rng(3 + static_cast<unsigned>(i));
        std::uniform_real_distribution<double> u(0.01, 1.0);
        std::vector<double> y(n * count);
        for (double& v : y) v = u(rng);  // the orders must agree whatever the fractions sum to
        ev.setTemperature(900.0, 101325.0);
        std::vector<double> G[3], grad[3], hess(packed * count);
        for (int order = 0; order < 3; ++order) {
            G[order].assign(count, 0.0);
            grad[order].assign(dim * count, 0.0);
            if (!ev.evaluateBatch(y.data(), count, order, G[order].data(), grad[order].data(), hess.data())) break;
        }
        if (!ev.why().empty()) continue;  // a phase refused at this temperature has nothing to compare
        ++planned;
        for (size_t p = 0; p < count; ++p) {
            EXPECT_TRUE(Same(G[0][p], G[2][p]) && Same(G[1][p], G[2][p])) << name << " G of point " << p;
            for (size_t r = 0; r < dim; ++r)
                EXPECT_TRUE(Same(grad[1][r * count + p], grad[2][r * count + p]))
                    << name << " gradient entry " << r << " of point " << p;
        }
        // each point alone, through the single-point kernels: the orders, and the batch's numbers
        std::vector<double> point(n);
        for (size_t p = 0; p < count; ++p) {
            for (size_t v = 0; v < n; ++v) point[v] = y[v * count + p];
            PhaseProperties at[3];
            for (int order = 0; order < 3; ++order) ASSERT_TRUE(ev.evaluate(point.data(), order, at[order])) << name;
            EXPECT_TRUE(Same(at[0].G, at[2].G) && Same(at[1].G, at[2].G) && Same(at[2].G, G[2][p])) << name << " " << p;
            bool same = Same(at[1].dG_dT, at[2].dG_dT) && Same(at[2].dG_dT, grad[2][n * count + p]);
            for (size_t v = 0; v < n; ++v)
                same = same && Same(at[1].dG_dy[v], at[2].dG_dy[v]) && Same(at[2].dG_dy[v], grad[2][v * count + p]);
            for (size_t r = 0; r < dim; ++r)
                for (size_t c = r; c < dim; ++c)
                    same = same && Same(at[2].hessian[r * dim + c],
                                        hess[EvaluationPlan::packedIndex(static_cast<int>(r), static_cast<int>(c),
                                                                         static_cast<int>(dim)) * count + p]);
            EXPECT_TRUE(same) << name << ": point " << p << " alone differs from the batch or across orders";
        }
    }
    EXPECT_GT(planned, 0);
}

INSTANTIATE_TEST_SUITE_P(Published, PlanOrders,
                         ::testing::Values("crfe_bcc_magnetic.tdb", "CrFeNb_Jacob2016.tdb", "COST507.tdb", "alnipt.tdb",
                                           "crtiv_ghosh.tdb", "cumg.tdb", "femn.tdb", "pbsn.tdb"),
                         [](const ::testing::TestParamInfo<const char*>& info) {
                             std::string s = info.param;
                             s = s.substr(0, s.find('.'));
                             for (char& c : s)
                                 if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
                             return s;
                         });

}  // namespace
