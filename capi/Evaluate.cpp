// The batch evaluation: every input checked first, then the points computed
// with one temperature step per distinct temperature in a row.
#include <cmath>
#include <cstring>

#include "capi/Handles.h"

using capi::fail;
using capi::number;
using capi::succeed;

namespace {

// Checks the site fractions of every point: finite, not negative, each
// sublattice summing to 1 within TK_SUM_TOLERANCE.  sums is scratch of one
// entry per sublattice.
int checkSiteFractions(tk_context* ctx, const PhaseEvaluator& ev, size_t points, const double* y,
                       ptrdiff_t pointStride, ptrdiff_t variableStride, std::vector<double>& sums)
{
    const int n = ev.variableCount();
    for (size_t p = 0; p < points; ++p) {
        const double* row = y + static_cast<ptrdiff_t>(p) * pointStride;
        std::fill(sums.begin(), sums.end(), 0.0);
        for (int v = 0; v < n; ++v) {
            const double value = row[v * variableStride];
            if (!std::isfinite(value) || value < 0.0)
                return fail(ctx, TK_ERROR_INPUT,
                            "point " + std::to_string(p) + ": site fraction of " + ev.variableName(v) +
                                " in sublattice " + std::to_string(ev.variableSublattice(v)) + " is " + number(value) +
                                "; expected a finite value of at least 0");
            sums[static_cast<size_t>(ev.variableSublattice(v))] += value;
        }
        for (size_t s = 0; s < sums.size(); ++s)
            if (!(std::fabs(sums[s] - 1.0) <= TK_SUM_TOLERANCE))
                return fail(ctx, TK_ERROR_INPUT,
                            "point " + std::to_string(p) + ": site fractions of sublattice " + std::to_string(s) +
                                " sum to " + capi::number(sums[s], 15) + "; expected 1 within 1e-9");
    }
    return TK_OK;
}

void store(const PhaseProperties& r, size_t p, int n, const tk_outputs& out)
{
    const size_t nv = static_cast<size_t>(n);
    if (out.G) out.G[p] = r.G;
    if (out.dG_dT) out.dG_dT[p] = r.dG_dT;
    if (out.d2G_dT2) out.d2G_dT2[p] = r.d2G_dT2;
    if (out.dG_dy) std::memcpy(out.dG_dy + p * nv, r.dG_dy.data(), nv * sizeof(double));
    if (out.hessian)
        std::memcpy(out.hessian + p * (nv + 1) * (nv + 1), r.hessian.data(), (nv + 1) * (nv + 1) * sizeof(double));
    if (out.GM) out.GM[p] = r.GM;
    if (out.SM) out.SM[p] = r.SM;
    if (out.HM) out.HM[p] = r.HM;
    if (out.CPM) out.CPM[p] = r.CPM;
}

int evaluateChecked(tk_context* ctx, ThermDatabase& db, int phase, size_t points, const double* T, size_t T_count,
                    double P, const double* y, ptrdiff_t pointStride, ptrdiff_t variableStride, int order,
                    const tk_outputs& out)
{
    PhaseEvaluator& ev = capi::evaluator(ctx, db, phase);
    const char* name = db.phases[static_cast<size_t>(phase)].phase->m_szPhaseName;
    if (!ev.evaluable())
        return fail(ctx, TK_ERROR_NOT_EVALUABLE, std::string("phase ") + name + " cannot be evaluated: " + ev.why());
    const int n = ev.variableCount();
    if (points > 0 && n > 0 && y == nullptr) return fail(ctx, TK_ERROR_ARGUMENT, "no site fractions given");
    if (int status = capi::checkTemperatures(ctx, T, T_count, P)) return status;

    PhaseProperties& r = ctx->scratch[static_cast<size_t>(phase)];
    std::vector<double>& row = ctx->row;
    row.resize(static_cast<size_t>(n));
    ctx->sums.assign(static_cast<size_t>(db.phases[static_cast<size_t>(phase)].phase->m_nSublatticeCount), 0.0);
    if (int status = checkSiteFractions(ctx, ev, points, y, pointStride, variableStride, ctx->sums)) return status;
    const bool packed = variableStride == 1;

    std::lock_guard<std::mutex> lock(capi::evaluationLock());
    for (size_t p = 0; p < points; ++p) {
        const double Tp = T[T_count == 1 ? 0 : p];
        // Another context may have run a temperature step since this one's
        // last batch, so the first point always takes its own.
        if (p == 0 || Tp != T[T_count == 1 ? 0 : p - 1]) {
            ev.setTemperature(Tp, P);
            if (!ev.why().empty())
                return fail(ctx, TK_ERROR_RANGE, std::string("phase ") + name + ", point " + std::to_string(p) + ": " +
                                                     ev.why());
        }
        const double* yp = y + static_cast<ptrdiff_t>(p) * pointStride;
        if (!packed) {
            for (int v = 0; v < n; ++v) row[static_cast<size_t>(v)] = yp[v * variableStride];
            yp = row.data();
        }
        if (!ev.evaluate(yp, order, r))
            return fail(ctx, TK_ERROR_INTERNAL,
                        std::string("phase ") + name + ", point " + std::to_string(p) + ": " + ev.why());
        store(r, p, n, out);
    }
    return TK_OK;
}

}  // namespace

extern "C" {

int tk_evaluate(tk_context* ctx, int phase, size_t points, const double* T, size_t T_count, double P,
                const double* y, ptrdiff_t point_stride, ptrdiff_t variable_stride, int order, const tk_outputs* out)
{
    ThermDatabase* db = capi::database(ctx);
    if (db == nullptr || !capi::checkPhase(ctx, *db, phase)) return TK_ERROR_ARGUMENT;
    if (out == nullptr) return fail(ctx, TK_ERROR_ARGUMENT, "no outputs given");
    if (order < 0 || order > 2)
        return fail(ctx, TK_ERROR_ARGUMENT, "derivative order " + std::to_string(order) + "; expected 0, 1 or 2");
    if (T == nullptr) return fail(ctx, TK_ERROR_ARGUMENT, "no temperatures given");
    if (T_count != 1 && T_count != points)
        return fail(ctx, TK_ERROR_ARGUMENT,
                    std::to_string(T_count) + " temperatures for " + std::to_string(points) +
                        " points; expected 1 or one per point");
    try {
        if (int status = evaluateChecked(ctx, *db, phase, points, T, T_count, P, y, point_stride, variable_stride,
                                         order, *out))
            return status;
    } catch (const std::exception& e) {
        return fail(ctx, TK_ERROR_INTERNAL, std::string("evaluation failed: ") + e.what());
    }
    return succeed(ctx);
}

}  // extern "C"
