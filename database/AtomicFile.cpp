#include "AtomicFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Permissions of the file at path, or those of a new file under the umask.
mode_t TargetMode(const std::string& path)
{
    struct stat st;
    if (stat(path.c_str(), &st) == 0) return st.st_mode & 07777;
    mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

bool WriteAll(int fd, const char* data, size_t size)
{
    while (size > 0) {
        ssize_t n = write(fd, data, size);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            if (n == 0) errno = ENOSPC;
            return false;
        }
        data += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

}  // namespace

bool replaceFileContent(const std::string& path, const std::vector<std::pair<const char*, size_t>>& parts,
                        std::string& error)
{
    std::string temp = path + ".tmp-XXXXXX";
    int fd = mkstemp(&temp[0]);
    if (fd < 0) {
        error = path + ": cannot be written (" + std::strerror(errno) + ")";
        return false;
    }
    bool ok = fchmod(fd, TargetMode(path)) == 0;
    for (size_t k = 0; ok && k < parts.size(); ++k) ok = WriteAll(fd, parts[k].first, parts[k].second);
    ok = ok && fsync(fd) == 0;
    int savedErrno = errno;
    if (close(fd) != 0 && ok) {
        ok = false;
        savedErrno = errno;
    }
    if (ok && std::rename(temp.c_str(), path.c_str()) != 0) {
        ok = false;
        savedErrno = errno;
    }
    if (!ok) {
        unlink(temp.c_str());
        error = path + ": could not be written completely (" + std::strerror(savedErrno) +
                "); an existing file was left as it was";
    }
    return ok;
}
