#include "cli/Arguments.h"

#include <cctype>
#include <cmath>
#include <set>

#include "cli/Text.h"

namespace thermfn {

namespace {

// Largest grid a single --T range may produce: far beyond any sensible table,
// small enough that a typing slip (step 1e-9) fails at once instead of
// filling memory.
constexpr double kMaxRangePoints = 1e7;

const char* commandName(Command c)
{
    switch (c) {
    case Command::Phases: return "phases";
    case Command::List: return "list";
    case Command::Function: return "function";
    case Command::Eval: return "eval";
    case Command::Bench: return "bench";
    case Command::Help: break;
    }
    return "help";
}

// The options each command takes; anything else is refused rather than
// silently ignored, so that a misplaced option is noticed.
bool optionApplies(Command c, const std::string& option)
{
    if (option == "--cache" || option == "--set" || option == "--undefined-as-zero") return true;
    switch (c) {
    case Command::Phases: return false;
    case Command::List: return option == "--phase";
    case Command::Function: return option == "--T" || option == "--P" || option == "--json" || option == "--csv";
    case Command::Eval: return option != "--points" && option != "--order" && option != "--vary-T";
    case Command::Bench:
        return option == "--phase" || option == "--T" || option == "--P" || option == "--json" || option == "--engine" ||
               option == "--points" || option == "--order" || option == "--vary-T";
    case Command::Help: break;
    }
    return false;
}

}  // namespace

std::vector<double> parseTemperatures(const std::string& spec)
{
    const std::string where = "--T '" + spec + "'";
    std::vector<std::string> fields = split(spec, ':');
    if (fields.size() != 1 && fields.size() != 3)
        throw CliError(kExitUsage, where + ": expected a temperature or start:stop:step");
    std::vector<double> values;
    for (size_t i = 0; i < fields.size(); ++i) {
        static const char* names[] = {"start", "stop", "step"};
        values.push_back(parseNumber(fields[i], fields.size() == 1 ? where : where + ": " + names[i]));
    }
    for (size_t i = 0; i < values.size() && i < 2; ++i)
        if (!(values[i] > 0.0))
            throw CliError(kExitUsage,
                           where + ": expected temperatures in K above 0, got " + formatNumber("%g", values[i]));
    if (values.size() == 1) return values;

    double start = values[0], stop = values[1], step = values[2];
    if (!(step > 0.0)) throw CliError(kExitUsage, where + ": expected a step above 0, got " + formatNumber("%g", step));
    if (start > stop)
        throw CliError(kExitUsage, where + ": start " + formatNumber("%g", start) + " is above stop " +
                                       formatNumber("%g", stop));
    double intervals = (stop - start) / step;
    if (intervals + 1 > kMaxRangePoints)
        throw CliError(kExitUsage, where + ": gives more than 1e7 temperatures; expected a larger step");
    // The tolerance keeps the stop value when (stop - start) / step comes out
    // as 16.999999999999996 for a range that a person reads as 17 steps.
    size_t count = static_cast<size_t>(std::floor(intervals + 1e-9)) + 1;
    std::vector<double> temperatures(count);
    for (size_t i = 0; i < count; ++i) temperatures[i] = start + static_cast<double>(i) * step;
    if (std::fabs(temperatures.back() - stop) <= 1e-9 * step) temperatures.back() = stop;
    return temperatures;
}

void checkTemperatureLimits(const std::vector<double>& temperatures, double low, double high)
{
    for (double T : temperatures)
        if (!(T >= low && T <= high))
            throw CliError(kExitUsage, "temperature " + formatNumber("%g", T) +
                                           " K is outside the database's limits; expected " + formatNumber("%g", low) +
                                           " to " + formatNumber("%g", high) + " K");
}

Options parseArguments(const std::vector<std::string>& args)
{
    Options opts;
    for (const std::string& a : args)
        if (a == "--help" || a == "-h") return opts;
    if (!args.empty() && args[0] == "help") return opts;
    if (args.empty()) throw CliError(kExitUsage, "expected a command: phases, list, function, eval or bench");

    const std::string& name = args[0];
    if (name == "phases") opts.command = Command::Phases;
    else if (name == "list") opts.command = Command::List;
    else if (name == "function") opts.command = Command::Function;
    else if (name == "eval") opts.command = Command::Eval;
    else if (name == "bench") opts.command = Command::Bench;
    else throw CliError(kExitUsage, "unknown command '" + name + "'; expected phases, list, function, eval or bench");
    const std::string cmd = commandName(opts.command);

    std::vector<std::string> positional;
    std::set<std::string> seen;
    bool json = false, csv = false;
    for (size_t i = 1; i < args.size(); ++i) {
        std::string option = args[i], value;
        bool hasInlineValue = false;
        if (option.rfind("--", 0) != 0 || option == "--") {
            positional.push_back(option);
            continue;
        }
        size_t eq = option.find('=');
        if (eq != std::string::npos) {
            value = option.substr(eq + 1);
            option = option.substr(0, eq);
            hasInlineValue = true;
        }
        static const std::set<std::string> withValue = {"--phase",  "--T",    "--y",      "--P",     "--cache",
                                                        "--engine", "--points", "--order", "--vary-T", "--set"};
        static const std::set<std::string> flags = {"--json", "--csv", "--hessian", "--ordered-part-only",
                                                    "--undefined-as-zero"};
        if (!withValue.count(option) && !flags.count(option))
            throw CliError(kExitUsage, "unknown option " + option + " (see thermfn --help)");
        if (!optionApplies(opts.command, option))
            throw CliError(kExitUsage, "option " + option + " does not apply to " + cmd + " (see thermfn --help)");
        if (flags.count(option)) {
            if (hasInlineValue) throw CliError(kExitUsage, "option " + option + " takes no value");
            if (option == "--json") json = true;
            if (option == "--csv") csv = true;
            if (option == "--hessian") opts.hessian = true;
            if (option == "--ordered-part-only") opts.orderedPartOnly = true;
            if (option == "--undefined-as-zero") opts.undefinedAsZero = true;
            continue;
        }
        if (!hasInlineValue) {
            // A following option is never taken as the value: "--phase --json"
            // is a missing name, not a phase called "--json".
            if (i + 1 >= args.size() || args[i + 1].rfind("--", 0) == 0)
                throw CliError(kExitUsage, "option " + option + " expects a value");
            value = args[++i];
        }
        bool repeatable = option == "--T" || option == "--y" || option == "--set";
        if (!repeatable && !seen.insert(option).second)
            throw CliError(kExitUsage, "option " + option + " is given twice");
        if (option == "--phase") {
            if (trim(value).empty()) throw CliError(kExitUsage, "--phase expects a phase name");
            opts.phase = trim(value);
        } else if (option == "--T") {
            std::vector<double> t = parseTemperatures(value);
            opts.temperatures.insert(opts.temperatures.end(), t.begin(), t.end());
        } else if (option == "--y") {
            opts.compositions.push_back(parseComposition(value));
        } else if (option == "--P") {
            opts.pressure = parseNumber(value, "--P");
            if (!(opts.pressure > 0.0))
                throw CliError(kExitUsage,
                               "--P: expected a pressure in Pa above 0, got " + formatNumber("%g", opts.pressure));
        } else if (option == "--set") {
            size_t at = value.find('=');
            std::string name = trim(value.substr(0, at));
            if (at == std::string::npos || name.empty())
                throw CliError(kExitUsage, "--set '" + value + "': expected NAME=value");
            for (char& c : name) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
            opts.symbolValues.emplace_back(name, parseNumber(trim(value.substr(at + 1)), "--set " + name));
        } else if (option == "--cache") {
            if (value.empty()) throw CliError(kExitUsage, "--cache expects a file name");
            opts.cachePath = value;
        } else if (option == "--engine") {
            if (value == "plan") opts.engine = Engine::Plan;
            else if (value == "kernel") opts.engine = Engine::Kernel;
            else throw CliError(kExitUsage, "--engine: expected plan or kernel, got '" + value + "'");
        } else if (option == "--points") {
            const double n = parseNumber(value, "--points");
            if (!(n >= 1.0 && n <= 1e9 && n == std::floor(n)))
                throw CliError(kExitUsage, "--points: expected a whole number from 1 to 1e9, got '" + value + "'");
            opts.benchPoints = static_cast<size_t>(n);
        } else if (option == "--order") {
            if (value != "0" && value != "1" && value != "2")
                throw CliError(kExitUsage, "--order: expected 0, 1 or 2, got '" + value + "'");
            opts.benchOrder = value[0] - '0';
        } else if (option == "--vary-T") {
            std::vector<std::string> f = split(value, ':');
            if (f.size() != 2) throw CliError(kExitUsage, "--vary-T '" + value + "': expected lo:hi in K");
            opts.varyLow = parseNumber(f[0], "--vary-T: lo");
            opts.varyHigh = parseNumber(f[1], "--vary-T: hi");
            if (!(opts.varyLow > 0.0 && opts.varyLow <= opts.varyHigh))
                throw CliError(kExitUsage, "--vary-T '" + value + "': expected 0 < lo <= hi");
            opts.varyT = true;
        }
    }
    if (json && csv) throw CliError(kExitUsage, "--json and --csv exclude each other; expected one of them");
    opts.format = json ? Format::Json : csv ? Format::Csv : Format::Table;
    // The table is for reading; a matrix per row would not fit it.
    if (opts.hessian && opts.format == Format::Table)
        throw CliError(kExitUsage, "--hessian needs --json or --csv");

    size_t wanted = opts.command == Command::Function ? 2 : 1;
    if (positional.size() < wanted)
        throw CliError(kExitUsage, opts.command == Command::Function
                                       ? "function expects a database file and a function name"
                                       : cmd + " expects a database file");
    if (positional.size() > wanted)
        throw CliError(kExitUsage, "unexpected argument '" + positional[wanted] + "' for " + cmd);
    opts.database = positional[0];
    if (opts.command == Command::Function) opts.functionName = positional[1];

    if (opts.command == Command::Function || opts.command == Command::Eval) {
        if (opts.temperatures.empty()) throw CliError(kExitUsage, cmd + " expects at least one --T");
    }
    if (opts.command == Command::Bench) {
        if (opts.phase.empty()) throw CliError(kExitUsage, "bench expects --phase NAME");
        if (opts.varyT && !opts.temperatures.empty())
            throw CliError(kExitUsage, "--T and --vary-T exclude each other; expected one of them");
        if (opts.temperatures.size() > 1) throw CliError(kExitUsage, "bench expects one --T");
    }
    if (opts.command == Command::Eval) {
        if (opts.phase.empty()) throw CliError(kExitUsage, "eval expects --phase NAME");
        if (opts.compositions.empty())
            throw CliError(kExitUsage, "eval expects at least one --y (site fractions, e.g. FE=0.3,NI=0.7:VA=1)");
    }
    return opts;
}

std::string usageText()
{
    return R"(Usage: thermfn COMMAND DB [options]

Commands:
  phases DB                      phases with sublattices, site ratios, constituents,
                                 parameter counts and whether each can be evaluated
  list DB [--phase NAME]         the kernel's listing of the symbol functions and the
                                 phase parameter lists, then the parameters defined
                                 twice; --phase lists that phase only
  function DB NAME --T ...       value and first three temperature derivatives of a
                                 FUNCTION of the database
  eval DB --phase NAME --T ... --y ...
                                 Gibbs energy and derivatives of a phase on a grid of
                                 temperatures x compositions
  bench DB --phase NAME [--points N] [--order 0|1|2] [--T t | --vary-T lo:hi]
                                 evaluates N seeded random compositions (one T,
                                 default 1000 K, or a T per point) and prints
                                 points per second and ns per point

Options:
  --T T | start:stop:step        temperature(s) in K, stop included; repeatable
  --y A=0.3,B=0.7:VA=1           site fractions: sublattices separated by ':', pairs
                                 by ','; unnamed constituents are 0; each sublattice
                                 must sum to 1; repeatable
  --P pressure                   pressure in Pa (default 101325)
  --json | --csv                 machine-readable output (function, eval)
  --hessian                      with eval --json or --csv: second derivatives
                                 in the site fractions and T
  --ordered-part-only            with eval of a phase with a disordered part
                                 (DIS_PART): the ordered phase's own parameters
                                 only, without the disordered contribution
  --set NAME=value               give a name the database uses without defining it
                                 (a fitting variable, say) a constant; repeatable
  --undefined-as-zero            take every other such name as 0 (with a warning
                                 listing each and where it is used)
  --cache FILE                   load the parsed database from FILE when it is a
                                 current cache of DB, otherwise parse DB and write FILE
  --engine plan|kernel           eval, bench: the compiled plan (default) or the
                                 kernel path, for comparison
  -h, --help                     this text

Results go to standard output; messages and errors to standard error.
Exit codes: 0 success, 1 the request could not be carried out (phase not
evaluable), 2 bad arguments, unknown names, values out of range, unreadable DB.
)";
}

}  // namespace thermfn
