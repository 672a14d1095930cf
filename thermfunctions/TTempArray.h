// Process-wide table of the powers of the current temperature.
// Element n + 31 holds T^n for n = -30 ... +30; element 0 is never written.
#ifndef THERMFUNCTIONS_TTEMPARRAY_H
#define THERMFUNCTIONS_TTEMPARRAY_H

#include "foundation/mfc_templates.h"

class TTempArray : public myCArray<double, double>
{
public:
    double m_dTLnT = 0.0;  //!< T*ln(T) of the last CalcTValues [K]

    TTempArray();
    ~TTempArray();

    // Fills the table for temperature T [K]: one pow call per power.
    void CalcTValues(double T);
};

//! The powers of the temperature of the last CalcTValues; shared by all evaluation.
extern TTempArray TK;

#endif
