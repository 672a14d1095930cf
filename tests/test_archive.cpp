// Cache files of whole databases: foreign, damaged and inconsistent files
// refused with a message; saving atomically.  (Round trips of the databases
// the reader builds: test_archive_databases.cpp.)
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

TEST(Archive, DamagedFilesAreRefusedWithTheirReason)
{
    ThermDatabase original;
    Build(original);
    const std::string g = SavedBytes(original);
    auto with = [](std::string b, size_t at, uint64_t value, int width) { return PutBig(b, at, value, width), b; };
    auto part = [&g](const char* tag, const char* next) {
        return g.substr(FindSection(g, tag), FindSection(g, next) - FindSection(g, tag));
    };
    std::string flipped = g;
    flipped[flipped.size() / 2] ^= 0x10;
    const size_t srce = FindSection(g, "SRCE"), elem = FindSection(g, "ELEM");
    const struct
    {
        const char* name;
        std::string bytes;
        const char* expected;  // part of the message
    } cases[] = {
        {"foreign file", "$ a TDB file, not a cache\n", "not a database cache file"},
        {"older version", with(g, 4, 3, 4), "version 3 is not supported (expected 4)"},
        {"cut short", g.substr(0, g.size() - 100), "truncated or damaged"},
        {"header only", g.substr(0, 20), "truncated or damaged"},
        {"one bit flipped", flipped, "checksum mismatch"},
        {"section missing", Reseal(g.substr(0, FindSection(g, "SYMB")) + g.substr(FindSection(g, "PHAS"))),
         "no section SYMB"},
        {"section twice", Reseal(g + part("SRCE", "ELEM")), "section SRCE twice"},
        {"section longer than the file", Reseal(g + Section("XTRA", "abc").substr(0, 13)), "longer than the file"},
        {"bytes left in a section",
         Reseal(g.substr(0, srce) + Section("SRCE", g.substr(srce + 12, elem - srce - 12) + "xyz") + g.substr(elem)),
         "unread bytes at the end of the section"},
    };
    for (const auto& c : cases) {
        ThermDatabase db;
        std::string error = LoadError(c.bytes, db);
        EXPECT_NE(error.find(c.expected), std::string::npos) << c.name << ": " << error;
    }
    // sections of a later version are skipped; a database that is not empty is refused
    ThermDatabase db;
    EXPECT_EQ(LoadError(Reseal(g + Section("XTRA", "later data")), db), "");
    EXPECT_EQ(Evaluate(db, 1000.0), Evaluate(original, 1000.0));
    EXPECT_NE(LoadError(g, original).find("loads only into an empty database"), std::string::npos);
}

TThermFkt& PhaseFunction(ThermDatabase& db, int i) { return *db.phases[0].functions->m_FktArray[i]; }
TThermTPolynom& SymbolPiece(ThermDatabase& db) { return *db.dataMgr.m_PolynomArray[0]; }

// Damage the checksum does not see: a database whose indices point outside
// their arrays, stored as it is and refused when loaded.
TEST(Archive, InconsistentDatabasesAreRefusedWithTheirReason)
{
    using Db = ThermDatabase;
    const struct
    {
        const char* name;
        std::function<void(ThermDatabase&)> damage;
        const char* expected;
    } cases[] = {
        {"piece without name table", [](Db& db) { PhaseFunction(db, 0).m_pDataMgr->m_PolynomArray[2]->m_nSymbolList = 7; },
         "symbol references without a symbol-name table (7)"},
        {"piece naming a missing symbol", [](Db& db) { db.dataMgr.m_PolynomArray[2]->m_anSymbolIndex[0] = 5; },
         "a reference to a missing symbol function"},
        {"piece with a missing ln symbol", [](Db& db) { SymbolPiece(db).m_bLnTerm = 1, SymbolPiece(db).m_nLnArgSymbol = 3; },
         "a reference to a missing symbol function"},
        {"power outside the model", [](Db& db) { SymbolPiece(db).m_anPowerExp[0] = 31; }, "a power of T outside"},
        {"too many terms", [](Db& db) { SymbolPiece(db).m_nSymbolTerms = 17; }, "term counts outside"},
        {"symbol name outside its table", [](Db& db) { db.symbols().m_FktArray[0]->m_pFktData->m_nNameIndex = 4; },
         "a symbol function without its name"},
        {"symbol list holding a parameter",
         [](Db& db) { db.symbols().m_FktArray[0]->m_nFktDataIndex = PhaseFunction(db, 0).m_nFktDataIndex; },
         "a symbol function without its name"},
        {"name tables out of step", [](Db& db) { db.dataMgr.m_SymbolNames2.RemoveAll(); }, "symbol-name tables"},
        {"constituent text outside its table", [](Db& db) { PhaseFunction(db, 1).m_pFktData->m_nSourceIndex = 40; },
         "a constituent text outside"},
        {"unknown source table", [](Db& db) { PhaseFunction(db, 1).m_pFktData->m_nSourceKind = 9; },
         "a constituent text outside"},
        {"user type outside the keywords",
         [](Db& db) {
             TThermFktData& d = *PhaseFunction(db, 1).m_pFktData;
             d.m_nSourceKind = 3;
             d.m_nSourceIndex = db.dataMgr.AddSourceText(3, "CR,FE:VA");
             d.m_nFktType = 10002;
         },
         "a parameter type outside the keyword table"},
        {"species outside the phase", [](Db& db) { PhaseFunction(db, 2).m_pFktData->m_nSpeciesIndex = 3; },
         "a species outside the phase's table"},
        {"mobility without its species", [](Db& db) { PhaseFunction(db, 2).m_pFktData->m_nFktType = 50; },
         "a species outside the phase's table"},
        {"order outside the model", [](Db& db) { PhaseFunction(db, 1).m_pFktData->m_nOrder = 65; },
         "an order outside 0..64"},
        {"record index outside the records", [](Db& db) { PhaseFunction(db, 3).m_nFktDataIndex = 77; },
         "function record index 77 outside"},
        {"piece index outside the pieces", [](Db& db) { PhaseFunction(db, 3).m_PolyIndex[0] = 99; },
         "piece index 99 outside"},
        {"constituent outside the phase", [](Db& db) { db.phases[0].phase->m_Constituents[0][1] = 7; },
         "constituent 7 outside"},
        {"parameter of another element",
         [](Db& db) {
             db.dataMgr.AddElement(kit::Element("NI"));
             db.dataMgr.m_SourceTexts1[PhaseFunction(db, 2).m_pFktData->m_nSourceIndex] = "NI:VA";
         },
         "names a constituent the phase does not have"},
        {"kernel complains while binding", [](Db& db) { PhaseFunction(db, 1).m_pFktData->m_bDoSet = 1; },
         "binding it gave the message: *** error *** illegal y[]/x[]-pointer"},
        {"site ratio not a number", [](Db& db) { db.phases[0].phase->m_SiteRatios[1] = std::nan(""); },
         "a site ratio that is not a number"},
        {"temperature limits reversed", [](Db& db) { db.defaultTLow = 7000; }, "temperature limits"},
    };
    for (const auto& c : cases) {
        ThermDatabase original;
        Build(original);
        c.damage(original);
        ThermDatabase db;
        std::string error = LoadError(SavedBytes(original), db);
        EXPECT_NE(error.find(c.expected), std::string::npos) << c.name << ": " << error;
    }
}

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
