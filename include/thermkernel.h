/*
 * thermkernel: C interface of the CALPHAD evaluation.
 *
 * Open a TDB database, find a phase, evaluate its Gibbs energy and derivatives
 * for a batch of points into arrays the caller provides, free.  Every handle
 * is opaque and every type here is plain C, so the interface serves C, C++
 * (any compiler), Fortran (iso_c_binding) and Python alike.
 *
 * Status codes.  Every function returns TK_OK (0) or one of the TK_ERROR_*
 * codes; nothing aborts or exits on bad input.  The message of the last
 * failure is kept by the handle the call went through:
 * tk_database_message() after tk_database_open(), tk_context_message() after
 * any call taking a context.  Strings returned through out-parameters belong
 * to the library and stay valid until the database is closed (names, reasons)
 * or until the next call on the same context (messages).
 *
 * Threads.  A database is shared read-only: once tk_database_open() returned,
 * any number of threads may use it, each through its own evaluation context
 * (tk_context_create).  A context belongs to one thread at a time.  Closing
 * the database must wait until every context of it is freed.  Phases the
 * compiled evaluation plan does not cover are evaluated by the kernel, which
 * keeps its temperature state in tables shared by the process, so the library
 * serialises the evaluations inside (one batch at a time); the calls and their
 * results do not depend on that.
 *
 * Energies.  G and its derivatives are per mole of formula units of the
 * phase; GM, SM, HM, CPM per mole of atoms.  Temperatures in K, pressure in Pa.
 */
#ifndef THERMKERNEL_H
#define THERMKERNEL_H

#include <stddef.h>

#if defined(TK_BUILDING_LIBRARY)
#define TK_API __attribute__((visibility("default")))
#else
#define TK_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

enum
{
    TK_OK = 0,
    TK_ERROR_ARGUMENT = 1,      /* null pointer, index, size, stride or order out of bounds */
    TK_ERROR_INPUT = 2,         /* site fractions negative, non-finite or not summing to 1; T not finite and positive */
    TK_ERROR_NAME = 3,          /* no phase or function of that name */
    TK_ERROR_FILE = 4,          /* the database cannot be read, or the reader found errors */
    TK_ERROR_NOT_EVALUABLE = 5, /* the phase cannot be evaluated (the reason is in the message) */
    TK_ERROR_RANGE = 6,         /* a temperature outside the ranges of a function in use */
    TK_ERROR_INTERNAL = 7       /* out of memory or an unexpected failure */
};

/* Largest deviation of a sublattice's site fractions from a sum of 1 that is accepted. */
#define TK_SUM_TOLERANCE 1e-9

typedef struct tk_database tk_database;
typedef struct tk_context tk_context;

/* ---- database ------------------------------------------------------------ */

/* Flags of tk_database_open. */
#define TK_OPEN_STRICT 1 /* reader errors fail the open (otherwise they only mark what they touch) */

/* Reads the TDB file at path.  *db receives a handle whenever memory allows,
 * also on failure, so that tk_database_message() can tell why; close it
 * either way.  A file that cannot be read as text fails with TK_ERROR_FILE.
 * The reader reports every command it cannot take and marks the phases that
 * need it not evaluable (tk_phase_evaluable gives the reason); with
 * TK_OPEN_STRICT in flags any such error fails the open with TK_ERROR_FILE,
 * the message being the first error ("file:line:column: error: COMMAND:
 * reason") and the counts.  All diagnostics, warnings too, are listed by
 * tk_database_diagnostic(). */
TK_API int tk_database_open(const char* path, int flags, tk_database** db);
TK_API int tk_database_close(tk_database* db);
/* Why tk_database_open failed; "" after success. */
TK_API const char* tk_database_message(const tk_database* db);
/* The reader's diagnostics (warnings and errors), in file order. */
TK_API int tk_database_diagnostic_count(const tk_database* db, int* count);
/* *is_error: 1 error, 0 warning; *text: "file:line:column: warning: ..." */
TK_API int tk_database_diagnostic(const tk_database* db, int index, int* is_error, const char** text);

/* ---- evaluation context (one per thread) --------------------------------- */

