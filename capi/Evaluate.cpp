// The batch evaluation: every input checked first, then the points computed
// through the phase's compiled plan in blocks, or point by point through the
// kernel for a phase the plan does not cover.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "capi/Handles.h"

using capi::fail;
using capi::number;
using capi::succeed;

namespace {

// Checks the site fractions of every point: finite, not negative, each
// sublattice summing to 1 within TK_SUM_TOLERANCE.  sums is scratch of one
// entry per sublattice.
int checkSiteFractions(tk_context* ctx, const PlanEvaluator& ev, size_t points, const double* y,
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

// Results of the kernel path, one point (PhaseProperties) at a time.
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

// The phase's evaluation point by point through the kernel, for a phase the
// compiled plan does not cover; one temperature step per distinct
// temperature in a row.
int evaluateKernelPath(tk_context* ctx, PlanEvaluator& ev, const char* name, size_t points, const double* T,
                       size_t T_count, double P, const double* y, ptrdiff_t pointStride, ptrdiff_t variableStride,
                       int order, const tk_outputs& out)
{
    const int n = ev.variableCount();
    std::vector<double>& row = ctx->row;
    row.resize(static_cast<size_t>(n));
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
        if (variableStride != 1) {
            for (int v = 0; v < n; ++v) row[static_cast<size_t>(v)] = yp[v * variableStride];
            yp = row.data();
        }
        if (!ev.evaluate(yp, order, ctx->point))
            return fail(ctx, TK_ERROR_INTERNAL,
                        std::string("phase ") + name + ", point " + std::to_string(p) + ": " + ev.why());
        store(ctx->point, p, n, out);
    }
    return TK_OK;
}

// Points per call of the plan's batch evaluation: the block's fractions and
// results stay in the cache while they are gathered and scattered.
constexpr size_t kBlock = 256;

// Writes block results of points first..first+count-1 (plan layout, see
// PlanEvaluator.h) into the caller's arrays, with the molar quantities.
void scatterBlock(tk_context* ctx, const PlanEvaluator& ev, size_t first, size_t count, const double* T,
                  size_t T_count, int order, const tk_outputs& out)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const size_t n = static_cast<size_t>(ev.variableCount()), dim = n + 1;
    const double* G = ctx->blockG.data();
    const double* grad = ctx->blockGrad.data();
    const double* hess = ctx->blockHess.data();
    for (size_t p = 0; p < count; ++p) {
        const size_t q = first + p;
        const double Tq = T[T_count == 1 ? 0 : q];
        const double atoms = ev.atoms(ctx->blockY.data() + p, count);
        const double GM = G[p] / atoms;
        const double dG_dT = order >= 1 ? grad[n * count + p] : nan;
        const double d2G_dT2 = order >= 2 ? hess[EvaluationPlan::packedIndex(static_cast<int>(n), static_cast<int>(n),
                                                                              static_cast<int>(dim)) * count + p]
                                          : nan;
        const double SM = -dG_dT / atoms;
        if (out.G) out.G[q] = G[p];
        if (out.GM) out.GM[q] = GM;
        if (out.dG_dT) out.dG_dT[q] = dG_dT;
        if (out.SM) out.SM[q] = SM;
        if (out.HM) out.HM[q] = GM + Tq * SM;
        if (out.d2G_dT2) out.d2G_dT2[q] = d2G_dT2;
        if (out.CPM) out.CPM[q] = -Tq * d2G_dT2 / atoms;
        if (out.dG_dy)
            for (size_t v = 0; v < n; ++v) out.dG_dy[q * n + v] = order >= 1 ? grad[v * count + p] : nan;
        if (out.hessian) {
            double* h = out.hessian + q * dim * dim;
            for (size_t r = 0; r < dim; ++r)
                for (size_t c = r; c < dim; ++c) {
                    const size_t k = EvaluationPlan::packedIndex(static_cast<int>(r), static_cast<int>(c),
                                                                 static_cast<int>(dim));
                    h[r * dim + c] = h[c * dim + r] = order >= 2 ? hess[k * count + p] : nan;
                }
        }
    }
}

