// The C interface: opening and its messages, the refusals of bad input,
// values against hand arithmetic, derivatives against differences of G, the
// array layouts of a batch, and contexts on two threads.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <thread>
#include <unistd.h>
#include <vector>

#include "include/thermkernel.h"

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double R = 8.3145;  // J/(mol K), the ideal-mixing constant
const double P0 = 101325.0;

// A binary solution A-B (one sublattice) whose end member A uses a function
// of limited range, and a phase the reader cannot take.
const char kBinary[] = R"(ELEMENT VA VACUUM 0 0 0 !
ELEMENT A X 10 0 0 !
ELEMENT B X 20 0 0 !
FUNCTION GLIM 298.15 -1000+2*T; 1000 N !
TYPE_DEFINITION % SEQ * !
PHASE SOL % 1 1 !
CONSTITUENT SOL :A,B: !
PARAMETER G(SOL,A;0) 298.15 GLIM; 6000 N !
PARAMETER G(SOL,B;0) 298.15 -500-T*LN(T); 6000 N !
PARAMETER L(SOL,A,B;0) 298.15 -3000+T; 6000 N !
PARAMETER L(SOL,A,B;1) 298.15 400; 6000 N !
PHASE BROKEN % 1 1 !
CONSTITUENT BROKEN :A: !
PARAMETER G(BROKEN,A;0) 298.15 GUNDEFINED+T; 6000 N !
)";

std::string writeFile(const std::string& name, const std::string& text)
{
    // the process id keeps concurrent runs (two build configurations) apart
    const std::string path =
        (std::filesystem::temp_directory_path() / (std::to_string(::getpid()) + "_" + name)).string();
    std::ofstream(path) << text;
    return path;
}

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

TEST(CInterfaceOpen, MissingFileUnreadableAndStrictErrorsFailWithTheirText)
{
    const std::string bad = writeFile("tk_bad_reference.tdb", "ELEMENT A X 1 0 0 !\nFUNCTION GBAD 298.15 GUNDEFINED+T; 6000 N !\n");
    struct Case
    {
        std::string path;
        int flags;
        int status;
        std::string message;  // contained in tk_database_message
    };
    const std::vector<Case> cases = {
        {"/nonexistent/db.tdb", 0, TK_ERROR_FILE, "cannot read database /nonexistent/db.tdb"},
        {bad, TK_OPEN_STRICT, TK_ERROR_FILE, bad + ":2:22: error: FUNCTION GBAD: undefined function 'GUNDEFINED'"},
        {bad, 0, TK_OK, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.path + " flags " + std::to_string(c.flags));
        tk_database* db = nullptr;
        EXPECT_EQ(tk_database_open(c.path.c_str(), c.flags, &db), c.status);
        ASSERT_NE(db, nullptr);  // a handle also on failure, for the message
        const std::string message = tk_database_message(db);
        if (c.message.empty()) EXPECT_EQ(message, "");
        else EXPECT_NE(message.find(c.message), std::string::npos) << message;
        tk_database_close(db);
    }
    // Lenient: the error stays retrievable as a diagnostic.
    tk_database* db = nullptr;
    ASSERT_EQ(tk_database_open(bad.c_str(), 0, &db), TK_OK);
    int count = 0, isError = 0;
    const char* text = nullptr;
    ASSERT_EQ(tk_database_diagnostic_count(db, &count), TK_OK);
    ASSERT_EQ(count, 1);
    ASSERT_EQ(tk_database_diagnostic(db, 0, &isError, &text), TK_OK);
    EXPECT_EQ(isError, 1);
    EXPECT_NE(std::string(text).find("GUNDEFINED"), std::string::npos) << text;
    EXPECT_EQ(tk_database_diagnostic(db, 1, &isError, &text), TK_ERROR_ARGUMENT);
    tk_context* ctx = nullptr;
    EXPECT_EQ(tk_context_create(nullptr, &ctx), TK_ERROR_ARGUMENT);
    EXPECT_EQ(tk_database_open(bad.c_str(), 0, nullptr), TK_ERROR_ARGUMENT);
    tk_database_close(db);
}

