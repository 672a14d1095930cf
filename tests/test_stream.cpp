// Binary records: exact layouts, round trips, and damaged input.
#include <gtest/gtest.h>

#include <QBuffer>
#include <QByteArray>
#include <QDataStream>

#include <cstring>
#include <random>

#include "support/PhaseTestKit.h"

namespace {

QByteArray Store(TThermTPolynom& p)
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    p.Serialize(out, 1);
    return bytes;
}

int IntAt(const QByteArray& b, int off)
{
    QDataStream in(b.mid(off, 4));
    int v = 0;
    in >> v;
    return v;
}

double DoubleAt(const QByteArray& b, int off)
{
    QDataStream in(b.mid(off, 8));
    double v = 0;
    in >> v;
    return v;
}

TEST(StreamLayout, DefaultPieceIs556Bytes)
{
    TThermTPolynom p;
    QByteArray b = Store(p);
    ASSERT_EQ(b.size(), 556);
    EXPECT_EQ(IntAt(b, 0), -1);
    EXPECT_EQ(DoubleAt(b, 4), 298.16);
    EXPECT_EQ(DoubleAt(b, 12), 6000.0);
    for (int i = 0; i < 10; ++i) EXPECT_EQ(IntAt(b, 132 + 4 * i), -1);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(IntAt(b, 172 + 4 * i), -1);
    EXPECT_EQ(IntAt(b, 244), -1);  // R*T*ln symbol
    EXPECT_EQ(IntAt(b, 352), -1);  // T^2*P symbol
    EXPECT_EQ(IntAt(b, 356), 1);   // extension marker
    for (int i = 0; i < 16; ++i) EXPECT_EQ(IntAt(b, 360 + 4 * i), -1);
    for (int i = 0; i < 16; ++i) EXPECT_EQ(DoubleAt(b, 424 + 8 * i), 0.0);
    EXPECT_EQ(IntAt(b, 552), 0);
}

TEST(StreamLayout, ManagerAndFunctionRecords)
{
    CVxDataMgr dm;
    TThermFktMgr empty(const_cast<char*>("LIQUID"), &dm);
    QByteArray b;
    {
        QDataStream out(&b, QIODevice::WriteOnly);
        empty.Serialize(out, 1);
    }
    ASSERT_EQ(b.size(), 40);
    EXPECT_EQ(std::strcmp(b.constData(), "LIQUID"), 0);
    EXPECT_EQ(IntAt(b, 32), 0);
    EXPECT_EQ(IntAt(b, 36), 0);

    TThermFkt* f = empty.AddFunction(kit::Parameter(dm));
    f->AddPolynom(kit::Piece(300, 1000, 1));
    f->AddPolynom(kit::Piece(1000, 2000, 2));
    f->m_dValueTT = -0.5;
    f->m_nPolyIndex = 2;
    QByteArray fb;
    {
        QDataStream out(&fb, QIODevice::WriteOnly);
        f->Serialize(out, 1);
    }
    ASSERT_EQ(fb.size(), 68);
    EXPECT_EQ(IntAt(fb, 0), f->m_nFktDataIndex);
    EXPECT_EQ(DoubleAt(fb, 20), -0.5);
    EXPECT_EQ(IntAt(fb, 48), 2);
    EXPECT_EQ(IntAt(fb, 52), 2);
    EXPECT_EQ(IntAt(fb, 56), 0);
    EXPECT_EQ(IntAt(fb, 60), 1);
    EXPECT_EQ(IntAt(fb, 64), 0);
}

TEST(StreamLayout, OlderPieceLayoutKeepsTheUpperSymbolSlots)
{
    TThermTPolynom src;
    src.m_nSymbolTerms = 2;
    src.m_anSymbolIndex[0] = 4;
    src.m_adSymbolFactor[0] = 2.5;
    src.m_anSymbolIndex[1] = 7;
    src.m_adSymbolFactor[1] = -1.0;
    QByteArray b = Store(src).left(360);
    b[356] = b[357] = b[358] = b[359] = 0;  // marker 0: the record ends here
    b.append(Store(src));                    // the next record follows at once
    QDataStream in(b);
    TThermTPolynom old, next;
    old.Serialize(in, 0);
    next.Serialize(in, 0);
    EXPECT_EQ(in.status(), QDataStream::Ok);
    EXPECT_EQ(old.m_anSymbolIndex[1], 7);
    EXPECT_EQ(old.m_adSymbolFactor[0], 2.5);
    EXPECT_EQ(old.m_anSymbolIndex[5], -1);
    EXPECT_EQ(next.m_anSymbolIndex[0], 4);
    EXPECT_TRUE(in.atEnd());
}

class StreamRoundTrip : public ::testing::Test
{
protected:
    kit::SmallPhase sp;
    QByteArray bytes;
    void SetUp() override
    {
        TThermFkt* a = sp.Add("A:D", 0, 0);
        a->AddPolynom(kit::Piece(298.15, 1000, -1000, 2.0, -0.5, {{1e-3, 2}}));
        a->AddPolynom(kit::Piece(1000, 6000, -900, 1.0));
        TThermFkt* b = sp.Add("A,B:D", 0, 1);
        b->AddPolynom(kit::Piece(298.15, 6000, 5000, -3.0));
        TThermFkt* c = sp.Add("B:E", 10, 0);
        c->AddPolynom(kit::Piece(298.15, 6000, 300));
        TK.CalcTValues(1200);
        sp.list.CalcPTValues(1200, 1e5, 2);
        QDataStream out(&bytes, QIODevice::WriteOnly);
        sp.list.Serialize(out, 1);
    }
};

