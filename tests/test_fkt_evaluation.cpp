// Functions evaluated at T and P: range search, levels, symbol references in
// both variants, and the bookkeeping of polynomial and record indices.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "support/KernelTestKit.h"

namespace {

class EvalTest : public ::testing::Test
{
protected:
    CVxDataMgr dm;
    TThermFktMgr params{const_cast<char*>("FCC_A1"), &dm};

    // A function of the given pieces (low, high, A, B) in list order.
    TThermFkt* Ranges(std::initializer_list<std::vector<double>> pieces)
    {
        TThermFkt* f = params.AddFunction(kit::Parameter(dm));
        for (const auto& p : pieces) f->AddPolynom(kit::Piece(p[0], p[1], p[2], p[3]));
        return f;
    }
    void Eval(TThermFkt* f, double T, int nLevel = 2)
    {
        TK.CalcTValues(T);
        f->CalcPTValues(T, 1e5, nLevel);
    }
};

// Pieces 300-1000 (1 + T) and 1000-6000 (2 + 2T): the first piece whose upper
// limit is not below T, zeros and no piece outside every range and in gaps.
TEST_F(EvalTest, RangeSearchPicksFirstUpperLimitNotBelowT)
{
    TThermFkt* f = Ranges({{300, 1000, 1, 1}, {1000, 6000, 2, 2}});
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const struct
    {
        double T, value;
        int polyIndex, piece;  // polyIndex 0: not looked at; piece -1: none
    } cases[] = {{1000, 1001, 1, 0}, {2000, 4002, 2, 1}, {200, 0, 1, -1}, {7000, 0, 2, -1}, {nan, 0, 0, -1}};
    for (const auto& c : cases) {
        Eval(f, c.T);
        EXPECT_DOUBLE_EQ(f->m_dValue, c.value) << c.T;
        if (c.polyIndex) {
            EXPECT_EQ(f->m_nPolyIndex, c.polyIndex) << c.T;
        }
        EXPECT_EQ(f->m_pActPoly, c.piece < 0 ? nullptr : dm.m_PolynomArray[f->m_PolyIndex[c.piece]]) << c.T;
    }
    Eval(f, 1000);
    EXPECT_DOUBLE_EQ(f->m_dAktVal_F, f->m_dValue);
    Eval(f, 2000);
    EXPECT_DOUBLE_EQ(f->m_dValueT, 2.0);

    TThermFkt* descending = Ranges({{1000, 6000, 2, 2}, {300, 1000, 1, 1}});
    Eval(descending, 500);  // caught by 1000-6000's upper limit, below its lower limit
    EXPECT_EQ(descending->m_dValue, 0.0);
    EXPECT_EQ(descending->m_pActPoly, nullptr);
    EXPECT_EQ(descending->m_nPolyIndex, 1);
    TThermFkt* gap = Ranges({{300, 800, 5, 0}, {900, 2000, 6, 0}});
    Eval(gap, 850);
    EXPECT_EQ(gap->m_dValue, 0.0);
    Eval(gap, 900);
    EXPECT_EQ(gap->m_dValue, 6.0);
    TThermFkt* empty = Ranges({});
    empty->m_dValue = 3.0;
    Eval(empty, 900);
    EXPECT_EQ(empty->m_dValue, 0.0);
    EXPECT_EQ(empty->m_pActPoly, nullptr);
}

TEST_F(EvalTest, LevelsComputeOnlyTheirOrdersAndDisabledFunctionsGiveZeros)
{
    TThermFkt* f = params.AddFunction(kit::Parameter(dm));
    f->AddPolynom(kit::Piece(300, 6000, 10.0, 0.0, 0.0, {{1.0, 3}}));  // 10 + T^3
    Eval(f, 500, 1);
    EXPECT_DOUBLE_EQ(f->m_dValueT, 3 * 500.0 * 500.0);
    EXPECT_EQ(f->m_dValueTT, 0.0);
    Eval(f, 600, 0);
    EXPECT_DOUBLE_EQ(f->m_dValue, 10 + 600.0 * 600 * 600);
    EXPECT_DOUBLE_EQ(f->m_dValueT, 3 * 500.0 * 500.0);  // kept from the level-1 call
    Eval(f, 700, 2);
    EXPECT_DOUBLE_EQ(f->m_dValueTT, 6 * 700.0);
    EXPECT_DOUBLE_EQ(f->m_dValueTTT, 6.0);
    f->m_pActPoly = nullptr;
    Eval(f, 800, 3);  // not a level: only the search runs
    EXPECT_DOUBLE_EQ(f->m_dValue, 10 + 700.0 * 700 * 700);
    EXPECT_NE(f->m_pActPoly, nullptr);

    f->m_pFktData->m_bDisabled = 1;
    EXPECT_EQ(f->CalcPTValues(500, 1e5, 2), 1);
    EXPECT_EQ(f->m_dValue, 0.0);
    EXPECT_EQ(f->m_dValueT, 0.0);
    EXPECT_EQ(params.CalcPTValues(500, 1e5, 2), 1);
    TThermFktMgr none(&dm);
    EXPECT_EQ(none.CalcPTValues(500, 1e5, 2), 0);
    EXPECT_EQ(none.SaveCalcPTValues(500, 1e5, 2), 0);
}

// Symbol list: 0 = 2*F(2), 1 = T, 2 = T^2 (forward reference from 0 to 2).
class SymbolTest : public ::testing::Test
{
protected:
    CVxDataMgr dm;
    TThermFktMgr* sym = dm.GetSymbolFktMgr();
    void SetUp() override
    {
        TThermTPolynom* p0 = kit::Piece(1, 6000, 0.0);
        kit::AddSymbolTerm(p0, 2, 2.0);
        dm.AddSymbolFunction("F0")->AddPolynom(p0);
        dm.AddSymbolFunction("F1")->AddPolynom(kit::Piece(1, 6000, 0.0, 1.0));
        dm.AddSymbolFunction("F2")->AddPolynom(kit::Piece(1, 6000, 0.0, 0.0, 0.0, {{1.0, 2}}));
    }
    void Pass(double T, bool bOnDemand)
    {
        TK.CalcTValues(T);
        if (bOnDemand)
            sym->SaveCalcPTValues(T, 1e5, 2);
        else
            sym->CalcPTValues(T, 1e5, 2);
    }
    TThermTPolynom* Piece(int i) { return dm.m_PolynomArray[sym->m_FktArray[i]->m_PolyIndex[0]]; }
};

TEST_F(SymbolTest, OnDemandPassSeesForwardReferencesAtTheNewTemperature)
{
    Pass(100, true);
    Pass(200, true);
    EXPECT_EQ((std::vector<double>{sym->GetFuncVal(0, 0), sym->GetFuncVal(0, 1), sym->GetFuncVal(0, 2)}),
              (std::vector<double>{2 * 200.0 * 200.0, 2 * 2 * 200.0, 4.0}));
    Pass(300, false);  // plain: function 0 still reads F2 of the previous pass
    EXPECT_DOUBLE_EQ(sym->GetFuncVal(0, 0), 2 * 200.0 * 200.0);
    EXPECT_DOUBLE_EQ(sym->GetFuncVal(2, 0), 300.0 * 300.0);
}

TEST_F(SymbolTest, NameTableFollowsListPositions)
{
    EXPECT_EQ(dm.FindSymbolFunction("f2"), 2);
    EXPECT_EQ(dm.FindSymbolFunction("NOPE"), -1);
    for (int i = 0; i < 3; ++i) {
        TThermFktData* d = sym->m_FktArray[i]->m_pFktData;
        EXPECT_EQ(d->m_nFktType, 100);
        EXPECT_EQ(d->m_nNameIndex, i);
        EXPECT_EQ(dm.m_FktDataArray[sym->m_FktArray[i]->m_nFktDataIndex], d);
    }
    EXPECT_STREQ(dm.m_SymbolNames3[1].m_pszBuffer, "F1");
}

TEST_F(SymbolTest, MutualAndSelfReferencesTerminateAndReadStoredValues)
{
    // F1 = 1 + 0.5*F0 + T ; F0 = 2*F2 + F1 (cycle 0 -> 1 -> 0); F2 = T^2 + F2 (self)
    kit::AddSymbolTerm(Piece(0), 1, 1.0);
    Piece(1)->m_dA = 1.0;
    kit::AddSymbolTerm(Piece(1), 0, 0.5);
    kit::AddSymbolTerm(Piece(2), 2, 1.0);
    sym->m_FktArray[2]->m_dValue = 7.0;  // previous result that the self-reference reads
    sym->m_FktArray[0]->m_dValue = 11.0;
    TK.CalcTValues(10);
    sym->SaveCalcPTValues(10, 1e5, 0);
    // on demand while evaluating F0: F2 = 100 + 7, F1 = 1 + 0.5*11 + 10 (old F0);
    // in their own turns F1 reads the new F0 and F2 reads its own new value
    const double f2 = 100 + 7.0, f1 = 1 + 0.5 * 11.0 + 10, f0 = 2 * f2 + f1;
    EXPECT_DOUBLE_EQ(sym->GetFuncVal(0, 0), f0);
    EXPECT_DOUBLE_EQ(sym->GetFuncVal(1, 0), 1 + 0.5 * f0 + 10);
    EXPECT_DOUBLE_EQ(sym->GetFuncVal(2, 0), 100 + f2);
}

TEST_F(SymbolTest, ThirdDerivativeComesFromTheLevelTwoStep)
{
    Piece(2)->m_anPowerExp[0] = 4;  // F2 = T^4
    Pass(5, true);
    EXPECT_DOUBLE_EQ(sym->GetFuncVal(0, 3), 2 * 24 * 5.0);
    EXPECT_DOUBLE_EQ(sym->GetFuncVal(0, 4), 0.0);
    EXPECT_DOUBLE_EQ(sym->GetFuncVal(0, -1), 0.0);
}

TEST(FktBookkeeping, RemovalKeepsEveryIndexOnItsPolynomial)
{
    CVxDataMgr dm;
    TThermFktMgr a(const_cast<char*>("A"), &dm), b(const_cast<char*>("B"), &dm);
    TThermFkt* fa = a.AddFunction(kit::Parameter(dm));
    TThermFkt* fb = b.AddFunction(kit::Parameter(dm));
    for (int i = 0; i < 3; ++i) {
        fa->AddPolynom(kit::Piece(300, 6000, i));
        fb->AddPolynom(kit::Piece(300, 6000, 10 + i));
    }
    TThermTPolynom* keep[3];
    for (int i = 0; i < 3; ++i) keep[i] = dm.m_PolynomArray[fb->m_PolyIndex[i]];
    ASSERT_EQ(dm.m_PolynomArray.m_nSize, 6);
    fa->Clear(1);
    EXPECT_EQ(fa->m_PolyIndex.m_nSize, 0);
    EXPECT_EQ(dm.m_PolynomArray.m_nSize, 3);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(dm.m_PolynomArray[fb->m_PolyIndex[i]], keep[i]);
    // a manager that is gone is no longer notified
    {
        TThermFktMgr gone(const_cast<char*>("GONE"), &dm);
        EXPECT_EQ(dm.m_FktMgrRegistry.m_nSize, 4);
    }
    EXPECT_EQ(dm.m_FktMgrRegistry.m_nSize, 3);
}

TEST(FktBookkeeping, RecordRemovalRenumbersAndReportsConflicts)
{
    CVx_coreApp app;
    CVxDataMgr dm(&app);
    TThermFktMgr m(const_cast<char*>("LIQUID"), &dm);
    TThermFkt* f0 = m.AddFunction(kit::Parameter(dm));
    TThermFkt* f1 = m.AddFunction(kit::Parameter(dm));
    ASSERT_EQ(f1->m_nFktDataIndex, 1);
    dm.RemoveFktData(0);
    EXPECT_EQ(f1->m_nFktDataIndex, 0);
    ASSERT_EQ(app.m_Messages.size(), 1u);
    EXPECT_EQ(app.m_Messages[0].text,
              "* SERIOUS CONFLICT * Deleting FktData which is still in use by '*** unknown ***'!!!");
    EXPECT_EQ(f0->m_nFktDataIndex, 0);  // kept, as reported
}

TEST(FktBookkeeping, DuplicateLookupIgnoresPolynomialsAndSelf)
{
    CVxDataMgr dm;
    TThermFktMgr m(&dm);
    TThermFkt* a = m.AddFunction(kit::Parameter(dm, 0, 1));
    EXPECT_EQ(m.GetDuplicateFunction(a), -1);
    TThermFkt* b = m.AddFunction(kit::Parameter(dm, 0, 1));
    b->AddPolynom(kit::Piece(300, 6000, 5));
    EXPECT_EQ(m.GetDuplicateFunction(a), 1);
    b->m_pFktData->m_nOrder = 2;
    EXPECT_EQ(m.GetDuplicateFunction(a), -1);
    b->m_pFktData->m_nOrder = 1;
    b->m_pFktData->m_nSpeciesIndex = 3;
    EXPECT_EQ(m.GetDuplicateFunction(a), -1);
}

TEST(FktBookkeepingDeathTest, ValueOfAFunctionOutsideTheList)
{
    CVxDataMgr dm;
    dm.AddSymbolFunction("X");
    EXPECT_DEATH(dm.GetSymbolFktMgr()->GetFuncVal(1, 0), "nIndex >= 0 && nIndex < m_nSize");
}

}  // namespace
