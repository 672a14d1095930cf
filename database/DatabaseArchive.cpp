#include "DatabaseArchive.h"

#include <QDataStream>
#include <QFile>

#include <cstdio>
#include <cstring>
#include <vector>

#include "database/ThermDatabase.h"
#include "thermfunctions/VxThermFunctions.h"

namespace {

const char kMagic[4] = {'T', 'H', 'D', 'B'};
const int kVersion = 1;

void PutString(QDataStream& out, const char* psz)
{
    int n = static_cast<int>(std::strlen(psz));
    out << n;
    out.writeRawData(psz, n);
}

void PutTable(QDataStream& out, const myCStringArray& t)
{
    out << t.m_nSize;
    for (int i = 0; i < t.m_nSize; ++i) PutString(out, t.m_pData[i].m_pszBuffer);
}

void PutElement(QDataStream& out, const TDMGRElementData& e)
{
    out.writeRawData(e.m_szElementName, sizeof e.m_szElementName);
    out.writeRawData(e.m_szReference, sizeof e.m_szReference);
    out << e.m_dMass << e.m_dH298 << e.m_dS298 << e.m_dAtoms << e.m_bIsSpecies << e.m_nCharge;
}

void PutLists(QDataStream& out, const std::vector<std::vector<int>>& lists)
{
    out << static_cast<int>(lists.size());
    for (const auto& l : lists) {
        out << static_cast<int>(l.size());
        for (int e : l) out << e;
    }
}

// Reading side: every failure records the byte position and stops.
class Reader
{
public:
    Reader(QDataStream& in, QFile& file, const std::string& path) : in_(in), file_(file), path_(path) {}
    bool ok() const { return error_.empty() && in_.status() == QDataStream::Ok; }
    std::string error() const
    {
        if (!error_.empty()) return error_;
        char sz[64];
        std::snprintf(sz, sizeof sz, "%lld", static_cast<long long>(file_.pos()));
        return path_ + ": truncated or damaged cache file (near byte " + sz + ")";
    }
    void Fail(const std::string& what)
    {
        if (error_.empty()) {
            char sz[64];
            std::snprintf(sz, sizeof sz, "%lld", static_cast<long long>(file_.pos()));
            error_ = path_ + ": " + what + " (near byte " + sz + ")";
        }
    }
    // A count of items of at least nBytesEach bytes that the rest of the file can hold.
    int Count(int nBytesEach, const char* pszWhat)
    {
        int n = -1;
        in_ >> n;
        if (!ok()) return -1;
        if (n < 0 || static_cast<qint64>(n) * nBytesEach > file_.size() - file_.pos()) {
            Fail(std::string("implausible count of ") + pszWhat);
            return -1;
        }
        return n;
    }
    std::string String()
    {
        int n = Count(1, "characters");
        if (n < 0) return std::string();
        std::string s(static_cast<size_t>(n), '\0');
        if (n > 0 && in_.readRawData(&s[0], n) != n) Fail("text cut short");
        if (s.find('\0') != std::string::npos) Fail("text with a NUL byte");
        return s;
    }
    void Table(myCStringArray& t)
    {
        int n = Count(4, "texts");
        for (int i = 0; i < n && ok(); ++i) t.Add(myCString(String().c_str()));
    }
    bool Element(TDMGRElementData& e)
    {
        std::memset(&e, 0, sizeof e);
        if (in_.readRawData(e.m_szElementName, sizeof e.m_szElementName) != sizeof e.m_szElementName ||
            in_.readRawData(e.m_szReference, sizeof e.m_szReference) != sizeof e.m_szReference) {
            Fail("element cut short");
            return false;
        }
        e.m_szElementName[sizeof e.m_szElementName - 1] = 0;
        e.m_szReference[sizeof e.m_szReference - 1] = 0;
        in_ >> e.m_dMass >> e.m_dH298 >> e.m_dS298 >> e.m_dAtoms >> e.m_bIsSpecies >> e.m_nCharge;
        return ok();
    }
    bool Lists(std::vector<std::vector<int>>& lists, int nMaxElement)
    {
        int ns = Count(4, "sublattices");
        for (int s = 0; s < ns && ok(); ++s) {
            int n = Count(4, "constituents");
            std::vector<int> l;
            for (int i = 0; i < n && ok(); ++i) {
                int e = -1;
                in_ >> e;
                if (e < 0 || e >= nMaxElement) Fail("constituent outside the phase's element table");
                l.push_back(e);
            }
            lists.push_back(l);
        }
        return ok();
    }
    QDataStream& in_;

private:
    QFile& file_;
    std::string path_;
    std::string error_;
};

// The indices a function list may follow during evaluation all lie inside the arrays.
bool CheckList(TThermFktMgr& list, CVxDataMgr& dm, Reader& r)
{
    for (int i = 0; i < list.m_FktArray.m_nSize; ++i) {
        TThermFkt* f = list.m_FktArray.m_pData[i];
        for (int k = 0; k < f->m_PolyIndex.m_nSize; ++k) {
            int p = f->m_PolyIndex.m_pData[k];
            if (p < 0 || p >= dm.m_PolynomArray.m_nSize) {
                r.Fail(std::string("function of list '") + list.m_szName + "' refers to a missing polynomial");
                return false;
            }
        }
    }
    return true;
}

bool CheckPolynomial(const TThermTPolynom& p, int nSymbols)
{
    if (p.m_nPowerTerms < 0 || p.m_nPowerTerms > 10 || p.m_nSymbolTerms < 0 || p.m_nSymbolTerms > 16) return false;
    for (int i = 0; i < p.m_nPowerTerms; ++i)
        if (p.m_anPowerExp[i] < -27 || p.m_anPowerExp[i] > 30) return false;
    for (int j = 0; j < p.m_nSymbolTerms; ++j)
        if (p.m_anSymbolIndex[j] < 0 || p.m_anSymbolIndex[j] >= nSymbols) return false;
    const int refs[] = {p.m_nRTLnSymbol, p.m_nLnFactorSymbol, p.m_nLnArgSymbol, p.m_nExpFactorSymbol,
                        p.m_nExpArgSymbol, p.m_nPSymbol,      p.m_nTPSymbol,    p.m_nT2PSymbol};
    for (int s : refs)
        if (s >= nSymbols) return false;
    return true;
}

// Fields of a record that linking and evaluation follow without checks.
bool CheckRecord(const TThermFktData& d, CVxDataMgr& dm, int nPhaseElements)
{
    if (d.m_nOrder < 0 || d.m_nOrder > 64) return false;
    if (d.m_nFktType != 5 && d.m_nSourceKind >= 1 && d.m_nSourceKind <= 3) {
        const myCStringArray* t = dm.GetSourceTexts(d.m_nSourceKind);
        if (d.m_nSourceIndex < 0 || d.m_nSourceIndex >= t->m_nSize) return false;
    }
    if (d.m_nSpeciesIndex < -1 || d.m_nSpeciesIndex >= nPhaseElements) return false;
    return true;
}

// After linking: the member a non-regular ternary parameter picks must be one of its entries.
bool CheckLinked(const TThermFktData& d)
{
    if (d.m_nInteractionLevel == 2 && !d.m_bRegular) return d.m_nOrder <= 2;
    return true;
}

}  // namespace

