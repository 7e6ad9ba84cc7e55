#include "lab/Devices/PillReminder/internal/PillBoxFrameReader.hpp"

#include <span>
#include <utility>

#include "lab/Devices/PillReminder/internal/PillBoxProtocol.hpp"

namespace halvora::lab {

std::vector<PillBoxFrameReader::Result> PillBoxFrameReader::take(const std::vector<std::uint8_t>& write,
                                                                 MonotonicTime now) {
    std::vector<Result> results;
    if (!pending_.empty() && now - pendingSince_ > kPieceTimeout) results.push_back(dropAll(Result::Kind::Unfinished));
    if (pending_.empty()) pendingSince_ = now;
    pending_.insert(pending_.end(), write.begin(), write.end());
    for (auto& result : drain()) results.push_back(std::move(result));
    return results;
}

void PillBoxFrameReader::reset() {
    pending_.clear();
}

std::vector<PillBoxFrameReader::Result> PillBoxFrameReader::drain() {
    std::vector<Result> results;
    while (!pending_.empty()) {
        const bool headerWrong =
            pending_[0] != pillbox::kHeader0 || (pending_.size() > 1 && pending_[1] != pillbox::kHeader1);
        if (headerWrong) {
            results.push_back(dropAll(Result::Kind::NotAFrame));
            break;
        }
        if (pending_.size() < pillbox::kHeaderSize) break;
        const std::size_t length = pending_[pillbox::kLengthIndex];
        const std::size_t size = pillbox::kHeaderSize + length;
        if (length < pillbox::kBareLength || size > kMaxFrameSize) {
            results.push_back(dropAll(Result::Kind::BadLength));
            break;
        }
        if (pending_.size() < size) break;
        Result result{Result::Kind::Frame, {pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(size)}};
        pending_.erase(pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(size));
        const std::span<const std::uint8_t> summed(result.bytes.data() + pillbox::kLengthIndex, length);
        if (pillbox::checksum(summed) != result.bytes.back()) result.kind = Result::Kind::BadChecksum;
        results.push_back(std::move(result));
    }
    return results;
}

PillBoxFrameReader::Result PillBoxFrameReader::dropAll(Result::Kind kind) {
    return {kind, std::exchange(pending_, {})};
}

}  // namespace halvora::lab
