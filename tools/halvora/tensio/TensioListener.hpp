#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

#include "halvora/Devices/Tensio/HalvoraTensioBraceletDelegate.hpp"

namespace halvora::cli {

/// The tool's delegate for the wrist blood-pressure bracelet: it keeps everything the kit reported, in order,
/// so that the tensio commands can wait for what answers their request. Callbacks arrive on the kit's
/// callback queue (and a refusal of the ambulatory windows on the caller's thread); everything is guarded.
class TensioListener : public HalvoraTensioBraceletDelegate {
public:
    /// How much of each list had arrived at some moment: what came after it answers a request made then.
    struct Mark {
        std::size_t pressures = 0;    ///< cuff pressures
        std::size_t results = 0;      ///< readings
        std::size_t information = 0;  ///< texts, numbers and empty records
        std::size_t executed = 0;     ///< acknowledged requests
    };

    void tensioBraceletOnProgressMeasurement(std::int32_t value) override;
    void tensioBraceletOnResult(const HalvoraSDKTensioBraceletData& data) override;
    void tensioBraceletInformation(const TensioBraceletInformation& information) override;
    void tensioBraceletRequestExecuted(std::int32_t request) override;

    /// Calls `watcher` with every cuff pressure from now on, on the kit's queue (keep it short); an empty
    /// function stops it.
    void setPressureWatcher(std::function<void(std::int32_t)> watcher);

    /// Where every list stands now.
    Mark mark() const;
    /// Cuff pressures reported after `since`, in order.
    std::vector<std::int32_t> pressuresSince(const Mark& since) const;
    /// Readings delivered after `since`, in order.
    std::vector<HalvoraSDKTensioBraceletData> resultsSince(const Mark& since) const;
    /// Information delivered after `since`, in order.
    std::vector<TensioBraceletInformation> informationSince(const Mark& since) const;
    /// Requests acknowledged after `since`, in order.
    std::vector<std::int32_t> executedSince(const Mark& since) const;

private:
    mutable std::mutex mutex_;
    std::function<void(std::int32_t)> pressureWatcher_;
    std::vector<std::int32_t> pressures_;
    std::vector<HalvoraSDKTensioBraceletData> results_;
    std::vector<TensioBraceletInformation> information_;
    std::vector<std::int32_t> executed_;
};

}  // namespace halvora::cli
