// Reading the cache file's bytes straight from memory: big-endian ints and
// doubles (the encoding QDataStream writes by default), raw blocks and
// length-prefixed texts, every read checked against the end of its range.
//
// The first failure is kept with the offset where it happened (counted from
// the start of the file) and every later read returns zeros, so a decoder can
// read a whole record and test ok() once at the end.
#ifndef DATABASE_ARCHIVEBYTES_H
#define DATABASE_ARCHIVEBYTES_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

class ByteReader
{
public:
    //! Reads [begin, end); fileOffset is the file position of begin (for messages).
    ByteReader(const char* begin, const char* end, size_t fileOffset = 0)
        : begin_(begin), pos_(begin), end_(end), fileOffset_(fileOffset)
    {
    }

    bool ok() const { return error_.empty(); }
    //! What went wrong and near which byte of the file; empty while ok().
    const std::string& error() const { return error_; }
    size_t left() const { return static_cast<size_t>(end_ - pos_); }
    //! Position of the next byte in the file.
    size_t fileOffset() const { return fileOffset_ + static_cast<size_t>(pos_ - begin_); }

    //! Records the first failure; later ones are consequences and dropped.
    void fail(const std::string& what);

    int32_t int32()
    {
        uint32_t u = 0;
        if (take(4)) u = load32(pos_ - 4);
        int32_t v;
        std::memcpy(&v, &u, 4);
        return v;
    }
    int64_t int64()
    {
        uint64_t u = 0;
        if (take(8)) u = load64(pos_ - 8);
        int64_t v;
        std::memcpy(&v, &u, 8);
        return v;
    }
    double float64()
    {
        uint64_t u = 0;
        if (take(8)) u = load64(pos_ - 8);
        double v;
        std::memcpy(&v, &u, 8);
        return v;
    }
    //! n bytes into out (zeros after a failure).
    void raw(char* out, size_t n)
    {
        if (take(n))
            std::memcpy(out, pos_ - n, n);
        else
            std::memset(out, 0, n);
    }
    //! Skips n bytes.
    void skip(size_t n) { take(n); }
    //! The next n bytes, to decode in place with BigEndian; null (after fail) when fewer are left.
    const char* span(size_t n) { return take(n) ? pos_ - n : nullptr; }

    //! A count of items of at least bytesEach bytes that the rest of the range
    //! can hold; -1 (after fail) when negative or larger.
    int count(size_t bytesEach, const char* what);
    //! An int that must lie in [low, high]; what names it in the message.
    int32_t bounded(int32_t low, int32_t high, const char* what);
    //! A text written as an int length and its bytes, without NUL bytes.
    std::string text();

private:
    bool take(size_t n)
    {
        if (!error_.empty()) return false;
        if (n > left()) {
            fail("cut short");
            return false;
        }
        pos_ += n;
        return true;
    }
    static uint32_t load32(const char* p);
    static uint64_t load64(const char* p);
    friend class BigEndian;

    const char* begin_;
    const char* pos_;
    const char* end_;
    size_t fileOffset_;
    std::string error_;
};

// Unchecked decoding of a span that ByteReader::span has checked as a whole.
class BigEndian
{
public:
    explicit BigEndian(const char* p) : p_(p) {}
    int32_t int32()
    {
        uint32_t u = ByteReader::load32(p_);
        p_ += 4;
        int32_t v;
        std::memcpy(&v, &u, 4);
        return v;
    }
    double float64()
    {
        uint64_t u = ByteReader::load64(p_);
        p_ += 8;
        double v;
        std::memcpy(&v, &u, 8);
        return v;
    }

private:
    const char* p_;
};

inline uint32_t ByteReader::load32(const char* p)
{
    unsigned char b[4];
    std::memcpy(b, p, 4);
    return (uint32_t(b[0]) << 24) | (uint32_t(b[1]) << 16) | (uint32_t(b[2]) << 8) | uint32_t(b[3]);
}

inline uint64_t ByteReader::load64(const char* p) { return (uint64_t(load32(p)) << 32) | load32(p + 4); }

#endif
