// Opening the database a command works on: parsing the TDB file, or loading
// the cache file that a previous run wrote for it.
#ifndef CLI_DATABASE_H
#define CLI_DATABASE_H

#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

class ThermDatabase;

namespace thermfn {

// True when the file starts with the cache's magic bytes.  Only such a file
// may be overwritten: a path given to --cache that holds anything else is
// somebody's data.
bool isCacheFile(const std::string& path);

// Parses tdbPath, or with a cachePath loads the cache when it is a valid
// cache of that same file with the same content, and otherwise parses and
// writes the cache.  A cache never stands in for a database that cannot be
// read.  Kernel messages are echoed to standard error as they arrive;
// the reader's diagnostics and the tool's own notes go to err.  Throws
// CliError (exit code 2) when there is no usable database.
// Then gives the names the database uses without defining them their values:
// those of symbolValues (NAME, value), then 0 to the others when
// undefinedAsZero (with one warning on err listing each and where it is used).
// A name in symbolValues that is no such name is a CliError (exit code 2).
std::unique_ptr<ThermDatabase> openDatabase(const std::string& tdbPath, const std::string& cachePath,
                                            std::ostream& err,
                                            const std::vector<std::pair<std::string, double>>& symbolValues = {},
                                            bool undefinedAsZero = false);

}  // namespace thermfn

#endif
