// Magnetic Gibbs energy of the improved model with separate Curie and Neel
// temperatures (no antiferromagnetic factor), per mole of formula units:
//   G_mag = R*T*ln(beta + 1)*(g(T/TC) + g(T/NT)),
// beta, TC and NT being the composition-weighted sums of the BMAGN, TC and NT
// parameters, taken as they are (beta is not divided by anything).  A g of a
// non-positive temperature sum is 0.  With p the structure factor,
// D = 0.33471979 + 0.49649686*(1/p - 1) and
//   tau <= 1: g = 1 - [0.38438376/(p*tau)
//                 + 0.63570895*(1/p - 1)*(tau^3/6 + tau^9/135 + tau^15/600 + tau^21/1617)]/D
//   tau > 1:  g = -[tau^-7/21 + tau^-21/630 + tau^-35/2975 + tau^-49/8232]/D,
// the published form, in which all four low-temperature powers carry the
// factor 0.63570895*(1/p - 1) (g and dg/dtau are then continuous at tau = 1).
// A database selects the model by a magnetic type definition whose
// antiferromagnetic factor is 0.
#ifndef MODELS_XIONGMAGNETIC_H
#define MODELS_XIONGMAGNETIC_H

struct SumPartials;

namespace XiongMagnetic {
// g(tau) for structure factor p, with dg/dtau into g1 and d2g/dtau2 into g2 (tau > 0).
double g(double tau, double p, double& g1, double& g2);

// G_mag and its partials in (beta, TC, NT, T) into F (three sums), R in J/(mol K).
void partials(double beta, double TC, double NT, double T, double p, double R, SumPartials& F);
}  // namespace XiongMagnetic

#endif
