#include "ThermDatabase.h"

#include "host/my_stricmp.h"

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
