#pragma once

#include <optional>
#include <vector>

#include "halvora/Runtime/Task.hpp"
#include "lab/Devices/Tensio/TensioCommand.hpp"
#include "lab/Devices/Tensio/TensioError.hpp"

namespace halvora::lab {

/// Faults of the blood-pressure bracelet's own protocol, beside the lab's link faults (LabFaults, set with
/// VirtualPeripheral::setFaults(): lost, duplicated and split notifications, slow replies). Every random
/// choice draws on the radio's seeded generator.
struct TensioFaults {
    /// A command the bracelet refuses, and the error frame it answers instead.
    struct Refusal {
        TensioCommand command = TensioCommand::StartMeasurement;  ///< the command refused
        TensioError error;                                        ///< what it is answered with
    };

    /// Commands answered with an error frame alone; they change nothing.
    std::vector<Refusal> refusals;
    /// Commands whose answers are lost: the command takes effect, but what the bracelet would send at once
    /// is not sent (a measurement it starts still sends its pressures and result).
    std::vector<TensioCommand> loseAnswersTo;
    /// The answer to the n-th frame the bracelet takes (from 1, counted over its life, unknown commands too;
    /// writes that are no frame and frames with a wrong check byte do not count) is lost.
    std::optional<int> loseAnswerToCommand;
    /// While a link is up, a frame nobody asked for every this long (at least
    /// VirtualTensioBracelet::kMinStreamInterval): by the seed, a cuff pressure, an acknowledgement, the
    /// memory's count, a stored record, the clock, a repeated result or an error.
    std::optional<Duration> strayEvery;
};

}  // namespace halvora::lab