// The phase's evaluation through its compiled plan, kBlock points per batch
// call: the fractions gathered into the plan's layout, the results scattered
// back.  With a temperature per point a refusal is traced to its point.
int evaluatePlanPath(tk_context* ctx, PlanEvaluator& ev, const char* name, size_t points, const double* T,
                     size_t T_count, double P, const double* y, ptrdiff_t pointStride, ptrdiff_t variableStride,
                     int order, const tk_outputs& out)
{
    const size_t n = static_cast<size_t>(ev.variableCount()), dim = n + 1;
    ctx->blockY.resize(n * kBlock);
    ctx->blockG.resize(kBlock);
    ctx->blockGrad.resize(dim * kBlock);
    ctx->blockHess.resize(dim * (dim + 1) / 2 * kBlock);
    const bool oneT = T_count == 1;
    if (oneT) {
        ev.setTemperature(T[0], P);
        if (!ev.why().empty())
            return fail(ctx, TK_ERROR_RANGE, std::string("phase ") + name + ", point 0: " + ev.why());
    }
    for (size_t first = 0; first < points; first += kBlock) {
        const size_t count = std::min(kBlock, points - first);
        for (size_t p = 0; p < count; ++p) {
            const double* yp = y + static_cast<ptrdiff_t>(first + p) * pointStride;
            for (size_t v = 0; v < n; ++v) ctx->blockY[v * count + p] = yp[static_cast<ptrdiff_t>(v) * variableStride];
        }
        const bool ok = oneT ? ev.evaluateBatch(ctx->blockY.data(), count, order, ctx->blockG.data(),
                                                ctx->blockGrad.data(), ctx->blockHess.data())
                             : ev.evaluateBatch(T + first, P, ctx->blockY.data(), count, order, ctx->blockG.data(),
                                                ctx->blockGrad.data(), ctx->blockHess.data());
        if (!ok) {
            for (size_t p = 0; !oneT && p < count; ++p) {
                ev.setTemperature(T[first + p], P);
                if (!ev.why().empty())
                    return fail(ctx, TK_ERROR_RANGE, std::string("phase ") + name + ", point " +
                                                         std::to_string(first + p) + ": " + ev.why());
            }
            return fail(ctx, TK_ERROR_INTERNAL, std::string("phase ") + name + ": " + ev.why());
        }
        scatterBlock(ctx, ev, first, count, T, T_count, order, out);
    }
    return TK_OK;
}

int evaluateChecked(tk_context* ctx, ThermDatabase& db, int phase, size_t points, const double* T, size_t T_count,
                    double P, const double* y, ptrdiff_t pointStride, ptrdiff_t variableStride, int order,
                    const tk_outputs& out)
{
    PlanEvaluator& ev = capi::evaluator(ctx, db, phase);
    const char* name = db.phases[static_cast<size_t>(phase)].phase->m_szPhaseName;
    if (!ev.evaluable())
        return fail(ctx, TK_ERROR_NOT_EVALUABLE, std::string("phase ") + name + " cannot be evaluated: " + ev.why());
    const int n = ev.variableCount();
    if (points > 0 && n > 0 && y == nullptr) return fail(ctx, TK_ERROR_ARGUMENT, "no site fractions given");
    if (int status = capi::checkTemperatures(ctx, T, T_count, P)) return status;
    ctx->sums.assign(static_cast<size_t>(db.phases[static_cast<size_t>(phase)].phase->m_nSublatticeCount), 0.0);
    if (int status = checkSiteFractions(ctx, ev, points, y, pointStride, variableStride, ctx->sums)) return status;

    std::lock_guard<std::mutex> lock(capi::evaluationLock());
    if (ev.usesPlan())
        return evaluatePlanPath(ctx, ev, name, points, T, T_count, P, y, pointStride, variableStride, order, out);
    return evaluateKernelPath(ctx, ev, name, points, T, T_count, P, y, pointStride, variableStride, order, out);
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