TEST(CInterfaceOpen, PhasesSublatticesAndVariablesDescribeTheDatabase)
{
    Opened& o = crFeNb();
    ASSERT_EQ(o.status, TK_OK) << tk_database_message(o.db);
    const int bcc = o.phase("bcc_a2");  // names compare case-insensitively
    const char* name = nullptr;
    ASSERT_EQ(tk_phase_name(o.ctx, bcc, &name), TK_OK);
    EXPECT_STREQ(name, "BCC_A2");
    int sublattices = 0;
    ASSERT_EQ(tk_phase_sublattice_count(o.ctx, bcc, &sublattices), TK_OK);
    ASSERT_EQ(sublattices, 2);
    double sites[2] = {};
    for (int s = 0; s < 2; ++s) ASSERT_EQ(tk_phase_site_ratio(o.ctx, bcc, s, &sites[s]), TK_OK);
    EXPECT_EQ(sites[0], 1.0);
    EXPECT_EQ(sites[1], 3.0);
    std::string variables;
    for (int v = 0; v < o.variables(bcc); ++v) {
        int s = -1;
        const char* var = nullptr;
        ASSERT_EQ(tk_phase_variable(o.ctx, bcc, v, &s, &var), TK_OK);
        variables += std::to_string(s) + var + " ";
    }
    EXPECT_EQ(variables, "0CR 0FE 0NB 1VA ");
    double low = 0, high = 0;
    ASSERT_EQ(tk_temperature_limits(o.ctx, &low, &high), TK_OK);
    EXPECT_EQ(low, 298.15);
    EXPECT_EQ(high, 6000.0);
}

// ---- refusals ---------------------------------------------------------------

struct Refusal
{
    const char* name;
    int status;
    const char* message;  // contained in tk_context_message
    std::function<int(tk_context*, int phase, tk_outputs*)> call;
};

// Test names show the case's name, not its bytes.
void PrintTo(const Refusal& r, std::ostream* os) { *os << r.name; }

class CInterfaceRefusal : public ::testing::TestWithParam<Refusal>
{
};

TEST_P(CInterfaceRefusal, FailsWithStatusAndMessageAndRecovers)
{
    const Refusal& r = GetParam();
    static const std::string path = writeFile("tk_binary.tdb", kBinary);
    static Opened o(path);
    ASSERT_EQ(o.status, TK_OK) << tk_database_message(o.db);
    const int sol = o.phase("SOL");
    Batch b(3, 2);
    tk_outputs out = b.outputs();
    EXPECT_EQ(r.call(o.ctx, sol, &out), r.status);
    const std::string message = tk_context_message(o.ctx);
    EXPECT_NE(message.find(r.message), std::string::npos) << message;
    // The context stays usable, and a success clears the message.
    const double T = 500, y[] = {0.5, 0.5};
    EXPECT_EQ(tk_evaluate(o.ctx, sol, 1, &T, 1, P0, y, 2, 1, 2, &out), TK_OK) << tk_context_message(o.ctx);
    EXPECT_STREQ(tk_context_message(o.ctx), "");
}

int evaluateAt(tk_context* ctx, int phase, tk_outputs* out, double T, std::vector<double> y, int order = 2)
{
    return tk_evaluate(ctx, phase, y.size() / 2, &T, 1, P0, y.data(), 2, 1, order, out);
}

