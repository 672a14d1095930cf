#include "cli/Text.h"

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "cli/CliError.h"

namespace thermfn {

std::string trim(const std::string& text)
{
    size_t begin = 0, end = text.size();
    while (begin < end && std::isspace(static_cast<unsigned char>(text[begin]))) ++begin;
    while (end > begin && std::isspace(static_cast<unsigned char>(text[end - 1]))) --end;
    return text.substr(begin, end - begin);
}

std::string toUpper(std::string text)
{
    for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

std::vector<std::string> split(const std::string& text, char separator)
{
    std::vector<std::string> fields;
    size_t start = 0;
    for (;;) {
        size_t pos = text.find(separator, start);
        if (pos == std::string::npos) {
            fields.push_back(text.substr(start));
            return fields;
        }
        fields.push_back(text.substr(start, pos - start));
        start = pos + 1;
    }
}

std::string formatNumber(const char* format, double value)
{
    char buf[64];
    std::snprintf(buf, sizeof buf, format, value);
    return buf;
}

double parseNumber(const std::string& text, const std::string& what)
{
    std::string t = trim(text);
    if (t.empty()) throw CliError(kExitUsage, what + ": expected a number, got nothing");
    // strtod alone would take "inf", "nan" and hexadecimal forms; a number
    // here is always a plain decimal, so anything else is a typing error.
    for (char c : t)
        if (!std::isdigit(static_cast<unsigned char>(c)) && c != '.' && c != '-' && c != '+' && c != 'e' && c != 'E')
            throw CliError(kExitUsage, what + ": expected a number, got '" + t + "'");
    errno = 0;
    char* end = nullptr;
    double value = std::strtod(t.c_str(), &end);
    if (end != t.c_str() + t.size()) throw CliError(kExitUsage, what + ": expected a number, got '" + t + "'");
    if (errno == ERANGE || !std::isfinite(value))
        throw CliError(kExitUsage, what + ": '" + t + "' is out of the range of numbers");
    return value;
}

}  // namespace thermfn
