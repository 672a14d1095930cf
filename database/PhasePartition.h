// An ordered phase and its disordered part (a TYPE_DEFINITION ... DIS_PART):
// how the ordered phase's sublattices map onto the disordered phase's, the
// checks that the pairing fits the partitioned model, and the do_ set that
// carries the disordered phase's parameters inside the ordered phase.
//
// Mapping.  The disordered phase has one sublattice (substitutional) or two
// (substitutional, then interstitial).  With two, the ordered phase's last
// sublattice is the interstitial one and maps one to one onto the disordered
// second sublattice; every other ordered sublattice is substitutional and
// maps onto the disordered first one:
//   x_i = sum_s a_s y_si / sum_s a_s   (s over the substitutional sublattices).
// Vacancies on a substitutional sublattice are a constituent of x like any
// other.  Every ordered constituent must have its place in the disordered
// sublattice it maps onto; the disordered phase may have more constituents
// (their x is then 0).  One ordered formula unit holds `scale` disordered formula units:
// scale = sum_s a_s / (sites of the disordered first sublattice).
#ifndef DATABASE_PHASEPARTITION_H
#define DATABASE_PHASEPARTITION_H

#include <string>
#include <vector>

class ThermDatabase;

struct PhasePartition
{
    int ordered = -1;                  //!< phase index of the ordered phase
    int disordered = -1;               //!< phase index of its disordered part
    std::vector<int> substitutional;   //!< ordered sublattices that map onto the disordered first one
    int interstitial = -1;             //!< ordered sublattice mapping onto the disordered second, -1 for none
    double substitutionalSites = 0.0;  //!< sum of their site ratios [sites per ordered formula unit]
    double scale = 1.0;                //!< disordered formula units per ordered formula unit
};

// Fills partition for the pair; returns "" when the pair fits the model, else
// the reason it does not (a disordered phase of more than two sublattices, an
// ordered phase with no more sublattices than its disordered one, an
// interstitial constituent missing from the disordered second sublattice,
// site ratios that do not agree, an ordered constituent missing from the
// disordered first sublattice).
std::string planPartition(const ThermDatabase& db, int ordered, int disordered, PhasePartition& partition);

// Gives the ordered phase model code 10, the disordered phase's name for its
// do_ set and that phase's constituents as its do_ sublattices, and appends a
// copy of every parameter of the disordered phase's list to the ordered
// phase's list as a do_ parameter (own record and polynomials).  The
// disordered list must be complete (wildcards expanded); the ordered phase is
// set up and linked afterwards, as any phase.
void attachDisorderedPart(ThermDatabase& db, int ordered, int disordered);

// The partition of a phase that has a disordered part attached (model code 10
// and a do_ name the database knows); false for any other phase, with the
// reason in why when the pairing exists but does not fit.
bool findPartition(const ThermDatabase& db, int ordered, PhasePartition& partition, std::string& why);

#endif
