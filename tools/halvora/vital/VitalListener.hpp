#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "halvora/Devices/Vital/HalvoraBraceletVITALDelegate.hpp"

namespace halvora::cli {

/// The tool's delegate for the Vital bracelet: it keeps every result and error the kit reported, in order,
/// so that the vital commands can wait for what answers their request. Callbacks arrive on the kit's
/// callback queue (and the manager's refusal of an alarm list on the caller's thread); everything is guarded.
class VitalListener : public HalvoraBraceletVITALDelegate {
public:
    /// An error the kit reported for a command.
    struct Error {
        std::int32_t error = 0;    ///< 0: the bracelet refused; other: the kit refused the arguments
        std::int32_t command = 0;  ///< the command number
    };
    /// How much of each list had arrived at some moment: what came after it answers a request made then.
    struct Mark {
        std::size_t responses = 0;  ///< results
        std::size_t errors = 0;     ///< errors
    };

    void braceletVitalDeviceInformation(const std::string& identifier, const HalvoraSDKResponse& response) override;
    void braceletVitalDeviceError(const std::string& identifier, std::int32_t error, std::int32_t command) override;

    /// Where both lists stand now.
    Mark mark() const;
    /// The first result of `command` delivered after `since`.
    std::optional<HalvoraSDKResponse> responseSince(const Mark& since, std::int32_t command) const;
    /// Every result of `command` delivered after `since`, in order.
    std::vector<HalvoraSDKResponse> responsesSince(const Mark& since, std::int32_t command) const;
    /// The first error for `command` reported after `since`.
    std::optional<Error> errorSince(const Mark& since, std::int32_t command) const;

private:
    mutable std::mutex mutex_;
    std::vector<HalvoraSDKResponse> responses_;
    std::vector<Error> errors_;
};

}  // namespace halvora::cli