bool saveDatabaseArchive(const ThermDatabase& cdb, const std::string& path, std::string& error)
{
    ThermDatabase& db = const_cast<ThermDatabase&>(cdb);  // Serialize is not const; storing changes nothing
    CVxDataMgr& dm = db.dataMgr;
    const std::string tmp = path + ".tmp";
    QFile file(QString::fromStdString(tmp));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        error = tmp + ": cannot be written";
        return false;
    }
    QDataStream out(&file);
    out.setVersion(QDataStream::Qt_6_0);
    out.writeRawData(kMagic, 4);
    out << kVersion << db.defaultTLow << db.defaultTHigh;
    PutString(out, db.sourceName.c_str());
    out << dm.m_ElementArray.m_nSize;
    for (int i = 0; i < dm.m_ElementArray.m_nSize; ++i) PutElement(out, dm.m_ElementArray.m_pData[i]);
    out << dm.m_FktDataArray.m_nSize;
    for (int i = 0; i < dm.m_FktDataArray.m_nSize; ++i) {
        const int32_t* p = reinterpret_cast<const int32_t*>(dm.m_FktDataArray.m_pData[i]);
        for (int k = 0; k < 45; ++k) out << p[k];
    }
    out << dm.m_PolynomArray.m_nSize;
    for (int i = 0; i < dm.m_PolynomArray.m_nSize; ++i) dm.m_PolynomArray.m_pData[i]->Serialize(out, 1);
    for (const myCStringArray* t : {&dm.m_SourceTexts1, &dm.m_SourceTexts2, &dm.m_SourceTexts3, &dm.m_SymbolNames1,
                                    &dm.m_SymbolNames2, &dm.m_SymbolNames3, &dm.m_TypeKeywords})
        PutTable(out, *t);
    dm.GetSymbolFktMgr()->Serialize(out, 1);
    out << static_cast<int>(db.phases.size());
    for (ThermDatabase::PhaseRecord& rec : db.phases) {
        CVxPhase& ph = *rec.phase;
        PutString(out, ph.m_szPhaseName);
        PutString(out, ph.m_szDoName);
        PutString(out, ph.m_TypeCodes.c_str());
        PutString(out, ph.m_NotEvaluableWhy.c_str());
        out << ph.m_nModelType << ph.m_dMagneticP << ph.m_dAFMFactor << ph.m_bEvaluable << rec.gibbs->m_bShiftedOrders;
        out << rec.gibbs->m_ElementArray.m_nSize;
        for (int i = 0; i < rec.gibbs->m_ElementArray.m_nSize; ++i) PutElement(out, rec.gibbs->m_ElementArray.m_pData[i]);
        out << static_cast<int>(ph.m_SiteRatios.size());
        for (double a : ph.m_SiteRatios) out << a;
        PutLists(out, ph.m_Constituents);
        PutLists(out, ph.m_DoConstituents);
        rec.functions->Serialize(out, 1);
    }
    bool bOk = out.status() == QDataStream::Ok && file.flush();
    file.close();
    if (!bOk || std::rename(tmp.c_str(), path.c_str()) != 0) {
        std::remove(tmp.c_str());
        error = path + ": could not be written completely; an existing file was left as it was";
        return false;
    }
    return true;
}

