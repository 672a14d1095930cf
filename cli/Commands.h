// The commands of thermfn.  Each takes a loaded database and writes its
// results to out; problems with the request throw CliError.
#ifndef CLI_COMMANDS_H
#define CLI_COMMANDS_H

#include <ostream>
#include <string>
#include <vector>

#include "cli/Arguments.h"
#include "cli/Output.h"

class ThermDatabase;

namespace thermfn {

// The whole program: parses args (without the program name), opens the
// database, runs the command.  Returns the exit code; messages go to err.
int run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

// Index of phase name in db; throws CliError (exit code 2) listing the phases when unknown.
int requirePhase(const ThermDatabase& db, const std::string& name);

void showPhases(ThermDatabase& db, std::ostream& out);
// phase empty: the symbol functions and every phase's list; otherwise that phase's list.
void showListing(ThermDatabase& db, const std::string& phase, std::ostream& out);
struct FunctionResults
{
    std::string name;  //!< as the database spells it
    std::vector<FunctionPoint> points;
};
// Values of the symbol function opts.functionName at opts.temperatures.
FunctionResults computeFunction(ThermDatabase& db, const Options& opts, std::ostream& err);
// The eval grid's layout: phase, variables and the resolved compositions (no
// points).  Throws CliError for an unknown or not evaluable phase and bad
// compositions.
EvalResults prepareGrid(ThermDatabase& db, const Options& opts);
class EvalWriter;
// Evaluates every point of the grid and hands it to writer as it comes (a
// refused point with its reason, also on err for the first hundred).  Stops
// early when out fails.  Returns the number of refused points.
size_t streamGrid(ThermDatabase& db, const Options& opts, const EvalResults& layout, EvalWriter& writer,
                  std::ostream& out, std::ostream& err);
// Times opts.benchPoints seeded random interior compositions of opts.phase and
// writes points per second (text or --json); notes go to err.
void runBench(ThermDatabase& db, const Options& opts, std::ostream& out, std::ostream& err);

}  // namespace thermfn

#endif
