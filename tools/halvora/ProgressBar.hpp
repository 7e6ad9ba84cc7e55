#pragma once

#include <cstdio>
#include <mutex>
#include <string>

namespace halvora::cli {

/// A progress bar for long work (history downloads, firmware updates), drawn on one line of stderr, only
/// when stderr is a terminal; elsewhere (pipes, files, tests) it draws nothing. Safe from any thread.
class ProgressBar {
public:
    /// `label`: what is in progress ("history").
    explicit ProgressBar(std::string label, std::FILE* out = stderr);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /// `done` of `total` units, then `note` (a percentage, a rate); a total of 0 or less draws an empty bar.
    void update(long done, long total, const std::string& unit, const std::string& note = "");
    /// Clears the line (once; the destructor does it too).
    void finish();

private:
    std::string label_;
    std::FILE* out_;
    bool enabled_;
    bool drawn_ = false;
    std::mutex mutex_;
};

}  // namespace halvora::cli
