// Hand-built databases for the phase-evaluation tests: elements, symbol
// functions and phases with parameters, bound the way the reader binds them.
// A parameter or symbol given as a TPoly is one piece T(1..6000 K), so that a
// test can write the same function down itself; tests of temperature ranges
// hand over pieces of their own.
#ifndef TESTS_SUPPORT_EVALUATORTESTKIT_H
#define TESTS_SUPPORT_EVALUATORTESTKIT_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "database/ThermDatabase.h"
#include "models/PhaseEvaluator.h"
#include "PhaseTestKit.h"
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

// a + b*T + c*T*ln(T) + d*T^2 + e/T
struct TPoly
{
    double a = 0, b = 0, c = 0, d = 0, e = 0;
    double operator()(double T) const { return a + b * T + c * T * std::log(T) + d * T * T + e / T; }
    TThermTPolynom* piece() const { return Piece(1.0, 6000.0, a, b, c, {{d, 2}, {e, -1}}); }
};

class DatabaseBuilder
{
public:
    explicit DatabaseBuilder(ThermDatabase& db) : db_(db) {}

    void element(const char* name, double atoms = 1.0) { db_.dataMgr.AddElement(Element(name, atoms)); }

    // A symbol function of one piece; returns its list position.
    int symbol(const char* name, const TPoly& p)
    {
        db_.dataMgr.AddSymbolFunction(name)->AddPolynom(p.piece());
        return db_.symbols().m_FktArray.m_nSize - 1;
    }

    // A symbol function of the given pieces (the builder hands them over); returns its list position.
    int symbolPieces(const char* name, const std::vector<TThermTPolynom*>& pieces)
    {
        TThermFkt* f = db_.dataMgr.AddSymbolFunction(name);
        for (TThermTPolynom* p : pieces) f->AddPolynom(p);
        return db_.symbols().m_FktArray.m_nSize - 1;
    }

    // A phase with one (sites, constituent names) pair per sublattice; returns its index.
    int phase(const char* name, const std::vector<std::pair<double, std::vector<std::string>>>& sublattices)
    {
        ThermDatabase::PhaseRecord& rec = db_.addPhase(name);
        for (const auto& sl : sublattices) {
            int s = rec.phase->AddSublattice(sl.first);
            for (const std::string& c : sl.second) {
                int dmIndex = db_.dataMgr.GetElementIndex(c.c_str());
                rec.phase->AddConstituent(s, rec.gibbs->AddElement(db_.dataMgr.m_ElementArray[dmIndex]));
            }
        }
        rec.phase->SetupVariables();
        return static_cast<int>(db_.phases.size()) - 1;
    }

    // A parameter p (+ factor * symbol) of type code type on the constituent text.
    void param(int phase, const char* text, int type, int order, const TPoly& p, int symbol = -1, double factor = 1.0)
    {
        ThermDatabase::PhaseRecord& rec = db_.phases[static_cast<size_t>(phase)];
        TThermFkt* f = rec.functions->AddFunction(Parameter(db_.dataMgr, type, order));
        f->m_pFktData->m_nSourceIndex = db_.dataMgr.AddSourceText(1, text);
        TThermTPolynom* piece = p.piece();
        if (symbol >= 0) AddSymbolTerm(piece, symbol, factor);
        f->AddPolynom(piece);
    }

    // A parameter of the given pieces (the builder hands them over).
    void paramPieces(int phase, const char* text, int type, int order, const std::vector<TThermTPolynom*>& pieces)
    {
        ThermDatabase::PhaseRecord& rec = db_.phases[static_cast<size_t>(phase)];
        TThermFkt* f = rec.functions->AddFunction(Parameter(db_.dataMgr, type, order));
        f->m_pFktData->m_nSourceIndex = db_.dataMgr.AddSourceText(1, text);
        for (TThermTPolynom* p : pieces) f->AddPolynom(p);
    }

    // Binds the symbols and every phase's list; false when any binding fails.
    bool bind()
    {
        bool ok = db_.symbols().LinkSymbols(&db_.dataMgr, nullptr) >= 0;
        for (auto& rec : db_.phases) {
            ok = ok && rec.functions->LinkSymbols(&db_.dataMgr, rec.gibbs.get()) >= 0;
            ok = ok && rec.functions->LinkYPointers(rec.phase.get(), rec.gibbs.get()) >= 0;
            for (int i = 0; i < rec.functions->m_FktArray.m_nSize; ++i) {
                const TThermFktData* d = rec.functions->m_FktArray[i]->m_pFktData;
                ok = ok && d->m_bLinked && !d->m_bDisabled;
            }
        }
        return ok;
    }

private:
    ThermDatabase& db_;
};

}  // namespace kit

#endif
