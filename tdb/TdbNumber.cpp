#include "TdbNumber.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>

#include "AsciiText.h"

namespace tdb {

bool exactDecimal(const char* p, const char* end, double& value)
{
    // Both the integer of the significant digits and the power of ten are
    // exact doubles, so their product or quotient is rounded once, as strtod
    // rounds the number itself.
    static const double kPowersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                          1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
    auto digit = [](char c) { return c >= '0' && c <= '9'; };
    bool negative = false;
    if (p < end && (*p == '+' || *p == '-')) negative = *p++ == '-';
    uint64_t mantissa = 0;
    int significant = 0, exponent = 0;
    bool any = false;
    for (; p < end && digit(*p); ++p) {
        any = true;
        if (mantissa == 0 && *p == '0') continue;
        if (++significant > 19) return false;
        mantissa = mantissa * 10 + static_cast<uint64_t>(*p - '0');
    }
    if (p < end && *p == '.') {
        for (++p; p < end && digit(*p); ++p) {
            any = true;
            --exponent;
            if (mantissa == 0 && *p == '0') continue;
            if (++significant > 19) return false;
            mantissa = mantissa * 10 + static_cast<uint64_t>(*p - '0');
        }
    }
    if (!any) return false;
    if (p < end && (*p == 'E' || *p == 'e' || *p == 'D' || *p == 'd')) {
        ++p;
        bool negativeExponent = false;
        if (p < end && (*p == '+' || *p == '-')) negativeExponent = *p++ == '-';
        if (p == end || !digit(*p)) return false;
        int written = 0;
        for (; p < end && digit(*p); ++p) {
            written = written * 10 + (*p - '0');
            if (written > 999) return false;
        }
        exponent += negativeExponent ? -written : written;
    }
    if (p != end) return false;
    if (mantissa == 0) {
        value = negative ? -0.0 : 0.0;
        return true;
    }
    if (mantissa > (uint64_t{1} << 53) || exponent < -22 || exponent > 22) return false;
    double v = static_cast<double>(mantissa);
    v = exponent < 0 ? v / kPowersOfTen[-exponent] : v * kPowersOfTen[exponent];
    value = negative ? -v : v;
    return true;
}

bool readExpressionNumber(const std::string& text, size_t& pos, size_t end, double& value, size_t& errorOffset,
                          std::string& error)
{
    const size_t start = pos;
    auto fail = [&](const std::string& why) {
        errorOffset = start;
        error = why;
        return false;
    };
    while (pos < end && isAsciiDigit(text[pos])) ++pos;
    if (pos < end && text[pos] == '.') {
        ++pos;
        while (pos < end && isAsciiDigit(text[pos])) ++pos;
    }
    const size_t mantissaEnd = pos;
    if (pos < end && (text[pos] == 'E' || text[pos] == 'e' || text[pos] == 'D' || text[pos] == 'd')) {
        size_t e = pos + 1;
        if (e < end && (text[e] == '+' || text[e] == '-')) ++e;
        if (e < end && isAsciiDigit(text[e])) {
            while (e < end && isAsciiDigit(text[e])) ++e;
            pos = e;
        } else {
            return fail("malformed number '" + text.substr(start, e - start) + "'");
        }
    }
    if (pos < end && (isAsciiAlnum(text[pos]) || text[pos] == '.' || text[pos] == '_')) {
        size_t stop = pos;
        while (stop < end && (isAsciiAlnum(text[stop]) || text[stop] == '.')) ++stop;
        return fail("malformed number '" + text.substr(start, stop - start) + "'");
    }
    if (pos == mantissaEnd && (mantissaEnd == start || (mantissaEnd == start + 1 && text[start] == '.')))
        return fail("malformed number '.'");
    if (exactDecimal(text.data() + start, text.data() + pos, value)) return true;
    std::string digits = text.substr(start, mantissaEnd - start);
    if (pos > mantissaEnd) digits += "E" + text.substr(mantissaEnd + 1, pos - mantissaEnd - 1);
    value = std::strtod(digits.c_str(), nullptr);
    if (!std::isfinite(value)) return fail("number out of range");
    return true;
}

}  // namespace tdb
