#include "KernelRecords.h"

#include <string>

#include "database/ArchiveBytes.h"
#include "host/CVxDataMgr.h"
#include "thermfunctions/TThermFkt.h"
#include "thermfunctions/TThermFktMgr.h"
#include "thermfunctions/TThermTPolynom.h"

namespace {

constexpr size_t kFunctionRecordBytes = 60;  // a function record without piece indexes
constexpr size_t kPieceBytes = 360;          // a piece record up to its extension marker
constexpr size_t kExtensionBytes = 16 * 4 + 16 * 8 + 4;  // the sixteen slots and the end int

}  // namespace

void readPieceRecord(ByteReader& rd, TThermTPolynom& p)
{
    const char* fixed = rd.span(kPieceBytes);
    if (fixed == nullptr) return;
    BigEndian in(fixed);
    p.m_nSymbolList = in.int32();
    p.m_dTLow = in.float64();
    p.m_dTHigh = in.float64();
    p.m_nPowerTerms = in.int32();
    p.m_nSymbolTerms = in.int32();
    p.m_dA = in.float64();
    p.m_dB = in.float64();
    p.m_dC = in.float64();
    for (double& c : p.m_adPowerCoef) c = in.float64();
    for (int32_t& e : p.m_anPowerExp) e = in.int32();
    // the five-slot block holds the indexes first, then the factors
    for (int j = 0; j < 5; ++j) p.m_anSymbolIndex[j] = in.int32();
    for (int j = 0; j < 5; ++j) p.m_adSymbolFactor[j] = in.float64();
    p.m_bRTLnTerm = in.int32();
    p.m_dRTLnFactor = in.float64();
    p.m_nRTLnSymbol = in.int32();
    p.m_bLnTerm = in.int32();
    p.m_dLnFactor = in.float64();
    p.m_nLnFactorSymbol = in.int32();
    p.m_dLnArg = in.float64();
    p.m_nLnArgSymbol = in.int32();
    p.m_bExpTerm = in.int32();
    p.m_dExpFactor = in.float64();
    p.m_nExpFactorSymbol = in.int32();
    p.m_dExpArg = in.float64();
    p.m_nExpArgSymbol = in.int32();
    p.m_bPressureTerms = in.int32();
    p.m_bPTerm = in.int32();
    p.m_dPCoef = in.float64();
    p.m_nPSymbol = in.int32();
    p.m_bTPTerm = in.int32();
    p.m_dTPCoef = in.float64();
    p.m_nTPSymbol = in.int32();
    p.m_bT2PTerm = in.int32();
    p.m_dT2PCoef = in.float64();
    p.m_nT2PSymbol = in.int32();
    if (in.int32() == 0) return;  // older layout: the record ends at the marker
    const char* extension = rd.span(kExtensionBytes);
    if (extension == nullptr) return;
    BigEndian ext(extension);
    for (int32_t& idx : p.m_anSymbolIndex) idx = ext.int32();
    for (double& f : p.m_adSymbolFactor) f = ext.float64();
}

void readFunctionListRecord(ByteReader& in, TThermFktMgr& list, CVxDataMgr& dm)
{
    char name[sizeof list.m_szName];
    in.raw(name, sizeof name);
    name[sizeof name - 1] = 0;  // a name without NUL ends at its 32nd byte
    in.skip(4);                 // reserved
    int n = in.count(kFunctionRecordBytes, "functions");
    if (!in.ok()) return;
    std::copy(name, name + sizeof name, list.m_szName);
    const int first = list.m_FktArray.m_nSize;
    list.m_FktArray.SetSize(first + n, -1);  // one allocation for the whole list
    const int records = dm.m_FktDataArray.m_nSize;
    const int pieces = dm.m_PolynomArray.m_nSize;
    int filled = 0;
    for (; filled < n && in.ok(); ++filled) {
        int index = in.bounded(0, records - 1, "function record index");
        if (!in.ok()) break;
        TThermFkt* f = new TThermFkt;
        list.m_FktArray.m_pData[first + filled] = f;
        f->m_pDataMgr = &dm;
        f->m_nFktDataIndex = index;
        f->m_pFktData = dm.m_FktDataArray.m_pData[index];
        f->m_dValue = in.float64();
        f->m_dValueT = in.float64();
        f->m_dValueTT = in.float64();
        f->m_dValueTTT = in.float64();
        f->m_dAktVal_F = in.float64();
        in.skip(4);  // reserved
        f->m_nPolyIndex = in.int32();
        int k = in.count(4, "piece indexes");
        if (k > 0) {
            f->m_PolyIndex.SetSize(k, -1);
            for (int j = 0; j < k; ++j) f->m_PolyIndex.m_pData[j] = in.bounded(0, pieces - 1, "piece index");
        }
        in.skip(4);  // end int
    }
    // only functions that were created are live: the list owns and deletes exactly those
    if (filled < n) list.m_FktArray.SetSize(first + filled, -1);
}
