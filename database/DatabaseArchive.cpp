#include "DatabaseArchive.h"

#include <QByteArray>
#include <QDataStream>
#include <QFile>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <map>
#include <vector>

#include "database/ArchiveBytes.h"
#include "database/ArchiveChecks.h"
#include "database/AtomicFile.h"
#include "database/ExpressionArchive.h"
#include "database/KernelRecords.h"
#include "database/PayloadChecksum.h"
#include "database/ThermDatabase.h"
#include "thermfunctions/VxThermFunctions.h"

namespace {

const char kMagic[4] = {'T', 'H', 'D', 'B'};
constexpr size_t kHeaderBytes = 24;
constexpr size_t kElementBytes = 32 + 32 + 4 * 8 + 2 * 4;
constexpr size_t kRecordBytes = 45 * 4;
constexpr size_t kPieceBytes = 360;   // the older, shorter piece layout
constexpr size_t kPhaseBytes = 4 * 4 + 4 + 2 * 8 + 2 * 4 + 3 * 4 + 40;

// ---------------------------------------------------------------------------
// Writing

void PutText(QDataStream& out, const std::string& s)
{
    out << static_cast<int>(s.size());
    out.writeRawData(s.data(), static_cast<int>(s.size()));
}

void PutTable(QDataStream& out, const myCStringArray& t)
{
    out << t.m_nSize;
    for (int i = 0; i < t.m_nSize; ++i) PutText(out, t.m_pData[i].m_pszBuffer);
}

void PutElements(QDataStream& out, const myCArray<TDMGRElementData, TDMGRElementData>& elements)
{
    out << elements.m_nSize;
    for (int i = 0; i < elements.m_nSize; ++i) {
        const TDMGRElementData& e = elements.m_pData[i];
        out.writeRawData(e.m_szElementName, sizeof e.m_szElementName);
        out.writeRawData(e.m_szReference, sizeof e.m_szReference);
        out << e.m_dMass << e.m_dH298 << e.m_dS298 << e.m_dAtoms << e.m_bIsSpecies << e.m_nCharge;
    }
}

void PutLists(QDataStream& out, const std::vector<std::vector<int>>& lists)
{
    out << static_cast<int>(lists.size());
    for (const auto& l : lists) {
        out << static_cast<int>(l.size());
        for (int e : l) out << e;
    }
}

void AppendSection(QByteArray& payload, const char (&tag)[5], const std::function<void(QDataStream&)>& write)
{
    QByteArray body;
    {
        QDataStream out(&body, QIODevice::WriteOnly);
        out.setVersion(QDataStream::Qt_6_0);
        write(out);
    }
    QDataStream out(&payload, QIODevice::Append);
    out.setVersion(QDataStream::Qt_6_0);
    out.writeRawData(tag, 4);
    out << static_cast<qint64>(body.size());
    out.writeRawData(body.constData(), static_cast<int>(body.size()));
}

QByteArray Payload(ThermDatabase& db)
{
    CVxDataMgr& dm = db.dataMgr;
    QByteArray payload;
    AppendSection(payload, "SRCE", [&](QDataStream& out) {
        PutText(out, db.sourceName);
        PutText(out, db.sourceDigest);
        out << db.defaultTLow << db.defaultTHigh << static_cast<qint32>(db.defaultTemperatureLimits);
    });
    AppendSection(payload, "ELEM", [&](QDataStream& out) { PutElements(out, dm.m_ElementArray); });
    AppendSection(payload, "RECS", [&](QDataStream& out) {
        out << dm.m_FktDataArray.m_nSize;
        for (int i = 0; i < dm.m_FktDataArray.m_nSize; ++i) {
            const int32_t* p = reinterpret_cast<const int32_t*>(dm.m_FktDataArray.m_pData[i]);
            for (int k = 0; k < 45; ++k) out << p[k];
        }
    });
    AppendSection(payload, "TEXT", [&](QDataStream& out) {
        for (const myCStringArray* t : {&dm.m_SourceTexts1, &dm.m_SourceTexts2, &dm.m_SourceTexts3,
                                        &dm.m_SymbolNames1, &dm.m_SymbolNames2, &dm.m_SymbolNames3,
                                        &dm.m_TypeKeywords})
            PutTable(out, *t);
    });
    AppendSection(payload, "POLY", [&](QDataStream& out) {
        out << dm.m_PolynomArray.m_nSize;
        for (int i = 0; i < dm.m_PolynomArray.m_nSize; ++i) dm.m_PolynomArray.m_pData[i]->Serialize(out, 1);
    });
    AppendSection(payload, "SYMB", [&](QDataStream& out) { dm.GetSymbolFktMgr()->Serialize(out, 1); });
    AppendSection(payload, "PHAS", [&](QDataStream& out) {
        out << static_cast<int>(db.phases.size());
        for (ThermDatabase::PhaseRecord& rec : db.phases) {
            CVxPhase& ph = *rec.phase;
            PutText(out, ph.m_szPhaseName);
            PutText(out, ph.m_szDoName);
            PutText(out, ph.m_TypeCodes);
            PutText(out, ph.m_NotEvaluableWhy);
            out << ph.m_nModelType << ph.m_dMagneticP << ph.m_dAFMFactor << ph.m_bEvaluable
                << rec.gibbs->m_bShiftedOrders;
            PutElements(out, rec.gibbs->m_ElementArray);
            out << static_cast<int>(ph.m_SiteRatios.size());
            for (double a : ph.m_SiteRatios) out << a;
            PutLists(out, ph.m_Constituents);
            PutLists(out, ph.m_DoConstituents);
            rec.functions->Serialize(out, 1);
        }
    });
    AppendSection(payload, "EXPR", [&](QDataStream& out) { putSymbolExpressions(out, db.expressions); });
    return payload;
}

// ---------------------------------------------------------------------------
// Reading

void ReadElements(ByteReader& in, myCArray<TDMGRElementData, TDMGRElementData>& elements)
{
    int n = in.count(kElementBytes, "elements");
    if (n <= 0) return;
    elements.SetSize(n, -1);
    for (int i = 0; i < n; ++i) {
        TDMGRElementData& e = elements.m_pData[i];
        in.raw(e.m_szElementName, sizeof e.m_szElementName);
        in.raw(e.m_szReference, sizeof e.m_szReference);
        e.m_szElementName[sizeof e.m_szElementName - 1] = 0;
        e.m_szReference[sizeof e.m_szReference - 1] = 0;
        e.m_dMass = in.float64();
        e.m_dH298 = in.float64();
        e.m_dS298 = in.float64();
        e.m_dAtoms = in.float64();
        e.m_bIsSpecies = in.int32();
        e.m_nCharge = in.int32();
    }
}

void ReadTable(ByteReader& in, myCStringArray& table)
{
    int n = in.count(4, "texts");
    if (n <= 0) return;
    table.SetAtGrow(n - 1, myCString());
    std::string buffer;  // one terminated copy, reused
    for (int i = 0; i < n && in.ok(); ++i) {
        int length = in.count(1, "characters");
        const char* text = in.span(static_cast<size_t>(length > 0 ? length : 0));
        if (text == nullptr) return;
        if (std::memchr(text, 0, static_cast<size_t>(length)) != nullptr) in.fail("text with a NUL byte");
        buffer.assign(text, static_cast<size_t>(length));
        table.m_pData[i] = buffer.c_str();
    }
}

void ReadLists(ByteReader& in, std::vector<std::vector<int>>& lists, int elementCount)
{
    int ns = in.count(4, "sublattices");
    for (int s = 0; s < ns && in.ok(); ++s) {
        int n = in.count(4, "constituents");
        std::vector<int> l;
        for (int i = 0; i < n && in.ok(); ++i) l.push_back(in.bounded(0, elementCount - 1, "constituent"));
        lists.push_back(std::move(l));
    }
}

void ReadSource(ByteReader& in, ThermDatabase& db)
{
    db.sourceName = in.text();
    db.sourceDigest = in.text();
    db.defaultTLow = in.float64();
    db.defaultTHigh = in.float64();
    db.defaultTemperatureLimits = in.bounded(0, 1, "default-limits flag") != 0;
    if (in.ok() && !(std::isfinite(db.defaultTLow) && std::isfinite(db.defaultTHigh) && db.defaultTLow > 0.0 &&
                     db.defaultTLow < db.defaultTHigh))
        in.fail("temperature limits that are no range");
}

void ReadRecords(ByteReader& in, CVxDataMgr& dm)
{
    int n = in.count(kRecordBytes, "records");
    if (n <= 0) return;
    BigEndian fields(in.span(static_cast<size_t>(n) * kRecordBytes));  // count() checked the length
    dm.m_FktDataArray.SetSize(n, -1);
    for (int i = 0; i < n; ++i) {
        TThermFktData* d = new TThermFktData;
        int32_t* p = reinterpret_cast<int32_t*>(d);
        for (int k = 0; k < 45; ++k) p[k] = fields.int32();
        dm.m_FktDataArray.m_pData[i] = d;
    }
}

void ReadTexts(ByteReader& in, CVxDataMgr& dm)
{
    for (myCStringArray* t : {&dm.m_SourceTexts1, &dm.m_SourceTexts2, &dm.m_SourceTexts3, &dm.m_SymbolNames1,
                              &dm.m_SymbolNames2, &dm.m_SymbolNames3, &dm.m_TypeKeywords})
        ReadTable(in, *t);
}

void ReadPieces(ByteReader& in, CVxDataMgr& dm)
{
    int n = in.count(kPieceBytes, "pieces");
    if (n <= 0) return;
    dm.m_PolynomArray.SetSize(n, -1);
    for (int i = 0; i < n; ++i) {
        TThermTPolynom* p = new TThermTPolynom;
        dm.m_PolynomArray.m_pData[i] = p;
        readPieceRecord(in, *p);
    }
}

void ReadPhases(ByteReader& in, ThermDatabase& db)
{
    int nPhases = in.count(kPhaseBytes, "phases");
    for (int i = 0; i < nPhases && in.ok(); ++i) {
        std::string name = in.text(), doName = in.text(), codes = in.text(), why = in.text();
        if (!in.ok()) return;
        if (name.empty() || name.size() >= sizeof(CVxPhase::m_szPhaseName) ||
            doName.size() >= sizeof(CVxPhase::m_szDoName)) {
            in.fail("phase name '" + name + "' empty or too long");
            return;
        }
        ThermDatabase::PhaseRecord& rec = db.addPhase(name);
        CVxPhase& ph = *rec.phase;
        std::memcpy(ph.m_szDoName, doName.c_str(), doName.size() + 1);
        ph.m_TypeCodes = codes;
        ph.m_NotEvaluableWhy = why;
        ph.m_nModelType = in.int32();
        ph.m_dMagneticP = in.float64();
        ph.m_dAFMFactor = in.float64();
        ph.m_bEvaluable = in.bounded(0, 1, "evaluable flag");
        rec.gibbs->m_bShiftedOrders = in.bounded(0, 1, "shifted-orders flag");
        ReadElements(in, rec.gibbs->m_ElementArray);
        int ns = in.count(8, "site ratios");
        for (int k = 0; k < ns && in.ok(); ++k) {
            double a = in.float64();
            if (!std::isfinite(a)) in.fail("phase " + name + ": a site ratio that is not a number");
            ph.AddSublattice(a);
        }
        std::vector<std::vector<int>> regular, disordered;
        ReadLists(in, regular, rec.gibbs->GetElementCount());
        ReadLists(in, disordered, rec.gibbs->GetElementCount());
        if (!in.ok()) return;
        if (static_cast<int>(regular.size()) != ns) {
            in.fail("phase " + name + ": constituents do not match its sublattices");
            return;
        }
        for (int s = 0; s < ns; ++s)
            for (int e : regular[static_cast<size_t>(s)]) ph.AddConstituent(s, e);
        for (size_t s = 0; s < disordered.size(); ++s)
            for (int e : disordered[s]) ph.AddDoConstituent(static_cast<int>(s), e);
        ph.SetupVariables();
        readFunctionListRecord(in, *rec.functions, db.dataMgr);
    }
}

struct Section
{
    const char* tag;
    std::function<void(ByteReader&)> read;
};

}  // namespace

