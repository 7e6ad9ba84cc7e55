#pragma once

#include <cstdint>
#include <mutex>
#include <optional>

#include "halvora/DFU/FirmwareUpdateObserver.hpp"

namespace halvora::cli {

/// The tool's observer of a firmware update: it keeps the latest progress and the outcome so that the
/// update command can draw its progress bar and wait for the end. Callbacks arrive on the kit's callback
/// queue; everything is guarded.
class FirmwareUpdateWatcher : public FirmwareUpdateObserver {
public:
    void firmwareUpdateProgress(const FirmwareUpdateProgress& progress) override;
    void firmwareUpdateFinished(const FirmwareUpdateOutcome& outcome) override;

    /// The latest progress reported (nothing before the first report).
    std::optional<FirmwareUpdateProgress> progress() const;
    /// How many progress reports arrived (a stall shows as a count that stops growing).
    std::uint64_t reports() const;
    /// The outcome, once the update ended.
    std::optional<FirmwareUpdateOutcome> outcome() const;

private:
    mutable std::mutex mutex_;
    std::optional<FirmwareUpdateProgress> progress_;
    std::uint64_t reports_ = 0;
    std::optional<FirmwareUpdateOutcome> outcome_;
};

}  // namespace halvora::cli
