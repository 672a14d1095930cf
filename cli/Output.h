// Results as text: the aligned table for people, JSON and CSV for programs.
// Numbers meant for programs are written with 17 significant digits, so that
// reading them back gives the same double; a value that is not finite is
// JSON null and "nan"/"inf"/"-inf" in CSV.
#ifndef CLI_OUTPUT_H
#define CLI_OUTPUT_H

#include <ostream>
#include <string>
#include <vector>

#include "models/PhaseEvaluator.h"

namespace thermfn {

struct VariableLabel
{
    int sublattice = 0;  //!< 0-based
    std::string name;    //!< constituent as the phase names it
};

struct EvalPoint
{
    size_t composition = 0;  //!< index into EvalResults::compositions
    PhaseProperties props;   //!< T and P included
};

struct EvalResults
{
    std::string phase;
    int sublatticeCount = 0;
    std::vector<VariableLabel> variables;         //!< the phase's variables, in order
    std::vector<std::vector<double>> compositions; //!< site fractions per composition, variable order
    std::vector<EvalPoint> points;                 //!< in output order, grouped by composition
};

struct FunctionPoint
{
    double T = 0.0, P = 0.0;
    double value = 0.0, dT = 0.0, dT2 = 0.0, dT3 = 0.0;
};

//! value in a printf format, "nan"/"inf"/"-inf" when not finite; a value
//! printed as zero has no sign
std::string printed(const char* format, double value);
//! T [K] with the fewest decimals that read back as the same number
std::string temperature(double T);
//! %.17g, or null when not finite
std::string jsonNumber(double value);
//! quoted and escaped
std::string jsonString(const std::string& text);
//! %.17g, or nan/inf/-inf
std::string csvNumber(double value);
//! quoted when it holds a comma, a quote or a line break
std::string csvField(const std::string& text);

// One JSON array, one object per point: phase, T, P, y, G, dG_dT, d2G_dT2,
// dG_dy, GM, SM, HM, CPM and with hessian d2G_dydy.  y and dG_dy are lists per
// sublattice of [name, value] pairs; d2G_dydy is (n+1) rows of n+1 values,
// the variables in the order of y flattened, then T.
void writeEvalJson(std::ostream& out, const EvalResults& results, bool hessian);
// Header row, then one row per point: phase, T, P, y[s:NAME]..., G, dG_dT,
// d2G_dT2, dG_dy[s:NAME]..., GM, SM, HM, CPM and with hessian d2G[a][b]...
void writeEvalCsv(std::ostream& out, const EvalResults& results, bool hessian);
// A block per composition with a heading and T, G, GM, SM, HM, CPM columns.
void writeEvalTable(std::ostream& out, const EvalResults& results);

void writeFunctionJson(std::ostream& out, const std::string& name, const std::vector<FunctionPoint>& points);
void writeFunctionCsv(std::ostream& out, const std::string& name, const std::vector<FunctionPoint>& points);
void writeFunctionTable(std::ostream& out, const std::string& name, const std::vector<FunctionPoint>& points);

// Rows of cells as an aligned table: the first leftAligned columns
// left-aligned (text), the others right-aligned (numbers), each as wide as
// its widest cell, two blanks apart, no trailing blanks.
void writeAligned(std::ostream& out, const std::vector<std::vector<std::string>>& rows, size_t leftAligned);

}  // namespace thermfn

#endif
