#include "cli/Output.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace thermfn {

namespace {

// A number that prints as zero prints without a sign: "-0.00000" reads as a
// value of its own, and -0.0 from a sum of opposite terms is no information.
std::string unsignedZero(const char* text)
{
    if (text[0] == '-' && std::strtod(text, nullptr) == 0.0) return text + 1;
    return text;
}

std::string printed(const char* format, double value)
{
    if (std::isnan(value)) return "nan";
    if (std::isinf(value)) return value > 0 ? "inf" : "-inf";
    char buf[64];
    std::snprintf(buf, sizeof buf, format, value);
    return unsignedZero(buf);
}

// A temperature with as many decimals as it takes to read back as the same
// number (300, 298.15, 300.0000001): distinct temperatures stay distinct.
std::string temperature(double T)
{
    if (!std::isfinite(T)) return printed("%g", T);
    char buf[400];
    for (int decimals = 0; decimals <= 20; ++decimals) {
        std::snprintf(buf, sizeof buf, "%.*f", decimals, T);
        if (std::strtod(buf, nullptr) == T) break;
    }
    return unsignedZero(buf);
}

std::string label(const VariableLabel& v)
{
    return std::to_string(v.sublattice + 1) + ":" + v.name;
}

// values (one per variable) as JSON: a list per sublattice of [name, value] pairs.
void writeNested(std::ostream& out, const EvalResults& r, const std::vector<double>& values)
{
    out << '[';
    size_t i = 0;
    for (int s = 0; s < r.sublatticeCount; ++s) {
        if (s) out << ',';
        out << '[';
        bool first = true;
        for (; i < r.variables.size() && r.variables[i].sublattice == s; ++i) {
            if (!first) out << ',';
            first = false;
            out << '[' << jsonString(r.variables[i].name) << ',' << jsonNumber(values[i]) << ']';
        }
        out << ']';
    }
    out << ']';
}

}  // namespace

std::string jsonNumber(double value)
{
    if (!std::isfinite(value)) return "null";
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.17g", value);
    return unsignedZero(buf);
}

std::string jsonString(const std::string& text)
{
    std::string out = "\"";
    for (char c : text) {
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (static_cast<unsigned char>(c) < 0x20) {
                char buf[8];
                std::snprintf(buf, sizeof buf, "\\u%04x", static_cast<unsigned char>(c));
                out += buf;
            } else {
                out += c;
            }
        }
    }
    return out + "\"";
}

std::string csvNumber(double value)
{
    return printed("%.17g", value);
}

std::string csvField(const std::string& text)
{
    if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
    std::string out = "\"";
    for (char c : text) out += c == '"' ? std::string("\"\"") : std::string(1, c);
    return out + "\"";
}

void writeAligned(std::ostream& out, const std::vector<std::vector<std::string>>& rows, size_t leftAligned)
{
    std::vector<size_t> width;
    for (const auto& row : rows)
        for (size_t c = 0; c < row.size(); ++c) {
            if (width.size() <= c) width.push_back(0);
            width[c] = std::max(width[c], row[c].size());
        }
    for (const auto& row : rows) {
        std::string line;
        for (size_t c = 0; c < row.size(); ++c) {
            std::string pad(width[c] - row[c].size(), ' ');
            if (c) line += "  ";
            line += c < leftAligned ? row[c] + pad : pad + row[c];
        }
        while (!line.empty() && line.back() == ' ') line.pop_back();
        out << line << '\n';
    }
}

void writeEvalJson(std::ostream& out, const EvalResults& r, bool hessian)
{
    const size_t n = r.variables.size();
    out << "[\n";
    for (size_t k = 0; k < r.points.size(); ++k) {
        const PhaseProperties& p = r.points[k].props;
        out << "{\"phase\":" << jsonString(r.phase) << ",\"T\":" << jsonNumber(p.T) << ",\"P\":" << jsonNumber(p.P)
            << ",\"y\":";
        writeNested(out, r, r.compositions[r.points[k].composition]);
        out << ",\"G\":" << jsonNumber(p.G) << ",\"dG_dT\":" << jsonNumber(p.dG_dT)
            << ",\"d2G_dT2\":" << jsonNumber(p.d2G_dT2) << ",\"dG_dy\":";
        writeNested(out, r, p.dG_dy);
        out << ",\"GM\":" << jsonNumber(p.GM) << ",\"SM\":" << jsonNumber(p.SM) << ",\"HM\":" << jsonNumber(p.HM)
            << ",\"CPM\":" << jsonNumber(p.CPM);
        if (hessian) {
            out << ",\"d2G_dydy\":[";
            for (size_t i = 0; i <= n; ++i) {
                out << (i ? ",[" : "[");
                for (size_t j = 0; j <= n; ++j) out << (j ? "," : "") << jsonNumber(p.hessian[i * (n + 1) + j]);
                out << ']';
            }
            out << ']';
        }
        out << (k + 1 < r.points.size() ? "},\n" : "}\n");
    }
    out << "]\n";
}

