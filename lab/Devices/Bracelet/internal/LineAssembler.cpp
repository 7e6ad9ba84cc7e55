#include "lab/Devices/Bracelet/internal/LineAssembler.hpp"

namespace halvora::lab {

namespace {
constexpr const char* kLineEnd = "\r\n";
constexpr std::size_t kLineEndLength = 2;
}  // namespace

LineAssembler::Result LineAssembler::feed(const std::vector<std::uint8_t>& bytes) {
    Result result;
    pending_.append(bytes.begin(), bytes.end());
    for (auto end = pending_.find(kLineEnd); end != std::string::npos; end = pending_.find(kLineEnd)) {
        std::string line = pending_.substr(0, end);
        pending_.erase(0, end + kLineEndLength);
        if (skipping_) {
            skipping_ = false;  // the end of the overlong line
            continue;
        }
        result.lines.push_back(std::move(line));
    }
    if (pending_.size() > kMaxLineLength) {
        if (!skipping_) ++result.overflows;
        skipping_ = true;
        // Keep a final "\r": it may be the first half of the line end that stops the skipping.
        pending_ = pending_.back() == '\r' ? std::string("\r") : std::string();
    }
    return result;
}

void LineAssembler::reset() {
    pending_.clear();
    skipping_ = false;
}

}  // namespace halvora::lab
