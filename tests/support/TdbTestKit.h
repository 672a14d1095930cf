// Helpers of the database-reader tests: reading snippets and files, finding
// functions and parameters, evaluating symbol functions through the kernel.
#ifndef TESTS_SUPPORT_TDBTESTKIT_H
#define TESTS_SUPPORT_TDBTESTKIT_H

#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "database/ThermDatabase.h"
#include "tdb/TdbReader.h"
#include "thermfunctions/VxThermFunctions.h"

namespace kit {

//! The bytes of a file ("" when it cannot be read).
inline std::string Slurp(const std::string& path)
{
    std::ifstream f(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
}

struct Loaded
{
    std::unique_ptr<ThermDatabase> db = std::make_unique<ThermDatabase>();
    tdb::ReadReport report;
    bool ok = false;

    //! Every diagnostic, one per line (for failure messages).
    std::string diagnostics() const
    {
        std::string s;
        for (const auto& d : report.diagnostics) s += d.format() + "\n";
        return s;
    }
    //! The first diagnostic whose message contains text, or null.
    const tdb::Diagnostic* find(const std::string& text) const
    {
        for (const auto& d : report.diagnostics)
            if (d.message.find(text) != std::string::npos) return &d;
        return nullptr;
    }
    ThermDatabase::PhaseRecord& phase(const std::string& name)
    {
        int i = db->findPhase(name);
        if (i < 0) throw std::runtime_error("no phase " + name);
        return db->phases[static_cast<size_t>(i)];
    }
};

inline Loaded ReadText(const std::string& text, const std::string& name = "snippet.tdb")
{
    Loaded l;
    l.ok = tdb::readTdbText(text, name, *l.db, l.report);
    return l;
}

inline Loaded ReadShared(const std::string& file)
{
    Loaded l;
    l.ok = tdb::readTdbFile(std::string(THERM_SHARED_DB_DIR) + "/" + file, *l.db, l.report);
    return l;
}

//! A file of the reader's corpus (tests/corpus/tdb).
inline Loaded ReadCorpus(const std::string& file, const tdb::ReadOptions& options = {})
{
    Loaded l;
    l.ok = tdb::readTdbFile(std::string(THERM_TESTS_DIR) + "/corpus/tdb/" + file, *l.db, l.report, options);
    return l;
}

//! Value (order 0) or temperature derivative (1..3) of a symbol function at T [K], P [Pa].
inline double SymbolValue(ThermDatabase& db, const char* name, double T, int order = 0, double P = 101325.0)
{
    int i = db.dataMgr.FindSymbolFunction(name);
    if (i < 0) throw std::runtime_error(std::string("no function ") + name);
    db.temperatureStep(T, P);
    return db.symbols().GetFuncVal(i, order);
}

//! The symbol function named name (its first piece through piece(k)).
inline TThermTPolynom& SymbolPiece(ThermDatabase& db, const char* name, int k = 0)
{
    int i = db.dataMgr.FindSymbolFunction(name);
    if (i < 0) throw std::runtime_error(std::string("no function ") + name);
    TThermFkt* f = db.symbols().m_FktArray[i];
    return *db.dataMgr.m_PolynomArray[f->m_PolyIndex[k]];
}

//! The parameter of a phase list whose one-line header equals header, or null.
inline TThermFkt* FindParameter(TThermFktMgr& list, const std::string& header)
{
    for (int i = 0; i < list.m_FktArray.m_nSize; ++i) {
        myCString h;
        list.m_FktArray[i]->WriteOutFunktion(h, 1);
        if (header == h.m_pszBuffer) return list.m_FktArray[i];
    }
    return nullptr;
}

//! The kernel's listing of one function with its ranges (mode 3).
inline std::string Listing(TThermFkt& f)
{
    myCString s;
    f.WriteOutFunktion(s, 3);
    return s.m_pszBuffer;
}

}  // namespace kit

#endif
