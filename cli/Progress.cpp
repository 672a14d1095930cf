#include "cli/Progress.h"

#include <unistd.h>

namespace thermfn {

ProgressBar::ProgressBar(size_t total, std::FILE* stream)
    : total_(total), stream_(stream),
      enabled_(total >= kMinimumPoints && stream != nullptr && isatty(fileno(stream)) == 1),
      last_(std::chrono::steady_clock::now())
{
}

ProgressBar::~ProgressBar()
{
    finish();
}

void ProgressBar::update(size_t done)
{
    if (!enabled_) return;
    auto now = std::chrono::steady_clock::now();
    if (drawn_ && now - last_ < std::chrono::milliseconds(100)) return;
    last_ = now;
    draw(done);
}

void ProgressBar::draw(size_t done)
{
    constexpr int width = 40;
    int filled = total_ ? static_cast<int>(width * done / total_) : width;
    char bar[width + 1];
    for (int i = 0; i < width; ++i) bar[i] = i < filled ? '#' : '.';
    bar[width] = '\0';
    std::fprintf(stream_, "\r[%s] %zu/%zu points", bar, done, total_);
    std::fflush(stream_);
    drawn_ = true;
}

void ProgressBar::finish()
{
    if (!drawn_) return;
    // Blank the line so that the next message starts on a clean one.
    std::fprintf(stream_, "\r%*s\r", 80, "");
    std::fflush(stream_);
    drawn_ = false;
}

}  // namespace thermfn
