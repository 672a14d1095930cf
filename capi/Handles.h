// What the C interface's opaque handles hold, and the helpers every entry
// point shares: argument checks that set the context's message, and the
// process-wide lock of the evaluation.
#ifndef CAPI_HANDLES_H
#define CAPI_HANDLES_H

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "database/ThermDatabase.h"
#include "include/thermkernel.h"
#include "models/PlanEvaluator.h"

struct tk_database
{
    std::unique_ptr<ThermDatabase> db;    //!< null when opening failed
    std::string message;                  //!< why opening failed; empty after success
    std::vector<std::string> diagnostics; //!< the reader's diagnostics, formatted
    std::vector<int> diagnosticIsError;   //!< 1 for an error, 0 for a warning, per diagnostic
};

struct tk_context
{
    tk_database* handle = nullptr;
    //! per phase, built on first use: the compiled plan, or the kernel path where the plan does not cover the phase
    std::vector<std::unique_ptr<PlanEvaluator>> evaluators;
    //! scratch of the kernel path: one point's results, and its site fractions when the caller's are strided
    PhaseProperties point;
    std::vector<double> row;
    //! scratch of the plan path, one block of points in the plan's layout (PlanEvaluator.h)
    std::vector<double> blockY, blockG, blockGrad, blockHess;
    std::vector<double> sums;  //!< per sublattice, for the check of the site fractions
    std::string message;  //!< of the last failed call; empty after a success
};

namespace capi {

// The kernel's temperature step writes a power table shared by the process
// and function values held in the database, so one batch runs at a time.
std::mutex& evaluationLock();

// Sets ctx's message and returns status (for "return fail(...)").
int fail(tk_context* ctx, int status, const std::string& message);
// Clears ctx's message and returns TK_OK.
int succeed(tk_context* ctx);

// The database of ctx, null (with the message set) when ctx or it is unusable.
ThermDatabase* database(tk_context* ctx);
// Checks phase against db; false with the message set.
bool checkPhase(tk_context* ctx, const ThermDatabase& db, int phase);
// The evaluator of phase, built on first use (phase already checked).
PlanEvaluator& evaluator(tk_context* ctx, ThermDatabase& db, int phase);

// Finite P and count finite positive temperatures (the ranges of the
// functions decide which of them can be evaluated);
// TK_OK or the status with the message set.
int checkTemperatures(tk_context* ctx, const double* T, size_t count, double P);

// value with up to digits significant digits, for messages.
std::string number(double value, int digits = 6);

}  // namespace capi

#endif
