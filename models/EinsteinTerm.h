// Einstein model of the vibrational (lattice) Gibbs energy, per mole of
// formula units:
//   G_E = 1.5*R*theta + 3*R*T*ln(1 - exp(-theta/T)),  theta = exp(L),
// where L is the composition-weighted sum of the THETA parameters (which
// hold ln theta, so that mixing is done on the logarithm).  The first term
// is the zero-point energy; -T*d2G_E/dT2 is the Einstein heat capacity,
// which tends to 3R for T >> theta.
#ifndef MODELS_EINSTEINTERM_H
#define MODELS_EINSTEINTERM_H

struct SumPartials;

namespace EinsteinTerm {
// G_E and its partials in (L, T) into F (one sum), R in J/(mol K).
void partials(double L, double T, double R, SumPartials& F);
}  // namespace EinsteinTerm

#endif
