#pragma once

#include <cstdint>
#include <vector>

#include "halvora/Records/HalvoraSDKBraceletData.hpp"
#include "halvora/Records/HalvoraSDKHeartBeatData.hpp"
#include "halvora/Records/HalvoraSDKStepData.hpp"

namespace halvora {

/// The RM830 bracelet's application delegate (the manager's `braceletRM830Delegate`), called by the RM830
/// driver itself, which looks the delegate up at the moment of each delivery (nothing is delivered while
/// there is none). Every callback has an empty default body, so an application implements only those it
/// wants.
///
/// Callbacks arrive on "halvora.cb", the driver's callback queue (the queue of its peripheral's events and of
/// its command queue), without any lock of the kit held: a callback may call the kit again, and a command
/// issued from inside a callback is queued behind the commands already waiting.
class HalvoraBraceletRM830Delegate {
public:
    virtual ~HalvoraBraceletRM830Delegate() = default;

    /// Today's totals so far (the answer to the real-time request that a today's-data download starts):
    /// steps, calories (kcal) and distance (km), dated at reception.
    virtual void braceletCurrentStepsReceived(const HalvoraSDKStepData& /*data*/) {}
    /// One day of the stored history: its quarter hours with steps and its sleep quarter hours, in the order
    /// the bracelet sent them (`heartData` stays empty). Not called for a day without any such record.
    virtual void braceletSyncReceived(const HalvoraSDKBraceletData& /*data*/) {}
    /// A heart rate in beats per minute: the answer to a single measurement, or one value of the real-time
    /// heart-rate stream.
    virtual void braceletRM830HRReceived(std::int32_t /*heartRate*/) {}
    /// The end of a heart-rate history download: the readings of every packet but the last. The last
    /// packet's readings are added to the driver's list after this call, so they come only with a later
    /// hand-over that no request for packet 0 (which empties the list) preceded.
    virtual void braceletRM830HRSyncReceived(const std::vector<HalvoraSDKHeartBeatData>& /*data*/) {}
    /// A setting command was accepted (true) or refused (false) by the bracelet.
    virtual void operationFinished(bool /*success*/) {}
};

}  // namespace halvora
