// Duplicate report, matching, cloning for a phase and wildcard expansion.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "support/PhaseTestKit.h"

namespace {

std::string Header(TThermFkt* f)
{
    myCString s;
    f->WriteOutFunktion(s, 1);
    return s.m_pszBuffer;
}

// Value of the phase's Gibbs-energy terms at T for its current site fractions.
double GibbsSum(kit::SmallPhase& sp, double T)
{
    TK.CalcTValues(T);
    sp.dm.GetSymbolFktMgr()->SaveCalcPTValues(T, 1e5, 2);
    sp.list.CalcPTValues(T, 1e5, 2);
    sp.phase.ZeroResults();
    double g = 0;
    for (int i = 0; i < sp.list.m_FktArray.m_nSize; ++i) {
        TThermFkt* f = sp.list.m_FktArray[i];
        f->Calc(2, 1.0);
        if (f->m_pFktData->m_nFktType == 0) g += f->m_dAktVal_F;
    }
    return g;
}

TEST(Duplicates, ThreeCopiesGiveThreePairsAndTheReport)
{
    kit::SmallPhase sp;
    for (int i = 0; i < 3; ++i) sp.Add("A:VA", 0, 0);
    sp.Add("A:VA", 0, 1);  // another order
    sp.Add("B,A:VA", 0, 0);
    sp.Add("A,B:VA", 0, 0);  // B,A and A,B are different parameters
    myCString report("old content");
    EXPECT_EQ(sp.list.CheckForDoubleParameters(&report), 3);
    EXPECT_STREQ(report.m_pszBuffer,
                 "\n*******    W A R N I N G    ******** \nThe following function(s) in FktMgr\n"
                 "### FCC_A1 ###\nare detected twice:\n"
                 "  G(FCC_A1,A:VA;0)\n  G(FCC_A1,A:VA;0)\n  G(FCC_A1,A:VA;0)\n");
    EXPECT_EQ(sp.list.CheckForDoubleParameters(nullptr), 3);
}

TEST(Duplicates, CriteriaDifferFromTheIdentityLookUp)
{
    kit::SmallPhase sp;
    TThermFkt* a = sp.Add("A:VA", 50, 0);
    TThermFkt* b = sp.Add("A:VA", 50, 0);
    a->m_pFktData->m_nSpeciesIndex = 0;
    b->m_pFktData->m_nSpeciesIndex = 1;
    b->m_pFktData->m_nNameIndex = 4;
    b->m_pFktData->m_bRegular = 0;
    myCString report("kept");
    EXPECT_EQ(sp.list.CheckForDoubleParameters(&report), 1);  // species, name and flag are not compared
    EXPECT_EQ(sp.list.GetDuplicateFunction(a), -1);           // the look-up compares them

    kit::SmallPhase none;
    none.Add("A:VA", 0, 0);
    myCString untouched("kept");
    EXPECT_EQ(none.list.CheckForDoubleParameters(&untouched), 0);
    EXPECT_STREQ(untouched.m_pszBuffer, "kept");
}

TEST(Matching, KeywordsOrdersAndSpecies)
{
    kit::SmallPhase sp;
    TThermFkt* g = sp.Add("A:VA", 0, 1);
    TThermFkt* bm = sp.Add("A:VA", 20, 0);
    TThermFkt* se = sp.Add("", 5, 0);
    TThermFkt* mq = sp.Add("A:VA", 50, 0);
    mq->m_pFktData->m_nSpeciesIndex = 2;
    TThermFkt* other = sp.Add("A:VA", 2, 0);
    TThermFkt* sym = sp.dm.AddSymbolFunction("GHSERFE");
    // keywords in any case (BMAG and BMAGN are one), orders, species; a symbol by its name
    const struct
    {
        TThermFkt* f;
        std::string key;
        int species, order, expected;
    } cases[] = {{g, "g", 0, 1, 1},          {g, "G", 0, 0, 0},        {g, "L", 0, 1, 0},
                 {bm, "Bmag", 5, 0, 1},      {bm, "bmagn", 5, 0, 1},   {bm, "BMAGNX", 5, 0, 0},
                 {se, "SE", 9, 9, 1},        {mq, "MQ", 2, 7, 1},      {mq, "MQ", 1, 0, 0},
                 {other, "BMAGNX", 3, 3, 1}, {sym, "ghserfe", 0, 0, 1}, {sym, "GHSERCR", 0, 0, 0}};
    for (const auto& c : cases) {
        std::string key = c.key;
        char none[] = "";
        EXPECT_EQ(c.f->CompareFuncData(&key[0], none, c.species, c.order), c.expected) << c.key << " " << c.order;
    }
}

TEST(Cloning, PhaseFilterRecordsAndPolynomials)
{
    kit::SmallPhase sp;
    TThermFkt* f0 = sp.Add("A:VA", 0, 0);
    f0->AddPolynom(kit::Piece(298.15, 6000, -1000, 2));
    f0->AddPolynom(kit::Piece(6000, 7000, -900, 1));
    TThermFkt* f1 = sp.Add("D:VA", 0, 0);  // D is not in sublattice 0
    f1->AddPolynom(kit::Piece(298.15, 6000, 5));
    TThermFkt* f2 = sp.Add("B:*", 0, 0);
    f2->AddPolynom(kit::Piece(298.15, 6000, 7));
    sp.dm.m_nActSourceKind = 3;

    int nPolys = sp.dm.m_PolynomArray.m_nSize, nRecords = sp.dm.m_FktDataArray.m_nSize;
    TThermFktMgr* shared = sp.list.CreateClone(1, 0, &sp.phase);
    ASSERT_EQ(shared->m_FktArray.m_nSize, 2);
    EXPECT_STREQ(shared->m_szName, "FCC_A1");
    EXPECT_EQ(sp.dm.m_nActSourceKind, 3);
    EXPECT_EQ(sp.dm.m_PolynomArray.m_nSize, nPolys);
    EXPECT_EQ(sp.dm.m_FktDataArray.m_nSize, nRecords + 2);
    EXPECT_EQ(shared->m_FktArray[0]->m_PolyIndex[1], f0->m_PolyIndex[1]);
    EXPECT_NE(shared->m_FktArray[0]->m_pFktData, f0->m_pFktData);
    EXPECT_EQ(shared->m_FktArray[1]->m_pFktData->m_nConstituent[1], -1);

    TThermFktMgr* copied = sp.list.CreateClone(2, 1, nullptr);  // no phase: everything is copied
    ASSERT_EQ(copied->m_FktArray.m_nSize, 3);
    EXPECT_EQ(sp.dm.m_PolynomArray.m_nSize, nPolys + 4);
    for (int i = nPolys; i < nPolys + 4; ++i) EXPECT_EQ(sp.dm.m_PolynomArray[i]->m_nSymbolList, 2);

    // the clone evaluates like its source once bound
    EXPECT_EQ(shared->LinkYPointers(&sp.phase, &sp.gibbs), 2);
    TK.CalcTValues(1000);
    f0->CalcPTValues(1000, 1e5, 2);
    shared->CalcPTValues(1000, 1e5, 2);
    sp.phase.ZeroResults();
    f0->Calc(2, 1.0);
    shared->m_FktArray[0]->Calc(2, 1.0);
    EXPECT_EQ(shared->m_FktArray[0]->m_dAktVal_F, f0->m_dAktVal_F);
    delete shared;
    delete copied;

    // source kind 2 also asks whether the species belongs to the phase
    TThermFkt* mq = sp.Add("A:VA", 50, 0);
    mq->m_pFktData->m_nSpeciesIndex = 3;
    // with kind 2 every record is filtered by its species: only the mobility has one here
    TThermFktMgr* mob = sp.list.CreateClone(2, 0, &sp.phase);
    ASSERT_EQ(mob->m_FktArray.m_nSize, 1);
    EXPECT_EQ(mob->m_FktArray[0]->m_pFktData->m_nFktType, 50);
    delete mob;
    sp.phase.m_Constituents[1] = {4, 5};  // D gone from the phase
    mob = sp.list.CreateClone(2, 0, &sp.phase);
    EXPECT_EQ(mob->m_FktArray.m_nSize, 0);
    EXPECT_EQ(sp.dm.m_nActSourceKind, 3);
    delete mob;

    // a single function copy keeps the bindings and the record
    TThermFkt* c = f0->CreateClone();
    EXPECT_EQ(c->m_pFktData, f0->m_pFktData);
    EXPECT_EQ(c->m_pY[0], f0->m_pY[0]);
    EXPECT_EQ(c->m_PolyIndex.m_nSize, 2);
    EXPECT_NE(c->m_PolyIndex[0], f0->m_PolyIndex[0]);
    EXPECT_EQ(c->m_dValue, 0.0);
    delete c;
}

TEST(Wildcards, StarExpandsToEveryAdmittedPair)
{
    kit::SmallPhase sp;
    TThermFkt* f = sp.Add("*", 0, 0);
    f->AddPolynom(kit::Piece(298.15, 6000, 100, -1));
    int nRecords = sp.dm.m_FktDataArray.m_nSize;
    EXPECT_EQ(sp.list.ExpandWildcardFunctions(false), 3 + 3 * 3);
    ASSERT_EQ(sp.list.m_FktArray.m_nSize, 9);
    std::set<std::string> headers;
    for (int i = 0; i < 9; ++i) headers.insert(Header(sp.list.m_FktArray[i]));
    EXPECT_EQ(headers.size(), 9u);
    EXPECT_EQ(headers.count("G(FCC_A1,C:VA;0)"), 1u);
    // order: the candidates of one source end up in decreasing element order
    EXPECT_EQ(Header(sp.list.m_FktArray[0]), "G(FCC_A1,C:VA;0)");
    EXPECT_EQ(Header(sp.list.m_FktArray[8]), "G(FCC_A1,A:D;0)");
    // no polynomial without a function, one record per parameter
    EXPECT_EQ(sp.dm.m_PolynomArray.m_nSize, 9);
    EXPECT_EQ(sp.dm.m_FktDataArray.m_nSize, nRecords - 1 + 9);
    for (int i = 0; i < 9; ++i) {
        TThermFkt* g = sp.list.m_FktArray[i];
        EXPECT_EQ(sp.dm.m_FktDataArray[g->m_nFktDataIndex], g->m_pFktData);
        EXPECT_EQ(sp.dm.m_PolynomArray[g->m_PolyIndex[0]]->m_nSymbolList, 1);
    }
}

TEST(Wildcards, GeneratedParametersEvaluateLikeWrittenOnes)
{
    kit::SmallPhase written, wild;
    for (const char* t : {"A:D", "A:E", "A:VA"}) written.Add(t, 0, 0)->AddPolynom(kit::Piece(298.15, 6000, 100, -1));
    wild.Add("A:*", 0, 0)->AddPolynom(kit::Piece(298.15, 6000, 100, -1));
    EXPECT_EQ(wild.list.ExpandWildcardFunctions(false), 3);
    EXPECT_EQ(wild.list.LinkYPointers(&wild.phase, &wild.gibbs), 3);
    EXPECT_EQ(written.list.LinkYPointers(&written.phase, &written.gibbs), 3);
    double gw = GibbsSum(wild, 900), gx = GibbsSum(written, 900);
    EXPECT_NEAR(gw, gx, 1e-12);
    EXPECT_NEAR(gx, 0.2 * (0.45 + 0.35 + 0.2) * (100 - 900), 1e-9);
    for (int v = 0; v <= wild.phase.m_nTPos; ++v) EXPECT_NEAR(wild.phase.m_GradG[v], written.phase.m_GradG[v], 1e-12);
}

TEST(Wildcards, DuplicatesSkippedOrLinked)
{
    for (bool bLink : {false, true}) {
        kit::SmallPhase sp;
        sp.phase.m_Constituents[1] = {5};  // second sublattice: VA only
        sp.phase.SetupVariables();
        sp.Add("A:VA", 0, 0)->AddPolynom(kit::Piece(298.15, 6000, 1));
        sp.Add("A:*", 0, 0)->AddPolynom(kit::Piece(298.15, 6000, 2));
        EXPECT_EQ(sp.list.ExpandWildcardFunctions(bLink), bLink ? 1 : 0);
        EXPECT_EQ(sp.list.m_FktArray.m_nSize, bLink ? 2 : 1);
        EXPECT_EQ(sp.dm.m_PolynomArray.m_nSize, bLink ? 2 : 1);
        bool bMessage = sp.app.AllText().find("  *** duplicate parameters linked in phase 'FCC_A1'") != std::string::npos;
        EXPECT_EQ(bMessage, bLink);
    }
    kit::SmallPhase single;
    single.phase.m_Constituents[1] = {5};
    single.phase.SetupVariables();
    single.Add("A:*", 0, 0)->AddPolynom(kit::Piece(298.15, 6000, 2));
    EXPECT_EQ(single.list.ExpandWildcardFunctions(false), 1);
    EXPECT_EQ(Header(single.list.m_FktArray[0]), "G(FCC_A1,A:VA;0)");
}

TEST(Wildcards, IllegalExpressionsAndMissingPhases)
{
    kit::SmallPhase sp;
    sp.phase.AddSublattice(1.0);
    sp.phase.AddConstituent(2, 5);
    sp.phase.SetupVariables();
    sp.Add("A:*", 0, 0);
    EXPECT_EQ(sp.list.ExpandWildcardFunctions(false), -1);
    EXPECT_NE(sp.app.AllText().find("*** ERROR *** error expanding wildcards 'G(FCC_A1,A:*;0)', illegal expression"),
              std::string::npos);

    kit::SmallPhase np;
    np.Add("A:VA", 0, 0)->m_pPhase = nullptr;
    EXPECT_EQ(np.list.ExpandWildcardFunctions(false), -1);
    TThermFktMgr empty(&np.dm);
    EXPECT_EQ(empty.ExpandWildcardFunctions(false), 0);

    kit::SmallPhase plain;
    plain.Add("A:VA", 0, 0);
    EXPECT_EQ(plain.list.ExpandWildcardFunctions(false), 0);
    EXPECT_EQ(plain.list.m_FktArray.m_nSize, 1);
}

}  // namespace