bool loadDatabaseArchive(ThermDatabase& db, const std::string& path, std::string& error)
{
    CVxDataMgr& dm = db.dataMgr;
    if (!db.phases.empty() || dm.m_FktDataArray.m_nSize != 0 || dm.m_ElementArray.m_nSize != 0) {
        error = path + ": a cache file loads only into an empty database";
        return false;
    }
    QFile file(QString::fromStdString(path));
    if (!file.open(QIODevice::ReadOnly)) {
        error = path + ": cannot be opened";
        return false;
    }
    QDataStream in(&file);
    in.setVersion(QDataStream::Qt_6_0);
    Reader r(in, file, path);
    char magic[4] = {0, 0, 0, 0};
    int version = 0;
    if (in.readRawData(magic, 4) != 4 || std::memcmp(magic, kMagic, 4) != 0) {
        error = path + ": not a database cache file (expected the magic bytes THDB)";
        return false;
    }
    in >> version;
    if (version != kVersion) {
        error = path + ": cache file version " + std::to_string(version) + " is not supported (expected " +
                std::to_string(kVersion) + ")";
        return false;
    }
    in >> db.defaultTLow >> db.defaultTHigh;
    db.sourceName = r.String();
    int n = r.Count(88, "elements");
    for (int i = 0; i < n && r.ok(); ++i) {
        TDMGRElementData e;
        if (r.Element(e)) dm.m_ElementArray.Add(e);
    }
    n = r.Count(180, "records");
    for (int i = 0; i < n && r.ok(); ++i) {
        TThermFktData* d = new TThermFktData;
        int32_t* p = reinterpret_cast<int32_t*>(d);
        for (int k = 0; k < 45; ++k) in >> p[k];
        dm.AddFktData(d);
    }
    n = r.Count(360, "polynomials");
    for (int i = 0; i < n && r.ok(); ++i) {
        TThermTPolynom* p = new TThermTPolynom;
        p->Serialize(in, 0);
        dm.m_PolynomArray.Add(p);
    }
    for (myCStringArray* t : {&dm.m_SourceTexts1, &dm.m_SourceTexts2, &dm.m_SourceTexts3, &dm.m_SymbolNames1,
                              &dm.m_SymbolNames2, &dm.m_SymbolNames3, &dm.m_TypeKeywords})
        if (r.ok()) r.Table(*t);
    TThermFktMgr& sym = *dm.GetSymbolFktMgr();
    if (r.ok()) sym.Serialize(in, 0);
    if (!r.ok()) {
        error = r.error();
        return false;
    }
    const int nSymbols = sym.m_FktArray.m_nSize;
    for (int i = 0; i < dm.m_PolynomArray.m_nSize; ++i)
        if (!CheckPolynomial(*dm.m_PolynomArray.m_pData[i], nSymbols)) {
            error = path + ": polynomial " + std::to_string(i) + " has a term outside the term model";
            return false;
        }
    if (!CheckList(sym, dm, r)) {
        error = r.error();
        return false;
    }
    int nPhases = r.Count(60, "phases");
    for (int i = 0; i < nPhases && r.ok(); ++i) {
        std::string name = r.String(), doName = r.String(), codes = r.String(), why = r.String();
        if (!r.ok()) break;
        ThermDatabase::PhaseRecord& rec = db.addPhase(name);
        CVxPhase& ph = *rec.phase;
        std::snprintf(ph.m_szDoName, sizeof ph.m_szDoName, "%s", doName.c_str());
        ph.m_TypeCodes = codes;
        ph.m_NotEvaluableWhy = why;
        in >> ph.m_nModelType >> ph.m_dMagneticP >> ph.m_dAFMFactor >> ph.m_bEvaluable >> rec.gibbs->m_bShiftedOrders;
        int ne = r.Count(88, "phase elements");
        for (int k = 0; k < ne && r.ok(); ++k) {
            TDMGRElementData e;
            if (r.Element(e)) rec.gibbs->m_ElementArray.Add(e);
        }
        int ns = r.Count(8, "site ratios");
        for (int k = 0; k < ns && r.ok(); ++k) {
            double a = 0;
            in >> a;
            ph.AddSublattice(a);
        }
        std::vector<std::vector<int>> reg, dos;
        r.Lists(reg, rec.gibbs->GetElementCount());
        r.Lists(dos, rec.gibbs->GetElementCount());
        if (!r.ok()) break;
        if (static_cast<int>(reg.size()) != ns) {
            r.Fail("phase " + name + ": constituents do not match its sublattices");
            break;
        }
        for (int s = 0; s < ns; ++s)
            for (int e : reg[static_cast<size_t>(s)]) ph.AddConstituent(s, e);
        for (size_t s = 0; s < dos.size(); ++s)
            for (int e : dos[s]) ph.AddDoConstituent(static_cast<int>(s), e);
        ph.SetupVariables();
        rec.functions->Serialize(in, 0);
        if (r.ok()) CheckList(*rec.functions, dm, r);
    }
    if (!r.ok()) {
        error = r.error();
        return false;
    }
    // bind as after reading the database
    sym.LinkSymbols(&dm, nullptr);
    for (ThermDatabase::PhaseRecord& rec : db.phases) {
        TThermFktMgr& list = *rec.functions;
        for (int i = 0; i < list.m_FktArray.m_nSize; ++i)
            if (!CheckRecord(*list.m_FktArray.m_pData[i]->m_pFktData, dm, rec.gibbs->GetElementCount())) {
                error = path + ": phase " + std::string(rec.phase->m_szPhaseName) + ": parameter record " +
                        std::to_string(list.m_FktArray.m_pData[i]->m_nFktDataIndex) + " is damaged";
                return false;
            }
        rec.functions->LinkSymbols(&dm, rec.gibbs.get());
        if (rec.functions->LinkYPointers(rec.phase.get(), rec.gibbs.get()) < 0) {
            error = path + ": phase " + std::string(rec.phase->m_szPhaseName) +
                    ": a parameter names a constituent the phase does not have";
            return false;
        }
        for (int i = 0; i < list.m_FktArray.m_nSize; ++i)
            if (!CheckLinked(*list.m_FktArray.m_pData[i]->m_pFktData)) {
                error = path + ": phase " + std::string(rec.phase->m_szPhaseName) + ": a ternary order outside 0..2";
                return false;
            }
    }
    return true;
}
