#include "ArchiveChecks.h"

#include "database/ThermDatabase.h"
#include "thermfunctions/VxThermFunctions.h"

namespace {

bool IsSymbolType(int type) { return type >= 100 && type <= 102; }

// Parameter types whose record names a second species of the phase.
bool NamesSpecies(int type) { return (type >= 50 && type <= 53) || type == 60; }

// The term model of a piece and its symbol references.
bool CheckPiece(const TThermTPolynom& p, int nSymbols, std::string& why)
{
    if (p.m_nPowerTerms < 0 || p.m_nPowerTerms > 10 || p.m_nSymbolTerms < 0 || p.m_nSymbolTerms > 16) {
        why = "term counts outside the term model";
        return false;
    }
    for (int i = 0; i < p.m_nPowerTerms; ++i)
        if (p.m_anPowerExp[i] < -27 || p.m_anPowerExp[i] > 30) {
            why = "a power of T outside -27..30";
            return false;
        }
    bool refers = p.m_nSymbolTerms > 0;
    for (int j = 0; j < p.m_nSymbolTerms; ++j)
        if (p.m_anSymbolIndex[j] < 0 || p.m_anSymbolIndex[j] >= nSymbols) {
            why = "a reference to a missing symbol function";
            return false;
        }
    for (int s : {p.m_nRTLnSymbol, p.m_nLnFactorSymbol, p.m_nLnArgSymbol, p.m_nExpFactorSymbol, p.m_nExpArgSymbol,
                  p.m_nPSymbol, p.m_nTPSymbol, p.m_nT2PSymbol}) {
        if (s < -1 || s >= nSymbols) {
            why = "a reference to a missing symbol function";
            return false;
        }
        refers = refers || s >= 0;
    }
    // listing names the references from the symbol-name table the piece selects
    if (refers && (p.m_nSymbolList < 1 || p.m_nSymbolList > 3)) {
        why = "symbol references without a symbol-name table (" + std::to_string(p.m_nSymbolList) + ")";
        return false;
    }
    return true;
}

// Fields of a record that linking, listing and evaluation follow.
bool CheckRecord(const TThermFktData& d, CVxDataMgr& dm, int nPhaseElements, std::string& why)
{
    const int type = d.m_nFktType;
    if (d.m_nOrder < 0 || d.m_nOrder > 64) {
        why = "an order outside 0..64";
        return false;
    }
    if (IsSymbolType(type) && (d.m_nNameIndex < 0 || d.m_nNameIndex >= dm.m_SymbolNames1.m_nSize)) {
        why = "a function name outside the name table";
        return false;
    }
    if (type != 5) {
        const myCStringArray* texts = dm.GetSourceTexts(d.m_nSourceKind);
        if (texts == nullptr || d.m_nSourceIndex < 0 || d.m_nSourceIndex >= texts->m_nSize) {
            why = "a constituent text outside its table";
            return false;
        }
    }
    if (d.m_nSourceKind == 3 && type >= 10000 && type - 10000 >= dm.m_TypeKeywords.m_nSize) {
        why = "a parameter type outside the keyword table";
        return false;
    }
    if (d.m_nSpeciesIndex < -1 || d.m_nSpeciesIndex >= nPhaseElements ||
        (NamesSpecies(type) && d.m_nSpeciesIndex < 0)) {
        why = "a species outside the phase's table";
        return false;
    }
    return true;
}

bool CheckList(TThermFktMgr& list, CVxDataMgr& dm, int nPhaseElements, bool symbols, std::string& why)
{
    for (int i = 0; i < list.m_FktArray.m_nSize; ++i) {
        const TThermFktData& d = *list.m_FktArray.m_pData[i]->m_pFktData;
        bool good = true;
        if (!symbols) {
            good = CheckRecord(d, dm, nPhaseElements, why);
        } else if (!IsSymbolType(d.m_nFktType) || d.m_nNameIndex < 0 ||
                   d.m_nNameIndex >= dm.m_SymbolNames1.m_nSize) {
            why = "a symbol function without its name";
            good = false;
        }
        if (!good) {
            why = std::string("list ") + list.m_szName + ", function " + std::to_string(i) + ": " + why;
            return false;
        }
    }
    return true;
}

}  // namespace

bool checkArchivedDatabase(ThermDatabase& db, std::string& why)
{
    CVxDataMgr& dm = db.dataMgr;
    TThermFktMgr& symbols = *dm.GetSymbolFktMgr();
    const int nSymbols = symbols.m_FktArray.m_nSize;
    // the three name tables are kept identical and name at least every symbol function
    if (dm.m_SymbolNames1.m_nSize < nSymbols || dm.m_SymbolNames2.m_nSize != dm.m_SymbolNames1.m_nSize ||
        dm.m_SymbolNames3.m_nSize != dm.m_SymbolNames1.m_nSize) {
        why = "symbol-name tables that do not match the symbol functions";
        return false;
    }
    for (int i = 0; i < dm.m_PolynomArray.m_nSize; ++i)
        if (!CheckPiece(*dm.m_PolynomArray.m_pData[i], nSymbols, why)) {
            why = "piece " + std::to_string(i) + ": " + why;
            return false;
        }
    if (!CheckList(symbols, dm, 0, true, why)) return false;
    for (ThermDatabase::PhaseRecord& rec : db.phases)
        if (!CheckList(*rec.functions, dm, rec.gibbs->GetElementCount(), false, why)) return false;
    return true;
}

bool bindArchivedDatabase(ThermDatabase& db, std::string& why)
{
    CVxDataMgr& dm = db.dataMgr;
    CVx_coreApp& app = db.app;
    const size_t messagesBefore = app.m_Messages.size();
    const bool echo = app.m_bEcho;
    app.m_bEcho = false;  // a complaint rejects the file; it is reported as that, not echoed
    bool ok = true;
    dm.GetSymbolFktMgr()->LinkSymbols(&dm, nullptr);
    for (ThermDatabase::PhaseRecord& rec : db.phases) {
        TThermFktMgr& list = *rec.functions;
        list.LinkSymbols(&dm, rec.gibbs.get());
        if (list.LinkYPointers(rec.phase.get(), rec.gibbs.get()) < 0) {
            why = "phase " + std::string(rec.phase->m_szPhaseName) +
                  ": a parameter names a constituent the phase does not have";
            ok = false;
            break;
        }
        // the member a non-regular ternary parameter picks must be one of its entries
        for (int i = 0; i < list.m_FktArray.m_nSize && ok; ++i) {
            const TThermFktData& d = *list.m_FktArray.m_pData[i]->m_pFktData;
            if (d.m_nInteractionLevel == 2 && !d.m_bRegular && d.m_nOrder > 2) {
                why = "phase " + std::string(rec.phase->m_szPhaseName) + ": a ternary order outside 0..2";
                ok = false;
            }
        }
        if (!ok) break;
    }
    if (ok && app.m_Messages.size() != messagesBefore) {
        why = "binding it gave the message: " + app.m_Messages[messagesBefore].text;
        while (!why.empty() && (why.back() == '\n' || why.back() == ' ')) why.pop_back();
        ok = false;
    }
    app.m_bEcho = echo;
    return ok;
}
