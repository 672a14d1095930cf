#include "TdbDuplicates.h"

#include <string>
#include <unordered_map>

#include "thermfunctions/TThermFkt.h"
#include "thermfunctions/TThermFktData.h"
#include "thermfunctions/TThermFktMgr.h"

namespace tdb {

namespace {

// The fields sameParameter compares, as bytes.
std::string key(const TThermFktData& d)
{
    std::vector<int32_t> v = {d.m_nFktType, d.m_nInteractionLevel, d.m_nOrder, d.m_nSublattices,
                              d.m_bDoSet,   d.m_nSpeciesIndex,     d.m_nConstituents};
    for (int s = 0; s < d.m_nSublattices && s < 8; ++s) v.push_back(d.m_nPerSublattice[s]);
    for (int k = 0; k < d.m_nConstituents && k < 10; ++k) v.push_back(d.m_nConstituent[k]);
    return std::string(reinterpret_cast<const char*>(v.data()), v.size() * sizeof(int32_t));
}

}  // namespace

bool sameParameter(const TThermFktData& a, const TThermFktData& b)
{
    return key(a) == key(b);
}

std::vector<std::vector<int>> duplicateGroups(const TThermFktMgr& list)
{
    std::unordered_map<std::string, size_t> groupOf;
    std::vector<std::vector<int>> groups;
    for (int i = 0; i < list.m_FktArray.m_nSize; ++i) {
        auto [it, added] = groupOf.emplace(key(*list.m_FktArray.m_pData[i]->m_pFktData), groups.size());
        if (added) groups.emplace_back();
        groups[it->second].push_back(i);
    }
    std::vector<std::vector<int>> out;
    for (auto& g : groups)
        if (g.size() > 1) out.push_back(std::move(g));
    return out;
}

}  // namespace tdb
