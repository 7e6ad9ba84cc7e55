#pragma once

#include <variant>

#include "halvora/Devices/PillReminder/HalvoraSDKPillReminderAlarmListData.hpp"
#include "halvora/Devices/PillReminder/HalvoraSDKPillReminderData.hpp"
#include "halvora/Devices/PillReminder/HalvoraSDKPillReminderMessageData.hpp"

namespace halvora {

/// what pillReminderOnResult carries
using HalvoraSDKPillReminderResult =
    std::variant<HalvoraSDKPillReminderData, HalvoraSDKPillReminderMessageData, HalvoraSDKPillReminderAlarmListData>;

/// The pill box's application delegate (the manager's `pillReminderDelegate`). Every callback has an empty
/// default body, so an application implements only those it wants.
///
/// The driver looks the delegate up at the moment of delivery; callbacks arrive on the driver's callback
/// queue ("halvora.cb"), without any lock of the kit held: a callback may call the kit again.
class HalvoraPillReminderDelegate {
public:
    virtual ~HalvoraPillReminderDelegate() = default;

    /// A request succeeded: a message (settings, battery, zone), a dated record (clock, last
    /// synchronisation) or a list (schedule, history). `request` says which request it answers.
    virtual void pillReminderOnResult(const HalvoraSDKPillReminderResult& /*result*/) {}
    /// A request failed: the request's number and its error message.
    virtual void pillReminderOnError(const HalvoraSDKPillReminderMessageData& /*error*/) {}
};

}  // namespace halvora
