// Element (or species) record of the data manager and of the Gibbs models.
// Plain bytes: the element arrays copy it with memcpy when they grow.
#ifndef HOST_TDMGRELEMENTDATA_H
#define HOST_TDMGRELEMENTDATA_H

struct TDMGRElementData
{
    char m_szElementName[32];   //!< name, upper case, NUL-terminated (first member: the kernel reads it)
    char m_szReference[32];     //!< reference state ("FCC_A1", "BLANK", ...) for elements; "" for species
    double m_dMass;             //!< atomic or molar mass [g/mol]
    double m_dH298;             //!< H298 - H0 of the reference state [J/mol]
    double m_dS298;             //!< S298 of the reference state [J/mol/K]
    double m_dAtoms;            //!< atoms per formula unit of the species (0 for vacancies "VA")
    int m_bIsSpecies;           //!< 1 for a SPECIES entry, 0 for an ELEMENT entry
    int m_nCharge;              //!< charge of an ionic species, 0 otherwise
};

#endif