const Refusal kRefusals[] = {
    {"UnknownPhase", TK_ERROR_NAME, "unknown phase LIQUID; expected one of SOL, BROKEN",
     [](tk_context* c, int, tk_outputs*) { int p; return tk_phase_find(c, "LIQUID", &p); }},
    {"PhaseIndex", TK_ERROR_ARGUMENT, "no phase number 5; expected 0 to 1",
     [](tk_context* c, int, tk_outputs* o) { return evaluateAt(c, 5, o, 500, {0.5, 0.5}); }},
    {"NotEvaluable", TK_ERROR_NOT_EVALUABLE, "phase BROKEN cannot be evaluated: ",
     [](tk_context* c, int, tk_outputs* o) { int p; tk_phase_find(c, "BROKEN", &p); double T = 500, y = 1;
                                             return tk_evaluate(c, p, 1, &T, 1, P0, &y, 1, 1, 0, o); }},
    {"OrderThree", TK_ERROR_ARGUMENT, "derivative order 3; expected 0, 1 or 2",
     [](tk_context* c, int p, tk_outputs* o) { return evaluateAt(c, p, o, 500, {0.5, 0.5}, 3); }},
    {"NoOutputs", TK_ERROR_ARGUMENT, "no outputs given",
     [](tk_context* c, int p, tk_outputs*) { return evaluateAt(c, p, nullptr, 500, {0.5, 0.5}); }},
    {"TemperatureCount", TK_ERROR_ARGUMENT, "2 temperatures for 3 points; expected 1 or one per point",
     [](tk_context* c, int p, tk_outputs* o) { double T[] = {500, 600}, y[6] = {.5, .5, .5, .5, .5, .5};
                                               return tk_evaluate(c, p, 3, T, 2, P0, y, 2, 1, 0, o); }},
    {"NaNTemperature", TK_ERROR_INPUT, "temperature 0 is nan; expected a finite value",
     [](tk_context* c, int p, tk_outputs* o) { return evaluateAt(c, p, o, kNaN, {0.5, 0.5}); }},
    {"BeyondEveryRange", TK_ERROR_RANGE, "phase SOL, point 0: T = 7000 K is outside the temperature ranges of parameter G(SOL,A;0) (298.15 to 6000 K)",
     [](tk_context* c, int p, tk_outputs* o) { return evaluateAt(c, p, o, 7000, {0.5, 0.5}); }},
    {"NegativeTemperature", TK_ERROR_INPUT, "temperature 0 is -5 K; expected a positive value",
     [](tk_context* c, int p, tk_outputs* o) { return evaluateAt(c, p, o, -5, {0.5, 0.5}); }},
    {"BeyondAFunctionsRange", TK_ERROR_RANGE,
     "phase SOL, point 0: T = 1500 K is outside the temperature ranges of function GLIM (298.15 to 1000 K)",
     [](tk_context* c, int p, tk_outputs* o) { return evaluateAt(c, p, o, 1500, {0.5, 0.5}); }},
    {"BeyondAFunctionsRangeAtALaterPoint", TK_ERROR_RANGE,
     "phase SOL, point 2: T = 1500 K is outside the temperature ranges of function GLIM (298.15 to 1000 K)",
     [](tk_context* c, int p, tk_outputs* o) { double T[] = {500, 600, 1500}, y[6] = {.5, .5, .5, .5, .5, .5};
                                               return tk_evaluate(c, p, 3, T, 3, P0, y, 2, 1, 2, o); }},
    {"NegativeFraction", TK_ERROR_INPUT, "point 1: site fraction of A in sublattice 0 is -0.1; expected a finite value of at least 0",
     [](tk_context* c, int p, tk_outputs* o) { return evaluateAt(c, p, o, 500, {0.5, 0.5, -0.1, 1.1}); }},
    {"InfiniteFraction", TK_ERROR_INPUT, "point 0: site fraction of B in sublattice 0 is inf",
     [](tk_context* c, int p, tk_outputs* o) { return evaluateAt(c, p, o, 500, {0.5, INFINITY}); }},
    {"SumOffByMoreThanTheTolerance", TK_ERROR_INPUT, "point 2: site fractions of sublattice 0 sum to 1.000000002; expected 1 within 1e-9",
     [](tk_context* c, int p, tk_outputs* o) { return evaluateAt(c, p, o, 500, {.5, .5, 0, 1, .5, .5 + 2e-9}); }},
    {"NoSiteFractions", TK_ERROR_ARGUMENT, "no site fractions given",
     [](tk_context* c, int p, tk_outputs* o) { double T = 500; return tk_evaluate(c, p, 1, &T, 1, P0, nullptr, 2, 1, 0, o); }},
    {"UnknownFunction", TK_ERROR_NAME, "unknown function GNONE",
     [](tk_context* c, int, tk_outputs*) { int f; return tk_function_find(c, "GNONE", &f); }},
    {"FunctionBeyondItsRange", TK_ERROR_RANGE, "T = 1200 K is outside the temperature ranges of function GLIM",
     [](tk_context* c, int, tk_outputs*) { int f; tk_function_find(c, "GLIM", &f); double T[] = {900, 1200}, v[2];
                                           return tk_function_evaluate(c, f, 2, T, P0, v, nullptr, nullptr); }},
    {"VariableIndex", TK_ERROR_ARGUMENT, "no variable 2 in phase SOL; it has 2",
     [](tk_context* c, int p, tk_outputs*) { int s; const char* n; return tk_phase_variable(c, p, 2, &s, &n); }},
    {"SublatticeIndex", TK_ERROR_ARGUMENT, "no sublattice 1 in phase SOL; it has 1",
     [](tk_context* c, int p, tk_outputs*) { double s; return tk_phase_site_ratio(c, p, 1, &s); }},
};

