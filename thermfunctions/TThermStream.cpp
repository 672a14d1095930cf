// Binary records of function lists, functions and pieces in a QDataStream.
//
// Loading meets untrusted bytes, so it checks what the record layout alone
// cannot guarantee:
//  - a count (functions of a list, pieces of a function) that is negative or
//    larger than the bytes left in the device could hold marks the stream
//    ReadCorruptData and reads nothing more, so a damaged count never turns
//    into a huge allocation;
//  - a function whose record index lies outside the data manager's record
//    array is not linked to any record (m_pFktData stays null) and marks the
//    stream ReadCorruptData;
//  - a manager whose load failed deletes every function it created in that
//    load and is left empty, so no half-read function reaches evaluation.
// The caller learns of any failure from the stream status (status() != Ok).
#include <algorithm>

#include <QDataStream>
#include <QIODevice>

#include "TThermFkt.h"
#include "TThermFktMgr.h"
#include "TThermTPolynom.h"
#include "host/CVxDataMgr.h"

namespace {

// Largest count the rest of the device could hold at nBytesEach bytes an item.
bool PlausibleCount(QDataStream& ar, int nCount, int nBytesEach)
{
    if (nCount < 0) return false;
    QIODevice* dev = ar.device();
    if (dev == nullptr || dev->isSequential()) return nCount <= (1 << 24);
    qint64 left = dev->size() - dev->pos();
    return static_cast<qint64>(nCount) * nBytesEach <= left;
}

// Bytes of a double as this stream writes it: the stream's precision setting
// decides (single precision writes 4), from stream version 4.6 on.
int StreamDoubleBytes(const QDataStream& ar)
{
    const bool bSingle = ar.version() >= QDataStream::Qt_4_6 &&
                         ar.floatingPointPrecision() == QDataStream::SinglePrecision;
    return bSingle ? 4 : 8;
}

void MarkCorrupt(QDataStream& ar)
{
    if (ar.status() == QDataStream::Ok) ar.setStatus(QDataStream::ReadCorruptData);
}

}  // namespace

int TThermTPolynom::Serialize(QDataStream& ar, unsigned int bStore)
{
    if (bStore) {
        ar << m_nSymbolList << m_dTLow << m_dTHigh << m_nPowerTerms << m_nSymbolTerms << m_dA << m_dB << m_dC;
        for (double c : m_adPowerCoef) ar << c;
        for (int e : m_anPowerExp) ar << e;
        for (int j = 0; j < 5; ++j) ar << m_anSymbolIndex[j];
        for (int j = 0; j < 5; ++j) ar << m_adSymbolFactor[j];
        ar << m_bRTLnTerm << m_dRTLnFactor << m_nRTLnSymbol;
        ar << m_bLnTerm << m_dLnFactor << m_nLnFactorSymbol << m_dLnArg << m_nLnArgSymbol;
        ar << m_bExpTerm << m_dExpFactor << m_nExpFactorSymbol << m_dExpArg << m_nExpArgSymbol;
        ar << m_bPressureTerms << m_bPTerm << m_dPCoef << m_nPSymbol << m_bTPTerm << m_dTPCoef << m_nTPSymbol
           << m_bT2PTerm << m_dT2PCoef << m_nT2PSymbol;
        ar << static_cast<int>(1);  // extension: all sixteen symbol slots follow
        for (int idx : m_anSymbolIndex) ar << idx;
        for (double f : m_adSymbolFactor) ar << f;
        ar << static_cast<int>(0);
        return 1;
    }
    ar >> m_nSymbolList >> m_dTLow >> m_dTHigh >> m_nPowerTerms >> m_nSymbolTerms >> m_dA >> m_dB >> m_dC;
    for (double& c : m_adPowerCoef) ar >> c;
    for (int& e : m_anPowerExp) ar >> e;
    for (int j = 0; j < 5; ++j) ar >> m_anSymbolIndex[j];
    for (int j = 0; j < 5; ++j) ar >> m_adSymbolFactor[j];
    ar >> m_bRTLnTerm >> m_dRTLnFactor >> m_nRTLnSymbol;
    ar >> m_bLnTerm >> m_dLnFactor >> m_nLnFactorSymbol >> m_dLnArg >> m_nLnArgSymbol;
    ar >> m_bExpTerm >> m_dExpFactor >> m_nExpFactorSymbol >> m_dExpArg >> m_nExpArgSymbol;
    ar >> m_bPressureTerms >> m_bPTerm >> m_dPCoef >> m_nPSymbol >> m_bTPTerm >> m_dTPCoef >> m_nTPSymbol >>
        m_bT2PTerm >> m_dT2PCoef >> m_nT2PSymbol;
    int nMarker = 0;
    ar >> nMarker;
    if (nMarker != 0) {
        for (int& idx : m_anSymbolIndex) ar >> idx;
        for (double& f : m_adSymbolFactor) ar >> f;
        int nEnd = 0;
        ar >> nEnd;
    }
    return 1;
}

