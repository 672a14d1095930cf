// Which build of the compiled plan's block kernels runs: the AVX2 one when
// the processor has AVX2 and this build has those kernels, else the baseline
// one.  THERM_PLAN_BASELINE=1 in the environment keeps the baseline kernels
// (to compare the two, or on a machine where AVX2 is slow).  Decided once per
// process, at the first block.
#ifndef MODELS_PLANINSTRUCTIONSET_H
#define MODELS_PLANINSTRUCTIONSET_H

bool PlanUsesAvx2();
//! "avx2" or "baseline", for benchmark labels and reports.
const char* PlanInstructionSetName();

#endif
