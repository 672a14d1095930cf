// Regressions of the function module: the on-demand symbol pass, the shifted-
// order rule, single-precision streams and shared records in wildcard
// expansion.  Each expected number is worked out by hand from the module's
// definition of the operation.
#include <gtest/gtest.h>

#include <QBuffer>
#include <QByteArray>
#include <QDataStream>

#include <cmath>
#include <ostream>
#include <string>

#include "support/PhaseTestKit.h"

namespace {

// Symbol list F0 = F2 + F1 + F2, F1 = T^2, F2 = F1.  F0 reads the forward
// function F2 twice, and F2's own input F1 is brought up to date between the
// two reads; F2 reads F1 backwards, so as it was stored.
// Level 0: first read of F2 = old F1 = 7, then F1 = 100, then F2 = 100.
// Level 2: the order-2 step comes first, so there F2 sees the old F1'' = 5
// first and 2 after; by the value step every function is current.
TEST(OnDemandBeforeEachRead, SecondReadSeesTheRefreshedInput)
{
    const struct
    {
        int level;
        double value, valueTT;  // F0 at T = 10 after the pass
    } cases[] = {{0, 7.0 + 2 * 100.0, 0.0}, {2, 3 * 100.0, 5.0 + 2 * 2.0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.level);
        CVxDataMgr dm;
        TThermFktMgr* sym = dm.GetSymbolFktMgr();
        TThermTPolynom* p0 = kit::Piece(1, 6000, 0.0);
        for (int s : {2, 1, 2}) kit::AddSymbolTerm(p0, s, 1.0);
        dm.AddSymbolFunction("F0")->AddPolynom(p0);
        TThermFkt* f1 = dm.AddSymbolFunction("F1");
        f1->AddPolynom(kit::Piece(1, 6000, 0.0, 0.0, 0.0, {{1.0, 2}}));
        TThermTPolynom* p2 = kit::Piece(1, 6000, 0.0);
        kit::AddSymbolTerm(p2, 1, 1.0);
        dm.AddSymbolFunction("F2")->AddPolynom(p2);
        f1->m_dValue = 7.0;  // results of an earlier pass
        f1->m_dValueTT = 5.0;
        TK.CalcTValues(10.0);
        sym->SaveCalcPTValues(10.0, 1e5, c.level);
        EXPECT_DOUBLE_EQ(sym->GetFuncVal(0, 0), c.value);
        if (c.level == 2) {
            EXPECT_DOUBLE_EQ(sym->GetFuncVal(0, 2), c.valueTT);
        }
    }
}

// The shifted-order rule follows the Gibbs model of the phase, whatever Gibbs
// object the function was linked with.
TEST(ShiftedOrderFlag, ComesFromThePhasesGibbsModel)
{
    const struct
    {
        int phaseModelFlag, linkedGibbsFlag;
        bool shifted;
    } cases[] = {{1, 0, true}, {0, 1, false}, {1, 1, true}, {0, 0, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << "phase model " << c.phaseModelFlag << ", linked " << c.linkedGibbsFlag);
        kit::SmallPhase sp;
        CVxGibbs other;  // same constituents, its own flag
        for (int i = 0; i < sp.gibbs.GetElementCount(); ++i) other.AddElement(sp.gibbs.m_ElementArray[i]);
        sp.gibbs.m_bShiftedOrders = c.phaseModelFlag;
        other.m_bShiftedOrders = c.linkedGibbsFlag;
        TThermFkt* f = sp.list.AddFunction(kit::Parameter(sp.dm, 0, 10));
        char text[] = "A,B:D";
        ASSERT_EQ(f->LinkYPointer(&sp.phase, &other, text), 3);
        const double yA = 0.2, yB = 0.5, yD = 0.45, P = yA * yB * yD, d1 = yA - yB;
        f->m_dValue = -5.0;
        f->Calc(0, 1.0);
        // shifted: order 10 - 8 = 2 (even), G = -5 taken as 5
        EXPECT_EQ(f->m_dValue, c.shifted ? 5.0 : -5.0);
        EXPECT_NEAR(f->m_dAktVal_F, c.shifted ? d1 * d1 * P * 5.0 : std::pow(d1, 10) * P * -5.0, 1e-15);
    }
}

// A list stored and loaded with the stream's precision setting on both sides.
TEST(StreamPrecision, ListRoundTripsWithTheStreamsSetting)
{
    const struct
    {
        QDataStream::FloatingPointPrecision precision;
        int doubleBytes;
    } cases[] = {{QDataStream::DoublePrecision, 8}, {QDataStream::SinglePrecision, 4}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.doubleBytes);
        CVxDataMgr dm;
        TThermFktMgr list(const_cast<char*>("LIQUID"), &dm);
        const int pieces[] = {0, 2, 1};
        for (int i = 0; i < 3; ++i) {
            TThermFkt* f = list.AddFunction(kit::Parameter(dm));
            for (int k = 0; k < pieces[i]; ++k) f->AddPolynom(kit::Piece(300, 6000, k));
            f->m_dValue = 1.0 / 3.0 + i;  // not a float: single precision rounds it
            f->m_nPolyIndex = pieces[i];
        }
        QByteArray bytes;
        {
            QDataStream out(&bytes, QIODevice::WriteOnly);
            out.setFloatingPointPrecision(c.precision);
            list.Serialize(out, 1);
        }
        // 40 bytes of list header; per function 5 ints, 5 doubles, 4 bytes per piece index
        EXPECT_EQ(bytes.size(), 40 + 3 * (20 + 5 * c.doubleBytes) + 4 * (0 + 2 + 1));

        TThermFktMgr loaded(const_cast<char*>(""), &dm);
        QDataStream in(bytes);
        in.setFloatingPointPrecision(c.precision);
        loaded.Serialize(in, 0);
        ASSERT_EQ(in.status(), QDataStream::Ok);
        ASSERT_EQ(loaded.m_FktArray.m_nSize, 3);
        EXPECT_STREQ(loaded.m_szName, "LIQUID");
        for (int i = 0; i < 3; ++i) {
            const TThermFkt* f = loaded.m_FktArray[i];
            const double v = 1.0 / 3.0 + i;
            EXPECT_EQ(f->m_dValue, c.doubleBytes == 4 ? static_cast<double>(static_cast<float>(v)) : v);
            EXPECT_EQ(f->m_pFktData, list.m_FktArray[i]->m_pFktData);
            EXPECT_EQ(f->m_PolyIndex.m_nSize, pieces[i]);
            EXPECT_EQ(f->m_nPolyIndex, pieces[i]);
        }
    }
}

