// Cache files of whole databases: round trip, and damaged or foreign files.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "database/DatabaseArchive.h"
#include "database/ThermDatabase.h"
#include "support/PhaseTestKit.h"

namespace {

std::string TempPath(const std::string& name)
{
    return ::testing::TempDir() + "thermkernel_" + std::to_string(getpid()) + "_" + name;
}

std::string Slurp(const std::string& path)
{
    std::ifstream f(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
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

TEST(Archive, ForeignDamagedAndTruncatedFilesGiveMessages)
{
    ThermDatabase original;
    Build(original);
    std::string path = TempPath("damaged.thdb"), error;
    ASSERT_TRUE(saveDatabaseArchive(original, path, error));
    const std::string good = Slurp(path);

    Spit(path, "$ a TDB file, not a cache\n");
    ThermDatabase db1;
    EXPECT_FALSE(loadDatabaseArchive(db1, path, error));
    EXPECT_NE(error.find("not a database cache file"), std::string::npos) << error;

    std::string v2 = good;
    v2[7] = 2;  // version 2
    Spit(path, v2);
    ThermDatabase db2;
    EXPECT_FALSE(loadDatabaseArchive(db2, path, error));
    EXPECT_NE(error.find("version 2 is not supported"), std::string::npos) << error;

    for (size_t n = 8; n < good.size(); n += 5) {
        Spit(path, good.substr(0, n));
        ThermDatabase db;
        EXPECT_FALSE(loadDatabaseArchive(db, path, error)) << "cut at " << n;
        EXPECT_NE(error.find(path), std::string::npos);
    }
    std::mt19937 rng(11);
    for (int trial = 0; trial < 300; ++trial) {
        std::string m = good;
        for (int k = 0; k < 2; ++k) m[8 + rng() % (m.size() - 8)] = static_cast<char>(rng());
        Spit(path, m);
        ThermDatabase db;
        if (loadDatabaseArchive(db, path, error) && !db.phases.empty()) Evaluate(db, 1000.0);  // must not crash
    }
    ThermDatabase notEmpty;
    Build(notEmpty);
    Spit(path, good);
    EXPECT_FALSE(loadDatabaseArchive(notEmpty, path, error));
    std::remove(path.c_str());
}

TEST(Archive, FailedSaveLeavesTheExistingFile)
{
    ThermDatabase db;
    Build(db);
    std::string path = TempPath("keep.thdb"), error;
    Spit(path, "precious");
    ASSERT_EQ(mkdir((path + ".tmp").c_str(), 0700), 0);  // the temporary file cannot be created
    EXPECT_FALSE(saveDatabaseArchive(db, path, error));
    EXPECT_NE(error.find(".tmp"), std::string::npos) << error;
    EXPECT_EQ(Slurp(path), "precious");
    rmdir((path + ".tmp").c_str());
    std::remove(path.c_str());
}

}  // namespace
