#include "cli/Commands.h"

#include <cerrno>
#include <cstring>
#include <exception>
#include <new>

#include "cli/Database.h"
#include "cli/EvalWriter.h"
#include "database/ThermDatabase.h"

namespace thermfn {

int run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err)
{
    try {
        if (args.empty()) {
            err << usageText();
            return kExitUsage;
        }
        Options opts = parseArguments(args);
        size_t refused = 0;  // grid points without values
        if (opts.command == Command::Help) {
            out << usageText();
            return 0;
        }
        std::unique_ptr<ThermDatabase> db = openDatabase(opts.database, opts.cachePath, err, opts.symbolValues, opts.undefinedAsZero);
        switch (opts.command) {
        case Command::Phases: showPhases(*db, out); break;
        case Command::List: showListing(*db, opts.phase, out); break;
        case Command::Function: {
            FunctionResults f = computeFunction(*db, opts, err);
            if (opts.format == Format::Json) writeFunctionJson(out, f.name, f.points);
            else if (opts.format == Format::Csv) writeFunctionCsv(out, f.name, f.points);
            else writeFunctionTable(out, f.name, f.points);
            break;
        }
        case Command::Eval: {
            EvalResults layout = prepareGrid(*db, opts);
            std::unique_ptr<EvalWriter> writer =
                opts.format == Format::Json  ? makeJsonEvalWriter(out, layout, opts.hessian)
                : opts.format == Format::Csv ? makeCsvEvalWriter(out, layout, opts.hessian)
                                             : makeTableEvalWriter(out, layout);
            refused = streamGrid(*db, opts, layout, *writer, out, err);
            break;
        }
        case Command::Bench: runBench(*db, opts, out, err); break;
        case Command::Help: break;
        }
        out.flush();
        if (!out) {
            // a full disk or a closed pipe: the results are incomplete, and that must not pass for success
            int code = errno;
            err << "thermfn: the results could not be written to standard output"
                << (code ? std::string(" (") + std::strerror(code) + ")" : std::string()) << '\n';
            return kExitFailure;
        }
        if (refused > 0) {
            err << "thermfn: " << refused << " of " << opts.compositions.size() * opts.temperatures.size()
                << " points refused\n";
            return kExitFailure;
        }
        return 0;
    } catch (const CliError& e) {
        out.flush();
        err << "thermfn: " << e.what() << '\n';
        return e.exitCode();
    } catch (const std::bad_alloc&) {
        err << "thermfn: out of memory\n";
        return kExitFailure;
    } catch (const std::exception& e) {
        err << "thermfn: " << e.what() << '\n';
        return kExitFailure;
    }
}

}  // namespace thermfn
