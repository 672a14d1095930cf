// Every stored fuzz input replayed through its target (the same code the
// libFuzzer programs run): the bundled databases and the reader's corpus as
// TDB text, caches made from the small published databases, and the files of
// tests/corpus/fuzz/<target>/, where each finding of the fuzzers is kept.  A
// target aborts on a finding, and under the sanitizer build any memory or
// undefined-behaviour fault fails the test as well.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "database/DatabaseArchive.h"
#include "fuzz/FuzzTargets.h"
#include "support/TdbTestKit.h"

namespace fs = std::filesystem;

namespace {

std::vector<fs::path> FilesIn(const std::vector<std::string>& folders)
{
    std::vector<fs::path> files;
    for (const std::string& folder : folders)
        if (fs::is_directory(folder))
            for (const auto& entry : fs::directory_iterator(folder))
                if (entry.is_regular_file() && entry.path().filename().string()[0] != '.') files.push_back(entry.path());
    return files;
}

void Replay(void (*target)(const uint8_t*, size_t), const std::string& bytes)
{
    target(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

const std::string kCorpus = std::string(THERM_TESTS_DIR) + "/corpus";

TEST(FuzzCorpus, EveryStoredInputOfEveryTarget)
{
    const struct
    {
        const char* name;
        void (*target)(const uint8_t*, size_t);
        std::vector<std::string> folders;
        size_t atLeast;
    } targets[] = {
        {"reader", fuzz::readerInput, {THERM_DATA_DIR, THERM_SHARED_DB_DIR, kCorpus + "/tdb", kCorpus + "/fuzz/reader"}, 11},
        {"cache", fuzz::cacheInput, {kCorpus + "/fuzz/cache"}, 0},
        {"arguments", fuzz::argumentsInput, {kCorpus + "/fuzz/arguments"}, 4},
    };
    for (const auto& t : targets) {
        size_t replayed = 0;
        for (const fs::path& f : FilesIn(t.folders)) {
            if (f.extension() == ".md") continue;
            SCOPED_TRACE(f.string());
            Replay(t.target, kit::Slurp(f.string()));
            ++replayed;
        }
        EXPECT_GE(replayed, t.atLeast) << t.name;
    }
    // caches of published databases, whole and cut short, which the loader
    // must refuse without reading past the end
    for (const char* file : {"crfe_bcc_magnetic.tdb", "CrFeNb_Jacob2016.tdb", "femn.tdb"}) {
        kit::Loaded src = kit::ReadShared(file);
        ASSERT_TRUE(src.ok) << file;
        const std::string bytes = databaseArchiveBytes(*src.db);
        Replay(fuzz::cacheInput, bytes);
        Replay(fuzz::cacheInput, bytes.substr(0, bytes.size() / 2));
    }
}

}  // namespace