INSTANTIATE_TEST_SUITE_P(Cases, CInterfaceRefusal, ::testing::ValuesIn(kRefusals),
                         [](const ::testing::TestParamInfo<Refusal>& info) { return std::string(info.param.name); });

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
    static const std::string path = writeFile("tk_binary_values.tdb", kBinary);
    Opened o(path);
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
    // The function alone, through the function call.
    int f = -1;
    ASSERT_EQ(tk_function_find(o.ctx, "glim", &f), TK_OK);
    double value[2], dT[2], dT2[2];
    const double Tf[] = {300, 1000};
    ASSERT_EQ(tk_function_evaluate(o.ctx, f, 2, Tf, P0, value, dT, dT2), TK_OK);
    EXPECT_DOUBLE_EQ(value[0], -400.0);
    EXPECT_DOUBLE_EQ(value[1], 1000.0);
    EXPECT_EQ(dT[1], 2.0);
    EXPECT_EQ(dT2[1], 0.0);
}

// Derivatives of a magnetic ternary (Cr-Fe-Nb BCC_A2) against central
// differences of G: in T, and along directions that keep each sublattice's
// sum (a fraction moved from one constituent to another).
TEST(CInterfaceValues, DerivativesAgreeWithDifferencesOfG)
{
    Opened& o = crFeNb();
    const int bcc = o.phase("BCC_A2");
    const size_t n = static_cast<size_t>(o.variables(bcc));
    ASSERT_EQ(n, 4u);
    const std::vector<std::vector<double>> compositions = {{0.1, 0.88, 0.02, 1}, {0.7, 0.2, 0.1, 1}, {0.3, 0.3, 0.4, 1}};
    for (double T : {400.0, 1000.0, 1043.0, 1700.0}) {
        for (const std::vector<double>& y0 : compositions) {
            SCOPED_TRACE("T " + std::to_string(T) + " yCr " + std::to_string(y0[0]));
            const double hT = 1e-3, hy = 1e-5;
            // points: y0 at T, T +- hT, and y0 +- hy (e_i - e_j) for (i, j) = (0,1), (0,2), (1,2)
            const std::vector<std::pair<int, int>> dirs = {{0, 1}, {0, 2}, {1, 2}};
            std::vector<double> Ts = {T, T + hT, T - hT}, ys;
            for (int k = 0; k < 3; ++k) ys.insert(ys.end(), y0.begin(), y0.end());
            for (auto [i, j] : dirs)
                for (double s : {1.0, -1.0}) {
                    std::vector<double> y = y0;
                    y[static_cast<size_t>(i)] += s * hy;
                    y[static_cast<size_t>(j)] -= s * hy;
                    ys.insert(ys.end(), y.begin(), y.end());
                    Ts.push_back(T);
                }
            Batch b(Ts.size(), n);
            tk_outputs out = b.outputs();
            ASSERT_EQ(tk_evaluate(o.ctx, bcc, Ts.size(), Ts.data(), Ts.size(), P0, ys.data(),
                                  static_cast<ptrdiff_t>(n), 1, 2, &out), TK_OK)
                << tk_context_message(o.ctx);
            const double scale = std::fabs(b.G[0]) + 1;
            EXPECT_NEAR(b.dG_dT[0], (b.G[1] - b.G[2]) / (2 * hT), 1e-6 * scale);
            EXPECT_NEAR(b.d2G_dT2[0], (b.dG_dT[1] - b.dG_dT[2]) / (2 * hT), 1e-6 * std::fabs(b.d2G_dT2[0]) + 1e-7);
            EXPECT_NEAR(b.H(0, n, n), b.d2G_dT2[0], 1e-12 * scale);
            EXPECT_NEAR(b.SM[0], -(b.GM[1] - b.GM[2]) / (2 * hT), 1e-6 * scale);
            EXPECT_NEAR(b.CPM[0], T * (b.SM[1] - b.SM[2]) / (2 * hT), 1e-4 * (std::fabs(b.CPM[0]) + 1));
            for (size_t v = 0; v < n; ++v)  // d(dG/dy)/dT against the T block of the Hessian
                EXPECT_NEAR(b.H(0, v, n), (b.dG_dy[1 * n + v] - b.dG_dy[2 * n + v]) / (2 * hT), 1e-5 * scale);
            for (size_t d = 0; d < dirs.size(); ++d) {
                const size_t i = static_cast<size_t>(dirs[d].first), j = static_cast<size_t>(dirs[d].second);
                const size_t plus = 3 + 2 * d, minus = plus + 1;
                EXPECT_NEAR(b.dG_dy[i] - b.dG_dy[j], (b.G[plus] - b.G[minus]) / (2 * hy), 1e-5 * scale);
                const double second = b.H(0, i, i) - 2 * b.H(0, i, j) + b.H(0, j, j);
                EXPECT_NEAR(second, (b.G[plus] - 2 * b.G[0] + b.G[minus]) / (hy * hy), 1e-3 * scale);
                for (size_t k = 0; k < n; ++k) EXPECT_EQ(b.H(0, i, k), b.H(0, k, i));
            }
        }
    }
}

