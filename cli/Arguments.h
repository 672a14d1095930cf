// Command line of thermfn: the command, the database, the options, and the
// parsing of temperature lists and numbers.  Everything here works on text
// alone; names are checked against the database later (Composition.h,
// Commands.cpp), once it is loaded.
#ifndef CLI_ARGUMENTS_H
#define CLI_ARGUMENTS_H

#include <string>
#include <utility>
#include <vector>

#include "cli/CliError.h"
#include "cli/Composition.h"

namespace thermfn {

enum class Command { Help, Phases, List, Function, Eval, Bench };
enum class Engine { Plan, Kernel };
enum class Format { Table, Json, Csv };

struct Options
{
    Command command = Command::Help;
    std::string database;                    //!< TDB file
    std::string functionName;                //!< for "function"
    std::string phase;                       //!< --phase
    std::vector<double> temperatures;        //!< --T, all occurrences in order [K]
    std::vector<CompositionSpec> compositions; //!< --y, in order
    double pressure = 101325.0;              //!< --P [Pa]
    Format format = Format::Table;
    bool hessian = false;                    //!< --hessian
    bool orderedPartOnly = false;            //!< --ordered-part-only
    std::string cachePath;                   //!< --cache
    Engine engine = Engine::Plan;            //!< --engine: the compiled plan, or the kernel path for comparison
    size_t benchPoints = 100000;             //!< bench --points
    int benchOrder = 2;                      //!< bench --order
    bool varyT = false;                      //!< bench --vary-T: a temperature per point
    double varyLow = 0.0, varyHigh = 0.0;    //!< its range [K]
    //! --set NAME=value, in order: values of names the database uses without defining them
    std::vector<std::pair<std::string, double>> symbolValues;
    bool undefinedAsZero = false;            //!< --undefined-as-zero
};

// Parses the arguments after the program name.  Throws CliError (exit code 2)
// for anything malformed; an empty list is an error too (the caller prints
// the usage text), --help anywhere gives Command::Help.
Options parseArguments(const std::vector<std::string>& args);

// "T" or "start:stop:step": stop is included when the steps reach it, to
// 1e-9 of a step so that rounding in (stop - start) / step cannot drop it;
// step > 0 and start <= stop.  Every value must be positive.
std::vector<double> parseTemperatures(const std::string& spec);

// Throws CliError (exit code 2) naming the first temperature outside [low, high].
void checkTemperatureLimits(const std::vector<double>& temperatures, double low, double high);

std::string usageText();

}  // namespace thermfn

#endif
