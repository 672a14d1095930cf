// Whether this build compiled the plan's block kernels for AVX2 as well
// (GCC on x86-64; see EvaluationPlanAvx2.cpp).
#ifndef MODELS_EVALUATIONPLANAVX2_H
#define MODELS_EVALUATIONPLANAVX2_H

#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
#define THERM_PLAN_AVX2_KERNELS 1
constexpr bool kPlanHasAvx2Kernels = true;
#else
constexpr bool kPlanHasAvx2Kernels = false;
#endif

#endif
