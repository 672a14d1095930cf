// The thermodynamic-function module: power table, temperature-range
// polynomials, function records and objects, function managers and the
// magnetic function.
#ifndef THERMFUNCTIONS_VXTHERMFUNCTIONS_H
#define THERMFUNCTIONS_VXTHERMFUNCTIONS_H

#include "TMagnFkt.h"
#include "TTempArray.h"
#include "TThermFkt.h"
#include "TThermFktData.h"
#include "TThermFktMgr.h"
#include "TThermTPolynom.h"

#endif
