// Two-state (liquid-amorphous) model, per mole of formula units:
//   G_2s = -R*T*ln(1 + exp(-DG/(R*T))),
// DG being the composition-weighted sum of the GD parameters (the Gibbs
// energy of forming the liquid-like state from the amorphous one).  It tends
// to 0 for DG >> RT and is -R*T*ln 2 at DG = 0.  Written with log1p of the
// exponential of a non-positive argument, so that it neither overflows nor
// loses its small values for any |DG|/(RT).
#ifndef MODELS_TWOSTATETERM_H
#define MODELS_TWOSTATETERM_H

struct SumPartials;

namespace TwoStateTerm {
// G_2s and its partials in (DG, T) into F (one sum), R in J/(mol K).
void partials(double DG, double T, double R, SumPartials& F);
}  // namespace TwoStateTerm

#endif
