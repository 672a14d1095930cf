#include "TdbSource.h"

#include <algorithm>

namespace tdb {

namespace {
bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v'; }
}  // namespace

TdbSource::TdbSource(std::string fileName, const std::string& raw) : fileName_(std::move(fileName)), text_(raw)
{
    lineStarts_.push_back(0);
    for (size_t i = 0; i < text_.size(); ++i)
        if (text_[i] == '\n') lineStarts_.push_back(i + 1);

    // "$" starts a comment that runs to the end of its line, wherever it stands.
    for (size_t i = 0; i < text_.size(); ++i) {
        if (text_[i] != '$') continue;
        while (i < text_.size() && text_[i] != '\n') {
            if (text_[i] == '!') commentedBangs_.push_back(i);
            text_[i++] = ' ';
        }
    }

    // Commands end with "!" and may span any number of lines.
    size_t i = 0;
    while (i < text_.size()) {
        while (i < text_.size() && isBlank(text_[i])) ++i;
        if (i >= text_.size()) break;
        Command cmd;
        cmd.begin = i;
        size_t bang = text_.find('!', i);
        if (bang == std::string::npos) {
            cmd.end = text_.size();
            // trailing blanks are not part of an unterminated command
            while (cmd.end > cmd.begin && isBlank(text_[cmd.end - 1])) --cmd.end;
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
    size_t control = 0;
    for (unsigned char c : raw) {
        if (c == 0) return false;
        if (c < 32 && c != '\n' && c != '\r' && c != '\t' && c != '\f' && c != '\v') ++control;
    }
    // a stray control byte is tolerated; a binary file has many
    return control * 100 <= raw.size();
}

}  // namespace tdb
