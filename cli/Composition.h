// Site fractions as the user writes them ("FE=0.3,NI=0.7:VA=1") and their
// translation into the variable order of a phase.
#ifndef CLI_COMPOSITION_H
#define CLI_COMPOSITION_H

#include <string>
#include <utility>
#include <vector>

namespace thermfn {

struct CompositionSpec
{
    std::string text;  //!< as written, for messages
    //! per sublattice, the named constituents (upper case) with their fractions, in the order written
    std::vector<std::vector<std::pair<std::string, double>>> sublattices;
};

//! Largest deviation of a sublattice's sum from 1 that is accepted.
constexpr double kSumTolerance = 1e-9;

// Parses "A=0.3,B=0.7:VA=1": sublattices separated by ':', NAME=value pairs by
// ','.  Checks what the text alone decides: syntax, finite non-negative
// values, no name twice in a sublattice, each sublattice summing to 1 within
// kSumTolerance.  Throws CliError (exit code 2).
CompositionSpec parseComposition(const std::string& text);

// The site fractions of spec in variable order for a phase whose sublattices
// hold constituents (names, in the phase's order); unnamed constituents get 0.
// Throws CliError (exit code 2) for a different number of sublattices or a
// name the sublattice does not hold.  Names compare case-insensitively.
std::vector<double> resolveComposition(const CompositionSpec& spec, const std::string& phaseName,
                                       const std::vector<std::vector<std::string>>& constituents);

}  // namespace thermfn

#endif
