#pragma once

#include <cstdint>
#include <mutex>
#include <optional>

#include "halvora/Runtime/Task.hpp"

namespace halvora {

/// What every update engine of the process shares: the flags of the bootloader procedure, the start and
/// finish times of the upload, and the update slot that lets one update run at a time.
///
/// The slot is claimed by the engine that starts an update (identified by its engine number) and given back
/// by that engine alone. A claim by the engine that already holds it succeeds (the same update going on with
/// the old procedure, or started again).
///
/// Safe to use from any thread: every member is guarded by one mutex.
class DFUProcessState {
public:
    /// The process's one instance.
    static DFUProcessState& shared();

    /// A number no other engine of the process has (never 0).
    std::uint64_t newEngineNumber();

    /// Claims the slot for `engine`: true when it was free or already held by `engine`.
    bool claimSlot(std::uint64_t engine);
    /// Gives the slot back when `engine` holds it; otherwise does nothing.
    void releaseSlot(std::uint64_t engine);
    /// True when `engine` holds the slot.
    bool holdsSlot(std::uint64_t engine) const;
    /// True when any engine holds the slot.
    bool slotTaken() const;

    /// The update runs the old procedure (the bootloader refused the new start).
    bool isPerformedOldDFU() const;
    /// Sets isPerformedOldDFU.
    void setPerformedOldDFU(bool value);
    /// A second file (bootloader after soft device) is being sent; never set in the application update.
    bool isStartingSecondFile() const;
    /// Sets isStartingSecondFile.
    void setStartingSecondFile(bool value);
    /// The connected bootloader has a version characteristic.
    bool isVersionCharacteristicExist() const;
    /// Sets isVersionCharacteristicExist.
    void setVersionCharacteristicExist(bool value);
    /// One file holds soft device and bootloader; cleared when an engine is made, unused afterwards.
    bool isOneFileForSDAndBL() const;
    /// Sets isOneFileForSDAndBL.
    void setOneFileForSDAndBL(bool value);
    /// When the upload started.
    MonotonicTime startTime() const;
    /// Sets startTime.
    void setStartTime(MonotonicTime time);
    /// When validation succeeded.
    MonotonicTime finishTime() const;
    /// Sets finishTime.
    void setFinishTime(MonotonicTime time);

private:
    DFUProcessState() = default;

    mutable std::mutex mutex_;
    std::uint64_t lastEngineNumber_ = 0;
    std::optional<std::uint64_t> slotHolder_;
    bool performedOldDFU_ = false;
    bool startingSecondFile_ = false;
    bool versionCharacteristicExist_ = false;
    bool oneFileForSDAndBL_ = false;
    MonotonicTime startTime_{};
    MonotonicTime finishTime_{};
};

}  // namespace halvora
