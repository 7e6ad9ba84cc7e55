#pragma once

#include <vector>

#include "lab/Devices/PillReminder/PillBoxCommand.hpp"

namespace halvora::lab {

/// Faults of the pill box's own protocol, beside the lab's link faults (LabFaults, set with
/// VirtualPeripheral::setFaults(): lost, duplicated and split notifications, slow replies).
struct PillBoxFaults {
    /// Commands refused with the box's refusal AA 55 02 F1 F3; they change nothing. Refusals are counted
    /// like bad frames.
    std::vector<PillBoxCommand> refuse;
    /// Commands that take effect but get no reply at all.
    std::vector<PillBoxCommand> noReplyTo;
    /// Commands whose every reply carries one byte too many: a zero byte after the payload, the length byte
    /// and the checksum counting it (a well-formed frame of the wrong length).
    std::vector<PillBoxCommand> wrongLength;
};

}  // namespace halvora::lab
