#include "cli/EvalWriter.h"

#include <vector>

namespace thermfn {

namespace {

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

class JsonWriter : public EvalWriter
{
public:
    JsonWriter(std::ostream& out, const EvalResults& r, bool hessian) : out_(out), r_(r), hessian_(hessian) {}

    void begin() override { out_ << "["; }
    void point(size_t c, const PhaseProperties& p) override
    {
        const size_t n = r_.variables.size();
        head(c, p.T, p.P);
        out_ << ",\"G\":" << jsonNumber(p.G) << ",\"dG_dT\":" << jsonNumber(p.dG_dT)
             << ",\"d2G_dT2\":" << jsonNumber(p.d2G_dT2) << ",\"dG_dy\":";
        writeNested(out_, r_, p.dG_dy);
        out_ << ",\"GM\":" << jsonNumber(p.GM) << ",\"SM\":" << jsonNumber(p.SM) << ",\"HM\":" << jsonNumber(p.HM)
             << ",\"CPM\":" << jsonNumber(p.CPM);
        if (hessian_) {
            out_ << ",\"d2G_dydy\":[";
            for (size_t i = 0; i <= n; ++i) {
                out_ << (i ? ",[" : "[");
                for (size_t j = 0; j <= n; ++j) out_ << (j ? "," : "") << jsonNumber(p.hessian[i * (n + 1) + j]);
                out_ << ']';
            }
            out_ << ']';
        }
        out_ << '}';
    }
    void refused(size_t c, double T, double P, const std::string& why) override
    {
        head(c, T, P);
        out_ << ",\"refused\":" << jsonString(why) << '}';
    }
    void end() override { out_ << (first_ ? "]\n" : "\n]\n"); }

private:
    void head(size_t c, double T, double P)
    {
        out_ << (first_ ? "\n" : ",\n");
        first_ = false;
        out_ << "{\"phase\":" << jsonString(r_.phase) << ",\"T\":" << jsonNumber(T) << ",\"P\":" << jsonNumber(P)
             << ",\"y\":";
        writeNested(out_, r_, r_.compositions[c]);
    }

    std::ostream& out_;
    const EvalResults& r_;
    bool hessian_;
    bool first_ = true;
};

class CsvWriter : public EvalWriter
{
public:
    CsvWriter(std::ostream& out, const EvalResults& r, bool hessian) : out_(out), r_(r), hessian_(hessian) {}

    void begin() override
    {
        std::vector<std::string> header = {"phase", "T", "P"};
        for (const VariableLabel& v : r_.variables) header.push_back("y[" + label(v) + "]");
        for (const char* name : {"G", "dG_dT", "d2G_dT2"}) header.push_back(name);
        for (const VariableLabel& v : r_.variables) header.push_back("dG_dy[" + label(v) + "]");
        for (const char* name : {"GM", "SM", "HM", "CPM"}) header.push_back(name);
        if (hessian_) {
            std::vector<std::string> names;
            for (const VariableLabel& v : r_.variables) names.push_back(label(v));
            names.push_back("T");
            for (const std::string& a : names)
                for (const std::string& b : names) header.push_back("d2G[" + a + "][" + b + "]");
        }
        for (size_t c = 0; c < header.size(); ++c) out_ << (c ? "," : "") << csvField(header[c]);
        out_ << '\n';
    }
    void point(size_t c, const PhaseProperties& p) override
    {
        const size_t n = r_.variables.size();
        row_ = head(c, p.T, p.P);
        for (double v : {p.G, p.dG_dT, p.d2G_dT2}) row_ += "," + csvNumber(v);
        for (size_t i = 0; i < n; ++i) row_ += "," + csvNumber(p.dG_dy[i]);
        for (double v : {p.GM, p.SM, p.HM, p.CPM}) row_ += "," + csvNumber(v);
        if (hessian_)
            for (size_t i = 0; i < (n + 1) * (n + 1); ++i) row_ += "," + csvNumber(p.hessian[i]);
        out_ << row_ << '\n';
    }
    // The row keeps its place in the grid with every value field empty; the
    // reason goes to standard error with the others.
    void refused(size_t c, double T, double P, const std::string&) override
    {
        const size_t n = r_.variables.size();
        const size_t values = 3 + n + 4 + (hessian_ ? (n + 1) * (n + 1) : 0);
        out_ << head(c, T, P) << std::string(values, ',') << '\n';
    }

private:
    std::string head(size_t c, double T, double P) const
    {
        std::string row = csvField(r_.phase) + "," + csvNumber(T) + "," + csvNumber(P);
        for (double y : r_.compositions[c]) row += "," + csvNumber(y);
        return row;
    }