std::string databaseArchiveBytes(const ThermDatabase& cdb)
{
    ThermDatabase& db = const_cast<ThermDatabase&>(cdb);  // Serialize is not const; storing changes nothing
    const QByteArray payload = Payload(db);
    QByteArray header;
    {
        QDataStream out(&header, QIODevice::WriteOnly);
        out.setVersion(QDataStream::Qt_6_0);
        out.writeRawData(kMagic, 4);
        out << static_cast<qint32>(kDatabaseArchiveVersion) << static_cast<qint64>(payload.size())
            << static_cast<quint64>(payloadChecksum(payload.constData(), static_cast<size_t>(payload.size())));
    }
    std::string bytes(header.constData(), static_cast<size_t>(header.size()));
    bytes.append(payload.constData(), static_cast<size_t>(payload.size()));
    return bytes;
}

bool saveDatabaseArchive(const ThermDatabase& db, const std::string& path, std::string& error)
{
    const std::string bytes = databaseArchiveBytes(db);
    return replaceFileContent(path, {{bytes.data(), bytes.size()}}, error);
}

bool loadDatabaseArchive(ThermDatabase& db, const std::string& path, std::string& error)
{
    QFile file(QString::fromStdString(path));
    if (!file.open(QIODevice::ReadOnly)) {
        error = path + ": cannot be opened";
        return false;
    }
    const QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError) {
        error = path + ": could not be read (" + file.errorString().toStdString() + ")";
        return false;
    }
    return loadDatabaseArchiveBytes(db, bytes.constData(), static_cast<size_t>(bytes.size()), path, error);
}

