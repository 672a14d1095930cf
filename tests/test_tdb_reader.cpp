// The database reader on the published databases and on small snippets: what
// each file gives and how expressions map onto the terms of a piece (the
// published unaries are checked through the phases, test_phase_databases.cpp).
// How ranges chain is seen by the coverage and range-refusal tests
// (test_temperature_coverage, test_phase_evaluator), the piece chosen at a
// common limit and the on-demand pass by test_fkt_evaluation.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <string>
#include <vector>

#include "support/TdbTestKit.h"

namespace {

using kit::Listing;
using kit::ReadShared;
using kit::ReadText;

//! The listing of the parameter with this header, "(none)" when the list has none.
std::string ListingOf(TThermFktMgr& list, const std::string& header)
{
    TThermFkt* f = kit::FindParameter(list, header);
    return f ? Listing(*f) : "(none)";
}

TEST(TdbFiles, EveryPublishedDatabaseLoadsWithTheExpectedContent)
{
    struct
    {
        const char* file;
        int elements, species, functions, phases, parameters, errors;
    } cases[] = {{"pbsn.tdb", 4, 0, 6, 3, 10, 0},          {"cumg.tdb", 4, 0, 4, 5, 15, 0},
                 {"crtiv_ghosh.tdb", 5, 0, 15, 6, 96, 0},  {"CrFeNb_Jacob2016.tdb", 5, 0, 10, 7, 112, 0},
                 {"diffusion.tdb", 25, 0, 0, 1, 26, 0},    {"crfe_bcc_magnetic.tdb", 3, 0, 4, 1, 7, 0},
                 {"femn.tdb", 4, 0, 41, 1, 9, 0},          {"alnipt.tdb", 5, 0, 177, 14, 222, 81},
                 {"COST507.tdb", 29, 31, 116, 243, 1872, 23}};
    for (const auto& e : cases) {
        SCOPED_TRACE(e.file);
        kit::Loaded l = ReadShared(e.file);
        ASSERT_TRUE(l.ok);
        EXPECT_EQ((std::vector<int>{l.report.elements, l.report.species, l.report.functions, l.report.phases,
                                    l.report.parameters, l.report.errorCount(), static_cast<int>(l.db->phases.size())}),
                  (std::vector<int>{e.elements, e.species, e.functions, e.phases, e.parameters, e.errors, e.phases}))
            << l.diagnostics();
        for (auto& rec : l.db->phases)  // a file without errors gives only evaluable phases
            EXPECT_TRUE(e.errors > 0 || rec.phase->m_bEvaluable) << rec.phase->m_NotEvaluableWhy;
    }
    // BM is the magnetic moment (type BMAGN); L is a Gibbs-energy term listed as G
    kit::Loaded l = ReadShared("crfe_bcc_magnetic.tdb");
    TThermFktMgr& bcc = *l.phase("BCC_A2").functions;
    EXPECT_EQ(ListingOf(bcc, "TC(BCC_A2,CR:VA;0)"), "TC(BCC_A2,CR:VA;0): \n1 -311.5; 6000 N ");
    ASSERT_NE(kit::FindParameter(bcc, "BMAGN(BCC_A2,FE:VA;0)"), nullptr);
    EXPECT_EQ(ListingOf(bcc, "G(BCC_A2,CR,FE:VA;0)"), "G(BCC_A2,CR,FE:VA;0): \n1 +1000; 10000 N ");
    EXPECT_EQ(kit::FindParameter(bcc, "G(BCC_A2,CR,FE:VA;0)")->m_pFktData->m_nInteractionLevel, 1);
    EXPECT_EQ(ListingOf(bcc, "G(BCC_A2,CR:VA;0)"), "G(BCC_A2,CR:VA;0): \n1 +1*GBCCCR#; 10000 N ");
}

TEST(TdbFiles, MultiSublatticePhasesAndReciprocalParameters)
{
    kit::Loaded l = ReadShared("CrFeNb_Jacob2016.tdb");
    ASSERT_TRUE(l.ok);
    auto& mu = l.phase("MU_PHASE");
    EXPECT_EQ(mu.phase->m_nSublatticeCount, 4);
    const double sites[] = {1, 4, 2, 6};
    for (int s = 0; s < 4; ++s) EXPECT_DOUBLE_EQ(mu.phase->m_SiteRatios[static_cast<size_t>(s)], sites[s]);
    TThermFkt* rec = kit::FindParameter(*mu.functions, "G(MU_PHASE,CR,FE:NB:NB:CR,FE;0)");
    ASSERT_NE(rec, nullptr);
    EXPECT_EQ(rec->m_pFktData->m_nInteractPos[0], 0);
    EXPECT_EQ(rec->m_pFktData->m_nInteractPos[1], 4);
    // the liquid name carries the code suffix ":L", which is not part of the name
    EXPECT_GE(l.db->findPhase("LIQUID"), 0);
    auto& fcc = l.phase("FCC_A1");
    EXPECT_DOUBLE_EQ(fcc.phase->m_dMagneticP, 0.28);
    EXPECT_DOUBLE_EQ(fcc.phase->m_dAFMFactor, -3.0);
    // "FE%" marks a major constituent; the name is FE
    EXPECT_GE(fcc.gibbs->GetElementIndex("FE"), 0);
}

TEST(TdbFiles, WildcardMobilityParametersAreExpanded)
{
    kit::Loaded l = ReadShared("diffusion.tdb");
    ASSERT_TRUE(l.ok);
    auto& hcp = l.phase("HCP_A3");
    // the file's 26 parameters: MQ(HCP_A3&X,*:VA) ones, each expanded over the 8 constituents of
    // sublattice 1 (less those the file gives explicitly, which are kept), and explicit ones
    std::ifstream in(std::string(THERM_SHARED_DB_DIR) + "/diffusion.tdb");
    std::string line;
    int wildcardParameters = 0;
    while (std::getline(in, line))
        if (line.find("PARA MQ(") != std::string::npos && line.find(",*:") != std::string::npos) ++wildcardParameters;
    EXPECT_GT(wildcardParameters, 0);
    EXPECT_EQ(hcp.functions->m_FktArray.m_nSize, l.report.wildcardsGenerated + 26 - wildcardParameters);
    EXPECT_LE(l.report.wildcardsGenerated, 8 * wildcardParameters);
    for (int i = 0; i < hcp.functions->m_FktArray.m_nSize; ++i)
        EXPECT_EQ(hcp.functions->m_FktArray[i]->HasWildCardElements(), 0);
    // ",," stands for the database's default limits; R*T*LN(x), whose derivative
    // the piece would drop, is a tree shared by every expanded parameter
    EXPECT_EQ(ListingOf(*hcp.functions, "MQ(HCP_A3&AG,AG:VA;0)"),
              "MQ(HCP_A3&AG,AG:VA;0): \n298.15 +1*MQ_HCP_A3_AG___VA_R1#; 6000 N ")
        << l.diagnostics();
    // mobility parameters of different species are no duplicates
    EXPECT_EQ(l.report.duplicatePairs, 0);
    EXPECT_EQ(l.db->app.AllText().find("detected twice"), std::string::npos);
}

TEST(TdbFiles, PartitionedPhasesAndUnsupportedModels)
{
    kit::Loaded alnipt = ReadShared("alnipt.tdb");
    ASSERT_TRUE(alnipt.ok);
    // FCC_L12 gets FCC_A1 as its do_ set; both refer to functions the file leaves undefined
    auto& l12 = alnipt.phase("FCC_L12");
    EXPECT_EQ(l12.phase->m_nModelType, 10);
    EXPECT_STREQ(l12.phase->m_szDoName, "FCC_A1");
    EXPECT_FALSE(l12.phase->m_bEvaluable);
    EXPECT_NE(l12.phase->m_NotEvaluableWhy.find("G(FCC_L12,NI:NI:AL:PT:VA;0)"), std::string::npos);
    EXPECT_FALSE(alnipt.phase("FCC_A1").phase->m_bEvaluable);
    // wildcards in four of five sublattices were expanded
    EXPECT_GT(alnipt.report.wildcardsGenerated, 500);
    const tdb::Diagnostic* d = alnipt.find("undefined function 'VA41'");
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(d->line, 272);
    EXPECT_EQ(d->command, "FUNCTION GAL2NIPT");
    // constant-valued functions (UNTIER = 1/3) are taken as numbers where a product needs it
    EXPECT_EQ(alnipt.find("FUNCTION LLIQ1"), nullptr);
    EXPECT_TRUE(alnipt.phase("AL3NI1").phase->m_bEvaluable) << alnipt.phase("AL3NI1").phase->m_NotEvaluableWhy;

    kit::Loaded femn = ReadShared("femn.tdb");
    ASSERT_TRUE(femn.ok);
    // THETA, GD and NT belong to the liquid's Einstein, two-state and magnetic terms
    auto& liq = femn.phase("LIQUID");
    EXPECT_TRUE(liq.phase->m_bEvaluable) << liq.phase->m_NotEvaluableWhy;
    // "R#" without a FUNCTION R is the gas constant; a product of two functions is a tree
    EXPECT_EQ(femn.report.errorCount(), 0) << femn.diagnostics();
    EXPECT_NE(femn.db->expressions.treeOf(femn.db->dataMgr.FindSymbolFunction("G2STFCC2_R1")), nullptr);
}

TEST(TdbFiles, LargeDatabaseLoadsAndReportsWhatItCannotTake)
{
    kit::Loaded l = ReadShared("COST507.tdb");
    ASSERT_TRUE(l.ok);
    // RTLNP is commented out in the file: every gas parameter that uses it is refused
    const tdb::Diagnostic* d = l.find("undefined function 'RTLNP'");
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(d->line, 4553);  // where RTLNP stands
    EXPECT_FALSE(l.phase("GAS").phase->m_bEvaluable);
    // the file comments out ALSN2ZR5 but keeps one of its parameters: said, not an error
    const tdb::Diagnostic* orphan = l.find("unknown phase 'ALSN2ZR5'");
    ASSERT_NE(orphan, nullptr);
    EXPECT_EQ(orphan->severity, tdb::Diagnostic::Severity::Warning);
    EXPECT_EQ(orphan->line, 8724);
    EXPECT_TRUE(l.phase("FCC_A1").phase->m_bEvaluable) << l.phase("FCC_A1").phase->m_NotEvaluableWhy;
    EXPECT_TRUE(l.phase("LIQUID").phase->m_bEvaluable) << l.phase("LIQUID").phase->m_NotEvaluableWhy;
    // a stoichiometric compound with its two site ratios
    auto& al4c3 = l.phase("AL4C3");
    EXPECT_DOUBLE_EQ(al4c3.phase->m_SiteRatios[0], 4.0);
    EXPECT_DOUBLE_EQ(al4c3.phase->m_SiteRatios[1], 3.0);
}

// --- expressions onto the terms of a piece ---------------------------------

std::string Body(const std::string& expr)
{
    return "ELEMENT FE BCC_A2 55.847 4489 27.28 !\n"
           "FUNCTION G1 298.15 +1000; 6000 N !\n"
           "FUNCTION F 298.15 " +
           expr + "; 6000 N !\n";
}

TEST(TdbExpressions, TermsFoldAndLandInTheirSlots)
{
    struct Case
    {
        const char* expr;
        const char* listing;  // the piece as the kernel lists it
    };
    const Case cases[] = {
        {"3*8.31451*T", "298.15 +24.94353*T; 6000"},
        {"-2*G1#", "298.15 -2*G1#; 6000"},
        {"-2*G1", "298.15 -2*G1#; 6000"},
        {"+T*0.5", "298.15 +0.5*T; 6000"},
        {"1.5E-3*T**2", "298.15 +0.0015*T**(+2); 6000"},
        {"T**2+2*T**2-T**(-1)+4*T**-1", "298.15 +3*T**(+2)+3*T**(-1); 6000"},
        {"(1+T)*(1+T)", "298.15 +1+2*T+1*T**(+2); 6000"},
        {"-26.908*T*LN(T)+T*LOG(T)", "298.15 -25.908*T*LN(T); 6000"},
        {"100/T/2", "298.15 +50*T**(-1); 6000"},
        {"2**3*T", "298.15 +8*T; 6000"},
        {"R*T", "298.15 +8.3145*T; 6000"},
        // the piece would drop the temperature derivatives of its LN, EXP and
        // T*P terms: such ranges become trees, which a piece refers to
        {"R*T*LN(2)", "298.15 +1*F_R1#; 6000"},
        {"R*T*LN(G1#)", "298.15 +1*F_R1#; 6000"},
        {"3*T*P", "298.15 +1*F_R1#; 6000"},
        // a constant function makes LN and EXP of it constants
        {"2*LN(G1#)", "298.15 +13.815510558; 6000"},
        {"LN(2.718281828459045)*5", "298.15 +5; 6000"},
        {"2E-6*P", "298.15 +2e-06*P; 6000"},
        {"0", "298.15 0.0; 6000"},
        {"+.5-.25", "298.15 +0.25; 6000"},
    };
    for (const Case& c : cases) {
        kit::Loaded l = ReadText(Body(c.expr));
        ASSERT_EQ(l.report.errorCount(), 0) << c.expr << "\n" << l.diagnostics();
        myCString out;
        kit::SymbolPiece(*l.db, "F").WriteOutPoly(out, 0, &l.db->dataMgr);
        EXPECT_STREQ(out.m_pszBuffer, c.listing) << c.expr;
    }
}

TEST(TdbCommands, AbbreviationsCaseAndBookkeepingCommands)
{
    kit::Loaded l = kit::ReadCorpus("abbreviations.tdb");
    EXPECT_EQ(l.report.errorCount(), 0) << l.diagnostics();
    EXPECT_EQ(l.report.warningCount(), 0) << l.diagnostics();
    EXPECT_DOUBLE_EQ(l.db->defaultTLow, 200.0);
    EXPECT_DOUBLE_EQ(l.db->defaultTHigh, 4000.0);
    EXPECT_EQ(kit::SymbolPiece(*l.db, "GFE").m_dTLow, 200.0);
    EXPECT_EQ(kit::SymbolPiece(*l.db, "GFE").m_dTHigh, 4000.0);
    auto& bcc = l.phase("BCC_A2");
    ASSERT_NE(kit::FindParameter(*bcc.functions, "G(BCC_A2,FE:VA;0)"), nullptr);
    // a species counts its atoms for the per-atom quantities
    int fe2 = bcc.gibbs->GetElementIndex("FE2");
    ASSERT_GE(fe2, 0);
    EXPECT_DOUBLE_EQ(bcc.gibbs->m_ElementArray[fe2].m_dAtoms, 2.0);
    EXPECT_DOUBLE_EQ(bcc.gibbs->m_ElementArray[bcc.gibbs->GetElementIndex("VA")].m_dAtoms, 0.0);
}

}  // namespace
