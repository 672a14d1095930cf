#include "CVxPhase.h"

#include <cstdio>
#include <cstring>

namespace {
void CopyName(char* pszDest, size_t nSize, const char* pszSrc)
{
    std::snprintf(pszDest, nSize, "%s", pszSrc ? pszSrc : "");
}

int FindPos(const std::vector<std::vector<int>>& constituents, const std::vector<std::vector<int>>& varPos,
            int nSublattice, int nElement)
{
    if (nSublattice < 0 || nSublattice >= static_cast<int>(constituents.size()) || nElement < 0) return -1;
    const std::vector<int>& list = constituents[static_cast<size_t>(nSublattice)];
    for (size_t i = 0; i < list.size(); ++i)
        if (list[i] == nElement) return varPos[static_cast<size_t>(nSublattice)][i];
    return -1;
}

void SizeSet(int nDim, myCArray<double, double>& grad, CVxMatrix& hess, CVxMatrix& hessT,
             myCArray<double, double>& gradTC, CVxMatrix& hessTC, myCArray<double, double>& gradB,
             CVxMatrix& hessB)
{
    grad.SetSize(0, -1);
    grad.SetSize(nDim, -1);
    gradTC.SetSize(0, -1);
    gradTC.SetSize(nDim, -1);
    gradB.SetSize(0, -1);
    gradB.SetSize(nDim, -1);
    hess.SetDimension(nDim);
    hessT.SetDimension(nDim);
    hessTC.SetDimension(nDim);
    hessB.SetDimension(nDim);
}

void ZeroVector(myCArray<double, double>& v)
{
    if (v.m_nSize > 0) std::memset(v.m_pData, 0, sizeof(double) * static_cast<size_t>(v.m_nSize));
}
}  // namespace

CVxPhase::CVxPhase()
    : m_nSublatticeCount(0),
      m_nModelType(0),
      m_pGibbsModel(nullptr),
      m_nVarCount(0),
      m_nDoVarCount(0),
      m_nTPos(0),
      m_dSEDivisor(1.0),
      m_dISBase(1.0),
      m_dISExponent(0.0),
      m_dMagneticP(0.0),
      m_dAFMFactor(-1.0),
      m_bEvaluable(1)
{
    m_szPhaseName[0] = 0;
    m_szDoName[0] = 0;
}

CVxPhase::CVxPhase(const char* pszName, CVxGibbs* pGibbs) : CVxPhase()
{
    SetName(pszName);
    m_pGibbsModel = pGibbs;
}

void CVxPhase::SetName(const char* pszName)
{
    CopyName(m_szPhaseName, sizeof m_szPhaseName, pszName);
    // default do_ name; the database may give another one
    std::string doName = std::string("DO_") + m_szPhaseName;
    CopyName(m_szDoName, sizeof m_szDoName, doName.c_str());
}

int CVxPhase::AddSublattice(double dSites)
{
    m_SiteRatios.push_back(dSites);
    m_Constituents.emplace_back();
    m_VarPos.emplace_back();
    m_nSublatticeCount = static_cast<int>(m_SiteRatios.size());
    return m_nSublatticeCount - 1;
}

int CVxPhase::AddConstituent(int nSublattice, int nElement)
{
    if (nSublattice < 0 || nSublattice >= m_nSublatticeCount || nElement < 0) return -1;
    std::vector<int>& list = m_Constituents[static_cast<size_t>(nSublattice)];
    for (size_t i = 0; i < list.size(); ++i)
        if (list[i] == nElement) return static_cast<int>(i);
    list.push_back(nElement);
    m_VarPos[static_cast<size_t>(nSublattice)].push_back(-1);
    return static_cast<int>(list.size()) - 1;
}

int CVxPhase::AddDoConstituent(int nSublattice, int nElement)
{
    if (nSublattice < 0 || nElement < 0) return -1;
    while (static_cast<int>(m_DoConstituents.size()) <= nSublattice) {
        m_DoConstituents.emplace_back();
        m_DoVarPos.emplace_back();
    }
    std::vector<int>& list = m_DoConstituents[static_cast<size_t>(nSublattice)];
    for (size_t i = 0; i < list.size(); ++i)
        if (list[i] == nElement) return static_cast<int>(i);
    list.push_back(nElement);
    m_DoVarPos[static_cast<size_t>(nSublattice)].push_back(-1);
    return static_cast<int>(list.size()) - 1;
}