void writeEvalCsv(std::ostream& out, const EvalResults& r, bool hessian)
{
    const size_t n = r.variables.size();
    std::vector<std::string> header = {"phase", "T", "P"};
    for (const VariableLabel& v : r.variables) header.push_back("y[" + label(v) + "]");
    for (const char* name : {"G", "dG_dT", "d2G_dT2"}) header.push_back(name);
    for (const VariableLabel& v : r.variables) header.push_back("dG_dy[" + label(v) + "]");
    for (const char* name : {"GM", "SM", "HM", "CPM"}) header.push_back(name);
    if (hessian) {
        std::vector<std::string> names;
        for (const VariableLabel& v : r.variables) names.push_back(label(v));
        names.push_back("T");
        for (const std::string& a : names)
            for (const std::string& b : names) header.push_back("d2G[" + a + "][" + b + "]");
    }
    for (size_t c = 0; c < header.size(); ++c) out << (c ? "," : "") << csvField(header[c]);
    out << '\n';
    for (const EvalPoint& point : r.points) {
        const PhaseProperties& p = point.props;
        std::string row = csvField(r.phase) + "," + csvNumber(p.T) + "," + csvNumber(p.P);
        for (double y : r.compositions[point.composition]) row += "," + csvNumber(y);
        for (double v : {p.G, p.dG_dT, p.d2G_dT2}) row += "," + csvNumber(v);
        for (size_t i = 0; i < n; ++i) row += "," + csvNumber(p.dG_dy[i]);
        for (double v : {p.GM, p.SM, p.HM, p.CPM}) row += "," + csvNumber(v);
        if (hessian)
            for (size_t i = 0; i < (n + 1) * (n + 1); ++i) row += "," + csvNumber(p.hessian[i]);
        out << row << '\n';
    }
}

void writeEvalTable(std::ostream& out, const EvalResults& r)
{
    size_t k = 0;
    while (k < r.points.size()) {
        const size_t c = r.points[k].composition;
        const PhaseProperties& first = r.points[k].props;
        // The heading spells out every site fraction, the unnamed zeros too,
        // so that a block can be read without the command line that made it.
        std::string y;
        for (size_t i = 0; i < r.variables.size(); ++i) {
            if (i) y += r.variables[i].sublattice != r.variables[i - 1].sublattice ? " : " : ",";
            y += r.variables[i].name + "=" + printed("%.10g", r.compositions[c][i]);
        }
        if (k) out << '\n';
        out << r.phase << "  " << y << "  (" << printed("%.10g", first.atoms)
            << " mol of atoms per mol of formula units, P = " << printed("%g", first.P) << " Pa)\n";
        std::vector<std::vector<std::string>> rows = {
            {"T", "G", "GM", "SM", "HM", "CPM"},
            {"[K]", "[J/mol f.u.]", "[J/mol at.]", "[J/(K mol at.)]", "[J/mol at.]", "[J/(K mol at.)]"}};
        for (; k < r.points.size() && r.points[k].composition == c; ++k) {
            const PhaseProperties& p = r.points[k].props;
            rows.push_back({temperature(p.T), printed("%.3f", p.G), printed("%.3f", p.GM), printed("%.5f", p.SM),
                            printed("%.3f", p.HM), printed("%.5f", p.CPM)});
        }
        writeAligned(out, rows, 0);
    }
}

void writeFunctionJson(std::ostream& out, const std::string& name, const std::vector<FunctionPoint>& points)
{
    out << "[\n";
    for (size_t k = 0; k < points.size(); ++k) {
        const FunctionPoint& p = points[k];
        out << "{\"function\":" << jsonString(name) << ",\"T\":" << jsonNumber(p.T) << ",\"P\":" << jsonNumber(p.P)
            << ",\"F\":" << jsonNumber(p.value) << ",\"dF_dT\":" << jsonNumber(p.dT)
            << ",\"d2F_dT2\":" << jsonNumber(p.dT2) << ",\"d3F_dT3\":" << jsonNumber(p.dT3)
            << (k + 1 < points.size() ? "},\n" : "}\n");
    }
    out << "]\n";
}

void writeFunctionCsv(std::ostream& out, const std::string& name, const std::vector<FunctionPoint>& points)
{
    out << "function,T,P,F,dF_dT,d2F_dT2,d3F_dT3\n";
    for (const FunctionPoint& p : points)
        out << csvField(name) << ',' << csvNumber(p.T) << ',' << csvNumber(p.P) << ',' << csvNumber(p.value) << ','
            << csvNumber(p.dT) << ',' << csvNumber(p.dT2) << ',' << csvNumber(p.dT3) << '\n';
}

void writeFunctionTable(std::ostream& out, const std::string& name, const std::vector<FunctionPoint>& points)
{
    out << "FUNCTION " << name << "  (in the function's own unit, derivatives per K, K^2, K^3)\n";
    std::vector<std::vector<std::string>> rows = {{"T [K]", "F", "dF/dT", "d2F/dT2", "d3F/dT3"}};
    for (const FunctionPoint& p : points)
        rows.push_back({temperature(p.T), printed("%.10g", p.value), printed("%.10g", p.dT),
                        printed("%.10g", p.dT2), printed("%.10g", p.dT3)});
    writeAligned(out, rows, 0);
}

}  // namespace thermfn