int TThermFkt::Serialize(QDataStream& ar, unsigned int bStore)
{
    if (bStore) {
        ar << m_nFktDataIndex << m_dValue << m_dValueT << m_dValueTT << m_dValueTTT << m_dAktVal_F;
        ar << static_cast<int>(0) << m_nPolyIndex << m_PolyIndex.m_nSize;
        for (int i = 0; i < m_PolyIndex.m_nSize; ++i) ar << m_PolyIndex.m_pData[i];
        ar << static_cast<int>(0);
        return 1;
    }
    ar >> m_nFktDataIndex;
    m_pFktData = nullptr;
    if (ar.status() != QDataStream::Ok) return 1;
    if (m_pDataMgr == nullptr || m_nFktDataIndex < 0 || m_nFktDataIndex >= m_pDataMgr->m_FktDataArray.m_nSize) {
        MarkCorrupt(ar);  // no record to link to: stop loading this function
        return 1;
    }
    m_pFktData = m_pDataMgr->m_FktDataArray.ElementAt(m_nFktDataIndex);
    int nReserved = 0, nCount = 0;
    ar >> m_dValue >> m_dValueT >> m_dValueTT >> m_dValueTTT >> m_dAktVal_F >> nReserved >> m_nPolyIndex >> nCount;
    if (ar.status() != QDataStream::Ok) return 1;
    if (!PlausibleCount(ar, nCount, 4)) {
        MarkCorrupt(ar);
        return 1;
    }
    m_PolyIndex.SetSize(nCount, -1);
    for (int i = 0; i < nCount; ++i) ar >> m_PolyIndex.m_pData[i];
    int nEnd = 0;
    ar >> nEnd;
    return 1;
}

int TThermFktMgr::Serialize(QDataStream& ar, unsigned int bStore)
{
    if (bStore) {
        ar.writeRawData(m_szName, sizeof m_szName);
        ar << static_cast<int>(0) << m_FktArray.m_nSize;
        for (int i = 0; i < m_FktArray.m_nSize; ++i) m_FktArray.ElementAt(i)->Serialize(ar, bStore);
        return 1;
    }
    char szName[sizeof m_szName];
    if (ar.readRawData(szName, sizeof szName) != static_cast<int>(sizeof szName)) {
        MarkCorrupt(ar);
        return 1;
    }
    szName[sizeof szName - 1] = 0;  // a name without NUL ends at its 32nd byte
    std::copy(szName, szName + sizeof szName, m_szName);
    int nReserved = 0, nCount = 0;
    ar >> nReserved >> nCount;
    if (ar.status() != QDataStream::Ok) return 1;
    // a function record is at least five ints and five doubles (60 bytes with 8-byte doubles)
    if (!PlausibleCount(ar, nCount, 20 + 5 * StreamDoubleBytes(ar))) {
        MarkCorrupt(ar);
        return 1;
    }
    int nFirst = m_FktArray.m_nSize;  // loading appends after whatever the list held
    m_FktArray.SetSize(nFirst + nCount, -1);
    for (int i = nFirst; i < m_FktArray.m_nSize; ++i) {
        TThermFkt* f = new TThermFkt;
        m_FktArray.ElementAt(i) = f;
        f->m_pDataMgr = m_pDataMgr;
        f->Serialize(ar, 0);
        if (ar.status() != QDataStream::Ok) {
            // drop what this load created; the list is as it was before
            for (int j = nFirst; j <= i; ++j) delete m_FktArray.ElementAt(j);
            m_FktArray.SetSize(nFirst, -1);
            return 1;
        }
    }
    return 1;
}
