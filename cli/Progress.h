// Progress of a long grid on standard error.  Only for a person watching a
// terminal: when standard error is redirected (a log, a pipe, a test) the
// bar stays silent, so captured error output holds messages only.
#ifndef CLI_PROGRESS_H
#define CLI_PROGRESS_H

#include <chrono>
#include <cstddef>
#include <cstdio>

namespace thermfn {

class ProgressBar
{
public:
    //! Grids smaller than this finish before a bar would be worth drawing.
    static constexpr size_t kMinimumPoints = 20000;

    // Draws on stream only when it is a terminal and total >= kMinimumPoints.
    ProgressBar(size_t total, std::FILE* stream = stderr);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    //! done points out of total; redraws at most every 100 ms.
    void update(size_t done);
    //! Clears the bar (also done by the destructor).
    void finish();
    bool enabled() const { return enabled_; }

private:
    void draw(size_t done);

    size_t total_;
    std::FILE* stream_;
    bool enabled_;
    bool drawn_ = false;
    std::chrono::steady_clock::time_point last_;
};

}  // namespace thermfn

#endif
