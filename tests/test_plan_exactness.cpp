// The compiled evaluation plan against the kernel path: every evaluable phase
// of every database the project ships (data/, data/published/, the reader's
// corpus), at temperatures on and next to the range limits of the phase's
// functions and outside them, at random compositions with exact zeros and
// single-constituent sublattices.  Values and every derivative must agree
// within 1e-12 relative to |G| + 1 (an entry that is itself larger -- the
// ideal-mixing limit R*T*a/1e-30 at a zero fraction -- relative to itself),
// and refusals must carry the same message.  A plan broken on purpose must
// fail the same comparison, batches must give the point results, and the
// temperature step's third derivative must be the kernel's.  The published
// order-disorder pairs are compared as well, read without the parameters
// their files cannot give.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "models/PlanBuilder.h"
#include "models/PlanEvaluator.h"
#include "support/EvaluatorTestKit.h"
#include "thermfunctions/TThermFkt.h"
#include "thermfunctions/TThermTPolynom.h"

namespace {

const double P0 = 101325.0;

std::vector<std::string> DatabaseFiles()
{
    std::vector<std::string> files;
    for (const char* dir : {THERM_DATA_DIR, THERM_SHARED_DB_DIR, THERM_TESTS_DIR "/corpus/tdb"})
        for (const auto& e : std::filesystem::directory_iterator(dir))
            if (e.path().extension() == ".tdb" || e.path().extension() == ".TDB") files.push_back(e.path().string());
    std::sort(files.begin(), files.end());
    return files;
}

// The names a file leaves undefined get values, so that the phases reading them compare too.
std::unique_ptr<ThermDatabase> Read(const std::string& path)
{
    std::unique_ptr<ThermDatabase> db = kit::ReadPromisingValues(path);
    kit::GiveValues(*db);
    return db;
}

// Temperatures of a phase: the upper limits of its parameters' pieces and
// their neighbours on both sides, a few ordinary ones, and two outside the
// database's limits.
std::vector<double> Temperatures(ThermDatabase& db, int phase)
{
    std::vector<double> limits;
    TThermFktMgr& list = *db.phases[static_cast<size_t>(phase)].functions;
    for (int i = 0; i < list.m_FktArray.m_nSize; ++i) {
        TThermFkt* f = list.m_FktArray.m_pData[i];
        for (int k = 0; k < f->m_PolyIndex.m_nSize; ++k) {
            const TThermTPolynom* p = db.dataMgr.m_PolynomArray.m_pData[f->m_PolyIndex.m_pData[k]];
            limits.push_back(p->m_dTLow);
            limits.push_back(p->m_dTHigh);
        }
    }
    std::sort(limits.begin(), limits.end());
    limits.erase(std::unique(limits.begin(), limits.end()), limits.end());
    if (limits.size() > 4) limits = {limits[0], limits[1], limits[limits.size() / 2], limits.back()};
    std::vector<double> T = {db.defaultTLow - 150.0, 350.0, 1234.5, db.defaultTHigh + 500.0};
    for (double t : limits) {
        T.push_back(t);
        T.push_back(std::nextafter(t, 0.0));
        T.push_back(std::nextafter(t, 1e9));
    }
    return T;
}

// Random compositions: fractions of each sublattice summing to 1, some
// exactly 0, some sublattices on one constituent only.
std::vector<std::vector<double>> Compositions(PhaseEvaluator& ev, std::mt19937& rng, int count)
{
    const int n = ev.variableCount();
    std::uniform_real_distribution<double> u(0.0, 1.0);
    std::vector<std::vector<double>> out;
    for (int c = 0; c < count; ++c) {
        std::vector<double> y(static_cast<size_t>(n));
        for (int v = 0; v < n; ++v) y[static_cast<size_t>(v)] = u(rng) < 0.2 ? 0.0 : u(rng);
        int sublattices = 0;
        for (int v = 0; v < n; ++v) sublattices = std::max(sublattices, ev.variableSublattice(v) + 1);
        for (int s = 0; s < sublattices; ++s) {
            std::vector<int> vars;
            for (int v = 0; v < n; ++v)
                if (ev.variableSublattice(v) == s) vars.push_back(v);
            if (vars.empty()) continue;
            if (c % 4 == 3) {  // one constituent only
                for (int v : vars) y[static_cast<size_t>(v)] = 0.0;
                y[static_cast<size_t>(vars[static_cast<size_t>(c) % vars.size()])] = 1.0;
                continue;
            }
            double sum = 0.0;
            for (int v : vars) sum += y[static_cast<size_t>(v)];
            if (sum == 0.0) y[static_cast<size_t>(vars[0])] = sum = 1.0;
            for (int v : vars) y[static_cast<size_t>(v)] /= sum;
        }
        out.push_back(y);
    }
    return out;
}

// Worst disagreement over a phase, as a multiple of the tolerance (<= 1 passes).
struct Comparison
{
    double worst = 0.0;
    std::string where;
    int points = 0;
    void note(double err, double tol, const std::string& what)
    {
        const double r = std::isnan(err) ? 1e300 : err / tol;
        if (r > worst) {
            worst = r;
            where = what;
        }
    }
};

// Points (one vector of fractions each) as the batches take them: variable-major.
std::vector<double> Columns(const std::vector<std::vector<double>>& ys)
{
    const size_t count = ys.size(), n = ys.empty() ? 0 : ys[0].size();
    std::vector<double> y(n * count);
    for (size_t p = 0; p < count; ++p)
        for (size_t v = 0; v < n; ++v) y[v * count + p] = ys[p][v];
    return y;
}

// A batch gives the points' results bit for bit (its lanes do the points'
// arithmetic), over more than one block of points: at the last temperature
// set, or with T, at a temperature per point.
void CompareBatch(PlanEvaluator& plan, const std::vector<std::vector<double>>& ys,
                  const std::vector<PhaseProperties>& points, const double* T, const std::string& at, Comparison& cmp)
{
    const size_t count = ys.size(), n = static_cast<size_t>(plan.variableCount()), dim = n + 1;
    const std::vector<double> y = Columns(ys);
    std::vector<double> G(count), grad(dim * count), hess(dim * (dim + 1) / 2 * count);
    if (!(T ? plan.evaluateBatch(T, P0, y.data(), count, 2, G.data(), grad.data(), hess.data())
            : plan.evaluateBatch(y.data(), count, 2, G.data(), grad.data(), hess.data()))) {
        cmp.note(1e300, 1.0, at + " batch refused: " + plan.why());
        return;
    }
    auto same = [](double x, double ref) { return x == ref || (std::isnan(x) && std::isnan(ref)); };
    for (size_t p = 0; p < count; ++p) {
        const PhaseProperties& r = points[p];
        bool ok = same(G[p], r.G) && same(grad[n * count + p], r.dG_dT);
        for (size_t v = 0; v < n; ++v) ok = ok && same(grad[v * count + p], r.dG_dy[v]);
        for (size_t i = 0; i < dim; ++i)
            for (size_t c = i; c < dim; ++c)
                ok = ok && same(hess[EvaluationPlan::packedIndex(static_cast<int>(i), static_cast<int>(c),
                                                                  static_cast<int>(dim)) * count + p],
                                r.hessian[i * dim + c]);
        if (!ok) cmp.note(1e300, 1.0, at + " batch point " + std::to_string(p) + " differs from the point");
    }
}

void ComparePhase(ThermDatabase& db, int phase, PlanEvaluator& plan, Comparison& cmp, int compositions = 9,
                  unsigned seed = 17)
{
    PhaseEvaluator kernel(db, phase);
    std::mt19937 rng(seed + static_cast<unsigned>(phase));
    PhaseProperties a, b;
    for (double T : Temperatures(db, phase)) {
        kernel.setTemperature(T, P0);
        plan.setTemperature(T, P0);
        const auto ys = Compositions(kernel, rng, compositions);
        std::vector<PhaseProperties> points;
        for (const auto& y : ys) {
            std::ostringstream at;
            at.precision(17);
            at << db.phases[static_cast<size_t>(phase)].phase->m_szPhaseName << " T=" << T << " y=";
            for (double v : y) at << v << ",";
            const bool ka = kernel.evaluate(y.data(), 2, a);
            const bool kb = plan.evaluate(y.data(), 2, b);
            if (ka != kb || kernel.why() != plan.why()) {
                cmp.note(1e300, 1.0, at.str() + " refusal: kernel '" + kernel.why() + "' plan '" + plan.why() + "'");
                continue;
            }
            if (!ka) continue;
            ++cmp.points;
            const double scale = std::fabs(a.G) + 1.0;
            auto check = [&](double x, double ref, const std::string& what) {
                // equal; or both non-finite, as the molar quantities of a vacancies-only composition are
                if (x == ref || (!std::isfinite(x) && !std::isfinite(ref))) return;
                cmp.note(std::fabs(x - ref), 1e-12 * (scale + std::fabs(ref)), at.str() + " " + what);
            };
            check(b.G, a.G, "G");
            check(b.dG_dT, a.dG_dT, "dG/dT");
            check(b.d2G_dT2, a.d2G_dT2, "d2G/dT2");
            check(b.GM, a.GM, "GM");
            for (size_t v = 0; v < a.dG_dy.size(); ++v) check(b.dG_dy[v], a.dG_dy[v], "dG/dy" + std::to_string(v));
            for (size_t k = 0; k < a.hessian.size(); ++k)
                check(b.hessian[k], a.hessian[k], "hessian entry " + std::to_string(k));
            points.push_back(b);
        }
        if (plan.usesPlan() && points.size() == ys.size())
            CompareBatch(plan, ys, points, nullptr,
                         std::string(db.phases[static_cast<size_t>(phase)].phase->m_szPhaseName) + " T=" + std::to_string(T), cmp);
    }
}

// Compares every evaluable phase of db; returns the number of partitioned ones.
int CheckEveryPhase(ThermDatabase& db)
{
    int partitioned = 0;
    for (int i = 0; i < static_cast<int>(db.phases.size()); ++i) {
        PlanEvaluator plan(db, i);
        if (!plan.evaluable()) continue;
        const char* name = db.phases[static_cast<size_t>(i)].phase->m_szPhaseName;
        EXPECT_TRUE(plan.usesPlan()) << name << ": " << plan.coverage();
        partitioned += PhaseEvaluator(db, i).partitioned() ? 1 : 0;
        Comparison cmp;
        ComparePhase(db, i, plan, cmp);
        EXPECT_LE(cmp.worst, 1.0) << cmp.where;
        EXPECT_GT(cmp.points, 0) << name << " was never evaluated";
    }
    return partitioned;
}

class PlanAgreesWithKernel : public ::testing::TestWithParam<std::string>
{
};

TEST_P(PlanAgreesWithKernel, EveryEvaluablePhase)
{
    const int partitioned = CheckEveryPhase(*Read(GetParam()));
    // the published order-disorder pairs compare whole, the names their files
    // leave undefined given values (as distributed, those phases are refused)
    const std::string file = std::filesystem::path(GetParam()).filename().string();
    if (file == "alnipt.tdb" || file == "COST507.tdb") {
        EXPECT_GT(partitioned, 0);
    }
}

std::string FileLabel(const ::testing::TestParamInfo<std::string>& info)
{
    std::string s = std::filesystem::path(info.param).parent_path().filename().string() + "_" +
                    std::filesystem::path(info.param).stem().string();
    for (char& c : s)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    return s;
}

INSTANTIATE_TEST_SUITE_P(Databases, PlanAgreesWithKernel, ::testing::ValuesIn(DatabaseFiles()), FileLabel);

// A plan broken on purpose must be caught by the same comparison.
TEST(BrokenPlanIsCaught, ByTheComparison)
{
    const EvaluationPlan::Perturbation offset = EvaluationPlan::kShiftHessianOffset,
                                       series = EvaluationPlan::kDropSeriesCoefficient;
    const struct
    {
        const char* file;
        const char* phase;
        EvaluationPlan::Perturbation how;
    } cases[] = {{"crfe_bcc_magnetic.tdb", "BCC_A2", offset}, {"CrFeNb_Jacob2016.tdb", "BCC_A2", series},
                 {"COST507.tdb", "FCC_A1", offset},          {"COST507.tdb", "FCC_A1", series},
                 {"alnipt.tdb", "FCC_L12", offset},          {"alnipt.tdb", "FCC_L12", series}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.file) + " " + c.phase + (c.how == offset ? " Hessian offset" : " series coefficient"));
        auto db = Read(std::string(THERM_SHARED_DB_DIR) + "/" + c.file);
        const int i = db->findPhase(c.phase);
        ASSERT_GE(i, 0);
        PlanEvaluator plan(*db, i);
        ASSERT_TRUE(plan.usesPlan()) << plan.coverage();
        Comparison intact;
        ComparePhase(*db, i, plan, intact, 3);
        ASSERT_LE(intact.worst, 1.0) << intact.where;
        ASSERT_TRUE(plan.planForTest().perturbForTest(c.how));
        Comparison broken;
        ComparePhase(*db, i, plan, broken, 3);
        EXPECT_GT(broken.worst, 1.0);
    }
}

