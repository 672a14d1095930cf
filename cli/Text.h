// Small text helpers shared by the parsers of the command line.
#ifndef CLI_TEXT_H
#define CLI_TEXT_H

#include <string>
#include <vector>

namespace thermfn {

std::string trim(const std::string& text);
std::string toUpper(std::string text);
// Splits at every separator; n separators give n + 1 fields (empty ones too).
std::vector<std::string> split(const std::string& text, char separator);

// printf-style formatting of one number ("%g", "%.17g", ...).
std::string formatNumber(const char* format, double value);

// A finite number taking the whole of text (surrounding blanks allowed).
// Throws CliError (exit code 2) naming what and the text otherwise.
double parseNumber(const std::string& text, const std::string& what);

}  // namespace thermfn

#endif
