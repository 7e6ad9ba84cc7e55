#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "halvora/DFU/FirmwareUpdateObserver.hpp"

namespace halvora {

/// Tells the application's FirmwareUpdateObserver how an update goes: its phase and bytes, and its outcome
/// exactly once per update. The observer is looked up at each delivery (none: nothing is reported). Reports
/// are made only between `begin` and the outcome: before the first update and after an outcome nothing is
/// reported until the next `begin`. Not thread-safe: used by one engine on its callback queue.
class DFUProgressReporter {
public:
    /// Where the observer is found at the moment of delivery.
    using ObserverSource = std::function<std::shared_ptr<FirmwareUpdateObserver>()>;

    /// Reports to the observer `source` gives (an empty source: to none).
    explicit DFUProgressReporter(ObserverSource source);

    /// A new update: phase Preparing, no bytes, no outcome yet.
    void begin();
    /// The image is loaded: Preparing with its size.
    void preparing(std::uint64_t totalBytes);
    /// A burst was written: Uploading with the bytes sent so far (not after every packet went out).
    void uploading(std::uint64_t bytesSent);
    /// Every packet is written: Validating.
    void validating();
    /// The image was accepted and the bootloader told to start it: Activating.
    void activating();
    /// The outcome: success, with the upload time.
    void succeeded(std::int64_t uploadTimeInSeconds);
    /// The outcome: failure, with `errorText` made one line.
    void failed(const std::string& errorText);
    /// True when no update is open (none began, or its outcome was reported).
    bool finished() const { return !open_; }
    /// The phase reported last.
    FirmwareUpdatePhase phase() const { return progress_.phase; }

    /// `text` on one line: every run of white space that holds a line break becomes one space
    /// ("Error on StartDFU\n Message: CRC Error" gives "Error on StartDFU Message: CRC Error").
    static std::string oneLine(const std::string& text);

private:
    void report(FirmwareUpdatePhase phase, std::uint64_t bytesSent);
    void finish(FirmwareUpdateOutcome outcome);
    std::shared_ptr<FirmwareUpdateObserver> observer() const;

    ObserverSource source_;
    FirmwareUpdateProgress progress_;
    bool open_ = false;
};

}  // namespace halvora
