// Damaged binary records of a function list: every truncation, a record index
// outside the records, an absurd count and random byte flips fail without
// harm (the layouts and round trips are checked against the cache file's own
// decoders in test_archive_format.cpp and in test_kernel_faults.cpp).
#include <gtest/gtest.h>

#include <QByteArray>
#include <QIODevice>
#include <QDataStream>

#include <random>

#include "support/PhaseTestKit.h"

namespace {

TEST(StreamDamage, DamagedStreamsFailWithoutHarm)
{
    kit::SmallPhase sp;
    sp.Add("A:D", 0, 0)->AddPolynom(kit::Piece(298.15, 1000, -1000, 2.0, -0.5, {{1e-3, 2}}));
    sp.Add("A,B:D", 0, 1)->AddPolynom(kit::Piece(298.15, 6000, 5000, -3.0));
    sp.Add("B:E", 10, 0)->AddPolynom(kit::Piece(298.15, 6000, 300));
    QByteArray bytes;
    {
        QDataStream out(&bytes, QIODevice::WriteOnly);
        sp.list.Serialize(out, 1);
    }
    auto load = [&](const QByteArray& b, QDataStream::Status expected, const std::string& what) {
        TThermFktMgr loaded(&sp.dm);
        QDataStream in(b);
        loaded.Serialize(in, 0);
        if (expected == QDataStream::Ok) {  // anything: what loads must be linked to a real record
            for (int i = 0; i < loaded.m_FktArray.m_nSize; ++i) {
                TThermFkt* f = loaded.m_FktArray[i];
                ASSERT_NE(f->m_pFktData, nullptr) << what;
                EXPECT_EQ(f->m_pFktData, sp.dm.m_FktDataArray[f->m_nFktDataIndex]) << what;
            }
            return;
        }
        EXPECT_NE(in.status(), QDataStream::Ok) << what;
        if (expected == QDataStream::ReadCorruptData) {
            EXPECT_EQ(in.status(), expected) << what;
        }
        EXPECT_EQ(loaded.m_FktArray.m_nSize, 0) << what;
    };
    for (int n = 0; n < bytes.size(); ++n) load(bytes.left(n), QDataStream::ReadPastEnd, "cut at " + std::to_string(n));
    QByteArray bad = bytes;
    bad[40] = 0x7f;  // the first function's record index
    load(bad, QDataStream::ReadCorruptData, "record index outside the records");
    QByteArray huge = bytes;
    huge[36] = 0x7f;  // the count of functions
    load(huge, QDataStream::ReadCorruptData, "absurd count");
    std::mt19937 rng(7);
    for (int trial = 0; trial < 500; ++trial) {
        QByteArray m = bytes;
        for (int k = 0; k < 3; ++k) m[static_cast<int>(rng() % m.size())] = static_cast<char>(rng());
        load(m, QDataStream::Ok, "flips of trial " + std::to_string(trial));
    }
}

}  // namespace