// Wildcard expansion in one list must not free a record (or polynomials) that
// a function of another list of the same data manager still uses.
TEST(WildcardSharedRecord, SurvivesExpansionOfTheSource)
{
    for (bool clone : {true, false}) {
        SCOPED_TRACE(clone ? "cloned function" : "list loaded from the stream");
        kit::SmallPhase sp;
        TThermFkt* wild = sp.Add("A:*", 0, 0);
        ASSERT_EQ(wild->HasWildCardElements(), 1);
        wild->AddPolynom(kit::Piece(300, 6000, -1234.5));
        TThermFktMgr other(const_cast<char*>("OTHER"), &sp.dm);
        if (clone) {
            other.AddFunction(wild->CreateClone());
        } else {
            QByteArray bytes;
            {
                QDataStream out(&bytes, QIODevice::WriteOnly);
                sp.list.Serialize(out, 1);
            }
            QDataStream in(bytes);
            other.Serialize(in, 0);
            ASSERT_EQ(in.status(), QDataStream::Ok);
        }
        ASSERT_EQ(other.m_FktArray.m_nSize, 1);
        TThermFkt* kept = other.m_FktArray[0];
        myCString before;
        kept->WriteOutFunktion(before, 3);

        EXPECT_EQ(sp.list.ExpandWildcardFunctions(false), 3);  // A:D, A:E, A:VA

        // the record is still one of the data manager's, at the index the function holds
        ASSERT_GE(kept->m_nFktDataIndex, 0);
        ASSERT_LT(kept->m_nFktDataIndex, sp.dm.m_FktDataArray.m_nSize);
        EXPECT_EQ(sp.dm.m_FktDataArray[kept->m_nFktDataIndex], kept->m_pFktData);
        EXPECT_EQ(kept->HasWildCardElements(), 1);  // its wildcard is not left at the last candidate
        myCString after;
        kept->WriteOutFunktion(after, 3);
        EXPECT_STREQ(after.m_pszBuffer, before.m_pszBuffer);
        TK.CalcTValues(1000);
        kept->CalcPTValues(1000, 1e5, 0);
        EXPECT_EQ(kept->m_dValue, -1234.5);
    }
}

}  // namespace
