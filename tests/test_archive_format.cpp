// The pieces of the cache file format: the payload checksum, the big-endian
// reader and the decoders of the kernel's records, which must read exactly
// what the kernel's own stream operations read.
#include <gtest/gtest.h>

#include <QBuffer>
#include <QByteArray>
#include <QDataStream>

#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>

#include "database/ArchiveBytes.h"
#include "database/KernelRecords.h"
#include "database/PayloadChecksum.h"
#include "support/KernelTestKit.h"

namespace {

TEST(PayloadChecksum, EverySingleBitFlipChangesIt)
{
    std::mt19937 rng(3);
    for (size_t size : {size_t(1), size_t(7), size_t(8), size_t(31), size_t(32), size_t(33), size_t(100), size_t(257)}) {
        std::string data(size, '\0');
        for (char& c : data) c = static_cast<char>(rng());
        const uint64_t sum = payloadChecksum(data.data(), size);
        for (size_t bit = 0; bit < 8 * size; ++bit) {
            data[bit / 8] ^= static_cast<char>(1 << (bit % 8));
            EXPECT_NE(payloadChecksum(data.data(), size), sum) << "size " << size << ", bit " << bit;
            data[bit / 8] ^= static_cast<char>(1 << (bit % 8));
        }
    }
}

TEST(PayloadChecksum, LengthAndOrderCount)
{
    const std::string a = "0123456789abcdefFEDCBA9876543210";
    EXPECT_NE(payloadChecksum(a.data(), a.size()), payloadChecksum((a + '\0').data(), a.size() + 1));
    EXPECT_NE(payloadChecksum("", 0), payloadChecksum("\0", 1));
    std::string swapped = a.substr(8, 8) + a.substr(0, 8) + a.substr(16);
    EXPECT_NE(payloadChecksum(a.data(), a.size()), payloadChecksum(swapped.data(), swapped.size()));
    // words in different lanes swapped: lanes are not interchangeable
    std::string lanes = a.substr(24, 8) + a.substr(8, 16) + a.substr(0, 8);
    EXPECT_NE(payloadChecksum(a.data(), a.size()), payloadChecksum(lanes.data(), lanes.size()));
}

TEST(ByteReader, BigEndianFieldsAndTheFirstFailure)
{
    const unsigned char bytes[] = {0x80, 0, 0, 1, 0x3F, 0xF8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 'h', 'i', 0xFF, 0xFF, 0xFF, 0xF0};
    const char* p = reinterpret_cast<const char*>(bytes);
    ByteReader in(p, p + sizeof bytes, 100);
    EXPECT_EQ(in.int32(), static_cast<int32_t>(0x80000001u));
    EXPECT_EQ(in.float64(), 1.5);
    EXPECT_EQ(in.text(), "hi");
    EXPECT_EQ(in.fileOffset(), 118u);
    EXPECT_EQ(in.count(1, "items"), -1);  // -16
    EXPECT_FALSE(in.ok());
    EXPECT_EQ(in.error(), "implausible count of items (-16) (near byte 118)");
    EXPECT_EQ(in.int32(), 0);  // after a failure: zeros, and the first message stays
    EXPECT_NE(in.error().find("implausible"), std::string::npos);

    ByteReader shortRead(p, p + 3);
    EXPECT_EQ(shortRead.int32(), 0);
    EXPECT_EQ(shortRead.error(), "cut short (near byte 0)");
    const unsigned char big[] = {0, 0, 0, 9, 'a'};
    ByteReader tooMany(reinterpret_cast<const char*>(big), reinterpret_cast<const char*>(big) + 5);
    EXPECT_EQ(tooMany.text(), "");
    EXPECT_EQ(tooMany.error(), "implausible count of characters (9) (near byte 0)");
    ByteReader range(p, p + 4);
    EXPECT_EQ(range.bounded(0, 10, "index"), 0);
    EXPECT_EQ(range.error(), "index -2147483647 outside 0..10 (near byte 0)");
}

// A piece with every field set to something distinct.
TThermTPolynom* FullPiece(std::mt19937& rng)
{
    std::uniform_real_distribution<double> real(-1e4, 1e4);
    TThermTPolynom* p = kit::Piece(real(rng), real(rng), real(rng), real(rng), real(rng), {{real(rng), 2}, {real(rng), -9}});
    for (int j = 0; j < 16; ++j) kit::AddSymbolTerm(p, j * 3, real(rng));
    p->m_nSymbolList = 2;
    p->m_bRTLnTerm = 1, p->m_dRTLnFactor = real(rng), p->m_nRTLnSymbol = 4;
    p->m_bLnTerm = 1, p->m_dLnFactor = real(rng), p->m_nLnFactorSymbol = 5, p->m_dLnArg = real(rng), p->m_nLnArgSymbol = 6;
    p->m_bExpTerm = 1, p->m_dExpFactor = real(rng), p->m_nExpFactorSymbol = 7, p->m_dExpArg = real(rng), p->m_nExpArgSymbol = 8;
    p->m_bPressureTerms = p->m_bPTerm = p->m_bTPTerm = p->m_bT2PTerm = 1;
    p->m_dPCoef = real(rng), p->m_nPSymbol = 9, p->m_dTPCoef = real(rng), p->m_nTPSymbol = 10;
    p->m_dT2PCoef = real(rng), p->m_nT2PSymbol = 11;
    return p;
}

QByteArray Stored(const std::function<void(QDataStream&)>& store)
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setVersion(QDataStream::Qt_6_0);
    store(out);
    return bytes;
}

