#include "ArchiveBytes.h"

void ByteReader::fail(const std::string& what)
{
    if (!error_.empty()) return;
    error_ = what + " (near byte " + std::to_string(fileOffset()) + ")";
    pos_ = end_;
}

int ByteReader::count(size_t bytesEach, const char* what)
{
    size_t at = fileOffset();
    int32_t n = int32();
    if (!ok()) return -1;
    if (n < 0 || static_cast<uint64_t>(n) * bytesEach > left()) {
        pos_ = begin_ + (at - fileOffset_);
        fail(std::string("implausible count of ") + what + " (" + std::to_string(n) + ")");
        return -1;
    }
    return n;
}

int32_t ByteReader::bounded(int32_t low, int32_t high, const char* what)
{
    size_t at = fileOffset();
    int32_t v = int32();
    if (ok() && (v < low || v > high)) {
        pos_ = begin_ + (at - fileOffset_);
        fail(std::string(what) + " " + std::to_string(v) + " outside " + std::to_string(low) + ".." +
             std::to_string(high));
        return low;
    }
    return v;
}

std::string ByteReader::text()
{
    int n = count(1, "characters");
    if (n <= 0) return std::string();
    std::string s(static_cast<size_t>(n), '\0');
    raw(&s[0], s.size());
    if (s.find('\0') != std::string::npos) fail("text with a NUL byte");
    return s;
}