/* Fails only for a null argument (TK_ERROR_ARGUMENT) or lack of memory. */
TK_API int tk_context_create(tk_database* db, tk_context** ctx);
TK_API int tk_context_free(tk_context* ctx);
/* Message of the last failed call on ctx; "" when it succeeded. */
TK_API const char* tk_context_message(const tk_context* ctx);

/* ---- what the database holds --------------------------------------------- */

/* The database's default temperature limits [K] (TEMPERATURE_LIMITS); what
 * can be evaluated is decided by the ranges of the functions in use. */
TK_API int tk_temperature_limits(tk_context* ctx, double* low, double* high);
TK_API int tk_phase_count(tk_context* ctx, int* count);
/* Index of the phase called name (case-insensitive); TK_ERROR_NAME lists the phases. */
TK_API int tk_phase_find(tk_context* ctx, const char* name, int* phase);
TK_API int tk_phase_name(tk_context* ctx, int phase, const char** name);
/* *evaluable 1 or 0; *why the reason when 0, "" otherwise (why may be NULL). */
TK_API int tk_phase_evaluable(tk_context* ctx, int phase, int* evaluable, const char** why);
TK_API int tk_phase_sublattice_count(tk_context* ctx, int phase, int* count);
/* Sites of sublattice s per formula unit. */
TK_API int tk_phase_site_ratio(tk_context* ctx, int phase, int sublattice, double* sites);
/* Site-fraction variables, the columns of y in tk_evaluate: sublattice by
 * sublattice, constituents in the order the phase names them. */
TK_API int tk_phase_variable_count(tk_context* ctx, int phase, int* count);
TK_API int tk_phase_variable(tk_context* ctx, int phase, int variable, int* sublattice, const char** name);

/* ---- evaluation ---------------------------------------------------------- */

/* Arrays the caller provides, one per quantity, each over the points; a null
 * pointer leaves that quantity out.  Quantities above the requested order
 * are written as NaN.  n is the phase's variable count.
 *   G, dG_dT, d2G_dT2  [points]                 per mole of formula units
 *   dG_dy              [points][n]              order >= 1
 *   hessian            [points][n + 1][n + 1]   order >= 2; variables, then T last
 *   GM, SM, HM, CPM    [points]                 per mole of atoms (SM, HM order >= 1; CPM 2) */
typedef struct tk_outputs
{
    double* G;
    double* dG_dT;
    double* d2G_dT2;
    double* dG_dy;
    double* hessian;
    double* GM;
    double* SM;
    double* HM;
    double* CPM;
} tk_outputs;

/* Evaluates phase at points 0..points-1.  Temperatures: T_count 1 gives one
 * temperature for every point, T_count == points one per point.  Site
 * fraction v of point p is y[p * point_stride + v * variable_stride]
 * (strides in doubles: n, 1 for a row-major points x n array; 1, points for
 * a column-major one).  order 0: G, GM; 1: and first derivatives, SM, HM;
 * 2: and second derivatives, CPM.  P in Pa.
 *
 * Every input is checked before anything is computed: finite positive
 * temperatures and pressure (TK_ERROR_INPUT), finite non-negative site
 * fractions summing to 1 in each sublattice within TK_SUM_TOLERANCE
 * (TK_ERROR_INPUT, the message names the point).  A temperature outside the
 * ranges of a function the phase uses fails with TK_ERROR_RANGE naming the
 * function and its ranges; the outputs are then incomplete. */
TK_API int tk_evaluate(tk_context* ctx, int phase, size_t points, const double* T, size_t T_count, double P,
                       const double* y, ptrdiff_t point_stride, ptrdiff_t variable_stride, int order,
                       const tk_outputs* out);

/* ---- symbol functions (FUNCTION) ----------------------------------------- */

TK_API int tk_function_count(tk_context* ctx, int* count);
/* Index of the function called name (case-insensitive); TK_ERROR_NAME otherwise. */
TK_API int tk_function_find(tk_context* ctx, const char* name, int* function);
TK_API int tk_function_name(tk_context* ctx, int function, const char** name);
/* Value and first two T derivatives at points temperatures; any output may be
 * NULL.  A temperature outside the function's ranges fails with TK_ERROR_RANGE. */
TK_API int tk_function_evaluate(tk_context* ctx, int function, size_t points, const double* T, double P,
                                double* value, double* dT, double* dT2);

#ifdef __cplusplus
}
#endif

#endif
