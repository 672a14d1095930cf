// What a database holds: its limits, phases, their sublattices and variables.
#include "capi/Handles.h"

using capi::fail;
using capi::succeed;

namespace {

const CVxPhase& phaseOf(const ThermDatabase& db, int phase)
{
    return *db.phases[static_cast<size_t>(phase)].phase;
}

}  // namespace

extern "C" {

int tk_temperature_limits(tk_context* ctx, double* low, double* high)
{
    ThermDatabase* db = capi::database(ctx);
    if (db == nullptr) return TK_ERROR_ARGUMENT;
    if (low == nullptr || high == nullptr) return fail(ctx, TK_ERROR_ARGUMENT, "null output for the limits");
    *low = db->defaultTLow;
    *high = db->defaultTHigh;
    return succeed(ctx);
}

int tk_phase_count(tk_context* ctx, int* count)
{
    ThermDatabase* db = capi::database(ctx);
    if (db == nullptr) return TK_ERROR_ARGUMENT;
    if (count == nullptr) return fail(ctx, TK_ERROR_ARGUMENT, "null output for the phase count");
    *count = static_cast<int>(db->phases.size());
    return succeed(ctx);
}

int tk_phase_find(tk_context* ctx, const char* name, int* phase)
{
    ThermDatabase* db = capi::database(ctx);
    if (db == nullptr) return TK_ERROR_ARGUMENT;
    if (name == nullptr || phase == nullptr) return fail(ctx, TK_ERROR_ARGUMENT, "null phase name or output");
    *phase = db->findPhase(name);
    if (*phase >= 0) return succeed(ctx);
    std::string names;
    for (const ThermDatabase::PhaseRecord& rec : db->phases)
        names += (names.empty() ? "" : ", ") + std::string(rec.phase->m_szPhaseName);
    return fail(ctx, TK_ERROR_NAME,
                "unknown phase " + std::string(name) + "; expected one of " + (names.empty() ? "(none)" : names));
}

int tk_phase_name(tk_context* ctx, int phase, const char** name)
{
    ThermDatabase* db = capi::database(ctx);
    if (db == nullptr || !capi::checkPhase(ctx, *db, phase)) return TK_ERROR_ARGUMENT;
    if (name == nullptr) return fail(ctx, TK_ERROR_ARGUMENT, "null output for the phase name");
    *name = phaseOf(*db, phase).m_szPhaseName;
    return succeed(ctx);
}

int tk_phase_evaluable(tk_context* ctx, int phase, int* evaluable, const char** why)
{
    ThermDatabase* db = capi::database(ctx);
    if (db == nullptr || !capi::checkPhase(ctx, *db, phase)) return TK_ERROR_ARGUMENT;
    if (evaluable == nullptr) return fail(ctx, TK_ERROR_ARGUMENT, "null output for evaluable");
    const CVxPhase& p = phaseOf(*db, phase);
    *evaluable = p.m_bEvaluable ? 1 : 0;
    if (why != nullptr) *why = p.m_bEvaluable ? "" : p.m_NotEvaluableWhy.c_str();
    return succeed(ctx);
}

int tk_phase_sublattice_count(tk_context* ctx, int phase, int* count)
{
    ThermDatabase* db = capi::database(ctx);
    if (db == nullptr || !capi::checkPhase(ctx, *db, phase)) return TK_ERROR_ARGUMENT;
    if (count == nullptr) return fail(ctx, TK_ERROR_ARGUMENT, "null output for the sublattice count");
    *count = phaseOf(*db, phase).m_nSublatticeCount;
    return succeed(ctx);
}

int tk_phase_site_ratio(tk_context* ctx, int phase, int sublattice, double* sites)
{
    ThermDatabase* db = capi::database(ctx);
    if (db == nullptr || !capi::checkPhase(ctx, *db, phase)) return TK_ERROR_ARGUMENT;
    const CVxPhase& p = phaseOf(*db, phase);
    if (sites == nullptr) return fail(ctx, TK_ERROR_ARGUMENT, "null output for the site ratio");
    if (sublattice < 0 || sublattice >= static_cast<int>(p.m_SiteRatios.size()))
        return fail(ctx, TK_ERROR_ARGUMENT,
                    "no sublattice " + std::to_string(sublattice) + " in phase " + p.m_szPhaseName + "; it has " +
                        std::to_string(p.m_SiteRatios.size()));
    *sites = p.m_SiteRatios[static_cast<size_t>(sublattice)];
    return succeed(ctx);
}

int tk_phase_variable_count(tk_context* ctx, int phase, int* count)
{
    ThermDatabase* db = capi::database(ctx);
    if (db == nullptr || !capi::checkPhase(ctx, *db, phase)) return TK_ERROR_ARGUMENT;
    if (count == nullptr) return fail(ctx, TK_ERROR_ARGUMENT, "null output for the variable count");
    try {
        *count = capi::evaluator(ctx, *db, phase).variableCount();
    } catch (const std::exception& e) {
        return fail(ctx, TK_ERROR_INTERNAL, e.what());
    }
    return succeed(ctx);
}

int tk_phase_variable(tk_context* ctx, int phase, int variable, int* sublattice, const char** name)
{
    ThermDatabase* db = capi::database(ctx);
    if (db == nullptr || !capi::checkPhase(ctx, *db, phase)) return TK_ERROR_ARGUMENT;
    if (sublattice == nullptr || name == nullptr)
        return fail(ctx, TK_ERROR_ARGUMENT, "null output for the variable's sublattice or name");
    try {
        const PlanEvaluator& ev = capi::evaluator(ctx, *db, phase);
        if (variable < 0 || variable >= ev.variableCount())
            return fail(ctx, TK_ERROR_ARGUMENT,
                        "no variable " + std::to_string(variable) + " in phase " + phaseOf(*db, phase).m_szPhaseName +
                            "; it has " + std::to_string(ev.variableCount()));
        *sublattice = ev.variableSublattice(variable);
        *name = ev.variableName(variable);
    } catch (const std::exception& e) {
        return fail(ctx, TK_ERROR_INTERNAL, e.what());
    }
    return succeed(ctx);
}

}  // extern "C"