// ---- layouts --------------------------------------------------------------------

// One set of points in three layouts (row-major, column-major, a single row
// read with point stride 0) and with one T or a T per point: the same numbers;
// quantities above the order are NaN and null outputs are left alone.
TEST(CInterfaceLayout, StridesTemperatureBroadcastAndOrdersGiveTheSameNumbers)
{
    Opened& o = crFeNb();
    const int bcc = o.phase("BCC_A2");
    const size_t n = 4, points = 3;
    const double rows[points][n] = {{0.1, 0.88, 0.02, 1}, {0.7, 0.2, 0.1, 1}, {0.0, 1.0, 0.0, 1}};
    double cols[n][points];
    for (size_t p = 0; p < points; ++p)
        for (size_t v = 0; v < n; ++v) cols[v][p] = rows[p][v];
    const double T1 = 1200, Tper[points] = {1200, 1200, 1200};

    Batch ref(points, n);
    tk_outputs out = ref.outputs();
    ASSERT_EQ(tk_evaluate(o.ctx, bcc, points, &T1, 1, P0, &rows[0][0], n, 1, 2, &out), TK_OK);
    Batch col(points, n);
    out = col.outputs();
    ASSERT_EQ(tk_evaluate(o.ctx, bcc, points, Tper, points, P0, &cols[0][0], 1, points, 2, &out), TK_OK);
    for (size_t p = 0; p < points; ++p) {
        EXPECT_EQ(col.G[p], ref.G[p]);
        EXPECT_EQ(col.CPM[p], ref.CPM[p]);
    }
    EXPECT_EQ(col.hessian, ref.hessian);
    EXPECT_EQ(col.dG_dy, ref.dG_dy);

    // The second row at three temperatures, read with point stride 0.
    const double Ts[points] = {600, 1200, 1800};
    Batch broadcast(points, n);
    out = broadcast.outputs();
    ASSERT_EQ(tk_evaluate(o.ctx, bcc, points, Ts, points, P0, rows[1], 0, 1, 2, &out), TK_OK);
    EXPECT_EQ(broadcast.G[1], ref.G[1]);
    EXPECT_NE(broadcast.G[0], broadcast.G[1]);

    for (int order : {0, 1}) {
        SCOPED_TRACE("order " + std::to_string(order));
        Batch low(points, n);
        out = low.outputs();
        out.HM = nullptr;  // left alone
        ASSERT_EQ(tk_evaluate(o.ctx, bcc, points, &T1, 1, P0, &rows[0][0], n, 1, order, &out), TK_OK);
        for (size_t p = 0; p < points; ++p) {
            EXPECT_EQ(low.G[p], ref.G[p]);
            EXPECT_EQ(low.GM[p], ref.GM[p]);
            EXPECT_EQ(low.HM[p], 7.0);
            EXPECT_TRUE(std::isnan(low.CPM[p]));
            EXPECT_TRUE(std::isnan(low.H(p, 0, 0)));
            if (order == 0) EXPECT_TRUE(std::isnan(low.SM[p]));
            else EXPECT_EQ(low.SM[p], ref.SM[p]);
        }
    }
    // No points: nothing to do, nothing touched.
    EXPECT_EQ(tk_evaluate(o.ctx, bcc, 0, &T1, 1, P0, nullptr, n, 1, 2, &out), TK_OK);
}

