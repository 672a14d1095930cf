// Definition record of a parameter: 45 consecutive int32 fields, owned by the
// data manager and copied bytewise.
#ifndef THERMFUNCTIONS_TTHERMFKTDATA_H
#define THERMFUNCTIONS_TTHERMFKTDATA_H

#include <cstdint>
#include <type_traits>

struct TThermFktData
{
    int32_t m_nSourceKind = -1;        //!< source table (1, 2, 3) of the constituent text
    int32_t m_nNameIndex = -1;         //!< name-table index for types 100..102
    int32_t m_nFktType = -1;           //!< function type code
    int32_t m_nInteractionLevel = -1;  //!< (largest constituents per sublattice) - 1
    int32_t m_bDoSet = 0;              //!< belongs to the phase's do_ set
    int32_t m_nOrder = 0;              //!< order after ";" (Redlich-Kister power, ternary member)
    int32_t m_bRegular = 0;            //!< 1 regular ternary, 0 non-regular
    int32_t m_nSourceIndex = -1;       //!< entry in the source table
    int32_t m_nSpeciesIndex = -1;      //!< second species of mobility types; slot of user types
    int32_t m_bLinked = 0;             //!< site-fraction linking completed
    int32_t m_bDisabled = 0;           //!< values forced to zero
    int32_t m_nConstituents = 0;       //!< constituent entries over all sublattices
    int32_t m_nSublattices = 0;        //!< sublattices in the constituent text
    int32_t m_nMaxPerSublattice = 0;   //!< largest number of constituents in one sublattice
    int32_t m_nPerSublattice[8] = {0, 0, 0, 0, 0, 0, 0, 0};             //!< constituents per sublattice
    int32_t m_nConstituent[10] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0};        //!< Gibbs-model index; -1 wildcard
    int32_t m_nVarPos[10] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0};             //!< variable position; -1 none
    int32_t m_nInteractPos[3] = {-1, -1, -1};                           //!< first entry of interacting sublattices
};

static_assert(sizeof(TThermFktData) == 45 * sizeof(int32_t), "definition record is 45 int32 fields");
static_assert(std::is_trivially_copyable<TThermFktData>::value, "definition record is copied bytewise");

#endif
