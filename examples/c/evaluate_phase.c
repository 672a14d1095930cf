/* Evaluates a phase of a TDB database through the C interface: GM, SM, HM
 * and CPM (per mole of atoms) of one composition at several temperatures, in
 * one batch call.
 *
 *   evaluate_phase DB PHASE NAME=FRACTION...
 *   evaluate_phase data/CrFeNb_Jacob2016.tdb BCC_A2 FE=0.9 CR=0.1 VA=1
 *
 * Fractions are given by constituent name; in a phase with several
 * sublattices a name present in more than one takes the first.  Exit code 0
 * on success, 1 with the library's message on standard error otherwise. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include "thermkernel.h"

enum { kTemperatures = 5 };

static int report(const char* what, const char* message)
{
    fprintf(stderr, "evaluate_phase: %s: %s\n", what, message);
    return 1;
}

int main(int argc, char** argv)
{
    if (argc < 4) {
        fprintf(stderr, "usage: evaluate_phase DB PHASE NAME=FRACTION...\n");
        return 1;
    }
    tk_database* db = NULL;
    if (tk_database_open(argv[1], 0, &db) != TK_OK) {
        int status = report("open", tk_database_message(db));
        tk_database_close(db);
        return status;
    }
    tk_context* ctx = NULL;
    if (tk_context_create(db, &ctx) != TK_OK) {
        tk_database_close(db);
        return report("context", "cannot create an evaluation context");
    }

    int status = 0;
    int phase = -1, n = 0;
    double* y = NULL;
    double* hessian = NULL;
    if (tk_phase_find(ctx, argv[2], &phase) != TK_OK || tk_phase_variable_count(ctx, phase, &n) != TK_OK) {
        status = report("phase", tk_context_message(ctx));
        goto done;
    }

    /* The site fractions in the phase's variable order. */
    y = calloc((size_t)n, sizeof *y);
    for (int a = 3; a < argc && status == 0; ++a) {
        const char* eq = strchr(argv[a], '=');
        if (eq == NULL) {
            status = report(argv[a], "expected NAME=FRACTION");
            break;
        }
        int found = 0;
        for (int v = 0; v < n && !found; ++v) {
            int sublattice = 0;
            const char* name = NULL;
            tk_phase_variable(ctx, phase, v, &sublattice, &name);
            if (strlen(name) == (size_t)(eq - argv[a]) && strncasecmp(name, argv[a], (size_t)(eq - argv[a])) == 0) {
                y[v] = atof(eq + 1);
                found = 1;
            }
        }
        if (!found) status = report(argv[a], "no such constituent in the phase");
    }
    if (status != 0) goto done;

    /* The same composition at every temperature: one row of y per point,
     * read with a point stride of 0. */
    double T[kTemperatures] = {300.0, 600.0, 900.0, 1200.0, 1500.0};
    double G[kTemperatures], GM[kTemperatures], SM[kTemperatures], HM[kTemperatures], CPM[kTemperatures];
    hessian = malloc(kTemperatures * (size_t)(n + 1) * (size_t)(n + 1) * sizeof *hessian);
    tk_outputs out = {0};
    out.G = G;
    out.GM = GM;
    out.SM = SM;
    out.HM = HM;
    out.CPM = CPM;
    out.hessian = hessian;
    if (tk_evaluate(ctx, phase, kTemperatures, T, kTemperatures, 101325.0, y, 0, 1, 2, &out) != TK_OK) {
        status = report("evaluate", tk_context_message(ctx));
        goto done;
    }
    printf("%8s %14s %14s %12s %14s %10s\n", "T/K", "G/(J/mol fu)", "GM/(J/mol)", "SM/(J/mol/K)", "HM/(J/mol)",
           "CPM");
    for (int i = 0; i < kTemperatures; ++i)
        printf("%8.1f %14.4f %14.4f %12.6f %14.4f %10.6f\n", T[i], G[i], GM[i], SM[i], HM[i], CPM[i]);

done:
    free(hessian);
    free(y);
    tk_context_free(ctx);
    tk_database_close(db);
    return status;
}
