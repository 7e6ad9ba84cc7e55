#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "halvora/Core/Log.hpp"

namespace halvora::test {

/// A log whose lines are kept for the test. The lines live as long as the log does (a transport may write
/// its last lines while it winds down).
class LogRecorder {
public:
    LogRecorder()
        : lines_(std::make_shared<Lines>()), log_(std::make_shared<Log>([lines = lines_](const std::string& line) {
              std::lock_guard lock(lines->mutex);
              lines->all.push_back(line);
          })) {}

    const std::shared_ptr<Log>& log() const { return log_; }
    std::vector<std::string> lines() const {
        std::lock_guard lock(lines_->mutex);
        return lines_->all;
    }
    /// Lines that contain `text`.
    std::size_t count(const std::string& text) const {
        std::size_t n = 0;
        for (const auto& line : lines()) n += line.find(text) != std::string::npos;
        return n;
    }
    void clear() {
        std::lock_guard lock(lines_->mutex);
        lines_->all.clear();
    }

private:
    struct Lines {
        std::mutex mutex;
        std::vector<std::string> all;
    };
    std::shared_ptr<Lines> lines_;
    std::shared_ptr<Log> log_;
};

}  // namespace halvora::test
