// The database's symbol functions (FUNCTION) by name, and their values.
#include "capi/Handles.h"
#include "thermfunctions/TTempArray.h"
#include "thermfunctions/TThermFkt.h"

using capi::fail;
using capi::number;
using capi::succeed;

namespace {

bool checkFunction(tk_context* ctx, ThermDatabase& db, int function)
{
    const int count = db.symbols().m_FktArray.m_nSize;
    if (function >= 0 && function < count) return true;
    fail(ctx, TK_ERROR_ARGUMENT,
         "no function number " + std::to_string(function) + "; the database has " + std::to_string(count));
    return false;
}

const char* functionName(ThermDatabase& db, int function)
{
    const myCStringArray& names = db.dataMgr.m_SymbolNames1;
    return function < names.m_nSize ? names.m_pData[function].c_str() : "";
}

}  // namespace

extern "C" {

int tk_function_count(tk_context* ctx, int* count)
{
    ThermDatabase* db = capi::database(ctx);
    if (db == nullptr) return TK_ERROR_ARGUMENT;
    if (count == nullptr) return fail(ctx, TK_ERROR_ARGUMENT, "null output for the function count");
    *count = db->symbols().m_FktArray.m_nSize;
    return succeed(ctx);
}

int tk_function_find(tk_context* ctx, const char* name, int* function)
{
    ThermDatabase* db = capi::database(ctx);
    if (db == nullptr) return TK_ERROR_ARGUMENT;
    if (name == nullptr || function == nullptr) return fail(ctx, TK_ERROR_ARGUMENT, "null function name or output");
    const int index = db->dataMgr.FindSymbolFunction(name);
    if (index < 0 || index >= db->symbols().m_FktArray.m_nSize) {
        *function = -1;
        return fail(ctx, TK_ERROR_NAME, "unknown function " + std::string(name) + "; expected a FUNCTION of " +
                                            db->sourceName);
    }
    *function = index;
    return succeed(ctx);
}

int tk_function_name(tk_context* ctx, int function, const char** name)
{
    ThermDatabase* db = capi::database(ctx);
    if (db == nullptr || !checkFunction(ctx, *db, function)) return TK_ERROR_ARGUMENT;
    if (name == nullptr) return fail(ctx, TK_ERROR_ARGUMENT, "null output for the function name");
    *name = functionName(*db, function);
    return succeed(ctx);
}

int tk_function_evaluate(tk_context* ctx, int function, size_t points, const double* T, double P, double* value,
                         double* dT, double* dT2)
{
    ThermDatabase* db = capi::database(ctx);
    if (db == nullptr || !checkFunction(ctx, *db, function)) return TK_ERROR_ARGUMENT;
    if (points > 0 && T == nullptr) return fail(ctx, TK_ERROR_ARGUMENT, "no temperatures given");
    if (int status = capi::checkTemperatures(ctx, T, points, P)) return status;
    TThermFktMgr& symbols = db->symbols();
    TThermFkt* f = symbols.m_FktArray.m_pData[function];
    std::lock_guard<std::mutex> lock(capi::evaluationLock());
    for (size_t i = 0; i < points; ++i) {
        TK.CalcTValues(T[i]);
        symbols.SaveCalcPTValues(T[i], P, 2);
        // The kernel gives 0 where no piece covers T; that is a refusal here.
        if (!f->m_pFktData->m_bDisabled && f->m_PolyIndex.m_nSize > 0 && f->m_pActPoly == nullptr)
            return fail(ctx, TK_ERROR_RANGE, "T = " + number(T[i]) + " K is outside the temperature ranges of function " +
                                                 functionName(*db, function));
        if (value) value[i] = f->m_dValue;
        if (dT) dT[i] = f->m_dValueT;
        if (dT2) dT2[i] = f->m_dValueTT;
    }
    return succeed(ctx);
}

}  // extern "C"