// Batches: one temperature and a temperature per point give the point results
// bit for bit on the plan path, and the kernel results on the kernel path; a
// temperature outside the ranges stops the batch with the kernel's words.
TEST(PlanBatch, MatchesPointEvaluationOnBothEngines)
{
    auto db = Read(std::string(THERM_SHARED_DB_DIR) + "/CrFeNb_Jacob2016.tdb");
    const int i = db->findPhase("BCC_A2");
    ASSERT_GE(i, 0);
    for (auto engine : {PlanEvaluator::Engine::kPlan, PlanEvaluator::Engine::kKernel}) {
        PlanEvaluator ev(*db, i, engine);
        ASSERT_EQ(ev.usesPlan(), engine == PlanEvaluator::Engine::kPlan);
        PhaseEvaluator probe(*db, i);
        std::mt19937 rng(5);
        const auto ys = Compositions(probe, rng, 11);  // a full block of points and part of one
        const size_t count = ys.size(), dim = static_cast<size_t>(ev.variableCount()) + 1;
        std::vector<double> T(count);
        std::vector<PhaseProperties> atT(count), at900(count);
        for (size_t p = 0; p < count; ++p) {
            T[p] = 400.0 + 150.0 * static_cast<double>(p);
            ev.setTemperature(T[p], P0);
            ASSERT_TRUE(ev.evaluate(ys[p].data(), 2, atT[p])) << ev.why();
            ev.setTemperature(900.0, P0);
            ASSERT_TRUE(ev.evaluate(ys[p].data(), 2, at900[p])) << ev.why();
        }
        Comparison cmp;
        CompareBatch(ev, ys, at900, nullptr, "900 K", cmp);
        CompareBatch(ev, ys, atT, T.data(), "T per point", cmp);
        EXPECT_LE(cmp.worst, 1.0) << cmp.where;

        const std::vector<double> y = Columns(ys);
        std::vector<double> G(count), grad(dim * count), hess(dim * (dim + 1) / 2 * count);
        T[3] = 20.0;
        EXPECT_FALSE(ev.evaluateBatch(T.data(), P0, y.data(), count, 2, G.data(), grad.data(), hess.data()));
        probe.setTemperature(20.0, P0);
        EXPECT_EQ(ev.why(), probe.why());
        EXPECT_FALSE(ev.evaluateBatch(y.data(), count, 2, G.data(), nullptr, hess.data()));
    }
}

