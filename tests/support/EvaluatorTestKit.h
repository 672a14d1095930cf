// Helpers of the phase-evaluation tests: the model fixtures of
// tests/corpus/models, and the check that a phase is refused with its reason.
#ifndef TESTS_SUPPORT_EVALUATORTESTKIT_H
#define TESTS_SUPPORT_EVALUATORTESTKIT_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "database/ThermDatabase.h"
#include "models/PhaseEvaluator.h"
#include "TdbTestKit.h"

namespace kit {

//! A model fixture of tests/corpus/models, with text appended (further phases).
inline Loaded ReadModel(const std::string& file, const std::string& more = "")
{
    const std::string path = std::string(THERM_TESTS_DIR) + "/corpus/models/" + file;
    return ReadText(Slurp(path) + more, path);
}

//! Phase phase is not evaluable, says why (contains because), and evaluate refuses.
inline void ExpectRefused(ThermDatabase& db, const char* phase, const std::string& because)
{
    SCOPED_TRACE(std::string(phase) + " refused: " + because);
    const int p = db.findPhase(phase);
    ASSERT_GE(p, 0);
    PhaseEvaluator ev(db, p);
    EXPECT_FALSE(ev.evaluable());
    EXPECT_NE(ev.why().find(because), std::string::npos) << ev.why();
    PhaseProperties out;
    const std::vector<double> y(static_cast<size_t>(std::max(ev.variableCount(), 1)), 0.5);
    ev.setTemperature(800.0, 101325.0);
    EXPECT_FALSE(ev.evaluate(y.data(), 0, out));
}

}  // namespace kit

#endif
