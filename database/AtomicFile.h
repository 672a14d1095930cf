// Replacing a file's content all at once: the bytes go to a new temporary
// file beside the target, which is then renamed over it.  Readers see the old
// content or the new, never a mixture, and concurrent writers each rename a
// complete file of their own.  The file keeps the permissions of the one it
// replaces (a new file gets those the process's umask allows).
//
// Every write is checked (a short write, a full disk, a file-size limit): on
// any failure the temporary file is removed, the target is left as it was,
// and the error names the file and the reason.
#ifndef DATABASE_ATOMICFILE_H
#define DATABASE_ATOMICFILE_H

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

//! Writes the parts, one after the other, as the new content of path.
bool replaceFileContent(const std::string& path, const std::vector<std::pair<const char*, size_t>>& parts,
                        std::string& error);

#endif