bool loadDatabaseArchiveBytes(ThermDatabase& db, const char* data, size_t size, const std::string& path,
                              std::string& error)
{
    CVxDataMgr& dm = db.dataMgr;
    if (!db.phases.empty() || dm.m_FktDataArray.m_nSize != 0 || dm.m_ElementArray.m_nSize != 0) {
        error = path + ": a cache file loads only into an empty database";
        return false;
    }
    ByteReader header(data, data + std::min(size, kHeaderBytes));
    char magic[4];
    header.raw(magic, 4);
    if (!header.ok() || std::memcmp(magic, kMagic, 4) != 0) {
        error = path + ": not a database cache file (expected the magic bytes THDB)";
        return false;
    }
    const int version = header.int32();
    if (header.ok() && version != kDatabaseArchiveVersion) {
        error = path + ": cache file version " + std::to_string(version) + " is not supported (expected " +
                std::to_string(kDatabaseArchiveVersion) + ")";
        return false;
    }
    const int64_t length = header.int64();
    const uint64_t checksum = static_cast<uint64_t>(header.int64());
    if (!header.ok() || length < 0 || static_cast<uint64_t>(length) != size - kHeaderBytes) {
        error = path + ": truncated or damaged cache file (" + std::to_string(size) +
                " bytes, not what its header says)";
        return false;
    }
    if (payloadChecksum(data + kHeaderBytes, size - kHeaderBytes) != checksum) {
        error = path + ": damaged cache file (checksum mismatch)";
        return false;
    }

    // the section list: tag -> [begin, end) in the file
    std::map<std::string, std::pair<size_t, size_t>> sections;
    ByteReader list(data + kHeaderBytes, data + size, kHeaderBytes);
    while (list.ok() && list.left() > 0) {
        char tag[5] = {};
        list.raw(tag, 4);
        int64_t n = list.int64();
        if (!list.ok()) break;
        if (n < 0 || static_cast<uint64_t>(n) > list.left()) {
            list.fail(std::string("section ") + tag + " longer than the file");
            break;
        }
        size_t begin = list.fileOffset();
        if (!sections.emplace(tag, std::make_pair(begin, begin + static_cast<size_t>(n))).second) {
            list.fail(std::string("section ") + tag + " twice");
            break;
        }
        list.skip(static_cast<size_t>(n));
    }
    if (!list.ok()) {
        error = path + ": " + list.error();
        return false;
    }

    const Section order[] = {
        {"SRCE", [&](ByteReader& in) { ReadSource(in, db); }},
        {"ELEM", [&](ByteReader& in) { ReadElements(in, dm.m_ElementArray); }},
        {"RECS", [&](ByteReader& in) { ReadRecords(in, dm); }},
        {"TEXT", [&](ByteReader& in) { ReadTexts(in, dm); }},
        {"POLY", [&](ByteReader& in) { ReadPieces(in, dm); }},
        {"SYMB", [&](ByteReader& in) { readFunctionListRecord(in, *dm.GetSymbolFktMgr(), dm); }},
        {"PHAS", [&](ByteReader& in) { ReadPhases(in, db); }},
        {"EXPR", [&](ByteReader& in) { readSymbolExpressions(in, db.expressions, dm.GetSymbolFktMgr()->m_FktArray.m_nSize); }},
    };
    for (const Section& s : order) {
        auto it = sections.find(s.tag);
        if (it == sections.end()) {
            error = path + ": damaged cache file (no section " + s.tag + ")";
            return false;
        }
        ByteReader in(data + it->second.first, data + it->second.second, it->second.first);
        s.read(in);
        if (in.ok() && in.left() != 0) in.fail("unread bytes at the end of the section");
        if (!in.ok()) {
            error = path + ": damaged cache file, section " + s.tag + ": " + in.error();
            return false;
        }
    }
    std::string why;
    if (!checkArchivedDatabase(db, why) || !bindArchivedDatabase(db, why)) {
        error = path + ": damaged cache file: " + why;
        return false;
    }
    return true;
}
