#include "PhasePartition.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <set>

#include "ThermDatabase.h"
#include "thermfunctions/TThermFkt.h"
#include "thermfunctions/TThermFktData.h"
#include "thermfunctions/TThermTPolynom.h"

namespace {

// Constituent names of sublattice s of a phase, as a set.
std::set<std::string> Names(const ThermDatabase::PhaseRecord& rec, int s)
{
    std::set<std::string> names;
    for (int c : rec.phase->m_Constituents[static_cast<size_t>(s)]) names.insert(rec.gibbs->GetElementName(c));
    return names;
}

std::string Joined(const std::set<std::string>& names)
{
    std::string text;
    for (const std::string& n : names) text += (text.empty() ? "" : ",") + n;
    return text;
}

std::string Number(double v)
{
    char buf[32];
    std::snprintf(buf, sizeof buf, "%g", v);
    return buf;
}

}  // namespace

std::string planPartition(const ThermDatabase& db, int ordered, int disordered, PhasePartition& partition)
{
    partition = PhasePartition{};
    const int count = static_cast<int>(db.phases.size());
    if (ordered < 0 || ordered >= count || disordered < 0 || disordered >= count) return "no such phase";
    const ThermDatabase::PhaseRecord& o = db.phases[static_cast<size_t>(ordered)];
    const ThermDatabase::PhaseRecord& d = db.phases[static_cast<size_t>(disordered)];
    const std::string on = o.phase->m_szPhaseName, dn = d.phase->m_szPhaseName;
    if (ordered == disordered) return "phase " + on + " is named as its own disordered part";
    const int no = static_cast<int>(o.phase->m_Constituents.size());
    const int nd = static_cast<int>(d.phase->m_Constituents.size());
    if (nd < 1 || nd > 2)
        return "disordered part " + dn + " has " + std::to_string(nd) + " sublattices; the model takes one or two";
    if (no <= nd)
        return "ordered phase " + on + " has no more sublattices (" + std::to_string(no) + ") than its disordered part " +
               dn + " (" + std::to_string(nd) + ")";
    partition.ordered = ordered;
    partition.disordered = disordered;
    partition.interstitial = nd == 2 ? no - 1 : -1;
    for (int s = 0; s < no; ++s) {
        if (s == partition.interstitial) continue;
        partition.substitutional.push_back(s);
        partition.substitutionalSites += o.phase->m_SiteRatios[static_cast<size_t>(s)];
    }
    const std::set<std::string> first = Names(d, 0);
    for (int s : partition.substitutional)
        for (const std::string& name : Names(o, s))
            if (!first.count(name))
                return "constituent " + name + " of sublattice " + std::to_string(s + 1) + " of " + on +
                       " is not in the first sublattice of its disordered part " + dn;
    const double dFirst = d.phase->m_SiteRatios[0];
    if (partition.interstitial >= 0) {
        // The disordered phase may hold interstitials the ordered one has not
        // (their x is 0), not the other way round.
        const std::set<std::string> io = Names(o, partition.interstitial), id = Names(d, 1);
        for (const std::string& name : io)
            if (!id.count(name))
                return "interstitial sublattice " + std::to_string(partition.interstitial + 1) + " of " + on + " (" +
                       Joined(io) + ") differs from sublattice 2 of its disordered part " + dn + " (" + Joined(id) +
                       "): " + name + " is missing there";
        const double aI = o.phase->m_SiteRatios[static_cast<size_t>(partition.interstitial)];
        const double dSecond = d.phase->m_SiteRatios[1];
        const double lhs = partition.substitutionalSites * dSecond, rhs = dFirst * aI;
        if (std::fabs(lhs - rhs) > 1e-9 * std::max(std::fabs(lhs), std::fabs(rhs)))
            return "site ratios: the ordering sublattices of " + on + " hold " + Number(partition.substitutionalSites) +
                   " sites to " + Number(aI) + " interstitial ones, its disordered part " + dn + " " +
                   Number(dFirst) + " to " + Number(dSecond);
    }
    if (!(dFirst > 0.0) || !(partition.substitutionalSites > 0.0))
        return "site ratios of " + on + " and " + dn + " must be positive";
    partition.scale = partition.substitutionalSites / dFirst;
    return "";
}

void attachDisorderedPart(ThermDatabase& db, int ordered, int disordered)
{
    ThermDatabase::PhaseRecord& o = db.phases[static_cast<size_t>(ordered)];
    ThermDatabase::PhaseRecord& d = db.phases[static_cast<size_t>(disordered)];
    o.phase->m_nModelType = 10;
    std::snprintf(o.phase->m_szDoName, sizeof o.phase->m_szDoName, "%s", d.phase->m_szPhaseName);
    for (size_t s = 0; s < d.phase->m_Constituents.size(); ++s)
        for (int c : d.phase->m_Constituents[s]) {
            const int g = o.gibbs->AddElement(d.gibbs->m_ElementArray.ElementAt(c));
            o.phase->AddDoConstituent(static_cast<int>(s), g);
        }
    // The copies keep the source's constituent text and get records and
    // polynomials of their own, as wildcard expansion gives its parameters.
    TThermFktMgr& from = *d.functions;
    for (int i = 0; i < from.m_FktArray.m_nSize; ++i) {
        TThermFkt* f = from.m_FktArray.m_pData[i];
        TThermFkt* copy = f->CreateClone();
        TThermFktData* data = new TThermFktData(*f->m_pFktData);
        data->m_bDoSet = 1;
        copy->m_nFktDataIndex = db.dataMgr.AddFktData(data);
        copy->m_pFktData = data;
        for (int k = 0; k < copy->m_PolyIndex.m_nSize; ++k)
            db.dataMgr.m_PolynomArray.ElementAt(copy->m_PolyIndex.ElementAt(k))->m_nSymbolList = data->m_nSourceKind;
        o.functions->AddFunction(copy);
    }
}

bool findPartition(const ThermDatabase& db, int ordered, PhasePartition& partition, std::string& why)
{
    why.clear();
    if (ordered < 0 || ordered >= static_cast<int>(db.phases.size())) return false;
    const CVxPhase& o = *db.phases[static_cast<size_t>(ordered)].phase;
    if (o.m_nModelType != 10 || o.m_szDoName[0] == 0) return false;
    const int d = db.findPhase(o.m_szDoName);
    if (d < 0) {
        why = std::string("its disordered part ") + o.m_szDoName + " is not a phase of the database";
        return false;
    }
    why = planPartition(db, ordered, d, partition);
    return why.empty();
}
