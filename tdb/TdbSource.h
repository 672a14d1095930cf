// The text of a TDB file cut into commands.
//
// Comments ("$" to the end of the line) are blanked with spaces rather than
// removed, so that every offset into the cleaned text is also an offset into
// the file, and a diagnostic can name the line and column the user sees.
#ifndef TDB_TDBSOURCE_H
#define TDB_TDBSOURCE_H

#include <cstddef>
#include <string>
#include <vector>

namespace tdb {

//! One command: the text from its first non-blank character up to (not
//! including) the terminating "!".
struct Command
{
    size_t begin = 0;         //!< offset of the first character of the keyword
    size_t end = 0;           //!< offset of the "!" (or of the end of the text when it is missing)
    bool terminated = false;  //!< false when the text ended before the "!"
};

class TdbSource
{
public:
    // Takes the raw file contents, which must outlive the source: a file
    // without comments is read in place rather than copied.
    TdbSource(std::string fileName, const std::string& raw);
    TdbSource(const TdbSource&) = delete;
    TdbSource& operator=(const TdbSource&) = delete;

    const std::string& fileName() const { return fileName_; }
    //! The cleaned text: comments blanked, same length and offsets as the file.
    const std::string& text() const { return *text_; }
    const std::vector<Command>& commands() const { return commands_; }

    //! 1-based line and column of an offset.
    void position(size_t offset, int& line, int& column) const;

    //! Offset of the first "!" inside a "$" comment within [begin, end), or
    //! std::string::npos: a comment that hides the "!" of its command.
    size_t commentedBang(size_t begin, size_t end) const;

    //! True when the bytes look like text: no NUL byte and few control characters.
    static bool looksLikeText(const std::string& raw);

private:
    std::string fileName_;
    const std::string* text_;  //!< the raw contents, or cleaned_ when they hold comments
    std::string cleaned_;
    std::vector<size_t> lineStarts_;  //!< offset of the first character of each line
    std::vector<Command> commands_;
    std::vector<size_t> commentedBangs_;  //!< offsets of "!" blanked with their comment, ascending
};

}  // namespace tdb

#endif
