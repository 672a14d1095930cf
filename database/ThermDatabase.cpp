#include "ThermDatabase.h"

#include <cctype>
#include <functional>

#include "PieceReferences.h"
#include "host/my_stricmp.h"
#include "thermfunctions/TTempArray.h"
#include "thermfunctions/TThermFkt.h"
#include "thermfunctions/TThermTPolynom.h"

int ThermDatabase::findPhase(const std::string& name) const
{
    for (size_t i = 0; i < phases.size(); ++i)
        if (my_stricmp(phases[i].phase->m_szPhaseName, name.c_str()) == 0) return static_cast<int>(i);
    return -1;
}

ThermDatabase::PhaseRecord& ThermDatabase::addPhase(const std::string& name)
{
    PhaseRecord rec;
    rec.gibbs = std::make_unique<CVxGibbs>();
    rec.phase = std::make_unique<CVxPhase>(name.c_str(), rec.gibbs.get());
    rec.functions = std::make_unique<TThermFktMgr>(const_cast<char*>(name.c_str()), &dataMgr);
    phases.push_back(std::move(rec));
    return phases.back();
}

void ThermDatabase::temperatureStep(double T, double P)
{
    TK.CalcTValues(T);
    expressions.step(symbols(), T, P);
}

bool ThermDatabase::setSymbolValue(const std::string& name, double value, std::string& error)
{
    std::string upper = name;
    for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return expressions.setValue(upper, value, error);
}

namespace {

// Every symbol reachable from the roots, through the pieces (all of them, or
// only those in use at the last step) and the trees.
std::vector<int> reachable(ThermDatabase& db, std::vector<int> stack, bool activeOnly)
{
    const int n = db.symbols().m_FktArray.m_nSize;
    std::vector<char> seen(static_cast<size_t>(n), 0);
    std::vector<int> out;
    auto push = [&](int s) {
        if (s < 0 || s >= n || seen[static_cast<size_t>(s)]) return;
        seen[static_cast<size_t>(s)] = 1;
        stack.push_back(s);
    };
    std::vector<int> roots;
    roots.swap(stack);
    for (int s : roots) push(s);
    while (!stack.empty()) {
        const int s = stack.back();
        stack.pop_back();
        out.push_back(s);
        TThermFkt& f = *db.symbols().m_FktArray[s];
        if (activeOnly) {
            if (f.m_pActPoly != nullptr) forEachPieceReference(*f.m_pActPoly, push);
        } else {
            for (int k = 0; k < f.m_PolyIndex.m_nSize; ++k)
                forEachPieceReference(*db.dataMgr.m_PolynomArray[f.m_PolyIndex[k]], push);
        }
        if (const SymbolExpressions::TreeSymbol* t = db.expressions.treeOf(s))
            for (int r : t->tree.references()) push(r);
    }
    return out;
}
}  // namespace

std::string ThermDatabase::refusalOfSymbol(int s)
{
    for (int r : reachable(*this, {s}, true)) {
        std::string why = expressions.refusal(r, dataMgr);
        if (!why.empty()) return why;
    }
    return std::string();
}

std::vector<int> ThermDatabase::freeSymbolsUsedBy(int phaseIndex)
{
    std::vector<int> found;
    if (phaseIndex < 0 || phaseIndex >= static_cast<int>(phases.size()) || expressions.freeSymbols().empty())
        return found;
    std::vector<int> roots;
    TThermFktMgr& list = *phases[static_cast<size_t>(phaseIndex)].functions;
    for (int i = 0; i < list.m_FktArray.m_nSize; ++i) {
        TThermFkt& f = *list.m_FktArray[i];
        for (int k = 0; k < f.m_PolyIndex.m_nSize; ++k)
            forEachPieceReference(*dataMgr.m_PolynomArray[f.m_PolyIndex[k]], [&](int r) { roots.push_back(r); });
    }
    for (int r : reachable(*this, roots, false))
        if (expressions.freeOf(r) != nullptr) found.push_back(r);
    return found;
}

std::vector<std::string> ThermDatabase::unsetSymbolsUsedBy(int phaseIndex)
{
    std::vector<std::string> names;
    for (int r : freeSymbolsUsedBy(phaseIndex)) {
        const SymbolExpressions::FreeSymbol* f = expressions.freeOf(r);
        if (!f->isSet) names.push_back(f->name);
    }
    return names;
}