// A shape the plan does not reproduce is named, and the kernel path gives the numbers.
TEST(PlanCoverage, UncoveredShapeIsReportedAndTheKernelPathUsed)
{
    auto db = Read(std::string(THERM_SHARED_DB_DIR) + "/crfe_bcc_magnetic.tdb");
    const int i = db->findPhase("BCC_A2");
    ASSERT_GE(i, 0);
    TThermFktMgr& list = *db->phases[static_cast<size_t>(i)].functions;
    TThermFkt* binary = nullptr;
    for (int k = 0; k < list.m_FktArray.m_nSize && binary == nullptr; ++k)
        if (list.m_FktArray.m_pData[k]->m_pFktData->m_nInteractionLevel == 1) binary = list.m_FktArray.m_pData[k];
    ASSERT_NE(binary, nullptr);
    binary->m_pFktData->m_bRegular = 0;  // a record the kernel weights in its own inconsistent way
    PlanEvaluator plan(*db, i);
    EXPECT_FALSE(plan.usesPlan());
    EXPECT_NE(plan.coverage().find("not covered: parameter"), std::string::npos) << plan.coverage();
    EXPECT_NE(plan.coverage().find("non-regular"), std::string::npos) << plan.coverage();
    EXPECT_EQ(plan.planBytes(), 0u);
    Comparison cmp;
    ComparePhase(*db, i, plan, cmp, 2);
    EXPECT_LE(cmp.worst, 1.0) << cmp.where;
}

