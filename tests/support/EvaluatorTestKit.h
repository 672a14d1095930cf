// Helpers of the phase-evaluation tests: the model fixtures of
// tests/corpus/models, published files with values for the names they leave
// undefined, and the check that a phase is refused with its reason.
#ifndef TESTS_SUPPORT_EVALUATORTESTKIT_H
#define TESTS_SUPPORT_EVALUATORTESTKIT_H

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
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

//! A database file read with the promise of values for the names it leaves
//! undefined (fitting variables whose FUNCTION lines are commented out), so
//! that their uses are no reading errors; a partly readable file still gives
//! its good phases.
inline std::unique_ptr<ThermDatabase> ReadPromisingValues(const std::string& path, bool promise = true,
                                                          bool* ok = nullptr)
{
    auto db = std::make_unique<ThermDatabase>();
    tdb::ReadReport report;
    tdb::ReadOptions options;
    options.undefinedAsZero = promise;
    const bool read = tdb::readTdbFile(path, *db, report, options);
    if (ok) *ok = read;
    return db;
}

//! Values for those names, distinct per name and small, as some are
//! coefficients of T (VA41*T): J per mole of formula units, or J/(mol K).
inline void GiveValues(ThermDatabase& db)
{
    std::string error;
    double value = -2.5;
    for (const SymbolExpressions::FreeSymbol& f : db.expressions.freeSymbols()) {
        EXPECT_TRUE(db.setSymbolValue(f.name, value, error)) << error;
        value -= 2.5;
    }
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
