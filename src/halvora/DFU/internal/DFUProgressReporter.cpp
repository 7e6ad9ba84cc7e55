#include "halvora/DFU/internal/DFUProgressReporter.hpp"

#include <algorithm>

namespace halvora {

namespace {

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

}  // namespace

DFUProgressReporter::DFUProgressReporter(ObserverSource source) : source_(std::move(source)) {}

std::shared_ptr<FirmwareUpdateObserver> DFUProgressReporter::observer() const {
    return source_ ? source_() : nullptr;
}

void DFUProgressReporter::begin() {
    progress_ = FirmwareUpdateProgress{};
    open_ = true;
}

void DFUProgressReporter::preparing(std::uint64_t totalBytes) {
    progress_.totalBytes = totalBytes;
    report(FirmwareUpdatePhase::Preparing, 0);
}

void DFUProgressReporter::uploading(std::uint64_t bytesSent) {
    if (progress_.phase == FirmwareUpdatePhase::Validating || progress_.phase == FirmwareUpdatePhase::Activating)
        return;
    report(FirmwareUpdatePhase::Uploading, bytesSent);
}

void DFUProgressReporter::validating() {
    report(FirmwareUpdatePhase::Validating, progress_.totalBytes);
}

void DFUProgressReporter::activating() {
    report(FirmwareUpdatePhase::Activating, progress_.totalBytes);
}

void DFUProgressReporter::succeeded(std::int64_t uploadTimeInSeconds) {
    FirmwareUpdateOutcome outcome;
    outcome.succeeded = true;
    outcome.uploadTimeInSeconds = uploadTimeInSeconds;
    finish(outcome);
}

void DFUProgressReporter::failed(const std::string& errorText) {
    FirmwareUpdateOutcome outcome;
    outcome.errorText = oneLine(errorText);
    finish(outcome);
}

void DFUProgressReporter::report(FirmwareUpdatePhase phase, std::uint64_t bytesSent) {
    if (!open_) return;
    progress_.phase = phase;
    progress_.bytesSent = std::min(bytesSent, progress_.totalBytes);
    progress_.percent =
        progress_.totalBytes == 0 ? 0 : static_cast<int>(progress_.bytesSent * 100 / progress_.totalBytes);
    if (auto receiver = observer()) receiver->firmwareUpdateProgress(progress_);
}

void DFUProgressReporter::finish(FirmwareUpdateOutcome outcome) {
    if (!open_) return;
    open_ = false;
    outcome.bytesSent = progress_.bytesSent;
    outcome.totalBytes = progress_.totalBytes;
    if (auto receiver = observer()) receiver->firmwareUpdateFinished(outcome);
}

std::string DFUProgressReporter::oneLine(const std::string& text) {
    std::string line;
    line.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        if (!isBlank(text[i])) {
            line.push_back(text[i++]);
            continue;
        }
        std::size_t end = i;
        bool breaks = false;
        while (end < text.size() && isBlank(text[end])) {
            breaks = breaks || text[end] == '\n' || text[end] == '\r';
            ++end;
        }
        if (breaks) {
            line.push_back(' ');
        } else {
            line.append(text, i, end - i);
        }
        i = end;
    }
    return line;
}

}  // namespace halvora
