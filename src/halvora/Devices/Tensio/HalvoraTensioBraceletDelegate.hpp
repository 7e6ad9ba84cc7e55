#pragma once

#include <cstdint>
#include <string>
#include <variant>

#include "halvora/Records/HalvoraSDKTensioBraceletData.hpp"

namespace halvora {

/// What `tensioBraceletInformation` hands over: a number (-20: more than three ambulatory windows; -21: the
/// windows overlap; -1: the bracelet reported an error that was not a number), a text (the bracelet's clock,
/// one window of its ambulatory schedule, its basic information), or an empty record (the bracelet reported
/// an error with a code; the code itself is not passed on).
using TensioBraceletInformation = std::variant<std::int32_t, std::string, HalvoraSDKTensioBraceletData>;

/// The wrist blood-pressure bracelet's application delegate (the manager's `tensioBraceletDelegate`). Every
/// callback has an empty default body, so an application implements only those it wants.
///
/// The first three come from the manager, which turns the bracelet driver's reports into them; the last
/// comes from the driver itself, which looks the delegate up at the moment of delivery. All four arrive on
/// "halvora.cb", the driver's callback queue (the queue of its peripheral's events and of its command queue),
/// without any lock of the kit held: a callback may call the kit again.
class HalvoraTensioBraceletDelegate {
public:
    virtual ~HalvoraTensioBraceletDelegate() = default;

    /// The cuff pressure while a measurement runs, in the bracelet's unit.
    virtual void tensioBraceletOnProgressMeasurement(std::int32_t /*value*/) {}
    /// A reading: the result of a measurement (dated by the bracelet) or a record of its memory (dated when
    /// it was read).
    virtual void tensioBraceletOnResult(const HalvoraSDKTensioBraceletData& /*data*/) {}
    /// An information text, an error or a refusal (see TensioBraceletInformation).
    virtual void tensioBraceletInformation(const TensioBraceletInformation& /*information*/) {}
    /// The bracelet acknowledged the request in progress (a TensioBraceletRequest number).
    virtual void tensioBraceletRequestExecuted(std::int32_t /*request*/) {}
};

}  // namespace halvora
