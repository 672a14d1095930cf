#include "cli/Composition.h"

#include <cmath>

#include "cli/CliError.h"
#include "cli/Text.h"

namespace thermfn {

namespace {

std::string joined(const std::vector<std::string>& names)
{
    std::string out;
    for (size_t i = 0; i < names.size(); ++i) out += (i ? ", " : "") + names[i];
    return out;
}

}  // namespace

CompositionSpec parseComposition(const std::string& text)
{
    CompositionSpec spec;
    spec.text = text;
    const std::string where = "--y '" + text + "'";
    if (trim(text).empty())
        throw CliError(kExitUsage, where + ": expected site fractions like FE=0.3,NI=0.7:VA=1");
    std::vector<std::string> sublattices = split(text, ':');
    for (size_t s = 0; s < sublattices.size(); ++s) {
        const std::string sub = "sublattice " + std::to_string(s + 1);
        if (trim(sublattices[s]).empty())
            throw CliError(kExitUsage, where + ": " + sub + " is empty; expected NAME=value pairs separated by ','");
        std::vector<std::pair<std::string, double>> pairs;
        // Summed in the order written, which is also how a user checks it by hand.
        double sum = 0.0;
        for (const std::string& item : split(sublattices[s], ',')) {
            size_t eq = item.find('=');
            std::string name = toUpper(trim(item.substr(0, eq)));
            if (eq == std::string::npos || name.empty())
                throw CliError(kExitUsage, where + ": " + sub + ": expected NAME=value, got '" + trim(item) + "'");
            double value = parseNumber(item.substr(eq + 1), where + ": " + sub + ": fraction of " + name);
            if (value < 0.0)
                throw CliError(kExitUsage, where + ": " + sub + ": fraction of " + name + " is negative (" +
                                               formatNumber("%.17g", value) + "); expected a value between 0 and 1");
            for (const auto& p : pairs)
                if (p.first == name)
                    throw CliError(kExitUsage, where + ": " + sub + ": " + name + " is given twice");
            pairs.emplace_back(name, value);
            sum += value;
        }
        if (!(std::fabs(sum - 1.0) <= kSumTolerance))
            throw CliError(kExitUsage, where + ": " + sub + " sums to " + formatNumber("%.17g", sum) +
                                           "; expected 1 (within 1e-9)");
        spec.sublattices.push_back(std::move(pairs));
    }
    return spec;
}

std::vector<double> resolveComposition(const CompositionSpec& spec, const std::string& phaseName,
                                       const std::vector<std::vector<std::string>>& constituents)
{
    const std::string where = "--y '" + spec.text + "'";
    if (spec.sublattices.size() != constituents.size()) {
        std::string expected;
        for (size_t s = 0; s < constituents.size(); ++s) expected += "(" + joined(constituents[s]) + ")";
        throw CliError(kExitUsage, where + ": phase " + phaseName + " has " + std::to_string(constituents.size()) +
                                       " sublattice(s) " + expected + ", the composition gives " +
                                       std::to_string(spec.sublattices.size()));
    }
    std::vector<double> y;
    for (size_t s = 0; s < constituents.size(); ++s) {
        size_t first = y.size();
        y.resize(first + constituents[s].size(), 0.0);
        for (const auto& [name, value] : spec.sublattices[s]) {
            size_t found = constituents[s].size();
            for (size_t i = 0; i < constituents[s].size(); ++i)
                if (toUpper(constituents[s][i]) == name) found = i;
            if (found == constituents[s].size())
                throw CliError(kExitUsage, where + ": sublattice " + std::to_string(s + 1) + " of " + phaseName +
                                               " has no constituent " + name + "; expected one of " +
                                               joined(constituents[s]));
            y[first + found] = value;
        }
    }
    return y;
}

}  // namespace thermfn
