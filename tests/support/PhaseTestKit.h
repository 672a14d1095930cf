// A small phase (A,B,C)(D,E,VA) with a do_ set (A,B,C) for kernel tests.
#ifndef TESTS_SUPPORT_PHASETESTKIT_H
#define TESTS_SUPPORT_PHASETESTKIT_H

#include <cstring>
#include <string>
#include <vector>

#include "host/CVxDataMgr.h"
#include "host/CVxGibbs.h"
#include "host/CVxPhase.h"
#include "KernelTestKit.h"

namespace kit {

inline TDMGRElementData Element(const char* pszName, double dAtoms = 1.0)
{
    TDMGRElementData e;
    std::memset(&e, 0, sizeof e);
    std::strncpy(e.m_szElementName, pszName, sizeof e.m_szElementName - 1);
    e.m_dAtoms = dAtoms;
    return e;
}

struct SmallPhase
{
    CVx_coreApp app;
    CVxDataMgr dm{&app};
    CVxGibbs gibbs;
    CVxPhase phase{"FCC_A1", &gibbs};
    TThermFktMgr list{const_cast<char*>("FCC_A1"), &dm};

    SmallPhase()
    {
        const char* names[] = {"A", "B", "C", "D", "E", "VA", "X"};
        for (const char* n : names) dm.AddElement(Element(n, std::strcmp(n, "VA") == 0 ? 0.0 : 1.0));
        for (int i = 0; i < 6; ++i) gibbs.AddElement(dm.m_ElementArray[i]);  // X only in the database
        phase.AddSublattice(1.0);
        phase.AddSublattice(3.0);
        for (int e = 0; e < 3; ++e) phase.AddConstituent(0, e);
        for (int e = 3; e < 6; ++e) phase.AddConstituent(1, e);
        for (int e = 0; e < 3; ++e) phase.AddDoConstituent(0, e);
        phase.SetupVariables();
        const double y[] = {0.2, 0.5, 0.3, 0.45, 0.35, 0.2};
        for (int i = 0; i < 6; ++i) phase.m_Y[i] = y[i];
        const double yd[] = {0.25, 0.35, 0.4};
        for (int i = 0; i < 3; ++i) phase.m_DoY[i] = yd[i];
    }

    // A parameter on the constituent text, linked to the phase (result of linking in *pnLink).
    TThermFkt* Add(const std::string& text, int nType = 0, int nOrder = 0, bool bDoSet = false,
                   int* pnLink = nullptr)
    {
        TThermFkt* f = list.AddFunction(Parameter(dm, nType, nOrder));
        f->m_pFktData->m_bDoSet = bDoSet ? 1 : 0;
        f->m_pFktData->m_nSourceIndex = dm.AddSourceText(1, text.c_str());
        std::vector<char> buf(text.begin(), text.end());
        buf.push_back(0);
        int n = f->LinkYPointer(&phase, &gibbs, buf.data());
        if (pnLink) *pnLink = n;
        return f;
    }
};

}  // namespace kit

#endif
