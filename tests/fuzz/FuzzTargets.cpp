#include "FuzzTargets.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "cli/Arguments.h"
#include "cli/CliError.h"
#include "cli/Composition.h"
#include "database/DatabaseArchive.h"
#include "database/PayloadChecksum.h"
#include "database/ThermDatabase.h"
#include "models/PhaseEvaluator.h"
#include "tdb/TdbReader.h"

namespace fuzz {

namespace {

[[noreturn]] void Finding(const std::string& what)
{
    std::fprintf(stderr, "fuzz finding: %s\n", what.c_str());
    std::abort();
}

// G of every evaluable phase at 1000 K clamped into the database's limits,
// at equal fractions in every sublattice (NaN for a phase that refuses).
std::vector<double> EvaluateAll(ThermDatabase& db)
{
    std::vector<double> out;
    double T = std::fmin(std::fmax(1000.0, db.defaultTLow), db.defaultTHigh);
    for (size_t p = 0; p < db.phases.size(); ++p) {
        PhaseEvaluator ev(db, static_cast<int>(p));
        if (!ev.evaluable()) continue;
        std::vector<int> perSublattice(16, 0);
        for (int i = 0; i < ev.variableCount(); ++i) ++perSublattice[static_cast<size_t>(ev.variableSublattice(i)) % 16];
        std::vector<double> y(static_cast<size_t>(ev.variableCount()));
        for (int i = 0; i < ev.variableCount(); ++i)
            y[static_cast<size_t>(i)] = 1.0 / perSublattice[static_cast<size_t>(ev.variableSublattice(i)) % 16];
        ev.setTemperature(T, 101325.0);
        PhaseProperties r;
        out.push_back(ev.evaluate(y.data(), 2, r) ? r.G : std::nan(""));
    }
    return out;
}

void ListAll(ThermDatabase& db)
{
    myCString listing;
    db.symbols().WriteOutFunktions(listing, 15);
    for (auto& rec : db.phases) rec.functions->WriteOutFunktions(listing, 15);
}

bool SameNumbers(const std::vector<double>& a, const std::vector<double>& b)
{
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (!(a[i] == b[i] || (std::isnan(a[i]) && std::isnan(b[i])))) return false;
    return true;
}

}  // namespace

void readerInput(const uint8_t* data, size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    ThermDatabase db;
    tdb::ReadReport report;
    const bool used = tdb::readTdbText(text, "fuzz.tdb", db, report);
    for (const tdb::Diagnostic& d : report.diagnostics)
        if (d.line < 1 || d.column < 1) Finding("a diagnostic that points outside the text: " + d.format());
    if (!used) return;
    ListAll(db);
    std::vector<double> before = EvaluateAll(db);

    const std::string bytes = databaseArchiveBytes(db);
    ThermDatabase back;
    std::string error;
    if (!loadDatabaseArchiveBytes(back, bytes.data(), bytes.size(), "roundtrip.thdb", error))
        Finding("the cache of a read database does not load: " + error);
    if (!SameNumbers(before, EvaluateAll(back))) Finding("the cache of a read database evaluates differently");
}

namespace {

void LoadListEvaluate(const std::string& bytes)
{
    ThermDatabase db;
    std::string error;
    if (!loadDatabaseArchiveBytes(db, bytes.data(), bytes.size(), "input.thdb", error)) {
        if (error.find("input.thdb") == std::string::npos) Finding("a refusal that does not name the file: " + error);
        return;
    }
    ListAll(db);
    EvaluateAll(db);
}

}  // namespace

void cacheInput(const uint8_t* data, size_t size)
{
    std::string bytes(reinterpret_cast<const char*>(data), size);
    LoadListEvaluate(bytes);
    // Mutations rarely keep the checksum right: the same bytes with a header
    // that fits them (length and checksum of the payload) reach the checks
    // behind it.
    if (bytes.size() < 24) return;
    const uint64_t length = bytes.size() - 24;
    const uint64_t sum = payloadChecksum(bytes.data() + 24, bytes.size() - 24);
    for (int k = 0; k < 8; ++k) {
        bytes[8 + static_cast<size_t>(k)] = static_cast<char>(length >> (56 - 8 * k));
        bytes[16 + static_cast<size_t>(k)] = static_cast<char>(sum >> (56 - 8 * k));
    }
    LoadListEvaluate(bytes);
}

void argumentsInput(const uint8_t* data, size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::vector<std::string> words;
    size_t start = 0;
    for (size_t i = 0; i <= text.size(); ++i)
        if (i == text.size() || text[i] == '\n') {
            words.push_back(text.substr(start, i - start));
            start = i + 1;
        }
    try {
        thermfn::parseArguments(words);
    } catch (const thermfn::CliError& e) {
        if (std::string(e.what()).empty()) Finding("a refusal without a message");
    }
    try {
        thermfn::CompositionSpec spec = thermfn::parseComposition(text);
        for (const auto& sublattice : spec.sublattices) {
            double sum = 0.0;
            for (const auto& entry : sublattice) sum += entry.second;
            if (!(std::fabs(sum - 1.0) <= 1e-6)) Finding("a composition accepted whose sublattice does not sum to 1");
        }
    } catch (const thermfn::CliError& e) {
        if (std::string(e.what()).empty()) Finding("a refusal without a message");
    }
}

}  // namespace fuzz
