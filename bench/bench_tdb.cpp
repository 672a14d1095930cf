// Loading speed of the database reader: a synthetic database of about 5 MB,
// made of renamed copies of the largest published one (every phase and every
// function gets a suffix per copy, so the copies are independent databases in
// one file), read, bound, wildcard-expanded and checked for duplicates.
#include <benchmark/benchmark.h>

#include <cctype>
#include <fstream>
#include <sstream>
#include <unordered_set>

#include "database/ThermDatabase.h"
#include "tdb/TdbReader.h"

namespace {

std::string Upper(std::string s)
{
    for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return s;
}

const std::string& SyntheticDatabase()
{
    static const std::string text = [] {
        const std::string path = std::string(THERM_SHARED_DB_DIR) + "/COST507.tdb";
        std::ifstream in(path, std::ios::binary);
        std::ostringstream buf;
        buf << in.rdbuf();
        const std::string original = buf.str();

        // the names to rename: every phase and function the file defines
        ThermDatabase db;
        tdb::ReadReport report;
        tdb::readTdbText(original, path, db, report);
        std::unordered_set<std::string> names;
        for (auto& rec : db.phases) names.insert(rec.phase->m_szPhaseName);
        for (int i = 0; i < db.dataMgr.m_SymbolNames1.m_nSize; ++i)
            names.insert(db.dataMgr.m_SymbolNames1.m_pData[i].m_pszBuffer);

        std::string out;
        for (int copy = 0; out.size() < 5u * 1024 * 1024; ++copy) {
            const std::string suffix = "_" + std::to_string(copy);
            size_t i = 0;
            while (i < original.size()) {
                char c = original[i];
                if (std::isalpha(static_cast<unsigned char>(c)) || c == '_') {
                    size_t j = i;
                    while (j < original.size() &&
                           (std::isalnum(static_cast<unsigned char>(original[j])) || original[j] == '_'))
                        ++j;
                    std::string word = original.substr(i, j - i);
                    out += word;
                    if (copy > 0 && names.count(Upper(word))) out += suffix;
                    i = j;
                } else {
                    out += c;
                    ++i;
                }
            }
            out += '\n';
        }
        return out;
    }();
    return text;
}

void BM_ReadSyntheticDatabase(benchmark::State& state)
{
    const std::string& text = SyntheticDatabase();
    int phases = 0;
    for (auto _ : state) {
        ThermDatabase db;
        tdb::ReadReport report;
        tdb::readTdbText(text, "synthetic.tdb", db, report);
        phases = static_cast<int>(db.phases.size());
        benchmark::DoNotOptimize(phases);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
    state.counters["MB"] = static_cast<double>(text.size()) / 1e6;
    state.counters["phases"] = phases;
}
BENCHMARK(BM_ReadSyntheticDatabase)->Unit(benchmark::kMillisecond)->MinTime(2.0);

void BM_ReadLargestPublishedDatabase(benchmark::State& state)
{
    const std::string path = std::string(THERM_SHARED_DB_DIR) + "/COST507.tdb";
    std::ifstream in(path, std::ios::binary);
    std::ostringstream buf;
    buf << in.rdbuf();
    const std::string text = buf.str();
    for (auto _ : state) {
        ThermDatabase db;
        tdb::ReadReport report;
        tdb::readTdbText(text, path, db, report);
        benchmark::DoNotOptimize(db.phases.size());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
}
BENCHMARK(BM_ReadLargestPublishedDatabase)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
