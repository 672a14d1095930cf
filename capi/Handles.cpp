#include "capi/Handles.h"

#include <cmath>
#include <cstdio>

namespace capi {

std::mutex& evaluationLock()
{
    static std::mutex lock;
    return lock;
}

int fail(tk_context* ctx, int status, const std::string& message)
{
    if (ctx != nullptr) ctx->message = message;
    return status;
}

int succeed(tk_context* ctx)
{
    ctx->message.clear();
    return TK_OK;
}

ThermDatabase* database(tk_context* ctx)
{
    if (ctx == nullptr) return nullptr;
    if (ctx->handle == nullptr || ctx->handle->db == nullptr) {
        fail(ctx, TK_ERROR_ARGUMENT, "the context's database was not opened successfully");
        return nullptr;
    }
    return ctx->handle->db.get();
}

bool checkPhase(tk_context* ctx, const ThermDatabase& db, int phase)
{
    if (phase >= 0 && phase < static_cast<int>(db.phases.size())) return true;
    fail(ctx, TK_ERROR_ARGUMENT,
         "no phase number " + std::to_string(phase) + "; expected 0 to " + std::to_string(db.phases.size() - 1));
    return false;
}

PlanEvaluator& evaluator(tk_context* ctx, ThermDatabase& db, int phase)
{
    const size_t p = static_cast<size_t>(phase);
    if (ctx->evaluators.size() != db.phases.size()) ctx->evaluators.resize(db.phases.size());
    if (!ctx->evaluators[p]) ctx->evaluators[p] = std::make_unique<PlanEvaluator>(db, phase);
    return *ctx->evaluators[p];
}

int checkTemperatures(tk_context* ctx, const double* T, size_t count, double P)
{
    if (!std::isfinite(P)) return fail(ctx, TK_ERROR_INPUT, "pressure is " + number(P) + "; expected a finite value");
    for (size_t i = 0; i < count; ++i) {
        if (!std::isfinite(T[i]))
            return fail(ctx, TK_ERROR_INPUT,
                        "temperature " + std::to_string(i) + " is " + number(T[i]) + "; expected a finite value");
        if (!(T[i] > 0.0))
            return fail(ctx, TK_ERROR_INPUT,
                        "temperature " + std::to_string(i) + " is " + number(T[i]) + " K; expected a positive value");
    }
    return TK_OK;
}

std::string number(double value, int digits)
{
    char buf[40];
    std::snprintf(buf, sizeof buf, "%.*g", digits, value);
    return buf;
}

}  // namespace capi