void CVxPhase::SetupVariables()
{
    int n = 0;
    for (auto& s : m_VarPos)
        for (int& pos : s) pos = n++;
    m_nVarCount = n;
    int nDo = 0;
    for (auto& s : m_DoVarPos)
        for (int& pos : s) pos = nDo++;
    m_nDoVarCount = nDo;
    m_nTPos = m_nVarCount > m_nDoVarCount ? m_nVarCount : m_nDoVarCount;

    // fresh blocks, so that stale pointers are not silently reused
    m_Y.SetSize(0, -1);
    if (m_nVarCount > 0) m_Y.SetSize(m_nVarCount, -1);
    m_DoY.SetSize(0, -1);
    if (m_nDoVarCount > 0) m_DoY.SetSize(m_nDoVarCount, -1);
    // a valid starting composition: equal fractions in every sublattice
    for (size_t s = 0; s < m_Constituents.size(); ++s)
        for (size_t i = 0; i < m_Constituents[s].size(); ++i)
            m_Y[m_VarPos[s][i]] = 1.0 / static_cast<double>(m_Constituents[s].size());
    for (size_t s = 0; s < m_DoConstituents.size(); ++s)
        for (size_t i = 0; i < m_DoConstituents[s].size(); ++i)
            m_DoY[m_DoVarPos[s][i]] = 1.0 / static_cast<double>(m_DoConstituents[s].size());

    int nDim = GetMatrixDimension();
    SizeSet(nDim, m_GradG, m_HessG, m_HessGT, m_GradTC, m_HessTC, m_GradBMAGN, m_HessBMAGN);
    SizeSet(nDim, m_do_GradG, m_do_HessG, m_do_HessGT, m_do_GradTC, m_do_HessTC, m_do_GradBMAGN,
            m_do_HessBMAGN);
    int nSpecies = m_pGibbsModel ? m_pGibbsModel->GetElementCount() : 0;
    m_SpeciesDT.SetSize(0, -1);
    if (nSpecies > 0) m_SpeciesDT.SetSize(nSpecies, -1);
}

void CVxPhase::ZeroResults()
{
    ZeroVector(m_GradG);
    ZeroVector(m_GradTC);
    ZeroVector(m_GradBMAGN);
    ZeroVector(m_do_GradG);
    ZeroVector(m_do_GradTC);
    ZeroVector(m_do_GradBMAGN);
    ZeroVector(m_SpeciesDT);
    m_HessG.Zero();
    m_HessGT.Zero();
    m_HessTC.Zero();
    m_HessBMAGN.Zero();
    m_do_HessG.Zero();
    m_do_HessGT.Zero();
    m_do_HessTC.Zero();
    m_do_HessBMAGN.Zero();
}

char* CVxPhase::GetPhaseName(int /*nWhich*/) { return m_szPhaseName; }

int CVxPhase::GetVarPos(int nSublattice, int nElement) const
{
    return FindPos(m_Constituents, m_VarPos, nSublattice, nElement);
}

int CVxPhase::Get_do_VarPos(int nSublattice, int nElement) const
{
    return FindPos(m_DoConstituents, m_DoVarPos, nSublattice, nElement);
}

double* CVxPhase::GetYPointer(int nSublattice, int nElement)
{
    int nPos = GetVarPos(nSublattice, nElement);
    if (nPos < 0 || nPos >= m_Y.m_nSize) return nullptr;
    return &m_Y.m_pData[nPos];
}

double* CVxPhase::Get_doY_Pointer(int nSublattice, int nElement)
{
    int nPos = Get_do_VarPos(nSublattice, nElement);
    if (nPos < 0 || nPos >= m_DoY.m_nSize) return nullptr;
    return &m_DoY.m_pData[nPos];
}

int CVxPhase::Is(int nSublattice, int nElement) const
{
    if (nSublattice < 0 || nSublattice >= static_cast<int>(m_Constituents.size())) return 0;
    if (nElement == -1) return 1;
    for (int e : m_Constituents[static_cast<size_t>(nSublattice)])
        if (e == nElement) return 1;
    return 0;
}

int CVxPhase::do_Is(int nSublattice, int nElement) const
{
    if (nSublattice < 0 || nSublattice >= static_cast<int>(m_DoConstituents.size())) return 0;
    if (nElement == -1) return 1;
    for (int e : m_DoConstituents[static_cast<size_t>(nSublattice)])
        if (e == nElement) return 1;
    return 0;
}

int CVxPhase::IsElement(int nElement) const
{
    if (nElement < 0) return 0;
    for (const auto& s : m_Constituents)
        for (int e : s)
            if (e == nElement) return 1;
    for (const auto& s : m_DoConstituents)
        for (int e : s)
            if (e == nElement) return 1;
    return 0;
}
