// The plan's block kernels compiled for AVX2: 4 lanes to a register instead
// of SSE2's 2.
//
// Only the kernels included after the target pragma are AVX2 code; the
// standard library's templates are instantiated from the headers read
// before it, so whatever of them the linker keeps out of line stays baseline
// code, safe on any x86-64.  The target is AVX2 without FMA: a contracted
// a*b + c rounds once instead of twice, and the AVX2 blocks must give the
// baseline's bits (the points, the kernel path's references, and machines
// without AVX2 all agree).
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

#include "EvaluationPlan.h"
#include "EvaluationPlanAvx2.h"

#ifdef THERM_PLAN_AVX2_KERNELS
#define THERM_LANE_WIDTH 4  // one AVX2 register of lanes (LaneMath.h)
#pragma GCC push_options
#pragma GCC target("avx2")
#include "EvaluationPlanLanes.h"

void EvaluationPlan::evaluateBlockAvx2(const LaneState& at, const double* y, int order, double* G, double* grad,
                                       double* hess)
{
    evaluateLaneBlock<Isa::kAvx2>(at, y, order, G, grad, hess);
}
#pragma GCC pop_options
#else
#include "EvaluationPlanLanes.h"

// Without the AVX2 kernels PlanUsesAvx2() is false and this is never called.
void EvaluationPlan::evaluateBlockAvx2(const LaneState& at, const double* y, int order, double* G, double* grad,
                                       double* hess)
{
    evaluateLaneBlock<Isa::kBaseline>(at, y, order, G, grad, hess);
}
#endif
