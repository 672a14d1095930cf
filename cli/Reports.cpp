// The commands that show what a database holds: phases, list, function.
#include "cli/Commands.h"
#include "cli/Text.h"
#include "database/ThermDatabase.h"
#include "host/myCString.h"
#include "models/TemperatureCoverage.h"
#include "thermfunctions/TThermFkt.h"
#include "thermfunctions/VxThermFunctions.h"

namespace thermfn {

namespace {

std::string siteRatios(const CVxPhase& phase)
{
    std::string out;
    for (size_t s = 0; s < phase.m_SiteRatios.size(); ++s)
        out += (s ? ":" : "") + formatNumber("%g", phase.m_SiteRatios[s]);
    return out;
}

std::string constituents(const CVxPhase& phase, const CVxGibbs& gibbs)
{
    std::string out;
    for (const std::vector<int>& sublattice : phase.m_Constituents) {
        out += "(";
        for (size_t i = 0; i < sublattice.size(); ++i)
            out += (i ? "," : "") + std::string(gibbs.GetElementName(sublattice[i]));
        out += ")";
    }
    return out;
}

// The symbols kept as expression trees, in database notation, each with the
// command it came from; the kernel's listing shows them without pieces.
std::string treeListing(ThermDatabase& db)
{
    if (db.expressions.trees().empty()) return std::string();
    const myCStringArray& names = db.dataMgr.m_SymbolNames1;
    auto name = [&names](int s) { return std::string(s >= 0 && s < names.m_nSize ? names.m_pData[s].c_str() : "?"); };
    std::string text = "\nExpression trees:\n";
    for (const SymbolExpressions::TreeSymbol& t : db.expressions.trees())
        text += "FUNCTION " + name(t.symbol) + " " + formatNumber("%g", t.tLow) + " " + t.tree.text(name) + "; " +
                formatNumber("%g", t.tHigh) + " N !  $ " + t.origin + "\n";
    return text;
}

}  // namespace

int requirePhase(const ThermDatabase& db, const std::string& name)
{
    int index = db.findPhase(name);
    if (index >= 0) return index;
    std::string names;
    for (const ThermDatabase::PhaseRecord& rec : db.phases)
        names += (names.empty() ? "" : ", ") + std::string(rec.phase->m_szPhaseName);
    throw CliError(kExitUsage, "unknown phase " + name + "; expected one of " + (names.empty() ? "(none)" : names));
}

void showPhases(ThermDatabase& db, std::ostream& out)
{
    // The database's limits only fill in ranges written without a number;
    // what can be evaluated is each phase's own range, from the functions it uses.
    const std::string limits = formatNumber("%g", db.defaultTLow) + " to " + formatNumber("%g", db.defaultTHigh) + " K";
    out << db.phases.size() << " phases; temperature limits "
        << (db.defaultTemperatureLimits ? "default (" + limits + "; the file has no TEMPERATURE_LIMITS)" : limits)
        << "\n\n";
    std::vector<std::vector<std::string>> rows = {
        {"phase", "sublattices", "sites", "constituents", "parameters", "temperatures", "evaluable"}};
    TemperatureCoverage coverage(db);
    for (size_t p = 0; p < db.phases.size(); ++p) {
        const ThermDatabase::PhaseRecord& rec = db.phases[p];
        const CVxPhase& phase = *rec.phase;
        std::string evaluable = phase.m_bEvaluable ? "yes" : "no: " + phase.m_NotEvaluableWhy;
        std::vector<std::string> unset = db.unsetSymbolsUsedBy(static_cast<int>(p));
        if (!unset.empty()) {
            evaluable = (phase.m_bEvaluable ? "no: " : evaluable + "; ") + "uses undefined";
            for (size_t k = 0; k < unset.size(); ++k) evaluable += (k ? ", " : " ") + unset[k];
            evaluable += " (give a value with --set NAME=VALUE or --undefined-as-zero)";
        }
        if (phase.m_bEvaluable && phase.m_nModelType == 10 && phase.m_szDoName[0])
            evaluable += std::string(", with disordered part ") + phase.m_szDoName;
        std::string range = phase.m_bEvaluable ? TemperatureCoverage::text(coverage.phase(static_cast<int>(p))) : "-";
        rows.push_back({phase.m_szPhaseName, std::to_string(phase.m_nSublatticeCount), siteRatios(phase),
                        constituents(phase, *rec.gibbs), std::to_string(rec.functions->m_FktArray.m_nSize), range,
                        evaluable});
    }
    // All columns left-aligned: most are text, and the reason comes last
    // because it is the only cell of unbounded length.
    writeAligned(out, rows, rows[0].size());
}

void showListing(ThermDatabase& db, const std::string& phase, std::ostream& out)
{
    std::vector<TThermFktMgr*> lists;
    if (phase.empty()) {
        for (ThermDatabase::PhaseRecord& rec : db.phases) lists.push_back(rec.functions.get());
    } else {
        lists.push_back(db.phases[requirePhase(db, phase)].functions.get());
    }
    myCString text;
    if (phase.empty()) db.symbols().WriteOutFunktions(text, 3);
    for (TThermFktMgr* list : lists) list->WriteOutFunktions(text, 3);
    out << text.c_str();
    if (phase.empty()) out << treeListing(db);

    // Only the phase lists are checked: symbol functions are told apart by
    // name, which the comparison of parameters does not look at, so every
    // pair of symbols would be reported.
    out << "\nParameters defined twice:\n";
    int total = 0;
    for (TThermFktMgr* list : lists) {
        myCString report;
        int n = list->CheckForDoubleParameters(&report);
        if (n > 0) out << report.c_str();
        total += n;
    }
    if (total == 0) out << "  none\n";
}

FunctionResults computeFunction(ThermDatabase& db, const Options& opts, std::ostream& /*err*/)
{
    int index = db.dataMgr.FindSymbolFunction(opts.functionName.c_str());
    TThermFktMgr& symbols = db.symbols();
    if (index < 0 || index >= symbols.m_FktArray.m_nSize) {
        std::string some;
        int n = symbols.m_FktArray.m_nSize;
        for (int i = 0; i < n && i < 8; ++i)
            some += (i ? ", " : "") + std::string(db.dataMgr.m_SymbolNames1.m_pData[i].m_pszBuffer);
        if (n > 8) some += ", ...";
        throw CliError(kExitUsage, "unknown function " + opts.functionName + "; expected a FUNCTION of the database" +
                                       (n ? " (" + some + ")" : " (it defines none)"));
    }
    TThermFkt* function = symbols.m_FktArray[index];
    FunctionResults results;
    results.name = db.dataMgr.m_SymbolNames1.m_pData[index].m_pszBuffer;
    // Outside its ranges (or those of a function it reads there) the kernel
    // gives 0, which is no value: such a temperature is refused, as in eval.
    TemperatureCoverage coverage(db);
    for (double T : opts.temperatures) {
        std::string why = coverage.whyNot(*function, results.name, T);
        if (!why.empty()) throw CliError(kExitFailure, "FUNCTION " + results.name + " has no value: " + why);
    }
    for (double T : opts.temperatures) {
        db.temperatureStep(T, opts.pressure);
        std::string refusal = db.refusalOfSymbol(index);
        if (!refusal.empty()) throw CliError(kExitFailure, refusal);
        results.points.push_back(FunctionPoint{T, opts.pressure, function->m_dValue, function->m_dValueT,
                                               function->m_dValueTT, function->m_dValueTTT});
    }
    return results;
}

}  // namespace thermfn
