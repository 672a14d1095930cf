// Linking a function to its phase from the constituent text: record fields,
// pointers, limits and failures.
#include <gtest/gtest.h>

#include "support/PhaseTestKit.h"

namespace {

TEST(Linking, RecordsStructureOfTheText)
{
    kit::SmallPhase sp;
    int n = 0;
    TThermFkt* f = sp.Add("A,B:VA", 0, 0, false, &n);
    const TThermFktData* d = f->m_pFktData;
    EXPECT_EQ(n, 3);
    EXPECT_EQ(d->m_bLinked, 1);
    EXPECT_EQ(d->m_nSublattices, 2);
    EXPECT_EQ(d->m_nPerSublattice[0], 2);
    EXPECT_EQ(d->m_nPerSublattice[1], 1);
    EXPECT_EQ(d->m_nMaxPerSublattice, 2);
    EXPECT_EQ(d->m_nInteractionLevel, 1);
    EXPECT_EQ(d->m_nInteractPos[0], 0);
    EXPECT_EQ(d->m_nInteractPos[1], -1);
    EXPECT_EQ(d->m_nConstituent[2], 5);  // VA in the Gibbs model
    EXPECT_EQ(d->m_nVarPos[2], 5);
    EXPECT_EQ(f->m_pY[0], &sp.phase.m_Y[0]);
    EXPECT_EQ(f->m_pY[2], &sp.phase.m_Y[5]);

    TThermFkt* r = sp.Add("A,B:D,E", 0, 1, false, &n);
    EXPECT_EQ(r->m_pFktData->m_nInteractPos[0], 0);
    EXPECT_EQ(r->m_pFktData->m_nInteractPos[1], 2);
    EXPECT_EQ(r->m_pFktData->m_nInteractionLevel, 1);

    TThermFkt* t = sp.Add("A,B,C:D", 0, 0, false, &n);
    EXPECT_EQ(t->m_pFktData->m_nInteractionLevel, 2);
    EXPECT_EQ(t->m_pFktData->m_nInteractPos[0], 0);
    EXPECT_EQ(t->m_pFktData->m_nInteractPos[1], -1);
}

TEST(Linking, WildcardsEmptyTextsAndTheDoSet)
{
    kit::SmallPhase sp;
    int n = 0;
    TThermFkt* w = sp.Add("*,B:VA", 0, 0, false, &n);
    EXPECT_EQ(n, 3);
    EXPECT_EQ(w->m_pFktData->m_nConstituent[0], -1);
    EXPECT_EQ(w->m_pFktData->m_nVarPos[0], -1);
    EXPECT_EQ(w->m_pY[0], &ConstantOneValue);
    EXPECT_EQ(w->m_pDoY[0], &ConstantOneValue);
    EXPECT_EQ(w->m_pFktData->m_nInteractionLevel, 1);
    EXPECT_EQ(w->HasWildCardElements(), 1);

    TThermFkt* e = sp.Add("", 0, 0, false, &n);
    EXPECT_EQ(n, 0);
    EXPECT_EQ(e->m_pFktData->m_bLinked, 1);
    EXPECT_EQ(e->m_pFktData->m_nInteractionLevel, -1);
    EXPECT_EQ(e->m_pFktData->m_nSublattices, 1);

    TThermFkt* d = sp.Add("B,C", 0, 0, true, &n);
    EXPECT_EQ(n, 2);
    EXPECT_EQ(d->m_pDoY[1], &sp.phase.m_DoY[2]);
    EXPECT_EQ(d->m_pY[1], nullptr);  // the regular pointer is left alone
    EXPECT_EQ(d->m_pFktData->m_nVarPos[1], 2);

    // without a phase every entry becomes a factor of one
    TThermFkt* np = sp.list.AddFunction(kit::Parameter(sp.dm));
    char text[] = "A:D";
    EXPECT_EQ(np->LinkYPointer(nullptr, &sp.gibbs, text), 2);
    EXPECT_EQ(np->m_pY[1], &ConstantOneValue);
    EXPECT_EQ(np->m_pFktData->m_nConstituent[0], -1);

    // "SE" is not parsed
    TThermFkt* se = sp.Add("nonsense;;", 5, 0, false, &n);
    EXPECT_EQ(n, 0);
    EXPECT_EQ(se->m_pFktData->m_bLinked, 1);
}

TEST(Linking, FailuresAndLimits)
{
    kit::SmallPhase sp;
    int n = 0;
    sp.Add("A;B:VA", 0, 0, false, &n);  // ";" is no delimiter: one unknown name
    EXPECT_EQ(n, -1);
    sp.Add("Q:VA", 0, 0, false, &n);
    EXPECT_EQ(n, -1);
    sp.Add("X:VA", 0, 0, false, &n);  // known to the database, not to the phase's model
    EXPECT_EQ(n, -1);
    sp.Add("A,B,C,D,E,VA,A,B,C,D,E", 0, 0, false, &n);  // eleven entries
    EXPECT_EQ(n, -1);
    sp.Add("A:A:A:A:A:A:A:A:A", 0, 0, false, &n);  // nine sublattices
    EXPECT_EQ(n, -1);
    TThermFkt* f = sp.Add("A,B:A,B:A,B:A,B", 0, 0, false, &n);  // four interacting sublattices
    EXPECT_EQ(n, -1);
    EXPECT_EQ(f->m_pFktData->m_bLinked, 0);
    for (int s = 0; s < 3; ++s) EXPECT_EQ(f->m_pFktData->m_nInteractPos[s], 2 * s);

    // no text and no source table to take it from
    TThermFkt* g = sp.list.AddFunction(kit::Parameter(sp.dm));
    g->m_pFktData->m_nSourceKind = 7;
    EXPECT_EQ(g->LinkYPointer(&sp.phase, &sp.gibbs, nullptr), -1);
    // the text from the source table
    g->m_pFktData->m_nSourceKind = 1;
    g->m_pFktData->m_nSourceIndex = sp.dm.AddSourceText(1, "C:E");
    EXPECT_EQ(g->LinkYPointer(&sp.phase, &sp.gibbs, nullptr), 2);
    EXPECT_EQ(g->m_pY[1], &sp.phase.m_Y[4]);
}

TEST(Linking, MissingSiteFractionDisablesWithAMessage)
{
    kit::SmallPhase sp;
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
    TThermFkt* l0 = sp.Add("A,B,C:D", 0, 0);
    TThermFkt* l1 = sp.Add("A,B,C:D", 0, 1);
    TThermFkt* l2 = sp.Add("A,B,C:D", 0, 2);
    TThermFkt* tc = sp.Add("A,B,C:D", 10, 0);
    TThermFkt* single = sp.Add("A,B,C:E", 0, 0);
    EXPECT_EQ(sp.list.LinkYPointers(&sp.phase, &sp.gibbs), 5);
    EXPECT_EQ(l0->m_pFktData->m_bRegular, 0);
    EXPECT_EQ(l1->m_pFktData->m_bRegular, 0);
    EXPECT_EQ(l2->m_pFktData->m_bRegular, 0);
    EXPECT_EQ(tc->m_pFktData->m_bRegular, 1);
    EXPECT_EQ(single->m_pFktData->m_bRegular, 1);

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
    EXPECT_EQ(l0->m_pFktData->m_nConstituents, 0);
    EXPECT_EQ(l0->m_pSymbolMgr, sp.dm.GetSymbolFktMgr());
}

}  // namespace