TEST_F(StreamRoundTrip, ReproducesOrderLinksResultsAndEvaluation)
{
    TThermFktMgr loaded(&sp.dm);
    QDataStream in(bytes);
    loaded.Serialize(in, 0);
    ASSERT_EQ(in.status(), QDataStream::Ok);
    EXPECT_STREQ(loaded.m_szName, "FCC_A1");
    ASSERT_EQ(loaded.m_FktArray.m_nSize, 3);
    for (int i = 0; i < 3; ++i) {
        TThermFkt* o = sp.list.m_FktArray[i];
        TThermFkt* l = loaded.m_FktArray[i];
        EXPECT_EQ(l->m_pFktData, o->m_pFktData);
        EXPECT_EQ(l->m_nFktDataIndex, o->m_nFktDataIndex);
        EXPECT_EQ(l->m_dValue, o->m_dValue);
        EXPECT_EQ(l->m_dValueTTT, o->m_dValueTTT);
        EXPECT_EQ(l->m_nPolyIndex, o->m_nPolyIndex);
        ASSERT_EQ(l->m_PolyIndex.m_nSize, o->m_PolyIndex.m_nSize);
        for (int k = 0; k < o->m_PolyIndex.m_nSize; ++k) EXPECT_EQ(l->m_PolyIndex[k], o->m_PolyIndex[k]);
        EXPECT_EQ(l->m_pPhase, nullptr);  // bindings are not stored
    }
    // bound again, the loaded list evaluates exactly like the original
    ASSERT_EQ(loaded.LinkYPointers(&sp.phase, &sp.gibbs), 3);
    TK.CalcTValues(1500);
    sp.list.CalcPTValues(1500, 1e5, 2);
    loaded.CalcPTValues(1500, 1e5, 2);
    for (int i = 0; i < 3; ++i) {
        sp.list.m_FktArray[i]->Calc(0, 1.0);
        loaded.m_FktArray[i]->Calc(0, 1.0);
        EXPECT_EQ(loaded.m_FktArray[i]->m_dAktVal_F, sp.list.m_FktArray[i]->m_dAktVal_F);
    }
    loaded.Clear(0);
}

TEST_F(StreamRoundTrip, PiecesRoundTripEveryMember)
{
    TThermTPolynom src;
    src.m_nSymbolList = 2;
    src.m_dA = 1.5;
    src.m_nPowerTerms = 10;
    for (int i = 0; i < 10; ++i) {
        src.m_adPowerCoef[i] = i * 0.25;
        src.m_anPowerExp[i] = i - 5;
    }
    src.m_nSymbolTerms = 16;
    for (int j = 0; j < 16; ++j) {
        src.m_anSymbolIndex[j] = j;
        src.m_adSymbolFactor[j] = -j;
    }
    src.m_bExpTerm = 1;
    src.m_dExpArg = 0.5;
    src.m_nExpFactorSymbol = 3;
    src.m_bPressureTerms = src.m_bT2PTerm = 1;
    src.m_dT2PCoef = 7e-9;
    src.m_nT2PSymbol = 1;
    QByteArray b = Store(src);
    TThermTPolynom dst;
    TThermTPolynom* marker = &src;
    dst.m_pNext = marker;  // the chain is neither stored nor read
    QDataStream in(b);
    dst.Serialize(in, 0);
    dst.m_pNext = nullptr;
    src.m_pNext = nullptr;
    // padding bytes differ between objects, so compare the records and a few members
    EXPECT_EQ(Store(dst), b);
    EXPECT_EQ(dst.m_anSymbolIndex[15], 15);
    EXPECT_EQ(dst.m_adSymbolFactor[15], -15.0);
    EXPECT_EQ(dst.m_nT2PSymbol, 1);
    EXPECT_EQ(dst.m_dT2PCoef, 7e-9);
}

TEST_F(StreamRoundTrip, DamagedStreamsFailWithoutHarm)
{
    // every truncation point
    for (int n = 0; n < bytes.size(); ++n) {
        TThermFktMgr loaded(&sp.dm);
        QDataStream in(bytes.left(n));
        loaded.Serialize(in, 0);
        EXPECT_NE(in.status(), QDataStream::Ok) << "truncated at " << n;
        EXPECT_EQ(loaded.m_FktArray.m_nSize, 0) << "truncated at " << n;
    }
    // a record index outside the record array
    QByteArray bad = bytes;
    bad[40] = 0x7f;
    {
        TThermFktMgr loaded(&sp.dm);
        QDataStream in(bad);
        loaded.Serialize(in, 0);
        EXPECT_EQ(in.status(), QDataStream::ReadCorruptData);
        EXPECT_EQ(loaded.m_FktArray.m_nSize, 0);
    }
    // absurd counts
    QByteArray huge = bytes;
    huge[36] = 0x7f;
    {
        TThermFktMgr loaded(&sp.dm);
        QDataStream in(huge);
        loaded.Serialize(in, 0);
        EXPECT_EQ(in.status(), QDataStream::ReadCorruptData);
    }
    // random byte flips: whatever loads must be linked to a real record
    std::mt19937 rng(7);
    for (int trial = 0; trial < 500; ++trial) {
        QByteArray m = bytes;
        for (int k = 0; k < 3; ++k) m[static_cast<int>(rng() % m.size())] = static_cast<char>(rng());
        TThermFktMgr loaded(&sp.dm);
        QDataStream in(m);
        loaded.Serialize(in, 0);
        for (int i = 0; i < loaded.m_FktArray.m_nSize; ++i) {
            TThermFkt* f = loaded.m_FktArray[i];
            ASSERT_NE(f->m_pFktData, nullptr);
            EXPECT_EQ(f->m_pFktData, sp.dm.m_FktDataArray[f->m_nFktDataIndex]);
        }
    }
}

}  // namespace
