#include "PlanInstructionSet.h"

#include <cstdlib>
#include <cstring>

#include "EvaluationPlanAvx2.h"

namespace {
bool Decide()
{
    if (!kPlanHasAvx2Kernels) return false;
    const char* forced = std::getenv("THERM_PLAN_BASELINE");
    if (forced != nullptr && *forced != '\0' && std::strcmp(forced, "0") != 0) return false;
#if defined(__x86_64__) && defined(__GNUC__)
    return __builtin_cpu_supports("avx2");
#else
    return false;
#endif
}
}  // namespace

bool PlanUsesAvx2()
{
    static const bool avx2 = Decide();
    return avx2;
}

const char* PlanInstructionSetName() { return PlanUsesAvx2() ? "avx2" : "baseline"; }
