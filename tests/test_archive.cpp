// Cache files of whole databases: round trip; foreign, damaged and
// inconsistent files refused with a message; saving atomically.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <random>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <csignal>
#include <functional>
#include <unistd.h>

#include "database/DatabaseArchive.h"
#include "database/PayloadChecksum.h"
#include "database/ThermDatabase.h"
#include "support/PhaseTestKit.h"
#include "support/TdbTestKit.h"

namespace {

std::string TempPath(const std::string& name)
{
    return ::testing::TempDir() + "thermkernel_" + std::to_string(getpid()) + "_" + name;
}

void Spit(const std::string& path, const std::string& bytes)
{
    std::ofstream f(path, std::ios::binary | std::ios::trunc);
    f << bytes;
}

// A Fe-Cr-like database: one symbol with two ranges, a BCC phase (CR,FE)(VA)
// with an end member referring to the symbol, an interaction, TC and BMAGN.
void Build(ThermDatabase& db)
{
    CVxDataMgr& dm = db.dataMgr;
    db.sourceName = "hand-built";
    for (const char* n : {"CR", "FE", "VA"}) dm.AddElement(kit::Element(n, n[0] == 'V' ? 0.0 : 1.0));
    TThermFkt* s = dm.AddSymbolFunction("GHSERFE");
    s->AddPolynom(kit::Piece(298.15, 1811, 1225.7, 124.134, -23.5143, {{-0.00439752, 2}, {77359, -1}}));
    s->AddPolynom(kit::Piece(1811, 6000, -25383.581, 299.31255, -46, {{2.29603e31, -9}}));
    ThermDatabase::PhaseRecord& rec = db.addPhase("BCC_A2");
    for (int i = 0; i < 3; ++i) rec.gibbs->AddElement(dm.m_ElementArray[i]);
    rec.phase->AddSublattice(1);
    rec.phase->AddSublattice(3);
    rec.phase->AddConstituent(0, 0);
    rec.phase->AddConstituent(0, 1);
    rec.phase->AddConstituent(1, 2);
    rec.phase->SetupVariables();
    rec.phase->m_dMagneticP = 0.4;
    auto add = [&](const char* text, int type, int order, TThermTPolynom* p) {
        TThermFkt* f = rec.functions->AddFunction(kit::Parameter(dm, type, order));
        f->m_pFktData->m_nSourceIndex = dm.AddSourceText(1, text);
        f->AddPolynom(p);
    };
    TThermTPolynom* g = kit::Piece(298.15, 6000, 0);
    kit::AddSymbolTerm(g, 0, 1.0);
    add("FE:VA", 0, 0, g);
    add("CR,FE:VA", 0, 0, kit::Piece(298.15, 6000, 20500, -9.68));
    add("FE:VA", 10, 0, kit::Piece(298.15, 6000, 1043));
    add("FE:VA", 20, 0, kit::Piece(298.15, 6000, 2.22));
    dm.GetSymbolFktMgr()->LinkSymbols(&dm, nullptr);
    rec.functions->LinkSymbols(&dm, rec.gibbs.get());
    rec.functions->LinkYPointers(rec.phase.get(), rec.gibbs.get());
}

std::vector<double> Evaluate(ThermDatabase& db, double T)
{
    TK.CalcTValues(T);
    db.symbols().SaveCalcPTValues(T, 1e5, 2);
    ThermDatabase::PhaseRecord& rec = db.phases[0];
    rec.phase->m_Y[0] = 0.3;
    rec.phase->m_Y[1] = 0.7;
    rec.functions->CalcPTValues(T, 1e5, 2);
    rec.phase->ZeroResults();
    std::vector<double> out;
    for (int i = 0; i < rec.functions->m_FktArray.m_nSize; ++i) {
        rec.functions->m_FktArray[i]->Calc(2, 1.0);
        out.push_back(rec.functions->m_FktArray[i]->m_dAktVal_F);
    }
    for (int v = 0; v <= rec.phase->m_nTPos; ++v) out.push_back(rec.phase->m_GradG[v]);
    return out;
}

TEST(Archive, RoundTripEvaluatesAndListsTheSame)
{
    ThermDatabase original;
    Build(original);
    std::string path = TempPath("roundtrip.thdb"), error;
    ASSERT_TRUE(saveDatabaseArchive(original, path, error)) << error;
    ThermDatabase loaded;
    ASSERT_TRUE(loadDatabaseArchive(loaded, path, error)) << error;
    EXPECT_EQ(loaded.sourceName, "hand-built");
    ASSERT_EQ(loaded.phases.size(), 1u);
    EXPECT_EQ(loaded.phases[0].phase->m_dMagneticP, 0.4);
    for (double T : {500.0, 1811.0, 2500.0}) EXPECT_EQ(Evaluate(loaded, T), Evaluate(original, T)) << T;
    myCString a, b;
    original.phases[0].functions->WriteOutFunktions(a, 3);
    original.symbols().WriteOutFunktions(a, 3);
    loaded.phases[0].functions->WriteOutFunktions(b, 3);
    loaded.symbols().WriteOutFunktions(b, 3);
    EXPECT_STREQ(a.m_pszBuffer, b.m_pszBuffer);
    std::remove(path.c_str());
}

// Big-endian fields of the header: version at 4, payload length at 8, checksum at 16.
void PutBig(std::string& bytes, size_t at, uint64_t value, int width)
{
    for (int k = 0; k < width; ++k) bytes[at + static_cast<size_t>(k)] = static_cast<char>(value >> (8 * (width - 1 - k)));
}

// The header made to fit a payload that was changed on purpose, so that the
// checks behind the checksum are what the file meets.
std::string Reseal(std::string bytes)
{
    PutBig(bytes, 8, bytes.size() - 24, 8);
    PutBig(bytes, 16, payloadChecksum(bytes.data() + 24, bytes.size() - 24), 8);
    return bytes;
}

std::string Section(const std::string& tag, const std::string& body)
{
    std::string s = tag;
    s.resize(12);
    PutBig(s, 4, body.size(), 8);
    return s + body;
}

// Offset of the section with this tag (at its tag) in a cache file's bytes.
size_t FindSection(const std::string& bytes, const std::string& tag)
{
    size_t at = 24;
    while (at + 12 <= bytes.size()) {
        uint64_t n = 0;
        for (int k = 0; k < 8; ++k) n = (n << 8) | static_cast<unsigned char>(bytes[at + 4 + static_cast<size_t>(k)]);
        if (bytes.compare(at, 4, tag) == 0) return at;
        at += 12 + n;
    }
    return std::string::npos;
}

std::string SavedBytes(ThermDatabase& db)
{
    std::string path = TempPath("saved.thdb"), error;
    EXPECT_TRUE(saveDatabaseArchive(db, path, error)) << error;
    std::string bytes = kit::Slurp(path);
    std::remove(path.c_str());
    return bytes;
}

// Loads bytes as a cache file; the error, or "" when it loaded.
std::string LoadError(const std::string& bytes, ThermDatabase& db)
{
    std::string path = TempPath("load.thdb"), error;
    Spit(path, bytes);
    bool ok = loadDatabaseArchive(db, path, error);
    std::remove(path.c_str());
    if (ok) return "";
    EXPECT_NE(error.find(path), std::string::npos) << error;  // every message names the file
    return error.empty() ? "(no message)" : error;
}

struct FileCase
{
    const char* name;
    std::function<std::string(const std::string&)> change;  // good bytes -> bytes to load
    const char* expected;                                   // part of the message
};

// The case's name, not its bytes, in the listing of tests (which stays the same between builds).
void PrintTo(const FileCase& c, std::ostream* os) { *os << c.name; }

using ArchiveFile = ::testing::TestWithParam<FileCase>;

TEST_P(ArchiveFile, IsRefusedWithItsReason)
{
    ThermDatabase original;
    Build(original);
    const std::string good = SavedBytes(original);
    ThermDatabase db;
    std::string error = LoadError(GetParam().change(good), db);
    EXPECT_NE(error.find(GetParam().expected), std::string::npos) << error;
}

const FileCase kFileCases[] = {
    {"ForeignFile", [](const std::string&) { return std::string("$ a TDB file, not a cache\n"); },
     "not a database cache file"},
    {"OlderVersion",
     [](const std::string& g) {
         std::string b = g;
         PutBig(b, 4, 3, 4);
         return b;
     },
     "version 3 is not supported (expected 4)"},
    {"CutShort", [](const std::string& g) { return g.substr(0, g.size() - 100); }, "truncated or damaged"},
    {"HeaderOnly", [](const std::string& g) { return g.substr(0, 20); }, "truncated or damaged"},
    {"OneBitFlipped",
     [](const std::string& g) {
         std::string b = g;
         b[b.size() / 2] ^= 0x10;
         return b;
     },
     "checksum mismatch"},
    {"SectionMissing",
     [](const std::string& g) {
         size_t at = FindSection(g, "SYMB"), next = FindSection(g, "PHAS");
         return Reseal(g.substr(0, at) + g.substr(next));
     },
     "no section SYMB"},
    {"SectionTwice",
     [](const std::string& g) { return Reseal(g + g.substr(FindSection(g, "SRCE"), FindSection(g, "ELEM") - FindSection(g, "SRCE"))); },
     "section SRCE twice"},
    {"SectionLongerThanTheFile",
     [](const std::string& g) { return Reseal(g + Section("XTRA", "abc").substr(0, 13)); }, "longer than the file"},
    {"BytesLeftInASection",
     [](const std::string& g) {
         size_t at = FindSection(g, "SRCE"), next = FindSection(g, "ELEM");
         std::string body = g.substr(at + 12, next - at - 12) + "xyz";
         return Reseal(g.substr(0, at) + Section("SRCE", body) + g.substr(next));
     },
     "unread bytes at the end of the section"},
};

INSTANTIATE_TEST_SUITE_P(Archive, ArchiveFile, ::testing::ValuesIn(kFileCases),
                         [](const ::testing::TestParamInfo<FileCase>& i) { return std::string(i.param.name); });

TEST(Archive, UnknownSectionsAreSkipped)
{
    ThermDatabase original;
    Build(original);
    ThermDatabase db;
    EXPECT_EQ(LoadError(Reseal(SavedBytes(original) + Section("XTRA", "later data")), db), "");
    EXPECT_EQ(Evaluate(db, 1000.0), Evaluate(original, 1000.0));
}

// Damage the checksum does not see: a database whose indices point outside
// their arrays, stored as it is and refused when loaded.
struct IndexCase
{
    const char* name;
    std::function<void(ThermDatabase&)> damage;
    const char* expected;
};

void PrintTo(const IndexCase& c, std::ostream* os) { *os << c.name; }

using ArchiveIndex = ::testing::TestWithParam<IndexCase>;

TEST_P(ArchiveIndex, IsRefusedWithItsReason)
{
    ThermDatabase original;
    Build(original);
    GetParam().damage(original);
    ThermDatabase db;
    std::string error = LoadError(SavedBytes(original), db);
    EXPECT_NE(error.find(GetParam().expected), std::string::npos) << error;
}

TThermFkt& PhaseFunction(ThermDatabase& db, int i) { return *db.phases[0].functions->m_FktArray[i]; }
TThermTPolynom& SymbolPiece(ThermDatabase& db) { return *db.dataMgr.m_PolynomArray[0]; }

const IndexCase kIndexCases[] = {
    {"PieceWithoutNameTable", [](ThermDatabase& db) { PhaseFunction(db, 0).m_pDataMgr->m_PolynomArray[2]->m_nSymbolList = 7; },
     "symbol references without a symbol-name table (7)"},
    {"PieceNamingAMissingSymbol", [](ThermDatabase& db) { db.dataMgr.m_PolynomArray[2]->m_anSymbolIndex[0] = 5; },
     "a reference to a missing symbol function"},
    {"PieceWithAMissingLnSymbol",
     [](ThermDatabase& db) {
         SymbolPiece(db).m_bLnTerm = 1;
         SymbolPiece(db).m_nLnArgSymbol = 3;
     },
     "a reference to a missing symbol function"},
    {"PowerOutsideTheModel", [](ThermDatabase& db) { SymbolPiece(db).m_anPowerExp[0] = 31; }, "a power of T outside"},
    {"TooManyTerms", [](ThermDatabase& db) { SymbolPiece(db).m_nSymbolTerms = 17; }, "term counts outside"},
    {"SymbolNameOutsideItsTable", [](ThermDatabase& db) { db.symbols().m_FktArray[0]->m_pFktData->m_nNameIndex = 4; },
     "a symbol function without its name"},
    {"SymbolListHoldingAParameter",
     [](ThermDatabase& db) {
         db.symbols().m_FktArray[0]->m_nFktDataIndex = PhaseFunction(db, 0).m_nFktDataIndex;
     },
     "a symbol function without its name"},
    {"NameTablesOutOfStep", [](ThermDatabase& db) { db.dataMgr.m_SymbolNames2.RemoveAll(); }, "symbol-name tables"},
    {"ConstituentTextOutsideItsTable",
     [](ThermDatabase& db) { PhaseFunction(db, 1).m_pFktData->m_nSourceIndex = 40; }, "a constituent text outside"},
    {"UnknownSourceTable", [](ThermDatabase& db) { PhaseFunction(db, 1).m_pFktData->m_nSourceKind = 9; },
     "a constituent text outside"},
    {"UserTypeOutsideTheKeywords",
     [](ThermDatabase& db) {
         TThermFktData& d = *PhaseFunction(db, 1).m_pFktData;
         d.m_nSourceKind = 3;
         d.m_nSourceIndex = db.dataMgr.AddSourceText(3, "CR,FE:VA");
         d.m_nFktType = 10002;
     },
     "a parameter type outside the keyword table"},
    {"SpeciesOutsideThePhase", [](ThermDatabase& db) { PhaseFunction(db, 2).m_pFktData->m_nSpeciesIndex = 3; },
     "a species outside the phase's table"},
    {"MobilityWithoutItsSpecies", [](ThermDatabase& db) { PhaseFunction(db, 2).m_pFktData->m_nFktType = 50; },
     "a species outside the phase's table"},
    {"OrderOutsideTheModel", [](ThermDatabase& db) { PhaseFunction(db, 1).m_pFktData->m_nOrder = 65; },
     "an order outside 0..64"},
    {"RecordIndexOutsideTheRecords", [](ThermDatabase& db) { PhaseFunction(db, 3).m_nFktDataIndex = 77; },
     "function record index 77 outside"},
    {"PieceIndexOutsideThePieces", [](ThermDatabase& db) { PhaseFunction(db, 3).m_PolyIndex[0] = 99; },
     "piece index 99 outside"},
    {"ConstituentOutsideThePhase", [](ThermDatabase& db) { db.phases[0].phase->m_Constituents[0][1] = 7; },
     "constituent 7 outside"},
    {"ParameterOfAnotherElement",
     [](ThermDatabase& db) {
         db.dataMgr.AddElement(kit::Element("NI"));
         db.dataMgr.m_SourceTexts1[PhaseFunction(db, 2).m_pFktData->m_nSourceIndex] = "NI:VA";
     },
     "names a constituent the phase does not have"},
    {"KernelComplainsWhileBinding", [](ThermDatabase& db) { PhaseFunction(db, 1).m_pFktData->m_bDoSet = 1; },
     "binding it gave the message: *** error *** illegal y[]/x[]-pointer"},
    {"SiteRatioNotANumber", [](ThermDatabase& db) { db.phases[0].phase->m_SiteRatios[1] = std::nan(""); },
     "a site ratio that is not a number"},
    {"TemperatureLimitsReversed", [](ThermDatabase& db) { db.defaultTLow = 7000; }, "temperature limits"},
};

INSTANTIATE_TEST_SUITE_P(Archive, ArchiveIndex, ::testing::ValuesIn(kIndexCases),
                         [](const ::testing::TestParamInfo<IndexCase>& i) { return std::string(i.param.name); });

TEST(Archive, DamageNeverCrashesListingOrEvaluation)
{
    ThermDatabase original;
    Build(original);
    const std::string good = SavedBytes(original);
    std::mt19937 rng(11);
    int refusedByChecksum = 0, loaded = 0;
    for (int trial = 0; trial < 300; ++trial) {
        std::string m = good;
        m[24 + rng() % (m.size() - 24)] ^= static_cast<char>(1u << (rng() % 8));
        ThermDatabase db;
        refusedByChecksum += LoadError(m, db).find("checksum mismatch") != std::string::npos;
        // the same damage behind a fitting checksum: refused or harmless
        for (int k = 0; k < 2; ++k) m[24 + rng() % (m.size() - 24)] = static_cast<char>(rng());
        ThermDatabase db2;
        if (LoadError(Reseal(m), db2).empty()) {
            ++loaded;
            myCString listing;
            for (auto& rec : db2.phases) rec.functions->WriteOutFunktions(listing, 15);
            db2.symbols().WriteOutFunktions(listing, 15);
            if (!db2.phases.empty()) Evaluate(db2, 1000.0);
        }
    }
    EXPECT_EQ(refusedByChecksum, 300);
    EXPECT_GT(loaded, 0);  // some damage only changes numbers: the loader is not refusing everything
}

TEST(Archive, LoadsOnlyIntoAnEmptyDatabase)
{
    ThermDatabase original;
    Build(original);
    EXPECT_NE(LoadError(SavedBytes(original), original).find("loads only into an empty database"), std::string::npos);
}

// ---------------------------------------------------------------------------
// Saving

mode_t Mode(const std::string& path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0 ? st.st_mode & 07777 : 0;
}

TEST(ArchiveSave, KeepsTheModeOfTheFileItReplaces)
{
    ThermDatabase db;
    Build(db);
    std::string path = TempPath("mode.thdb"), error;
    for (mode_t mode : {mode_t(0640), mode_t(0604), mode_t(0600)}) {
        Spit(path, "old");
        ASSERT_EQ(chmod(path.c_str(), mode), 0);
        ASSERT_TRUE(saveDatabaseArchive(db, path, error)) << error;
        EXPECT_EQ(Mode(path), mode);
        EXPECT_NE(kit::Slurp(path), "old");
    }
    std::remove(path.c_str());
}

// A write that fails part way (here: the file-size limit, as a full disk
// would) leaves the existing file as it was and no temporary file behind.
TEST(ArchiveSave, AFailedWriteLeavesTheExistingFile)
{
    std::string dir = TempPath("failing");
    ASSERT_EQ(mkdir(dir.c_str(), 0700), 0);
    std::string path = dir + "/keep.thdb";
    Spit(path, "precious");
    pid_t child = fork();
    if (child == 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        struct rlimit limit = {1000, 1000};
        setrlimit(RLIMIT_FSIZE, &limit);
        ThermDatabase db;
        Build(db);
        std::string error;
        bool saved = saveDatabaseArchive(db, path, error);
        _exit(!saved && error.find("left as it was") != std::string::npos ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ(kit::Slurp(path), "precious");
    std::remove(path.c_str());
    EXPECT_EQ(rmdir(dir.c_str()), 0) << "a temporary file was left in " << dir;
}

TEST(ArchiveSave, ConcurrentWritersNeverLeaveAMixture)
{
    ThermDatabase db;
    Build(db);
    std::string path = TempPath("concurrent.thdb"), error;
    ASSERT_TRUE(saveDatabaseArchive(db, path, error)) << error;
    std::vector<pid_t> writers;
    for (int w = 0; w < 3; ++w) {
        pid_t child = fork();
        if (child == 0) {
            std::string e;
            bool ok = true;
            for (int k = 0; k < 30; ++k) ok = saveDatabaseArchive(db, path, e) && ok;
            _exit(ok ? 0 : 1);
        }
        writers.push_back(child);
    }
    int loads = 0;
    for (int k = 0; k < 60; ++k, ++loads) {
        ThermDatabase back;
        ASSERT_TRUE(loadDatabaseArchive(back, path, error)) << error;
    }
    for (pid_t child : writers) {
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "a writer reported a failure";
    }
    EXPECT_EQ(loads, 60);
    std::remove(path.c_str());
}

}  // namespace
