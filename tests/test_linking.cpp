// Linking a function to its phase from the constituent text: record fields,
// pointers, limits and failures.
#include <gtest/gtest.h>

#include <vector>

#include "support/PhaseTestKit.h"

namespace {

const int kAny = -99;  // a field the case does not look at

struct LinkCase
{
    const char* text;
    int type;
    bool doSet;
    int linkResult;
    // m_bLinked, m_nSublattices, m_nInteractionLevel, m_nInteractPos[0..1]
    std::vector<int> record;
};

TEST(Linking, RecordsTheStructureOfTheText)
{
    const LinkCase cases[] = {
        {"A,B:VA", 0, false, 3, {1, 2, 1, 0, -1}},
        {"A,B:D,E", 0, false, 4, {kAny, kAny, 1, 0, 2}},
        {"A,B,C:D", 0, false, 4, {kAny, kAny, 2, 0, -1}},
        {"*,B:VA", 0, false, 3, {kAny, kAny, 1, kAny, kAny}},
        {"", 0, false, 0, {1, 1, -1, kAny, kAny}},
        {"B,C", 0, true, 2, {kAny, kAny, kAny, kAny, kAny}},
        {"nonsense;;", 5, false, 0, {1, kAny, kAny, kAny, kAny}},  // "SE" is not parsed
        {"A;B:VA", 0, false, -1, {}},                             // ";" is no delimiter: one unknown name
        {"Q:VA", 0, false, -1, {}},
        {"X:VA", 0, false, -1, {}},  // known to the database, not to the phase's model
        {"A,B,C,D,E,VA,A,B,C,D,E", 0, false, -1, {}},  // eleven entries
        {"A:A:A:A:A:A:A:A:A", 0, false, -1, {}},       // nine sublattices
        {"A,B:A,B:A,B:A,B", 0, false, -1, {0, kAny, kAny, 0, 2}},  // four interacting sublattices
    };
    kit::SmallPhase sp;
    for (const LinkCase& c : cases) {
        SCOPED_TRACE(c.text);
        int n = 0;
        const TThermFktData* d = sp.Add(c.text, c.type, 0, c.doSet, &n)->m_pFktData;
        EXPECT_EQ(n, c.linkResult);
        const int got[] = {d->m_bLinked, d->m_nSublattices, d->m_nInteractionLevel, d->m_nInteractPos[0],
                           d->m_nInteractPos[1]};
        for (size_t k = 0; k < c.record.size(); ++k)
            if (c.record[k] != kAny) {
                EXPECT_EQ(got[k], c.record[k]) << "field " << k;
            }
    }
    // the first one in detail: per sublattice, and the pointers into the phase
    const TThermFkt* f = sp.list.m_FktArray[0];
    const TThermFktData* d = f->m_pFktData;
    EXPECT_EQ((std::vector<int>{d->m_nPerSublattice[0], d->m_nPerSublattice[1], d->m_nMaxPerSublattice,
                                d->m_nConstituent[2], d->m_nVarPos[2]}),
              (std::vector<int>{2, 1, 2, 5, 5}));  // VA is 5 in the Gibbs model and in the phase
    EXPECT_EQ(f->m_pY[0], &sp.phase.m_Y[0]);
    EXPECT_EQ(f->m_pY[2], &sp.phase.m_Y[5]);
    EXPECT_EQ(sp.list.m_FktArray[12]->m_pFktData->m_nInteractPos[2], 4);
    // a wildcard reads a factor of one
    TThermFkt* w = sp.list.m_FktArray[3];
    EXPECT_EQ((std::vector<int>{w->m_pFktData->m_nConstituent[0], w->m_pFktData->m_nVarPos[0],
                                w->HasWildCardElements()}),
              (std::vector<int>{-1, -1, 1}));
    EXPECT_EQ(w->m_pY[0], &ConstantOneValue);
    EXPECT_EQ(w->m_pDoY[0], &ConstantOneValue);
    // the do_ set: its own pointer, the regular one left alone
    const TThermFkt* o = sp.list.m_FktArray[5];
    EXPECT_EQ(o->m_pDoY[1], &sp.phase.m_DoY[2]);
    EXPECT_EQ(o->m_pY[1], nullptr);
    EXPECT_EQ(o->m_pFktData->m_nVarPos[1], 2);
}

TEST(Linking, WithoutPhaseOrTextAndMissingSiteFractions)
{
    kit::SmallPhase sp;
    // without a phase every entry becomes a factor of one
    TThermFkt* np = sp.list.AddFunction(kit::Parameter(sp.dm));
    char text[] = "A:D";
    EXPECT_EQ(np->LinkYPointer(nullptr, &sp.gibbs, text), 2);
    EXPECT_EQ(np->m_pY[1], &ConstantOneValue);
    EXPECT_EQ(np->m_pFktData->m_nConstituent[0], -1);
    // no text and no source table to take it from; then the text from the source table
    TThermFkt* g = sp.list.AddFunction(kit::Parameter(sp.dm));
    g->m_pFktData->m_nSourceKind = 7;
    EXPECT_EQ(g->LinkYPointer(&sp.phase, &sp.gibbs, nullptr), -1);
    g->m_pFktData->m_nSourceKind = 1;
    g->m_pFktData->m_nSourceIndex = sp.dm.AddSourceText(1, "C:E");
    EXPECT_EQ(g->LinkYPointer(&sp.phase, &sp.gibbs, nullptr), 2);
    EXPECT_EQ(g->m_pY[1], &sp.phase.m_Y[4]);

    int n = 0;
    TThermFkt* f = sp.Add("D:D", 0, 0, false, &n);  // D does not occupy sublattice 0
    EXPECT_EQ(n, 0);
    EXPECT_EQ(f->m_pFktData->m_bDisabled, 1);
    ASSERT_EQ(sp.app.m_Messages.size(), 1u);
    // the header lists the entries linked so far, up to the one that failed
    EXPECT_EQ(sp.app.m_Messages[0].text, "*** error *** illegal y[]/x[]-pointer in function: G(FCC_A1,D;0)\n");
    EXPECT_EQ(sp.app.m_Messages[0].flag1, 0u);
}

TEST(Binding, ListsStopAtTheFirstFailureAndMarkTernarySets)
{
    kit::SmallPhase sp;
    for (int order : {0, 1, 2}) sp.Add("A,B,C:D", 0, order);
    sp.Add("A,B,C:D", 10, 0);
    sp.Add("A,B,C:E", 0, 0);
    EXPECT_EQ(sp.list.LinkYPointers(&sp.phase, &sp.gibbs), 5);
    // a ternary set of G parameters is not regular; TC and the single ternary are
    std::vector<int> regular;
    for (int i = 0; i < 5; ++i) regular.push_back(sp.list.m_FktArray[i]->m_pFktData->m_bRegular);
    EXPECT_EQ(regular, (std::vector<int>{0, 0, 0, 1, 1}));

    kit::SmallPhase sp2;
    TThermFkt* a = sp2.Add("A,B,C:D", 0, 0);
    sp2.Add("Q:D", 0, 0);
    TThermFkt* c = sp2.Add("A,B,C:D", 0, 1);
    c->m_pFktData->m_bLinked = 0;
    EXPECT_EQ(sp2.list.LinkYPointers(&sp2.phase, &sp2.gibbs), -1);
    EXPECT_EQ(a->m_pFktData->m_bLinked, 1);
    EXPECT_EQ(c->m_pFktData->m_bLinked, 0);
    EXPECT_EQ(a->m_pFktData->m_bRegular, 1);  // the pass did not run

    TThermFktMgr empty(&sp.dm);
    EXPECT_EQ(empty.LinkYPointers(&sp.phase, &sp.gibbs), 0);
    EXPECT_EQ(empty.LinkSymbols(&sp.dm, nullptr), 0);
    EXPECT_EQ(sp.list.LinkSymbols(&sp.dm, &sp.gibbs), 5);
    EXPECT_EQ(sp.list.m_FktArray[0]->m_pFktData->m_nConstituents, 0);
    EXPECT_EQ(sp.list.m_FktArray[0]->m_pSymbolMgr, sp.dm.GetSymbolFktMgr());
}

}  // namespace
