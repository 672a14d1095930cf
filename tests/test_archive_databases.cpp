// Cache files of databases the reader built from the published TDB files:
// write, read back, and compare listings, phase data and evaluated energies.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>

#include "database/DatabaseArchive.h"
#include "models/PhaseEvaluator.h"
#include "support/Differences.h"
#include "support/TdbTestKit.h"

namespace {

std::string Listing(ThermDatabase& db)
{
    myCString out;
    db.symbols().WriteOutFunktions(out, 7);
    for (auto& rec : db.phases) rec.functions->WriteOutFunktions(out, 7);
    return out.m_pszBuffer;
}

TEST(ArchiveOfReadDatabases, RoundTripKeepsListingsPhasesAndEnergies)
{
    for (const char* file : {"crfe_bcc_magnetic.tdb", "CrFeNb_Jacob2016.tdb", "alnipt.tdb", "diffusion.tdb",
                             "crtiv_ghosh.tdb", "COST507.tdb"}) {
        kit::Loaded src = kit::ReadShared(file);
        ASSERT_TRUE(src.ok) << file;
        const std::string path =
            ::testing::TempDir() + "thermkernel_" + std::to_string(getpid()) + "_" + file + ".cache";
        std::string error;
        ASSERT_TRUE(saveDatabaseArchive(*src.db, path, error)) << error;
        ThermDatabase back;
        ASSERT_TRUE(loadDatabaseArchive(back, path, error)) << file << ": " << error;
        std::remove(path.c_str());

        EXPECT_EQ(Listing(*src.db), Listing(back)) << file;
        EXPECT_EQ(back.sourceName, src.db->sourceName);
        ASSERT_EQ(src.db->phases.size(), back.phases.size());
        EXPECT_EQ(src.db->defaultTLow, back.defaultTLow);
        EXPECT_EQ(src.db->defaultTHigh, back.defaultTHigh);
        int compared = 0;
        for (size_t p = 0; p < back.phases.size(); ++p) {
            CVxPhase& a = *src.db->phases[p].phase;
            CVxPhase& b = *back.phases[p].phase;
            EXPECT_STREQ(a.m_szPhaseName, b.m_szPhaseName);
            EXPECT_EQ(a.m_bEvaluable, b.m_bEvaluable);
            EXPECT_EQ(a.m_NotEvaluableWhy, b.m_NotEvaluableWhy);
            EXPECT_EQ(a.m_dMagneticP, b.m_dMagneticP);
            EXPECT_EQ(a.m_dAFMFactor, b.m_dAFMFactor);
            EXPECT_EQ(a.m_SiteRatios, b.m_SiteRatios);
            if (!a.m_bEvaluable || compared >= 12) continue;
            PhaseEvaluator ea(*src.db, static_cast<int>(p)), eb(back, static_cast<int>(p));
            std::vector<double> y = fd::InteriorComposition(ea);
            PhaseProperties ra, rb;
            ea.setTemperature(1000.0, 101325.0);
            bool okA = ea.evaluate(y.data(), 2, ra);
            eb.setTemperature(1000.0, 101325.0);
            bool okB = eb.evaluate(y.data(), 2, rb);
            ASSERT_EQ(okA, okB) << file << " " << a.m_szPhaseName;
            if (!okA) continue;
            // the same records and pieces in the same order: bit-identical results
            EXPECT_EQ(ra.G, rb.G) << file << " " << a.m_szPhaseName;
            EXPECT_EQ(ra.dG_dy, rb.dG_dy) << file << " " << a.m_szPhaseName;
            EXPECT_EQ(ra.hessian, rb.hessian) << file << " " << a.m_szPhaseName;
            ++compared;
        }
        EXPECT_GT(compared, 0) << file;
    }
}

}  // namespace
