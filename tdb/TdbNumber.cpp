#include "TdbNumber.h"

#include <cctype>
#include <cmath>
#include <cstdlib>

namespace tdb {

bool readExpressionNumber(const std::string& text, size_t& pos, size_t end, double& value, size_t& errorOffset,
                          std::string& error)
{
    const size_t start = pos;
    auto fail = [&](const std::string& why) {
        errorOffset = start;
        error = why;
        return false;
    };
    while (pos < end && std::isdigit(static_cast<unsigned char>(text[pos]))) ++pos;
    if (pos < end && text[pos] == '.') {
        ++pos;
        while (pos < end && std::isdigit(static_cast<unsigned char>(text[pos]))) ++pos;
    }
    std::string digits = text.substr(start, pos - start);
    if (pos < end && (text[pos] == 'E' || text[pos] == 'e' || text[pos] == 'D' || text[pos] == 'd')) {
        size_t e = pos + 1;
        if (e < end && (text[e] == '+' || text[e] == '-')) ++e;
        if (e < end && std::isdigit(static_cast<unsigned char>(text[e]))) {
            while (e < end && std::isdigit(static_cast<unsigned char>(text[e]))) ++e;
            digits += "E" + text.substr(pos + 1, e - pos - 1);
            pos = e;
        } else {
            return fail("malformed number '" + text.substr(start, e - start) + "'");
        }
    }
    if (pos < end && (std::isalnum(static_cast<unsigned char>(text[pos])) || text[pos] == '.' || text[pos] == '_')) {
        size_t stop = pos;
        while (stop < end && (std::isalnum(static_cast<unsigned char>(text[stop])) || text[stop] == '.')) ++stop;
        return fail("malformed number '" + text.substr(start, stop - start) + "'");
    }
    if (digits == "." || digits.empty()) return fail("malformed number '.'");
    value = std::strtod(digits.c_str(), nullptr);
    if (!std::isfinite(value)) return fail("number out of range");
    return true;
}

}  // namespace tdb