// ---- threads ---------------------------------------------------------------------

TEST(CInterfaceThreads, ContextsOnTwoThreadsGiveTheNumbersOfOne)
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
    Batch alone(points, n);
    tk_outputs out = alone.outputs();
    ASSERT_EQ(tk_evaluate(o.ctx, bcc, points, T.data(), points, P0, y.data(), n, 1, 2, &out), TK_OK);
    // Wherever a point sits in a long batch, it gets the numbers it gets alone.
    for (size_t p = 0; p < points; p += 131) {
        Batch one(1, n);
        tk_outputs single = one.outputs();
        ASSERT_EQ(tk_evaluate(o.ctx, bcc, 1, &T[p], 1, P0, &y[p * n], n, 1, 2, &single), TK_OK);
        EXPECT_EQ(one.G[0], alone.G[p]) << p;
        EXPECT_EQ(one.CPM[0], alone.CPM[p]) << p;
        EXPECT_EQ(one.hessian, std::vector<double>(alone.hessian.begin() + p * 25, alone.hessian.begin() + (p + 1) * 25));
    }

    // Each thread alternates between the per-point temperatures and one of its own.
    std::vector<Batch> results(2, Batch(points, n));
    std::vector<int> status(2, -1);
    std::vector<std::thread> threads;
    for (size_t k = 0; k < 2; ++k)
        threads.emplace_back([&, k] {
            tk_context* ctx = nullptr;
            tk_context_create(o.db, &ctx);
            tk_outputs mine = results[k].outputs();
            Batch other(points, n);
            tk_outputs scratch = other.outputs();
            const double Tk = 900 + 300 * static_cast<double>(k);
            status[k] = TK_OK;
            for (int round = 0; round < 5 && status[k] == TK_OK; ++round) {
                status[k] = tk_evaluate(ctx, bcc, points, &Tk, 1, P0, y.data(), n, 1, 2, &scratch);
                if (status[k] == TK_OK)
                    status[k] = tk_evaluate(ctx, bcc, points, T.data(), points, P0, y.data(), n, 1, 2, &mine);
            }
            tk_context_free(ctx);
        });
    for (std::thread& t : threads) t.join();
    for (size_t k = 0; k < 2; ++k) {
        ASSERT_EQ(status[k], TK_OK);
        EXPECT_EQ(results[k].G, alone.G);
        EXPECT_EQ(results[k].hessian, alone.hessian);
        EXPECT_EQ(results[k].CPM, alone.CPM);
    }
}

}  // namespace
