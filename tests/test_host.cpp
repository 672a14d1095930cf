// Contracts of the host classes that the kernel relies on.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "host/myStringParser.h"
#include "support/PhaseTestKit.h"

namespace {

TEST(HostPhase, NumberingPointersAndMembership)
{
    kit::SmallPhase sp;
    CVxPhase& ph = sp.phase;
    // sublattices, variables, do_ variables, T position, matrix, gradient, do_ Hessian, species derivatives
    EXPECT_EQ((std::vector<int>{ph.m_nSublatticeCount, ph.m_nVarCount, ph.m_nDoVarCount, ph.m_nTPos,
                                ph.GetMatrixDimension(), ph.m_GradG.m_nSize, ph.m_do_HessBMAGN.GetDimension(),
                                ph.m_SpeciesDT.m_nSize}),
              (std::vector<int>{2, 6, 3, 6, 8, 8, 8, 6}));
    // positions and membership by (sublattice, element); -1 is any constituent
    EXPECT_EQ((std::vector<int>{ph.GetVarPos(0, 2), ph.GetVarPos(1, 3), ph.GetVarPos(1, 0), ph.Get_do_VarPos(0, 1),
                                ph.Get_do_VarPos(1, 3), ph.Is(0, 1), ph.Is(0, 4), ph.Is(1, -1), ph.Is(2, -1),
                                ph.do_Is(0, -1), ph.do_Is(1, 3), ph.IsElement(5), ph.IsElement(6), ph.IsElement(-1)}),
              (std::vector<int>{2, 3, -1, 1, -1, 1, 0, 1, 0, 1, 0, 1, 0, 0}));
    EXPECT_EQ((std::vector<double*>{ph.GetYPointer(1, 4), ph.GetYPointer(0, 4), ph.Get_doY_Pointer(0, 2)}),
              (std::vector<double*>{&ph.m_Y[4], nullptr, &ph.m_DoY[2]}));
    EXPECT_STREQ(ph.GetPhaseName(0), "FCC_A1");
    EXPECT_STREQ(ph.m_szDoName, "DO_FCC_A1");

    // pointers stay valid while results are used and cleared
    double* y = ph.GetYPointer(0, 0);
    ph.m_GradG[3] = 1.0;
    ph.m_HessGT(7, 7) = 2.0;
    ph.m_SpeciesDT[1] = 3.0;
    ph.ZeroResults();
    EXPECT_EQ(ph.GetYPointer(0, 0), y);
    EXPECT_EQ((std::vector<double>{ph.m_GradG[3], ph.m_HessGT(7, 7), ph.m_SpeciesDT[1]}), std::vector<double>(3, 0.0));
}

TEST(HostDataMgr, ElementsTextsAndKeywords)
{
    CVxDataMgr dm;
    // names are found whatever their case; "*" is no element; text tables are 1..3
    EXPECT_EQ((std::vector<int>{dm.AddElement(kit::Element("FE")), dm.AddElement(kit::Element("VA", 0)),
                                dm.AddElement(kit::Element("fe")), dm.GetElementIndex("Va", 1),
                                dm.AddSourceText(2, "FE:VA"), dm.AddSourceText(4, "FE:VA"),
                                dm.AddTypeKeyword("THETA"), dm.AddTypeKeyword("GD"), dm.AddTypeKeyword("theta")}),
              (std::vector<int>{0, 1, 0, 1, 0, -1, 0, 1, 0}));
    EXPECT_LT(dm.GetElementIndex("*", 1), 0);
    EXPECT_STREQ(dm.m_SourceTexts2[0].m_pszBuffer, "FE:VA");
    EXPECT_NE(dm.m_pApp, nullptr);  // an own application object when none is given
    ASSERT_NE(dm.GetSymbolFktMgr(), nullptr);
    EXPECT_STREQ(dm.GetSymbolFktMgr()->m_szName, "SYMBOLS");
}

TEST(HostStrings, FormatFollowsPrintfAndArraysGrow)
{
    for (const char* f : {"%+.12g", "%g", "%1.1f"})
        for (double v : {-8000.0, 100.5, 2e-5, 1.0 / 3.0, -0.0, 1e300, 0.0}) {
            char expected[512];
            std::snprintf(expected, sizeof expected, f, v);
            myCString s;
            s.Format(f, v);
            EXPECT_STREQ(s.m_pszBuffer, expected) << f << " " << v;
            EXPECT_EQ(s.m_nLength, static_cast<int>(std::string(expected).size()));
        }
    myCString s;
    s.Format("%s(%s,%+d;%d)", "G", "FCC_A1", 3, -2);
    EXPECT_STREQ(s.m_pszBuffer, "G(FCC_A1,+3;-2)");
    std::string longText(1000, 'x');
    s.Format("<%s>", longText.c_str());
    EXPECT_EQ(s.m_nLength, 1002);
    EXPECT_EQ(std::string(s.m_pszBuffer), "<" + longText + ">");
    s += s;  // appending to itself
    EXPECT_EQ(s.m_nLength, 2004);
    myCString t("abc");
    t = t;
    t = "";
    EXPECT_EQ(t.m_nLength, 0);
    EXPECT_STREQ(t.m_pszBuffer, "");
    ASSERT_NE(myCString().m_pszBuffer, nullptr);

    myCStringArray a;
    a.SetAtGrow(0, myCString("A"));
    a.SetAtGrow(a.m_nSize, myCString("B"));
    EXPECT_EQ(a.m_nSize, 2);
    a.SetAtGrow(4, myCString("E"));
    EXPECT_EQ(a.m_nSize, 5);
    EXPECT_EQ(std::string(a[1].m_pszBuffer) + "|" + a[2].m_pszBuffer + "|" + a[4].m_pszBuffer, "B||E");
    for (int i = 0; i < 100; ++i) a.SetAtGrow(a.m_nSize, a[0]);  // source inside the array while it grows
    EXPECT_EQ(a.m_nSize, 105);
    EXPECT_STREQ(a[104].m_pszBuffer, "A");
}

TEST(HostParser, WordsDelimitersAndFailures)
{
    myStringParser parser;
    myCString w;
    char text[] = "  FE ,NI:VA%  ";
    char* p = text;
    for (const char* expected : {"FE,", "NI:", "VA%"}) {
        ASSERT_TRUE(parser.CopyWord(w, p, " %,:\n \t", 20, false, false));
        EXPECT_EQ(std::string(w.m_pszBuffer) + myStringParser::LastDelim, expected);
    }
    EXPECT_EQ(*p, 0);  // trailing blanks after the delimiter are consumed
    EXPECT_FALSE(parser.CopyWord(w, p, " %,:\n \t", 20, false, false));

    char end[] = "CR";
    p = end;
    ASSERT_TRUE(parser.CopyWord(w, p, ",:", 20, false, false));
    EXPECT_EQ(myStringParser::LastDelim, 0);

    char longWord[] = "ABCDEFGHIJKLMNOPQRSTU:VA";  // 21 characters
    p = longWord;
    EXPECT_FALSE(parser.CopyWord(w, p, ":", 20, false, false));
    EXPECT_EQ(p, longWord);

    char empty[] = ",X";
    p = empty;
    EXPECT_FALSE(parser.CopyWord(w, p, ",", 20, false, false));
    EXPECT_TRUE(parser.CopyWord(w, p, ",", 20, true, true));

    char lower[] = "fe";
    p = lower;
    ASSERT_TRUE(parser.CopyWord(w, p, ",", 20, true, false));
    EXPECT_STREQ(w.m_pszBuffer, "FE");
}

}  // namespace
