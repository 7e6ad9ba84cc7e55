#include "halvora/Devices/Bracelet/internal/BraceletTransfer.hpp"

#include <algorithm>

#include "halvora/Devices/Bracelet/internal/BraceletText.hpp"

namespace halvora {

void BraceletTransfer::reset() {
    isReceivingData_ = false;
    isHeaderComplete_ = false;
    receivedString_.clear();
    byteData_ = {};
    receivedLength_ = 0;
    header_ = BraceletPackageHeader{};
}

bool BraceletTransfer::open(std::string_view text) {
    reset();
    if (text.size() > kMaxHeaderLineLength) return false;
    isReceivingData_ = true;
    receivedString_ = text;
    return true;
}

BraceletTransfer::HeaderOutcome BraceletTransfer::appendHeaderPiece(std::string_view piece) {
    if (receivedString_.size() + piece.size() > kMaxHeaderLineLength) {
        reset();
        return HeaderOutcome::RefusedLongLine;
    }
    receivedString_ += piece;
    if (!BraceletText::contains(piece, BraceletText::kLineEnd)) return HeaderOutcome::Pending;
    isHeaderComplete_ = true;
    const auto parsed = BraceletPackageHeader::parse(receivedString_);
    if (!parsed) return HeaderOutcome::Unparsed;
    if (!isAcceptedLength(parsed->currentPackageTotalLength) || !isAcceptedLength(parsed->currentPackageInfoLength)) {
        reset();
        return HeaderOutcome::RefusedPackageSize;
    }
    header_ = *parsed;
    return HeaderOutcome::Parsed;
}

bool BraceletTransfer::appendPackageBytes(std::span<const std::uint8_t> bytes) {
    // The header was checked when it was parsed (or is all zeros), so the total is between 0 and the cap.
    const auto total = static_cast<std::size_t>(std::max(header_.currentPackageTotalLength, 0));
    const std::size_t room = total - std::min(total, byteData_.size());
    const std::size_t kept = std::min(room, bytes.size());
    byteData_.insert(byteData_.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(kept));
    receivedLength_ += bytes.size();
    return receivedLength_ == total;
}

void BraceletTransfer::startNextPackage() {
    byteData_ = {};
    receivedLength_ = 0;
    isHeaderComplete_ = false;
    receivedString_.clear();
}

bool BraceletTransfer::isAcceptedLength(std::int32_t length) {
    return length >= 0 && length <= kMaxPackageLength;
}

}  // namespace halvora
