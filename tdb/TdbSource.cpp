#include "TdbSource.h"

#include <algorithm>

namespace tdb {

namespace {
bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v'; }
}  // namespace

TdbSource::TdbSource(std::string fileName, const std::string& raw) : fileName_(std::move(fileName)), text_(&raw)
{
    lineStarts_.push_back(0);
    for (size_t i = raw.find('\n'); i != std::string::npos; i = raw.find('\n', i + 1)) lineStarts_.push_back(i + 1);

    // "$" starts a comment that runs to the end of its line, wherever it stands.
    const size_t firstComment = raw.find('$');
    if (firstComment != std::string::npos) {
        cleaned_ = raw;
        text_ = &cleaned_;
        for (size_t i = firstComment; i < cleaned_.size(); ++i) {
            if (cleaned_[i] != '$') continue;
            while (i < cleaned_.size() && cleaned_[i] != '\n') {
                if (cleaned_[i] == '!') commentedBangs_.push_back(i);
                cleaned_[i++] = ' ';
            }
        }
    }
    const std::string& text = *text_;

    // Commands end with "!" and may span any number of lines.
    size_t i = 0;
    while (i < text.size()) {
        while (i < text.size() && isBlank(text[i])) ++i;
        if (i >= text.size()) break;
        Command cmd;
        cmd.begin = i;
        size_t bang = text.find('!', i);
        if (bang == std::string::npos) {
            cmd.end = text.size();
            // trailing blanks are not part of an unterminated command
            while (cmd.end > cmd.begin && isBlank(text[cmd.end - 1])) --cmd.end;
            commands_.push_back(cmd);
            break;
        }
        cmd.end = bang;
        cmd.terminated = true;
        if (bang > cmd.begin) commands_.push_back(cmd);  // a lone "!" is an empty command
        i = bang + 1;
    }
}

void TdbSource::position(size_t offset, int& line, int& column) const
{
    auto it = std::upper_bound(lineStarts_.begin(), lineStarts_.end(), offset);
    size_t index = static_cast<size_t>(it - lineStarts_.begin()) - 1;
    line = static_cast<int>(index) + 1;
    column = static_cast<int>(offset - lineStarts_[index]) + 1;
}

size_t TdbSource::commentedBang(size_t begin, size_t end) const
{
    auto it = std::lower_bound(commentedBangs_.begin(), commentedBangs_.end(), begin);
    return it != commentedBangs_.end() && *it < end ? *it : std::string::npos;
}

bool TdbSource::looksLikeText(const std::string& raw)
{
    // Counted without a branch per byte, so that the compiler can take many
    // bytes at once: control bytes are those below 32 other than the layout
    // characters 9 to 13 (tab, line feed, vertical tab, form feed, return).
    size_t nul = 0, control = 0;
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(raw.data());
    for (size_t i = 0; i < raw.size(); ++i) {
        const unsigned char c = bytes[i];
        nul += c == 0;
        control += (c < 9) | (static_cast<unsigned char>(c - 14) < 18);
    }
    if (nul != 0) return false;
    // a stray control byte is tolerated; a binary file has many
    return control * 100 <= raw.size();
}

}  // namespace tdb
