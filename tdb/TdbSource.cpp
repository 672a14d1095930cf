#include "TdbSource.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

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
    if (std::memchr(raw.data(), 0, raw.size()) != nullptr) return false;
    // counted without a branch per byte, so that the loop runs over many bytes at once
    constexpr uint32_t kLayout = (1u << '\n') | (1u << '\r') | (1u << '\t') | (1u << '\f') | (1u << '\v');
    size_t control = 0;
    for (unsigned char c : raw) control += static_cast<size_t>((c < 32) & !((kLayout >> (c & 31)) & 1));
    // a stray control byte is tolerated; a binary file has many
    return control * 100 <= raw.size();
}

}  // namespace tdb
