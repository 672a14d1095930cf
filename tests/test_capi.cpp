// The C interface: what C callers can do wrong, values against hand
// arithmetic, derivatives against differences of G on the plan and the
// kernel path, and the outputs of a batch.  What Python users reach through
// the same calls (reader messages, layouts, threads) is checked in
// python/tests.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <vector>

#include "include/thermkernel.h"

namespace {

const double R = 8.3145;  // J/(mol K), the ideal-mixing constant
const double P0 = 101325.0;

// A binary solution A-B with a function of limited range, a phase the
// reader cannot take, and phases with Einstein terms on the plan and the
// kernel path (see the file).
const std::string kBinary = std::string(THERM_TESTS_DIR) + "/corpus/capi/binary.tdb";

struct Opened
{
    tk_database* db = nullptr;
    tk_context* ctx = nullptr;
    int status = -1;
    explicit Opened(const std::string& path, int flags = 0)
    {
        status = tk_database_open(path.c_str(), flags, &db);
        if (status == TK_OK) tk_context_create(db, &ctx);
    }
    ~Opened()
    {
        tk_context_free(ctx);
        tk_database_close(db);
    }
    int phase(const char* name)
    {
        int p = -1;
        EXPECT_EQ(tk_phase_find(ctx, name, &p), TK_OK) << tk_context_message(ctx);
        return p;
    }
    int variables(int phase)
    {
        int n = 0;
        tk_phase_variable_count(ctx, phase, &n);
        return n;
    }
};

Opened& crFeNb()
{
    static Opened o(std::string(THERM_DATA_DIR) + "/CrFeNb_Jacob2016.tdb");
    return o;
}

// Every output of a batch, sized for points and n variables.
struct Batch
{
    size_t points;
    size_t n;
    std::vector<double> G, dG_dT, d2G_dT2, dG_dy, hessian, GM, SM, HM, CPM;
    Batch(size_t points_, size_t n_)
        : points(points_), n(n_), G(points, 7.0), dG_dT(points, 7.0), d2G_dT2(points, 7.0), dG_dy(points * n, 7.0),
          hessian(points * (n + 1) * (n + 1), 7.0), GM(points, 7.0), SM(points, 7.0), HM(points, 7.0),
          CPM(points, 7.0)
    {
    }
    tk_outputs outputs()
    {
        return tk_outputs{G.data(),  dG_dT.data(), d2G_dT2.data(), dG_dy.data(), hessian.data(),
                          GM.data(), SM.data(),    HM.data(),      CPM.data()};
    }
    double H(size_t p, size_t i, size_t j) const { return hessian[p * (n + 1) * (n + 1) + i * (n + 1) + j]; }
};

// ---- opening --------------------------------------------------------------

// The reader's messages themselves reach Python through these calls and are
// checked there (python/tests); here what only C callers can do wrong.
TEST(CInterfaceOpen, FailuresKeepAHandleForTheMessageAndNullArgumentsAreRefused)
{
    tk_database* db = nullptr;
    EXPECT_EQ(tk_database_open("/nonexistent/db.tdb", 0, &db), TK_ERROR_FILE);
    ASSERT_NE(db, nullptr);
    EXPECT_NE(std::string(tk_database_message(db)).find("cannot read database /nonexistent/db.tdb"), std::string::npos);
    tk_database_close(db);
    ASSERT_EQ(tk_database_open(kBinary.c_str(), 0, &db), TK_OK);  // lenient: BROKEN's error is a diagnostic
    int count = 0, isError = 0;
    const char* text = nullptr;
    ASSERT_EQ(tk_database_diagnostic_count(db, &count), TK_OK);
    EXPECT_EQ(tk_database_diagnostic(db, count, &isError, &text), TK_ERROR_ARGUMENT);
    tk_context* ctx = nullptr;
    EXPECT_EQ(tk_context_create(nullptr, &ctx), TK_ERROR_ARGUMENT);
    EXPECT_EQ(tk_database_open(kBinary.c_str(), 0, nullptr), TK_ERROR_ARGUMENT);
    tk_database_close(db);
}

// ---- refusals ---------------------------------------------------------------

int evaluateAt(tk_context* ctx, int phase, tk_outputs* out, double T, std::vector<double> y, int order = 2)
{
    return tk_evaluate(ctx, phase, y.size() / 2, &T, 1, P0, y.data(), 2, 1, order, out);
}

// The refusals Python users meet (names, fractions, temperatures, ranges) are
// checked through the package in python/tests; these are the C caller's own.
// After each the context stays usable, and a success clears the message.
TEST(CInterfaceRefusal, FailsWithStatusAndMessageAndRecovers)
{
    struct Refusal
    {
        const char* name;
        int status;
        const char* message;  // contained in tk_context_message
        std::function<int(tk_context*, int phase, tk_outputs*)> call;
    };
    const Refusal refusals[] = {
        {"phase index", TK_ERROR_ARGUMENT, "no phase number 5; expected 0 to 3",
         [](tk_context* c, int, tk_outputs* o) { return evaluateAt(c, 5, o, 500, {0.5, 0.5}); }},
        {"order 3", TK_ERROR_ARGUMENT, "derivative order 3; expected 0, 1 or 2",
         [](tk_context* c, int p, tk_outputs* o) { return evaluateAt(c, p, o, 500, {0.5, 0.5}, 3); }},
        {"no outputs", TK_ERROR_ARGUMENT, "no outputs given",
         [](tk_context* c, int p, tk_outputs*) { return evaluateAt(c, p, nullptr, 500, {0.5, 0.5}); }},
        {"temperature count", TK_ERROR_ARGUMENT, "2 temperatures for 3 points; expected 1 or one per point",
         [](tk_context* c, int p, tk_outputs* o) {
             double T[] = {500, 600}, y[6] = {.5, .5, .5, .5, .5, .5};
             return tk_evaluate(c, p, 3, T, 2, P0, y, 2, 1, 0, o);
         }},
        {"no site fractions", TK_ERROR_ARGUMENT, "no site fractions given",
         [](tk_context* c, int p, tk_outputs* o) {
             double T = 500;
             return tk_evaluate(c, p, 1, &T, 1, P0, nullptr, 2, 1, 0, o);
         }},
        {"variable index", TK_ERROR_ARGUMENT, "no variable 2 in phase SOL; it has 2",
         [](tk_context* c, int p, tk_outputs*) { int s; const char* n; return tk_phase_variable(c, p, 2, &s, &n); }},
        {"sublattice index", TK_ERROR_ARGUMENT, "no sublattice 1 in phase SOL; it has 1",
         [](tk_context* c, int p, tk_outputs*) { double s; return tk_phase_site_ratio(c, p, 1, &s); }},
    };
    Opened o(kBinary);
    ASSERT_EQ(o.status, TK_OK) << tk_database_message(o.db);
    const int sol = o.phase("SOL");
    for (const Refusal& r : refusals) {
        SCOPED_TRACE(r.name);
        Batch b(3, 2);
        tk_outputs out = b.outputs();
        EXPECT_EQ(r.call(o.ctx, sol, &out), r.status);
        EXPECT_TRUE(std::string(tk_context_message(o.ctx)).find(r.message) != std::string::npos)
            << tk_context_message(o.ctx);
        EXPECT_EQ(evaluateAt(o.ctx, sol, &out, 500, {0.5, 0.5}), TK_OK) << tk_context_message(o.ctx);
        EXPECT_STREQ(tk_context_message(o.ctx), "");
    }
}

// ---- values -------------------------------------------------------------------

// G of SOL per mole of formula units by hand: the end members, the
// Redlich-Kister terms L0 + L1 (yA - yB), and ideal mixing.
struct Binary
{
    double T, yA;
    double yB() const { return 1 - yA; }
    double mixing() const { return (yA > 0 ? yA * std::log(yA) : 0) + (yB() > 0 ? yB() * std::log(yB()) : 0); }
    double G() const
    {
        const double GA = -1000 + 2 * T, GB = -500 - T * std::log(T), L0 = -3000 + T, L1 = 400;
        return yA * GA + yB() * GB + yA * yB() * (L0 + L1 * (yA - yB())) + R * T * mixing();
    }
    double dG_dT() const { return 2 * yA + yB() * (-std::log(T) - 1) + yA * yB() + R * mixing(); }
    double d2G_dT2() const { return -yB() / T; }
    // dG/dyA with yA, yB independent
    double dG_dyA() const { return -1000 + 2 * T + yB() * (-3000 + T + 400 * (yA - yB())) + yA * yB() * 400 + R * T * (std::log(yA) + 1); }
    double d2G_dyAdyB() const { return (-3000 + T) + 400 * (yA - yB()) + yB() * -400 + yA * 400; }
};

TEST(CInterfaceValues, BinarySolutionFollowsHandArithmetic)
{
    Opened o(kBinary);
    ASSERT_EQ(o.status, TK_OK);
    const int sol = o.phase("SOL");
    const std::vector<Binary> cases = {{300, 0.5}, {500, 0.3}, {998, 0.9}, {1000, 0.01}};
    std::vector<double> T, y;
    for (const Binary& c : cases) {
        T.push_back(c.T);
        y.push_back(c.yA);
        y.push_back(c.yB());
    }
    Batch b(cases.size(), 2);
    tk_outputs out = b.outputs();
    ASSERT_EQ(tk_evaluate(o.ctx, sol, cases.size(), T.data(), T.size(), P0, y.data(), 2, 1, 2, &out), TK_OK)
        << tk_context_message(o.ctx);
    for (size_t p = 0; p < cases.size(); ++p) {
        const Binary& c = cases[p];
        SCOPED_TRACE("T " + std::to_string(c.T) + " yA " + std::to_string(c.yA));
        const double tol = 1e-9 * (std::fabs(c.G()) + 1);
        EXPECT_NEAR(b.G[p], c.G(), tol);
        EXPECT_NEAR(b.dG_dT[p], c.dG_dT(), 1e-9);
        EXPECT_NEAR(b.d2G_dT2[p], c.d2G_dT2(), 1e-12);
        EXPECT_NEAR(b.dG_dy[p * 2], c.dG_dyA(), tol);
        EXPECT_NEAR(b.H(p, 0, 1), c.d2G_dyAdyB(), tol);
        EXPECT_NEAR(b.H(p, 0, 0), R * c.T / c.yA + 2 * c.yB() * 400, tol);
        const double atoms = 1.0;  // one site holding one atom: a mole of atoms per formula unit
        EXPECT_NEAR(b.GM[p], c.G() / atoms, tol);
        EXPECT_NEAR(b.SM[p], -c.dG_dT() / atoms, 1e-9);
        EXPECT_NEAR(b.HM[p], (c.G() - c.T * c.dG_dT()) / atoms, tol);
        EXPECT_NEAR(b.CPM[p], -c.T * c.d2G_dT2() / atoms, 1e-9);
    }
}

// Derivatives against central differences of G: in T, and along directions
// that keep each sublattice's sum (a fraction moved from one constituent to
// another).  Cr-Fe-Nb BCC_A2 (magnetic), LAVES_C15 (three atoms per formula
// unit) and EIN (Einstein) go through the compiled plan, ORD (ordered, an
// Einstein term of its own) through the kernel.
TEST(CInterfaceDerivatives, AgreeWithDifferencesOfG)
{
    struct Case
    {
        std::string path;
        const char* phase;
        std::vector<std::pair<size_t, size_t>> directions;
        std::vector<std::vector<double>> compositions;
        std::vector<double> temperatures;
    };
    const Case cases[] = {
        {std::string(THERM_DATA_DIR) + "/CrFeNb_Jacob2016.tdb", "BCC_A2", {{0, 1}, {0, 2}, {1, 2}},
         {{0.1, 0.88, 0.02, 1}, {0.7, 0.2, 0.1, 1}, {0.3, 0.3, 0.4, 1}}, {400.0, 1000.0, 1043.0, 1700.0}},
        {std::string(THERM_DATA_DIR) + "/CrFeNb_Jacob2016.tdb", "LAVES_C15", {{0, 1}, {3, 5}},  // 3 atoms
         {{0.1, 0.6, 0.3, 0.2, 0.3, 0.5}}, {1200.0}},
        {kBinary, "EIN", {{0, 1}}, {{0.7, 0.3}, {0.5, 0.5}}, {500.0, 1500.0}},
        {kBinary, "ORD", {{0, 1}, {2, 3}}, {{0.7, 0.3, 0.2, 0.8}, {0.5, 0.5, 0.5, 0.5}}, {500.0, 1500.0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.phase);
        Opened o(c.path);
        const int phase = o.phase(c.phase);
        const size_t n = static_cast<size_t>(o.variables(phase));
        ASSERT_EQ(n, c.compositions[0].size());
        for (double T : c.temperatures)
            for (const std::vector<double>& y0 : c.compositions) {
                SCOPED_TRACE("T " + std::to_string(T) + " y0 " + std::to_string(y0[0]));
                const double hT = 1e-3, hy = 1e-5;
                // points: y0 at T, T +- hT, then y0 +- hy (e_i - e_j) per direction
                std::vector<double> Ts = {T, T + hT, T - hT}, ys;
                for (int k = 0; k < 3; ++k) ys.insert(ys.end(), y0.begin(), y0.end());
                for (auto [i, j] : c.directions)
                    for (double s : {1.0, -1.0}) {
                        std::vector<double> y = y0;
                        y[i] += s * hy;
                        y[j] -= s * hy;
                        ys.insert(ys.end(), y.begin(), y.end());
                        Ts.push_back(T);
                    }
                Batch b(Ts.size(), n);
                tk_outputs out = b.outputs();
                ASSERT_EQ(tk_evaluate(o.ctx, phase, Ts.size(), Ts.data(), Ts.size(), P0, ys.data(),
                                      static_cast<ptrdiff_t>(n), 1, 2, &out), TK_OK)
                    << tk_context_message(o.ctx);
                const double scale = std::fabs(b.G[0]) + 1;
                EXPECT_NEAR(b.dG_dT[0], (b.G[1] - b.G[2]) / (2 * hT), 1e-6 * scale);
                EXPECT_NEAR(b.d2G_dT2[0], (b.dG_dT[1] - b.dG_dT[2]) / (2 * hT), 1e-6 * std::fabs(b.d2G_dT2[0]) + 1e-7);
                for (size_t p = 0; p < Ts.size(); ++p)  // every point's Hessian block in its place
                    EXPECT_NEAR(b.H(p, n, n), b.d2G_dT2[p], 1e-12 * scale);
                EXPECT_NEAR(b.SM[0], -(b.GM[1] - b.GM[2]) / (2 * hT), 1e-6 * scale);
                EXPECT_NEAR(b.HM[0], b.GM[0] + T * b.SM[0], 1e-9 * scale);
                EXPECT_NEAR(b.CPM[0], T * (b.SM[1] - b.SM[2]) / (2 * hT), 1e-4 * (std::fabs(b.CPM[0]) + 1));
                for (size_t v = 0; v < n; ++v)  // d(dG/dy)/dT against the T block of the Hessian
                    EXPECT_NEAR(b.H(0, v, n), (b.dG_dy[1 * n + v] - b.dG_dy[2 * n + v]) / (2 * hT), 1e-5 * scale);
                for (size_t d = 0; d < c.directions.size(); ++d) {
                    const auto [i, j] = c.directions[d];
                    const size_t plus = 3 + 2 * d, minus = plus + 1;
                    EXPECT_NEAR(b.dG_dy[i] - b.dG_dy[j], (b.G[plus] - b.G[minus]) / (2 * hy), 1e-5 * scale);
                    const double second = b.H(0, i, i) - 2 * b.H(0, i, j) + b.H(0, j, j);
                    EXPECT_NEAR(second, (b.G[plus] - 2 * b.G[0] + b.G[minus]) / (hy * hy), 1e-3 * scale);
                    for (size_t k = 0; k < n; ++k) EXPECT_EQ(b.H(0, i, k), b.H(0, k, i));
                }
            }
    }
}

// ---- batches ---------------------------------------------------------------------

// Strides, column-major arrays and T broadcasting reach C from NumPy and are
// checked there (python/tests); here the outputs only C callers give: null
// arrays left alone, quantities above the order written as NaN, and a long
// batch whose every point gets the numbers it gets alone.
TEST(CInterfaceBatch, OrdersNullOutputsAndPointsOfALongBatch)
{
    Opened& o = crFeNb();
    const int bcc = o.phase("BCC_A2");
    const size_t n = 4, points = 2000;
    std::vector<double> T(points), y(points * n);
    for (size_t p = 0; p < points; ++p) {
        T[p] = 400 + 0.7 * static_cast<double>(p);
        const double cr = 0.05 + 0.9 * static_cast<double>(p % 97) / 97.0, nb = 0.01;
        y[p * n] = cr;
        y[p * n + 1] = 1 - cr - nb;
        y[p * n + 2] = nb;
        y[p * n + 3] = 1;
    }
    Batch all(points, n);
    tk_outputs out = all.outputs();
    ASSERT_EQ(tk_evaluate(o.ctx, bcc, points, T.data(), points, P0, y.data(), n, 1, 2, &out), TK_OK);
    for (size_t p = 0; p < points; p += 131) {
        Batch one(1, n);
        tk_outputs single = one.outputs();
        ASSERT_EQ(tk_evaluate(o.ctx, bcc, 1, &T[p], 1, P0, &y[p * n], n, 1, 2, &single), TK_OK);
        EXPECT_EQ(one.G[0], all.G[p]) << p;
        EXPECT_EQ(one.CPM[0], all.CPM[p]) << p;
        EXPECT_EQ(one.hessian, std::vector<double>(all.hessian.begin() + p * 25, all.hessian.begin() + (p + 1) * 25));
    }
    for (int order : {0, 1}) {
        SCOPED_TRACE("order " + std::to_string(order));
        Batch low(points, n);
        out = low.outputs();
        out.HM = nullptr;  // left alone
        ASSERT_EQ(tk_evaluate(o.ctx, bcc, points, T.data(), points, P0, y.data(), n, 1, order, &out), TK_OK);
        for (size_t p = 0; p < points; p += 97) {
            EXPECT_EQ(low.G[p], all.G[p]);
            EXPECT_EQ(low.GM[p], all.GM[p]);
            EXPECT_EQ(low.HM[p], 7.0);
            EXPECT_TRUE(std::isnan(low.CPM[p]) && std::isnan(low.d2G_dT2[p]) && std::isnan(low.H(p, 0, 0)));
            if (order == 0) EXPECT_TRUE(std::isnan(low.SM[p]) && std::isnan(low.dG_dy[p * n]));
            else EXPECT_EQ(low.SM[p], all.SM[p]);
        }
    }
    // No points: nothing to do, nothing touched.
    EXPECT_EQ(tk_evaluate(o.ctx, bcc, 0, T.data(), 1, P0, nullptr, n, 1, 2, &out), TK_OK);
}

}  // namespace
