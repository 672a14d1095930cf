// Text notation: pieces, function headers of every type, list titles and
// constituent strings, checked against hand-written texts.
#include <gtest/gtest.h>

#include <string>

#include "support/PhaseTestKit.h"

namespace {

std::string Poly(TThermTPolynom& p, CVxDataMgr* pDm = nullptr)
{
    myCString out;
    p.WriteOutPoly(out, 3, pDm);
    return out.m_pszBuffer;
}

std::string Listing(TThermFkt* f, int nMode)
{
    myCString out;
    f->WriteOutFunktion(out, nMode);
    return out.m_pszBuffer;
}

TEST(ListingPoly, TermsFallbacksAndChains)
{
    CVxDataMgr dm;
    dm.AddSymbolFunction("F1");
    dm.AddSymbolFunction("GHSERFE");
    TThermTPolynom* p = kit::Piece(298.15, 6000, -8000, 100.5, 0.0, {{2e-5, 3}});
    kit::AddSymbolTerm(p, 0, 1.0);
    EXPECT_EQ(Poly(*p, &dm), "298.15 -8000+100.5*T+2e-05*T**(+3)+1*F1#; 6000");

    TThermTPolynom zero;
    EXPECT_EQ(Poly(zero), "298.16 0.0; 6000");
    zero.m_nPowerTerms = 1;
    zero.m_anPowerExp[0] = 2;
    EXPECT_EQ(Poly(zero), "298.16 +0*T**(+2); 6000");  // a zero coefficient is still written

    TThermTPolynom pr;
    pr.m_dTLow = 298.15;
    pr.m_bPressureTerms = 1;
    EXPECT_EQ(Poly(pr), "298.15 ; 6000");  // pressure flag: no "0.0" fallback
    pr.m_bPTerm = 1;
    pr.m_dPCoef = 2e-6;
    EXPECT_EQ(Poly(pr), "298.15 +2e-06*P; 6000");
    pr.m_bTPTerm = pr.m_bT2PTerm = 1;
    pr.m_dTPCoef = -1.5;
    pr.m_nTPSymbol = 1;
    pr.m_dT2PCoef = 3;
    pr.m_nSymbolList = 2;  // names come from the second table, which holds the same names
    EXPECT_EQ(Poly(pr, &dm), "298.15 +2e-06*P-1.5*GHSERFE#*T*P+3*T**2*P; 6000");

    TThermTPolynom q;
    q.m_nSymbolList = 1;
    q.m_dC = -1.25;
    q.m_bRTLnTerm = 1;
    q.m_dRTLnFactor = 0.5;
    q.m_bLnTerm = 1;
    q.m_dLnFactor = 2;
    q.m_nLnFactorSymbol = 0;
    q.m_dLnArg = 3;
    q.m_bExpTerm = 1;
    q.m_dExpFactor = -1;
    q.m_dExpArg = 0.25;
    q.m_nExpArgSymbol = 1;
    kit::AddSymbolTerm(&q, 1, 0.0);  // a zero factor keeps the reference visible
    EXPECT_EQ(Poly(q, &dm),
              "298.16 -1.25*T*LN(T)+0*GHSERFE#+R*T*LN(+0.5)+2*F1#*LN(+3)-1*EXP(+0.25*GHSERFE#); 6000");
    q.m_nRTLnSymbol = 0;
    q.m_bLnTerm = q.m_bExpTerm = 0;
    q.m_nSymbolTerms = 0;
    q.m_dC = 0;
    EXPECT_EQ(Poly(q, &dm), "298.16 +R*T*LN(+0.5*F1#); 6000");

    TThermTPolynom* head = kit::Piece(300, 1000, 1);
    head->AppendPolynom(kit::Piece(1000, 2000, 2));
    head->AppendPolynom(kit::Piece(2000, 3000, 3));
    EXPECT_EQ(Poly(*head), "300 +1; 1000\n\t\t1000 +2; 2000\n\t\t2000 +3; 3000");
    head->ClearChildren();
    delete head;
    delete p;
}

TEST(ListingFunction, HeadersOfEveryType)
{
    kit::SmallPhase sp;
    TThermFkt* g = sp.Add("A:VA", 0, 0);
    g->AddPolynom(kit::Piece(298.15, 1811, -7000, 120));
    g->AddPolynom(kit::Piece(1811, 6000, -9000, 130));
    EXPECT_EQ(Listing(g, 3), "G(FCC_A1,A:VA;0): \n298.15 -7000+120*T; 1811 Y \n1811 -9000+130*T; 6000 N ");
    EXPECT_EQ(Listing(g, 1), "G(FCC_A1,A:VA;0)");
    EXPECT_EQ(Listing(g, 5), "1 G(FCC_A1,A:VA;0): ");
    myCString two;
    g->WriteOutFunktion(two, 2);
    EXPECT_STREQ(two.m_pszBuffer, "298.15 -7000+120*T; 1811 Y \n1811 -9000+130*T; 6000 N ");

    const struct
    {
        const char* text;
        int nType, nOrder, species;  // species -1: none
        const char* expected;
    } cases[] = {{"A,B:D", 1, 2, -1, "L(FCC_A1,A,B:D;2)"},   {"A:D", 3, 0, -1, "IS(FCC_A1,A:D;0)"},
                 {"", 5, 0, -1, "SE(FCC_A1)"},              {"A:D", 10, 0, -1, "TC(FCC_A1,A:D;0)"},
                 {"A:D", 20, 1, -1, "BMAGN(FCC_A1,A:D;1)"}, {"A:D", 30, 0, -1, "HMVA(FCC_A1,A:D;0)"},
                 {"A:VA", 54, 0, -1, "VS(FCC_A1;0)"},       {"A:VA", 2, 0, -1, ""},
                 {"A:VA", 50, 0, 0, "MQ(FCC_A1&A,A:VA;0)"}, {"A:VA", 51, 0, 0, "MF(FCC_A1&A,A:VA;0)"},
                 {"A:VA", 52, 0, 0, "DQ(FCC_A1&A,A:VA;0)"}, {"A:VA", 53, 0, 0, "DF(FCC_A1&A,A:VA;0)"},
                 {"A:VA", 60, 0, 0, "CR(FCC_A1&A,A:VA;0)"}};
    for (const auto& c : cases) {
        TThermFkt* f = sp.Add(c.text, c.nType, c.nOrder);
        if (c.species >= 0) f->m_pFktData->m_nSpeciesIndex = c.species;
        EXPECT_EQ(Listing(f, 1), c.expected) << c.nType;
    }

    TThermFkt* d = sp.Add("A,B", 0, 1, true);
    EXPECT_EQ(Listing(d, 1), "G(DO_FCC_A1,A,B;1)");

    int k = sp.dm.AddTypeKeyword("THETA");
    TThermFkt* u = sp.Add("A:VA", 10000 + k, 0);
    u->m_pFktData->m_nSourceKind = 3;
    u->m_pFktData->m_bDoSet = 1;  // the user-named form always shows the phase's own name
    EXPECT_EQ(Listing(u, 1), "THETA(FCC_A1,A:VA;0)");

    TThermFkt* t = sp.Add("A,B,C:D", 0, 0);
    EXPECT_EQ(Listing(t, 9), "G(FCC_A1,A,B,C:D;0)(reg) : AktVal_T: 0, AktVal_F: 0, PolyIndex: -1");
    t->m_pFktData->m_bDisabled = 1;
    t->m_pFktData->m_bRegular = 0;
    EXPECT_EQ(Listing(t, 13), "0 G(FCC_A1,A,B,C:D;0)(non-reg) : ### disabled ### AktVal_T: 0, AktVal_F: 0, PolyIndex: -1");
}

TEST(ListingFunction, WithoutPhaseAndNamedSymbols)
{
    CVxDataMgr dm;
    TThermFkt* s = dm.AddSymbolFunction("GHSERCR");
    s->AddPolynom(kit::Piece(298.15, 2180, -8856.94, 157.48));
    EXPECT_EQ(Listing(s, 3), "GHSERCR: \n298.15 -8856.94+157.48*T; 2180 N ");
    TThermFkt* f = kit::Parameter(dm, 0, 0);
    EXPECT_EQ(Listing(f, 1), "invalid function");
    delete f;

    myCString out;
    TThermFktMgr empty(const_cast<char*>("LIQUID"), &dm);
    empty.WriteOutFunktions(out, 3);
    EXPECT_STREQ(out.m_pszBuffer, "\nFunktionMgr: /LIQUID/ Fkt#: 0\n\n");
    out.Empty();
    dm.GetSymbolFktMgr()->WriteOutFunktions(out, 1);
    EXPECT_STREQ(out.m_pszBuffer, "\nFunktionMgr: /SYMBOLS/ Fkt#: 1\n\nGHSERCR\n");
}

TEST(ListingConstituents, SeparatorsWildcardsAndNoPhase)
{
    kit::SmallPhase sp;
    myCString s;
    sp.Add("A,C", 0, 0)->CopyConstituentString(s);
    EXPECT_STREQ(s.m_pszBuffer, "A,C");
    s.Empty();
    sp.Add("* : VA", 0, 0)->CopyConstituentString(s);
    EXPECT_STREQ(s.m_pszBuffer, "*:VA");
    s.Empty();
    TThermFkt* f = sp.Add("B:D,E", 0, 0);
    f->m_pPhase = nullptr;
    f->CopyConstituentString(s);
    EXPECT_STREQ(s.m_pszBuffer, ":,");
}

}  // namespace
