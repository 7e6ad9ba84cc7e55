#include "ProgressBar.hpp"

#include <unistd.h>

#include <algorithm>

namespace halvora::cli {

namespace {

constexpr int kBarWidth = 30;

}  // namespace

ProgressBar::ProgressBar(std::string label, std::FILE* out)
    : label_(std::move(label)), out_(out), enabled_(::isatty(::fileno(out)) != 0) {}

ProgressBar::~ProgressBar() {
    finish();
}

void ProgressBar::update(long done, long total, const std::string& unit, const std::string& note) {
    if (!enabled_) return;
    std::lock_guard lock(mutex_);
    const long clamped = total > 0 ? std::clamp(done, 0L, total) : 0;
    const int filled = total > 0 ? static_cast<int>(clamped * kBarWidth / total) : 0;
    std::fprintf(out_, "\r%s [%s%s] %ld/%ld %s%s%s\033[K", label_.c_str(),
                 std::string(static_cast<std::size_t>(filled), '#').c_str(),
                 std::string(static_cast<std::size_t>(kBarWidth - filled), '.').c_str(), clamped, total, unit.c_str(),
                 note.empty() ? "" : " ", note.c_str());
    std::fflush(out_);
    drawn_ = true;
}

void ProgressBar::finish() {
    std::lock_guard lock(mutex_);
    if (!drawn_) return;
    std::fprintf(out_, "\r\033[K");
    std::fflush(out_);
    drawn_ = false;
}

}  // namespace halvora::cli