// Every stored member of two pieces, compared through the kernel's own record.
void ExpectSamePiece(TThermTPolynom& a, TThermTPolynom& b)
{
    EXPECT_EQ(Stored([&](QDataStream& out) { a.Serialize(out, 1); }),
              Stored([&](QDataStream& out) { b.Serialize(out, 1); }));
}

TEST(KernelRecords, PiecesDecodeAsTheKernelLoadsThem)
{
    std::mt19937 rng(5);
    for (bool older : {false, true}) {
        std::unique_ptr<TThermTPolynom> original(FullPiece(rng));
        QByteArray bytes = Stored([&](QDataStream& out) { original->Serialize(out, 1); });
        ASSERT_EQ(bytes.size(), 556);
        if (older) {  // the record ends at a marker of 0
            bytes.truncate(360);
            std::memset(bytes.data() + 356, 0, 4);
        }
        TThermTPolynom byKernel, byDecoder;
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::ReadOnly);
        QDataStream in(&buffer);
        byKernel.Serialize(in, 0);
        ByteReader reader(bytes.constData(), bytes.constData() + bytes.size());
        readPieceRecord(reader, byDecoder);
        ASSERT_TRUE(reader.ok()) << reader.error();
        EXPECT_EQ(reader.left(), 0u);
        ExpectSamePiece(byKernel, byDecoder);
        if (!older) ExpectSamePiece(*original, byDecoder);
        EXPECT_EQ(byDecoder.m_anSymbolIndex[15], older ? -1 : 45);
    }
}

TEST(KernelRecords, FunctionListsDecodeAsTheKernelLoadsThem)
{
    CVxDataMgr dm;
    TThermFktMgr list(const_cast<char*>("BCC_A2"), &dm);
    for (int i = 0; i < 3; ++i) {
        TThermFkt* f = list.AddFunction(kit::Parameter(dm, 0, i));
        for (int k = 0; k <= i; ++k) f->AddPolynom(kit::Piece(300, 6000, i + k));
        f->m_dValue = 1.5 * i, f->m_dValueT = -2.0 * i, f->m_dValueTT = 3.0, f->m_dValueTTT = 4.0, f->m_dAktVal_F = 5.0;
        f->m_nPolyIndex = i;
    }
    QByteArray bytes = Stored([&](QDataStream& out) { list.Serialize(out, 1); });
    TThermFktMgr byKernel(&dm), byDecoder(&dm);
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    QDataStream in(&buffer);
    byKernel.Serialize(in, 0);
    ByteReader reader(bytes.constData(), bytes.constData() + bytes.size());
    readFunctionListRecord(reader, byDecoder, dm);
    ASSERT_TRUE(reader.ok()) << reader.error();
    EXPECT_EQ(reader.left(), 0u);
    EXPECT_STREQ(byDecoder.m_szName, "BCC_A2");
    ASSERT_EQ(byDecoder.m_FktArray.m_nSize, 3);
    for (int i = 0; i < 3; ++i) {
        const TThermFkt& a = *byKernel.m_FktArray[i];
        const TThermFkt& b = *byDecoder.m_FktArray[i];
        EXPECT_EQ(b.m_pFktData, a.m_pFktData);
        EXPECT_EQ(b.m_nFktDataIndex, a.m_nFktDataIndex);
        EXPECT_EQ(b.m_pDataMgr, &dm);
        for (auto m : {&TThermFkt::m_dValue, &TThermFkt::m_dValueT, &TThermFkt::m_dValueTT, &TThermFkt::m_dValueTTT,
                       &TThermFkt::m_dAktVal_F})
            EXPECT_EQ(b.*m, a.*m);
        EXPECT_EQ(b.m_nPolyIndex, a.m_nPolyIndex);
        ASSERT_EQ(b.m_PolyIndex.m_nSize, i + 1);
        for (int k = 0; k <= i; ++k) EXPECT_EQ(b.m_PolyIndex.m_pData[k], a.m_PolyIndex.m_pData[k]);
    }
}

TEST(KernelRecords, ADamagedListKeepsOnlyWholeFunctions)
{
    CVxDataMgr dm;
    TThermFktMgr list(const_cast<char*>("LIQUID"), &dm);
    for (int i = 0; i < 3; ++i) list.AddFunction(kit::Parameter(dm))->AddPolynom(kit::Piece(300, 6000, i));
    QByteArray bytes = Stored([&](QDataStream& out) { list.Serialize(out, 1); });
    // the second function's record index (40 + 64 bytes in) names a record that does not exist
    const unsigned char bad[] = {0, 0, 0, 3};
    std::memcpy(bytes.data() + 40 + 64, bad, 4);
    TThermFktMgr back(&dm);
    ByteReader reader(bytes.constData(), bytes.constData() + bytes.size());
    readFunctionListRecord(reader, back, dm);
    EXPECT_EQ(reader.error(), "function record index 3 outside 0..2 (near byte 104)");
    EXPECT_EQ(back.m_FktArray.m_nSize, 1);
}

}  // namespace