// The temperature step gives the kernel's value and three T derivatives of
// every parameter, the third only on request.
TEST(TemperatureStep, MatchesTheKernelUpToTheThirdDerivative)
{
    auto db = Read(std::string(THERM_SHARED_DB_DIR) + "/COST507.tdb");
    const int i = db->findPhase("FCC_A1");
    ASSERT_GE(i, 0);
    EvaluationPlan plan;
    TemperatureStep step;
    ASSERT_EQ(PlanBuilder::build(*db, i, plan, step), "");
    EXPECT_LT(step.symbolCount(), db->symbols().m_FktArray.m_nSize);  // only what the phase reads
    PhaseEvaluator kernel(*db, i);
    TThermFktMgr& list = *db->phases[static_cast<size_t>(i)].functions;
    for (double T : {300.0, 933.47, 1500.0, 2900.0}) {
        kernel.setTemperature(T, P0);  // the kernel's step leaves its values on the parameters
        for (int derivatives : {2, 3}) {
            ASSERT_EQ(step.run(T, P0, derivatives), kernel.why().empty()) << "T=" << T << ": " << kernel.why();
            int root = 0;
            for (int k = 0; k < list.m_FktArray.m_nSize; ++k) {
                TThermFkt* f = list.m_FktArray.m_pData[k];
                const TThermFktData& d = *f->m_pFktData;
                if (d.m_bDoSet || d.m_bDisabled) continue;
                if (d.m_nFktType != 0 && d.m_nFktType != 10 && d.m_nFktType != 20) continue;
                const double* v = step.root(root++);
                const double ref[4] = {f->m_dValue, f->m_dValueT, f->m_dValueTT, f->m_dValueTTT};
                for (int o = 0; o <= 3; ++o) {
                    const double want = o <= derivatives ? ref[o] : 0.0;
                    EXPECT_NEAR(v[o], want, 1e-12 * (std::fabs(ref[0]) + 1.0)) << "T=" << T << " order " << o;
                }
            }
            EXPECT_EQ(root, step.rootCount());
        }
    }
}

}  // namespace