    std::ostream& out_;
    const EvalResults& r_;
    bool hessian_;
    std::string row_;  //!< reused, so that a row allocates nothing once it has its size
};

// A block per composition with a heading, then T, G, GM, SM, HM, CPM in
// columns as wide as their heading and units (a wider value widens its row
// only): the table is written as the points come.
class TableWriter : public EvalWriter
{
public:
    TableWriter(std::ostream& out, const EvalResults& r) : out_(out), r_(r) {}

    void point(size_t c, const PhaseProperties& p) override
    {
        block(c, p.atoms, p.P);
        row({temperature(p.T), printed("%.3f", p.G), printed("%.3f", p.GM), printed("%.5f", p.SM),
             printed("%.3f", p.HM), printed("%.5f", p.CPM)});
        out_ << '\n';
    }
    void refused(size_t c, double T, double P, const std::string& why) override
    {
        block(c, -1.0, P);
        row({temperature(T)});
        out_ << "  refused: " << why << '\n';
    }

private:
    void block(size_t c, double atoms, double P)
    {
        if (started_ && c == composition_) return;
        // The heading spells out every site fraction, the unnamed zeros too,
        // so that a block can be read without the command line that made it.
        std::string y;
        for (size_t i = 0; i < r_.variables.size(); ++i) {
            if (i) y += r_.variables[i].sublattice != r_.variables[i - 1].sublattice ? " : " : ",";
            y += r_.variables[i].name + "=" + printed("%.10g", r_.compositions[c][i]);
        }
        if (started_) out_ << '\n';
        out_ << r_.phase << "  " << y << "  (";
        if (atoms >= 0.0) out_ << printed("%.10g", atoms) << " mol of atoms per mol of formula units, ";
        out_ << "P = " << printed("%g", P) << " Pa)\n";
        row({"T", "G", "GM", "SM", "HM", "CPM"});
        out_ << '\n';
        row({"[K]", "[J/mol f.u.]", "[J/mol at.]", "[J/(K mol at.)]", "[J/mol at.]", "[J/(K mol at.)]"});
        out_ << '\n';
        started_ = true;
        composition_ = c;
    }
    // Cells right-aligned in the fixed widths, no line end (refusals go on the same line).
    void row(const std::vector<std::string>& cells)
    {
        static const size_t width[] = {11, 14, 13, 16, 13, 16};
        std::string line;
        for (size_t k = 0; k < cells.size() && k < 6; ++k) {
            if (k) line += "  ";
            if (cells[k].size() < width[k]) line += std::string(width[k] - cells[k].size(), ' ');
            line += cells[k];
        }
        out_ << line;
    }

    std::ostream& out_;
    const EvalResults& r_;
    bool started_ = false;
    size_t composition_ = 0;
};

}  // namespace

std::unique_ptr<EvalWriter> makeJsonEvalWriter(std::ostream& out, const EvalResults& layout, bool hessian)
{
    return std::make_unique<JsonWriter>(out, layout, hessian);
}

std::unique_ptr<EvalWriter> makeCsvEvalWriter(std::ostream& out, const EvalResults& layout, bool hessian)
{
    return std::make_unique<CsvWriter>(out, layout, hessian);
}

std::unique_ptr<EvalWriter> makeTableEvalWriter(std::ostream& out, const EvalResults& layout)
{
    return std::make_unique<TableWriter>(out, layout);
}

}  // namespace thermfn
