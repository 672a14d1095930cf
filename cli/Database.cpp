#include "cli/Database.h"

#include <filesystem>
#include <fstream>
#include <system_error>

#include "cli/CliError.h"
#include "database/ContentDigest.h"
#include "database/DatabaseArchive.h"
#include "database/ThermDatabase.h"
#include "tdb/TdbReader.h"

namespace fs = std::filesystem;

namespace thermfn {

namespace {

std::string canonicalPath(const std::string& path)
{
    std::error_code ec;
    fs::path p = fs::weakly_canonical(fs::absolute(path, ec), ec);
    return ec ? path : p.string();
}

std::unique_ptr<ThermDatabase> freshDatabase()
{
    auto db = std::make_unique<ThermDatabase>();
    db->app.m_bEcho = true;
    return db;
}

// The bytes of the file at path; false when it cannot be read as a file.
bool readBytes(const std::string& path, std::string& bytes)
{
    std::error_code ec;
    if (!fs::is_regular_file(path, ec)) return false;
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    if (!in) return false;
    std::streamoff size = in.tellg();
    if (size < 0) return false;
    bytes.resize(static_cast<size_t>(size));
    in.seekg(0);
    return static_cast<bool>(in.read(&bytes[0], size));
}

// The cache at cachePath when it was made from tdbPath as it is now: the same
// file name and the same bytes (modification times say nothing: a copy or an
// unpacked archive can carry an older time than an edit it holds).  Null, with
// a note on err, when it must be made again.
std::unique_ptr<ThermDatabase> loadCurrentCache(const std::string& tdbPath, const std::string& tdbBytes,
                                                const std::string& cachePath, std::ostream& err)
{
    auto db = freshDatabase();
    std::string error;
    if (!loadDatabaseArchive(*db, cachePath, error)) {
        err << "thermfn: cache " << cachePath << " cannot be used (" << error << "); reading " << tdbPath
            << " again\n";
        return nullptr;
    }
    if (db->sourceName != canonicalPath(tdbPath)) {
        err << "thermfn: cache " << cachePath << " was made from " << db->sourceName << ", not " << tdbPath
            << "; reading " << tdbPath << " again\n";
        return nullptr;
    }
    if (db->sourceDigest != contentDigest(tdbBytes)) {
        err << "thermfn: " << tdbPath << " changed since cache " << cachePath << " was written; reading it again\n";
        return nullptr;
    }
    return db;
}

}  // namespace

bool isCacheFile(const std::string& path)
{
    std::ifstream f(path, std::ios::binary);
    char magic[4] = {};
    return f.read(magic, 4) && magic[0] == 'T' && magic[1] == 'H' && magic[2] == 'D' && magic[3] == 'B';
}

namespace {

void giveSymbolValues(ThermDatabase& db, const std::vector<std::pair<std::string, double>>& symbolValues,
                      bool undefinedAsZero, std::ostream& err)
{
    for (const auto& [name, value] : symbolValues) {
        std::string error;
        if (!db.setSymbolValue(name, value, error)) throw CliError(kExitUsage, "--set " + name + ": " + error);
    }
    if (undefinedAsZero) {
        std::string list = db.expressions.setUnsetToZero();
        if (!list.empty())
            err << "thermfn: warning: --undefined-as-zero: these names have no definition in the database and are "
                   "taken as 0:\n"
                << list;
    }
}

std::unique_ptr<ThermDatabase> readDatabase(const std::string& tdbPath, const std::string& cachePath,
                                            std::ostream& err, const tdb::ReadOptions& options);

}  // namespace

std::unique_ptr<ThermDatabase> openDatabase(const std::string& tdbPath, const std::string& cachePath,
                                            std::ostream& err,
                                            const std::vector<std::pair<std::string, double>>& symbolValues,
                                            bool undefinedAsZero)
{
    tdb::ReadOptions options;
    for (const auto& entry : symbolValues) options.givenSymbols.push_back(entry.first);
    options.undefinedAsZero = undefinedAsZero;
    std::unique_ptr<ThermDatabase> db = readDatabase(tdbPath, cachePath, err, options);
    giveSymbolValues(*db, symbolValues, undefinedAsZero, err);
    return db;
}

namespace {

std::unique_ptr<ThermDatabase> readDatabase(const std::string& tdbPath, const std::string& cachePath,
                                            std::ostream& err, const tdb::ReadOptions& options)
{
    bool writeCache = !cachePath.empty();
    std::error_code ec;
    if (fs::is_directory(tdbPath, ec))
        throw CliError(kExitUsage, "no database found at " + tdbPath + ": it is a directory; expected a TDB file");
    if (writeCache && fs::exists(cachePath, ec)) {
        std::string tdbBytes;
        if (!isCacheFile(cachePath)) {
            err << "thermfn: " << cachePath
                << " is not a database cache; it is left untouched and no cache is written\n";
            writeCache = false;
        } else if (readBytes(tdbPath, tdbBytes)) {
            if (auto db = loadCurrentCache(tdbPath, tdbBytes, cachePath, err)) return db;
        }
        // without a readable database no cache stands in for it: reading it below says why
    }

    auto db = freshDatabase();
    tdb::ReadReport report;
    bool usable = tdb::readTdbFile(tdbPath, *db, report, options);
    for (const tdb::Diagnostic& d : report.diagnostics) err << d.format() << '\n';
    if (!usable) throw CliError(kExitUsage, "cannot read database " + tdbPath + "; expected a readable TDB file");
    if (report.elements + report.species + report.functions + report.phases + report.parameters == 0)
        throw CliError(kExitUsage, "no database found in " + tdbPath +
                                       ": it holds no ELEMENT, SPECIES, FUNCTION, PHASE or PARAMETER command; "
                                       "expected a TDB file");
    if (report.errorCount() > 0) err << "thermfn: " << tdbPath << ": " << report.summary() << '\n';

    if (writeCache) {
        db->sourceName = canonicalPath(tdbPath);
        std::string error;
        if (!saveDatabaseArchive(*db, cachePath, error))
            err << "thermfn: cache " << cachePath << " not written: " << error << '\n';
    }
    return db;
}

}  // namespace

}  // namespace thermfn
