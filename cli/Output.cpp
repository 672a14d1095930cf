#include "cli/Output.h"

#include "cli/EvalWriter.h"

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

}  // namespace

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
        if (std::strtod(buf, nullptr) == T) return unsignedZero(buf);
    }
    return printed("%.17g", T);  // far below 1 K: the exponent form says it in fewer digits
}

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

// The whole-grid writers feed the streaming ones point by point.
namespace {
void writeAll(EvalWriter& w, const EvalResults& r)
{
    w.begin();
    for (const EvalPoint& point : r.points) w.point(point.composition, point.props);
    w.end();
}
}  // namespace

void writeEvalJson(std::ostream& out, const EvalResults& r, bool hessian)
{
    writeAll(*makeJsonEvalWriter(out, r, hessian), r);
}

void writeEvalCsv(std::ostream& out, const EvalResults& r, bool hessian)
{
    writeAll(*makeCsvEvalWriter(out, r, hessian), r);
}

void writeEvalTable(std::ostream& out, const EvalResults& r)
{
    writeAll(*makeTableEvalWriter(out, r), r);
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
